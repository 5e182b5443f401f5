// The one door to the system. Nothing above platform/ includes a system header: on Windows this brings the real
// <windows.h> family, elsewhere the embedded machine, which declares the same names with the same signatures, constants
// and error codes, and only the ones that the library calls.
//
// What a target must offer, by family (each embedded header lists its functions):
//   base       types, last error, heap, local and framework memory, clock and sleep
//   registry   keys, values, key security, other machines' registries
//   files      handles, finds, locks, attributes, drives, current directory, profile (INI) files
//   modules    libraries and entry points by name and ordinal, version resources
//   system     environment, command line, names and versions of the computer and of Windows, processes, code pages
//   windows    windows, posted messages (user32.dll, loaded when first called)
//   security   identifiers, access lists, descriptors, tokens, privileges, access check, private objects
//   accounts   names and identifiers, users, local groups, domain controllers, local security authority
//   network    workstation, server and share information, connections
//   services   the service control manager
//   runtime    the C runtime's Windows additions (_access, _splitpath, _stricmp, ...)
#ifndef INSTALIB_PLATFORM_PLATFORM_H
#define INSTALIB_PLATFORM_PLATFORM_H

#include "instalib/windows_types.h"

#ifdef _WIN32

#include <windows.h>
// The security and network headers build on windows.h and follow it.
#include <aclapi.h>
#include <direct.h>
#include <io.h>
#include <lm.h>
#include <mbstring.h>
#include <ntsecapi.h>
#include <process.h>
#include <shlwapi.h>
#include <time.h>
#include <winnetwk.h>
#include <winsvc.h>
#include <winver.h>

#else

#include "platform/embedded/api/accounts.h"
#include "platform/embedded/api/base.h"
#include "platform/embedded/api/files.h"
#include "platform/embedded/api/modules.h"
#include "platform/embedded/api/network.h"
#include "platform/embedded/api/registry.h"
#include "platform/embedded/api/runtime.h"
#include "platform/embedded/api/security.h"
#include "platform/embedded/api/services.h"
#include "platform/embedded/api/system.h"
#include "platform/embedded/api/tokens.h"
#include "platform/embedded/api/windows.h"

#endif

#endif
