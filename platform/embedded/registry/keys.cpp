#include <algorithm>
#include <cstring>

#include "platform/embedded/api/registry.h"
#include "platform/embedded/registry/key_handles.h"
#include "platform/embedded/security/access.h"
#include "platform/embedded/security/access_check.h"

using namespace embedded;
using namespace embedded::registry;

namespace {

FILETIME FileTime(std::uint64_t time) { return {DWORD(time), DWORD(time >> 32)}; }

LSTATUS GiveHandle(const Place& place, KeyId key, ACCESS_MASK granted, PHKEY result) {
    *result = static_cast<HKEY>(handles::Add(std::make_shared<OpenKey>(place.store, key, granted)));
    return ERROR_SUCCESS;
}

// What opening or making a key needs to know before it may go on.
struct Found {
    Target target;
    KeyId key = 0;     // 0: it does not exist
    Bytes descriptor;  // of the key, or of the nearest key above that exists
};

LSTATUS Look(const Place& place, HKEY root, LPCSTR subkey, REGSAM view, Found* found) {
    const StoreTree::Reading reading(place.Tree());
    if (const LSTATUS error = Aim(place, root, subkey, view, reading.Keys(), &found->target)) return error;
    const StoreKey* nearest = reading->Find(found->target.base);
    std::string_view path = found->target.path;
    std::string_view name = TakeName(path);
    for (; !name.empty(); name = TakeName(path)) {
        const StoreKey* const next = nearest->Subkey(name);
        if (next == nullptr) break;
        nearest = next;
    }
    if (name.empty()) found->key = nearest->id;
    found->descriptor = DescriptorOf(*nearest);
    return ERROR_SUCCESS;
}

LSTATUS OpenFound(const Place& place, const Found& found, REGSAM desired, PHKEY result) {
    ACCESS_MASK granted = 0;
    if (const LSTATUS error = CheckAccess(found.descriptor, desired, &granted)) return error;
    return GiveHandle(place, found.key, granted, result);
}

// Who makes a key gets the rights that he asks for, whatever its descriptor is to say to others.
ACCESS_MASK GrantedToMaker(REGSAM desired) {
    if ((desired & MAXIMUM_ALLOWED) != 0) return KEY_ALL_ACCESS;
    return security::MapGeneric(desired & ~KEY_WOW64_RES, security::MappingOf(access::ObjectType::Key));
}

// The parts that a descriptor given for a new key has.
SECURITY_INFORMATION PartsIn(PSECURITY_DESCRIPTOR descriptor) {
    const std::optional<security::Parts> parts = security::Read(descriptor);
    if (!parts) return DACL_SECURITY_INFORMATION;  // it is refused when it is read again
    return (parts->owner.empty() ? 0 : OWNER_SECURITY_INFORMATION) |
           (parts->group.empty() ? 0 : GROUP_SECURITY_INFORMATION) |
           (parts->HasDacl() ? DACL_SECURITY_INFORMATION : 0) | (parts->HasSacl() ? SACL_SECURITY_INFORMATION : 0);
}

LSTATUS MakeFound(const Place& place, const Found& found, REGSAM desired, const SECURITY_ATTRIBUTES* attributes,
                  PHKEY result) {
    ACCESS_MASK granted = 0;
    if (const LSTATUS error = CheckAccess(found.descriptor, KEY_CREATE_SUB_KEY, &granted)) return error;
    StoreChange change;
    change.Create(found.target.base, found.target.path);
    if (attributes != nullptr && attributes->lpSecurityDescriptor != nullptr) {
        const Bytes inherited = access::Inherit(found.descriptor, access::ObjectType::Key);
        Bytes descriptor;
        const DWORD error =
            access::Modify(access::ObjectType::Key, inherited, PartsIn(attributes->lpSecurityDescriptor),
                           attributes->lpSecurityDescriptor, &descriptor);
        if (error != 0) return LSTATUS(error);
        change.SetSecurity(found.target.base, found.target.path, descriptor);
    }
    StoreTree::Writing writing(place.Tree());
    if (writing->Find(found.target.base) == nullptr) return ERROR_KEY_DELETED;
    if (!writing.Commit(change)) return ERROR_REGISTRY_IO_FAILED;
    return GiveHandle(place, writing->Find(found.target.base, found.target.path)->id, GrantedToMaker(desired), result);
}

LSTATUS DeleteKey(HKEY handle, LPCSTR subkey, REGSAM view) {
    if (subkey == nullptr) return ERROR_INVALID_PARAMETER;
    Place place;
    if (const LSTATUS error = Resolve(handle, &place)) return error;
    Found found;
    if (const LSTATUS error = Look(place, handle, subkey, view, &found)) return error;
    if (found.key == 0) return ERROR_FILE_NOT_FOUND;
    ACCESS_MASK granted = 0;
    if (const LSTATUS error = CheckAccess(found.descriptor, DELETE, &granted)) return error;
    StoreTree::Writing writing(place.Tree());
    const StoreKey* const key = writing->Find(found.key);
    if (key == nullptr) return ERROR_FILE_NOT_FOUND;
    const bool isHive = key->parent == nullptr || key->parent->parent == nullptr;
    if (isHive || key->SubkeyCount() > 0) return ERROR_ACCESS_DENIED;
    StoreChange change;
    change.DeleteTree(key->id, {});
    return writing.Commit(change) ? ERROR_SUCCESS : ERROR_REGISTRY_IO_FAILED;
}

// Classes of keys are not kept: every key has the empty one.
LSTATUS AnswerNoClass(LPSTR keyClass, LPDWORD size) {
    if (keyClass != nullptr && size == nullptr) return ERROR_INVALID_PARAMETER;
    if (keyClass != nullptr && *size > 0) *keyClass = '\0';
    Answer<DWORD>(size, 0);
    return ERROR_SUCCESS;
}

}  // namespace

