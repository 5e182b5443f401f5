// Sharing modes and byte-range locks of one open file, as locks of its open file description on the host: they hold
// between handles of one process as between processes, and the host drops them when the last of the description goes,
// be it by kill. Sharing modes are shared locks on a few bytes far behind any data, one byte per right that is held or
// denied.
#ifndef INSTALIB_EMBEDDED_FILES_LOCKS_H
#define INSTALIB_EMBEDDED_FILES_LOCKS_H

#include <cstdint>
#include <vector>

#include "platform/embedded/api/base.h"

namespace embedded::files {

// Rights that sharing modes are about, as bits; the same bits say what a handle lets others do.
enum ShareBits : unsigned { kShareRead = 1, kShareWrite = 2, kShareDelete = 4 };

class FileLocks {
  public:
    // `descriptor` is the file's, open for reading and perhaps for writing; it stays the caller's and outlives this
    // object.
    FileLocks(int descriptor, bool isWritable) : m_descriptor(descriptor), m_isWritable(isWritable) {}
    ~FileLocks();
    FileLocks(const FileLocks&) = delete;
    FileLocks& operator=(const FileLocks&) = delete;

    // False when another handle holds what this one denies or denies what this one wants. Without any right wanted
    // there is nothing to share. The caller holds the machine's FileGuard, and closes the descriptor when it is
    // refused.
    bool Share(unsigned wanted, unsigned allowed);
    // For a read of the whole file and no more, without the FileGuard: waits for a writer that holds it as a whole,
    // holds it against the next one, and shares reading and writing as Share does. False, too, when any byte of it is
    // locked.
    bool ShareWholeRead();
    bool HoldsWholeRead() const { return m_holdsWholeRead; }  // by ShareWholeRead

    // 0, or ERROR_LOCK_VIOLATION when any of the bytes is locked by another handle or this one.
    DWORD Lock(std::uint64_t offset, std::uint64_t length);
    // Exactly a range that was locked, else ERROR_NOT_LOCKED.
    DWORD Unlock(std::uint64_t offset, std::uint64_t length);
    // Whether another handle has locked any of the bytes.
    bool IsLockedByOthers(std::uint64_t offset, std::uint64_t length) const;

    // Waits for and holds the file as a whole until the object goes: one writer, or any number of readers.
    bool HoldWhole(bool forWriting);

  private:
    struct Range {
        std::uint64_t offset, length;
    };
    int RangeDescriptor();
    bool Covers(std::uint64_t offset, std::uint64_t length) const;

    int m_descriptor;
    bool m_isWritable;
    int m_ranges = -1;  // a second description, open for writing, when the first one is not
    bool m_holdsWholeRead = false;
    std::vector<Range> m_locked;
};

}  // namespace embedded::files

#endif
