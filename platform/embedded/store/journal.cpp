#include "platform/embedded/store/journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/embedded/store/journal_file.h"

namespace embedded {
namespace {

constexpr const char* kName = "store";
constexpr const char* kNewName = "store.new";
constexpr const char* kLockName = "lock";
constexpr std::uint64_t kFirstKey = 2;  // 1 is the tree's root
// A fold costs as much as the snapshot is long. Waiting until the changes are that long again, and more, spreads its
// cost over so many changes that each pays a constant part of it.
constexpr std::uint64_t kSmallestFold = 4 * 1024 * 1024;

bool SetLock(int descriptor, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    while (fcntl(descriptor, F_SETLKW, &lock) != 0) {
        // The system takes crossing waits of different threads for a deadlock; they come undone by themselves.
        if (errno == EDEADLK)
            usleep(1000);
        else if (errno != EINTR)
            return false;
    }
    return true;
}

// The lock alone, for the moments when the file cannot be caught up with yet.
class FileLock {
  public:
    explicit FileLock(int descriptor) : m_descriptor(descriptor) {
        if (!SetLock(m_descriptor, F_WRLCK)) {
            throw std::runtime_error(std::string("the registry cannot be locked: ") + std::strerror(errno));
        }
    }
    ~FileLock() { SetLock(m_descriptor, F_UNLCK); }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

  private:
    int m_descriptor;
};

}  // namespace

Journal::Journal(int folder, JournalReader& reader) : m_folder(folder), m_reader(reader) {
    m_lock = openat(folder, kLockName, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (m_lock < 0) throw std::runtime_error(std::string("the registry cannot be locked: ") + std::strerror(errno));
    try {
        if (OpenExisting() && ReadClean()) return;
        const FileLock lock(m_lock);
        if ((!m_file || IsReplaced()) && !OpenExisting()) MakeFirst();
        Recover();
    } catch (...) {
        close(m_lock);
        throw;
    }
}

Journal::~Journal() {
    close(m_lock);
    close(m_folder);
}

bool Journal::OpenExisting() {
    m_file = JournalFile::Open(m_folder, kName);
    if (m_file) StartOver();
    return m_file != nullptr;
}

void Journal::MakeFirst() {
    m_file = JournalFile::Create(m_folder, kNewName, 1, kFirstKey);
    if (!m_file || renameat(m_folder, kNewName, m_folder, kName) != 0) {
        throw std::runtime_error(std::string("the registry cannot be made: ") + std::strerror(errno));
    }
    StartOver();
}

void Journal::StartOver() {
    m_reader.Restart(m_file->NextKey());
    m_position = JournalFile::kHeaderBytes;
}

// A file that was closed in order is read without the lock, beside its writers. False when it needs a closer look.
bool Journal::ReadClean() {
    if (m_file->Writing() || m_file->Published() > m_file->Size()) return false;
    return ReadTo(m_file->Published()) && m_position >= m_file->SnapshotEnd() && m_position == m_file->Size();
}

bool Journal::IsReplaced() const { return m_file->IsReplaced(m_folder, kName); }

// With the lock: whatever an earlier writer left is either a whole frame, which counts, or the torn end of one.
void Journal::Recover() {
    if (ReadTo(m_file->Size())) {
        m_file->SetPublished(m_position);
    } else {
        if (m_position < m_file->SnapshotEnd() || m_file->AnyFrameBehind(m_position)) {
            throw DamagedStore("the registry's file is damaged at byte " + std::to_string(m_position));
        }
        m_file->SetPublished(m_position);
        m_file->Truncate(m_position);
    }
    m_file->SetWriting(false);
}

bool Journal::ReadTo(std::uint64_t end) {
    JournalFile::Frame frame;
    while (m_position < end) {
        if (!m_file->Read(m_position, end, &frame)) return false;
        m_reader.Apply(frame.operations, frame.time);
        m_position = frame.end;
    }
    return true;
}

void Journal::SwitchToCurrent() {
    const std::uint64_t generation = m_file->Generation();
    std::unique_ptr<JournalFile> next = JournalFile::Open(m_folder, kName);
    if (!next) throw DamagedStore("the registry's file has gone");
    m_file = std::move(next);
    if (m_file->Generation() == generation + 1) {
        m_position = m_file->SnapshotEnd();  // the snapshot is what the reader has already
        return;
    }
    StartOver();
}

void Journal::CatchUp() {
    for (;;) {
        // Asked before the position: a retired file gets no more frames, so all of it is read before it is left.
        const bool replaced = m_file->Retired() && IsReplaced();
        const std::uint64_t published = m_file->Published();
        if (published < m_position) StartOver();
        if (!ReadTo(published)) {
            throw DamagedStore("the registry's file was damaged at byte " + std::to_string(m_position));
        }
        if (!replaced) return;
        SwitchToCurrent();
    }
}

void Journal::LockFile() {
    if (!SetLock(m_lock, F_WRLCK)) {
        throw std::runtime_error(std::string("the registry cannot be locked: ") + std::strerror(errno));
    }
    try {
        CatchUp();
        if (m_file->Retired()) m_file->SetRetired(false);  // a fold was cut off before its file took this one's place
        if (m_file->Writing()) Recover();
    } catch (...) {
        UnlockFile();
        throw;
    }
}

void Journal::UnlockFile() { SetLock(m_lock, F_UNLCK); }

bool Journal::Append(std::span<const BYTE> operations, std::uint64_t time) {
    m_file->SetWriting(true);
    const std::uint64_t end = m_file->Write(m_position, operations, time);
    if (end != 0) {
        m_file->SetPublished(end);
        m_position = end;
    }
    m_file->SetWriting(false);
    return end != 0;
}

void Journal::Reread() {
    StartOver();
    if (!ReadTo(m_file->Published())) throw DamagedStore("the registry's file was damaged meanwhile");
}

bool Journal::WantsFolding() const {
    const std::uint64_t snapshot = m_file->SnapshotEnd();
    return m_position - snapshot > kSmallestFold + snapshot;
}

void Journal::Fold(std::uint64_t nextKey, const std::function<void(const Sink&)>& produce) {
    std::unique_ptr<JournalFile> next = JournalFile::Create(m_folder, kNewName, m_file->Generation() + 1, nextKey);
    if (!next) return;
    std::uint64_t position = JournalFile::kHeaderBytes;
    produce([&](std::span<const BYTE> operations) {
        if (position != 0) position = next->Write(position, operations, 0);
    });
    if (position == 0) return;
    next->Seal(position);
    if (!next->Flush()) return;
    m_file->SetRetired(true);
    if (renameat(m_folder, kNewName, m_folder, kName) != 0) {
        m_file->SetRetired(false);
        return;
    }
    m_file = std::move(next);
    m_position = position;
}

bool Journal::Flush() { return m_file->Flush(); }

}  // namespace embedded
