// What survives of an old product: its branches are saved before it is removed, and merged into the new one's root.
#include <cstring>

#include "changes/changing.h"
#include "foundation/upgrade_log.h"
#include "instalib/upgrade.h"
#include "registry/family_keys.h"
#include "upgrade/branches.h"
#include "upgrade/decision.h"
#include "upgrade/registry_copy.h"
#include "upgrade/rule_text.h"

using namespace upgrade;

namespace {

void DeleteBKRegValues(const CString& path, Names& values) {
    WriteUpgradeLog("DeleteBKRegValues() - Start");
    RegistryKey key;
    if (registry::Open(HKEY_LOCAL_MACHINE, path, KEY_ALL_ACCESS, key) == ERROR_SUCCESS) {
        for (int i = 0; i < values.GetSize(); ++i) {
            // An empty piece of the list names no value; the unnamed value stays.
            if (!values.ElementAt(i).IsEmpty()) changing::RegDeleteValueA(key.Get(), values.ElementAt(i));
        }
    }
    WriteUpgradeLog("DeleteBKRegValues() - End");
}

int CopyBranch(const CString& source, const CString& destination, const CString& backup, Names& dropped) {
    WriteUpgradeLog("strSrcKey for backup is %s \nstrDestKey for backup is %s", static_cast<const char*>(source),
                    static_cast<const char*>(destination));
    const int code = SetcnvrtCopyRegSubTree(HKEY_LOCAL_MACHINE, source, destination, false, backup);
    if (code == kCopied) DeleteBKRegValues(destination, dropped);
    return code;
}

// 1 when the last copy succeeded or none was made.
int KSetBKOldProdRegKey(CProduct& entry, const CString& backup) {
    WriteUpgradeLog("KSetBKOldProdRegKey() - Start");
    int last = kCopied;
    ForEachBranch(entry, backup, [&](const CString& source, const CString& destination) {
        last = CopyBranch(source, destination, backup, entry.getRegBKValues());
    });
    WriteUpgradeLog("KSetBKOldProdRegKey() - End - Return %d", last);
    return last == kCopied;
}

// The path with every component that a restore renames under its new name.
CString Restored(const CString& path) {
    CString renamed;
    for (int start = 0; start <= path.GetLength();) {
        const int separator = path.Find('\\', start);
        const int end = separator < 0 ? path.GetLength() : separator;
        const CString part = path.Mid(start, end - start);
        if (start != 0) renamed += '\\';
        renamed += part == kFormerAgentKey ? CString(kAgentKey) : part;
        start = end + 1;
    }
    return renamed;
}

template <std::size_t Size>
CString FieldText(const char (&field)[Size]) {
    return CString(field, int(strnlen(field, Size)));
}

void WriteRestoreValue(const CString& key, const tagRestoreValue& value) {
    const CString name = FieldText(value.szValueName);
    if (value.dwNumber == 0xFFFFFFFF) {
        CString text = FieldText(value.szText);
        const int length = text.GetLength();
        CHalvRegistry::SetKorvaultKeyValue(key, name, REG_SZ, reinterpret_cast<BYTE*>(text.GetBuffer(length)),
                                           DWORD(length));
        return;
    }
    DWORD number = value.dwNumber;
    CHalvRegistry::SetKorvaultKeyValue(key, name, REG_DWORD, reinterpret_cast<BYTE*>(&number), sizeof number);
}

}  // namespace

namespace upgrade {

CString BackupRoot() { return registry::family::Root() + "(BACKUP)"; }

Names Matching(HKEY key, const CString& leaf) {
    Names names;
    CString name;
    for (DWORD index = 0; registry::SubkeyAt(key, index, name) == ERROR_SUCCESS; ++index) {
        if (Upper(name).Find(Upper(leaf)) >= 0) names.Add(name);
    }
    return names;
}

bool IsBackup(const CString& path, const CString& backup) { return Upper(path + "\\").Find(Upper(backup + "\\")) == 0; }

}  // namespace upgrade

int KSetBKOldProduct(const char* directory, const char* descriptor, CString& code, const char* machine) {
    const CString file = InformationFile(directory);
    const CProduct fresh(file, -1, machine);
    Target target(machine);
    CProduct entry;
    if (FindRule(file, descriptor, target, entry) == 0) return 0;
    const int result = KSetBKOldProdRegKey(entry, fresh.getRegBKRootKey());
    code = entry.getProductCode();
    return result;
}

void KSetRSOldProdRegKey() {
    WriteUpgradeLog("KSetRSOldProdRegKey() - Start");
    const CString backup = BackupRoot();
    const CString& family = registry::family::Root();
    WriteUpgradeLog("SourceKey is %s,DestinationKey is %s", static_cast<const char*>(backup),
                    static_cast<const char*>(family));
    if (!backup.IsEmpty()) SetcnvrtCopyRegSubTree(HKEY_LOCAL_MACHINE, backup, family, true);
    WriteUpgradeLog("KSetRSOldProdRegKey() - End");
}

void KSetCreateRSSubRegKeys(CString subKey, tagRestoreValue* values, int count) {
    RegistryKey key;
    if (registry::Open(HKEY_LOCAL_MACHINE, registry::Join(BackupRoot(), subKey), KEY_READ, key) != ERROR_SUCCESS) {
        return;
    }
    CString name;
    for (DWORD index = 0; registry::SubkeyAt(key.Get(), index, name) == ERROR_SUCCESS; ++index) {
        const CString path = Restored(subKey.IsEmpty() ? name : subKey + "\\" + name);
        if (!CHalvRegistry::AddKorvaultKey(path)) continue;
        for (int i = 0; values != nullptr && i < count; ++i) WriteRestoreValue(path, values[i]);
    }
}
