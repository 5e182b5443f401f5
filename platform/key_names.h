// What Windows tells of an open key beyond winreg.h: its full name, "\REGISTRY\MACHINE\SOFTWARE\..." or
// "\REGISTRY\USER\S-1-5-...". NtQueryKey is exported by ntdll.dll and absent from the public headers; elsewhere the
// embedded machine has it.
#ifndef INSTALIB_PLATFORM_KEY_NAMES_H
#define INSTALIB_PLATFORM_KEY_NAMES_H

#include "platform/platform.h"

// The information class of the name (wdm.h), and its record: a length in bytes, and that many bytes of UTF-16 without a
// terminator.
constexpr int kKeyNameInformation = 3;
struct KeyName {
    ULONG bytes;
    WCHAR text[1];
};

#ifdef _WIN32
extern "C" {
// STATUS_BUFFER_TOO_SMALL and STATUS_BUFFER_OVERFLOW store the size that is needed. Predefined roots and keys of other
// machines have no name here.
NTSTATUS NTAPI NtQueryKey(HANDLE key, int informationClass, PVOID buffer, ULONG size, PULONG needed);
}
#else
MACHINE_API NTSTATUS NtQueryKey(HANDLE key, int informationClass, PVOID buffer, ULONG size, PULONG needed);
#endif
#endif
