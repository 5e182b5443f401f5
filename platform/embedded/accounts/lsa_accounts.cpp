// Account objects of the local security authority: privileges and logon rights.
#include <algorithm>

#include "platform/embedded/accounts/authority.h"
#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/lsa_handles.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/api/tokens.h"
#include "platform/embedded/core/record_block.h"
#include "platform/embedded/security/token.h"

using namespace embedded;
using accounts::LoadRights;
using accounts::Rights;
using accounts::SaveRights;

namespace {

constexpr ULONG kKnownAccess = 0xFF7;  // POLICY_MODE_ALL of ntlsa.h: the logon rights and their denials

NTSTATUS NewHandle(const std::shared_ptr<Machine>& machine, const Bytes& sid, ACCESS_MASK desired, PLSA_HANDLE handle) {
    const bool administrator = network::IsAdministrator();
    const DWORD granted = lsa::Granted(desired, administrator ? lsa::kAccountAll : lsa::kAccountView);
    if (!administrator && (granted & ~lsa::kAccountView) != 0) return STATUS_ACCESS_DENIED;
    *handle = handles::Add(std::make_shared<lsa::AccountObject>(machine, sid, granted));
    return STATUS_SUCCESS;
}

// The names of a caller's privilege set; nothing when one of them is none.
std::optional<std::vector<std::string>> NamesIn(const PRIVILEGE_SET& set) {
    std::vector<std::string> names;
    for (DWORD i = 0; i < set.PrivilegeCount; ++i) {
        const LUID luid = set.Privilege[i].Luid;
        const char* const name = luid.HighPart == 0 ? security::PrivilegeName(luid.LowPart) : nullptr;
        if (name == nullptr) return std::nullopt;
        names.emplace_back(name);
    }
    return names;
}

// Reads the account's rights, lets `change` at them and keeps what comes of it.
template <class Change>
NTSTATUS ChangeRights(LSA_HANDLE handle, DWORD right, Change change) {
    std::shared_ptr<lsa::AccountObject> object;
    if (const NTSTATUS status = lsa::ObjectFor(handle, right, object)) return status;
    const Store::Lock lock(object->machine->Storage());
    auto rights = LoadRights(*object->machine, object->sid);
    if (!rights) return STATUS_OBJECT_NAME_NOT_FOUND;
    if (const NTSTATUS status = change(*rights)) return status;
    return SaveRights(*object->machine, object->sid, *rights) ? STATUS_SUCCESS : STATUS_ACCESS_DENIED;
}

}  // namespace

NTSTATUS LsaOpenAccount(LSA_HANDLE policy, PSID account, ACCESS_MASK desired, PLSA_HANDLE handle) {
    if (const NTSTATUS status = lsa::Enter("LsaOpenAccount")) return status;
    std::shared_ptr<lsa::PolicyObject> object;
    if (const NTSTATUS status = lsa::ObjectFor(policy, 0, object)) return status;
    const Bytes sid = accounts::CopyOf(account);
    if (sid.empty() || handle == nullptr) return STATUS_INVALID_PARAMETER;
    const auto machine = domain::Authority(object->machine);
    if (!LoadRights(*machine, sid)) return STATUS_OBJECT_NAME_NOT_FOUND;
    return NewHandle(machine, sid, desired, handle);
}

NTSTATUS LsaCreateAccount(LSA_HANDLE policy, PSID account, ACCESS_MASK desired, PLSA_HANDLE handle) {
    if (const NTSTATUS status = lsa::Enter("LsaCreateAccount")) return status;
    std::shared_ptr<lsa::PolicyObject> object;
    if (const NTSTATUS status = lsa::ObjectFor(policy, POLICY_CREATE_ACCOUNT, object)) return status;
    const Bytes sid = accounts::CopyOf(account);
    if (sid.empty() || handle == nullptr) return STATUS_INVALID_PARAMETER;
    const auto machine = domain::Authority(object->machine);
    const Store::Lock lock(machine->Storage());
    if (LoadRights(*machine, sid)) return STATUS_OBJECT_NAME_COLLISION;
    if (!SaveRights(*machine, sid, {})) return STATUS_ACCESS_DENIED;
    return NewHandle(machine, sid, desired, handle);
}

NTSTATUS LsaGetSystemAccessAccount(LSA_HANDLE account, PULONG access) {
    if (const NTSTATUS status = lsa::Enter("LsaGetSystemAccessAccount")) return status;
    std::shared_ptr<lsa::AccountObject> object;
    if (const NTSTATUS status = lsa::ObjectFor(account, lsa::kAccountView, object)) return status;
    *access = LoadRights(*object->machine, object->sid).value_or(Rights{}).systemAccess;
    return STATUS_SUCCESS;
}

