// What control/accounts.h offers.
#include <algorithm>
#include <random>

#include "platform/embedded/accounts/builtin_names.h"
#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/security/token_state.h"

namespace embedded::control {
namespace {

using namespace accounts;

bool SetMembership(Machine& machine, const std::string& domainName) {
    return machine.Storage().WriteText(kAccountsKey, "Domain", domainName);
}

void AddMember(Machine& machine, DWORD alias, const Bytes& member) {
    auto group = LoadGroup(machine, BuiltinSid(alias));
    const std::string text = SidText(member);
    if (!group || std::find(group->members.begin(), group->members.end(), text) != group->members.end()) return;
    group->members.push_back(text);
    SaveGroup(machine, *group);
}

// As Windows does when a machine comes under a domain.
void AdmitDomainGroups(Machine& machine, const Bytes& domainSid) {
    AddMember(machine, kAdministrators, WithRid(domainSid, kDomainAdmins));
    AddMember(machine, kUsers, WithRid(domainSid, kDomainUsers));
}

// A standard user keeps a name that somebody chose for it.
void RenameStandardUser(Machine& machine, DWORD rid, Language from, Language to) {
    auto user = LoadUser(machine, rid);
    if (!user || user->name != StandardName(from, rid, false)) return;
    user->name = StandardName(to, rid, false);
    SaveUser(machine, *user);
}

std::u16string UnknownPassword() {
    std::random_device random;
    std::u16string password;
    for (int i = 0; i < 20; ++i) password += static_cast<char16_t>(u'!' + random() % ('~' - '!'));
    return password;
}

bool Take(Machine& machine, const KnownUser& known) {
    User user = LoadUser(machine, known.rid).value_or(User());
    user.rid = known.rid;
    user.name = known.name;
    user.fullName = known.fullName;
    user.comment = known.comment;
    user.homeDirectory = known.homeDirectory;
    user.flags = known.flags;
    return user.rid != 0 && IsAccountName(user.name) && SaveUser(machine, user) &&
           SetPassword(machine, user.rid, UnknownPassword().c_str()) &&
           SaveRights(machine, WithRid(MachineSid(machine), user.rid), RightsOf(known.rights));
}

bool Take(Machine& machine, const KnownGroup& known) {
    LocalGroup group{SidFromText(known.sid), "", known.comment, known.members};
    if (DomainOf(group.sid) == MachineSid(machine)) group.name = known.name;
    const bool isOne = !group.sid.empty() && (DomainOf(group.sid) != MachineSid(machine) || IsAccountName(known.name));
    return isOne && SaveGroup(machine, group) && SaveRights(machine, group.sid, RightsOf(known.rights));
}

}  // namespace

bool SetMachineRole(const std::string& name, MachineRole role) {
    const auto machine = world::Find(name.c_str());
    return machine != nullptr && domain::SetRole(*machine, role);
}

bool SkipIdentifiers(const std::string& name, unsigned count) {
    const auto machine = world::Find(name.c_str());
    return machine != nullptr && SkipRids(*machine, count);
}

bool SetWorkgroup(const std::string& name, const std::string& workgroup) {
    const auto machine = world::Find(name.c_str());
    return machine != nullptr && SetMembership(*machine, "") &&
           machine->Storage().WriteText(kAccountsKey, "Workgroup", workgroup);
}

bool AddDomain(const std::string& name, const std::string& controller) {
    const auto machine = world::Find(controller.c_str());
    if (machine == nullptr || name.empty() || domain::Controller(name) != nullptr) return false;
    if (!domain::SetRole(*machine, MachineRole::PrimaryController) || !SetMembership(*machine, name)) return false;
    AdmitDomainGroups(*machine, MachineSid(*machine));
    return true;
}

bool JoinDomain(const std::string& name, const std::string& domainName) {
    const auto machine = world::Find(name.c_str());
    const auto controller = domain::Controller(domainName);
    if (machine == nullptr || controller == nullptr) return false;
    AdmitDomainGroups(*machine, MachineSid(*controller));
    return SetMembership(*machine, domain::Name(*controller));
}

bool AddTrust(const std::string& name, const std::string& trusted) {
    const auto machine = world::Find(name.c_str());
    if (machine == nullptr || trusted.empty()) return false;
    const Store::Lock lock(machine->Storage());
    auto trusts = domain::TrustsOf(*machine);
    trusts.push_back(trusted);
    return machine->Storage().WriteList(kAccountsKey, "Trusts", trusts);
}

bool SetCurrentUser(const std::string& name) {
    const auto machine = world::Local();
    const auto account = ByName(*machine, name);
    const bool canRun = account && (account->use == Use::User || account->sid == security::well_known::kSystem);
    if (!canRun || !machine->Storage().WriteText(kAccountsKey, "CurrentUser", SidText(account->sid))) return false;
    security::ResetForMachine();  // the next token is the new user's
    return true;
}

bool TakeAccounts(const std::string& name, const std::vector<KnownUser>& users, const std::vector<KnownGroup>& groups) {
    const auto machine = world::Find(name.c_str());
    if (machine == nullptr) return false;
    const Store::Lock lock(machine->Storage());
    for (const User& user : AllUsers(*machine)) {
        const auto isIt = [&](const KnownUser& known) { return known.rid == user.rid; };
        if (std::none_of(users.begin(), users.end(), isIt) && !DeleteUser(*machine, user)) return false;
    }
    for (const LocalGroup& group : AllGroups(*machine)) {
        const auto isIt = [&](const KnownGroup& known) { return SidFromText(known.sid) == group.sid; };
        if (std::none_of(groups.begin(), groups.end(), isIt) && !DeleteGroup(*machine, group)) return false;
    }
    const auto take = [&](const auto& known) { return Take(*machine, known); };
    return std::all_of(users.begin(), users.end(), take) && std::all_of(groups.begin(), groups.end(), take);
}

bool SetBuiltinNames(const std::string& name, const std::string& languageName) {
    const auto machine = world::Find(name.c_str());
    const auto language = LanguageByName(languageName);
    if (machine == nullptr || !language) return false;
    const Store::Lock lock(machine->Storage());
    for (const DWORD rid : {kAdministratorUser, kGuestUser}) {
        RenameStandardUser(*machine, rid, LanguageOf(*machine), *language);
    }
    return machine->Storage().WriteText(kAccountsKey, "Language", languageName);
}

}  // namespace embedded::control
