// The tree of keys in memory. It changes only by applying recorded operations, the same ones in every process, so that
// all of them give a new key the same identifier. Every step costs at most the logarithm of the number of siblings.
#ifndef INSTALIB_EMBEDDED_STORE_KEYS_H
#define INSTALIB_EMBEDDED_STORE_KEYS_H

#include <ext/pb_ds/assoc_container.hpp>
#include <ext/pb_ds/tree_policy.hpp>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <unordered_map>

#include "platform/embedded/core/text.h"
#include "platform/embedded/store/store.h"

namespace embedded {

// A key's identifier is never given to another key, not even after it was deleted.
using KeyId = std::uint64_t;
constexpr KeyId kRootKey = 1;  // above the hives

struct NameLess {
    bool operator()(std::string_view left, std::string_view right) const {
        return text::CompareNoCase(left, right) < 0;
    }
};

// A sorted map that also finds its n-th entry.
template <class Name, class Entry, class Less = std::less<Name>>
using CountedMap =
    __gnu_pbds::tree<Name, Entry, Less, __gnu_pbds::rb_tree_tag, __gnu_pbds::tree_order_statistics_node_update>;

// The values of one key: by name, and by their order of creation.
class StoreValues {
  public:
    std::size_t Count() const { return m_byName.size(); }
    const StoredValue* Find(std::string_view name) const;
    const StoredValue* At(std::size_t index) const;  // null behind the last
    void Set(std::string_view name, DWORD type, std::span<const BYTE> data);
    bool Erase(std::string_view name);

  private:
    struct Entry {
        StoredValue value;
        std::uint64_t order = 0;
    };
    std::map<std::string_view, std::unique_ptr<Entry>, NameLess> m_byName;  // the names are the entries' own
    CountedMap<std::uint64_t, const StoredValue*> m_byOrder;
    std::uint64_t m_nextOrder = 0;
};

struct StoreKey {
    KeyId id = 0;
    StoreKey* parent = nullptr;  // null for the root
    std::string name;
    std::uint64_t lastWrite = 0;  // as a FILETIME
    Bytes security;
    // The longest names and data so far, in characters and bytes. As on Windows they shrink only when the last one
    // goes.
    std::size_t longestSubkey = 0, longestValueName = 0, longestData = 0;

    std::size_t SubkeyCount() const { return subkeys ? subkeys->size() : 0; }
    std::size_t ValueCount() const { return values ? values->Count() : 0; }
    StoreKey* Subkey(std::string_view subkeyName) const;
    StoreKey* SubkeyAt(std::size_t index) const;  // null behind the last
    const StoredValue* Value(std::string_view valueName) const { return values ? values->Find(valueName) : nullptr; }
    const StoredValue* ValueAt(std::size_t index) const { return values ? values->At(index) : nullptr; }
    std::string Path() const;  // from the hive on

    std::unique_ptr<CountedMap<std::string_view, StoreKey*, NameLess>> subkeys;
    std::unique_ptr<StoreValues> values;
};

class StoreKeys {
  public:
    StoreKeys() { Clear(2); }

    StoreKey* Find(KeyId id) const;
    // The key at a path below another; empty names in the path count for nothing.
    StoreKey* Find(KeyId base, std::string_view path) const;
    StoreKey& Root() const { return *Find(kRootKey); }
    KeyId NextId() const { return m_nextId; }
    std::size_t Count() const { return m_keys.size() - 1; }  // without the root

    void Clear(KeyId nextId);
    // Carries out what a StoreChange recorded. Throws std::runtime_error when the bytes are none.
    void Apply(std::span<const BYTE> operations, std::uint64_t time);
    // The same for a tree that lost some: what leads to a key that there is not is left out. How many there were of
    // those.
    std::size_t ApplyWhatFits(std::span<const BYTE> operations, std::uint64_t time);
    // Leaves identifiers out until the next one's low half is this.
    void SkipTo(std::uint32_t firstKey);
    // The operations that make this tree out of an empty one, in pieces.
    void Snapshot(const std::function<void(std::span<const BYTE>)>& sink) const;

  private:
    StoreKey& Add(StoreKey& parent, KeyId id, std::string_view name);
    StoreKey& Ensure(KeyId base, std::string_view path, std::uint64_t time);
    void Remove(StoreKey& key, std::uint64_t time);
    struct Step;
    class Decoder;
    void Apply(const Step& step, std::uint64_t time);
    void AddFromSnapshot(const Step& step);

    std::unordered_map<KeyId, std::unique_ptr<StoreKey>> m_keys;
    KeyId m_nextId = 2;
};

// Takes the first name off a path "A\\B\\C"; empty when nothing is left.
std::string_view TakeName(std::string_view& path);

// The changes of one call, carried out together or not at all. Paths are below `base`; keys that are missing on the way
// to something that is set are made, what is missing when it is to be removed is left at that.
class StoreChange {
  public:
    void Create(KeyId base, std::string_view path);
    void SetValue(KeyId base, std::string_view path, std::string_view name, DWORD type, std::span<const BYTE> data);
    void EraseValue(KeyId base, std::string_view path, std::string_view name);
    void DeleteTree(KeyId base, std::string_view path);
    void SetSecurity(KeyId base, std::string_view path, std::span<const BYTE> descriptor);
    // Snapshots only: a key with the identifier that it had.
    void AddKey(const StoreKey& key);

    std::span<const BYTE> Operations() const { return m_operations; }
    bool IsEmpty() const { return m_operations.empty(); }
    void Clear() { m_operations.clear(); }

  private:
    void Begin(BYTE operation, KeyId base, std::string_view path);
    void Put(std::uint64_t number, std::size_t bytes);
    void Put(std::span<const BYTE> data);
    void Put(std::string_view data) { Put({reinterpret_cast<const BYTE*>(data.data()), data.size()}); }

    Bytes m_operations;
};

}  // namespace embedded

#endif
