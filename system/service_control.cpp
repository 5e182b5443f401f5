// Starting, stopping and removing services: the waits, and the walk over direct dependents.
#include <algorithm>
#include <string_view>

#include "changes/changing.h"
#include "instalib/service.h"
#include "platform/handles.h"
#include "system/service_handles.h"

namespace {

// What a service may ask for in all: a hint of 0xFFFFFFFF would let the setup wait for ever.
constexpr DWORD kLongestWait = 60 * 60 * 1000;

// Waits while the service starts and its check point grows, one wait hint at a time.
void AwaitStart(SC_HANDLE service, SERVICE_STATUS& status) {
    DWORD left = kLongestWait;
    while (status.dwCurrentState == SERVICE_START_PENDING && left != 0) {
        const DWORD checkPoint = status.dwCheckPoint;
        const DWORD wait = std::min(status.dwWaitHint, left);
        Sleep(wait);
        // A hint of 0 must not let a service count its check points up for ever.
        left -= std::max<DWORD>(wait, 1);
        if (!QueryServiceStatus(service, &status) || status.dwCheckPoint <= checkPoint) return;
    }
}

// Waits while the service stops: one second at a time, at most the wait hint's seconds (at least 1) and one more. False
// when the service cannot be asked.
bool AwaitStop(SC_HANDLE service, SERVICE_STATUS& status) {
    DWORD seconds = std::max<DWORD>(std::min(status.dwWaitHint, kLongestWait) / 1000, 1);
    while (status.dwCurrentState == SERVICE_STOP_PENDING) {
        Sleep(1000);
        if (!QueryServiceStatus(service, &status)) return false;
        if (seconds-- == 0) break;
    }
    return true;
}

// The string is listed in a REG_MULTI_SZ, in this letter case. An empty string ends the list, which may lack its
// terminators.
bool Lists(std::string_view list, std::string_view wanted) {
    while (!list.empty() && list.front() != '\0') {
        const std::string_view entry = list.substr(0, list.find('\0'));
        if (entry == wanted) return true;
        list.remove_prefix(std::min(entry.size() + 1, list.size()));
    }
    return false;
}

// What a key or value that is gone, and a list that is too long, do not count as: a failure.
LSTATUS Unless(LSTATUS status, LSTATUS harmless) {
    return status == ERROR_FILE_NOT_FOUND || status == harmless ? ERROR_SUCCESS : status;
}

LSTATUS AskDependence(HKEY services, const char* service, const char* wanted, bool& depends) {
    depends = false;
    RegistryKey key;
    const LSTATUS opened = RegOpenKeyExA(services, service, 0, KEY_READ, key.Receive());
    if (opened != ERROR_SUCCESS) return Unless(opened, ERROR_KEY_DELETED);
    char list[256];
    DWORD size = sizeof list;
    DWORD type = REG_NONE;
    const LSTATUS status =
        RegQueryValueExA(key.Get(), CService::m_sDependOnService, nullptr, &type, reinterpret_cast<BYTE*>(list), &size);
    const bool isText = type == REG_MULTI_SZ || type == REG_SZ;
    depends = status == ERROR_SUCCESS && isText && Lists(std::string_view(list, size), wanted);
    return Unless(status, ERROR_MORE_DATA);
}

// Calls `handle` with the name of every service that depends directly on `name`; 0 when the services cannot be listed
// or one call failed. All are tried, and the first failure's error is kept.
template <class Handle>
int ForEachDependent(const char* name, Handle handle) {
    if (name == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    RegistryKey services;
    const LSTATUS opened = RegOpenKeyExA(HKEY_LOCAL_MACHINE, CService::m_sServicesKey, 0, KEY_READ, services.Receive());
    if (opened != ERROR_SUCCESS) return FailWith(static_cast<DWORD>(opened));
    DWORD firstError = ERROR_SUCCESS;
    const auto keep = [&](LSTATUS status) {
        if (firstError == ERROR_SUCCESS) firstError = DWORD(status);
    };
    char service[257];
    for (DWORD index = 0;; ++index) {
        DWORD length = sizeof service;
        const LSTATUS status =
            RegEnumKeyExA(services.Get(), index, service, &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_MORE_DATA) continue;
        if (status != ERROR_SUCCESS) {
            if (status != ERROR_NO_MORE_ITEMS) keep(status);
            break;
        }
        bool depends = false;
        keep(AskDependence(services.Get(), service, name, depends));
        if (depends && !handle(service)) keep(LSTATUS(std::max<DWORD>(GetLastError(), 1)));
    }
    return firstError == ERROR_SUCCESS ? 1 : FailWith(firstError);
}

}  // namespace

int CService::IsStarted(const char* name) {
    const OpenedService opened(name, SERVICE_ALL_ACCESS);
    SERVICE_STATUS status{};
    if (!opened.service || !QueryServiceStatus(opened.service.Get(), &status)) return 0;
    return status.dwCurrentState != SERVICE_STOPPED;
}

int CService::IsStopped(const char* name) {
    const OpenedService opened(name, SERVICE_ALL_ACCESS);
    if (!opened.service) return 1;
    SERVICE_STATUS status{};
    if (!QueryServiceStatus(opened.service.Get(), &status)) return 0;
    return status.dwCurrentState == SERVICE_STOPPED;
}

int CService::StartServiceA(const char* name, int wait) {
    const OpenedService opened(name, SERVICE_ALL_ACCESS);
    if (!opened.service) return 0;
    const SC_HANDLE service = opened.service.Get();
    if (!changing::StartServiceA(service, 0, nullptr)) return GetLastError() == ERROR_SERVICE_ALREADY_RUNNING;
    if (!wait) return 1;

    SERVICE_STATUS status{};
    // A service that is still starting may refuse the interrogation; the manager's own record then stands in for it.
    if (!changing::ControlService(service, SERVICE_CONTROL_INTERROGATE, &status) &&
        !QueryServiceStatus(service, &status))
        return 0;
    AwaitStart(service, status);
    if (status.dwCurrentState == SERVICE_RUNNING || status.dwCurrentState == SERVICE_START_PENDING) return 1;
    return FailWith(status.dwWin32ExitCode != NO_ERROR ? status.dwWin32ExitCode : ERROR_SERVICE_NOT_ACTIVE);
}

int CService::StopService(const char* name, int wait, int stopDependents) {
    const OpenedService opened(name, SERVICE_ALL_ACCESS, SC_MANAGER_CONNECT);
    if (!opened.service) return opened.manager && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST;
    const SC_HANDLE service = opened.service.Get();
    SERVICE_STATUS status{};
    if (!QueryServiceStatus(service, &status)) return 0;
    if (status.dwCurrentState == SERVICE_STOPPED || status.dwCurrentState == SERVICE_STOP_PENDING) return 1;

    if (!changing::ControlService(service, SERVICE_CONTROL_STOP, &status)) {
        if (GetLastError() != ERROR_DEPENDENT_SERVICES_RUNNING || !stopDependents) return 0;
        StopDependentServices(name, wait);
        if (!changing::ControlService(service, SERVICE_CONTROL_STOP, &status)) return 0;
    }
    if (wait && !AwaitStop(service, status)) return 0;
    return status.dwCurrentState == SERVICE_STOPPED ? 1 : FailWith(ERROR_SERVICE_REQUEST_TIMEOUT);
}

int CService::RemoveService(const char* name) {
    const OpenedService opened(name, SERVICE_ALL_ACCESS);
    if (!opened.service) return opened.manager && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST;
    StopService(name, 1, 0);
    return changing::DeleteService(opened.service.Get()) || GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE;
}

int CService::StartDependentServices(const char* name, int wait) {
    return ForEachDependent(name, [wait](const char* service) { return StartServiceA(service, wait); });
}

int CService::StopDependentServices(const char* name, int wait) {
    return ForEachDependent(name, [wait](const char* service) { return StopService(service, wait, 0); });
}
