#include "platform/embedded/accounts/records.h"

#include <algorithm>
#include <functional>

#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/store.h"
#include "platform/embedded/core/text.h"

namespace embedded::accounts {
namespace {

const std::string kRoot = kAccountsKey;
constexpr DWORD kFirstRid = 1000;

std::string NameKey(std::string_view name) { return kRoot + "\\Names\\" + std::string(name); }
std::string UserKey(DWORD rid) { return kRoot + "\\Users\\" + std::to_string(rid); }
std::string GroupKey(const Bytes& sid) { return kRoot + "\\Groups\\" + SidText(sid); }
std::string RightsKey(const Bytes& sid) { return kRoot + "\\Rights\\" + SidText(sid); }

struct TextField {
    const char* value;
    std::string User::*field;
};
constexpr TextField kTexts[] = {
    {"Name", &User::name},
    {"FullName", &User::fullName},
    {"Comment", &User::comment},
    {"UserComment", &User::userComment},
    {"HomeDirectory", &User::homeDirectory},
    {"ScriptPath", &User::scriptPath},
    {"Parameters", &User::parameters},
    {"Workstations", &User::workstations},
};

struct NumberField {
    const char* value;
    DWORD User::*field;
};
constexpr NumberField kNumbers[] = {
    {"Flags", &User::flags},           {"Expires", &User::expires},
    {"MaxStorage", &User::maxStorage}, {"CountryCode", &User::countryCode},
    {"CodePage", &User::codePage},
};

DWORD NextRid(Machine& machine) {
    Store& store = machine.Storage();
    const DWORD rid = std::max(store.ReadNumber(kRoot, "NextRid", kFirstRid), kFirstRid);
    return store.WriteNumber(kRoot, "NextRid", rid + 1) ? rid : 0;
}

// An identifier that came from elsewhere is never given out again.
bool PassOver(Store& store, DWORD rid) {
    if (rid < std::max(store.ReadNumber(kRoot, "NextRid", kFirstRid), kFirstRid)) return true;
    return store.WriteNumber(kRoot, "NextRid", rid + 1);
}

void RemoveMember(Machine& machine, const std::string& member) {
    for (LocalGroup& group : AllGroups(machine)) {
        if (std::erase(group.members, member) != 0) SaveGroup(machine, group);
    }
}

}  // namespace

bool SkipRids(Machine& machine, unsigned count) {
    for (; count > 0; --count) {
        if (NextRid(machine) == 0) return false;
    }
    return true;
}

std::optional<DWORD> RidByName(Machine& machine, std::string_view name) {
    if (!IsAccountName(name)) return std::nullopt;
    const DWORD rid = machine.Storage().ReadNumber(NameKey(name), "Rid");
    return rid == 0 ? std::nullopt : std::optional(rid);
}

std::optional<User> LoadUser(Machine& machine, DWORD rid) {
    Store& store = machine.Storage();
    const std::string key = UserKey(rid);
    User user;
    user.rid = rid;
    for (const TextField& row : kTexts) user.*row.field = store.ReadText(key, row.value);
    if (user.name.empty()) return std::nullopt;
    for (const NumberField& row : kNumbers) user.*row.field = store.ReadNumber(key, row.value, user.*row.field);
    return user;
}

bool SaveUser(Machine& machine, User& user) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    if (user.rid == 0) user.rid = NextRid(machine);
    if (user.rid == 0) return false;
    if (!PassOver(store, user.rid)) return false;
    const std::string key = UserKey(user.rid);
    const std::string oldName = store.ReadText(key, "Name");
    if (!oldName.empty() && !text::EqualNoCase(oldName, user.name)) store.DeleteTree(NameKey(oldName));
    bool saved = store.WriteNumber(NameKey(user.name), "Rid", user.rid);
    for (const TextField& row : kTexts) saved = store.WriteText(key, row.value, user.*row.field) && saved;
    for (const NumberField& row : kNumbers) saved = store.WriteNumber(key, row.value, user.*row.field) && saved;
    return saved;
}

bool DeleteUser(Machine& machine, const User& user) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    const Bytes sid = WithRid(MachineSid(machine), user.rid);
    RemoveMember(machine, SidText(sid));
    store.DeleteTree(RightsKey(sid));
    store.DeleteTree(NameKey(user.name));
    return store.DeleteTree(UserKey(user.rid));
}

std::vector<User> AllUsers(Machine& machine) {
    std::vector<User> users;
    for (const std::string& rid : machine.Storage().Subkeys(kRoot + "\\Users")) {
        if (std::optional<User> user = LoadUser(machine, DWORD(std::strtoul(rid.c_str(), nullptr, 10))))
            users.push_back(*std::move(user));
    }
    std::sort(users.begin(), users.end(),
              [](const User& a, const User& b) { return text::CompareNoCase(a.name, b.name) < 0; });
    return users;
}

std::optional<LocalGroup> LoadGroup(Machine& machine, const Bytes& sid) {
    Store& store = machine.Storage();
    const std::string key = GroupKey(sid);
    if (sid.empty() || !store.KeyExists(key)) return std::nullopt;
    return LocalGroup{sid, store.ReadText(key, "Name"), store.ReadText(key, "Comment"), store.ReadList(key, "Members")};
}

bool SaveGroup(Machine& machine, const LocalGroup& group) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    const std::string key = GroupKey(group.sid);
    const DWORD rid = RidOf(group.sid).value_or(0);
    bool saved = group.name.empty() || (PassOver(store, rid) && store.WriteNumber(NameKey(group.name), "Rid", rid) &&
                                        store.WriteText(key, "Name", group.name));
    if (!group.comment.empty()) saved = store.WriteText(key, "Comment", group.comment) && saved;
    return store.WriteList(key, "Members", group.members) && saved;
}

bool DeleteGroup(Machine& machine, const LocalGroup& group) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    store.DeleteTree(RightsKey(group.sid));
    if (!group.name.empty()) store.DeleteTree(NameKey(group.name));
    return store.DeleteTree(GroupKey(group.sid));
}

std::vector<LocalGroup> AllGroups(Machine& machine) {
    std::vector<LocalGroup> groups;
    for (const std::string& name : machine.Storage().Subkeys(kRoot + "\\Groups")) {
        if (std::optional<LocalGroup> group = LoadGroup(machine, SidFromText(name)))
            groups.push_back(*std::move(group));
    }
    return groups;
}

Bytes NewSid(Machine& machine) {
    const Store::Lock lock(machine.Storage());
    return WithRid(MachineSid(machine), NextRid(machine));
}

bool IsAccountName(std::string_view name) {
    const auto isFiller = [](char character) { return character == '.' || character == ' '; };
    const auto isForbidden = [](char character) {
        return BYTE(character) < 0x20 ||
               std::string_view("\"/\\[]:;|=,+*?<>").find(character) != std::string_view::npos;
    };
    return std::any_of(name.begin(), name.end(), std::not_fn(isFiller)) &&
           std::none_of(name.begin(), name.end(), isForbidden);
}

}  // namespace embedded::accounts
