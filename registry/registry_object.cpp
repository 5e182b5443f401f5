// Construction, connection and copies of the registry object.
#include "foundation/compare_names.h"
#include "instalib/path.h"
#include "instalib/registry.h"
#include "platform/product_libraries.h"
#include "registry/registry_access.h"
#include "registry/tool_library.h"

namespace {

constexpr DWORD kAskedSize = 260;  // bytes that a product library is told
constexpr DWORD kWriting = KEY_WRITE;

// What a product library puts into a buffer, whether it terminates it or not.
template <class Function>
CString Answer(Function* function) {
    char text[kAskedSize + 1] = "";
    function(text, kAskedSize);
    text[kAskedSize] = '\0';
    return text;
}

CString KeyPathFrom(HMODULE library, const char* entry, const CString& builtIn) {
    auto* const function = product::EntryPoint<product::GetKeyPath>(library, entry);
    if (function == nullptr) return builtIn;
    CString path = Answer(function);
    TrimTailBackSlash(path);
    return path.IsEmpty() ? builtIn : path;
}

CString LastComponent(const CString& path) { return path.Mid(path.ReverseFind('\\') + 1); }

void ChooseRoots(const char* logFile) {
    const LoadedLibrary library = registry::LoadToolLibrary();
    if (!library) registry::LogLine(logFile, "\tLoad HSTOOL.DLL fail");
    const auto ask = [&](const char* entry, const CString& builtIn) {
        return KeyPathFrom(library.Get(), entry, builtIn);
    };
    CHalvRegistry::m_sHalvenorKey = ask("HstGetBrandNameStringA", "SOFTWARE\\Orvanex");
    CHalvRegistry::m_sKorvaultKey = ask("HstGetRegRootStringA", "SOFTWARE\\Orvanex\\Zephranite Korvault Backup");
    CHalvRegistry::m_sKorvaultBaseKey = ask("HstGetRegBaseStringA", CHalvRegistry::m_sKorvaultKey + "\\Base");
    CHalvRegistry::m_sProductsKey = CHalvRegistry::m_sKorvaultKey + "\\Products";
}

CString BrandedProductId() {
    const LoadedLibrary library(LoadLibraryA(product::kBrandLibrary));
    auto* const function = product::EntryPoint<product::GetProductId>(library.Get(), product::kBrandProductId);
    if (function == nullptr) return CHalvRegistry::m_sProductZKB;
    const CString id = Answer(function);
    return id.IsEmpty() ? CHalvRegistry::m_sProductZKB : id;
}

bool IsAnotherMachine(const char* machine) {
    char local[16] = "";
    DWORD size = sizeof local;
    if (!GetComputerNameA(local, &size)) return false;
    return machine != nullptr && *machine != '\0' && !SameName(machine, local);
}

}  // namespace

CHalvRegistry::CHalvRegistry(int bLoad, char* machine) : m_hKey(HKEY_LOCAL_MACHINE), m_sMachine(machine) {
    Construct(machine, bLoad);
    if (bLoad != 0) Read();
}

CHalvRegistry::CHalvRegistry(CSettings& settings, int bWrite, char* machine)
    : m_Settings(settings), m_hKey(HKEY_LOCAL_MACHINE), m_sMachine(machine) {
    Construct(machine, bWrite);
    m_dwAccess = kWriting;
    if (bWrite != 0) Write();
}

CHalvRegistry::CHalvRegistry(const CHalvRegistry& other) : m_hKey(HKEY_LOCAL_MACHINE) { *this = other; }

CHalvRegistry::~CHalvRegistry() { Disconnect(); }

CHalvRegistry& CHalvRegistry::operator=(CHalvRegistry& other) {
    return *this = static_cast<const CHalvRegistry&>(other);
}

CHalvRegistry& CHalvRegistry::operator=(const CHalvRegistry& other) {
    if (this == &other) return *this;
    Disconnect();
    CopyCaches(other);
    m_Settings = other.m_Settings;
    m_sMachine = other.m_sMachine;
    m_hKey = other.m_hKey;
    if (m_hKey != HKEY_LOCAL_MACHINE && m_hKey != nullptr) Connect();
    return *this;
}

