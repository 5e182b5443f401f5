#include "platform/embedded/machine/seed.h"
#include "platform/embedded/accounts/builtin_names.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/api/accounts.h"

namespace embedded {
namespace {

using namespace accounts;

struct StandardRights {
    const char* sid;
    DWORD systemAccess;
    std::vector<std::string> privileges;
};

// What Windows itself assigns on a fresh workstation, as far as an installer can notice.
const std::vector<StandardRights>& FreshRights() {
    static const std::vector<StandardRights> rights = {
        {"S-1-1-0", 0x2, {"SeChangeNotifyPrivilege"}},
        {"S-1-5-18",
         0x10,
         {"SeAssignPrimaryTokenPrivilege",
          "SeAuditPrivilege",
          "SeBackupPrivilege",
          "SeChangeNotifyPrivilege",
          "SeCreateGlobalPrivilege",
          "SeCreatePagefilePrivilege",
          "SeCreatePermanentPrivilege",
          "SeDebugPrivilege",
          "SeImpersonatePrivilege",
          "SeIncreaseBasePriorityPrivilege",
          "SeIncreaseQuotaPrivilege",
          "SeLoadDriverPrivilege",
          "SeLockMemoryPrivilege",
          "SeManageVolumePrivilege",
          "SeProfileSingleProcessPrivilege",
          "SeRestorePrivilege",
          "SeSecurityPrivilege",
          "SeShutdownPrivilege",
          "SeSystemEnvironmentPrivilege",
          "SeSystemProfilePrivilege",
          "SeSystemtimePrivilege",
          "SeTakeOwnershipPrivilege",
          "SeTcbPrivilege",
          "SeUndockPrivilege"}},
        {"S-1-5-19", 0x10, {"SeAuditPrivilege", "SeChangeNotifyPrivilege", "SeImpersonatePrivilege"}},
        {"S-1-5-20", 0x10, {"SeAuditPrivilege", "SeChangeNotifyPrivilege", "SeImpersonatePrivilege"}},
        {"S-1-5-32-544",
         0x407,
         {"SeBackupPrivilege",
          "SeChangeNotifyPrivilege",
          "SeCreateGlobalPrivilege",
          "SeCreatePagefilePrivilege",
          "SeDebugPrivilege",
          "SeImpersonatePrivilege",
          "SeIncreaseBasePriorityPrivilege",
          "SeIncreaseQuotaPrivilege",
          "SeLoadDriverPrivilege",
          "SeManageVolumePrivilege",
          "SeProfileSingleProcessPrivilege",
          "SeRemoteShutdownPrivilege",
          "SeRestorePrivilege",
          "SeSecurityPrivilege",
          "SeShutdownPrivilege",
          "SeSystemEnvironmentPrivilege",
          "SeSystemProfilePrivilege",
          "SeSystemtimePrivilege",
          "SeTakeOwnershipPrivilege",
          "SeUndockPrivilege"}},
        {"S-1-5-32-545", 0x3, {"SeChangeNotifyPrivilege", "SeShutdownPrivilege", "SeUndockPrivilege"}},
        {"S-1-5-32-551",
         0x7,
         {"SeBackupPrivilege", "SeChangeNotifyPrivilege", "SeRestorePrivilege", "SeShutdownPrivilege"}},
        {"S-1-5-32-555", 0x400, {}},
    };
    return rights;
}

void SeedUser(Machine& machine, DWORD rid, DWORD flags, const char* comment) {
    User user;
    user.rid = rid;
    user.name = StandardName(Language::English, rid, false);
    user.comment = comment;
    user.flags = UF_SCRIPT | UF_NORMAL_ACCOUNT | UF_DONT_EXPIRE_PASSWD | flags;
    SaveUser(machine, user);
    SetPassword(machine, rid, nullptr);
}

void SeedGroups(Machine& machine) {
    const std::string administrator = SidText(WithRid(MachineSid(machine), kAdministratorUser));
    const std::string guest = SidText(WithRid(MachineSid(machine), kGuestUser));
    for (const DWORD rid : BuiltinGroups()) {
        LocalGroup group;
        group.sid = BuiltinSid(rid);
        if (rid == kAdministrators) group.members = {administrator};
        if (rid == kUsers) group.members = {"S-1-5-4", "S-1-5-11"};  // INTERACTIVE and Authenticated Users
        if (rid == kGuests) group.members = {guest};
        SaveGroup(machine, group);
    }
}

}  // namespace

void SeedAccounts(Machine& machine, const std::string& sid) {
    if (!sid.empty()) machine.Storage().Write(kAccountsKey, "Sid", 3 /* REG_BINARY */, SidFromText(sid));
    SeedUser(machine, kAdministratorUser, 0, "Built-in account for administering the computer/domain");
    SeedUser(machine, kGuestUser, UF_ACCOUNTDISABLE | UF_PASSWD_NOTREQD | UF_PASSWD_CANT_CHANGE,
             "Built-in account for guest access to the computer/domain");
    SeedGroups(machine);
    for (const StandardRights& row : FreshRights()) {
        SaveRights(machine, SidFromText(row.sid), {row.privileges, row.systemAccess});
    }
    machine.Storage().WriteText(kAccountsKey, "Workgroup", "WORKGROUP");
}

}  // namespace embedded
