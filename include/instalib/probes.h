// Questions about the platform that a setup asks before it acts. Nothing is raised.
#ifndef INSTALIB_PROBES_H
#define INSTALIB_PROBES_H

#include "instalib/export.h"
#include "instalib/windows_types.h"

// Nonzero when the machine's Windows Installer is 2.0.2600.2 or newer. Null and an empty name mean the local machine,
// which from Windows XP on has it whenever Msi.dll is there.
INSTALIB_API int IsMsiVersionOK(const char* machine);

// Nonzero when this machine is a Small Business Server 2000.
INSTALIB_API int IsSBS2000();

// The Program Files directory: of this machine (root null: from the shell, or else from the registry), or of the
// registry whose HKEY_LOCAL_MACHINE is given. `buffer` holds 260 bytes; `size` in: its bytes, out: the length in bytes,
// without the terminator from the shell, with it from the registry. Returns 0 or a Windows error code.
INSTALIB_API DWORD KSetGetProgramFilesPath(char* buffer, DWORD* size, HKEY root);

#endif
