// Keys as secured objects. They work on the store's tree, so that a list and what is passed on of it change in one
// step.
#include "platform/embedded/security/object_security.h"

#include "platform/embedded/core/text.h"
#include "platform/embedded/registry/key_handles.h"

namespace embedded::security {
namespace {

constexpr access::ObjectType kKey = access::ObjectType::Key;

// Makes the inherited entries of everything below a key anew. Keys without a descriptor of their own need nothing:
// theirs is computed whenever it is looked at. A protected list stops what comes from above.
void PassOn(const StoreKey& key, const Bytes& above, StoreChange& change) {
    for (std::size_t i = 0; i < key.SubkeyCount(); ++i) {
        const StoreKey& below = *key.SubkeyAt(i);
        if (below.security.empty()) {
            if (below.SubkeyCount() != 0) PassOn(below, access::Inherit(above, kKey), change);
            continue;
        }
        const std::optional<Bytes> changed = Reinherit(below.security, above, kKey);
        if (!changed) continue;
        change.SetSecurity(below.id, {}, *changed);
        PassOn(below, *changed, change);
    }
}

class KeyObject : public SecuredObject {
  public:
    explicit KeyObject(HKEY key) : m_key(key) {}

    DWORD Read(SECURITY_INFORMATION information, Bytes* descriptor) override {
        registry::Place place;
        if (const LSTATUS error = Find(access::RightsToRead(information), &place)) return DWORD(error);
        const StoreTree::Reading reading(place.Tree());
        const StoreKey* const key = reading->Find(place.key);
        if (key == nullptr) return ERROR_KEY_DELETED;
        *descriptor = access::Extract(kKey, registry::DescriptorOf(*key), information);
        return 0;
    }

    DWORD Write(SECURITY_INFORMATION information, const Bytes& wanted) override {
        registry::Place place;
        if (const LSTATUS error = Find(access::RightsToWrite(information), &place)) return DWORD(error);
        StoreTree::Writing writing(place.Tree());
        const StoreKey* const key = writing->Find(place.key);
        if (key == nullptr) return ERROR_KEY_DELETED;
        Bytes copy = wanted, changed;
        const DWORD error = access::Modify(kKey, registry::DescriptorOf(*key), information, copy.data(), &changed);
        if (error != 0) return error;
        StoreChange change;
        change.SetSecurity(place.key, {}, changed);
        if ((information & DACL_SECURITY_INFORMATION) != 0) PassOn(*key, changed, change);
        return writing.Commit(change) ? 0 : ERROR_WRITE_PROTECT;
    }

    Bytes Parent() override {
        registry::Place place;
        if (registry::Resolve(m_key, &place) != 0) return {};
        const StoreTree::Reading reading(place.Tree());
        const StoreKey* const key = reading->Find(place.key);
        const bool isRoot = key == nullptr || key->parent == nullptr || key->parent->id == kRootKey;
        if (isRoot) return {};
        Bytes parent = registry::DescriptorOf(*key->parent);
        return parent.empty() ? access::Default(kKey) : parent;
    }

    access::ObjectType Type() const override { return kKey; }

  private:
    LSTATUS Find(DWORD rights, registry::Place* place) {
        if (const LSTATUS error = registry::Resolve(m_key, place)) return error;
        return registry::Require(*place, rights);
    }

    HKEY m_key;
};

// A key that was opened by its name and is closed with the object.
class NamedKeyObject : public KeyObject {
  public:
    explicit NamedKeyObject(HKEY key) : KeyObject(key), m_own(key) {}
    ~NamedKeyObject() override { handles::Close(m_own, ResourceKind::Key); }

  private:
    HKEY m_own;
};

HKEY RootOf(std::string_view name) {
    struct Root {
        const char* name;
        HKEY key;
    };
    const Root roots[] = {{"MACHINE", HKEY_LOCAL_MACHINE},
                          {"CURRENT_USER", HKEY_CURRENT_USER},
                          {"USERS", HKEY_USERS},
                          {"CLASSES_ROOT", HKEY_CLASSES_ROOT}};
    for (const Root& root : roots) {
        if (text::EqualNoCase(name, root.name)) return root.key;
    }
    return nullptr;
}

}  // namespace

std::unique_ptr<SecuredObject> MakeKeyObject(HKEY key) { return std::make_unique<KeyObject>(key); }

std::unique_ptr<SecuredObject> OpenKeyObject(const char* name, DWORD rights, DWORD* error) {
    const std::string_view whole = name;
    const std::size_t end = std::min(whole.find('\\'), whole.size());
    const HKEY root = RootOf(whole.substr(0, end));
    *error = ERROR_INVALID_PARAMETER;
    if (root == nullptr) return nullptr;
    HKEY key = nullptr;
    *error = DWORD(RegOpenKeyExA(root, name + std::min(end + 1, whole.size()), 0, rights, &key));
    return *error == 0 ? std::make_unique<NamedKeyObject>(key) : nullptr;
}

}  // namespace embedded::security
