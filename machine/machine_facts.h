// What several machine queries need: whose name a name is, one text of a registry, a machine's registry.
#ifndef INSTALIB_MACHINE_MACHINE_FACTS_H
#define INSTALIB_MACHINE_MACHINE_FACTS_H

#include "platform/handles.h"

// Whether the name is the local computer's in any letter case. False when that cannot be read.
bool IsLocalName(const char* machine) noexcept;
// Whether a name is given (not null, not empty), the local computer's can be read and the two differ.
bool NamesAnotherMachine(const char* machine) noexcept;

// Opens HKEY_LOCAL_MACHINE of another machine; empty when it cannot be reached.
RegistryKey ConnectLocalMachineOf(const char* machine) noexcept;

// The SV_TYPE_... bits of a machine (null: the local one); false when it cannot be asked.
bool GetServerType(const WCHAR* machine, DWORD& type) noexcept;

// Reads a text of at most N - 1 bytes, its terminator among them or not; false, and an empty text, when the key cannot
// be opened for reading or the value is missing or longer. The second form reads from an open key.
bool ReadRegistryText(HKEY root, const char* key, const char* value, char* text, DWORD size) noexcept;
bool ReadRegistryText(HKEY key, const char* value, char* text, DWORD size) noexcept;
template <std::size_t N>
bool ReadRegistryText(HKEY root, const char* key, const char* value, char (&text)[N]) noexcept {
    return ReadRegistryText(root, key, value, text, N);
}
template <std::size_t N>
bool ReadRegistryText(HKEY key, const char* value, char (&text)[N]) noexcept {
    return ReadRegistryText(key, value, text, N);
}

#endif
