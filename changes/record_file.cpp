#include "changes/record_file.h"

#include <cstring>

#include "changes/bytes.h"
#include "changes/checksum.h"
#include "changes/descriptors.h"

namespace changes {
namespace {

constexpr char kMagic[] = "INSTALIB RECORD\r\n";
constexpr std::size_t kMagicSize = sizeof kMagic - 1;
constexpr std::size_t kFrameHead = 12;
constexpr DWORD kLongest = 64u << 20;  // bytes of one frame
constexpr DWORD kSecret = 1, kUnreadable = 2, kIntended = 4;

DWORD ReadWhole(HANDLE file, std::string& bytes) {
    char buffer[16384];
    for (DWORD read = 0;; bytes.append(buffer, read)) {
        if (!ReadFile(file, buffer, sizeof buffer, &read, nullptr)) return GetLastError();
        if (read == 0) return 0;
    }
}

bool IsZero(std::string_view bytes) { return bytes.find_first_not_of('\0') == bytes.npos; }

void ReadBefore(Reader& reader, Record& record) {
    Change change;
    change.stage = record.marks.size();
    for (DWORD count = reader.Number(); count > 0 && reader.Good(); --count) {
        Step step;
        step.object.kind = Kind(reader.Number());
        const DWORD flags = reader.Number();
        step.object.name = reader.Text();
        step.object.part = reader.Text();
        step.before = reader.Text();
        step.intended = reader.Text();
        step.object.secret = (flags & kSecret) != 0;
        step.unreadable = (flags & kUnreadable) != 0;
        step.hasIntended = (flags & kIntended) != 0;
        change.steps.push_back(std::move(step));
    }
    record.changes.push_back(std::move(change));
}

bool ReadAfter(Reader& reader, Record& record) {
    if (record.changes.empty() || record.changes.back().finished) return false;
    Change& change = record.changes.back();
    change.error = reader.Number();
    for (Step& step : change.steps) {
        const DWORD known = reader.Number();
        step.afterKnown = known != 0;
        step.after = known == 2 ? step.before : reader.Text();
    }
    change.finished = true;
    return true;
}

bool ReadHead(Reader& reader, Record& record, DWORD& version) {
    version = reader.Number();
    record.machine = reader.Text();
    record.id = reader.Text();
    return true;
}

// False when the content is none of ours.
bool Take(std::string_view content, Record& record, bool first, DWORD& version) {
    if (content.empty() || (content[0] == 'H') != first) return false;
    Reader reader(content.substr(1));
    bool good = true;
    switch (content[0]) {
        case 'H':
            good = ReadHead(reader, record, version);
            break;
        case 'B':
            ReadBefore(reader, record);
            break;
        case 'A':
            good = ReadAfter(reader, record);
            break;
        case 'M':
            record.marks.push_back(reader.Text());
            break;
        case 'U': {
            const DWORD number = reader.Number();
            good = number < record.changes.size();
            if (good) record.changes[number].undone = true;
            break;
        }
        case 'E': {
            const DWORD status = reader.Number();
            good = status <= DWORD(Status::RolledBack);
            record.status = Status(status);
            break;
        }
        default:
            good = false;
    }
    return good && reader.Complete();
}

struct Parsed {
    DWORD error = 0;
    std::size_t end = 0;  // behind the last whole frame
    DWORD sum = 0;
};

Parsed ParseFrames(std::string_view bytes, Record& record) {
    Parsed parsed;
    parsed.error = ERROR_INVALID_DATA;
    DWORD version = 0;
    if (!bytes.starts_with(kMagic)) return parsed;
    parsed.end = kMagicSize;
    while (bytes.size() - parsed.end >= kFrameHead) {
        const std::string_view rest = bytes.substr(parsed.end);
        Reader head(rest.substr(0, kFrameHead));
        const DWORD length = head.Number(), sum = head.Number(), headSum = head.Number();
        // A tail of zeros is what a power cut leaves of a write that had only lengthened the file.
        if (Checksum(rest.substr(0, 8), parsed.sum) != headSum) {
            if (IsZero(rest)) break;
            return parsed;
        }
        if (length > kLongest) return parsed;
        if (rest.size() - kFrameHead < length) break;
        const std::string_view content = rest.substr(kFrameHead, length);
        if (Checksum(content, parsed.sum) != sum) {
            if (rest.size() - kFrameHead == length) break;
            return parsed;
        }
        if (!Take(content, record, parsed.end == kMagicSize, version)) return parsed;
        if (version != kRecordVersion) {
            parsed.error = ERROR_REVISION_MISMATCH;
            return parsed;
        }
        parsed.sum = sum;
        parsed.end += kFrameHead + length;
    }
    if (version == 0) return parsed;
    parsed.error = EqualNoCase(record.machine, ThisMachine()) ? 0 : kWrongMachine;
    return parsed;
}

}  // namespace

std::string ThisMachine() {
    char name[MAX_COMPUTERNAME_LENGTH + 1] = "";
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) ? std::string(name, size) : std::string();
}

DWORD RecordFile::OpenForAppending(const std::string& path) {
    m_file.Reset(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH, nullptr));
    if (m_file && SetFilePointer(m_file.Get(), 0, nullptr, FILE_END) != INVALID_SET_FILE_POINTER) return 0;
    const DWORD error = GetLastError();
    m_file.Reset();
    return error;
}

