#include "platform/embedded/registry/key_handles.h"

#include "platform/embedded/accounts/store.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/security/access.h"
#include "platform/embedded/security/sid.h"

namespace embedded::registry {
namespace {

constexpr std::string_view kSoftware = "HKLM\\SOFTWARE";
constexpr std::string_view kView32 = "Wow6432Node";

// Empty when the handle is no predefined root.
std::string RootPath(HKEY root, Machine& machine) {
    if (root == HKEY_LOCAL_MACHINE) return "HKLM";
    if (root == HKEY_USERS) return "HKU";
    if (root == HKEY_CLASSES_ROOT) return "HKLM\\SOFTWARE\\Classes";
    if (root == HKEY_CURRENT_CONFIG) return "HKLM\\SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current";
    if (root == HKEY_CURRENT_USER) return "HKU\\" + security::SidText(accounts::CurrentUser(machine).sid);
    return {};
}

bool StartsWithKey(std::string_view path, std::string_view key) {
    return text::EqualNoCase(path.substr(0, key.size()), key) &&
           (path.size() == key.size() || path[key.size()] == '\\');
}

// The 32-bit view of a path from the hive on: SOFTWARE leads to SOFTWARE\Wow6432Node.
std::string View32(const std::string& path) {
    if (!StartsWithKey(path, kSoftware)) return path;
    std::string_view rest = std::string_view(path).substr(kSoftware.size());
    std::string_view after = rest;
    if (text::EqualNoCase(TakeName(after), kView32)) return path;
    return std::string(kSoftware) + '\\' + std::string(kView32) + std::string(rest);
}

std::size_t DepthOf(const StoreKey& key) {
    std::size_t depth = 0;
    for (const StoreKey* above = &key; above->parent != nullptr; above = above->parent) ++depth;
    return depth;
}

LSTATUS CheckNames(std::string_view path, std::size_t depth) {
    for (std::string_view name = TakeName(path); !name.empty(); name = TakeName(path)) {
        if (name.size() > kLongestKeyName || ++depth > kDeepestKey) return ERROR_INVALID_PARAMETER;
    }
    return ERROR_SUCCESS;
}

}  // namespace

LSTATUS Resolve(HKEY root, Machine& machine, Place* place) {
    const std::string path = RootPath(root, machine);
    if (path.empty()) return ERROR_INVALID_HANDLE;
    Store& store = machine.Storage();
    place->store = store.shared_from_this();
    place->predefined = true;
    for (;;) {
        {
            const StoreTree::Reading reading(store.Tree());
            const StoreKey* const key = reading->Find(kRootKey, path);
            if (key != nullptr) {
                place->key = key->id;
                return ERROR_SUCCESS;
            }
        }
        // A root is always there: the branch of a user who was never seen on this machine is made now.
        if (!store.CreateKey(path)) return ERROR_REGISTRY_IO_FAILED;
    }
}

LSTATUS Resolve(HKEY handle, Place* place) {
    if (const std::shared_ptr<OpenKey> open = handles::Find<OpenKey>(handle)) {
        *place = {open->store, open->key, open->granted, false};
        return ERROR_SUCCESS;
    }
    if ((reinterpret_cast<ULONG_PTR>(handle) & 0x80000000u) == 0) return ERROR_INVALID_HANDLE;
    return Resolve(handle, *world::Local(), place);
}

LSTATUS Require(const Place& place, ACCESS_MASK rights) {
    if (!place.predefined) return (place.granted & rights) == rights ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    Bytes descriptor;
    {
        const StoreTree::Reading reading(place.Tree());
        const StoreKey* const key = reading->Find(place.key);
        if (key == nullptr) return ERROR_KEY_DELETED;
        descriptor = DescriptorOf(*key);
    }
    ACCESS_MASK granted = 0;
    return CheckAccess(descriptor, rights, &granted);
}

Bytes DescriptorOf(const StoreKey& key) {
    const StoreKey* owner = &key;
    std::size_t below = 0;
    while (owner->security.empty() && owner->parent != nullptr) {
        owner = owner->parent;
        ++below;
    }
    Bytes descriptor = owner->security;
    if (descriptor.empty()) return descriptor;
    for (; below > 0; --below) {
        Bytes inherited = access::Inherit(descriptor, access::ObjectType::Key);
        if (inherited == descriptor) break;  // and so it goes on for every level below
        descriptor = std::move(inherited);
    }
    return descriptor;
}

LSTATUS CheckAccess(const Bytes& descriptor, REGSAM desired, ACCESS_MASK* granted) {
    return LSTATUS(access::Check(access::ObjectType::Key, descriptor, desired & ~KEY_WOW64_RES, granted));
}

LSTATUS Aim(const Place& place, HKEY root, const char* subkey, REGSAM view, const StoreKeys& keys, Target* target) {
    if ((view & KEY_WOW64_RES) == KEY_WOW64_RES) return ERROR_INVALID_PARAMETER;
    const StoreKey* const base = keys.Find(place.key);
    if (base == nullptr) return ERROR_KEY_DELETED;
    target->base = place.key;
    target->path = subkey == nullptr ? "" : subkey;
    if (target->path.starts_with('\\') && root != HKEY_CLASSES_ROOT) return ERROR_BAD_PATHNAME;
    if (const LSTATUS error = CheckNames(target->path, DepthOf(*base) - 1)) return error;
    if ((view & KEY_WOW64_32KEY) == 0) return ERROR_SUCCESS;
    std::string path = base->Path();
    if (!target->path.empty()) path += '\\' + target->path;
    target->base = kRootKey;
    target->path = View32(path);
    return ERROR_SUCCESS;
}

}  // namespace embedded::registry