LSTATUS RegOpenKeyExA(HKEY key, LPCSTR subkey, DWORD, REGSAM desired, PHKEY result) {
    return Call("RegOpenKeyExA", [&]() -> LSTATUS {
        if (result == nullptr) return ERROR_INVALID_PARAMETER;
        Place place;
        if (const LSTATUS error = Resolve(key, &place)) return error;
        *result = nullptr;
        Found found;
        const LSTATUS error = Look(place, key, subkey, desired, &found);
        // A name longer than any key's is the name of no key.
        if (error == ERROR_INVALID_PARAMETER && (desired & KEY_WOW64_RES) != KEY_WOW64_RES) return ERROR_FILE_NOT_FOUND;
        if (error != ERROR_SUCCESS) return error;
        if (found.key == 0) return ERROR_FILE_NOT_FOUND;
        return OpenFound(place, found, desired, result);
    });
}

LSTATUS RegCreateKeyExA(HKEY key, LPCSTR subkey, DWORD reserved, LPSTR, DWORD, REGSAM desired,
                        const LPSECURITY_ATTRIBUTES attributes, PHKEY result, LPDWORD disposition) {
    return Call("RegCreateKeyExA", [&]() -> LSTATUS {
        if (reserved != 0 || result == nullptr) return ERROR_INVALID_PARAMETER;
        Place place;
        if (const LSTATUS error = Resolve(key, &place)) return error;
        *result = nullptr;
        Found found;
        LSTATUS error = Look(place, key, subkey, desired, &found);
        bool exists = found.key != 0;
        if (error == ERROR_SUCCESS && exists) {
            error = OpenFound(place, found, desired, result);
        } else if (error == ERROR_SUCCESS) {
            // Looked at again with the lock, so that of several makers of one key each is told what it did.
            const StoreTree::Writing writing(place.Tree());
            error = Look(place, key, subkey, desired, &found);
            exists = found.key != 0;
            if (error == ERROR_SUCCESS) {
                error = exists ? OpenFound(place, found, desired, result)
                               : MakeFound(place, found, desired, attributes, result);
            }
        }
        if (error == ERROR_SUCCESS) Answer<DWORD>(disposition, exists ? REG_OPENED_EXISTING_KEY : REG_CREATED_NEW_KEY);
        return error;
    });
}

LSTATUS RegCloseKey(HKEY key) {
    if (!handles::Close(key, ResourceKind::Key) && (reinterpret_cast<ULONG_PTR>(key) & 0x80000000u) == 0) {
        return ERROR_INVALID_HANDLE;
    }
    return LSTATUS(gate::Enter(control::CallKind::Registry, "RegCloseKey"));
}

