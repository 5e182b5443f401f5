#include "instalib/service.h"

#include "changes/changing.h"
#include "platform/handles.h"
#include "system/directory_text.h"
#include "system/service_handles.h"

const CString CService::m_sServicesKey = "SYSTEM\\CurrentControlSet\\Services";
const CString CService::m_sDependOnService = "DependOnService";

namespace {

constexpr DWORD kOwnProcessInteractive = SERVICE_WIN32_OWN_PROCESS | SERVICE_INTERACTIVE_PROCESS;

struct StandardService {
    const char* name;
    const char* executable;
    const char* displayName;
    const char* group;
};

// In the order of CService::ServiceType.
constexpr StandardService kStandardServices[] = {
    {"OVSJobEngine", "JOBENG.EXE", "OV Zephranite Job Engine", "Zephranite"},
    {"OVSTapeEngine", "TAPEENG.EXE", "OV Zephranite Tape Engine", "Zephranite"},
    {"OVSDBEngine", "DBENG.EXE", "OV Zephranite Database Engine", "Zephranite"},
    {"OVSMsgEngine", "MSGENG.EXE", "OV Zephranite Message Engine", "Zephranite"},
    {"Halvenor Alert Notification Server", "Alert.EXE", "Halvenor Alert Notification Server", ""},
    {"OVSDiscoverySvc", "OVSDSCSVC.EXE", "OV Zephranite Discovery Service", "Zephranite"},
};

// Drivers belong to the group "Filter", whatever the caller says.
const char* GroupFor(DWORD serviceType, const char* group) {
    const bool isDriver = serviceType == SERVICE_KERNEL_DRIVER || serviceType == SERVICE_FILE_SYSTEM_DRIVER;
    return isDriver ? "Filter" : group;
}

}  // namespace

CService::CService(ServiceType service) : m_dwServiceType(kOwnProcessInteractive) {
    const auto index = static_cast<unsigned>(service);
    if (index >= sizeof kStandardServices / sizeof kStandardServices[0]) return;
    const StandardService& standard = kStandardServices[index];
    m_sName = standard.name;
    m_sDisplayName = standard.displayName;
    m_sExecutable = standard.executable;
    m_sGroup = standard.group;
}

CService::CService(const char* name, const char* executable, const char* displayName, DWORD serviceType,
                   const char* group)
    : m_sName(name),
      m_sDisplayName(displayName != nullptr ? displayName : name),
      m_sExecutable(executable),
      m_dwServiceType(serviceType),
      m_sGroup(group) {}

CService::CService(const CService& other) = default;
CService& CService::operator=(const CService& other) = default;
CService::~CService() = default;

const char* CService::Name() const { return m_sName; }
int CService::IsStarted() const { return IsStarted(m_sName); }
int CService::IsStopped() const { return IsStopped(m_sName); }
int CService::Exists() const { return ServiceExists(m_sName); }
int CService::StartServiceA(int wait) const { return StartServiceA(m_sName, wait); }
int CService::StopService(int wait, int stopDependents) const { return StopService(m_sName, wait, stopDependents); }
int CService::RemoveService() const { return RemoveService(m_sName); }
int CService::BackupServiceStatus(const char* keyPath) const { return BackupServiceStatus(keyPath, m_sName); }
int CService::RestoreServiceStatus(const char* keyPath) const {
    return RestoreServiceStatus(keyPath, m_sName, m_sDisplayName);
}

CString CService::CommandPath(const char* directory) const {
    const CString folder = directory;
    return CString("\"") + folder + (EndsInBackSlash(folder) ? "" : "\\") + m_sExecutable + "\"";
}

int CService::InstallService(const char* directory, DWORD startType, const char* account, const char* password) const {
    return InstallService(m_sName, m_sDisplayName, CommandPath(directory), m_dwServiceType, startType, m_sGroup,
                          nullptr, account, password);
}

int CService::ChangeService(const char* directory, DWORD startType, const char* account, const char* password) const {
    return ChangeService(m_sName, m_sDisplayName, CommandPath(directory), m_dwServiceType, startType, m_sGroup, nullptr,
                         account, password);
}

int CService::InstallService(const char* name, const char* displayName, const char* commandPath, DWORD serviceType,
                             DWORD startType, const char* group, const char* dependencies, const char* account,
                             const char* password) {
    const ServiceHandle manager = OpenManager(SC_MANAGER_ALL_ACCESS);
    if (!manager) return 0;
    const ServiceHandle service(changing::CreateServiceA(
        manager.Get(), name, displayName, SERVICE_ALL_ACCESS, serviceType, startType, SERVICE_ERROR_NORMAL, commandPath,
        GroupFor(serviceType, group), nullptr, dependencies, account, password));
    return service || GetLastError() == ERROR_SERVICE_EXISTS;
}

int CService::ChangeService(const char* name, const char* displayName, const char* commandPath, DWORD serviceType,
                            DWORD startType, const char* group, const char* dependencies, const char* account,
                            const char* password) {
    const OpenedService opened(name, GENERIC_WRITE);
    if (!opened.service) return 0;
    return changing::ChangeServiceConfigA(opened.service.Get(), serviceType, startType, SERVICE_ERROR_NORMAL,
                                          commandPath, GroupFor(serviceType, group), nullptr, dependencies, account,
                                          password, displayName);
}

int CService::ServiceExists(const char* name) {
    const OpenedService opened(name, SERVICE_ALL_ACCESS);
    return opened.service ? 1 : 0;
}

int CService::BackupServiceStatus(const char* keyPath, const char* name) {
    const OpenedService opened(name, GENERIC_READ);
    if (!opened.manager) return 0;
    if (!opened.service) return 1;
    alignas(QUERY_SERVICE_CONFIGA) BYTE buffer[4096];
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGA*>(buffer);
    DWORD needed = 0;
    if (!QueryServiceConfigA(opened.service.Get(), config, sizeof buffer, &needed)) return 1;

    RegistryKey key;
    LSTATUS status = changing::RegCreateKeyExA(HKEY_LOCAL_MACHINE, keyPath, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                               KEY_ALL_ACCESS, nullptr, key.Receive(), nullptr);
    const DWORD startType = config->dwStartType;
    if (status == ERROR_SUCCESS) {
        status = changing::RegSetValueExA(key.Get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&startType),
                                          sizeof startType);
    }
    return status == ERROR_SUCCESS ? 1 : FailWith(static_cast<DWORD>(status));
}

int CService::RestoreServiceStatus(const char* keyPath, const char* name, const char* displayName) {
    RegistryKey key;
    const LSTATUS opened = RegOpenKeyExA(HKEY_LOCAL_MACHINE, keyPath, 0, KEY_READ, key.Receive());
    if (opened != ERROR_SUCCESS) return opened == ERROR_FILE_NOT_FOUND ? 1 : FailWith(DWORD(opened));
    DWORD type = 0;
    DWORD startType = 0;
    DWORD size = sizeof startType;
    const LSTATUS status =
        RegQueryValueExA(key.Get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&startType), &size);
    if (status == ERROR_FILE_NOT_FOUND) return 1;
    if (status != ERROR_SUCCESS) return FailWith(DWORD(status));
    if (type != REG_DWORD || size != sizeof startType) return FailWith(ERROR_INVALID_DATA);
    return ChangeService(name, displayName, nullptr, SERVICE_NO_CHANGE, startType, nullptr, nullptr, nullptr, nullptr);
}
