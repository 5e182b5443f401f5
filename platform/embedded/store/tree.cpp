#include "platform/embedded/store/tree.h"

#include <chrono>

#include "platform/embedded/core/gate.h"

namespace embedded {
namespace {

// 100-nanosecond steps since 1601. The host's clock: a key's time is no wait that a test would drive.
std::uint64_t Now() {
    using Steps = std::chrono::duration<std::uint64_t, std::ratio<1, 10'000'000>>;
    constexpr std::uint64_t kUnixEpoch = 116444736000000000;
    return kUnixEpoch + std::chrono::duration_cast<Steps>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

StoreTree::StoreTree(int folder, bool make, std::string blame)
    : m_blame(std::move(blame)), m_journal(new Journal(folder, make, *this)) {}

StoreTree::StoreTree(std::string problem) : m_problem(std::move(problem)) {}

template <class Body>
bool StoreTree::Try(OnDamage onDamage, Body body) {
    if (m_problem.empty()) {
        try {
            body();
            return true;
        } catch (const DamagedStore& damage) {
            m_problem = m_blame + damage.what();
            gate::LookAgain();
        } catch (const std::runtime_error&) {  // no lock to be had this time
            if (onDamage == OnDamage::Throw) throw;
            return false;
        }
    }
    if (onDamage == OnDamage::Throw) throw DamagedStore(m_problem);
    return false;
}

StoreTree::Reading::Reading(StoreTree& tree, OnDamage onDamage) : m_tree(tree), m_lock(tree.m_mutex) {
    m_tree.Try(onDamage, [this] {
        // Who holds the lock has everything already.
        if (m_tree.m_locks == 0) m_tree.m_journal->CatchUp();
    });
}

std::string StoreTree::Problem() {
    const std::lock_guard lock(m_mutex);
    return m_problem;
}

void StoreTree::Apply(std::span<const BYTE> operations, std::uint64_t time, std::uint32_t firstKey) {
    if (firstKey != std::uint32_t(m_keys.NextId())) throw DamagedStore("it holds changes that do not belong together");
    try {
        m_keys.Apply(operations, time);
    } catch (const std::runtime_error& error) {
        throw DamagedStore(std::string("it holds ") + error.what());
    }
}

void StoreTree::Lock(OnDamage onDamage) {
    m_mutex.lock();
    try {
        const bool usable = Try(onDamage, [this] {
            if (m_locks == 0) m_journal->LockFile();
        });
        if (m_locks == 0) m_fileIsLocked = usable;
    } catch (...) {
        m_mutex.unlock();
        throw;
    }
    ++m_locks;
}

void StoreTree::Unlock() {
    if (--m_locks == 0 && m_fileIsLocked) m_journal->UnlockFile();
    m_mutex.unlock();
}

void StoreTree::BeginStep() {
    Lock(OnDamage::Endure);
    ++m_steps;
}

void StoreTree::EndStep() {
    if (--m_steps == 0 && !m_pending.empty()) {
        if (m_journal->Append(m_pending, Now(), m_pendingFirst))
            FoldIfWanted();
        else
            Try(OnDamage::Endure, [this] { m_journal->Reread(); });
        m_pending.clear();
    }
    Unlock();
}

bool StoreTree::Commit(const StoreChange& change) {
    if (!m_fileIsLocked || !m_problem.empty()) return false;
    if (change.IsEmpty()) return true;
    const std::uint64_t time = Now();
    const std::span<const BYTE> operations = change.Operations();
    if (m_steps != 0) {
        if (m_pending.empty()) m_pendingFirst = m_keys.NextId();
        m_pending.insert(m_pending.end(), operations.begin(), operations.end());
        m_keys.Apply(operations, time);
        return true;
    }
    if (!m_journal->Append(operations, time, m_keys.NextId())) return false;
    m_keys.Apply(operations, time);
    FoldIfWanted();
    return true;
}

// With the tree as the file has it.
void StoreTree::FoldIfWanted() {
    if (!m_journal->WantsFolding()) return;
    m_journal->Fold(m_keys.NextId(), [this](const Journal::Sink& sink) { m_keys.Snapshot(sink); });
}

bool StoreTree::Flush() {
    const std::lock_guard lock(m_mutex);
    return m_problem.empty() && m_journal->Flush();
}

}  // namespace embedded
