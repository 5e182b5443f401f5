#include "platform/embedded/store/keys.h"

#include <algorithm>
#include <stdexcept>

namespace embedded {
namespace {

enum Operation : BYTE { kCreate = 1, kSetValue, kEraseValue, kDeleteTree, kSetSecurity, kAddKey };

constexpr std::size_t kSnapshotPiece = 256 * 1024;

}  // namespace

std::string_view TakeName(std::string_view& path) {
    while (path.starts_with('\\')) path.remove_prefix(1);
    const std::string_view name = path.substr(0, path.find('\\'));
    path.remove_prefix(name.size());
    return name;
}

// --- Values ---

const StoredValue* StoreValues::Find(std::string_view name) const {
    const auto found = m_byName.find(name);
    return found == m_byName.end() ? nullptr : &found->second->value;
}

const StoredValue* StoreValues::At(std::size_t index) const {
    const auto found = m_byOrder.find_by_order(index);
    return found == m_byOrder.end() ? nullptr : found->second;
}

void StoreValues::Set(std::string_view name, DWORD type, std::span<const BYTE> data) {
    const auto found = m_byName.find(name);
    if (found != m_byName.end()) {
        found->second->value.type = type;
        found->second->value.data.assign(data.begin(), data.end());
        return;
    }
    auto entry = std::make_unique<Entry>();
    entry->value = {std::string(name), type, Bytes(data.begin(), data.end())};
    entry->order = m_nextOrder++;
    m_byOrder.insert({entry->order, &entry->value});
    m_byName.emplace(entry->value.name, std::move(entry));
}

bool StoreValues::Erase(std::string_view name) {
    const auto found = m_byName.find(name);
    if (found == m_byName.end()) return false;
    m_byOrder.erase(found->second->order);
    const std::unique_ptr<Entry> entry = std::move(found->second);  // its name is the map's until it is erased
    m_byName.erase(found);
    return true;
}

// --- Keys ---

StoreKey* StoreKey::Subkey(std::string_view subkeyName) const {
    if (!subkeys) return nullptr;
    const auto found = subkeys->find(subkeyName);
    return found == subkeys->end() ? nullptr : found->second;
}

StoreKey* StoreKey::SubkeyAt(std::size_t index) const {
    if (!subkeys) return nullptr;
    const auto found = subkeys->find_by_order(index);
    return found == subkeys->end() ? nullptr : found->second;
}

std::string StoreKey::Path() const {
    std::vector<std::string_view> names;
    for (const StoreKey* key = this; key->parent != nullptr; key = key->parent) names.push_back(key->name);
    std::string path;
    for (auto part = names.rbegin(); part != names.rend(); ++part) {
        if (!path.empty()) path += '\\';
        path += *part;
    }
    return path;
}

StoreKey* StoreKeys::Find(KeyId id) const {
    const auto found = m_keys.find(id);
    return found == m_keys.end() ? nullptr : found->second.get();
}

StoreKey* StoreKeys::Find(KeyId base, std::string_view path) const {
    StoreKey* key = Find(base);
    for (std::string_view name = TakeName(path); key != nullptr && !name.empty(); name = TakeName(path)) {
        key = key->Subkey(name);
    }
    return key;
}

void StoreKeys::Clear(KeyId nextId) {
    m_keys.clear();
    auto root = std::make_unique<StoreKey>();
    root->id = kRootKey;
    m_keys.emplace(kRootKey, std::move(root));
    m_nextId = nextId;
}

StoreKey& StoreKeys::Add(StoreKey& parent, KeyId id, std::string_view name) {
    auto made = std::make_unique<StoreKey>();
    StoreKey& key = *made;
    key.id = id;
    key.parent = &parent;
    key.name = name;
    if (!parent.subkeys) parent.subkeys = std::make_unique<CountedMap<std::string_view, StoreKey*, NameLess>>();
    parent.subkeys->insert({std::string_view(key.name), &key});
    parent.longestSubkey = std::max(parent.longestSubkey, name.size());
    m_keys.emplace(id, std::move(made));
    return key;
}

StoreKey& StoreKeys::Ensure(KeyId base, std::string_view path, std::uint64_t time) {
    StoreKey* key = Find(base);
    if (key == nullptr) throw std::runtime_error("a change to a key that there is not");
    for (std::string_view name = TakeName(path); !name.empty(); name = TakeName(path)) {
        StoreKey* next = key->Subkey(name);
        if (next == nullptr) {
            next = &Add(*key, m_nextId++, name);
            next->lastWrite = key->lastWrite = time;
        }
        key = next;
    }
    return *key;
}

void StoreKeys::Remove(StoreKey& key, std::uint64_t time) {
    if (key.parent == nullptr) throw std::runtime_error("a removal of the root");
    StoreKey& parent = *key.parent;
    parent.subkeys->erase(std::string_view(key.name));
    parent.lastWrite = time;
    if (parent.subkeys->empty()) parent.longestSubkey = 0;
    std::vector<StoreKey*> doomed{&key};
    for (std::size_t next = 0; next < doomed.size(); ++next) {
        if (!doomed[next]->subkeys) continue;
        for (const auto& subkey : *doomed[next]->subkeys) doomed.push_back(subkey.second);
    }
    for (const StoreKey* gone : doomed) m_keys.erase(gone->id);
}

// --- Operations as bytes ---

// Reads what StoreChange wrote; the bytes come from a file.
class StoreKeys::Decoder {
  public:
    explicit Decoder(std::span<const BYTE> bytes) : m_bytes(bytes) {}
    bool AtEnd() const { return m_bytes.empty(); }
    std::uint64_t Number(std::size_t bytes) {
        std::uint64_t number = 0;
        const std::span<const BYTE> data = Take(bytes);
        for (std::size_t i = 0; i < bytes; ++i) number |= std::uint64_t(data[i]) << (8 * i);
        return number;
    }
    std::span<const BYTE> Data() { return Take(std::size_t(Number(4))); }
    std::string_view Text() {
        const std::span<const BYTE> data = Data();
        return {reinterpret_cast<const char*>(data.data()), data.size()};
    }

