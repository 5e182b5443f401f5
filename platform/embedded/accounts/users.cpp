// Users: NetUser*.
#include "platform/embedded/accounts/authority.h"
#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/accounts/store.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/record_block.h"

using namespace embedded;
using namespace embedded::accounts;
using control::CallKind;
using network::NarrowOf;
using network::RecordBlock;

namespace {

constexpr std::size_t kLongestUserName = 20;  // LM20_UNLEN, the limit of the accounts database

DWORD WrongParameter(LPDWORD place, DWORD number) {
    if (place != nullptr) *place = number;
    return ERROR_INVALID_PARAMETER;
}

void TakeText(std::string& field, LPCWSTR text) {
    if (text != nullptr) field = NarrowOf(text);
}

void Take(User& user, const USER_INFO_1& info) {
    TakeText(user.homeDirectory, info.usri1_home_dir);
    TakeText(user.comment, info.usri1_comment);
    TakeText(user.scriptPath, info.usri1_script_path);
    user.flags = info.usri1_flags | UF_NORMAL_ACCOUNT;
}

// The records of levels 1 and 2 begin alike.
void Take(User& user, const USER_INFO_2& info) {
    Take(user, reinterpret_cast<const USER_INFO_1&>(info));
    TakeText(user.fullName, info.usri2_full_name);
    TakeText(user.userComment, info.usri2_usr_comment);
    TakeText(user.parameters, info.usri2_parms);
    TakeText(user.workstations, info.usri2_workstations);
    user.expires = info.usri2_acct_expires;
    user.maxStorage = info.usri2_max_storage;
    user.countryCode = info.usri2_country_code;
    user.codePage = info.usri2_code_page;
}

void Take(User& user, DWORD level, const BYTE* buffer) {
    if (level == 1) {
        Take(user, *reinterpret_cast<const USER_INFO_1*>(buffer));
    } else {
        Take(user, *reinterpret_cast<const USER_INFO_2*>(buffer));
    }
}

std::optional<User> FindUser(Machine& machine, LPCWSTR name) {
    const auto rid = RidByName(machine, NarrowOf(name));
    return rid ? LoadUser(machine, *rid) : std::nullopt;
}

DWORD PrivilegeOf(Machine& machine, const User& user) {
    const Bytes sid = WithRid(MachineSid(machine), user.rid);
    DWORD privilege = USER_PRIV_GUEST;
    for (const Bytes& group : GroupsOf(machine, sid)) {
        if (group == security::well_known::kAdministrators) return USER_PRIV_ADMIN;
        if (group == BuiltinSid(kUsers) || group == security::well_known::kAuthenticated) privilege = USER_PRIV_USER;
    }
    return privilege;
}

template <class Info>
void PutCommon(RecordBlock<Info>& block, const User& user, LPWSTR Info::*name, LPWSTR Info::*home,
               LPWSTR Info::*comment, LPWSTR Info::*script) {
    block.Text(name, user.name);
    block.Text(home, user.homeDirectory);
    block.Text(comment, user.comment);
    block.Text(script, user.scriptPath);
}

void Put(Machine&, RecordBlock<USER_INFO_0>& block, const User& user) {
    block.Add({});
    block.Text(&USER_INFO_0::usri0_name, user.name);
}

void Put(Machine& machine, RecordBlock<USER_INFO_1>& block, const User& user) {
    USER_INFO_1 info{};
    info.usri1_priv = PrivilegeOf(machine, user);
    info.usri1_flags = user.flags;
    block.Add(info);
    PutCommon(block, user, &USER_INFO_1::usri1_name, &USER_INFO_1::usri1_home_dir, &USER_INFO_1::usri1_comment,
              &USER_INFO_1::usri1_script_path);
}

void Put(Machine& machine, RecordBlock<USER_INFO_2>& block, const User& user) {
    constexpr DWORD kHoursOfAWeek = 168;
    USER_INFO_2 info{};
    info.usri2_priv = PrivilegeOf(machine, user);
    info.usri2_flags = user.flags;
    info.usri2_acct_expires = user.expires;
    info.usri2_max_storage = user.maxStorage;
    info.usri2_units_per_week = kHoursOfAWeek;
    info.usri2_country_code = user.countryCode;
    info.usri2_code_page = user.codePage;
    block.Add(info);
    PutCommon(block, user, &USER_INFO_2::usri2_name, &USER_INFO_2::usri2_home_dir, &USER_INFO_2::usri2_comment,
              &USER_INFO_2::usri2_script_path);
    block.Text(&USER_INFO_2::usri2_full_name, user.fullName);
    block.Text(&USER_INFO_2::usri2_usr_comment, user.userComment);
    block.Text(&USER_INFO_2::usri2_parms, user.parameters);
    block.Text(&USER_INFO_2::usri2_workstations, user.workstations);
    block.Text(&USER_INFO_2::usri2_logon_server, "\\\\*");
}

template <class Record>
DWORD Tell(Machine& machine, const User& user, LPBYTE* buffer) {
    RecordBlock<Record> block;
    Put(machine, block, user);
    return block.HandOut(buffer);
}

template <class Record>
DWORD List(Machine& machine, LPBYTE* buffer, const network::Range<DWORD>& range) {
    return network::Enumerate<Record>(AllUsers(machine), buffer, range,
                                      [&](auto& block, const User& user) { Put(machine, block, user); });
}

// A domain, or a machine by its name.
std::shared_ptr<Machine> AccountsOf(LPCWSTR domainOrMachine) {
    if (domainOrMachine == nullptr) return domain::Authority(world::Local());
    if (auto controller = domain::Controller(NarrowOf(domainOrMachine))) return controller;
    return domain::Authority(world::Find(domainOrMachine));
}

}  // namespace

