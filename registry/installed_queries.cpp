// What is installed: components, features, neighbouring products.
#include "instalib/path.h"
#include "platform/product_libraries.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

using Halv = CHalvRegistry;

constexpr KeyPath kComponents[] = {
    {&Halv::m_sKorvaultBaseKey, &Halv::m_sComponentsSubKey},
    {&Halv::m_sOldKorvaultBaseKeyKorvault, &Halv::m_sComponentsSubKey},
    {&Halv::m_sZEBBaseKey, &Halv::m_sComponentsSubKey},
    {&Halv::m_sZKBBaseKey, &Halv::m_sComponentsSubKey},
    {&kEnterpriseBaseKey, &Halv::m_sComponentsSubKey},
    {&Halv::m_sKorvaultBaseKey, &Halv::m_sComponentsSubKey, View::Wow32},
};

// The feature's editions, as entries of the list of installed programs.
constexpr const char* kSponsorEntries[] = {
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{105DA141-76E4-414F-BB59-F510F025E562}",
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{2BDA7B42-E1EE-44F3-8F81-EF2E7CD85603}",
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{6EC61024-C69A-40C4-BFC9-FA5DB78C88AD}",
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{A4C10056-AA10-43D1-A1C9-4E325A10C834}",
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{5A6656BB-4D82-4CC6-95DF-39D409E19042}",
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{15EB0512-E1F7-4524-B421-ABCE06B8ACA0}",
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{2E307002-493D-458E-8889-859503908A4D}",
    "SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{2E307002-493D-458E-8889-859503908A4D}",
};
constexpr char kSponsorProductCode[] = "{6EC61024-C69A-40C4-BFC9-FA5DB78C88AD}";
constexpr int kInstalledState = 5;  // INSTALLSTATE_DEFAULT (msi.h)

// A value that is there but no REG_DWORD of 1 ends the search just as 0 does; only one that cannot be read lets it go
// on.
LSTATUS ReadComponent(HKEY key, const char* component, int* installed) {
    DWORD number = 0;
    const LSTATUS status = ReadNumber(key, component, &number);
    *installed = status == 0 && number == 1;
    return status == ERROR_INVALID_DATA ? 0 : status;
}

int ComponentInstalled(HKEY root, const char* component) {
    if (component == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    int installed = 0;
    const LSTATUS status =
        Search(root, kComponents, [&](HKEY key) { return ReadComponent(key, component, &installed); });
    return Outcome(status) ? installed : 0;
}

}  // namespace

bool registry::WindowsInstallerKnows(const char* productCode) {
    const LoadedLibrary library(LoadLibraryA("msi.dll"));
    auto* const query =
        product::EntryPoint<product::MsiQueryProductState>(library.Get(), product::kMsiQueryProductState);
    return query != nullptr && query(productCode) == kInstalledState;
}

int CHalvRegistry::IsKorvaultComponentInstalled(const char* component, HKEY key) {
    return ComponentInstalled(OrLocalMachine(key), component);
}

// Query, value name.
#define COMPONENT_QUERY(Query, value)                                              \
    int Query(HKEY key) { return ComponentInstalled(OrLocalMachine(key), value); } \
    int Query() { return ComponentInstalled(m_hKey, value); }
COMPONENT_QUERY(CHalvRegistry::IsKorvaultServerInstalled, m_sServer)
COMPONENT_QUERY(CHalvRegistry::IsKorvaultManagerInstalled, m_sManager)
COMPONENT_QUERY(CHalvRegistry::IsKorvaultAdminInstalled, m_sAdmin)
COMPONENT_QUERY(CHalvRegistry::IsKorvaultSponsorInstalled, m_sSponsor)
COMPONENT_QUERY(CHalvRegistry::IsKorvaultCPMInstalled, m_sCPManager)
COMPONENT_QUERY(CHalvRegistry::IsDRWizInstalled, m_sDRWiz)
COMPONENT_QUERY(CHalvRegistry::IsSANWizInstalled, m_sSANWiz)
#undef COMPONENT_QUERY

int CHalvRegistry::IsKorvaultFeatureSponsorInstalled(HKEY key) {
    LSTATUS status = 0;
    for (const char* entry : kSponsorEntries) {
        RegistryKey opened;
        status = Open(key, entry, KEY_READ, opened);
        if (status == 0) return 1;
    }
    if (key == HKEY_LOCAL_MACHINE && WindowsInstallerKnows(kSponsorProductCode)) return 1;
    return Outcome(status);
}

int CHalvRegistry::IsKorvaultFeatureSponsorInstalled() { return IsKorvaultFeatureSponsorInstalled(m_hKey); }

int CHalvRegistry::PhagrixExists(HKEY) {
    char windows[MAX_PATH + 1] = "";
    if (GetWindowsDirectoryA(windows, sizeof windows) == 0) return 0;
    CString pattern(windows);
    AppendBackSlash(pattern);
    pattern += "*.ALT";
    WIN32_FIND_DATAA found{};
    const FindHandle find(FindFirstFileA(pattern, &found));
    if (!find) return 0;
    do {
        if (_stricmp(found.cFileName, "KORVAULT.ALT") != 0) return 1;
    } while (FindNextFileA(find.Get(), &found));
    return 0;
}