NTSTATUS LsaSetSystemAccessAccount(LSA_HANDLE account, ULONG access) {
    if (const NTSTATUS status = lsa::Enter("LsaSetSystemAccessAccount")) return status;
    if ((access & ~kKnownAccess) != 0) return STATUS_INVALID_PARAMETER;
    return ChangeRights(account, lsa::kAccountAdjustSystemAccess, [access](Rights& rights) {
        rights.systemAccess = access;
        return STATUS_SUCCESS;
    });
}

NTSTATUS LsaAddPrivilegesToAccount(LSA_HANDLE account, PPRIVILEGE_SET privileges) {
    if (const NTSTATUS status = lsa::Enter("LsaAddPrivilegesToAccount")) return status;
    if (privileges == nullptr) return STATUS_INVALID_PARAMETER;
    return ChangeRights(account, lsa::kAccountAdjustPrivileges, [privileges](Rights& rights) {
        const auto names = NamesIn(*privileges);
        if (!names) return STATUS_NO_SUCH_PRIVILEGE;
        for (const std::string& name : *names) {
            auto& held = rights.privileges;
            if (std::find(held.begin(), held.end(), name) == held.end()) held.push_back(name);
        }
        return STATUS_SUCCESS;
    });
}

NTSTATUS LsaRemovePrivilegesFromAccount(LSA_HANDLE account, BOOLEAN all, PPRIVILEGE_SET privileges) {
    if (const NTSTATUS status = lsa::Enter("LsaRemovePrivilegesFromAccount")) return status;
    if ((all != 0) != (privileges == nullptr)) return STATUS_INVALID_PARAMETER;
    return ChangeRights(account, lsa::kAccountAdjustPrivileges, [privileges](Rights& rights) {
        if (privileges == nullptr) rights.privileges.clear();
        const auto names = privileges == nullptr ? std::vector<std::string>() : NamesIn(*privileges);
        if (!names) return STATUS_NO_SUCH_PRIVILEGE;
        for (const std::string& name : *names) std::erase(rights.privileges, name);
        return STATUS_SUCCESS;
    });
}

NTSTATUS LsaEnumeratePrivilegesOfAccount(LSA_HANDLE account, PPRIVILEGE_SET* privileges) {
    if (const NTSTATUS status = lsa::Enter("LsaEnumeratePrivilegesOfAccount")) return status;
    std::shared_ptr<lsa::AccountObject> object;
    if (const NTSTATUS status = lsa::ObjectFor(account, lsa::kAccountView, object)) return status;
    const auto names = LoadRights(*object->machine, object->sid).value_or(Rights{}).privileges;
    const std::size_t size = sizeof(PRIVILEGE_SET) + names.size() * sizeof(LUID_AND_ATTRIBUTES);
    auto* const set = static_cast<PPRIVILEGE_SET>(buffers::Allocate(ResourceKind::LsaMemory, size));
    if (set == nullptr) return STATUS_INSUFFICIENT_RESOURCES;
    for (const std::string& name : names) {
        const DWORD number = security::PrivilegeNumber(name);
        if (number != 0) set->Privilege[set->PrivilegeCount++] = {{number, 0}, 0};
    }
    *privileges = set;
    return STATUS_SUCCESS;
}

NTSTATUS LsaEnumerateAccountRights(LSA_HANDLE policy, PSID account, PLSA_UNICODE_STRING* rights, PULONG count) {
    if (const NTSTATUS status = lsa::Enter("LsaEnumerateAccountRights")) return status;
    std::shared_ptr<lsa::PolicyObject> object;
    if (const NTSTATUS status = lsa::ObjectFor(policy, POLICY_LOOKUP_NAMES, object)) return status;
    const auto machine = domain::Authority(object->machine);
    const auto found = LoadRights(*machine, accounts::CopyOf(account));
    if (!found || NamesOf(*found).empty()) return STATUS_OBJECT_NAME_NOT_FOUND;
    struct Right {
        LSA_UNICODE_STRING name;
    };
    network::RecordBlock<Right> block;
    for (const std::string& name : NamesOf(*found)) {
        block.Add({});
        block.Text(&Right::name, name);
    }
    *rights = static_cast<PLSA_UNICODE_STRING>(block.HandOut(ResourceKind::LsaMemory));
    *count = ULONG(block.Count());
    return *rights == nullptr ? STATUS_INSUFFICIENT_RESOURCES : STATUS_SUCCESS;
}
