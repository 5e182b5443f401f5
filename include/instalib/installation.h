// Components that install themselves through a plug-in library: the interface and its implementation by a library.
#ifndef INSTALIB_INSTALLATION_H
#define INSTALIB_INSTALLATION_H

#include "instalib/export.h"
#include "instalib/windows_types.h"

// The slots stand in this order; there is no virtual destructor. Statuses are the component's own, 0 by custom being
// success.
class INSTALIB_API CInstallationObject {
  public:
    virtual DWORD Install(void* parameters) = 0;
    virtual DWORD UnInstall() = 0;
    virtual DWORD IsInstalled(int* answer) = 0;
    virtual DWORD IsInstalledVersionNewer(int* answer) = 0;
    virtual DWORD GetDebugErrorString(DWORD status, char* buffer, DWORD size) = 0;
    virtual DWORD GetInstallPath(char* buffer, DWORD size) = 0;
};

// Passes each operation with its arguments unchanged to the plug-in's export of the same name; 0xFFFFFFFF while none is
// loaded. Copies share the library: unloading or destroying one unloads it for all of them, in any order.
class INSTALIB_API CInstallationDll : public CInstallationObject {
  public:
    CInstallationDll();
    CInstallationDll(const CInstallationDll& other);
    CInstallationDll& operator=(const CInstallationDll& other);
    ~CInstallationDll();

    // Loads the library with Windows' standard search; what was loaded before is unloaded first. 0, or the Windows
    // error of the load or of the look-up when one of the six exports is missing; then nothing is loaded.
    DWORD Load(const char* path);
    // Always 0.
    DWORD Unload();

    DWORD Install(void* parameters) override;
    DWORD UnInstall() override;
    DWORD IsInstalled(int* answer) override;
    DWORD IsInstalledVersionNewer(int* answer) override;
    DWORD GetDebugErrorString(DWORD status, char* buffer, DWORD size) override;
    DWORD GetInstallPath(char* buffer, DWORD size) override;

  protected:
    // Forgets the library without unloading it.
    void InitNull();

  private:
    struct Plugin;
    void Release();

    Plugin* m_pPlugin;
};

#endif
