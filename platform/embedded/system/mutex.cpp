#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/embedded/api/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/record_queue.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/system/process_wait.h"

namespace fs = std::filesystem;
namespace gate = embedded::gate;
using embedded::control::CallKind;

namespace embedded::mutexes {
namespace {

using Clock = std::chrono::steady_clock;

// A mutex as this process sees it, whatever handles it has of it. Between processes two files stand for it: a shared
// lock on the first says "open somewhere", the exclusive lock on the second "owned". The host drops both when a process
// dies; a mark in the second tells the next owner that the last one never released it.
class SharedMutex {
  public:
    SharedMutex(const fs::path& folder, const std::string& name)
        : m_guard(folder / "guard", true),
          m_open(folder / (name + ".open"), true),
          m_owned(folder / (name + ".owned"), true) {
        if (!IsUsable()) return;
        m_guard.Lock(LOCK_EX);
        m_isNew = m_open.Lock(LOCK_EX | LOCK_NB);
        if (m_isNew) Mark('0');
        m_open.Lock(LOCK_SH);
        m_guard.Lock(LOCK_UN);
    }

    bool IsUsable() const { return m_guard.IsOpen() && m_open.IsOpen() && m_owned.IsOpen(); }
    bool IsNew() const { return m_isNew; }

    DWORD Acquire(DWORD milliseconds) {
        const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
        std::unique_lock lock(m_mutex);
        const auto self = std::this_thread::get_id();
        if (m_depth != 0 && m_owner == self) return ++m_depth, WAIT_OBJECT_0;
        // Neither the host nor a thread of this process tells when another process lets go, so both are asked in turn.
        while (m_depth != 0 || !m_owned.Lock(LOCK_EX | LOCK_NB)) {
            if (milliseconds != INFINITE && Clock::now() >= end) return WAIT_TIMEOUT;
            m_released.wait_for(lock, std::chrono::milliseconds(5));
        }
        m_owner = self;
        m_depth = 1;
        const bool abandoned = ReadMark() == '1';
        Mark('1');
        return abandoned ? WAIT_ABANDONED : WAIT_OBJECT_0;
    }

    bool Release() {
        const std::lock_guard lock(m_mutex);
        if (m_depth == 0 || m_owner != std::this_thread::get_id()) return false;
        if (--m_depth != 0) return true;
        Mark('0');
        m_owned.Lock(LOCK_UN);
        m_released.notify_one();
        return true;
    }

  private:
    void Mark(char mark) const { [[maybe_unused]] const ssize_t written = pwrite(m_owned.Get(), &mark, 1, 0); }
    char ReadMark() const {
        char mark = '0';
        return pread(m_owned.Get(), &mark, 1, 0) == 1 ? mark : '0';
    }

    LockedFile m_guard, m_open, m_owned;
    bool m_isNew = false;
    std::mutex m_mutex;
    std::condition_variable m_released;
    std::thread::id m_owner;
    unsigned m_depth = 0;
};

class MutexObject : public Waitable {
  public:
    explicit MutexObject(std::shared_ptr<SharedMutex> shared)
        : Waitable(ResourceKind::Mutex), m_shared(std::move(shared)) {}
    DWORD Wait(DWORD milliseconds) override { return m_shared->Acquire(milliseconds); }
    SharedMutex& Shared() const { return *m_shared; }

  private:
    std::shared_ptr<SharedMutex> m_shared;
};

// Case matters in a name. The two name spaces of Windows' sessions are one here.
std::string FileName(std::string_view name) {
    for (const std::string_view space : {"Global\\", "Local\\"}) {
        if (name.starts_with(space)) name.remove_prefix(space.size());
    }
    return 'm' + PortableName(name);
}

// This process's object for the name; `isNew` when no process had it open before.
std::shared_ptr<SharedMutex> Open(const std::string& name, bool& isNew) {
    static std::mutex mutex;
    static auto* const opened = new std::map<fs::path, std::weak_ptr<SharedMutex>>;
    const fs::path folder = world::Local()->Folder() / "mutexes";
    std::error_code error;
    fs::create_directories(folder, error);
    const std::lock_guard lock(mutex);
    std::weak_ptr<SharedMutex>& known = (*opened)[folder / name];
    std::shared_ptr<SharedMutex> shared = known.lock();
    isNew = !shared;
    if (shared) return shared;
    shared = std::make_shared<SharedMutex>(folder, name);
    isNew = shared->IsNew();
    known = shared;
    return shared;
}

}  // namespace
}  // namespace embedded::mutexes

namespace handles = embedded::handles;
namespace mutexes = embedded::mutexes;

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES, BOOL owned, LPCSTR name) {
    if (gate::Refuses(CallKind::System, "CreateMutexA")) return nullptr;
    constexpr std::size_t kLongestName = 80;  // so that every byte may take three characters of a file name
    static std::atomic<unsigned> nameless{0};
    const bool isNamed = name != nullptr && *name != '\0';
    if (isNamed && std::char_traits<char>::length(name) > kLongestName) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return nullptr;
    }
    const std::string file =
        isNamed ? mutexes::FileName(name) : 'n' + std::to_string(getpid()) + '.' + std::to_string(++nameless);
    bool isNew = false;
    const auto shared = mutexes::Open(file, isNew);
    if (!shared->IsUsable()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    if (owned && isNew) shared->Acquire(0);
    SetLastError(isNew ? 0 : ERROR_ALREADY_EXISTS);
    return handles::Add(std::make_shared<mutexes::MutexObject>(shared));
}

BOOL ReleaseMutex(HANDLE handle) {
    if (gate::Refuses(CallKind::System, "ReleaseMutex")) return FALSE;
    const auto mutex = handles::Find<mutexes::MutexObject>(handle);
    if (mutex && mutex->Shared().Release()) return TRUE;
    SetLastError(mutex ? ERROR_NOT_OWNER : ERROR_INVALID_HANDLE);
    return FALSE;
}
