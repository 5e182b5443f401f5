// The room store/: the tree of keys that a machine keeps everything in, its journal and its file.
//
// A machine's store of record: one durable tree of keys with values and security descriptors, shared by all processes
// that use the machine. The registry functions show its hives HKLM and HKU; the other services of the machine are views
// over it, and what has no place in Windows' own registry lives below the hidden root META, which no registry call
// reaches.
//
// Paths are separated by backslashes and start with the hive: "HKLM\\SYSTEM\\CurrentControlSet\\Services\\X",
// "HKU\\S-1-5-...", "META\\Files\\C\\x". Names compare without regard to case and keep the case they were created with.
// Every call sees what any process has reported as done before it, and what it reports as done survives a kill.
#ifndef INSTALIB_EMBEDDED_STORE_STORE_H
#define INSTALIB_EMBEDDED_STORE_STORE_H

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/core/bytes.h"

namespace embedded {

struct StoredValue {
    std::string name;  // in the case it was created with
    DWORD type = 0;
    Bytes data;  // exactly as it was set
};

class StoreTree;

// Exported, as the control functions are, for tests and tools that plant and look up what no Windows call shows.
class __attribute__((visibility("default"))) Store : public std::enable_shared_from_this<Store> {
  public:
    // Opens the store in a folder of the host. One object per folder and process: the same folder gives the same
    // object. Throws DamagedStore (store/journal.h) when there is none or it has lost something, and leaves it as it
    // is; other kinds of std::runtime_error when the folder cannot be used. The text names the file and says what is
    // wrong.
    static std::shared_ptr<Store> Open(const std::filesystem::path& folder);
    // The same, but makes the folder and an empty store when there is none. For a machine in the making alone: a store
    // that is missing later is a damaged one.
    static std::shared_ptr<Store> Make(const std::filesystem::path& folder);
    // Stands in for one that cannot be opened: it is empty, takes nothing, and says why.
    static std::shared_ptr<Store> Unusable(const std::string& problem);
    ~Store();

    // What is wrong with the store; empty while nothing is. A store that is found damaged while it is open goes on
    // answering what was read before and takes no changes any more.
    std::string Problem();

    bool KeyExists(std::string_view path);
    // Creates the key and every missing key above it. False only when the store cannot be written.
    bool CreateKey(std::string_view path);
    // Removes the key with everything below it. False when it does not exist.
    bool DeleteTree(std::string_view path);
    // The names of the subkeys, sorted without regard to case; empty for a missing key.
    std::vector<std::string> Subkeys(std::string_view path);
    std::optional<StoredValue> Read(std::string_view path, std::string_view name);
    std::vector<StoredValue> Values(std::string_view path);  // in order of creation
    // Sets a value, creating the key and those above it.
    bool Write(std::string_view path, std::string_view name, DWORD type, const Bytes& data);
    bool Erase(std::string_view path, std::string_view name);
    // The key's own security descriptor in self-relative form; empty: none of its own (it inherits its parent's).
    Bytes Security(std::string_view path);
    bool SetSecurity(std::string_view path, const Bytes& descriptor);

    // Text and numbers as the registry keeps them: REG_SZ with its terminator, REG_DWORD. A missing value, one of
    // another type or without a terminator is read as what is there, or the default.
    std::string ReadText(std::string_view path, std::string_view name, std::string_view fallback = {});
    DWORD ReadNumber(std::string_view path, std::string_view name, DWORD fallback = 0);
    bool WriteText(std::string_view path, std::string_view name, std::string_view text);
    bool WriteNumber(std::string_view path, std::string_view name, DWORD number);
    // REG_MULTI_SZ.
    std::vector<std::string> ReadList(std::string_view path, std::string_view name);
    bool WriteList(std::string_view path, std::string_view name, const std::vector<std::string>& texts);

    // Holds the machine's store for this thread against every other process and thread, so that a view can read, decide
    // and write in one step: all that is written until the outermost lock goes is there afterwards, or, when the
    // process dies or the disk is full, nothing of it. Calls above may be made meanwhile; locks nest.
    class Lock {
      public:
        explicit Lock(Store& store);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

      private:
        Store& m_store;
    };

    // The tree itself, for the registry functions alone (store/tree.h).
    StoreTree& Tree() { return *m_tree; }

  private:
    explicit Store(std::unique_ptr<StoreTree> tree);
    static std::shared_ptr<Store> OpenIn(const std::filesystem::path& folder, bool make);
    std::unique_ptr<StoreTree> m_tree;
};

}  // namespace embedded

#endif
