// The Windows type names that the public headers need. On Windows they are the system's own; elsewhere this header
// declares the same names with the same sizes, so that `long` and `unsigned long` of the interface (Windows' 32-bit
// LONG and DWORD) are 32 bits wide on both targets. It may be included before or after <windows.h>.
#ifndef INSTALIB_WINDOWS_TYPES_H
#define INSTALIB_WINDOWS_TYPES_H

#ifdef _WIN32

#include <windows.h>

#else

#include <cstdint>

typedef int BOOL;
typedef unsigned char BYTE;
typedef std::uint16_t WORD;
typedef std::uint32_t DWORD;
typedef std::int32_t LONG;
typedef unsigned int UINT;
typedef char16_t WCHAR;

typedef void* HANDLE;
typedef HANDLE PSID;
typedef struct HKEY__* HKEY;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef struct HWND__* HWND;
typedef struct SC_HANDLE__* SC_HANDLE;

#endif

static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(WORD) == 2 && sizeof(WCHAR) == 2,
              "records of the interface rely on Windows' sizes");

#endif
