#include "platform/embedded/store/salvage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>

#include "platform/embedded/store/file_lock.h"
#include "platform/embedded/store/journal_file.h"
#include "platform/embedded/store/keys.h"

namespace fs = std::filesystem;

namespace embedded {
namespace {

using Header = JournalFile::Header;
using FrameHeader = JournalFile::FrameHeader;

constexpr std::uint64_t kStart = JournalFile::kHeaderBytes;
// How many bytes may have been put in or taken out before a frame for it to be recognised.
constexpr std::uint64_t kFarthestShift = 16 * 1024;

struct Descriptor {
    int value = -1;
    ~Descriptor() {
        if (value >= 0) close(value);
    }
};

struct WholeFrame {
    FrameHeader header{};
    std::span<const BYTE> operations;
};

struct Range {
    std::uint64_t from, to;
};

// What a file was found to hold.
struct Findings {
    std::string problem;  // the first that opening would stumble over; empty: sound
    std::optional<JournalFile::Origin> origin;
    std::uint64_t published = 0;  // 0: not known
    std::vector<WholeFrame> frames;
    std::vector<Range> lost;     // bytes that belong to no whole frame
    std::uint64_t wholeEnd = 0;  // behind the last whole frame
};

class Examiner {
  public:
    explicit Examiner(std::span<const BYTE> bytes) : m_bytes(bytes) {}

    Findings Examine() {
        if (m_bytes.size() < kStart) {
            Blame("it is cut off in its header, at byte " + std::to_string(m_bytes.size()));
            return std::move(m_found);
        }
        ReadHeader();
        if (!m_found.origin) return std::move(m_found);
        ReadFrames();
        if (m_bytes.size() < m_found.published) {
            Blame("it ends at byte " + std::to_string(m_bytes.size()) + " of " + std::to_string(m_found.published));
        }
        return std::move(m_found);
    }

  private:
    void Blame(const std::string& problem) {
        if (m_found.problem.empty()) m_found.problem = problem;
    }

    void ReadHeader() {
        Header header;
        std::memcpy(&header, m_bytes.data(), sizeof header);
        for (const JournalFile::Origin* origin : {&header.origin, &header.copy}) {
            if (JournalFile::IsSound(*origin)) {
                if (!m_found.origin) m_found.origin = *origin;
            } else {
                Blame("its header is damaged");
            }
        }
        m_found.published = JournalFile::Unmarked(header.published).value_or(0);
        if (m_found.published < kStart) Blame("its header is damaged");
    }

    // The frames in their places; and behind a spoilt one all that can still be recognised.
    void ReadFrames() {
        std::uint64_t at = kStart;
        while (at < m_bytes.size()) {
            std::uint64_t next = at;
            while (next < m_bytes.size() && !TakeFrame(next)) ++next;
            if (next != at) {
                const bool tornEnd = next == m_bytes.size() && at >= m_found.published && m_found.published != 0;
                if (!tornEnd) {
                    Blame("it is damaged at byte " + std::to_string(at));
                    m_found.lost.push_back({at, next});
                }
            }
            if (next == m_bytes.size()) break;
            at = m_found.wholeEnd = next + sizeof(FrameHeader) + m_found.frames.back().operations.size();
            if (m_shift != 0) Blame("it is damaged at byte " + std::to_string(next));
        }
        // A frame across the end of what was published: its counter was spoilt.
        if (m_found.lost.empty() && m_found.published > m_found.wholeEnd) {
            Blame("it ends at byte " + std::to_string(m_bytes.size()) + " of " + std::to_string(m_found.published));
        }
    }

    bool TakeFrame(std::uint64_t at) {
        if (m_bytes.size() - at < sizeof(FrameHeader)) return false;
        WholeFrame frame;
        std::memcpy(&frame.header, m_bytes.data() + at, sizeof frame.header);
        const std::uint64_t room = m_bytes.size() - at - sizeof frame.header;
        if (frame.header.length == 0 || frame.header.length > room) return false;
        frame.operations = m_bytes.subspan(at + sizeof frame.header, frame.header.length);
        if (!IsAt(frame, at + m_shift)) {
            // Not where it was written, perhaps: its operations decide whether searching is worth while. Times are
            // those of a snapshot, or between the years 1829 and 2057.
            const bool possible = frame.header.time == 0 || frame.header.time >> 56 == 1;
            if (!possible || Checksum(frame.operations) != frame.header.bodyCheck || !FindShift(frame, at))
                return false;
        } else if (Checksum(frame.operations) != frame.header.bodyCheck) {
            return false;
        }
        m_found.frames.push_back(frame);
        return true;
    }

    bool IsAt(const WholeFrame& frame, std::uint64_t position) const {
        return frame.header.headerCheck == JournalFile::HeaderCheck(frame.header, position, m_found.origin->generation);
    }

    bool FindShift(const WholeFrame& frame, std::uint64_t at) {
        for (std::uint64_t shift = 0; shift <= kFarthestShift; ++shift) {
            for (const std::uint64_t tried : {shift, 0 - shift}) {
                if (!IsAt(frame, at + tried)) continue;
                m_shift = tried;
                return true;
            }
        }
        return false;
    }

