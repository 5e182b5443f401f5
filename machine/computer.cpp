#include "instalib/computer.h"

#include <cstring>

#include "foundation/wide_text.h"
#include "machine/machine_facts.h"
#include "platform/product_libraries.h"

namespace {

constexpr int kMachineNameSize = 32;  // wide characters with the terminator
constexpr int kDomainSize = 256;      // bytes with the terminator

// The form in which the network functions take a machine's name: null for the local one. A name that does not fit names
// no machine, never the local one.
class WideMachineName {
  public:
    explicit WideMachineName(const char* machine) {
        if (machine == nullptr || machine[0] == '\0') return;
        m_isLocal = false;
        m_fits = ToWide(machine, m_text, kMachineNameSize) != 0;
    }
    bool Fits() const { return m_fits; }
    WCHAR* Get() { return m_isLocal ? nullptr : m_text; }

  private:
    WCHAR m_text[kMachineNameSize] = {};
    bool m_isLocal = true;
    bool m_fits = true;
};

bool HasServerType(const char* machine, DWORD wanted) {
    WideMachineName name(machine);
    DWORD type = 0;
    return name.Fits() && GetServerType(name.Get(), type) && (type & wanted) != 0;
}

bool GetVersionOfWindows(OSVERSIONINFOA& version) {
    version = {};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExA(&version) != 0;
}

}  // namespace

CComputer::CComputer(const char* machine)
    : m_nPrimaryDomainController(0), m_nBackupDomainController(0), m_nServer(0), m_nLocal(IsLocalMachine(machine)) {
    if (m_nLocal) {
        char name[MAX_COMPUTERNAME_LENGTH + 1] = "";
        DWORD size = sizeof name;
        if (GetComputerNameA(name, &size)) m_sName = name;
    } else {
        m_sName = machine;
    }
    char domain[kDomainSize] = "";
    DWORD length = 0;
    if (GetDomain(domain, &length, m_sName)) m_sDomain = domain;
    m_nPrimaryDomainController = IsPrimaryDomainController(m_sName);
    m_nBackupDomainController = IsBackupDomainController(m_sName);
    m_nServer = IsServer(m_sName);
}

CComputer::CComputer(const CComputer& other) = default;
CComputer& CComputer::operator=(const CComputer& other) = default;
CComputer::~CComputer() = default;

const char* CComputer::Name() const { return m_sName; }
const char* CComputer::Domain() const { return m_sDomain; }
int CComputer::DomainController() const { return m_nPrimaryDomainController || m_nBackupDomainController; }
int CComputer::PrimaryDomainController() const { return m_nPrimaryDomainController; }
int CComputer::BackupDomainController() const { return m_nBackupDomainController; }
int CComputer::Server() const { return m_nServer; }
int CComputer::IsLocal() const { return m_nLocal; }

int CComputer::GetComputerNameA(char* buffer, DWORD* size) { return ::GetComputerNameA(buffer, size); }

int CComputer::GetDomain(char* buffer, DWORD* length, const char* machine) {
    WideMachineName name(machine);
    if (!name.Fits()) return 0;
    BYTE* information = nullptr;
    const DWORD status = NetWkstaGetInfo(name.Get(), 100, &information);
    const NetBuffer owner(information);
    if (status != NERR_Success) return FailWith(status);
    const WCHAR* const group = reinterpret_cast<const WKSTA_INFO_100*>(information)->wki100_langroup;
    char text[kDomainSize] = "";  // apart, so that a name that does not fit leaves the caller's buffer alone
    const int size = WideCharToMultiByte(CP_ACP, 0, group, -1, text, kDomainSize, nullptr, nullptr);
    if (size == 0) return 0;
    if (buffer == nullptr || length == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    std::memcpy(buffer, text, std::size_t(size));
    *length = DWORD(size - 1);
    return 1;
}

int CComputer::IsPrimaryDomainController(const char* machine) { return HasServerType(machine, SV_TYPE_DOMAIN_CTRL); }
int CComputer::IsBackupDomainController(const char* machine) { return HasServerType(machine, SV_TYPE_DOMAIN_BAKCTRL); }
int CComputer::IsLocalMachine(const char* machine) { return machine == nullptr || IsLocalName(machine); }

int CComputer::IsServer(const char* machine) {
    RegistryKey remote;
    if (machine != nullptr && machine[0] != '\0') remote = ConnectLocalMachineOf(machine);
    char type[257] = "";
    if (!ReadRegistryText(remote ? remote.Get() : HKEY_LOCAL_MACHINE,
                          "SYSTEM\\CurrentControlSet\\Control\\ProductOptions", "ProductType", type)) {
        return 0;
    }
    return _stricmp(type, "LANMANNT") == 0 || _stricmp(type, "SERVERNT") == 0;
}

DWORD CComputer::GetNTVersion(const char*) {
    OSVERSIONINFOA version;
    return GetVersionOfWindows(version) ? version.dwMajorVersion : 0;
}

int CComputer::IsNT4xOrLater(const char* machine) { return GetNTVersion(machine) > 3; }

int CComputer::IsWindows95(const char*) {
    OSVERSIONINFOA version;
    return GetVersionOfWindows(version) && version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS;
}

int CComputer::IsWindowsVersionOK(DWORD major, DWORD minor, DWORD build) {
    const LoadedLibrary library(LoadLibraryA(product::kToolLibrary));
    auto* const isOK = product::EntryPoint<product::IsWindowsVersionOK>(library.Get(), "IsWindowsVersionOKA");
    return isOK == nullptr ? 0 : isOK(major, minor, build);
}
