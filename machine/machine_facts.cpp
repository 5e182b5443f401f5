#include "machine/machine_facts.h"

#include "foundation/compare_names.h"

namespace {

bool GetLocalName(char (&name)[MAX_PATH]) noexcept {
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) != 0;
}

}  // namespace

bool IsLocalName(const char* machine) noexcept {
    char local[MAX_PATH] = "";
    return GetLocalName(local) && SameName(machine, local);
}

bool NamesAnotherMachine(const char* machine) noexcept {
    char local[MAX_PATH] = "";
    return machine != nullptr && machine[0] != '\0' && GetLocalName(local) && !SameName(machine, local);
}

RegistryKey ConnectLocalMachineOf(const char* machine) noexcept {
    RegistryKey root;
    const LSTATUS status = RegConnectRegistryA(machine, HKEY_LOCAL_MACHINE, root.Receive());
    if (status != ERROR_SUCCESS) {
        root.Reset();
        SetLastError(DWORD(status));
    }
    return root;
}

bool GetServerType(const WCHAR* machine, DWORD& type) noexcept {
    BYTE* information = nullptr;
    const DWORD status = NetServerGetInfo(const_cast<WCHAR*>(machine), 101, &information);
    const NetBuffer owner(information);
    if (status != NERR_Success) return FailWith(status);
    type = reinterpret_cast<const SERVER_INFO_101*>(information)->sv101_type;
    return true;
}

bool ReadRegistryText(HKEY root, const char* key, const char* value, char* text, DWORD size) noexcept {
    text[0] = '\0';
    RegistryKey handle;
    const LSTATUS status = RegOpenKeyExA(root, key, 0, KEY_READ, handle.Receive());
    if (status != ERROR_SUCCESS) return FailWith(DWORD(status));
    return ReadRegistryText(handle.Get(), value, text, size);
}

bool ReadRegistryText(HKEY key, const char* value, char* text, DWORD size) noexcept {
    DWORD length = size - 1;  // leaves room for a terminator that the value may lack
    const LSTATUS status = RegQueryValueExA(key, value, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &length);
    text[status == ERROR_SUCCESS ? length : 0] = '\0';
    if (status != ERROR_SUCCESS) SetLastError(DWORD(status));
    return status == ERROR_SUCCESS;
}
