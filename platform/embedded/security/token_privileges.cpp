// The privileges by number, which are the same on every Windows (winnt.h, SE_MIN_WELL_KNOWN_PRIVILEGE is 2).
#include <iterator>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/security/token.h"

namespace embedded::security {
namespace {

constexpr DWORD kFirst = 2;
constexpr const char* kNames[] = {
    SE_CREATE_TOKEN_NAME,
    SE_ASSIGNPRIMARYTOKEN_NAME,
    SE_LOCK_MEMORY_NAME,
    SE_INCREASE_QUOTA_NAME,
    SE_MACHINE_ACCOUNT_NAME,
    SE_TCB_NAME,
    SE_SECURITY_NAME,
    SE_TAKE_OWNERSHIP_NAME,
    SE_LOAD_DRIVER_NAME,
    SE_SYSTEM_PROFILE_NAME,
    SE_SYSTEMTIME_NAME,
    SE_PROF_SINGLE_PROCESS_NAME,
    SE_INC_BASE_PRIORITY_NAME,
    SE_CREATE_PAGEFILE_NAME,
    SE_CREATE_PERMANENT_NAME,
    SE_BACKUP_NAME,
    SE_RESTORE_NAME,
    SE_SHUTDOWN_NAME,
    SE_DEBUG_NAME,
    SE_AUDIT_NAME,
    SE_SYSTEM_ENVIRONMENT_NAME,
    SE_CHANGE_NOTIFY_NAME,
    SE_REMOTE_SHUTDOWN_NAME,
    SE_UNDOCK_NAME,
    SE_SYNC_AGENT_NAME,
    SE_ENABLE_DELEGATION_NAME,
    SE_MANAGE_VOLUME_NAME,
    SE_IMPERSONATE_NAME,
    SE_CREATE_GLOBAL_NAME,
    SE_TRUSTED_CREDMAN_ACCESS_NAME,
    SE_RELABEL_NAME,
    SE_INC_WORKING_SET_NAME,
    SE_TIME_ZONE_NAME,
    SE_CREATE_SYMBOLIC_LINK_NAME,
};
static_assert(kFirst + std::size(kNames) - 1 == kLastPrivilege);

}  // namespace

DWORD PrivilegeNumber(std::string_view name) {
    for (DWORD i = 0; i < std::size(kNames); ++i) {
        if (text::EqualNoCase(name, kNames[i])) return kFirst + i;
    }
    return 0;
}

const char* PrivilegeName(DWORD number) {
    return number >= kFirst && number <= kLastPrivilege ? kNames[number - kFirst] : nullptr;
}

}  // namespace embedded::security

namespace gate = embedded::gate;
namespace security = embedded::security;
using embedded::control::CallKind;
using security::Fail;

// 0 when there is such a machine; privileges have the same numbers on all of them.
static DWORD FindSystem(const char* name) {
    return security::Guarded(
        [name]() -> DWORD { return embedded::world::Find(name) == nullptr ? RPC_S_SERVER_UNAVAILABLE : 0; });
}

BOOL LookupPrivilegeValueA(LPCSTR system, LPCSTR name, PLUID luid) {
    if (gate::Refuses(CallKind::Security, "LookupPrivilegeValueA")) return FALSE;
    if (name == nullptr || luid == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (const DWORD error = FindSystem(system)) return Fail(error);
    const DWORD number = security::PrivilegeNumber(name);
    if (number == 0) return Fail(ERROR_NO_SUCH_PRIVILEGE);
    *luid = {number, 0};
    return TRUE;
}

BOOL LookupPrivilegeNameA(LPCSTR system, PLUID luid, LPSTR name, LPDWORD length) {
    if (gate::Refuses(CallKind::Security, "LookupPrivilegeNameA")) return FALSE;
    if (luid == nullptr || length == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (const DWORD error = FindSystem(system)) return Fail(error);
    const char* const found = luid->HighPart == 0 ? security::PrivilegeName(luid->LowPart) : nullptr;
    if (found == nullptr) return Fail(ERROR_NO_SUCH_PRIVILEGE);
    const std::string_view text = found;
    const bool fits = *length > text.size() && name != nullptr;
    *length = DWORD(fits ? text.size() : text.size() + 1);
    if (!fits) return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(found, text.size() + 1, name);
    return TRUE;
}