void CHalvRegistry::Construct(char* machine, int bLoad) {
    m_dwAccess = 0;
    for (CString* text : {&m_sOrganization, &m_sUserName, &m_sHomeDir, &m_sDBDir, &m_sLogDir, &m_sTempDir,
                          &m_sAlertHomeDir, &m_sClientAgentHomeDir}) {
        text->Empty();
    }
    for (DWORD* number : {&m_dwUserLevel, &m_dwProductCode, &m_dwNamedProductCode}) *number = 0;
    for (WORD* number : {&m_wVersion, &m_wBuild, &m_wNamedVersion, &m_wNamedBuild, &m_wAlertBuild}) *number = 0;
    m_ProductInfo = {};
    m_cSubType = 0;
    m_cNamedSubType = static_cast<char>(255);

    ChooseRoots(m_Settings.LogFile());
    m_sProductKorvault = BrandedProductId();
    if (bLoad == 0) m_sProductKorvault = m_Settings.ProductSubType() == 2 ? m_sProductZEB : m_sProductZKB;
    m_sKorvault = LastComponent(m_sKorvaultKey);
    m_sZephraniteProdKey = LastComponent(m_sProductsKey.Left(m_sProductsKey.ReverseFind('\\')));
    m_sAgentKey = m_sKorvaultKey + "\\ClientAgent\\Common";

    m_hKey = HKEY_LOCAL_MACHINE;
    if (IsAnotherMachine(machine)) Connect();
}

// A failed connection leaves a null handle, with which every read fails: another machine never turns into this one.
void CHalvRegistry::Connect() {
    m_hKey = nullptr;
    RegistryKey remote;
    if (registry::Outcome(RegConnectRegistryA(m_sMachine, HKEY_LOCAL_MACHINE, remote.Receive())))
        m_hKey = remote.Release();
}

void CHalvRegistry::Disconnect() {
    if (m_hKey == HKEY_LOCAL_MACHINE) return;
    const DWORD error = GetLastError();
    RegistryKey(m_hKey).Reset();
    m_hKey = HKEY_LOCAL_MACHINE;
    WNetCancelConnection2A("\\\\" + m_sMachine + "\\ipc$", 0, TRUE);
    SetLastError(error);
}

void CHalvRegistry::CopyCaches(const CHalvRegistry& other) {
    m_dwAccess = other.m_dwAccess;
    m_sOrganization = other.m_sOrganization;
    m_sUserName = other.m_sUserName;
    m_sHomeDir = other.m_sHomeDir;
    m_sDBDir = other.m_sDBDir;
    m_sLogDir = other.m_sLogDir;
    m_sTempDir = other.m_sTempDir;
    m_sAlertHomeDir = other.m_sAlertHomeDir;
    m_sClientAgentHomeDir = other.m_sClientAgentHomeDir;
    m_dwUserLevel = other.m_dwUserLevel;
    m_dwProductCode = other.m_dwProductCode;
    m_wVersion = other.m_wVersion;
    m_wBuild = other.m_wBuild;
    m_dwNamedProductCode = other.m_dwNamedProductCode;
    m_wNamedVersion = other.m_wNamedVersion;
    m_wNamedBuild = other.m_wNamedBuild;
    m_wAlertBuild = other.m_wAlertBuild;
    m_ProductInfo = other.m_ProductInfo;
    m_cSubType = other.m_cSubType;
    m_cNamedSubType = other.m_cNamedSubType;
}

int CHalvRegistry::Read() {
    GetRegisteredOrganization();
    GetRegisteredOwner();
    GetKorvaultHomeDir();
    GetKorvaultDBDir();
    GetKorvaultLogDir();
    GetKorvaultTempDir();
    GetKorvaultUserLevel();
    GetKorvaultProductCode();
    GetKorvaultBuildNumber();
    GetKorvaultVersionNumber();
    GetAlertHomeDir();
    // The alert service asked for is this machine's own, whatever machine the object reads.
    WORD alertBuild = 0;
    if (GetAlertBuildNumber(&alertBuild, nullptr)) m_wAlertBuild = alertBuild;
    GetClientAgentHomeDir();
    m_dwAccess |= KEY_READ;
    return 1;
}

// The settings-driven setters ask for one bit of the right to write only; a read-only object after Read has one.
int CHalvRegistry::MayWrite() const { return (m_dwAccess & kWriting) != 0 ? 1 : FailWith(ERROR_ACCESS_DENIED); }

int CHalvRegistry::WritesWhole() const { return m_dwAccess == kWriting ? 1 : FailWith(ERROR_ACCESS_DENIED); }
