// Running services: status, controls, start, enumerations.
#include <algorithm>
#include <cstring>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/services/handles.h"
#include "platform/embedded/services/settings.h"
#include "platform/embedded/services/state.h"

using namespace embedded;
using namespace embedded::services;
using control::CallKind;

namespace {

constexpr DWORD kFirstUserControl = 128;
constexpr DWORD kLastUserControl = 255;

BOOL Answer(DWORD error) {
    if (error != 0) SetLastError(error);
    return error == 0;
}

// The right that a control needs, 0 for a control that no caller may send.
DWORD RightFor(DWORD control) {
    switch (control) {
        case SERVICE_CONTROL_STOP:
            return SERVICE_STOP;
        case SERVICE_CONTROL_PAUSE:
        case SERVICE_CONTROL_CONTINUE:
            return SERVICE_PAUSE_CONTINUE;
        case SERVICE_CONTROL_INTERROGATE:
            return SERVICE_INTERROGATE;
        default:
            break;
    }
    return control >= kFirstUserControl && control <= kLastUserControl ? SERVICE_USER_DEFINED_CONTROL : 0;
}

bool Accepts(const SERVICE_STATUS& status, DWORD control) {
    const bool pauses = control == SERVICE_CONTROL_PAUSE || control == SERVICE_CONTROL_CONTINUE;
    const DWORD needed = control == SERVICE_CONTROL_STOP ? SERVICE_ACCEPT_STOP
                         : pauses                        ? SERVICE_ACCEPT_PAUSE_CONTINUE
                                                         : 0;
    return (status.dwControlsAccepted & needed) == needed;
}

bool IsActive(Machine& machine, const std::string& name) { return !IsStopped(StatusOf(machine, name)); }

DWORD Stop(Machine& machine, const std::string& name) {
    const auto dependents = Dependents(machine, name);
    const bool needed = std::any_of(dependents.begin(), dependents.end(),
                                    [&](const std::string& service) { return IsActive(machine, service); });
    return needed ? ERROR_DEPENDENT_SERVICES_RUNNING : BeginStop(machine, name);
}

DWORD Send(Machine& machine, const std::string& name, DWORD control, SERVICE_STATUS& status) {
    status = StatusOf(machine, name);
    if (status.dwCurrentState == SERVICE_STOPPED) return ERROR_SERVICE_NOT_ACTIVE;
    if (status.dwCurrentState == SERVICE_START_PENDING || status.dwCurrentState == SERVICE_STOP_PENDING) {
        return ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
    }
    if (!Accepts(status, control)) return ERROR_INVALID_SERVICE_CONTROL;
    DWORD error = 0;
    if (control == SERVICE_CONTROL_STOP) error = Stop(machine, name);
    if (control == SERVICE_CONTROL_PAUSE) SetRunning(machine, name, SERVICE_PAUSED);
    if (control == SERVICE_CONTROL_CONTINUE) SetRunning(machine, name, SERVICE_RUNNING);
    if (control == SERVICE_CONTROL_INTERROGATE) error = ScriptOf(machine, name).interrogateError;
    if (error == 0) status = StatusOf(machine, name);
    return error;
}

// Windows fills the status in for these answers and no others.
bool TellsStatus(DWORD error) {
    return error == 0 || error == ERROR_INVALID_SERVICE_CONTROL || error == ERROR_SERVICE_CANNOT_ACCEPT_CTRL ||
           error == ERROR_SERVICE_NOT_ACTIVE;
}

DWORD Start(Machine& machine, const std::string& name, std::vector<std::string>& starting);

// What the service needs is started before it.
DWORD StartNeeded(Machine& machine, const Config& config, std::vector<std::string>& starting) {
    for (const std::string& needed : config.dependencies) {
        if (needed.starts_with(SC_GROUP_IDENTIFIERA)) continue;
        if (!Load(machine, needed) || IsMarkedForDeletion(machine, needed)) return ERROR_SERVICE_DEPENDENCY_DELETED;
        const DWORD state = StatusOf(machine, needed).dwCurrentState;
        if (state != SERVICE_STOPPED && state != SERVICE_STOP_PENDING) continue;
        if (Start(machine, needed, starting) != 0 || !IsActive(machine, needed)) return ERROR_SERVICE_DEPENDENCY_FAIL;
    }
    return 0;
}

DWORD Start(Machine& machine, const std::string& name, std::vector<std::string>& starting) {
    const auto config = Load(machine, name);
    if (!config) return ERROR_SERVICE_DOES_NOT_EXIST;
    if (IsMarkedForDeletion(machine, name)) return ERROR_SERVICE_MARKED_FOR_DELETE;
    if (config->startType == SERVICE_DISABLED) return ERROR_SERVICE_DISABLED;
    if (IsActive(machine, name)) return ERROR_SERVICE_ALREADY_RUNNING;
    // The registry may hold a circle that no call would have let in.
    if (std::find(starting.begin(), starting.end(), text::Upper(name)) != starting.end())
        return ERROR_CIRCULAR_DEPENDENCY;
    starting.push_back(text::Upper(name));
    if (const DWORD error = StartNeeded(machine, *config, starting)) return error;
    if (const DWORD error = CheckLogon(machine, name, *config)) return error;
    return BeginStart(machine, name);
}

struct Entry {
    std::string name;
    std::string displayName;
    SERVICE_STATUS status;
    std::size_t Size() const { return sizeof(ENUM_SERVICE_STATUSA) + name.size() + displayName.size() + 2; }
};

bool IsSelected(const Entry& entry, DWORD types, DWORD states) {
    const DWORD state = IsStopped(entry.status) ? SERVICE_INACTIVE : SERVICE_ACTIVE;
    return (states & state) != 0 && (entry.status.dwServiceType & types) != 0;
}

std::vector<Entry> Collect(Machine& machine, const std::vector<std::string>& names, DWORD types, DWORD states) {
    std::vector<Entry> entries;
    for (const std::string& name : names) {
        const auto config = Load(machine, name);
        if (!config) continue;
        Entry entry{name, config->displayName.empty() ? name : config->displayName, StatusOf(machine, name)};
        if (IsSelected(entry, types, states)) entries.push_back(std::move(entry));
    }
    return entries;
}

char* PutBefore(char*& end, const std::string& text) {
    end -= text.size() + 1;
    std::memcpy(end, text.c_str(), text.size() + 1);
    return end;
}

// Records from the front, their texts from the back; as many of the entries from `first` on as fit. ERROR_MORE_DATA
// with the bytes that the rest needs when some do not.
DWORD Deliver(const std::vector<Entry>& entries, std::size_t first, LPENUM_SERVICE_STATUSA records, DWORD bytes,
              LPDWORD needed, LPDWORD returned) {
    char* end = reinterpret_cast<char*>(records) + (records == nullptr ? 0 : bytes);
    std::size_t left = records == nullptr ? 0 : bytes;
    std::size_t next = std::min(first, entries.size());
    *returned = 0;
    for (; next < entries.size() && entries[next].Size() <= left; ++next) {
        left -= entries[next].Size();
        ENUM_SERVICE_STATUSA& record = records[(*returned)++];
        record = {PutBefore(end, entries[next].name), PutBefore(end, entries[next].displayName), entries[next].status};
    }
    std::size_t rest = 0;
    for (std::size_t i = next; i < entries.size(); ++i) rest += entries[i].Size();
    *needed = DWORD(rest);
    return next == entries.size() ? 0 : ERROR_MORE_DATA;
}

}  // namespace

