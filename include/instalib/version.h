// The version and build of a product as its version library tells them. `library` is the library's path or name; it is
// loaded for the call, what it depends on is looked for beside it. A library that is missing or does not tell gives an
// empty text and 0. Nothing is raised.
#ifndef INSTALIB_VERSION_H
#define INSTALIB_VERSION_H

#include "instalib/string.h"
#include "instalib/windows_types.h"

// The library's own texts, at most 31 characters.
INSTALIB_API CString InstalibGetVersionString(CString library);
INSTALIB_API CString InstalibGetBuildString(CString library);

// The version word: major in the high byte, minor in the low byte, each cut to 8 bits. "11.5" is 0x0B05, "6" is 0x0600,
// ".5" is 0.
INSTALIB_API WORD InstalibGetVersionNumber(CString library);
// The build's leading digits as a number, cut to 16 bits; 0 when there are none.
INSTALIB_API WORD InstalibGetBuildNumber(CString library);
// The build in the high 16 bits, the version word in the low ones: version 11.5, build 4231 is 0x10870B05.
INSTALIB_API DWORD InstalibGetVersionBuildNumber(CString library);

#endif