NET_API_STATUS NetUserAdd(LPCWSTR server, DWORD level, LPBYTE buffer, LPDWORD wrongParameter) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetUserAdd")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = network::AuthorityForChange(server, machine)) return error;
    if (level != 1 && level != 2) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr) return WrongParameter(wrongParameter, 0);
    const auto& info = *reinterpret_cast<const USER_INFO_1*>(buffer);
    // Only users are made so; who is an administrator is a matter of groups.
    if (info.usri1_priv != USER_PRIV_USER) return WrongParameter(wrongParameter, 3);
    User user;
    user.name = NarrowOf(info.usri1_name);
    if (!IsAccountName(user.name) || user.name.size() > kLongestUserName) return NERR_BadUsername;
    const Store::Lock lock(machine->Storage());
    if (const auto taken = RidByName(*machine, user.name)) {
        return LoadUser(*machine, *taken) ? NERR_UserExists : NERR_GroupExists;
    }
    Take(user, level, buffer);
    if (!SaveUser(*machine, user)) return ERROR_ACCESS_DENIED;
    if (!SetPassword(*machine, user.rid, info.usri1_password)) {
        DeleteUser(*machine, user);
        return NERR_PasswordTooShort;
    }
    return NERR_Success;
}

NET_API_STATUS NetUserGetInfo(LPCWSTR server, LPCWSTR name, DWORD level, LPBYTE* buffer) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetUserGetInfo")) return error;
    const auto machine = domain::Authority(world::Find(server));
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    if (level > 2) return ERROR_INVALID_LEVEL;
    const auto user = FindUser(*machine, name);
    if (!user) return NERR_UserNotFound;
    if (level == 0) return Tell<USER_INFO_0>(*machine, *user, buffer);
    return level == 1 ? Tell<USER_INFO_1>(*machine, *user, buffer) : Tell<USER_INFO_2>(*machine, *user, buffer);
}

NET_API_STATUS NetUserEnum(LPCWSTR server, DWORD level, DWORD filter, LPBYTE* buffer, DWORD preferredBytes,
                           LPDWORD read, LPDWORD total, LPDWORD resume) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetUserEnum")) return error;
    const auto machine = domain::Authority(world::Find(server));
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    if (level > 2) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr || read == nullptr || total == nullptr || (filter & ~FILTER_NORMAL_ACCOUNT) != 0)
        return ERROR_INVALID_PARAMETER;
    const network::Range<DWORD> range{preferredBytes, read, total, resume};
    if (level == 0) return List<USER_INFO_0>(*machine, buffer, range);
    return level == 1 ? List<USER_INFO_1>(*machine, buffer, range) : List<USER_INFO_2>(*machine, buffer, range);
}

NET_API_STATUS NetUserSetInfo(LPCWSTR server, LPCWSTR name, DWORD level, LPBYTE buffer, LPDWORD wrongParameter) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetUserSetInfo")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = network::AuthorityForChange(server, machine)) return error;
    if (level != 1 && level != 2) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr) return WrongParameter(wrongParameter, 0);
    const Store::Lock lock(machine->Storage());
    auto user = FindUser(*machine, name);
    if (!user) return NERR_UserNotFound;
    Take(*user, level, buffer);
    const auto& info = *reinterpret_cast<const USER_INFO_1*>(buffer);
    if (info.usri1_password != nullptr && !SetPassword(*machine, user->rid, info.usri1_password)) {
        return NERR_PasswordTooShort;
    }
    return SaveUser(*machine, *user) ? NERR_Success : ERROR_ACCESS_DENIED;
}

NET_API_STATUS NetUserDel(LPCWSTR server, LPCWSTR name) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetUserDel")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = network::AuthorityForChange(server, machine)) return error;
    const Store::Lock lock(machine->Storage());
    const auto user = FindUser(*machine, name);
    if (!user) return NERR_UserNotFound;
    // The accounts that every machine has stay.
    if (user->rid == kAdministratorUser || user->rid == kGuestUser) return ERROR_SPECIAL_ACCOUNT;
    return DeleteUser(*machine, *user) ? NERR_Success : ERROR_ACCESS_DENIED;
}

NET_API_STATUS NetUserChangePassword(LPCWSTR domainName, LPCWSTR name, LPCWSTR oldPassword, LPCWSTR newPassword) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetUserChangePassword")) return error;
    const auto machine = AccountsOf(domainName);
    if (machine == nullptr) return ERROR_NO_SUCH_DOMAIN;
    const Store::Lock lock(machine->Storage());
    const auto user = FindUser(*machine, name);
    if (!user) return NERR_UserNotFound;
    if (!PasswordMatches(*machine, user->rid, oldPassword)) return ERROR_INVALID_PASSWORD;
    // The same password again leaves the record as it is: a new salt would be a change that nobody asked for.
    const bool same =
        oldPassword != nullptr && newPassword != nullptr && std::u16string_view(oldPassword) == newPassword;
    if (same) return NERR_Success;
    return SetPassword(*machine, user->rid, newPassword) ? NERR_Success : NERR_PasswordTooShort;
}
