// The store's file. It begins with a header page, then a snapshot of the whole tree, then one frame for each change
// made since, appended and never rewritten. A frame holds the changes of one call, with its length, its time and
// checksums, so that a write that was cut off is noticed and dropped. When the changes outgrow the snapshot, the file
// is folded: a new one is written beside it and renamed over it.
//
// The header page is mapped by every process that has the store open. Its counters say how far the file has been
// published, so that a reader sees what others wrote at the cost of two loads and a look at the file's length, without
// a lock. Writers exclude each other with a lock on a file of its own, which the system takes away from a process that
// dies.
//
// What was published is complete, whatever kills a process: a file with less of it is damaged, and is refused and left
// as it is. Behind what was published may stand whole frames, which count, and the torn end of one whose writer died,
// which is dropped. That holds after a power cut too: a disk that kept the header page but not the frames that it
// speaks of leaves a damaged file, which store/salvage.h repairs.
#ifndef INSTALIB_EMBEDDED_STORE_JOURNAL_H
#define INSTALIB_EMBEDDED_STORE_JOURNAL_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

#include "platform/embedded/store/store.h"

namespace embedded {

// The file is missing, is no store or has lost a part of what was reported as done. The text says what is wrong with
// it, and in which file once the store has added that.
struct __attribute__((visibility("default"))) DamagedStore : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What a journal is read into. An exception of Apply counts as damage.
class JournalReader {
  public:
    virtual ~JournalReader() = default;
    // Forgets everything; `nextKey` is the first identifier for keys made from now on.
    virtual void Restart(std::uint64_t nextKey) = 0;
    // `firstKey`: the low half of the identifier that was the next one when the operations were recorded.
    virtual void Apply(std::span<const BYTE> operations, std::uint64_t time, std::uint32_t firstKey) = 0;
};

inline constexpr const char* kStoreName = "store";
inline constexpr const char* kNewStoreName = "store.new";

class JournalFile;

class Journal {
  public:
    // Opens the store in the folder whose open descriptor this is and reads it whole; makes it first when it is missing
    // and `make` says so. The descriptor becomes the journal's when no exception says otherwise.
    Journal(int folder, bool make, JournalReader& reader);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // Reads what other processes have published since the last call.
    void CatchUp();

    // The lock against other processes; the caller keeps its own threads apart. LockFile catches up.
    void LockFile();
    void UnlockFile();

    // With the lock: appends one frame and publishes it. The caller applies it itself, to a tree whose next identifier
    // is `nextKey`. False when the disk does not take it.
    bool Append(std::span<const BYTE> operations, std::uint64_t time, std::uint64_t nextKey);
    // With the lock: reads the file anew, for a reader that has more than the disk took.
    void Reread();
    bool WantsFolding() const;
    using Sink = std::function<void(std::span<const BYTE> operations)>;
    // With the lock: replaces the file by a snapshot, which `produce` hands to its sink piece by piece. A fold that the
    // disk does not take leaves everything as it was.
    void Fold(std::uint64_t nextKey, const std::function<void(const Sink&)>& produce);
    // Waits until the disk has everything.
    bool Flush();

  private:
    bool OpenExisting();
    void MakeFirst();
    void StartOver();
    bool ReadClean();
    bool IsReplaced() const;
    void CheckLength(std::uint64_t published) const;
    void Recover();
    bool ReadTo(std::uint64_t end);
    void SwitchToCurrent();

    int m_folder;
    int m_lock = -1;
    JournalReader& m_reader;
    std::unique_ptr<JournalFile> m_file;
    std::uint64_t m_position = 0;  // up to here the reader has the file
};

}  // namespace embedded

#endif
