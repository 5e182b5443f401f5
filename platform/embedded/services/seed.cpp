#include "platform/embedded/api/services.h"
#include "platform/embedded/machine/seed.h"
#include "platform/embedded/services/records.h"
#include "platform/embedded/services/state.h"

namespace embedded {
namespace {

struct Standard {
    const char* name;
    const char* displayName;
    DWORD type;
    DWORD startType;
    const char* path;
    const char* group;
    std::vector<std::string> dependencies;
    const char* account;
    const char* description;
    bool running;
};

constexpr DWORD kShared = SERVICE_WIN32_SHARE_PROCESS;
constexpr DWORD kOwn = SERVICE_WIN32_OWN_PROCESS;
constexpr char kSystem[] = "LocalSystem";
constexpr char kLocal[] = "NT AUTHORITY\\LocalService";
constexpr char kNetwork[] = "NT AUTHORITY\\NetworkService";

const std::vector<Standard>& FreshServices() {
    static const std::vector<Standard> services = {
        {"Dhcp",
         "DHCP Client",
         kShared,
         SERVICE_AUTO_START,
         "%SystemRoot%\\System32\\svchost.exe -k LocalServiceNetworkRestricted",
         "TDI",
         {},
         kLocal,
         "Registers and updates IP addresses and DNS records for this computer.",
         true},
        {"EventLog",
         "Windows Event Log",
         kShared,
         SERVICE_AUTO_START,
         "%SystemRoot%\\System32\\svchost.exe -k LocalServiceNetworkRestricted",
         "Event Log",
         {},
         kLocal,
         "This service manages events and event logs.",
         true},
        {"LanmanServer",
         "Server",
         kShared,
         SERVICE_AUTO_START,
         "%SystemRoot%\\system32\\svchost.exe -k netsvcs",
         "",
         {"RpcSs"},
         kSystem,
         "Supports file, print, and named-pipe sharing over the network for this computer.",
         true},
        {"LanmanWorkstation",
         "Workstation",
         kShared,
         SERVICE_AUTO_START,
         "%SystemRoot%\\System32\\svchost.exe -k NetworkService",
         "NetworkProvider",
         {},
         kNetwork,
         "Creates and maintains client network connections to remote servers using the SMB protocol.",
         true},
        {"msiserver",
         "Windows Installer",
         kOwn,
         SERVICE_DEMAND_START,
         "%systemroot%\\system32\\msiexec.exe /V",
         "",
         {"RpcSs"},
         kSystem,
         "Adds, modifies, and removes applications provided as a Windows Installer package.",
         false},
        {"Netlogon",
         "Netlogon",
         kShared,
         SERVICE_DEMAND_START,
         "%systemroot%\\system32\\lsass.exe",
         "MS_WindowsRemoteValidation",
         {"LanmanWorkstation"},
         kSystem,
         "Maintains a secure channel between this computer and the domain controller.",
         false},
        {"RpcSs",
         "Remote Procedure Call (RPC)",
         kShared,
         SERVICE_AUTO_START,
         "%SystemRoot%\\system32\\svchost.exe -k rpcss",
         "COM Infrastructure",
         {},
         kNetwork,
         "The RPCSS service is the Service Control Manager for COM and DCOM servers.",
         true},
        {"SamSs",
         "Security Accounts Manager",
         kShared,
         SERVICE_AUTO_START,
         "%SystemRoot%\\system32\\lsass.exe",
         "MS_WindowsLocalValidation",
         {"RpcSs"},
         kSystem,
         "The startup of this service signals other services that the accounts manager is ready.",
         true},
        {"Schedule",
         "Task Scheduler",
         kShared,
         SERVICE_AUTO_START,
         "%systemroot%\\system32\\svchost.exe -k netsvcs",
         "SchedulerGroup",
         {"RpcSs"},
         kSystem,
         "Enables a user to configure and schedule automated tasks.",
         true},
        {"Spooler",
         "Print Spooler",
         kOwn | SERVICE_INTERACTIVE_PROCESS,
         SERVICE_AUTO_START,
         "%SystemRoot%\\System32\\spoolsv.exe",
         "SpoolerGroup",
         {"RpcSs"},
         kSystem,
         "This service spools print jobs and handles interaction with the printer.",
         true},
        {"Tcpip",
         "TCP/IP Protocol Driver",
         SERVICE_KERNEL_DRIVER,
         SERVICE_BOOT_START,
         "System32\\drivers\\tcpip.sys",
         "PNP_TDI",
         {},
         "",
         "TCP/IP Protocol Driver",
         true},
    };
    return services;
}

}  // namespace

void SeedServices(Machine& machine) {
    for (const Standard& row : FreshServices()) {
        services::Save(machine, row.name,
                       {row.type, row.startType, SERVICE_ERROR_NORMAL, row.path, row.group, 0, row.dependencies,
                        row.account, row.displayName});
        machine.Storage().WriteText(services::KeyOf(row.name), "Description", row.description);
        if (row.running) services::SetRunning(machine, row.name, SERVICE_RUNNING);
    }
}

}  // namespace embedded
