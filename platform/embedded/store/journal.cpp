#include "platform/embedded/store/journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/embedded/store/file_lock.h"
#include "platform/embedded/store/journal_file.h"

namespace embedded {
namespace {

constexpr std::uint64_t kFirstKey = 2;  // 1 is the tree's root
// A fold costs as much as the snapshot is long. Waiting until the changes are that long again, and more, spreads its
// cost over so many changes that each pays a constant part of it.
constexpr std::uint64_t kSmallestFold = 4 * 1024 * 1024;

}  // namespace

Journal::Journal(int folder, bool make, JournalReader& reader) : m_folder(folder), m_reader(reader) {
    m_lock = openat(folder, kLockName, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (m_lock < 0) throw std::runtime_error(std::string("the registry cannot be locked: ") + std::strerror(errno));
    try {
        if (OpenExisting() && ReadClean()) return;
        const FileLock lock(m_lock);
        if ((!m_file || IsReplaced()) && !OpenExisting()) {
            if (!make) throw DamagedStore("it is missing");
            MakeFirst();
        }
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
    m_file = JournalFile::Open(m_folder, kStoreName);
    if (m_file) StartOver();
    return m_file != nullptr;
}

void Journal::MakeFirst() {
    m_file = JournalFile::Create(m_folder, kNewStoreName, 1, kFirstKey);
    if (!m_file || renameat(m_folder, kNewStoreName, m_folder, kStoreName) != 0) {
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

bool Journal::IsReplaced() const { return m_file->IsReplaced(m_folder, kStoreName); }

void Journal::CheckLength(std::uint64_t published) const {
    const std::uint64_t size = m_file->Size();
    if (size >= published) return;
    throw DamagedStore("it ends at byte " + std::to_string(size) + " of " + std::to_string(published));
}

// With the lock: all that was published has to be there. What an earlier writer left behind that is either a whole
// frame, which counts, or the torn end of one. Nothing is changed before it is certain that nothing is lost.
void Journal::Recover() {
    const std::uint64_t published = m_file->Published();
    CheckLength(published);
    if (published < m_file->SnapshotEnd()) throw DamagedStore("its header is damaged");
    const auto damaged = [this] { return DamagedStore("it is damaged at byte " + std::to_string(m_position)); };
    if (!ReadTo(published)) throw damaged();
    if (!ReadTo(m_file->Size())) {
        if (m_file->AnyFrameBehind(m_position)) throw damaged();
        m_file->Truncate(m_position);
    }
    m_file->SetPublished(m_position);
    m_file->SetWriting(false);
}

bool Journal::ReadTo(std::uint64_t end) {
    JournalFile::Frame frame;
    while (m_position < end) {
        if (!m_file->Read(m_position, end, &frame)) return false;
        m_reader.Apply(frame.operations, frame.time, frame.firstKey);
        m_position = frame.end;
    }
    return true;
}

void Journal::SwitchToCurrent() {
    const std::uint64_t generation = m_file->Generation();
    std::unique_ptr<JournalFile> next = JournalFile::Open(m_folder, kStoreName);
    if (!next) throw DamagedStore("it is missing");
    m_file = std::move(next);
    if (m_file->Generation() == generation + 1) {
        m_position = m_file->SnapshotEnd();  // the snapshot is what the reader has already
        return;
    }
    StartOver();
}

void Journal::CatchUp() {
    for (;;) {
        CheckLength(std::max(m_position, JournalFile::kHeaderBytes));  // before the mapped page is touched
        // Asked before the position: a retired file gets no more frames, so all of it is read before it is left.
        const bool replaced = m_file->Retired() && IsReplaced();
        const std::uint64_t published = m_file->Published();
        // It never goes back: what was read is what was published.
        if (published < m_position) throw DamagedStore("its header is damaged");
        if (!ReadTo(published)) throw DamagedStore("it is damaged at byte " + std::to_string(m_position));
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

bool Journal::Append(std::span<const BYTE> operations, std::uint64_t time, std::uint64_t nextKey) {
    m_file->SetWriting(true);
    const std::uint64_t end = m_file->Write(m_position, operations, time, nextKey);
    if (end != 0) {
        m_file->SetPublished(end);
        m_position = end;
    }
    m_file->SetWriting(false);
    return end != 0;
}

void Journal::Reread() {
    StartOver();
    if (!ReadTo(m_file->Published())) throw DamagedStore("it is damaged at byte " + std::to_string(m_position));
}

bool Journal::WantsFolding() const {
    const std::uint64_t snapshot = m_file->SnapshotEnd();
    return m_position - snapshot > kSmallestFold + snapshot;
}

void Journal::Fold(std::uint64_t nextKey, const std::function<void(const Sink&)>& produce) {
    std::unique_ptr<JournalFile> next = JournalFile::Create(m_folder, kNewStoreName, m_file->Generation() + 1, nextKey);
    if (!next) return;
    std::uint64_t position = JournalFile::kHeaderBytes;
    produce([&](std::span<const BYTE> operations) {
        if (position != 0) position = next->Write(position, operations, 0, nextKey);
    });
    if (position == 0) return;
    next->Seal(position);
    if (!next->Flush()) return;
    m_file->SetRetired(true);
    if (renameat(m_folder, kNewStoreName, m_folder, kStoreName) != 0) {
        m_file->SetRetired(false);
        return;
    }
    m_file = std::move(next);
    m_position = position;
}

bool Journal::Flush() { return m_file->Flush(); }

}  // namespace embedded
