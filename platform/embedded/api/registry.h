// Registry keys, values, key security and other machines' registries, as winreg.h and winnt.h declare them.
//
// Every function answers a Windows error code, 0 for success, and leaves the last error alone. Names are 8-bit text in
// the machine's code page; sizes of data are bytes, sizes of names are characters, without the terminator where they
// are answers.
#ifndef INSTALIB_EMBEDDED_API_REGISTRY_H
#define INSTALIB_EMBEDDED_API_REGISTRY_H

#include "platform/embedded/api/base.h"

typedef ACCESS_MASK REGSAM;

// Predefined roots: open from the start, never closed.
#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)(LONG_PTR)(LONG)0x80000000u)
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)(LONG_PTR)(LONG)0x80000001u)
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)(LONG_PTR)(LONG)0x80000002u)
#define HKEY_USERS ((HKEY)(ULONG_PTR)(LONG_PTR)(LONG)0x80000003u)
#define HKEY_CURRENT_CONFIG ((HKEY)(ULONG_PTR)(LONG_PTR)(LONG)0x80000005u)

// Rights of a key (winnt.h).
#define KEY_QUERY_VALUE 0x0001u
#define KEY_SET_VALUE 0x0002u
#define KEY_CREATE_SUB_KEY 0x0004u
#define KEY_ENUMERATE_SUB_KEYS 0x0008u
#define KEY_NOTIFY 0x0010u
#define KEY_CREATE_LINK 0x0020u
#define KEY_WOW64_64KEY 0x0100u
#define KEY_WOW64_32KEY 0x0200u
#define KEY_WOW64_RES 0x0300u
#define KEY_READ ((STANDARD_RIGHTS_READ | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS | KEY_NOTIFY) & ~SYNCHRONIZE)
#define KEY_WRITE ((STANDARD_RIGHTS_WRITE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY) & ~SYNCHRONIZE)
#define KEY_EXECUTE (KEY_READ & ~SYNCHRONIZE)
#define KEY_ALL_ACCESS                                                                                      \
    ((STANDARD_RIGHTS_ALL | KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_ENUMERATE_SUB_KEYS | \
      KEY_NOTIFY | KEY_CREATE_LINK) &                                                                       \
     ~SYNCHRONIZE)

// Options of RegCreateKeyExA. A volatile key is made like any other: it outlives a restart of the machine.
#define REG_OPTION_RESERVED 0x0000u
#define REG_OPTION_NON_VOLATILE 0x0000u
#define REG_OPTION_VOLATILE 0x0001u
#define REG_OPTION_CREATE_LINK 0x0002u
#define REG_OPTION_BACKUP_RESTORE 0x0004u
#define REG_OPTION_OPEN_LINK 0x0008u

// What RegCreateKeyExA did.
#define REG_CREATED_NEW_KEY 1u
#define REG_OPENED_EXISTING_KEY 2u

// Types of values (winnt.h).
#define REG_NONE 0u
#define REG_SZ 1u
#define REG_EXPAND_SZ 2u
#define REG_BINARY 3u
#define REG_DWORD 4u
#define REG_DWORD_LITTLE_ENDIAN 4u
#define REG_DWORD_BIG_ENDIAN 5u
#define REG_LINK 6u
#define REG_MULTI_SZ 7u
#define REG_RESOURCE_LIST 8u
#define REG_FULL_RESOURCE_DESCRIPTOR 9u
#define REG_RESOURCE_REQUIREMENTS_LIST 10u
#define REG_QWORD 11u
#define REG_QWORD_LITTLE_ENDIAN 11u

// Keys. A subkey's name is a path of names of up to 255 characters each; null or empty stands for the key itself.
MACHINE_API LSTATUS RegOpenKeyExA(HKEY key, LPCSTR subkey, DWORD options, REGSAM desired, PHKEY result);
MACHINE_API LSTATUS RegCreateKeyExA(HKEY key, LPCSTR subkey, DWORD reserved, LPSTR keyClass, DWORD options,
                                    REGSAM desired, const LPSECURITY_ATTRIBUTES attributes, PHKEY result,
                                    LPDWORD disposition);
MACHINE_API LSTATUS RegCloseKey(HKEY key);
// ERROR_ACCESS_DENIED when the key has subkeys. RegDeleteKeyExA takes the view (KEY_WOW64_64KEY, KEY_WOW64_32KEY)
// besides.
MACHINE_API LSTATUS RegDeleteKeyA(HKEY key, LPCSTR subkey);
MACHINE_API LSTATUS RegDeleteKeyExA(HKEY key, LPCSTR subkey, REGSAM view, DWORD reserved);
// Subkeys in sorted order. A name buffer that is too small gives ERROR_MORE_DATA.
MACHINE_API LSTATUS RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, LPDWORD nameSize, LPDWORD reserved, LPSTR keyClass,
                                  LPDWORD classSize, PFILETIME lastWrite);
MACHINE_API LSTATUS RegQueryInfoKeyA(HKEY key, LPSTR keyClass, LPDWORD classSize, LPDWORD reserved, LPDWORD subkeys,
                                     LPDWORD longestSubkey, LPDWORD longestClass, LPDWORD values,
                                     LPDWORD longestValueName, LPDWORD longestData, LPDWORD securityDescriptor,
                                     PFILETIME lastWrite);
MACHINE_API LSTATUS RegFlushKey(HKEY key);
// "\\HOST" or "HOST"; null, empty and the local name give the local machine. Roots: HKEY_LOCAL_MACHINE and HKEY_USERS.
// ERROR_BAD_NETPATH when the world has no such machine.
MACHINE_API LSTATUS RegConnectRegistryA(LPCSTR machine, HKEY root, PHKEY result);

// Values. Null or "" names the default value. Types and bytes are kept exactly, with or without a terminator.
MACHINE_API LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
MACHINE_API LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
MACHINE_API LSTATUS RegDeleteValueA(HKEY key, LPCSTR name);
// Values in order of creation.
MACHINE_API LSTATUS RegEnumValueA(HKEY key, DWORD index, LPSTR name, LPDWORD nameSize, LPDWORD reserved, LPDWORD type,
                                  LPBYTE data, LPDWORD size);

// The key's security descriptor in self-relative form. ERROR_INSUFFICIENT_BUFFER stores the size that is needed.
MACHINE_API LSTATUS RegGetKeySecurity(HKEY key, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor,
                                      LPDWORD size);
MACHINE_API LSTATUS RegSetKeySecurity(HKEY key, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor);

#endif
