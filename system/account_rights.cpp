// The groups of the system account, and the rights of the group that it gets them from.
#include <cstring>

#include "changes/changing.h"
#include "foundation/well_known_sid.h"
#include "foundation/wide_text.h"
#include "instalib/system_account.h"
#include "platform/handles.h"
#include "platform/lsa_accounts.h"

namespace {

constexpr DWORD kNameSize = 256;
constexpr DWORD kGroupNameSize = 128;
constexpr ULONG kLogonRights = 1 | 2 | 4 | 16;         // interactive, network, batch, service
constexpr ACCESS_MASK kPolicyAllAccess = 0x000F0FFF;   // POLICY_ALL_ACCESS
constexpr ACCESS_MASK kAccountAllAccess = 0x000F000F;  // ACCOUNT_ALL_ACCESS of ntlsa.h, absent from the public headers

// A status is an error when its two top bits are set: warnings and information count as success.
bool IsError(NTSTATUS status) { return (static_cast<ULONG>(status) & 0xC0000000u) == 0xC0000000u; }

int Check(NTSTATUS status) { return IsError(status) ? FailWith(LsaNtStatusToWinError(status)) : 1; }

void CopyCut(char* target, DWORD size, const char* text) {
    if (size == 0) return;
    const DWORD length = static_cast<DWORD>(strnlen(text, size - 1));
    std::memcpy(target, text, length);
    target[length] = '\0';
}

int OpenPolicy(const WCHAR* server, PolicyHandle& policy) {
    LSA_UNICODE_STRING system{};
    if (server != nullptr) {
        system.Length = static_cast<USHORT>(TextLength(server) * sizeof(WCHAR));
        system.MaximumLength = static_cast<USHORT>(system.Length + sizeof(WCHAR));
        system.Buffer = const_cast<WCHAR*>(server);
    }
    LSA_OBJECT_ATTRIBUTES attributes{};
    return Check(changing::LsaOpenPolicy(server != nullptr ? &system : nullptr, &attributes, kPolicyAllAccess,
                                         policy.Receive()));
}

int FindSid(const char* server, const CString& account, BYTE (&sid)[SECURITY_MAX_SID_SIZE]) {
    char domain[kNameSize] = "";
    DWORD domainSize = sizeof domain;
    DWORD sidSize = sizeof sid;
    SID_NAME_USE use{};
    return LookupAccountNameA(server, account, sid, &sidSize, domain, &domainSize, &use);
}

}  // namespace

int CSystemAccount::GetGroupName(DWORD rid, const WCHAR* server, char* name, DWORD nameSize, char* domain,
                                 DWORD domainSize) {
    if (nameSize > 0) *name = '\0';
    if (domainSize > 0) *domain = '\0';
    const AllocatedSid sid = BuiltinSid(rid);
    if (!sid) return 0;
    char foundName[kNameSize] = "";
    char foundDomain[kNameSize] = "";
    DWORD foundNameSize = sizeof foundName;
    DWORD foundDomainSize = sizeof foundDomain;
    SID_NAME_USE use{};
    CString machine;
    if (!ToNarrow(server, machine)) return 0;
    if (!LookupAccountSidA(server != nullptr ? static_cast<const char*>(machine) : nullptr, sid.Get(), foundName,
                           &foundNameSize, foundDomain, &foundDomainSize, &use)) {
        return 0;
    }
    CopyCut(name, nameSize, foundName);
    CopyCut(domain, domainSize, foundDomain);
    return 1;
}

int CSystemAccount::AddMemberToGroup(DWORD rid, const WCHAR* server, PSID member) {
    char group[kGroupNameSize] = "";
    char domain[kGroupNameSize] = "";
    if (!GetGroupName(rid, server, group, sizeof group, domain, sizeof domain)) return 0;
    WideText wideGroup(group);
    if (!wideGroup.Fits()) return 0;
    LOCALGROUP_MEMBERS_INFO_0 info{member};
    const NET_API_STATUS status =
        changing::NetLocalGroupAddMembers(server, wideGroup.Get(), 0, reinterpret_cast<BYTE*>(&info), 1);
    return status == NERR_Success || status == ERROR_MEMBER_IN_ALIAS ? 1 : FailWith(status);
}

int CSystemAccount::AddKorvaultUserPrivileges(const WCHAR* server) {
    PolicyHandle policy;
    if (!OpenPolicy(server, policy)) return 0;
    char group[kNameSize] = "";
    char domain[kNameSize] = "";
    if (!GetGroupName(DOMAIN_ALIAS_RID_BACKUP_OPS, server, group, sizeof group, domain, sizeof domain)) return 0;
    CString machine;
    if (!ToNarrow(server, machine)) return 0;
    const char* const system = server != nullptr ? static_cast<const char*>(machine) : nullptr;
    alignas(DWORD) BYTE sid[SECURITY_MAX_SID_SIZE] = {};
    if (!FindSid(system, CString(domain) + "\\" + group, sid)) return 0;

    PolicyHandle account;
    if (!Check(changing::LsaOpenAccount(policy.Get(), sid, kAccountAllAccess, account.Receive())) ||
        !Check(changing::LsaSetSystemAccessAccount(account.Get(), kLogonRights))) {
        return 0;
    }
    // Both are tried; the first failure's error stays.
    const int operating = AddPrivilege(account.Get(), system, SE_TCB_NAME);
    const DWORD error = GetLastError();
    const int backing = AddPrivilege(account.Get(), system, SE_BACKUP_NAME);
    if (!operating) return FailWith(error);
    return backing;
}

int CSystemAccount::AddPrivilege(void* account, const char* server, const char* privilege) {
    PRIVILEGE_SET privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Control = PRIVILEGE_SET_ALL_NECESSARY;
    privileges.Privilege[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (!LookupPrivilegeValueA(server, privilege, &privileges.Privilege[0].Luid)) return 0;
    return Check(changing::LsaAddPrivilegesToAccount(account, &privileges));
}
