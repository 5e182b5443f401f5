// CApplication: the family's desktop programs while they run. Each holds a named mutex and shows a main window of a
// class of its own; the mutex tells that it runs, the window takes the request to close. Nothing is raised.
#ifndef INSTALIB_APPLICATION_H
#define INSTALIB_APPLICATION_H

#include "instalib/string.h"
#include "instalib/windows_types.h"

class INSTALIB_API CApplication {
  public:
    enum Application : int { ManagerApp, AdminApp, CentralDBConfigApp, MonitorApp, DeviceConfigApp };

    static const CString KorvaultManagerClass, KorvaultrAdminClass, KorvaultCentralDBConfigClass, KorvaultMonitorClass,
        KorvaultDeviceConfigClass;
    static const CString KorvaultManagerMutex, KorvaultAdminMutex, KorvaultCentralDBConfigMutex, KorvaultMonitorMutex,
        KorvaultDeviceConfigMutex;

    // Any other value leaves class and mutex empty.
    CApplication(Application application);
    CApplication(const char* className, const char* mutexName);
    CApplication(const CApplication& other);
    CApplication& operator=(const CApplication& other);
    ~CApplication();

    // The class of the main window; valid until the object changes.
    const char* GetClassNameA() const;
    int IsRunning() const;
    int CloseWindow() const;

    // 1 when another thread or process holds the mutex or died holding it; 0 otherwise, also when the mutex cannot be
    // made and when the calling thread holds it. Leaves no mutex behind.
    static int IsRunning(const char* mutexName);
    // The first top-level window whose title (its first 255 bytes) contains the text, in exact case; never the main
    // window of the calling program, which is its first visible window without an owner. Null without one, and for a
    // null text.
    static HWND FindWindowA(const char* title);
    // Hides the window of the class and asks it to close, without waiting: 1, or 0 when there is none.
    static int CloseWindow(const char* className);
    // Does the same to every window that FindWindowA finds, in rounds 50 ms apart, until none is left. Gives up when
    // for 30 seconds no window has gone. A null or empty text closes nothing.
    static void CloseWindows(const char* title);

  private:
    void Construct(const char* className, const char* mutexName);

    CString m_sClassName;
    CString m_sMutexName;
};

#endif
