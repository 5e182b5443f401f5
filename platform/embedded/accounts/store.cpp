#include "platform/embedded/accounts/store.h"

#include <algorithm>
#include <random>

#include "platform/embedded/accounts/builtin_names.h"
#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/core/text.h"

namespace embedded::accounts {
namespace {

// The domains that are asked for what the machine's own accounts do not have, in this order: the one it belongs to, and
// those that it and its domain trust.
std::vector<std::shared_ptr<Machine>> OtherDomains(Machine& machine) {
    std::vector<std::shared_ptr<Machine>> domains;
    const auto add = [&](std::string_view name) {
        auto controller = domain::Controller(name);
        if (controller == nullptr || controller->Folder() == machine.Folder()) return;
        if (std::find(domains.begin(), domains.end(), controller) == domains.end()) domains.push_back(controller);
    };
    const std::string own = domain::Name(machine);
    add(own);
    for (const std::string& trusted : domain::TrustsOf(machine)) add(trusted);
    if (const auto controller = domain::Controller(own)) {
        for (const std::string& trusted : domain::TrustsOf(*controller)) add(trusted);
    }
    return domains;
}

// A user, local group or standard group among the accounts that the machine itself keeps.
std::optional<Account> OwnByRid(Machine& machine, DWORD rid) {
    const Bytes sid = WithRid(MachineSid(machine), rid);
    const std::string domainName = domain::AccountDomainName(machine);
    if (const auto user = LoadUser(machine, rid)) return Account{user->name, domainName, sid, Use::User};
    if (const auto group = LoadGroup(machine, sid)) return Account{group->name, domainName, sid, Use::Alias};
    const std::string standard = StandardName(LanguageOf(machine), rid, domain::IsController(machine));
    if (standard.empty() || rid == kAdministratorUser || rid == kGuestUser) return std::nullopt;
    return Account{standard, domainName, sid, Use::Group};
}

std::optional<Account> OwnByName(Machine& machine, std::string_view name) {
    if (const auto rid = RidByName(machine, name)) return OwnByRid(machine, *rid);
    const bool controller = domain::IsController(machine);
    for (const DWORD rid : {kDomainAdmins, kDomainUsers, kDomainGuests}) {
        if (text::EqualNoCase(name, StandardName(LanguageOf(machine), rid, controller))) return OwnByRid(machine, rid);
    }
    return std::nullopt;
}

Account DomainItself(Machine& machine) {
    const std::string name = domain::AccountDomainName(machine);
    return {name, name, MachineSid(machine), Use::Domain};
}

bool Bears(Machine& machine, std::string_view domainName) {
    return text::EqualNoCase(domainName, domain::AccountDomainName(machine)) ||
           text::EqualNoCase(domainName, machine.Name());
}

std::optional<Account> Qualified(Machine& machine, std::string_view domainName, std::string_view name) {
    if (Bears(machine, domainName)) return OwnByName(machine, name);
    const auto controller = domain::Controller(domainName);
    return controller == nullptr ? std::nullopt : OwnByName(*controller, name);
}

std::optional<Account> Unqualified(Machine& machine, std::string_view name) {
    if (auto own = OwnByName(machine, name)) return own;
    if (Bears(machine, name)) return DomainItself(machine);
    for (const auto& other : OtherDomains(machine)) {
        if (text::EqualNoCase(name, domain::Name(*other))) return DomainItself(*other);
        if (auto account = OwnByName(*other, name)) return account;
    }
    return std::nullopt;
}

// What every local logon belongs to, by whom it is.
std::vector<Bytes> GroupsOfLogon(Machine& machine, const Bytes& sid) {
    namespace known = security::well_known;
    std::vector<Bytes> groups = {known::kEveryone, known::kLocal};
    const bool isSystem = sid == known::kSystem;
    if (!isSystem) groups.push_back(known::kInteractive);
    if (RidOf(sid) != kGuestUser) groups.push_back(known::kAuthenticated);
    if (isSystem) groups.push_back(known::kAdministrators);
    const Bytes domainSid = DomainOf(sid);
    if (domainSid != MakeSid(5, {}) && domainSid.size() == MachineSid(machine).size()) {
        groups.push_back(WithRid(domainSid, kDomainUsers));
        if (RidOf(sid) == kAdministratorUser && domainSid != MachineSid(machine)) {
            groups.push_back(WithRid(domainSid, kDomainAdmins));
        }
    }
    return groups;
}

bool Contains(const std::vector<Bytes>& sids, const Bytes& sid) {
    return std::find(sids.begin(), sids.end(), sid) != sids.end();
}

}  // namespace

std::optional<Account> ByName(Machine& machine, std::string_view name) {
    if (auto wellKnown = WellKnownByName(LanguageOf(machine), name)) return wellKnown;
    const std::size_t separator = name.find('\\');
    if (separator == name.npos) return Unqualified(machine, name);
    return Qualified(machine, name.substr(0, separator), name.substr(separator + 1));
}

std::optional<Account> BySid(Machine& machine, const Bytes& sid) {
    if (auto wellKnown = WellKnownBySid(LanguageOf(machine), sid)) return wellKnown;
    const Bytes domainSid = DomainOf(sid);
    if (sid == MachineSid(machine)) return DomainItself(machine);
    if (domainSid == MachineSid(machine)) return OwnByRid(machine, *RidOf(sid));
    // Only identifiers of account domains (S-1-5-21-...) can be another domain's: no other asks one.
    if (!SidText(sid).starts_with("S-1-5-21-")) return std::nullopt;
    for (const auto& other : OtherDomains(machine)) {
        if (sid == MachineSid(*other)) return DomainItself(*other);
        if (domainSid == MachineSid(*other)) return OwnByRid(*other, *RidOf(sid));
    }
    return std::nullopt;
}

Bytes MachineSid(Machine& machine) {
    Store& store = machine.Storage();
    const auto stored = [&] {
        const auto value = store.Read(kAccountsKey, "Sid");
        return value && IsSid(value->data) ? value->data : Bytes();
    };
    if (Bytes sid = stored(); !sid.empty()) return sid;
    const Store::Lock lock(store);
    if (Bytes sid = stored(); !sid.empty()) return sid;
    std::random_device random;
    const Bytes sid = MakeSid(5, {21, random(), random(), random()});
    store.Write(kAccountsKey, "Sid", 3 /* REG_BINARY */, sid);
    return sid;
}

std::vector<Bytes> GroupsOf(Machine& machine, const Bytes& sid) {
    std::vector<Bytes> groups = GroupsOfLogon(machine, sid);
    const auto local = AllGroups(machine);
    const auto isIn = [&](const std::string& member) {
        const Bytes memberSid = SidFromText(member);
        return memberSid == sid || Contains(groups, memberSid);
    };
    // Groups hold groups: repeated until a round brings none.
    for (bool grew = true; grew;) {
        grew = false;
        for (const LocalGroup& group : local) {
            if (Contains(groups, group.sid) || std::none_of(group.members.begin(), group.members.end(), isIn)) continue;
            groups.push_back(group.sid);
            grew = true;
        }
    }
    return groups;
}

Account CurrentUser(Machine& machine) {
    const Bytes chosen = SidFromText(machine.Storage().ReadText(kAccountsKey, "CurrentUser"));
    if (auto account = BySid(machine, chosen)) return *account;
    const Bytes administrator = WithRid(MachineSid(machine), kAdministratorUser);
    return BySid(machine, administrator)
        .value_or(Account{"Administrator", domain::AccountDomainName(machine), administrator, Use::User});
}

}  // namespace embedded::accounts