LSTATUS RegDeleteKeyA(HKEY key, LPCSTR subkey) {
    return Call("RegDeleteKeyA", [&] { return DeleteKey(key, subkey, 0); });
}

LSTATUS RegDeleteKeyExA(HKEY key, LPCSTR subkey, REGSAM view, DWORD reserved) {
    return Call("RegDeleteKeyExA",
                [&]() -> LSTATUS { return reserved != 0 ? ERROR_INVALID_PARAMETER : DeleteKey(key, subkey, view); });
}

LSTATUS RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, LPDWORD nameSize, LPDWORD reserved, LPSTR keyClass,
                      LPDWORD classSize, PFILETIME lastWrite) {
    return ReadKey("RegEnumKeyExA", key, KEY_ENUMERATE_SUB_KEYS, [&](const StoreKey& open) -> LSTATUS {
        if (name == nullptr || nameSize == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
        const StoreKey* const subkey = open.SubkeyAt(index);
        if (subkey == nullptr) return ERROR_NO_MORE_ITEMS;
        if (subkey->name.size() >= *nameSize) return ERROR_MORE_DATA;
        if (const LSTATUS error = AnswerNoClass(keyClass, classSize)) return error;
        std::memcpy(name, subkey->name.c_str(), subkey->name.size() + 1);
        *nameSize = DWORD(subkey->name.size());
        Answer(lastWrite, FileTime(subkey->lastWrite));
        return ERROR_SUCCESS;
    });
}

LSTATUS RegQueryInfoKeyA(HKEY key, LPSTR keyClass, LPDWORD classSize, LPDWORD reserved, LPDWORD subkeys,
                         LPDWORD longestSubkey, LPDWORD longestClass, LPDWORD values, LPDWORD longestValueName,
                         LPDWORD longestData, LPDWORD securityDescriptor, PFILETIME lastWrite) {
    return ReadKey("RegQueryInfoKeyA", key, KEY_QUERY_VALUE, [&](const StoreKey& open) -> LSTATUS {
        if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
        if (const LSTATUS error = AnswerNoClass(keyClass, classSize)) return error;
        Answer(subkeys, DWORD(open.SubkeyCount()));
        Answer(longestSubkey, DWORD(open.longestSubkey));
        Answer<DWORD>(longestClass, 0);
        Answer(values, DWORD(open.ValueCount()));
        Answer(longestValueName, DWORD(open.longestValueName));
        Answer(longestData, DWORD(open.longestData));
        if (securityDescriptor != nullptr) {
            constexpr SECURITY_INFORMATION kParts =
                OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
            *securityDescriptor = DWORD(access::Extract(access::ObjectType::Key, DescriptorOf(open), kParts).size());
        }
        Answer(lastWrite, FileTime(open.lastWrite));
        return ERROR_SUCCESS;
    });
}

LSTATUS RegFlushKey(HKEY key) {
    return Call("RegFlushKey", [&]() -> LSTATUS {
        Place place;
        if (const LSTATUS error = Resolve(key, &place)) return error;
        return place.Tree().Flush() ? ERROR_SUCCESS : ERROR_REGISTRY_IO_FAILED;
    });
}

LSTATUS RegConnectRegistryA(LPCSTR machine, HKEY root, PHKEY result) {
    return Call("RegConnectRegistryA", [&]() -> LSTATUS {
        if (result == nullptr) return ERROR_INVALID_PARAMETER;
        const std::shared_ptr<Machine> connected = world::Find(machine);
        if (!connected) return ERROR_BAD_NETPATH;
        // Roots that depend on who is asking mean nothing on another machine.
        const bool shared = root == HKEY_LOCAL_MACHINE || root == HKEY_USERS;
        if (!shared && connected != world::Local()) return ERROR_INVALID_HANDLE;
        Place place;
        if (const LSTATUS error = Resolve(root, *connected, &place)) return error;
        Found found;
        if (const LSTATUS error = Look(place, root, "", 0, &found)) return error;
        return OpenFound(place, found, MAXIMUM_ALLOWED, result);
    });
}
