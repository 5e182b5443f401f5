#include "platform/embedded/store/journal_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace embedded {
namespace {

constexpr char kMagic[8] = {'I', 'N', 'S', 'T', 'R', 'E', 'G', '2'};
constexpr std::uint64_t kPositionBits = (std::uint64_t(1) << 48) - 1;
constexpr std::size_t kReadAhead = 256 * 1024;

std::span<const BYTE> AsBytes(const void* data, std::size_t size) { return {static_cast<const BYTE*>(data), size}; }

std::uint64_t OriginCheck(const JournalFile::Origin& origin) {
    return Checksum(AsBytes(&origin, offsetof(JournalFile::Origin, check)));
}

bool ReadAll(int descriptor, BYTE* data, std::size_t size, std::uint64_t position) {
    while (size > 0) {
        const ssize_t got = pread(descriptor, data, size, off_t(position));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        data += got;
        size -= std::size_t(got);
        position += std::uint64_t(got);
    }
    return true;
}

bool WriteAll(int descriptor, const BYTE* data, std::size_t size, std::uint64_t position) {
    while (size > 0) {
        const ssize_t put = pwrite(descriptor, data, size, off_t(position));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        data += put;
        size -= std::size_t(put);
        position += std::uint64_t(put);
    }
    return true;
}

}  // namespace

std::uint32_t Checksum(std::span<const BYTE> bytes, std::uint32_t seed) {
    static const std::array<std::uint32_t, 256> table = [] {
        std::array<std::uint32_t, 256> made{};
        for (std::uint32_t i = 0; i < 256; ++i) {
            std::uint32_t value = i;
            for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320u : 0u);
            made[i] = value;
        }
        return made;
    }();
    std::uint32_t value = ~seed;
    for (const BYTE byte : bytes) value = (value >> 8) ^ table[(value ^ byte) & 0xFF];
    return ~value;
}

bool JournalFile::IsSound(const Origin& origin) {
    return std::memcmp(origin.magic, kMagic, sizeof kMagic) == 0 && origin.check == OriginCheck(origin) &&
           origin.snapshotEnd >= kHeaderBytes;
}

std::uint32_t JournalFile::HeaderCheck(const FrameHeader& frame, std::uint64_t position, std::uint64_t generation) {
    std::uint32_t check = Checksum(AsBytes(&frame, offsetof(FrameHeader, headerCheck)));
    check = Checksum(AsBytes(&position, sizeof position), check);
    return Checksum(AsBytes(&generation, sizeof generation), check);
}

std::uint64_t JournalFile::Marked(std::uint64_t position) {
    const std::uint64_t mark = ~position * 0x9E3779B97F4A7C15u;
    return (position & kPositionBits) | (mark & ~kPositionBits);
}

std::optional<std::uint64_t> JournalFile::Unmarked(std::uint64_t word) {
    const std::uint64_t position = word & kPositionBits;
    return word == Marked(position) ? std::optional(position) : std::nullopt;
}

std::unique_ptr<JournalFile> JournalFile::Open(int folder, const char* name) {
    const int descriptor = openat(folder, name, O_RDWR | O_CLOEXEC);
    if (descriptor < 0) {
        if (errno == ENOENT) return nullptr;
        throw std::runtime_error(std::string("the registry's file cannot be opened: ") + std::strerror(errno));
    }
    std::unique_ptr<JournalFile> file(new JournalFile(descriptor));
    if (file->Size() < kHeaderBytes || !file->Map()) throw DamagedStore("it is cut off in its header");
    file->CheckHeader();
    return file;
}

std::unique_ptr<JournalFile> JournalFile::Create(int folder, const char* name, std::uint64_t generation,
                                                 std::uint64_t nextKey) {
    // A file left by a fold that was cut off must not be written through: another process may still have it open.
    unlinkat(folder, name, 0);
    const int descriptor = openat(folder, name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) return nullptr;
    std::unique_ptr<JournalFile> file(new JournalFile(descriptor));
    if (!file->Truncate(kHeaderBytes) || !file->Map()) return nullptr;
    Origin& origin = file->m_header->origin;
    std::memcpy(origin.magic, kMagic, sizeof kMagic);
    origin.generation = generation;
    origin.nextKey = nextKey;
    file->Seal(kHeaderBytes);
    return file;
}

JournalFile::~JournalFile() {
    if (m_header != nullptr) munmap(m_header, kHeaderBytes);
    close(m_descriptor);
}

