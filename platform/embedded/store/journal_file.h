// One generation of the store's file: its header page and its frames. See store/journal.h.
#ifndef INSTALIB_EMBEDDED_STORE_JOURNAL_FILE_H
#define INSTALIB_EMBEDDED_STORE_JOURNAL_FILE_H

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/embedded/store/journal.h"

namespace embedded {

class JournalFile {
  public:
    static constexpr std::uint64_t kHeaderBytes = 4096;

    // What is fixed when the file is made. It stands twice in the header page, so that one of them can be damaged.
    struct Origin {
        char magic[8];
        std::uint64_t generation;  // higher than that of the file that this one replaced
        std::uint64_t snapshotEnd;
        std::uint64_t nextKey;
        std::uint64_t check;
    };
    // The page at the file's start. What stands between the copies is shared state.
    struct Header {
        Origin origin;
        std::uint64_t published;  // frames before this position are complete; see Marked
        std::uint64_t retired;    // 1 when the file has been, or is just being, replaced
        std::uint64_t writing;  // 1 while a frame is being appended; its writer died when it stays so without the lock
        BYTE unused[kHeaderBytes / 2 - sizeof(Origin) - 3 * sizeof(std::uint64_t)];
        Origin copy;
    };
    struct FrameHeader {
        std::uint32_t length;
        std::uint32_t bodyCheck;
        std::uint64_t time;
        std::uint32_t firstKey;     // low half of the identifier for the next new key when the frame was written
        std::uint32_t headerCheck;  // covers the frame's place too, so that bytes of elsewhere are no frame here
    };
    static_assert(sizeof(FrameHeader) == 24 && offsetof(Header, copy) == kHeaderBytes / 2);

    static bool IsSound(const Origin& origin);
    static std::uint32_t HeaderCheck(const FrameHeader& frame, std::uint64_t position, std::uint64_t generation);
    // A position in one word with its own check in the upper 16 bits: it is stored and read in one piece, and a
    // flipped bit in it is noticed.
    static std::uint64_t Marked(std::uint64_t position);
    // Nothing when the word is not marked as it should be.
    static std::optional<std::uint64_t> Unmarked(std::uint64_t word);

    // Opens a file of the folder; null when it does not exist.
    static std::unique_ptr<JournalFile> Open(int folder, const char* name);
    // Makes an empty file, replacing one of that name; null when the disk does not take it.
    static std::unique_ptr<JournalFile> Create(int folder, const char* name, std::uint64_t generation,
                                               std::uint64_t nextKey);
    ~JournalFile();

    std::uint64_t Generation() const { return m_header->origin.generation; }
    std::uint64_t SnapshotEnd() const { return m_header->origin.snapshotEnd; }
    std::uint64_t NextKey() const { return m_header->origin.nextKey; }
    // Throws DamagedStore when the counter was damaged.
    std::uint64_t Published() const;
    bool Retired() const { return Load(m_header->retired) != 0; }
    bool Writing() const { return Load(m_header->writing) != 0; }
    void SetPublished(std::uint64_t position) { Store(m_header->published, Marked(position)); }
    void SetRetired(bool retired) { Store(m_header->retired, retired); }
    void SetWriting(bool writing) { Store(m_header->writing, writing); }

    std::uint64_t Size() const;
    // Whether the name in the folder leads to another file by now.
    bool IsReplaced(int folder, const char* name) const;

    struct Frame {
        std::span<const BYTE> operations;  // until the next call
        std::uint64_t time = 0;
        std::uint32_t firstKey = 0;
        std::uint64_t end = 0;
    };
    // False when there is no whole and sound frame between this position and `end`.
    bool Read(std::uint64_t position, std::uint64_t end, Frame* frame);
    // Whether anything that looks like a frame begins behind the position.
    bool AnyFrameBehind(std::uint64_t position);
    // The position behind the frame, or 0 when the disk did not take it.
    std::uint64_t Write(std::uint64_t position, std::span<const BYTE> operations, std::uint64_t time,
                        std::uint64_t nextKey);
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
