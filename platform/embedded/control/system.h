// What a test or a tool may do to the machine's facts: code page, version of Windows, its built-in modules and its
// Installer. Everything here is kept with the machine and seen by all its processes; a built-in module's entries are
// the process's own.
#ifndef INSTALIB_EMBEDDED_CONTROL_SYSTEM_H
#define INSTALIB_EMBEDDED_CONTROL_SYSTEM_H

#include "platform/embedded/control/machine.h"

namespace embedded::control {

// The ANSI code page of the local machine: 1252 on a fresh one; 932, 936, 949, 950, 65001, 437, 850 and 1250 to 1258.
// False, and nothing changed, for one that is not known.
MACHINE_CONTROL bool SetCodePage(unsigned codePage);

struct WindowsVersion {
    DWORD major = 10;
    DWORD minor = 0;
    DWORD build = 19045;
    DWORD platform = 2;  // VER_PLATFORM_WIN32_NT
    std::string servicePack;
};
MACHINE_CONTROL void SetWindowsVersion(const WindowsVersion& version);

// What the Windows Installer answers: the state of a product by its code (5 is installed, -1 unknown), and the version
// text of a file by its path; an empty text lets the file's own version resource speak again.
MACHINE_CONTROL void SetProductState(const std::string& productCode, int state);
MACHINE_CONTROL void SetInstallerFileVersion(const std::string& path, const std::string& version);

// From now on this process finds no such entry point in a built-in module ("advapi32.dll", "ChangeServiceConfig2A"), or
// no such module at all, as on a Windows that lacks it. Undone by ShowEverything and by UseMachine.
MACHINE_CONTROL void HideEntryPoint(const std::string& module, const std::string& name);
MACHINE_CONTROL void HideModule(const std::string& module);
MACHINE_CONTROL void ShowEverything();

}  // namespace embedded::control

#endif
