// Files, finds, locks, attributes, drives, directories and profile files. Names, values and layouts are Windows' own
// (fileapi.h, winbase.h, winnt.h of the Windows SDK). Paths are the machine's, in its ANSI code page.
#ifndef INSTALIB_EMBEDDED_API_FILES_H
#define INSTALIB_EMBEDDED_API_FILES_H

#include "platform/embedded/api/base.h"

// Rights of files and directories (winnt.h).
#define FILE_READ_DATA 0x0001u
#define FILE_LIST_DIRECTORY 0x0001u
#define FILE_WRITE_DATA 0x0002u
#define FILE_ADD_FILE 0x0002u
#define FILE_APPEND_DATA 0x0004u
#define FILE_ADD_SUBDIRECTORY 0x0004u
#define FILE_READ_EA 0x0008u
#define FILE_WRITE_EA 0x0010u
#define FILE_EXECUTE 0x0020u
#define FILE_TRAVERSE 0x0020u
#define FILE_DELETE_CHILD 0x0040u
#define FILE_READ_ATTRIBUTES 0x0080u
#define FILE_WRITE_ATTRIBUTES 0x0100u
#define FILE_ALL_ACCESS (STANDARD_RIGHTS_REQUIRED | SYNCHRONIZE | 0x1FFu)
#define FILE_GENERIC_READ (STANDARD_RIGHTS_READ | FILE_READ_DATA | FILE_READ_ATTRIBUTES | FILE_READ_EA | SYNCHRONIZE)
#define FILE_GENERIC_WRITE \
    (STANDARD_RIGHTS_WRITE | FILE_WRITE_DATA | FILE_WRITE_ATTRIBUTES | FILE_WRITE_EA | FILE_APPEND_DATA | SYNCHRONIZE)
#define FILE_GENERIC_EXECUTE (STANDARD_RIGHTS_EXECUTE | FILE_READ_ATTRIBUTES | FILE_EXECUTE | SYNCHRONIZE)

#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define FILE_SHARE_DELETE 0x00000004u

#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_HIDDEN 0x00000002u
#define FILE_ATTRIBUTE_SYSTEM 0x00000004u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100u
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFu

#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_RANDOM_ACCESS 0x10000000u
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000u
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u

#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2
#define INVALID_SET_FILE_POINTER 0xFFFFFFFFu
#define INVALID_FILE_SIZE 0xFFFFFFFFu

#define MOVEFILE_REPLACE_EXISTING 0x00000001u
#define MOVEFILE_COPY_ALLOWED 0x00000002u
#define MOVEFILE_DELAY_UNTIL_REBOOT 0x00000004u
#define MOVEFILE_WRITE_THROUGH 0x00000008u

#define DRIVE_UNKNOWN 0u
#define DRIVE_NO_ROOT_DIR 1u
#define DRIVE_REMOVABLE 2u
#define DRIVE_FIXED 3u
#define DRIVE_REMOTE 4u
#define DRIVE_CDROM 5u
#define DRIVE_RAMDISK 6u

typedef struct _OVERLAPPED {
    ULONG_PTR Internal;
    ULONG_PTR InternalHigh;
    DWORD Offset;
    DWORD OffsetHigh;
    HANDLE hEvent;
} OVERLAPPED, *LPOVERLAPPED;

typedef struct _WIN32_FIND_DATAA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    CHAR cFileName[MAX_PATH];
    CHAR cAlternateFileName[14];
} WIN32_FIND_DATAA, *PWIN32_FIND_DATAA, *LPWIN32_FIND_DATAA;
static_assert(sizeof(WIN32_FIND_DATAA) == 320, "the record has Windows' size");

MACHINE_API HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                               DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
// All input and output is synchronous; of an OVERLAPPED only the offset counts.
MACHINE_API BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD bytesRead, LPOVERLAPPED overlapped);
MACHINE_API BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD bytes, LPDWORD bytesWritten, LPOVERLAPPED overlapped);
MACHINE_API DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method);
MACHINE_API BOOL SetEndOfFile(HANDLE file);
MACHINE_API DWORD GetFileSize(HANDLE file, LPDWORD sizeHigh);
MACHINE_API BOOL FlushFileBuffers(HANDLE file);
MACHINE_API BOOL LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD bytesLow, DWORD bytesHigh);
MACHINE_API BOOL UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD bytesLow, DWORD bytesHigh);
MACHINE_API BOOL GetFileTime(HANDLE file, LPFILETIME creation, LPFILETIME lastAccess, LPFILETIME lastWrite);
MACHINE_API BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess,
                             const FILETIME* lastWrite);

