#include "platform/embedded/services/records.h"

#include <algorithm>
#include <cstring>

#include "platform/embedded/api/services.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/store/tree.h"

namespace embedded::services {
namespace {

constexpr DWORD kText = 1, kExpandText = 2, kNumber = 4;  // REG_SZ, REG_EXPAND_SZ, REG_DWORD
constexpr char kType[] = "Type";
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

// Walks through the keys below the services' one, in their order and in one look at the store, until `visit` says so.
template <class Visit>
void ForEachKey(Machine& machine, Visit visit) {
    const StoreTree::Reading reading(machine.Storage().Tree());
    const StoreKey* const services = reading->Find(kRootKey, kServicesKey);
    if (services == nullptr || !services->subkeys) return;
    for (const auto& [name, key] : *services->subkeys) {
        if (visit(*key)) return;
    }
}

DWORD TypeOf(const StoreKey& key) {
    const StoredValue* const value = key.Value(kType);
    DWORD type = 0;
    if (value != nullptr && value->type == kNumber && value->data.size() == sizeof type) {
        std::memcpy(&type, value->data.data(), sizeof type);
    }
    return type;
}

// Whether a value is text, with or without its terminator, and reads so without regard to case.
bool BearsText(const StoreKey& key, std::string_view name, std::string_view text) {
    const StoredValue* const value = key.Value(name);
    if (value == nullptr || value->data.size() < text.size()) return text.empty();
    if (value->type != kText && value->type != kExpandText) return text.empty();
    const std::string_view stored(reinterpret_cast<const char*>(value->data.data()), value->data.size());
    return text::EqualNoCase(stored.substr(0, stored.find('\0')), text);
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
    config.type = store.ReadNumber(key, kType);
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
    return store.WriteNumber(key, kType, config.type) && store.WriteNumber(key, "Start", config.startType) &&
           store.WriteNumber(key, "ErrorControl", config.errorControl) &&
           WriteTextOf(store, key, "ImagePath", config.path, kExpandText) &&
           WriteTextOf(store, key, "DisplayName", config.displayName, kText) &&
           WriteTextOf(store, key, "Group", config.group, kText) &&
           WriteDependencies(store, key, config.dependencies) &&
           WriteTextOf(store, key, "ObjectName", config.account, kText);
}

std::string StoredName(Machine& machine, std::string_view name) {
    const StoreTree::Reading reading(machine.Storage().Tree());
    const StoreKey* const key = reading->Find(kRootKey, KeyOf(name));
    return key == nullptr ? std::string(name) : key->name;
}

std::vector<std::string> NamesWith(Machine& machine, std::string_view value) {
    std::vector<std::string> names;
    ForEachKey(machine, [&](const StoreKey& key) {
        if (key.Value(value) != nullptr && TypeOf(key) != 0) names.push_back(key.name);
        return false;
    });
    return names;
}

std::vector<std::string> Names(Machine& machine) { return NamesWith(machine, kType); }

std::string NameByDisplayName(Machine& machine, std::string_view displayName) {
    std::string found;
    ForEachKey(machine, [&](const StoreKey& key) {
        const bool isNamed = text::EqualNoCase(key.name, displayName) || BearsText(key, "DisplayName", displayName);
        if (isNamed) found = key.name;
        return isNamed;
    });
    return found;
}

bool IsServiceName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && name.find_first_of("/\\") == name.npos;
}

}  // namespace embedded::services
