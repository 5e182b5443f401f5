// The alert service's build: what is registered, and what its files say.
#include <cstdlib>

#include "platform/product_libraries.h"
#include "registry/alert_library.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

using Halv = CHalvRegistry;

constexpr KeyPath kAlertKeys[] = {{&Halv::m_sAlertKey}, {&kFormerAlertKey}};

// Only the first of the two keys that opens is asked.
int AlertBuild(HKEY root, WORD* build) {
    char text[256] = "";
    const auto read = [&](HKEY key) { return ReadText(key, Halv::m_sCurrentBuildNumber, text); };
    if (!Outcome(Search(root, kAlertKeys, read, Continue::WhenNotOpened))) return 0;
    *build = static_cast<WORD>(std::strtol(text, nullptr, 10));
    return 1;
}

}  // namespace

CString registry::InstalledAlertBuild(const char* directory) {
    const LoadedLibrary library(LoadLibraryA(CString(directory) + product::kAlertVersionLibrary));
    auto* const function = product::EntryPoint<product::GetAlertBuildText>(library.Get(), "AlGetBuildNumberA");
    // The entry point takes no size: what it may fill is far beyond a build number.
    char text[1024 + 1] = "";
    if (function != nullptr) function(text);
    text[1024] = '\0';
    return text;
}

int CHalvRegistry::GetAlertBuildNumber(WORD* build, HKEY key) {
    if (build == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    *build = 0;
    return AlertBuild(OrLocalMachine(key), build);
}

DWORD CHalvRegistry::GetAlertBuildNumber() {
    AlertBuild(m_hKey, &m_wAlertBuild);
    return m_wAlertBuild;
}