bool JournalFile::Map() {
    void* const page = mmap(nullptr, kHeaderBytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_descriptor, 0);
    if (page == MAP_FAILED) return false;
    m_header = static_cast<Header*>(page);
    return true;
}

void JournalFile::CheckHeader() const {
    const Header& header = *m_header;
    if (!IsSound(header.origin) || std::memcmp(&header.origin, &header.copy, sizeof header.origin) != 0) {
        throw DamagedStore("its header is damaged");
    }
}

void JournalFile::Seal(std::uint64_t position) {
    m_header->origin.snapshotEnd = position;
    m_header->origin.check = OriginCheck(m_header->origin);
    m_header->copy = m_header->origin;
    SetPublished(position);
}

std::uint64_t JournalFile::Published() const {
    const std::optional<std::uint64_t> position = Unmarked(Load(m_header->published));
    if (!position) throw DamagedStore("its header is damaged");
    return *position;
}

std::uint64_t JournalFile::Size() const {
    struct stat status {};
    return fstat(m_descriptor, &status) == 0 ? std::uint64_t(status.st_size) : 0;
}

bool JournalFile::IsReplaced(int folder, const char* name) const {
    struct stat mine {};
    struct stat current {};
    if (fstat(m_descriptor, &mine) != 0 || fstatat(folder, name, &current, 0) != 0) return false;
    return mine.st_ino != current.st_ino || mine.st_dev != current.st_dev;
}

const BYTE* JournalFile::Buffered(std::uint64_t position, std::size_t bytes, std::uint64_t end) {
    if (bytes > end - position) return nullptr;
    const bool inside = position >= m_bufferStart && position + bytes <= m_bufferStart + m_buffer.size();
    if (!inside) {
        m_buffer.resize(std::max<std::size_t>(bytes, std::size_t(std::min<std::uint64_t>(kReadAhead, end - position))));
        m_bufferStart = position;
        if (!ReadAll(m_descriptor, m_buffer.data(), m_buffer.size(), position)) {
            m_buffer.clear();
            return nullptr;
        }
    }
    return m_buffer.data() + (position - m_bufferStart);
}

bool JournalFile::Read(std::uint64_t position, std::uint64_t end, Frame* frame) {
    if (end < position) return false;
    const BYTE* data = Buffered(position, sizeof(FrameHeader), end);
    if (data == nullptr) return false;
    FrameHeader header;
    std::memcpy(&header, data, sizeof header);
    if (header.length == 0 || header.headerCheck != HeaderCheck(header, position, Generation())) return false;
    data = Buffered(position, sizeof header + header.length, end);
    if (data == nullptr) return false;
    frame->operations = {data + sizeof header, header.length};
    frame->time = header.time;
    frame->firstKey = header.firstKey;
    frame->end = position + sizeof header + header.length;
    return Checksum(frame->operations) == header.bodyCheck;
}

bool JournalFile::AnyFrameBehind(std::uint64_t position) {
    const std::uint64_t end = Size();
    for (std::uint64_t at = position + 1; at + sizeof(FrameHeader) <= end; ++at) {
        const BYTE* const data = Buffered(at, sizeof(FrameHeader), end);
        if (data == nullptr) return false;
        FrameHeader header;
        std::memcpy(&header, data, sizeof header);
        if (header.length != 0 && header.headerCheck == HeaderCheck(header, at, Generation())) return true;
    }
    return false;
}

std::uint64_t JournalFile::Write(std::uint64_t position, std::span<const BYTE> operations, std::uint64_t time,
                                 std::uint64_t nextKey) {
    if (operations.size() > UINT32_MAX - sizeof(FrameHeader)) return 0;
    FrameHeader header{};
    header.length = std::uint32_t(operations.size());
    header.bodyCheck = Checksum(operations);
    header.time = time;
    header.firstKey = std::uint32_t(nextKey);
    header.headerCheck = HeaderCheck(header, position, Generation());
    const std::span<const BYTE> head = AsBytes(&header, sizeof header);
    m_frame.assign(head.begin(), head.end());
    m_frame.insert(m_frame.end(), operations.begin(), operations.end());
    if (WriteAll(m_descriptor, m_frame.data(), m_frame.size(), position)) return position + m_frame.size();
    Truncate(position);
    return 0;
}

bool JournalFile::Truncate(std::uint64_t size) {
    // Only bytes that were never published are cut, but they may have been read ahead.
    m_buffer.clear();
    return ftruncate(m_descriptor, off_t(size)) == 0;
}

bool JournalFile::Flush() { return fdatasync(m_descriptor) == 0; }

}  // namespace embedded
