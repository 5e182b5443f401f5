// Counts of shared libraries' users, and the path of the database agent's RPC service.
#include "changes/changing.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

constexpr char kRpcServiceKey[] = "SYSTEM\\CurrentControlSet\\Services\\DbaRpcService";
constexpr char kImagePath[] = "ImagePath";

// Keeps the counts to one process at a time: reading and writing one are two calls, and an increment in between would
// be lost. A lock that cannot be had within ten seconds is done without: the count matters more than its rival.
class CountsLock {
  public:
    CountsLock() {
        const DWORD error = GetLastError();
        m_mutex.Reset(CreateMutexA(nullptr, FALSE, "Global\\InstalibSharedDLLs"));
        const DWORD wait = m_mutex ? WaitForSingleObject(m_mutex.Get(), 10'000) : DWORD(WAIT_FAILED);
        m_held = wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED;
        SetLastError(error);
    }
    ~CountsLock() {
        const DWORD error = GetLastError();
        if (m_held) ReleaseMutex(m_mutex.Get());
        SetLastError(error);
    }
    CountsLock(const CountsLock&) = delete;
    CountsLock& operator=(const CountsLock&) = delete;

  private:
    KernelHandle m_mutex;
    bool m_held = false;
};

}  // namespace

int CHalvRegistry::IncrementSharedDLLCount(const char* path, int keepExisting) {
    const CountsLock lock;
    RegistryKey key;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, m_sSharedDLLKey, KEY_ALL_ACCESS, key))) return 0;
    DWORD count = 0;
    const LSTATUS status = ReadNumber(key.Get(), path, &count);
    // A count that is there but cannot be read is not started over: other products rely on it.
    if (status != 0 && status != ERROR_FILE_NOT_FOUND) return Outcome(status);
    if (status == ERROR_FILE_NOT_FOUND || keepExisting == 0) ++count;
    return Outcome(SetValue(key.Get(), path, count));
}

DWORD CHalvRegistry::DecrementSharedDLLCount(const char* path) {
    const CountsLock lock;
    RegistryKey key;
    DWORD count = 0;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, m_sSharedDLLKey, KEY_ALL_ACCESS, key))) return 0;
    const LSTATUS status = ReadNumber(key.Get(), path, &count);
    Outcome(status);
    if (status == ERROR_FILE_NOT_FOUND || path == nullptr) return 0;
    // Somebody counted what cannot be read: whoever asks must not take the file for unused.
    if (status != 0) return 1;
    if (count > 1) {
        Outcome(SetValue(key.Get(), path, count - 1));
        return count - 1;
    }
    Outcome(changing::RegDeleteValueA(key.Get(), path));
    return 0;
}

void CHalvRegistry::UpdateRPCImagePath(CString imagePath) {
    RegistryKey key;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, kRpcServiceKey, KEY_ALL_ACCESS, key))) return;
    char stored[MAX_PATH + 1] = "";
    if (ReadText(key.Get(), kImagePath, stored) == 0 && _stricmp(stored, imagePath) == 0) return;
    if (_access(imagePath, 0) != 0) return;
    Outcome(SetUnterminated(key.Get(), kImagePath, REG_EXPAND_SZ, imagePath));
}
