#include "platform/embedded/services/records.h"

#include <algorithm>

#include "platform/embedded/api/services.h"
#include "platform/embedded/core/text.h"

namespace embedded::services {
namespace {

constexpr DWORD kExpandText = 2;  // REG_EXPAND_SZ
constexpr std::size_t kLongestName = 256;

bool WriteTextOf(Store& store, const std::string& key, const char* name, const std::string& text, DWORD type) {
    if (text.empty()) {
        store.Erase(key, name);
        return true;
    }
    Bytes data(text.begin(), text.end());
    data.push_back(0);
    return store.Write(key, name, type, data);
}

bool WriteListOf(Store& store, const std::string& key, const char* name, const std::vector<std::string>& texts) {
    if (!texts.empty()) return store.WriteList(key, name, texts);
    store.Erase(key, name);
    return true;
}

// Windows keeps dependencies on services and on load order groups in two values.
bool WriteDependencies(Store& store, const std::string& key, const std::vector<std::string>& dependencies) {
    std::vector<std::string> onServices, onGroups;
    for (const std::string& dependency : dependencies) {
        if (dependency.starts_with(SC_GROUP_IDENTIFIERA)) {
            onGroups.push_back(dependency.substr(1));
        } else {
            onServices.push_back(dependency);
        }
    }
    return WriteListOf(store, key, "DependOnService", onServices) && WriteListOf(store, key, "DependOnGroup", onGroups);
}

}  // namespace

std::string KeyOf(std::string_view name) { return std::string(kServicesKey) + '\\' + std::string(name); }

std::optional<Config> Load(Machine& machine, std::string_view name) {
    if (!IsServiceName(name)) return std::nullopt;
    Store& store = machine.Storage();
    const std::string key = KeyOf(name);
    Config config;
    config.type = store.ReadNumber(key, "Type");
    if (config.type == 0) return std::nullopt;
    config.startType = store.ReadNumber(key, "Start", SERVICE_DEMAND_START);
    config.errorControl = store.ReadNumber(key, "ErrorControl");
    config.path = store.ReadText(key, "ImagePath");
    config.group = store.ReadText(key, "Group");
    config.tag = store.ReadNumber(key, "Tag");
    config.dependencies = store.ReadList(key, "DependOnService");
    for (const std::string& group : store.ReadList(key, "DependOnGroup")) config.dependencies.push_back('+' + group);
    const bool isDriver = (config.type & SERVICE_DRIVER) != 0;
    config.account = store.ReadText(key, "ObjectName", isDriver ? "" : "LocalSystem");
    config.displayName = store.ReadText(key, "DisplayName");
    return config;
}

bool Save(Machine& machine, std::string_view name, const Config& config) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    const std::string key = KeyOf(name);
    if (config.tag != 0) store.WriteNumber(key, "Tag", config.tag);
    return store.WriteNumber(key, "Type", config.type) && store.WriteNumber(key, "Start", config.startType) &&
           store.WriteNumber(key, "ErrorControl", config.errorControl) &&
           WriteTextOf(store, key, "ImagePath", config.path, kExpandText) &&
           WriteTextOf(store, key, "DisplayName", config.displayName, 1 /* REG_SZ */) &&
           WriteTextOf(store, key, "Group", config.group, 1) && WriteDependencies(store, key, config.dependencies) &&
           WriteTextOf(store, key, "ObjectName", config.account, 1);
}

std::vector<std::string> Names(Machine& machine) {
    std::vector<std::string> names = machine.Storage().Subkeys(kServicesKey);
    std::erase_if(names,
                  [&](const std::string& name) { return machine.Storage().ReadNumber(KeyOf(name), "Type") == 0; });
    return names;
}

std::string NameByDisplayName(Machine& machine, std::string_view displayName) {
    Store& store = machine.Storage();
    for (const std::string& name : store.Subkeys(kServicesKey)) {
        if (text::EqualNoCase(name, displayName) ||
            text::EqualNoCase(store.ReadText(KeyOf(name), "DisplayName"), displayName)) {
            return name;
        }
    }
    return {};
}

bool IsServiceName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && name.find_first_of("/\\") == name.npos;
}

}  // namespace embedded::services
