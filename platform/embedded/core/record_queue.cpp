#include "platform/embedded/core/record_queue.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <utility>

namespace embedded {
namespace {

using Length = std::uint32_t;

// Holds the file against every other writer and reader.
class Held {
  public:
    explicit Held(const LockedFile& file) : m_file(file) { file.Lock(LOCK_EX); }
    ~Held() { m_file.Lock(LOCK_UN); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

  private:
    const LockedFile& m_file;
};

std::string Content(const LockedFile& file) {
    struct stat info {};
    if (fstat(file.Get(), &info) != 0 || info.st_size <= 0) return {};
    std::string content(std::size_t(info.st_size), '\0');
    const ssize_t read = pread(file.Get(), content.data(), content.size(), 0);
    content.resize(read > 0 ? std::size_t(read) : 0);
    return content;
}

// The records that are whole, and how many bytes they take.
std::vector<std::string> Split(const std::string& content, std::size_t* whole) {
    std::vector<std::string> records;
    std::size_t at = 0;
    while (content.size() - at >= sizeof(Length)) {
        Length length = 0;
        std::memcpy(&length, content.data() + at, sizeof length);
        if (content.size() - at - sizeof length < length) break;
        records.emplace_back(content, at + sizeof length, length);
        at += sizeof length + length;
    }
    if (whole != nullptr) *whole = at;
    return records;
}

bool WriteAt(const LockedFile& file, const std::string& bytes, std::size_t at) {
    return pwrite(file.Get(), bytes.data(), bytes.size(), off_t(at)) == ssize_t(bytes.size()) &&
           ftruncate(file.Get(), off_t(at + bytes.size())) == 0;
}

std::string Framed(std::string_view record) {
    const Length length = Length(record.size());
    std::string framed(reinterpret_cast<const char*>(&length), sizeof length);
    return framed.append(record);
}

void Write(const LockedFile& file, const std::vector<std::string>& records) {
    std::string content;
    for (const std::string& record : records) content += Framed(record);
    WriteAt(file, content, 0);
}

}  // namespace

LockedFile::LockedFile(const std::filesystem::path& path, bool create)
    : m_descriptor(open(path.c_str(), O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0), 0600)) {}

LockedFile::~LockedFile() {
    if (m_descriptor >= 0) close(m_descriptor);
}

LockedFile::LockedFile(LockedFile&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

LockedFile& LockedFile::operator=(LockedFile&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

bool LockedFile::Lock(int operation) const {
    while (flock(m_descriptor, operation) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

std::string PortableName(std::string_view name) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string result;
    for (const char character : name) {
        const BYTE byte = BYTE(character);
        if (std::isalnum(byte) != 0)
            result += character;
        else
            result.append(1, '%').append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 15]);
    }
    return result;
}

bool RecordQueue::Append(const std::filesystem::path& path, std::string_view record, bool create) {
    const LockedFile file(path, create);
    if (!file.IsOpen()) return false;
    const Held held(file);
    std::size_t whole = 0;
    Split(Content(file), &whole);
    return WriteAt(file, Framed(record), whole);
}

std::vector<std::string> RecordQueue::Records() const {
    const Held held(m_file);
    return Split(Content(m_file), nullptr);
}

void RecordQueue::Remove(std::size_t index) const {
    const Held held(m_file);
    std::vector<std::string> records = Split(Content(m_file), nullptr);
    if (index >= records.size()) return;
    records.erase(records.begin() + std::ptrdiff_t(index));
    Write(m_file, records);
}

void RecordQueue::Replace(const std::vector<std::string>& records) const {
    const Held held(m_file);
    Write(m_file, records);
}

}  // namespace embedded