BOOL QueryServiceStatus(SC_HANDLE service, LPSERVICE_STATUS status) {
    if (gate::Refuses(CallKind::Service, "QueryServiceStatus")) return FALSE;
    const auto object = ServiceFor(service, SERVICE_QUERY_STATUS);
    if (object == nullptr) return FALSE;
    if (status == nullptr) return Answer(ERROR_INVALID_ADDRESS);
    *status = StatusOf(*object->machine, object->name);
    return TRUE;
}

BOOL ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status) {
    if (gate::Refuses(CallKind::Service, "ControlService")) return FALSE;
    const DWORD right = RightFor(control);
    if (right == 0) return Answer(ERROR_INVALID_PARAMETER);
    const auto object = ServiceFor(service, right);
    if (object == nullptr) return FALSE;
    if (status == nullptr) return Answer(ERROR_INVALID_ADDRESS);
    const Store::Lock lock(object->machine->Storage());
    SERVICE_STATUS now{};
    const DWORD error = Send(*object->machine, object->name, control, now);
    if (TellsStatus(error)) *status = now;
    return Answer(error);
}

BOOL StartServiceA(SC_HANDLE service, DWORD, LPCSTR*) {
    if (gate::Refuses(CallKind::Service, "StartServiceA")) return FALSE;
    const auto object = ServiceFor(service, SERVICE_START);
    if (object == nullptr) return FALSE;
    Machine& machine = *object->machine;
    if (Hold::Exists(machine, kDatabasePlace)) return Answer(ERROR_SERVICE_DATABASE_LOCKED);
    const Store::Lock lock(machine.Storage());
    std::vector<std::string> starting;
    return Answer(Start(machine, object->name, starting));
}

BOOL EnumDependentServicesA(SC_HANDLE service, DWORD state, LPENUM_SERVICE_STATUSA records, DWORD bytes, LPDWORD needed,
                            LPDWORD returned) {
    if (gate::Refuses(CallKind::Service, "EnumDependentServicesA")) return FALSE;
    const auto object = ServiceFor(service, SERVICE_ENUMERATE_DEPENDENTS);
    if (object == nullptr) return FALSE;
    if (needed == nullptr || returned == nullptr) return Answer(ERROR_INVALID_ADDRESS);
    if (state == 0 || state > SERVICE_STATE_ALL) return Answer(ERROR_INVALID_PARAMETER);
    const auto entries =
        Collect(*object->machine, Dependents(*object->machine, object->name), SERVICE_DRIVER | SERVICE_WIN32, state);
    return Answer(Deliver(entries, 0, records, bytes, needed, returned));
}

BOOL EnumServicesStatusA(SC_HANDLE manager, DWORD type, DWORD state, LPENUM_SERVICE_STATUSA records, DWORD bytes,
                         LPDWORD needed, LPDWORD returned, LPDWORD resume) {
    if (gate::Refuses(CallKind::Service, "EnumServicesStatusA")) return FALSE;
    const auto object = ManagerFor(manager, SC_MANAGER_ENUMERATE_SERVICE);
    if (object == nullptr) return FALSE;
    if (needed == nullptr || returned == nullptr) return Answer(ERROR_INVALID_ADDRESS);
    if (type == 0 || (type & ~(SERVICE_DRIVER | SERVICE_WIN32)) != 0 || state == 0 || state > SERVICE_STATE_ALL) {
        return Answer(ERROR_INVALID_PARAMETER);
    }
    const auto entries = Collect(*object->machine, Names(*object->machine), type, state);
    const std::size_t first = resume == nullptr ? 0 : *resume;
    const DWORD error = Deliver(entries, first, records, bytes, needed, returned);
    if (resume != nullptr) *resume = error == 0 ? 0 : DWORD(first) + *returned;
    return Answer(error);
}
