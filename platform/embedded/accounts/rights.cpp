#include <algorithm>

#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/accounts/store.h"

namespace embedded::accounts {
namespace {

constexpr struct {
    DWORD bit;  // POLICY_MODE_* of ntsecapi.h
    const char* name;
} kLogonRights[] = {
    {0x001, "SeInteractiveLogonRight"},
    {0x002, "SeNetworkLogonRight"},
    {0x004, "SeBatchLogonRight"},
    {0x010, "SeServiceLogonRight"},
    {0x040, "SeDenyInteractiveLogonRight"},
    {0x080, "SeDenyNetworkLogonRight"},
    {0x100, "SeDenyBatchLogonRight"},
    {0x200, "SeDenyServiceLogonRight"},
    {0x400, "SeRemoteInteractiveLogonRight"},
};

std::string KeyOf(const Bytes& sid) { return std::string(kAccountsKey) + "\\Rights\\" + SidText(sid); }

}  // namespace

std::optional<Rights> LoadRights(Machine& machine, const Bytes& sid) {
    Store& store = machine.Storage();
    const std::string key = KeyOf(sid);
    if (!store.KeyExists(key)) return std::nullopt;
    return Rights{store.ReadList(key, "Privileges"), store.ReadNumber(key, "SystemAccess")};
}

bool SaveRights(Machine& machine, const Bytes& sid, const Rights& rights) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    const std::string key = KeyOf(sid);
    return store.WriteList(key, "Privileges", rights.privileges) &&
           store.WriteNumber(key, "SystemAccess", rights.systemAccess);
}

std::vector<std::string> NamesOf(const Rights& rights) {
    std::vector<std::string> names = rights.privileges;
    for (const auto& right : kLogonRights) {
        if ((rights.systemAccess & right.bit) != 0) names.emplace_back(right.name);
    }
    return names;
}

Rights RightsOf(const std::vector<std::string>& names) {
    Rights rights;
    for (const std::string& name : names) {
        const auto* const right = std::find_if(std::begin(kLogonRights), std::end(kLogonRights),
                                               [&](const auto& row) { return name == row.name; });
        if (right == std::end(kLogonRights)) {
            rights.privileges.push_back(name);
        } else {
            rights.systemAccess |= right->bit;
        }
    }
    return rights;
}

std::vector<std::string> PrivilegesOf(Machine& machine, const std::vector<Bytes>& sids) {
    std::vector<std::string> names;
    for (const Bytes& sid : sids) {
        const auto rights = LoadRights(machine, sid);
        if (!rights) continue;
        for (std::string& name : NamesOf(*rights)) names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

}  // namespace embedded::accounts
