#include "platform/embedded/store/tree.h"

#include <chrono>

namespace embedded {
namespace {

// 100-nanosecond steps since 1601. The host's clock: a key's time is no wait that a test would drive.
std::uint64_t Now() {
    using Steps = std::chrono::duration<std::uint64_t, std::ratio<1, 10'000'000>>;
    constexpr std::uint64_t kUnixEpoch = 116444736000000000;
    return kUnixEpoch + std::chrono::duration_cast<Steps>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

StoreTree::StoreTree(int folder) : m_journal(folder, *this) {}

StoreTree::Reading::Reading(StoreTree& tree) : m_tree(tree), m_lock(tree.m_mutex) { m_tree.CatchUp(); }

void StoreTree::CatchUp() {
    // Who holds the lock has everything already.
    if (m_locks == 0) m_journal.CatchUp();
}

void StoreTree::Apply(std::span<const BYTE> operations, std::uint64_t time) {
    try {
        m_keys.Apply(operations, time);
    } catch (const std::runtime_error& error) {
        throw DamagedStore(std::string("the registry's file holds ") + error.what());
    }
}

void StoreTree::Lock() {
    m_mutex.lock();
    if (m_locks == 0) {
        try {
            m_journal.LockFile();
        } catch (...) {
            m_mutex.unlock();
            throw;
        }
    }
    ++m_locks;
}

void StoreTree::Unlock() {
    if (--m_locks == 0) m_journal.UnlockFile();
    m_mutex.unlock();
}

void StoreTree::BeginStep() {
    Lock();
    ++m_steps;
}

void StoreTree::EndStep() {
    if (--m_steps == 0 && !m_pending.empty()) {
        if (m_journal.Append(m_pending, Now()))
            FoldIfWanted();
        else
            m_journal.Reread();
        m_pending.clear();
    }
    Unlock();
}

bool StoreTree::Commit(const StoreChange& change) {
    if (change.IsEmpty()) return true;
    const std::uint64_t time = Now();
    const std::span<const BYTE> operations = change.Operations();
    if (m_steps != 0) {
        m_pending.insert(m_pending.end(), operations.begin(), operations.end());
        Apply(operations, time);
        return true;
    }
    if (!m_journal.Append(operations, time)) return false;
    Apply(operations, time);
    FoldIfWanted();
    return true;
}

// With the tree as the file has it.
void StoreTree::FoldIfWanted() {
    if (!m_journal.WantsFolding()) return;
    m_journal.Fold(m_keys.NextId(), [this](const Journal::Sink& sink) { m_keys.Snapshot(sink); });
}

bool StoreTree::Flush() {
    const std::lock_guard lock(m_mutex);
    return m_journal.Flush();
}

}  // namespace embedded
