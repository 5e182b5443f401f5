#include "foundation/append_line.h"

#include "platform/handles.h"

namespace {

struct Position {
    DWORD low;
    LONG high;
    bool operator==(const Position&) const = default;
};

bool MoveToEnd(HANDLE file, Position& end) {
    end = {0, 0};
    SetLastError(NO_ERROR);
    end.low = SetFilePointer(file, 0, &end.high, FILE_END);
    return end.low != INVALID_SET_FILE_POINTER || GetLastError() == NO_ERROR;
}

// A writer holds its range for the time of one write: half a second of refusals is somebody else's lock.
constexpr int kMostRefusals = 50;
constexpr DWORD kPause = 10;  // milliseconds

// Holds a range of a file for its lifetime and keeps the last error when it gives it up.
class RangeLock {
  public:
    RangeLock(HANDLE file, Position start, DWORD count)
        : m_file(file),
          m_start(start),
          m_count(count),
          m_held(LockFile(file, start.low, DWORD(start.high), count, 0) != 0) {}
    ~RangeLock() {
        const DWORD error = GetLastError();
        if (m_held) UnlockFile(m_file, m_start.low, DWORD(m_start.high), m_count, 0);
        SetLastError(error);
    }
    RangeLock(const RangeLock&) = delete;
    RangeLock& operator=(const RangeLock&) = delete;

    // Where locks are not supported a write goes on without one; against another writer's lock it must not.
    bool IsRefused() const { return !m_held && GetLastError() == ERROR_LOCK_VIOLATION; }

  private:
    HANDLE m_file;
    Position m_start;
    DWORD m_count;
    bool m_held;
};

}  // namespace

int AppendLine(const char* file, DWORD share, const char* bytes, DWORD count) noexcept {
    const FileHandle handle(CreateFileA(file == nullptr ? "" : file, GENERIC_WRITE, share, nullptr, OPEN_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle) return 0;
    Position end;
    if (!MoveToEnd(handle.Get(), end)) return 0;
    for (int refusals = 0;;) {
        const RangeLock lock(handle.Get(), end, count);
        if (lock.IsRefused()) {
            if (++refusals == kMostRefusals) return 0;
            Sleep(kPause);
            if (!MoveToEnd(handle.Get(), end)) return 0;
            continue;
        }
        // Another writer may have appended before the lock was ours: the lock follows the end.
        const Position locked = end;
        if (!MoveToEnd(handle.Get(), end)) return 0;
        if (end != locked) continue;
        DWORD written = 0;
        return WriteFile(handle.Get(), bytes, count, &written, nullptr) && written == count;
    }
}
