// Modules and version resources of the embedded machine (libloaderapi.h, winver.h, shlwapi.h of the Windows SDK).
#ifndef INSTALIB_EMBEDDED_API_MODULES_H
#define INSTALIB_EMBEDDED_API_MODULES_H

#include "platform/embedded/api/base.h"

#define DONT_RESOLVE_DLL_REFERENCES 0x00000001u
#define LOAD_LIBRARY_AS_DATAFILE 0x00000002u
#define LOAD_WITH_ALTERED_SEARCH_PATH 0x00000008u

typedef LONG HRESULT;
#define S_OK ((HRESULT)0)
#define S_FALSE ((HRESULT)1)
#define E_INVALIDARG ((HRESULT)0x80070057)
#define E_FAIL ((HRESULT)0x80004005)
#define SUCCEEDED(status) ((HRESULT)(status) >= 0)
#define FAILED(status) ((HRESULT)(status) < 0)
#define MAKEINTRESOURCEA(i) ((LPSTR)((ULONG_PTR)((WORD)(i))))

// A path on a drive of the machine loads the shared object that stands there; a bare name is searched in the program's
// folder, the system directory, the Windows directory, the current directory and Path. ".DLL" is appended to a name
// without extension (a final dot keeps it off). The same file gives the same handle until it was freed as often as it
// was loaded. A DLL of real Windows loads without entry points. Null on failure: ERROR_MOD_NOT_FOUND for a missing
// file, ERROR_BAD_EXE_FORMAT for one that is no library.
MACHINE_API HMODULE LoadLibraryA(LPCSTR name);
// `file` must be null. LOAD_WITH_ALTERED_SEARCH_PATH changes nothing here: the host's loader finds what a library
// needs. LOAD_LIBRARY_AS_DATAFILE gives a handle without entry points, for messages and resources.
MACHINE_API HMODULE LoadLibraryExA(LPCSTR name, HANDLE file, DWORD flags);
MACHINE_API BOOL FreeLibrary(HMODULE module);
// By name (case matters), or by an ordinal in the low word: the symbol OrdinalN. ERROR_PROC_NOT_FOUND when there is
// none.
MACHINE_API FARPROC GetProcAddress(HMODULE module, LPCSTR name);
// A loaded module by name or path, not counted as loaded once more; the program for null.
MACHINE_API HMODULE GetModuleHandleA(LPCSTR name);
// The module's full path, the program's for null; the length without terminator. A capacity that is too small gives the
// first capacity - 1 characters, a terminator, the capacity as result and ERROR_INSUFFICIENT_BUFFER.
MACHINE_API DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD capacity);

// --- Version resources ---

#define VS_FFI_SIGNATURE 0xFEEF04BDu
#define VS_FFI_STRUCVERSION 0x00010000u
#define VS_VERSION_INFO 1
#define RT_VERSION 16

typedef struct tagVS_FIXEDFILEINFO {
    DWORD dwSignature;
    DWORD dwStrucVersion;
    DWORD dwFileVersionMS;  // major << 16 | minor
    DWORD dwFileVersionLS;  // build << 16 | revision
    DWORD dwProductVersionMS;
    DWORD dwProductVersionLS;
    DWORD dwFileFlagsMask;
    DWORD dwFileFlags;
    DWORD dwFileOS;
    DWORD dwFileType;
    DWORD dwFileSubtype;
    DWORD dwFileDateMS;
    DWORD dwFileDateLS;
} VS_FIXEDFILEINFO;

typedef struct _DLLVERSIONINFO {
    DWORD cbSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformID;
} DLLVERSIONINFO;
typedef HRESULT(CALLBACK* DLLGETVERSIONPROC)(DLLVERSIONINFO*);

static_assert(sizeof(VS_FIXEDFILEINFO) == 52 && sizeof(DLLVERSIONINFO) == 20, "layouts of Windows");

// The bytes that GetFileVersionInfoA needs for a file's version resource; 0 and the error when it has none. The file is
// found by path, or by name as LoadLibraryA finds it. `ignored` is set to 0.
MACHINE_API DWORD GetFileVersionInfoSizeA(LPCSTR path, LPDWORD ignored);
MACHINE_API BOOL GetFileVersionInfoA(LPCSTR path, DWORD ignored, DWORD bytes, LPVOID block);
// "\\", "\\VarFileInfo\\Translation" or "\\StringFileInfo\\LLLLCCCC\\Name", without regard to case. `value` points into
// the block and lives as long; `size` is in bytes, for texts in characters with the terminator. FALSE when it is
// missing.
MACHINE_API BOOL VerQueryValueA(LPCVOID block, LPCSTR path, LPVOID* value, UINT* size);

#endif
