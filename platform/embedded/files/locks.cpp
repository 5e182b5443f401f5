#include "platform/embedded/files/locks.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <string>

namespace embedded::files {
namespace {

// No file reaches this far, and a lock on it is seen by every process that opens the file through the machine. The
// order lets what is asked for most be set, and looked for, with one call each.
constexpr std::uint64_t kShareBase = 0x7FFFFFFFFFFFFF00u;
enum ShareByte : unsigned { kDeleteHeld, kReadDenied, kWriteDenied, kWhole, kReadHeld, kDeleteDenied, kWriteHeld };
constexpr unsigned kShareBytes = 7;

struct ShareRight {
    unsigned bit;
    ShareByte held, denied;
};
constexpr ShareRight kShareRights[] = {
    {kShareRead, kReadHeld, kReadDenied},
    {kShareWrite, kWriteHeld, kWriteDenied},
    {kShareDelete, kDeleteHeld, kDeleteDenied},
};

struct flock Record(short type, std::uint64_t offset, std::uint64_t length) {
    struct flock record {};
    record.l_type = type;
    record.l_whence = SEEK_SET;
    record.l_start = off_t(offset);
    record.l_len = off_t(length);
    return record;
}

bool Set(int descriptor, int command, short type, std::uint64_t offset, std::uint64_t length) {
    struct flock record = Record(type, offset, length);
    int result;
    do result = fcntl(descriptor, command, &record);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

bool IsHeldByOthers(int descriptor, std::uint64_t offset, std::uint64_t length) {
    struct flock record = Record(F_WRLCK, offset, length);
    return fcntl(descriptor, F_OFD_GETLK, &record) == 0 && record.l_type != F_UNLCK;
}

// The part of a range that lies before the machine's own bytes; nothing (length 0) may be left of it.
std::uint64_t Clipped(std::uint64_t offset, std::uint64_t length) {
    return offset >= kShareBase ? 0 : std::min(length, kShareBase - offset);
}

}  // namespace

FileLocks::~FileLocks() {
    if (m_ranges >= 0) close(m_ranges);
}

bool FileLocks::Share(unsigned wanted, unsigned allowed) {
    if (wanted == 0) return true;
    unsigned own = 0, others = 0;  // a bit for each byte: what this handle sets, what no other may have set
    for (const ShareRight& right : kShareRights) {
        if ((wanted & right.bit) != 0) own |= 1u << right.held, others |= 1u << right.denied;
        if ((allowed & right.bit) == 0) own |= 1u << right.denied, others |= 1u << right.held;
    }
    // First set, then looked: of two that open at the same time at least one sees the other.
    for (unsigned first = 0, last = 0; first < kShareBytes; first = last + 1) {
        for (last = first; (own >> last & 1) != 0; ++last) {
        }
        if (last > first) Set(m_descriptor, F_OFD_SETLK, F_RDLCK, kShareBase + first, last - first);
    }
    const unsigned lowest = unsigned(std::countr_zero(others)), end = unsigned(std::bit_width(others));
    if (!IsHeldByOthers(m_descriptor, kShareBase + lowest, end - lowest)) return true;
    for (unsigned byte = lowest; byte < end; ++byte) {
        if ((others >> byte & 1) != 0 && IsHeldByOthers(m_descriptor, kShareBase + byte, 1)) return false;
    }
    return true;
}

bool FileLocks::ShareWholeRead() {
    static_assert(kReadHeld == kWhole + 1 && kDeleteDenied == kWhole + 2 && kReadDenied == kDeleteHeld + 1);
    m_holdsWholeRead = Set(m_descriptor, F_OFD_SETLKW, F_RDLCK, kShareBase + kWhole, 3) &&
                       !IsHeldByOthers(m_descriptor, 0, kShareBase + kReadDenied + 1);
    return m_holdsWholeRead;
}

int FileLocks::RangeDescriptor() {
    if (m_isWritable) return m_descriptor;
    // A range is locked exclusively, which the host grants to descriptions open for writing only. Opened when first
    // needed: a program that somebody has open for writing could not be started.
    if (m_ranges < 0) {
        m_ranges = open(("/proc/self/fd/" + std::to_string(m_descriptor)).c_str(), O_RDWR | O_CLOEXEC);
    }
    return m_ranges;
}

DWORD FileLocks::Lock(std::uint64_t offset, std::uint64_t length) {
    const bool overlaps = std::any_of(m_locked.begin(), m_locked.end(), [&](const Range& range) {
        return offset < range.offset + range.length && range.offset < offset + length;
    });
    if (overlaps) return ERROR_LOCK_VIOLATION;
    const std::uint64_t clipped = Clipped(offset, length);
    if (clipped != 0) {
        const int descriptor = RangeDescriptor();
        if (descriptor < 0) return ERROR_ACCESS_DENIED;
        if (!Set(descriptor, F_OFD_SETLK, F_WRLCK, offset, clipped)) return ERROR_LOCK_VIOLATION;
    }
    m_locked.push_back({offset, length});
    return 0;
}

DWORD FileLocks::Unlock(std::uint64_t offset, std::uint64_t length) {
    const auto found = std::find_if(m_locked.begin(), m_locked.end(), [&](const Range& range) {
        return range.offset == offset && range.length == length;
    });
    if (found == m_locked.end()) return ERROR_NOT_LOCKED;
    m_locked.erase(found);
    const std::uint64_t clipped = Clipped(offset, length);
    if (clipped != 0) Set(RangeDescriptor(), F_OFD_SETLK, F_UNLCK, offset, clipped);
    return 0;
}

bool FileLocks::Covers(std::uint64_t offset, std::uint64_t length) const {
    return std::any_of(m_locked.begin(), m_locked.end(), [&](const Range& range) {
        return range.offset <= offset && offset + length <= range.offset + range.length;
    });
}

bool FileLocks::IsLockedByOthers(std::uint64_t offset, std::uint64_t length) const {
    const std::uint64_t clipped = Clipped(offset, length);
    return clipped != 0 && !Covers(offset, clipped) &&
           IsHeldByOthers(m_ranges >= 0 ? m_ranges : m_descriptor, offset, clipped);
}

bool FileLocks::HoldWhole(bool forWriting) {
    return Set(m_descriptor, F_OFD_SETLKW, short(forWriting ? F_WRLCK : F_RDLCK), kShareBase + kWhole, 1);
}

}  // namespace embedded::files
