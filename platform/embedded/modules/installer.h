// What msi.dll answers: product states and file versions of the Windows Installer.
#ifndef INSTALIB_EMBEDDED_MODULES_INSTALLER_H
#define INSTALIB_EMBEDDED_MODULES_INSTALLER_H

#include "platform/embedded/api/modules.h"

namespace embedded::installer {

// MsiQueryProductStateA: INSTALLSTATE_UNKNOWN (-1) for a product that nobody installed, INSTALLSTATE_INVALIDARG (-2)
// for null.
int WINAPI QueryProductState(const char* productCode);
// MsiGetFileVersionA: the file version as "a.b.c.d" and its language as a decimal number. 0, ERROR_FILE_NOT_FOUND,
// ERROR_FILE_INVALID for a file without version, ERROR_MORE_DATA. Lengths in: characters with the terminator; out:
// without.
UINT WINAPI GetFileVersion(const char* path, char* version, DWORD* versionLength, char* language,
                           DWORD* languageLength);
// DllGetVersion.
HRESULT WINAPI GetLibraryVersion(DLLVERSIONINFO* version);

}  // namespace embedded::installer

#endif
