// Single keys and values, as every operation of CHalvRegistry needs them. Inner functions answer the Windows error code
// of the call that failed, 0 for success; Outcome turns it into an operation's result at the very end, so that an
// operation's error survives whatever happens after it.
#ifndef INSTALIB_REGISTRY_REGISTRY_ACCESS_H
#define INSTALIB_REGISTRY_REGISTRY_ACCESS_H

#include "instalib/product_record.h"
#include "instalib/string.h"
#include "platform/handles.h"

namespace registry {

// 1 for status 0; otherwise 0, with the status as the thread's last error.
int Outcome(LSTATUS status);

// The handle that a static operation reads through.
inline HKEY OrLocalMachine(HKEY key) { return key != nullptr ? key : HKEY_LOCAL_MACHINE; }

LSTATUS Open(HKEY root, const char* path, REGSAM access, RegistryKey& key);
// Opens or creates the key with full access.
LSTATUS Create(HKEY root, const char* path, RegistryKey& key);

// Values: a null name is refused, and never taken for the unnamed value, whose name is "".
// Text is stored as REG_SZ with its terminator, a null one is refused; a number as REG_DWORD.
LSTATUS SetValue(HKEY key, const char* name, const char* text);
LSTATUS SetValue(HKEY key, const char* name, DWORD number);
// The text's bytes alone, in a type of text.
LSTATUS SetUnterminated(HKEY key, const char* name, DWORD type, const char* text);
LSTATUS SetRecord(HKEY key, const char* name, const tagProductStruct& record);

// Creates the local machine's key and sets one value.
template <class Value>
LSTATUS WriteValue(const char* path, const char* name, Value value) {
    RegistryKey key;
    const LSTATUS status = Create(HKEY_LOCAL_MACHINE, path, key);
    return status != 0 ? status : SetValue(key.Get(), name, value);
}

// A text value into a buffer of `capacity` bytes, terminated whatever was stored, and its size with the terminator.
// ERROR_INVALID_DATA for another type, ERROR_MORE_DATA with the size needed when it does not fit; the buffer is empty
// then.
LSTATUS ReadText(HKEY key, const char* name, char* buffer, DWORD capacity, DWORD* size);
template <DWORD capacity>
LSTATUS ReadText(HKEY key, const char* name, char (&buffer)[capacity]) {
    DWORD size = 0;
    return ReadText(key, name, buffer, capacity, &size);
}
LSTATUS ReadNumber(HKEY key, const char* name, DWORD* number);
// A record shorter than 49 bytes leaves the rest of `record`; nothing of it changes on failure.
LSTATUS ReadRecord(HKEY key, const char* name, tagProductStruct* record);

// Deletes a value of, or a subkey without subkeys below, the key `path`.
LSTATUS DeleteValue(HKEY root, const char* path, const char* name);
LSTATUS DeleteLeaf(HKEY root, const char* path, const char* leaf);
// The same for a subkey with all contents.
void DeleteBranch(HKEY root, const CString& path, const CString& leaf);

// The name of the subkey at `index`.
LSTATUS SubkeyAt(HKEY key, DWORD index, CString& name);

// "A\\B" and "C", "A\\B" and "\\C" give "A\\B\\C"; nothing is added for an empty second part.
CString Join(const CString& path, const char* below);

// Whether the Windows Installer of this machine says that the product with this code is installed.
bool WindowsInstallerKnows(const char* productCode);

}  // namespace registry

#endif