  private:
    std::span<const BYTE> Take(std::size_t bytes) {
        if (bytes > m_bytes.size()) throw std::runtime_error("a change that is cut off");
        const std::span<const BYTE> taken = m_bytes.first(bytes);
        m_bytes = m_bytes.subspan(bytes);
        return taken;
    }

    std::span<const BYTE> m_bytes;
};

// One operation; which fields it has depends on its kind.
struct StoreKeys::Step {
    explicit Step(Decoder& decoder)
        : kind(Operation(decoder.Number(1))), base(decoder.Number(8)), path(decoder.Text()) {
        if (kind == kAddKey) {
            id = decoder.Number(8);
            time = decoder.Number(8);
        }
        if (kind == kSetValue || kind == kEraseValue) name = decoder.Text();
        if (kind == kSetValue) type = DWORD(decoder.Number(4));
        if (kind == kSetValue || kind == kSetSecurity || kind == kAddKey) data = decoder.Data();
    }
    Operation kind;
    KeyId base;
    std::string_view path, name;
    KeyId id = 0;
    std::uint64_t time = 0;
    DWORD type = 0;
    std::span<const BYTE> data;
};

void StoreKeys::AddFromSnapshot(const Step& step) {
    StoreKey* const parent = Find(step.base);
    if (parent == nullptr || Find(step.id) != nullptr || step.path.empty() || parent->Subkey(step.path) != nullptr ||
        step.id >= m_nextId) {
        throw std::runtime_error("a snapshot with a key out of place");
    }
    StoreKey& key = Add(*parent, step.id, step.path);
    key.lastWrite = step.time;
    key.security.assign(step.data.begin(), step.data.end());
}

void StoreKeys::Apply(const Step& step, std::uint64_t time) {
    if (step.kind == kAddKey) return AddFromSnapshot(step);
    if (step.kind == kEraseValue || step.kind == kDeleteTree) {
        StoreKey* const key = Find(step.base, step.path);
        if (step.kind == kDeleteTree) {
            if (key != nullptr) Remove(*key, time);
            return;
        }
        if (key == nullptr || !key->values || !key->values->Erase(step.name)) return;
        key->lastWrite = time;
        if (key->ValueCount() == 0) key->longestValueName = key->longestData = 0;
        return;
    }
    StoreKey& key = Ensure(step.base, step.path, time);
    if (step.kind == kSetValue) {
        if (!key.values) key.values = std::make_unique<StoreValues>();
        key.values->Set(step.name, step.type, step.data);
        key.longestValueName = std::max(key.longestValueName, step.name.size());
        key.longestData = std::max(key.longestData, step.data.size());
    } else if (step.kind == kSetSecurity) {
        key.security.assign(step.data.begin(), step.data.end());
    } else if (step.kind == kCreate) {
        return;  // an existing key is not touched
    } else {
        throw std::runtime_error("a change of an unknown kind");
    }
    if (time != 0) key.lastWrite = time;
}

void StoreKeys::Apply(std::span<const BYTE> operations, std::uint64_t time) {
    Decoder decoder(operations);
    while (!decoder.AtEnd()) Apply(Step(decoder), time);
}

std::size_t StoreKeys::ApplyWhatFits(std::span<const BYTE> operations, std::uint64_t time) {
    std::size_t left = 0;
    Decoder decoder(operations);
    while (!decoder.AtEnd()) {
        const Step step(decoder);
        try {
            Apply(step, time);
        } catch (const std::runtime_error&) {
            ++left;
        }
    }
    return left;
}

void StoreKeys::SkipTo(std::uint32_t firstKey) { m_nextId += std::uint32_t(firstKey - std::uint32_t(m_nextId)); }

void StoreKeys::Snapshot(const std::function<void(std::span<const BYTE>)>& sink) const {
    StoreChange piece;
    std::vector<const StoreKey*> open{&Root()};
    while (!open.empty()) {
        const StoreKey& key = *open.back();
        open.pop_back();
        if (key.parent != nullptr) piece.AddKey(key);
        for (std::size_t i = 0; i < key.ValueCount(); ++i) {
            const StoredValue& value = *key.ValueAt(i);
            piece.SetValue(key.id, {}, value.name, value.type, value.data);
            if (piece.Operations().size() >= kSnapshotPiece) {
                sink(piece.Operations());
                piece.Clear();
            }
        }
        if (!key.subkeys) continue;
        for (const auto& subkey : *key.subkeys) open.push_back(subkey.second);
    }
    if (!piece.IsEmpty()) sink(piece.Operations());
}

void StoreChange::Put(std::uint64_t number, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) m_operations.push_back(BYTE(number >> (8 * i)));
}

