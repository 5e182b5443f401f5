// The lock of the service database.
#include <cstring>

#include "platform/embedded/accounts/store.h"
#include "platform/embedded/core/clock.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/services/handles.h"

using namespace embedded;
using namespace embedded::services;
using control::CallKind;

namespace {

constexpr char kLockKey[] = "META\\ServiceLock";
constexpr std::uint64_t kClockStepsPerSecond = 10'000'000;

class LockObject : public HandleObject {
  public:
    explicit LockObject(std::unique_ptr<Hold> hold)
        : HandleObject(ResourceKind::ServiceLock), m_hold(std::move(hold)) {}

  private:
    std::unique_ptr<Hold> m_hold;
};

DWORD SecondsNow() { return DWORD(clock::Now() / kClockStepsPerSecond); }  // differences count, so it may wrap

void NoteOwner(Machine& machine) {
    machine.Storage().WriteText(kLockKey, "Owner", accounts::CurrentUser(machine).name);
    machine.Storage().WriteNumber(kLockKey, "Since", SecondsNow());
}

}  // namespace

SC_LOCK LockServiceDatabase(SC_HANDLE manager) {
    if (gate::Refuses(CallKind::Service, "LockServiceDatabase")) return nullptr;
    const auto object = ManagerFor(manager, SC_MANAGER_LOCK);
    if (object == nullptr) return nullptr;
    auto hold = Hold::Take(*object->machine, kDatabasePlace, Sharing::Exclusive);
    if (hold == nullptr) {
        SetLastError(ERROR_SERVICE_DATABASE_LOCKED);
        return nullptr;
    }
    NoteOwner(*object->machine);
    return handles::Add(std::make_shared<LockObject>(std::move(hold)));
}

BOOL UnlockServiceDatabase(SC_LOCK lock) {
    if (!handles::Close(lock, ResourceKind::ServiceLock)) {
        SetLastError(ERROR_INVALID_SERVICE_LOCK);
        return FALSE;
    }
    return !gate::Refuses(CallKind::Service, "UnlockServiceDatabase");
}

BOOL QueryServiceLockStatusA(SC_HANDLE manager, LPQUERY_SERVICE_LOCK_STATUSA status, DWORD bytes, LPDWORD needed) {
    if (gate::Refuses(CallKind::Service, "QueryServiceLockStatusA")) return FALSE;
    const auto object = ManagerFor(manager, SC_MANAGER_QUERY_LOCK_STATUS);
    if (object == nullptr) return FALSE;
    Store& store = object->machine->Storage();
    const bool locked = Hold::Exists(*object->machine, kDatabasePlace);
    const std::string owner = locked ? store.ReadText(kLockKey, "Owner") : "";
    const std::size_t size = sizeof *status + owner.size() + 1;
    if (needed != nullptr) *needed = DWORD(size);
    if (bytes < size || status == nullptr) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    status->fIsLocked = locked;
    status->lpLockOwner = reinterpret_cast<char*>(status + 1);
    std::memcpy(status->lpLockOwner, owner.c_str(), owner.size() + 1);
    status->dwLockDuration = locked ? SecondsNow() - store.ReadNumber(kLockKey, "Since") : 0;
    return TRUE;
}