    std::span<const BYTE> m_bytes;
    std::uint64_t m_shift = 0;  // what to add to a place to have the one where it was written; wraps around
    Findings m_found;
};

std::optional<Bytes> ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

std::string Counted(std::uint64_t count, const char* what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::string Describe(const Findings& found) {
    return Counted(found.frames.size(), "whole frame") + " up to byte " +
           std::to_string(std::max(found.wholeEnd, kStart));
}

// What the frames make of an empty tree. Returns how many changes led to lost keys.
std::size_t Replay(const Findings& found, StoreKeys& keys) {
    std::size_t left = 0;
    keys.Clear(found.origin->nextKey);
    for (const WholeFrame& frame : found.frames) {
        keys.SkipTo(frame.header.firstKey);
        left += keys.ApplyWhatFits(frame.operations, frame.header.time);
    }
    return left;
}

// "store.damaged", or the next such name that is free; empty when the file cannot be copied.
fs::path SaveBeside(const fs::path& file) {
    std::error_code error;
    for (int number = 1; number < 1000; ++number) {
        const fs::path saved = file.string() + ".damaged" + (number == 1 ? "" : '.' + std::to_string(number));
        if (fs::exists(saved, error)) continue;
        return fs::copy_file(file, saved, error) && !error ? saved : fs::path();
    }
    return {};
}

bool WriteNew(int folder, const StoreKeys& keys, std::uint64_t generation) {
    const auto file = JournalFile::Create(folder, kNewStoreName, generation, keys.NextId());
    if (!file) return false;
    std::uint64_t position = kStart;
    keys.Snapshot([&](std::span<const BYTE> operations) {
        if (position != 0) position = file->Write(position, operations, 0, keys.NextId());
    });
    if (position == 0) return false;
    file->Seal(position);
    return file->Flush();
}

// Tells the processes that have the old file open that it is being replaced; none of them opens it again.
void Retire(int folder) {
    const Descriptor file{openat(folder, kStoreName, O_RDWR | O_CLOEXEC)};
    const std::uint64_t retired = 1;
    if (file.value >= 0 && pwrite(file.value, &retired, sizeof retired, offsetof(Header, retired)) < 0) return;
}

}  // namespace

bool CheckStore(const fs::path& folder, std::vector<std::string>* lines) {
    const fs::path path = folder / kStoreName;
    const Descriptor lock{open((folder / kLockName).c_str(), O_RDWR | O_CLOEXEC)};
    std::optional<FileLock> locked;
    if (lock.value >= 0) locked.emplace(lock.value);
    const std::optional<Bytes> bytes = ReadFile(path);
    if (!bytes) {
        lines->push_back("the registry's file " + path.string() + " is missing");
        return false;
    }
    const Findings found = Examiner(*bytes).Examine();
    if (found.problem.empty()) {
        lines->push_back("the registry's file " + path.string() + " is sound: " + Describe(found));
        return true;
    }
    lines->push_back("the registry's file " + path.string() + " is damaged: " + found.problem);
    if (found.origin) lines->push_back("there are " + Describe(found));
    return false;
}

bool RepairStore(const fs::path& folder, std::vector<std::string>* lines) {
    const fs::path path = folder / kStoreName;
    const Descriptor directory{open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    const Descriptor lock{open((folder / kLockName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)};
    const std::optional<Bytes> bytes = ReadFile(path);
    if (directory.value < 0 || lock.value < 0 || !bytes) {
        lines->push_back("the registry's file " + path.string() + " is missing; nothing can be kept");
        return false;
    }
    const FileLock locked(lock.value);
    const std::optional<Bytes> current = ReadFile(path);  // as it is now that nobody else writes
    if (!current) {
        lines->push_back("the registry's file " + path.string() + " cannot be read; nothing was changed");
        return false;
    }
    const Findings found = Examiner(*current).Examine();
    if (found.problem.empty()) {
        lines->push_back("the registry's file " + path.string() + " is sound; nothing was changed");
        return true;
    }
    lines->push_back("the registry's file " + path.string() + " is damaged: " + found.problem);
    if (found.frames.empty()) {
        lines->push_back("no whole frame is left in it; nothing was changed");
        return false;
    }
    StoreKeys keys;
    const std::size_t left = Replay(found, keys);
    const fs::path saved = SaveBeside(path);
    // Two more: a process that has read the old file must read the new one from its beginning.
    if (saved.empty() || !WriteNew(directory.value, keys, found.origin->generation + 2)) {
        lines->push_back("the disk does not take a new file; nothing was changed");
        return false;
    }
    Retire(directory.value);
    if (renameat(directory.value, kNewStoreName, directory.value, kStoreName) != 0) {
        lines->push_back("the new file cannot take the old one's place");
        return false;
    }
    lines->push_back("saved the damaged file as " + saved.string());
    lines->push_back("kept " + Counted(found.frames.size(), "whole frame") + " with " + Counted(keys.Count(), "key"));
    for (const Range& range : found.lost) {
        lines->push_back("lost the bytes " + std::to_string(range.from) + " to " + std::to_string(range.to - 1));
    }
    if (current->size() < found.published) {
        lines->push_back("lost the bytes from " + std::to_string(current->size()) + " to " +
                         std::to_string(found.published - 1));
    }
    if (left != 0) lines->push_back("lost " + Counted(left, "change") + " of keys that are lost");
    return true;
}

}  // namespace embedded
