// The room api/: the Windows functions and types that the library calls, a header for each family; this one has what
// all share.
//
// Types, constants and memory that every family of the embedded machine uses. Names, values and layouts are Windows'
// own (winnt.h, winerror.h, minwindef.h of the Windows SDK).
#ifndef INSTALIB_EMBEDDED_API_BASE_H
#define INSTALIB_EMBEDDED_API_BASE_H

#include <cstddef>
#include <cstdint>

#include "instalib/windows_types.h"

// Marks what the embedded machine exports; everything else of it stays inside.
#define MACHINE_API extern "C" __attribute__((visibility("default")))

#define WINAPI
#define APIENTRY
#define CALLBACK
#define VOID void
#define CONST const
#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#define MAX_PATH 260
#define INFINITE 0xFFFFFFFFu

typedef char CHAR;
typedef unsigned char UCHAR;
typedef unsigned char BOOLEAN;
typedef std::int16_t SHORT;
typedef std::uint16_t USHORT;
typedef int INT;
typedef std::uint32_t ULONG;
typedef std::int64_t LONGLONG;
typedef std::uint64_t ULONGLONG;
typedef std::uint64_t DWORDLONG;
typedef std::uintptr_t ULONG_PTR, UINT_PTR, DWORD_PTR;
typedef std::intptr_t LONG_PTR, INT_PTR;
typedef std::size_t SIZE_T;
typedef void* PVOID;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef char* PSTR;
typedef WCHAR* LPWSTR;
typedef WCHAR* PWSTR;
typedef const WCHAR* LPCWSTR;
typedef BYTE* LPBYTE;
typedef BYTE* PBYTE;
typedef BOOL* LPBOOL;
typedef BOOL* PBOOL;
typedef WORD* LPWORD;
typedef DWORD* LPDWORD;
typedef DWORD* PDWORD;
typedef ULONG* PULONG;
typedef LONG* PLONG;
typedef ULONG* PULONG;
typedef UCHAR* PUCHAR;
typedef HKEY* PHKEY;
typedef HANDLE* PHANDLE;
typedef HANDLE* LPHANDLE;
typedef HANDLE HLOCAL;
typedef ULONG_PTR WPARAM;
typedef LONG_PTR LPARAM;
typedef LONG_PTR LRESULT;
typedef INT_PTR (*FARPROC)();
typedef LONG LSTATUS;
typedef LONG NTSTATUS;
typedef DWORD ACCESS_MASK;
typedef void* PSECURITY_DESCRIPTOR;
typedef DWORD SECURITY_INFORMATION;

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)

#define LOBYTE(w) ((BYTE)((DWORD_PTR)(w)&0xff))
#define HIBYTE(w) ((BYTE)(((DWORD_PTR)(w) >> 8) & 0xff))
#define LOWORD(l) ((WORD)((DWORD_PTR)(l)&0xffff))
#define HIWORD(l) ((WORD)(((DWORD_PTR)(l) >> 16) & 0xffff))
#define MAKEWORD(a, b) ((WORD)(((BYTE)((DWORD_PTR)(a)&0xff)) | ((WORD)((BYTE)((DWORD_PTR)(b)&0xff))) << 8))
#define MAKELONG(a, b) ((LONG)(((WORD)((DWORD_PTR)(a)&0xffff)) | ((DWORD)((WORD)((DWORD_PTR)(b)&0xffff))) << 16))

#ifndef GUID_DEFINED
#define GUID_DEFINED
typedef struct _GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
} GUID;
#endif

