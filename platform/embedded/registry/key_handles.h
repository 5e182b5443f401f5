// The room registry/: the registry functions over the store, and .reg text.
//
// What the registry functions share: the object behind a key's handle, how a handle and a path lead to a key of a
// store, and what a caller may do there.
#ifndef INSTALIB_EMBEDDED_REGISTRY_KEY_HANDLES_H
#define INSTALIB_EMBEDDED_REGISTRY_KEY_HANDLES_H

#include <new>
#include <stdexcept>

#include "platform/embedded/api/registry.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/handles_table.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/store/tree.h"

namespace embedded::registry {

constexpr std::size_t kLongestKeyName = 255;  // characters
constexpr std::size_t kLongestValueName = 16383;
constexpr std::size_t kDeepestKey = 512;  // names below the hive's root

// An open key. It holds on to the store and to the key's identifier: the key itself may be deleted meanwhile.
class OpenKey : public HandleObject {
  public:
    OpenKey(std::shared_ptr<Store> opened, KeyId openedKey, ACCESS_MASK rights)
        : HandleObject(ResourceKind::Key), store(std::move(opened)), key(openedKey), granted(rights) {}
    const std::shared_ptr<Store> store;
    const KeyId key;
    const ACCESS_MASK granted;
};

// Where a handle, or a predefined root, leads.
struct Place {
    std::shared_ptr<Store> store;
    KeyId key = 0;
    ACCESS_MASK granted = 0;
    bool predefined = false;  // its rights are asked for when they are needed

    StoreTree& Tree() const { return store->Tree(); }
};

// 0, or ERROR_INVALID_HANDLE. Does not say whether the key still exists.
LSTATUS Resolve(HKEY handle, Place* place);
// The place of a predefined root on a machine; ERROR_INVALID_HANDLE when it is none.
LSTATUS Resolve(HKEY root, Machine& machine, Place* place);

// 0 when the handle was opened with these rights, else ERROR_ACCESS_DENIED or ERROR_KEY_DELETED.
LSTATUS Require(const Place& place, ACCESS_MASK rights);
// The descriptor that counts for a key: its own, or what it inherits. Empty: the default for keys.
Bytes DescriptorOf(const StoreKey& key);
// 0 with what is granted of `desired` (without the bits that choose a view), or ERROR_ACCESS_DENIED.
LSTATUS CheckAccess(const Bytes& descriptor, REGSAM desired, ACCESS_MASK* granted);

// A path below a place, after the choice between the 64-bit and the 32-bit view.
struct Target {
    KeyId base = 0;
    std::string path;
};
// 0, ERROR_BAD_PATHNAME for a path with a leading backslash, ERROR_INVALID_PARAMETER for a name that is too long,
// ERROR_KEY_DELETED. `root` is the handle as the caller gave it: HKEY_CLASSES_ROOT overlooks the backslash.
LSTATUS Aim(const Place& place, HKEY root, const char* subkey, REGSAM view, const StoreKeys& keys, Target* target);

// Every registry function's frame: the gate first, and nothing thrown gets out.
template <class Body>
LSTATUS Call(const char* name, Body body) noexcept {
    if (const DWORD error = gate::Enter(control::CallKind::Registry, name)) return LSTATUS(error);
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_OUTOFMEMORY;
    } catch (const std::exception&) {
        return ERROR_BADDB;
    }
}

// For a function that needs an open key with certain rights: `body` gets the tree for reading and the key.
template <class Body>
LSTATUS ReadKey(const char* name, HKEY handle, ACCESS_MASK rights, Body body) noexcept {
    return Call(name, [&]() -> LSTATUS {
        Place place;
        if (const LSTATUS error = Resolve(handle, &place)) return error;
        if (const LSTATUS error = Require(place, rights)) return error;
        const StoreTree::Reading reading(place.Tree());
        const StoreKey* const key = reading->Find(place.key);
        return key == nullptr ? ERROR_KEY_DELETED : body(*key);
    });
}

// The same for writing: `body` records the change of the key that it wants, or answers an error.
template <class Body>
LSTATUS ChangeKey(const char* name, HKEY handle, ACCESS_MASK rights, Body body) noexcept {
    return Call(name, [&]() -> LSTATUS {
        Place place;
        if (const LSTATUS error = Resolve(handle, &place)) return error;
        if (const LSTATUS error = Require(place, rights)) return error;
        StoreTree::Writing writing(place.Tree());
        const StoreKey* const key = writing->Find(place.key);
        if (key == nullptr) return ERROR_KEY_DELETED;
        StoreChange change;
        if (const LSTATUS error = body(*key, change)) return error;
        return writing.Commit(change) ? ERROR_SUCCESS : ERROR_REGISTRY_IO_FAILED;
    });
}

// Stores a value where the caller wants it.
template <class Value>
void Answer(Value* where, Value value) {
    if (where != nullptr) *where = value;
}

}  // namespace embedded::registry

#endif
