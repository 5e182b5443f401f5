// The computer, its environment, processes, messages and code pages (processenv.h, processthreadsapi.h, winnls.h,
// winbase.h of the Windows SDK).
#ifndef INSTALIB_EMBEDDED_API_SYSTEM_H
#define INSTALIB_EMBEDDED_API_SYSTEM_H

#include "platform/embedded/api/base.h"

// --- Environment and command line ---

// The process's own environment: the machine's and the user's variables, the host's where those have none, and the
// changes made here. Names compare without regard to case. The length without terminator; the size with it when `size`
// is too small; 0 and ERROR_ENVVAR_NOT_FOUND when there is none; 0 and last error 0 for an empty value.
MACHINE_API DWORD GetEnvironmentVariableA(LPCSTR name, LPSTR value, DWORD size);
// Null removes the variable. Seen by this process and the children it starts, never stored in the registry.
MACHINE_API BOOL SetEnvironmentVariableA(LPCSTR name, LPCSTR value);
// The program's path in quotes and its arguments; the text lives as long as the process and is not changed by later
// calls.
MACHINE_API LPSTR GetCommandLineA(void);

// --- The computer and Windows ---

#define MAX_COMPUTERNAME_LENGTH 15
// In: characters with the terminator; out: without. ERROR_BUFFER_OVERFLOW and the size needed when it is too small.
MACHINE_API BOOL GetComputerNameA(LPSTR name, LPDWORD size);

#define VER_PLATFORM_WIN32s 0
#define VER_PLATFORM_WIN32_WINDOWS 1
#define VER_PLATFORM_WIN32_NT 2
#define VER_NT_WORKSTATION 1
#define VER_NT_DOMAIN_CONTROLLER 2
#define VER_NT_SERVER 3

typedef struct _OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
} OSVERSIONINFOA, *LPOSVERSIONINFOA;

typedef struct _OSVERSIONINFOEXA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
} OSVERSIONINFOEXA, *LPOSVERSIONINFOEXA;

static_assert(sizeof(OSVERSIONINFOA) == 148 && sizeof(OSVERSIONINFOEXA) == 156, "layouts of Windows");

// The version that control set (10.0 build 19045 of the NT platform). ERROR_INSUFFICIENT_BUFFER for a size that is
// neither.
MACHINE_API BOOL GetVersionExA(LPOSVERSIONINFOA version);

// --- Processes and waits ---

#define STILL_ACTIVE 259
#define STARTF_USESHOWWINDOW 0x00000001u
#define STARTF_FORCEONFEEDBACK 0x00000040u
#define DETACHED_PROCESS 0x00000008u
#define CREATE_NEW_CONSOLE 0x00000010u
#define CREATE_NO_WINDOW 0x08000000u
#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED 0x00000080u
#define WAIT_FAILED 0xFFFFFFFFu

typedef struct _STARTUPINFOA {
    DWORD cb;
    LPSTR lpReserved;
    LPSTR lpDesktop;
    LPSTR lpTitle;
    DWORD dwX, dwY, dwXSize, dwYSize, dwXCountChars, dwYCountChars, dwFillAttribute;
    DWORD dwFlags;
    WORD wShowWindow;
    WORD cbReserved2;
    LPBYTE lpReserved2;
    HANDLE hStdInput, hStdOutput, hStdError;
} STARTUPINFOA, *LPSTARTUPINFOA;

typedef struct _PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
} PROCESS_INFORMATION, *LPPROCESS_INFORMATION;

// Pseudo handles; closing them does nothing.
MACHINE_API HANDLE GetCurrentProcess(void);
MACHINE_API HANDLE GetCurrentThread(void);
MACHINE_API DWORD GetCurrentProcessId(void);
MACHINE_API DWORD GetCurrentThreadId(void);

// Starts a program that stands on a drive of the machine: an executable or a script ("#!") of the host. It runs on the
// same machine, with this process's environment and, without `directory`, its current directory. `environment` and the
// security attributes must be null. ERROR_FILE_NOT_FOUND for a missing program, ERROR_BAD_EXE_FORMAT for a file that is
// none, ERROR_DIRECTORY for a missing directory.
MACHINE_API BOOL CreateProcessA(LPCSTR program, LPSTR commandLine, LPSECURITY_ATTRIBUTES processSecurity,
                                LPSECURITY_ATTRIBUTES threadSecurity, BOOL inheritHandles, DWORD flags,
                                LPVOID environment, LPCSTR directory, LPSTARTUPINFOA startup,
                                LPPROCESS_INFORMATION information);
// STILL_ACTIVE while it runs. The host passes on the low 8 bits of a program's own exit code.
MACHINE_API BOOL GetExitCodeProcess(HANDLE process, LPDWORD code);
MACHINE_API BOOL TerminateProcess(HANDLE process, UINT code);
// Processes, threads and mutexes. WAIT_OBJECT_0, WAIT_TIMEOUT, WAIT_ABANDONED, or WAIT_FAILED with the last error.
MACHINE_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// --- Mutexes: one per name and machine, held between all its processes ---

