// One generation of the store's file: its header page and its frames. See store/journal.h.
#ifndef INSTALIB_EMBEDDED_STORE_JOURNAL_FILE_H
#define INSTALIB_EMBEDDED_STORE_JOURNAL_FILE_H

#include <sys/types.h>

#include <atomic>
#include <memory>
#include <span>
#include <vector>

#include "platform/embedded/store/journal.h"

namespace embedded {

class JournalFile {
  public:
    static constexpr std::uint64_t kHeaderBytes = 4096;

    // The page at the file's start. The fields up to `check` are fixed when the file is made, the rest is shared state.
    struct Header {
        char magic[8];
        std::uint64_t generation;  // one more than the file that this one was folded from
        std::uint64_t snapshotEnd;
        std::uint64_t nextKey;
        std::uint64_t check;
        std::uint64_t published;  // frames before this position are complete
        std::uint64_t retired;    // 1 when the file has been, or is just being, replaced
        std::uint64_t writing;  // 1 while a frame is being appended; its writer died when it stays so without the lock
    };

    // Opens a file of the folder; null when it does not exist.
    static std::unique_ptr<JournalFile> Open(int folder, const char* name);
    // Makes an empty file, replacing one of that name; null when the disk does not take it.
    static std::unique_ptr<JournalFile> Create(int folder, const char* name, std::uint64_t generation,
                                               std::uint64_t nextKey);
    ~JournalFile();

    std::uint64_t Generation() const { return m_header->generation; }
    std::uint64_t SnapshotEnd() const { return m_header->snapshotEnd; }
    std::uint64_t NextKey() const { return m_header->nextKey; }
    std::uint64_t Published() const { return Load(m_header->published); }
    bool Retired() const { return Load(m_header->retired) != 0; }
    bool Writing() const { return Load(m_header->writing) != 0; }
    void SetPublished(std::uint64_t position) { Store(m_header->published, position); }
    void SetRetired(bool retired) { Store(m_header->retired, retired); }
    void SetWriting(bool writing) { Store(m_header->writing, writing); }

    std::uint64_t Size() const;
    // Whether the name in the folder leads to another file by now.
    bool IsReplaced(int folder, const char* name) const;

    struct Frame {
        std::span<const BYTE> operations;  // until the next call
        std::uint64_t time = 0;
        std::uint64_t end = 0;
    };
    // False when there is no whole and sound frame between this position and `end`.
    bool Read(std::uint64_t position, std::uint64_t end, Frame* frame);
    // Whether anything that looks like a frame begins behind the position.
    bool AnyFrameBehind(std::uint64_t position);
    // The position behind the frame, or 0 when the disk did not take it.
    std::uint64_t Write(std::uint64_t position, std::span<const BYTE> operations, std::uint64_t time);
    bool Truncate(std::uint64_t size);
    bool Flush();
    // Ends the snapshot of a new file here.
    void Seal(std::uint64_t position);

  private:
    explicit JournalFile(int descriptor) : m_descriptor(descriptor) {}
    bool Map();
    void CheckHeader() const;
    static std::uint64_t Load(std::uint64_t& field) { return std::atomic_ref(field).load(std::memory_order_acquire); }
    static void Store(std::uint64_t& field, std::uint64_t value) {
        std::atomic_ref(field).store(value, std::memory_order_release);
    }
    const BYTE* Buffered(std::uint64_t position, std::size_t bytes, std::uint64_t end);

    int m_descriptor;
    Header* m_header = nullptr;
    std::vector<BYTE> m_buffer;  // a piece of the file that was read ahead
    std::uint64_t m_bufferStart = 0;
    std::vector<BYTE> m_frame;  // kept between writes for its memory
};

// CRC-32 as in IEEE 802.3, continued from `seed`.
std::uint32_t Checksum(std::span<const BYTE> bytes, std::uint32_t seed = 0);

}  // namespace embedded

#endif