void StoreChange::Put(std::span<const BYTE> data) {
    Put(data.size(), 4);
    m_operations.insert(m_operations.end(), data.begin(), data.end());
}

void StoreChange::Begin(BYTE operation, KeyId base, std::string_view path) {
    Put(operation, 1);
    Put(base, 8);
    Put(path);
}

void StoreChange::Create(KeyId base, std::string_view path) { Begin(kCreate, base, path); }

void StoreChange::SetValue(KeyId base, std::string_view path, std::string_view name, DWORD type,
                           std::span<const BYTE> data) {
    Begin(kSetValue, base, path);
    Put(name);
    Put(type, 4);
    Put(data);
}

void StoreChange::EraseValue(KeyId base, std::string_view path, std::string_view name) {
    Begin(kEraseValue, base, path);
    Put(name);
}

void StoreChange::DeleteTree(KeyId base, std::string_view path) { Begin(kDeleteTree, base, path); }

void StoreChange::SetSecurity(KeyId base, std::string_view path, std::span<const BYTE> descriptor) {
    Begin(kSetSecurity, base, path);
    Put(descriptor);
}

void StoreChange::AddKey(const StoreKey& key) {
    Begin(kAddKey, key.parent->id, key.name);
    Put(key.id, 8);
    Put(key.lastWrite, 8);
    Put(key.security);
}

}  // namespace embedded
