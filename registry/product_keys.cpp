// Keys and values below the vendor's, the family's and the former vendor's root.
#include "changes/changing.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

CString WithoutLeadingBackslashes(const CString& path) {
    int first = 0;
    while (path.GetAt(first) == '\\') ++first;
    return path.Mid(first);
}

int AddBelow(const CString& root, const CString& sub) {
    RegistryKey key;
    return Outcome(Create(HKEY_LOCAL_MACHINE, Join(root, sub), key));
}

// An empty name would empty and remove the root itself, which other products may share.
int DeleteBelow(const CString& root, const CString& sub) {
    const CString name = WithoutLeadingBackslashes(sub);
    if (name.IsEmpty()) return FailWith(ERROR_INVALID_PARAMETER);
    CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, Join(root, name));
    RegistryKey key;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, root, KEY_ALL_ACCESS, key))) return 0;
    Outcome(changing::RegDeleteKeyA(key.Get(), name));
    return 1;
}

int SetBelow(const CString& path, const char* name, DWORD type, const BYTE* data, DWORD size) {
    RegistryKey key;
    const LSTATUS status = Open(HKEY_LOCAL_MACHINE, path, KEY_ALL_ACCESS, key);
    return Outcome(status != 0 ? status : changing::RegSetValueExA(key.Get(), name, 0, type, data, size));
}

LSTATUS QueryBelow(HKEY root, const CString& path, const char* name, DWORD* type, BYTE* data, DWORD* size) {
    RegistryKey key;
    const LSTATUS status = Open(root, path, KEY_ALL_ACCESS, key);
    return status != 0 ? status : RegQueryValueExA(key.Get(), name, nullptr, type, data, size);
}

}  // namespace

int CHalvRegistry::AddHalvenorKey(CString sub) { return AddBelow(family::Vendor(), sub); }

int CHalvRegistry::AddKorvaultKey(CString sub) { return AddBelow(family::Root(), sub); }

void CHalvRegistry::DeleteHalvenorKey(CString sub) { DeleteBelow(family::Vendor(), sub); }

void CHalvRegistry::DeleteKorvaultKey(CString sub) { DeleteBelow(family::Root(), sub); }

void CHalvRegistry::DeleteOldKorvaultKey(CString sub) {
    if (DeleteBelow(m_sOldHalvenorKey, sub)) Outcome(DeleteLeaf(HKEY_LOCAL_MACHINE, m_sSoftwareKey, "Halvenor"));
}

int CHalvRegistry::SetHalvenorKeyValue(CString sub, CString name, DWORD type, BYTE* data, DWORD size) {
    return SetBelow(Join(family::Vendor(), sub), name, type, data, size);
}

int CHalvRegistry::SetKorvaultKeyValue(CString sub, CString name, DWORD type, BYTE* data, DWORD size) {
    return SetBelow(Join(family::Root(), sub), name, type, data, size);
}

int CHalvRegistry::QueryHalvenorKeyValue(CString sub, CString name, DWORD* type, BYTE* data, DWORD* size, HKEY key) {
    const HKEY root = OrLocalMachine(key);
    const DWORD capacity = size != nullptr ? *size : 0;
    if (QueryBelow(root, Join(family::Vendor(), sub), name, type, data, size) == 0) return 1;
    if (size != nullptr) *size = capacity;
    return Outcome(QueryBelow(root, Join(m_sOldHalvenorKey, sub), name, type, data, size));
}

int CHalvRegistry::QueryKorvaultKeyValue(CString sub, CString name, DWORD* type, BYTE* data, DWORD* size, HKEY key) {
    return Outcome(QueryBelow(OrLocalMachine(key), Join(family::Root(), sub), name, type, data, size));
}
