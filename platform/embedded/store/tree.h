// The tree and its file together: what one process has of the store, brought up to date before each use.
#ifndef INSTALIB_EMBEDDED_STORE_TREE_H
#define INSTALIB_EMBEDDED_STORE_TREE_H

#include <mutex>

#include "platform/embedded/store/journal.h"
#include "platform/embedded/store/keys.h"

namespace embedded {

class StoreTree : private JournalReader {
  public:
    explicit StoreTree(int folder);

    // For the time of reading: keeps this process's other threads away and has everything that any process reported as
    // done. Pointers into the tree hold as long. Throws DamagedStore when the file was damaged meanwhile.
    class Reading {
      public:
        explicit Reading(StoreTree& tree);
        const StoreKeys& Keys() const { return m_tree.m_keys; }
        const StoreKeys* operator->() const { return &m_tree.m_keys; }

      private:
        StoreTree& m_tree;
        std::lock_guard<std::recursive_mutex> m_lock;
    };

    // For the time of reading, deciding and writing: keeps the other processes away too. They nest.
    class Writing {
      public:
        explicit Writing(StoreTree& tree) : m_tree(tree) { m_tree.Lock(); }
        ~Writing() { m_tree.Unlock(); }
        Writing(const Writing&) = delete;
        Writing& operator=(const Writing&) = delete;
        const StoreKeys* operator->() const { return &m_tree.m_keys; }
        // All of it or nothing; false when the disk does not take it.
        bool Commit(const StoreChange& change) { return m_tree.Commit(change); }

      private:
        StoreTree& m_tree;
    };

    void Lock();
    void Unlock();
    // A step locks too, and what is committed until its end becomes one frame: a process that dies in between has
    // changed nothing. They nest; the outermost counts. A step that the disk does not take is undone as a whole.
    void BeginStep();
    void EndStep();
    bool Flush();

  private:
    void Restart(KeyId nextKey) override { m_keys.Clear(nextKey); }
    void Apply(std::span<const BYTE> operations, std::uint64_t time) override;
    void CatchUp();
    bool Commit(const StoreChange& change);
    void FoldIfWanted();

    std::recursive_mutex m_mutex;
    unsigned m_steps = 0;
    Bytes m_pending;       // the operations of the step so far; the tree has them already
    unsigned m_locks = 0;  // how often this thread, which has the mutex, holds the lock against other processes
    StoreKeys m_keys;
    Journal m_journal;  // last: it fills the tree when it is made
};

}  // namespace embedded

#endif