// ERROR_ALREADY_EXISTS as last error of a success: some process had it open already, and `owned` was ignored.
MACHINE_API HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL owned, LPCSTR name);
MACHINE_API BOOL ReleaseMutex(HANDLE mutex);

// --- Message queues: one a thread, of what is posted to it ---

#define ERROR_INVALID_THREAD_ID 1444
#define WM_QUIT 0x0012u
#define WM_TIMER 0x0113u
#define WM_USER 0x0400u
#define PM_NOREMOVE 0x0000u
#define PM_REMOVE 0x0001u
#define QS_ALLINPUT 0x04FFu

typedef struct tagPOINT {
    LONG x;
    LONG y;
} POINT;

typedef struct tagMSG {
    HWND hwnd;
    UINT message;
    UINT_PTR wParam;
    LONG_PTR lParam;
    DWORD time;
    POINT pt;
} MSG, *LPMSG;

// Posts to a thread of this process that has a queue: one that has asked for messages or waited for them.
// ERROR_INVALID_THREAD_ID otherwise.
MACHINE_API BOOL PostThreadMessageA(DWORD thread, UINT message, UINT_PTR wParam, LONG_PTR lParam);
MACHINE_API void PostQuitMessage(int exitCode);
// The oldest message whose number lies between `first` and `last` (both 0: any); a WM_QUIT comes last, and whatever is
// asked for. With a window, that window's alone.
MACHINE_API BOOL PeekMessageA(LPMSG message, HWND window, UINT first, UINT last, UINT remove);
MACHINE_API BOOL TranslateMessage(const MSG* message);
// Calls the procedure that a WM_TIMER names in lParam (the answer is 0), for any other message the window's own.
MACHINE_API LONG_PTR DispatchMessageA(const MSG* message);
// WAIT_OBJECT_0 and the number of the handle that is signalled, WAIT_OBJECT_0 + count as soon as a message is there,
// WAIT_TIMEOUT, or WAIT_FAILED with the last error. `all` and a mask other than QS_ALLINPUT are refused.
MACHINE_API DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds,
                                            DWORD wakeMask);

// --- Messages ---

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100u
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200u
#define FORMAT_MESSAGE_FROM_STRING 0x00000400u
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000u
#define FORMAT_MESSAGE_ARGUMENT_ARRAY 0x00002000u
#define FORMAT_MESSAGE_MAX_WIDTH_MASK 0x000000FFu
#define LANG_NEUTRAL 0x00
#define SUBLANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define MAKELANGID(primary, sub) ((WORD)(((WORD)(sub) << 10) | (WORD)(primary)))

// English texts of the system's errors, and of the network's from netmsg.dll. Without FROM_SYSTEM or FROM_HMODULE:
// ERROR_INVALID_PARAMETER. The length without terminator; 0 and ERROR_MR_MID_NOT_FOUND for a code without text. An
// allocated buffer is freed with LocalFree.
MACHINE_API DWORD FormatMessageA(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPSTR buffer, DWORD size,
                                 void* arguments);

#define STD_INPUT_HANDLE ((DWORD)-10)
#define STD_OUTPUT_HANDLE ((DWORD)-11)
#define STD_ERROR_HANDLE ((DWORD)-12)
// The host's own streams, for WriteFile; they are not counted as open.
MACHINE_API HANDLE GetStdHandle(DWORD which);

// --- Code pages ---

#define CP_ACP 0
#define CP_OEMCP 1
#define CP_UTF8 65001
#define MB_PRECOMPOSED 0x00000001u
#define MB_ERR_INVALID_CHARS 0x00000008u
#define WC_SEPCHARS 0x00000020u
#define WC_COMPOSITECHECK 0x00000200u
#define WC_NO_BEST_FIT_CHARS 0x00000400u

// Lengths count characters of their side and include a terminator when the source has one; -1 takes the source up to
// its terminator. A size of 0 asks for the length. 0 with ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER (also for
// a code page that is not known), ERROR_INVALID_FLAGS (UTF-8 takes no flag but MB_ERR_INVALID_CHARS) or, with
// MB_ERR_INVALID_CHARS, ERROR_NO_UNICODE_TRANSLATION.
MACHINE_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR wide, int size);
MACHINE_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR wide, int length, LPSTR text, int size,
                                    LPCSTR replacement, LPBOOL replaced);
// Upper case (LCMAP_UPPERCASE, with LOCALE_USE_CP_ACP or without) in the machine's code page, the same for every
// locale; another mapping is ERROR_INVALID_FLAGS. Lengths and sizes as above.
#define LOCALE_INVARIANT 0x007Fu
#define LCMAP_UPPERCASE 0x00000200u
#define LOCALE_USE_CP_ACP 0x40000000u
using LCID = DWORD;
MACHINE_API int LCMapStringA(LCID locale, DWORD flags, LPCSTR text, int length, LPSTR mapped, int size);
MACHINE_API UINT GetACP(void);
// Whether the byte starts a double-byte character in the machine's code page.
MACHINE_API BOOL IsDBCSLeadByte(BYTE byte);

#endif
