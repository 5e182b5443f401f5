#include "instalib/application.h"

#include <cstring>
#include <iterator>

#include "foundation/text.h"
#include "platform/product_libraries.h"

const CString CApplication::KorvaultManagerClass = "ZephraniteMgr";
const CString CApplication::KorvaultrAdminClass = "KorvaultAdmin";
const CString CApplication::KorvaultCentralDBConfigClass = "KORCentralDBConfig";
const CString CApplication::KorvaultMonitorClass = "KVDM32WClass";
const CString CApplication::KorvaultDeviceConfigClass = "Device Configuration";
const CString CApplication::KorvaultManagerMutex = "ZephraniteManagerAppInstMutex";
const CString CApplication::KorvaultAdminMutex = "KorvaultAdminAppInstMutex";
const CString CApplication::KorvaultCentralDBConfigMutex = "KORCentralDBConfigAppInstMutex";
const CString CApplication::KorvaultMonitorMutex = "KVDM32Mutex";
const CString CApplication::KorvaultDeviceConfigMutex = "KorvaultDeviceConfigurationMutex";

namespace {

constexpr UINT kCloseMessage = 0x10;             // WM_CLOSE (winuser.h)
constexpr UINT kCloseManagerMessage = 0x637;     // the manager's own
constexpr int kHide = 0;                         // SW_HIDE
constexpr UINT kOwner = 4;                       // GW_OWNER
constexpr DWORD kPause = 50, kPatience = 30000;  // milliseconds

// The functions of user32.dll that are needed here; usable only when all of them are there.
class Desktop {
  public:
    Desktop() : m_library(LoadLibraryA("user32.dll")) {
        m_usable = Load(m_findWindow, "FindWindowA") && Load(m_enumWindows, "EnumWindows") &&
                   Load(m_isWindow, "IsWindow") && Load(m_isVisible, "IsWindowVisible") &&
                   Load(m_getWindow, "GetWindow") && Load(m_getProcess, "GetWindowThreadProcessId") &&
                   Load(m_getTitle, "GetWindowTextA") && Load(m_showWindow, "ShowWindow") &&
                   Load(m_postMessage, "PostMessageA");
    }

    HWND OfClass(const char* className) const { return m_usable ? m_findWindow(className, nullptr) : nullptr; }

    HWND WithTitle(const char* text) {
        if (!m_usable) return nullptr;
        m_text = text;
        m_main = m_found = nullptr;
        m_enumWindows(FindMain, reinterpret_cast<LONG_PTR>(this));
        m_enumWindows(FindTitle, reinterpret_cast<LONG_PTR>(this));
        return m_found;
    }

    void Close(HWND window, UINT message) const {
        m_showWindow(window, kHide);
        m_postMessage(window, message, 0, 0);
    }

  private:
    template <class Function>
    bool Load(Function*& function, const char* name) {
        return (function = product::EntryPoint<Function>(m_library.Get(), name)) != nullptr;
    }

    static BOOL CALLBACK FindMain(HWND window, LONG_PTR parameter) {
        auto& self = *reinterpret_cast<Desktop*>(parameter);
        DWORD process = 0;
        self.m_getProcess(window, &process);
        const bool isMain =
            process == GetCurrentProcessId() && self.m_isVisible(window) && self.m_getWindow(window, kOwner) == nullptr;
        if (isMain) self.m_main = window;
        return !isMain;
    }

    static BOOL CALLBACK FindTitle(HWND window, LONG_PTR parameter) {
        auto& self = *reinterpret_cast<Desktop*>(parameter);
        if (window == self.m_main || !self.m_isWindow(window)) return TRUE;
        char title[256] = "";
        self.m_getTitle(window, title, sizeof title);
        title[sizeof title - 1] = '\0';
        if (std::strstr(title, self.m_text) == nullptr) return TRUE;
        self.m_found = window;
        return FALSE;
    }

    LoadedLibrary m_library;
    product::FindWindowByClass* m_findWindow = nullptr;
    product::EnumerateWindows* m_enumWindows = nullptr;
    product::AskWindow* m_isWindow = nullptr;
    product::AskWindow* m_isVisible = nullptr;
    product::GetRelatedWindow* m_getWindow = nullptr;
    product::GetWindowProcess* m_getProcess = nullptr;
    product::GetWindowTitle* m_getTitle = nullptr;
    product::SetWindowShown* m_showWindow = nullptr;
    product::PostWindowMessage* m_postMessage = nullptr;
    bool m_usable = false;
    const char* m_text = nullptr;
    HWND m_main = nullptr;
    HWND m_found = nullptr;
};

}  // namespace

CApplication::CApplication(Application application) {
    const struct {
        const CString& className;
        const CString& mutexName;
    } applications[] = {
        {KorvaultManagerClass, KorvaultManagerMutex},
        {KorvaultrAdminClass, KorvaultAdminMutex},
        {KorvaultCentralDBConfigClass, KorvaultCentralDBConfigMutex},
        {KorvaultMonitorClass, KorvaultMonitorMutex},
        {KorvaultDeviceConfigClass, KorvaultDeviceConfigMutex},
    };
    const auto index = static_cast<unsigned>(application);
    if (index < std::size(applications)) Construct(applications[index].className, applications[index].mutexName);
}

CApplication::CApplication(const char* className, const char* mutexName) { Construct(className, mutexName); }
CApplication::CApplication(const CApplication& other) = default;
CApplication& CApplication::operator=(const CApplication& other) = default;
CApplication::~CApplication() = default;

void CApplication::Construct(const char* className, const char* mutexName) {
    m_sClassName = className;
    m_sMutexName = mutexName;
}

const char* CApplication::GetClassNameA() const { return m_sClassName; }
int CApplication::IsRunning() const { return IsRunning(m_sMutexName); }
int CApplication::CloseWindow() const { return CloseWindow(m_sClassName); }

int CApplication::IsRunning(const char* mutexName) {
    const KernelHandle mutex(CreateMutexA(nullptr, TRUE, mutexName));
    if (!mutex) return 0;
    const bool isNew = GetLastError() != ERROR_ALREADY_EXISTS;
    const DWORD outcome = WaitForSingleObject(mutex.Get(), 0);
    // As often as it was acquired: a new mutex is owned from its making on.
    if (outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED) ReleaseMutex(mutex.Get());
    if (isNew) ReleaseMutex(mutex.Get());
    return outcome != WAIT_OBJECT_0;
}

HWND CApplication::FindWindowA(const char* title) { return title == nullptr ? nullptr : Desktop().WithTitle(title); }

int CApplication::CloseWindow(const char* className) {
    const Desktop desktop;
    const HWND window = className == nullptr ? nullptr : desktop.OfClass(className);
    if (window == nullptr) return 0;
    desktop.Close(window, KorvaultManagerClass.Compare(className) == 0 ? kCloseManagerMessage : kCloseMessage);
    return 1;
}

void CApplication::CloseWindows(const char* title) {
    if (*OrEmpty(title) == '\0') return;
    Desktop desktop;
    HWND last = nullptr;
    DWORD since = GetTickCount();
    for (HWND window = desktop.WithTitle(title); window != nullptr; window = desktop.WithTitle(title)) {
        if (window != last) since = GetTickCount();
        if (GetTickCount() - since >= kPatience) return;
        last = window;
        desktop.Close(window, kCloseMessage);
        Sleep(kPause);
    }
}