typedef struct _FILETIME {
    DWORD dwLowDateTime;  // 100-nanosecond steps since 1601-01-01 UTC
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

typedef struct _SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

// Standard and generic rights (winnt.h).
#define DELETE 0x00010000u
#define READ_CONTROL 0x00020000u
#define WRITE_DAC 0x00040000u
#define WRITE_OWNER 0x00080000u
#define SYNCHRONIZE 0x00100000u
#define STANDARD_RIGHTS_REQUIRED 0x000F0000u
#define STANDARD_RIGHTS_READ READ_CONTROL
#define STANDARD_RIGHTS_WRITE READ_CONTROL
#define STANDARD_RIGHTS_EXECUTE READ_CONTROL
#define STANDARD_RIGHTS_ALL 0x001F0000u
#define SPECIFIC_RIGHTS_ALL 0x0000FFFFu
#define ACCESS_SYSTEM_SECURITY 0x01000000u
#define MAXIMUM_ALLOWED 0x02000000u
#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define GENERIC_EXECUTE 0x20000000u
#define GENERIC_ALL 0x10000000u

// System error codes (winerror.h).
#define NO_ERROR 0u
#define ERROR_SUCCESS 0
#define ERROR_INVALID_FUNCTION 1
#define ERROR_FILE_NOT_FOUND 2
#define ERROR_PATH_NOT_FOUND 3
#define ERROR_TOO_MANY_OPEN_FILES 4
#define ERROR_ACCESS_DENIED 5
#define ERROR_INVALID_HANDLE 6
#define ERROR_NOT_ENOUGH_MEMORY 8
#define ERROR_BAD_ENVIRONMENT 10
#define ERROR_INVALID_DATA 13
#define ERROR_OUTOFMEMORY 14
#define ERROR_NOT_SAME_DEVICE 17
#define ERROR_NO_MORE_FILES 18
#define ERROR_WRITE_PROTECT 19
#define ERROR_NOT_READY 21
#define ERROR_GEN_FAILURE 31
#define ERROR_SHARING_VIOLATION 32
#define ERROR_LOCK_VIOLATION 33
#define ERROR_HANDLE_EOF 38
#define ERROR_NOT_SUPPORTED 50
#define ERROR_BAD_NETPATH 53
#define ERROR_BAD_NET_NAME 67
#define ERROR_FILE_EXISTS 80
#define ERROR_INVALID_PASSWORD 86
#define ERROR_INVALID_PARAMETER 87
#define ERROR_BUFFER_OVERFLOW 111
#define ERROR_DISK_FULL 112
#define ERROR_CALL_NOT_IMPLEMENTED 120
#define ERROR_INSUFFICIENT_BUFFER 122
#define ERROR_INVALID_NAME 123
#define ERROR_INVALID_LEVEL 124
#define ERROR_MOD_NOT_FOUND 126
#define ERROR_PROC_NOT_FOUND 127
#define ERROR_NEGATIVE_SEEK 131
#define ERROR_DIR_NOT_EMPTY 145
#define ERROR_NOT_LOCKED 158
#define ERROR_BAD_PATHNAME 161
#define ERROR_ALREADY_EXISTS 183
#define ERROR_BAD_EXE_FORMAT 193
#define ERROR_ENVVAR_NOT_FOUND 203
#define ERROR_FILENAME_EXCED_RANGE 206
#define WAIT_TIMEOUT 258
#define ERROR_MORE_DATA 234
#define ERROR_NO_MORE_ITEMS 259
#define ERROR_DIRECTORY 267
#define ERROR_NOT_OWNER 288
#define ERROR_MR_MID_NOT_FOUND 317
#define ERROR_INVALID_ADDRESS 487
#define ERROR_NOACCESS 998
#define ERROR_INVALID_FLAGS 1004
#define ERROR_FILE_INVALID 1006
#define ERROR_NOACCESS 998
#define ERROR_NO_TOKEN 1008
#define ERROR_BADDB 1009
#define ERROR_BADKEY 1010
#define ERROR_CANTOPEN 1011
#define ERROR_REGISTRY_IO_FAILED 1016
#define ERROR_KEY_DELETED 1018
#define ERROR_KEY_HAS_CHILDREN 1020
#define ERROR_CHILD_MUST_BE_VOLATILE 1021
#define ERROR_NO_UNICODE_TRANSLATION 1113
#define ERROR_NOT_ALL_ASSIGNED 1300
#define ERROR_UNKNOWN_REVISION 1305
#define ERROR_REVISION_MISMATCH 1306
#define ERROR_INVALID_OWNER 1307
#define ERROR_INVALID_PRIMARY_GROUP 1308
#define ERROR_NO_IMPERSONATION_TOKEN 1309
#define ERROR_NO_SUCH_PRIVILEGE 1313
#define ERROR_PRIVILEGE_NOT_HELD 1314
#define ERROR_NONE_MAPPED 1332
#define ERROR_INVALID_ACL 1336
#define ERROR_INVALID_SID 1337
#define ERROR_INVALID_SECURITY_DESCR 1338
#define ERROR_ALLOTTED_SPACE_EXCEEDED 1344
#define ERROR_BAD_IMPERSONATION_LEVEL 1346
#define ERROR_CANT_OPEN_ANONYMOUS 1347
#define ERROR_BAD_TOKEN_TYPE 1349
#define ERROR_NO_SECURITY_ON_OBJECT 1350
#define ERROR_GENERIC_NOT_MAPPED 1360
#define ERROR_BAD_DESCRIPTOR_FORMAT 1361
#define ERROR_NO_SYSTEM_RESOURCES 1450
#define ERROR_UNKNOWN_PRODUCT 1605
#define RPC_S_SERVER_UNAVAILABLE 1722
#define ERROR_RESOURCE_DATA_NOT_FOUND 1812
#define ERROR_RESOURCE_TYPE_NOT_FOUND 1813

MACHINE_API DWORD GetLastError(void);
MACHINE_API void SetLastError(DWORD error);

// Local memory: LocalFree takes null and returns null on success, the memory itself on failure.
#define LMEM_FIXED 0x0000
#define LMEM_ZEROINIT 0x0040
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)
MACHINE_API HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
MACHINE_API HLOCAL LocalFree(HLOCAL memory);

// The process heap. Flags: only HEAP_ZERO_MEMORY has a meaning.
#define HEAP_ZERO_MEMORY 0x00000008
MACHINE_API HANDLE GetProcessHeap(void);
MACHINE_API LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
MACHINE_API BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID memory);

MACHINE_API BOOL CloseHandle(HANDLE handle);

// Time and waits go through the machine, so that a test may drive its clock (see control/machine.h).
MACHINE_API void Sleep(DWORD milliseconds);
MACHINE_API DWORD GetTickCount(void);
MACHINE_API void GetSystemTimeAsFileTime(LPFILETIME time);
MACHINE_API void GetLocalTime(LPSYSTEMTIME time);
MACHINE_API BOOL FileTimeToLocalFileTime(const FILETIME* time, LPFILETIME local);
MACHINE_API BOOL FileTimeToSystemTime(const FILETIME* time, LPSYSTEMTIME result);
MACHINE_API BOOL SystemTimeToFileTime(const SYSTEMTIME* time, LPFILETIME result);

#endif
