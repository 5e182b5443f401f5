// A lock between processes and threads on a file that stays open.
#ifndef INSTALIB_EMBEDDED_CORE_KEPT_LOCK_H
#define INSTALIB_EMBEDDED_CORE_KEPT_LOCK_H

#include <filesystem>
#include <mutex>

namespace embedded {

// Exported for tests. One holder at a time among all processes that lock the same file; the system takes the lock away
// from a process that dies. A process that was forked opens the file anew, so that it excludes its parent, too. Not to
// be nested.
class __attribute__((visibility("default"))) KeptLock {
  public:
    // The file is made when the lock is first taken.
    explicit KeptLock(std::filesystem::path file) : m_file(std::move(file)) {}
    ~KeptLock();
    KeptLock(const KeptLock&) = delete;
    KeptLock& operator=(const KeptLock&) = delete;

    // Waits. Where the file cannot be made, this process's threads are kept apart all the same.
    void Take();
    void Release();

  private:
    void Open();

    std::filesystem::path m_file;
    std::mutex m_mutex;
    int m_descriptor = -1;
    unsigned m_forks = 0;  // how deep below the first process the descriptor was opened
};

}  // namespace embedded

#endif
