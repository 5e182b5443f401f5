// Scrambling of passwords by the product library KVDCEN.DLL, which is looked for in the current directory and then
// beside the running program, and loaded for each call. Nothing is raised; what passwords pass through is wiped.
//
// Results: 0 is success, KSET_ZKB_UNAVAILABLE says that the library or its entry point is missing (outputs are then
// untouched), ERROR_NOT_ENOUGH_MEMORY and ERROR_INVALID_PARAMETER (a null text or length) come from here, any other
// status is the library's own. Lengths are bytes. A length that the library reports with success beyond the capacity it
// was given counts as that capacity.
#ifndef INSTALIB_SCRAMBLING_H
#define INSTALIB_SCRAMBLING_H

#include "instalib/export.h"
#include "instalib/windows_types.h"

// With bit 29 set, the mark of codes that Windows itself never uses (winerror.h).
inline constexpr DWORD KSET_ZKB_UNAVAILABLE = 0x20000001;

// `outputLength` in: the output's capacity, out: the bytes written.
INSTALIB_API DWORD KSET_ZKBEncrypt(const BYTE* input, DWORD inputLength, BYTE* output, DWORD* outputLength);
INSTALIB_API DWORD KSET_ZKBDecrypt(const BYTE* input, DWORD inputLength, BYTE* output, DWORD* outputLength);

// Scrambles to a text of two lower-case hexadecimal digits per byte and a terminator. `outputLength` in: how many bytes
// the library may produce, so that `output` holds twice that and a terminator; out: the characters written, without
// terminator, or 150 when it fails.
INSTALIB_API DWORD KSET_ZKBEncrypt_NUMSTR(const char* input, DWORD inputLength, char* output, DWORD* outputLength);
// The way back: `inputLength` characters of hexadecimal digits in either case (another character counts as 0, an odd
// last one is ignored). `outputLength` in: the output's capacity, out: the bytes written; no terminator is added.
INSTALIB_API DWORD KSET_ZKBDecrypt_NUMSTR(const char* input, DWORD inputLength, BYTE* output, DWORD* outputLength);

// 1 when the number EM in the section INSTALL of the configuration file is 3, otherwise 0.
INSTALIB_API int KSET_Is3DESEncrypt(const char* file);

#endif
