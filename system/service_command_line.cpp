// The service programs' own switches, and the display name and description of a service.
#include <cstring>
#include <string>

#include "changes/changing.h"
#include "instalib/service.h"
#include "platform/product_libraries.h"

namespace {

constexpr std::size_t kLongestPath = 260;

int RunWithSwitch(const char* path, const char* option) {
    if (path == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    if (std::strlen(path) > kLongestPath) return FailWith(ERROR_FILENAME_EXCED_RANGE);
    CString commandLine = CString(path) + option;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    // CreateProcess may write into the command line, so it gets a buffer of its own.
    const int length = commandLine.GetLength();
    const BOOL created = changing::CreateProcessA(nullptr, commandLine.GetBuffer(length), nullptr, nullptr, TRUE,
                                                  DETACHED_PROCESS, nullptr, nullptr, &startup, &process);
    const KernelHandle ownedProcess(process.hProcess);
    const KernelHandle ownedThread(process.hThread);
    return created ? 1 : 0;
}

// Where the system knows no descriptions there is nothing to set: success.
int Describe(SC_HANDLE service, const char* text) {
    using ChangeConfig2 = BOOL WINAPI(SC_HANDLE, DWORD, LPVOID);
    const LoadedLibrary library(LoadLibraryA("ADVAPI32.DLL"));
    if (product::EntryPoint<ChangeConfig2>(library.Get(), "ChangeServiceConfig2A") == nullptr) return 1;
    SERVICE_DESCRIPTIONA description{const_cast<char*>(text)};  // the record is read only
    return changing::ChangeServiceConfig2A(service, SERVICE_CONFIG_DESCRIPTION, &description);
}

}  // namespace

int InstallServiceByCmdLine(const char* path) { return RunWithSwitch(path, " -install"); }
int RemoveServiceByCmdLine(const char* path) { return RunWithSwitch(path, " -remove"); }
int StartServiceByCmdLine(const char* path) { return RunWithSwitch(path, " -start"); }
int StopServiceByCmdLine(const char* path) { return RunWithSwitch(path, " -stop"); }

int ChangeServiceInfo(SC_HANDLE manager, const char* name, const char* displayName, const char* description) {
    ServiceHandle service;  // declared first: the database is unlocked before the service closes
    const ServiceDatabaseLock lock(LockServiceDatabase(manager));
    if (!lock) return 0;
    service.Reset(changing::OpenServiceA(manager, name, SERVICE_ALL_ACCESS));
    if (!service) return 0;
    if (!changing::ChangeServiceConfigA(service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, displayName)) {
        return 0;
    }
    return Describe(service.Get(), description) ? 1 : 0;
}
