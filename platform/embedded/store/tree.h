// The tree and its file together: what one process has of the store, brought up to date before each use.
#ifndef INSTALIB_EMBEDDED_STORE_TREE_H
#define INSTALIB_EMBEDDED_STORE_TREE_H

#include <mutex>

#include "platform/embedded/store/journal.h"
#include "platform/embedded/store/keys.h"

namespace embedded {

// What to do about a file that was damaged meanwhile. The tree is broken from then on: it takes no changes any more.
enum class OnDamage {
    Throw,  // DamagedStore
    Endure  // go on with what was read before
};

class StoreTree : private JournalReader {
  public:
    // `blame` begins the line about damage that is found later.
    StoreTree(int folder, bool make, std::string blame);
    // Stands in for a store that cannot be opened: empty, and broken from the start.
    explicit StoreTree(std::string problem);

    // For the time of reading: keeps this process's other threads away and has everything that any process reported as
    // done. Pointers into the tree hold as long.
    class Reading {
      public:
        explicit Reading(StoreTree& tree, OnDamage onDamage = OnDamage::Throw);
        const StoreKeys& Keys() const { return m_tree.m_keys; }
        const StoreKeys* operator->() const { return &m_tree.m_keys; }

      private:
        StoreTree& m_tree;
        std::lock_guard<std::recursive_mutex> m_lock;
    };

    // For the time of reading, deciding and writing: keeps the other processes away too. They nest.
    class Writing {
      public:
        explicit Writing(StoreTree& tree, OnDamage onDamage = OnDamage::Throw) : m_tree(tree) { m_tree.Lock(onDamage); }
        ~Writing() { m_tree.Unlock(); }
        Writing(const Writing&) = delete;
        Writing& operator=(const Writing&) = delete;
        const StoreKeys* operator->() const { return &m_tree.m_keys; }
        // All of it or nothing; false when the disk does not take it or the tree is broken.
        bool Commit(const StoreChange& change) { return m_tree.Commit(change); }

      private:
        StoreTree& m_tree;
    };

    void Lock(OnDamage onDamage);
    void Unlock();
    // A step locks too, and what is committed until its end becomes one frame: a process that dies in between has
    // changed nothing. They nest; the outermost counts. A step that the disk does not take is undone as a whole.
    void BeginStep();
    void EndStep();
    bool Flush();
    // What is wrong with the file; empty while nothing is.
    std::string Problem();

  private:
    void Restart(KeyId nextKey) override { m_keys.Clear(nextKey); }
    void Apply(std::span<const BYTE> operations, std::uint64_t time, std::uint32_t firstKey) override;
    // Runs what reads the file, and keeps what it throws as the problem. Whether there is none.
    template <class Body>
    bool Try(OnDamage onDamage, Body body);
    bool Commit(const StoreChange& change);
    void FoldIfWanted();

    std::recursive_mutex m_mutex;
    unsigned m_steps = 0;
    Bytes m_pending;           // the operations of the step so far; the tree has them already
    KeyId m_pendingFirst = 0;  // the next identifier before them
    unsigned m_locks = 0;      // how often this thread, which has the mutex, holds the lock against other processes
    bool m_fileIsLocked = false;
    std::string m_blame, m_problem;
    StoreKeys m_keys;
    std::unique_ptr<Journal> m_journal;  // last: it fills the tree when it is made. Null for a stand-in
};

}  // namespace embedded

#endif
