#include <new>

#include "foundation/text.h"
#include "instalib/installation.h"
#include "platform/product_libraries.h"

// The library and its six exports, and how many objects share them.
struct CInstallationDll::Plugin {
    unsigned objects = 1;
    LoadedLibrary library;
    product::PluginInstall* install = nullptr;
    product::PluginUnInstall* unInstall = nullptr;
    product::PluginAnswer* isInstalled = nullptr;
    product::PluginAnswer* isInstalledVersionNewer = nullptr;
    product::PluginErrorText* getDebugErrorString = nullptr;
    product::PluginPath* getInstallPath = nullptr;

    DWORD Load(const char* path);
    void Unload();

  private:
    template <class Function>
    bool Find(Function*& function, const char* name) {
        return (function = product::EntryPoint<Function>(library.Get(), name)) != nullptr;
    }
    bool FindAll() {
        return Find(install, "Install") && Find(unInstall, "UnInstall") && Find(isInstalled, "IsInstalled") &&
               Find(isInstalledVersionNewer, "IsInstalledVersionNewer") &&
               Find(getDebugErrorString, "GetDebugErrorString") && Find(getInstallPath, "GetInstallPath");
    }
};

namespace {

constexpr DWORD kNotLoaded = 0xFFFFFFFF;

DWORD LastErrorOr(DWORD fallback) {
    const DWORD error = GetLastError();
    return error != 0 ? error : fallback;
}

template <class Function, class... Arguments>
DWORD Call(Function* function, Arguments... arguments) {
    return function == nullptr ? kNotLoaded : function(arguments...);
}

}  // namespace

DWORD CInstallationDll::Plugin::Load(const char* path) {
    library = LoadedLibrary(LoadLibraryA(OrEmpty(path)));
    if (!library) return LastErrorOr(ERROR_MOD_NOT_FOUND);
    if (FindAll()) return 0;
    const DWORD error = LastErrorOr(ERROR_PROC_NOT_FOUND);
    Unload();
    return error;
}

void CInstallationDll::Plugin::Unload() {
    install = nullptr;
    unInstall = nullptr;
    isInstalled = isInstalledVersionNewer = nullptr;
    getDebugErrorString = nullptr;
    getInstallPath = nullptr;
    library.Reset();
}

CInstallationDll::CInstallationDll() : m_pPlugin(nullptr) {}

CInstallationDll::CInstallationDll(const CInstallationDll& other)
    : CInstallationObject(other), m_pPlugin(other.m_pPlugin) {
    if (m_pPlugin != nullptr) ++m_pPlugin->objects;
}

CInstallationDll& CInstallationDll::operator=(const CInstallationDll& other) {
    Plugin* const shared = other.m_pPlugin;  // `other` may be this object
    if (shared != nullptr) ++shared->objects;
    Release();
    m_pPlugin = shared;
    return *this;
}

CInstallationDll::~CInstallationDll() { Unload(); }

DWORD CInstallationDll::Load(const char* path) {
    Unload();
    auto* const plugin = new (std::nothrow) Plugin;
    if (plugin == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    m_pPlugin = plugin;
    const DWORD error = plugin->Load(path);
    if (error != 0) Unload();
    return error;
}

DWORD CInstallationDll::Unload() {
    if (m_pPlugin != nullptr) m_pPlugin->Unload();
    Release();
    return 0;
}

// The last object that shares the library frees it.
void CInstallationDll::Release() {
    if (m_pPlugin != nullptr && --m_pPlugin->objects == 0) delete m_pPlugin;
    m_pPlugin = nullptr;
}

void CInstallationDll::InitNull() {
    if (m_pPlugin != nullptr && m_pPlugin->objects == 1) static_cast<void>(m_pPlugin->library.Release());
    Release();
}

DWORD CInstallationDll::Install(void* parameters) {
    return m_pPlugin == nullptr ? kNotLoaded : Call(m_pPlugin->install, parameters);
}
DWORD CInstallationDll::UnInstall() { return m_pPlugin == nullptr ? kNotLoaded : Call(m_pPlugin->unInstall); }
DWORD CInstallationDll::IsInstalled(int* answer) {
    return m_pPlugin == nullptr ? kNotLoaded : Call(m_pPlugin->isInstalled, answer);
}
DWORD CInstallationDll::IsInstalledVersionNewer(int* answer) {
    return m_pPlugin == nullptr ? kNotLoaded : Call(m_pPlugin->isInstalledVersionNewer, answer);
}
DWORD CInstallationDll::GetDebugErrorString(DWORD status, char* buffer, DWORD size) {
    return m_pPlugin == nullptr ? kNotLoaded : Call(m_pPlugin->getDebugErrorString, status, buffer, size);
}
DWORD CInstallationDll::GetInstallPath(char* buffer, DWORD size) {
    return m_pPlugin == nullptr ? kNotLoaded : Call(m_pPlugin->getInstallPath, buffer, size);
}
