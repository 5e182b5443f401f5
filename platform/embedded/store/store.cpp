#include "platform/embedded/store/store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>

#include "platform/embedded/api/registry.h"
#include "platform/embedded/store/tree.h"

namespace fs = std::filesystem;

namespace embedded {
namespace {

// The stores that this process has open, by the folder itself, whatever path led to it.
struct OpenStores {
    std::mutex mutex;
    std::map<std::pair<dev_t, ino_t>, std::weak_ptr<Store>> stores;
};

OpenStores& TheOpenStores() {
    static OpenStores* const stores = new OpenStores;
    return *stores;
}

[[noreturn]] void FailToOpen(const fs::path& folder) {
    throw std::runtime_error("the registry in " + folder.string() + " cannot be used: " + std::strerror(errno));
}

class Descriptor {
  public:
    explicit Descriptor(int value) : m_value(value) {}
    ~Descriptor() {
        if (m_value >= 0) close(m_value);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_value; }
    void Release() { m_value = -1; }

  private:
    int m_value;
};

// Text as the registry keeps it: with a terminator that may be missing, and nothing behind it.
std::string TextOf(const Bytes& data) {
    const std::string text(data.begin(), data.end());
    return text.substr(0, text.find('\0'));
}

}  // namespace

std::shared_ptr<Store> Store::OpenIn(const fs::path& folder, bool make) {
    Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (descriptor.Get() < 0 && errno == ENOENT) {
        throw DamagedStore("the registry's folder " + folder.string() + " is missing");
    }
    if (descriptor.Get() < 0 || fstat(descriptor.Get(), &status) != 0) FailToOpen(folder);
    OpenStores& open = TheOpenStores();
    const std::lock_guard lock(open.mutex);
    std::erase_if(open.stores, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<Store>& known = open.stores[{status.st_dev, status.st_ino}];
    std::shared_ptr<Store> store = known.lock();
    if (store) return store;
    const std::string blame = "the registry's file " + (folder / kStoreName).string() + " is damaged: ";
    try {
        auto tree = std::make_unique<StoreTree>(descriptor.Get(), make, blame);
        descriptor.Release();
        store.reset(new Store(std::move(tree)));
    } catch (const DamagedStore& damage) {
        throw DamagedStore(blame + damage.what());
    }
    known = store;
    return store;
}

std::shared_ptr<Store> Store::Open(const fs::path& folder) { return OpenIn(folder, false); }

std::shared_ptr<Store> Store::Make(const fs::path& folder) {
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    return OpenIn(folder, true);
}

std::shared_ptr<Store> Store::Unusable(const std::string& problem) {
    return std::shared_ptr<Store>(new Store(std::make_unique<StoreTree>(problem)));
}

std::string Store::Problem() { return m_tree->Problem(); }

Store::Store(std::unique_ptr<StoreTree> tree) : m_tree(std::move(tree)) {}
Store::~Store() = default;

Store::Lock::Lock(Store& store) : m_store(store) { m_store.Tree().BeginStep(); }
Store::Lock::~Lock() { m_store.Tree().EndStep(); }

bool Store::KeyExists(std::string_view path) {
    const StoreTree::Reading reading(*m_tree, OnDamage::Endure);
    return reading->Find(kRootKey, path) != nullptr;
}

bool Store::CreateKey(std::string_view path) {
    if (KeyExists(path)) return true;
    StoreTree::Writing writing(*m_tree, OnDamage::Endure);
    StoreChange change;
    change.Create(kRootKey, path);
    return writing.Commit(change);
}

bool Store::DeleteTree(std::string_view path) {
    StoreTree::Writing writing(*m_tree, OnDamage::Endure);
    const StoreKey* const key = writing->Find(kRootKey, path);
    if (key == nullptr || key->parent == nullptr) return false;
    StoreChange change;
    change.DeleteTree(key->id, {});
    return writing.Commit(change);
}

std::vector<std::string> Store::Subkeys(std::string_view path) {
    const StoreTree::Reading reading(*m_tree, OnDamage::Endure);
    std::vector<std::string> names;
    const StoreKey* const key = reading->Find(kRootKey, path);
    if (key == nullptr || !key->subkeys) return names;
    for (const auto& subkey : *key->subkeys) names.push_back(subkey.second->name);
    return names;
}

std::optional<StoredValue> Store::Read(std::string_view path, std::string_view name) {
    const StoreTree::Reading reading(*m_tree, OnDamage::Endure);
    const StoreKey* const key = reading->Find(kRootKey, path);
    const StoredValue* const value = key == nullptr ? nullptr : key->Value(name);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

std::vector<StoredValue> Store::Values(std::string_view path) {
    const StoreTree::Reading reading(*m_tree, OnDamage::Endure);
    std::vector<StoredValue> values;
    const StoreKey* const key = reading->Find(kRootKey, path);
    const std::size_t count = key == nullptr ? 0 : key->ValueCount();
    for (std::size_t i = 0; i < count; ++i) values.push_back(*key->ValueAt(i));
    return values;
}

bool Store::Write(std::string_view path, std::string_view name, DWORD type, const Bytes& data) {
    StoreChange change;
    change.SetValue(kRootKey, path, name, type, data);
    return StoreTree::Writing(*m_tree, OnDamage::Endure).Commit(change);
}

bool Store::Erase(std::string_view path, std::string_view name) {
    StoreTree::Writing writing(*m_tree, OnDamage::Endure);
    const StoreKey* const key = writing->Find(kRootKey, path);
    if (key == nullptr || key->Value(name) == nullptr) return false;
    StoreChange change;
    change.EraseValue(key->id, {}, name);
    return writing.Commit(change);
}

Bytes Store::Security(std::string_view path) {
    const StoreTree::Reading reading(*m_tree, OnDamage::Endure);
    const StoreKey* const key = reading->Find(kRootKey, path);
    return key == nullptr ? Bytes() : key->security;
}

bool Store::SetSecurity(std::string_view path, const Bytes& descriptor) {
    StoreTree::Writing writing(*m_tree, OnDamage::Endure);
    const StoreKey* const key = writing->Find(kRootKey, path);
    if (key == nullptr) return false;
    StoreChange change;
    change.SetSecurity(key->id, {}, descriptor);
    return writing.Commit(change);
}

std::string Store::ReadText(std::string_view path, std::string_view name, std::string_view fallback) {
    const std::optional<StoredValue> value = Read(path, name);
    if (!value || (value->type != REG_SZ && value->type != REG_EXPAND_SZ)) return std::string(fallback);
    return TextOf(value->data);
}

DWORD Store::ReadNumber(std::string_view path, std::string_view name, DWORD fallback) {
    const std::optional<StoredValue> value = Read(path, name);
    if (!value || value->type != REG_DWORD || value->data.size() != sizeof(DWORD)) return fallback;
    DWORD number = 0;
    std::memcpy(&number, value->data.data(), sizeof number);
    return number;
}

bool Store::WriteText(std::string_view path, std::string_view name, std::string_view text) {
    Bytes data(text.begin(), text.end());
    data.push_back(0);
    return Write(path, name, REG_SZ, data);
}

bool Store::WriteNumber(std::string_view path, std::string_view name, DWORD number) {
    Bytes data(sizeof number);
    std::memcpy(data.data(), &number, sizeof number);
    return Write(path, name, REG_DWORD, data);
}

std::vector<std::string> Store::ReadList(std::string_view path, std::string_view name) {
    const std::optional<StoredValue> value = Read(path, name);
    std::vector<std::string> texts;
    if (!value || value->type != REG_MULTI_SZ) return texts;
    for (auto from = value->data.begin(); from != value->data.end();) {
        const auto to = std::find(from, value->data.end(), BYTE(0));
        if (from == to) break;  // the empty text that ends the list
        texts.emplace_back(from, to);
        from = to == value->data.end() ? to : to + 1;
    }
    return texts;
}

bool Store::WriteList(std::string_view path, std::string_view name, const std::vector<std::string>& texts) {
    Bytes data;
    for (const std::string& text : texts) {
        data.insert(data.end(), text.begin(), text.end());
        data.push_back(0);
    }
    data.push_back(0);
    return Write(path, name, REG_MULTI_SZ, data);
}

}  // namespace embedded