DWORD RecordFile::Create(const std::string& path, const Record& head) {
    const PSECURITY_DESCRIPTOR security = descriptors::ForAdministrators();
    if (security == nullptr) return GetLastError();
    SECURITY_ATTRIBUTES attributes{sizeof attributes, security, FALSE};
    m_queue.clear();
    m_sum = 0;
    m_path = path;
    // Under its own name only when it is whole: whatever ends the process, a file of that name is a record.
    const std::string beside = path + ".new";
    m_file.Reset(CreateFileA(beside.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, &attributes, CREATE_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH, nullptr));
    DWORD error = m_file ? 0 : GetLastError();
    if (error != 0) return error;
    if (!::SetFileSecurityA(beside.c_str(), DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, security))
        error = GetLastError();
    m_queue = kMagic;
    Queue('H' + Writer().Number(kRecordVersion).Text(head.machine).Text(head.id).Bytes());
    if (error == 0) error = Write();
    if (error == 0) error = Flush();
    m_file.Reset();
    if (error == 0 && !::MoveFileA(beside.c_str(), path.c_str()))
        error = GetLastError() == ERROR_ALREADY_EXISTS ? DWORD(ERROR_FILE_EXISTS) : GetLastError();
    if (error == 0) error = OpenForAppending(path);
    if (error == 0) return 0;
    ::DeleteFileA(beside.c_str());
    return error;
}

DWORD RecordFile::Read(const std::string& path, Record& record) {
    const FileHandle file(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    std::string bytes;
    if (!file) return GetLastError();
    const DWORD error = ReadWhole(file.Get(), bytes);
    return error != 0 ? error : ParseFrames(bytes, record).error;
}

DWORD RecordFile::Parse(std::string_view bytes, Record& record) { return ParseFrames(bytes, record).error; }

DWORD RecordFile::Open(const std::string& path, Record& record) {
    FileHandle file(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH, nullptr));
    std::string bytes;
    if (!file) return GetLastError();
    if (const DWORD error = ReadWhole(file.Get(), bytes)) return error;
    const Parsed parsed = ParseFrames(bytes, record);
    if (parsed.error != 0) return parsed.error;
    if (SetFilePointer(file.Get(), LONG(parsed.end), nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER ||
        (parsed.end != bytes.size() && !SetEndOfFile(file.Get()))) {
        return GetLastError();
    }
    m_file = std::move(file);
    m_path = path;
    m_queue.clear();
    m_sum = parsed.sum;
    return 0;
}

void RecordFile::Close() {
    if (m_file && !m_queue.empty()) Write();
    m_file.Reset();
}

DWORD RecordFile::Before(const Change& change) {
    Writer writer;
    writer.Number(DWORD(change.steps.size()));
    for (const Step& step : change.steps) {
        const DWORD flags = (step.object.secret ? kSecret : 0u) | (step.unreadable ? kUnreadable : 0u) |
                            (step.hasIntended ? kIntended : 0u);
        writer.Number(DWORD(step.object.kind)).Number(flags).Text(step.object.name).Text(step.object.part);
        writer.Text(step.before).Text(step.intended);
    }
    return Append('B' + writer.Bytes());
}

void RecordFile::QueueAfter(const Change& change) {
    Writer writer;
    writer.Number(change.error);
    for (const Step& step : change.steps) {
        const DWORD known = !step.afterKnown ? 0 : step.Changes() ? 1 : 2;
        writer.Number(known);
        if (known != 2) writer.Text(step.after);
    }
    Queue('A' + writer.Bytes());
}

DWORD RecordFile::Mark(const std::string& text) {
    const DWORD error = Append('M' + Writer().Text(text).Bytes());
    return error != 0 ? error : Flush();
}

void RecordFile::QueueUndone(std::size_t change) { Queue('U' + Writer().Number(DWORD(change)).Bytes()); }

DWORD RecordFile::End(Status status) {
    const DWORD error = Append('E' + Writer().Number(DWORD(status)).Bytes());
    return error != 0 ? error : Flush();
}

void RecordFile::Queue(const std::string& content) {
    const DWORD sum = Checksum(content, m_sum);
    const std::string start = Writer().Number(DWORD(content.size())).Number(sum).Bytes();
    m_queue += start + Writer().Number(Checksum(start, m_sum)).Bytes() + content;
    m_sum = sum;
}

// A frame that could not be written is forgotten; the queued ones before it go out with the next.
DWORD RecordFile::Append(const std::string& content) {
    const std::size_t queued = m_queue.size();
    const DWORD sum = m_sum;
    Queue(content);
    const DWORD error = Write();
    if (error != 0) {
        m_queue.resize(queued);
        m_sum = sum;
    }
    return error;
}

// What a failed write left is cut off again and stays in the queue.
DWORD RecordFile::Write() {
    const DWORD start = SetFilePointer(m_file.Get(), 0, nullptr, FILE_CURRENT);
    if (start == INVALID_SET_FILE_POINTER) return GetLastError();
    DWORD written = 0;
    const BOOL done = WriteFile(m_file.Get(), m_queue.data(), DWORD(m_queue.size()), &written, nullptr);
    const DWORD error = done ? (written == m_queue.size() ? 0 : DWORD(ERROR_DISK_FULL)) : GetLastError();
    if (error == 0) {
        m_queue.clear();
        return 0;
    }
    SetFilePointer(m_file.Get(), LONG(start), nullptr, FILE_BEGIN);
    SetEndOfFile(m_file.Get());
    return error;
}

DWORD RecordFile::Flush() { return FlushFileBuffers(m_file.Get()) ? 0 : GetLastError(); }

}  // namespace changes
