#include "registry/registry_access.h"

#include <cstring>
#include <memory>
#include <new>

#include "changes/changing.h"
#include "instalib/registry.h"

namespace registry {
namespace {

LSTATUS Set(HKEY key, const char* name, DWORD type, const void* data, std::size_t size) {
    if (name == nullptr) return ERROR_INVALID_PARAMETER;
    return changing::RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), DWORD(size));
}

LSTATUS Query(HKEY key, const char* name, DWORD* type, void* data, DWORD* size) {
    if (name == nullptr) return ERROR_INVALID_PARAMETER;
    return RegQueryValueExA(key, name, nullptr, type, static_cast<BYTE*>(data), size);
}

// Whether the value of this size has its terminator; one that cannot be asked counts as one without.
bool EndsInZero(HKEY key, const char* name, DWORD size) {
    const std::unique_ptr<char[]> text(new (std::nothrow) char[size]);
    return text != nullptr && Query(key, name, nullptr, text.get(), &size) == 0 && size != 0 && text[size - 1] == '\0';
}

}  // namespace

int Outcome(LSTATUS status) { return status == 0 ? 1 : FailWith(DWORD(status)); }

LSTATUS Open(HKEY root, const char* path, REGSAM access, RegistryKey& key) {
    return RegOpenKeyExA(root, path, 0, access, key.Receive());
}

LSTATUS Create(HKEY root, const char* path, RegistryKey& key) {
    return changing::RegCreateKeyExA(root, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                                     key.Receive(), nullptr);
}

LSTATUS SetValue(HKEY key, const char* name, const char* text) {
    if (text == nullptr) return ERROR_INVALID_PARAMETER;
    return Set(key, name, REG_SZ, text, std::strlen(text) + 1);
}

LSTATUS SetValue(HKEY key, const char* name, DWORD number) { return Set(key, name, REG_DWORD, &number, sizeof number); }

LSTATUS SetUnterminated(HKEY key, const char* name, DWORD type, const char* text) {
    return Set(key, name, type, text, std::strlen(text));
}

LSTATUS SetRecord(HKEY key, const char* name, const tagProductStruct& record) {
    return Set(key, name, REG_BINARY, &record, sizeof record);
}

LSTATUS ReadText(HKEY key, const char* name, char* buffer, DWORD capacity, DWORD* size) {
    DWORD type = 0;
    DWORD bytes = capacity;
    LSTATUS status = Query(key, name, &type, buffer, &bytes);
    if (status == 0 && type != REG_SZ && type != REG_EXPAND_SZ) status = ERROR_INVALID_DATA;
    if (status == ERROR_MORE_DATA && !EndsInZero(key, name, bytes)) ++bytes;
    if (status == 0 && (bytes == 0 || buffer[bytes - 1] != '\0')) {
        if (bytes < capacity) {
            buffer[bytes] = '\0';
        } else {
            status = ERROR_MORE_DATA;
        }
        ++bytes;
    }
    if (status == 0 || status == ERROR_MORE_DATA) *size = bytes;
    if (status != 0 && capacity != 0) buffer[0] = '\0';
    return status;
}

LSTATUS ReadNumber(HKEY key, const char* name, DWORD* number) {
    DWORD type = 0;
    DWORD read = 0;
    DWORD bytes = sizeof read;
    const LSTATUS status = Query(key, name, &type, &read, &bytes);
    if (status != 0) return status;
    if (type != REG_DWORD || bytes != sizeof read) return ERROR_INVALID_DATA;
    *number = read;
    return 0;
}

LSTATUS ReadRecord(HKEY key, const char* name, tagProductStruct* record) {
    tagProductStruct read = *record;
    DWORD type = 0;
    DWORD bytes = sizeof read;
    const LSTATUS status = Query(key, name, &type, &read, &bytes);
    if (status != 0) return status;
    if (type != REG_BINARY) return ERROR_INVALID_DATA;
    *record = read;
    return 0;
}

LSTATUS DeleteValue(HKEY root, const char* path, const char* name) {
    RegistryKey key;
    if (name == nullptr) return ERROR_INVALID_PARAMETER;
    const LSTATUS status = Open(root, path, KEY_ALL_ACCESS, key);
    return status != 0 ? status : changing::RegDeleteValueA(key.Get(), name);
}

LSTATUS DeleteLeaf(HKEY root, const char* path, const char* leaf) {
    RegistryKey key;
    const LSTATUS status = Open(root, path, KEY_ALL_ACCESS, key);
    return status != 0 ? status : changing::RegDeleteKeyA(key.Get(), leaf);
}

void DeleteBranch(HKEY root, const CString& path, const CString& leaf) {
    CHalvRegistry::DeleteSubKeys(root, Join(path, leaf));
    Outcome(DeleteLeaf(root, path, leaf));
}

LSTATUS SubkeyAt(HKEY key, DWORD index, CString& name) {
    char buffer[MAX_PATH] = "";
    DWORD size = sizeof buffer;
    const LSTATUS status = RegEnumKeyExA(key, index, buffer, &size, nullptr, nullptr, nullptr, nullptr);
    if (status == 0) name = buffer;
    return status;
}

CString Join(const CString& path, const char* below) {
    if (below == nullptr || *below == '\0') return path;
    return *below == '\\' ? path + below : path + "\\" + below;
}

}  // namespace registry