MACHINE_API BOOL DeleteFileA(LPCSTR name);
MACHINE_API BOOL MoveFileA(LPCSTR existing, LPCSTR renamed);
// MOVEFILE_DELAY_UNTIL_REBOOT adds to the machine's PendingFileRenameOperations and moves nothing.
MACHINE_API BOOL MoveFileExA(LPCSTR existing, LPCSTR renamed, DWORD flags);
MACHINE_API BOOL CopyFileA(LPCSTR existing, LPCSTR copy, BOOL failIfExists);
MACHINE_API BOOL CreateDirectoryA(LPCSTR path, LPSECURITY_ATTRIBUTES security);
MACHINE_API BOOL RemoveDirectoryA(LPCSTR path);
MACHINE_API DWORD GetFileAttributesA(LPCSTR name);
MACHINE_API BOOL SetFileAttributesA(LPCSTR name, DWORD attributes);

MACHINE_API HANDLE FindFirstFileA(LPCSTR pattern, LPWIN32_FIND_DATAA data);
MACHINE_API BOOL FindNextFileA(HANDLE find, LPWIN32_FIND_DATAA data);
MACHINE_API BOOL FindClose(HANDLE find);

// These answer the length without the terminator, or the size needed with it when the buffer is too small; 0 on
// failure.
MACHINE_API DWORD GetCurrentDirectoryA(DWORD size, LPSTR buffer);
MACHINE_API DWORD GetFullPathNameA(LPCSTR name, DWORD size, LPSTR buffer, LPSTR* filePart);
MACHINE_API DWORD GetTempPathA(DWORD size, LPSTR buffer);
MACHINE_API UINT GetWindowsDirectoryA(LPSTR buffer, UINT size);
MACHINE_API UINT GetSystemDirectoryA(LPSTR buffer, UINT size);
MACHINE_API BOOL SetCurrentDirectoryA(LPCSTR path);

MACHINE_API UINT GetDriveTypeA(LPCSTR root);
MACHINE_API BOOL GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector, LPDWORD freeClusters,
                                   LPDWORD totalClusters);
MACHINE_API DWORD GetLogicalDrives(void);

// Profile (INI) files. A name without a path means the Windows directory. Nothing is cached: each call reads the file,
// each write changes it at once and leaves every other byte of it as it was.
MACHINE_API DWORD GetPrivateProfileStringA(LPCSTR section, LPCSTR key, LPCSTR fallback, LPSTR buffer, DWORD size,
                                           LPCSTR file);
MACHINE_API UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR key, INT fallback, LPCSTR file);
MACHINE_API DWORD GetPrivateProfileSectionA(LPCSTR section, LPSTR buffer, DWORD size, LPCSTR file);
MACHINE_API DWORD GetPrivateProfileSectionNamesA(LPSTR buffer, DWORD size, LPCSTR file);
MACHINE_API BOOL WritePrivateProfileStringA(LPCSTR section, LPCSTR key, LPCSTR text, LPCSTR file);
MACHINE_API BOOL WritePrivateProfileSectionA(LPCSTR section, LPCSTR text, LPCSTR file);

// Mailslots: datagrams to the owner of `\\.\mailslot\NAME`, written through CreateFileA (GENERIC_WRITE,
// FILE_SHARE_READ) of `\\MACHINE\mailslot\NAME` on any machine of the world. A slot lives as long as its owner's
// handle. Opening fails with ERROR_FILE_NOT_FOUND without an owner and with ERROR_BAD_NETPATH without the machine.
#define MAILSLOT_NO_MESSAGE ((DWORD)-1)
#define MAILSLOT_WAIT_FOREVER ((DWORD)-1)
#define ERROR_SEM_TIMEOUT 121
// ReadFile takes the oldest message, waits `timeout` milliseconds for one and then fails with ERROR_SEM_TIMEOUT; a
// message that does not fit the buffer stays, with ERROR_INSUFFICIENT_BUFFER. ERROR_INVALID_NAME for a name of another
// machine, ERROR_ALREADY_EXISTS for an owned slot. `maximum` is told and not enforced.
MACHINE_API HANDLE CreateMailslotA(LPCSTR name, DWORD maximum, DWORD timeout, LPSECURITY_ATTRIBUTES security);
// Null places are left out; `next` is the oldest message's length or MAILSLOT_NO_MESSAGE.
MACHINE_API BOOL GetMailslotInfo(HANDLE mailslot, LPDWORD maximum, LPDWORD next, LPDWORD count, LPDWORD timeout);

#endif
