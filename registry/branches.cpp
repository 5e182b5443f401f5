// Removal of whole branches. A key goes only when nothing is left below it; a branch is emptied first where that is
// said.
#include <cstring>

#include "changes/changing.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

// `path` emptied first when `all`, then removed below `parent`, in any hive.
void DeleteCopy(HKEY hive, const CString& path, bool all, const CString& parent, const CString& leaf) {
    if (all) CHalvRegistry::DeleteSubKeys(hive, path);
    Outcome(DeleteLeaf(hive, parent, leaf));
}

// Under the current user, then below each entry of the profile list, which is treated like a user's hive.
template <class Delete>
void ForEachUser(Delete deleteCopy) {
    deleteCopy(HKEY_CURRENT_USER);
    RegistryKey profiles;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, CHalvRegistry::m_sProfileListKey, KEY_READ, profiles))) return;
    CString name;
    for (DWORD index = 0; SubkeyAt(profiles.Get(), index, name) == 0; ++index) {
        RegistryKey profile;
        if (Outcome(Open(profiles.Get(), name, KEY_ALL_ACCESS, profile))) deleteCopy(profile.Get());
    }
}

}  // namespace

int CHalvRegistry::DeleteSubKeys(HKEY key, const char* path) {
    if (path == nullptr || path[std::strspn(path, "\\")] == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    RegistryKey opened;
    if (Open(key, path, KEY_ALL_ACCESS, opened) != 0) return 1;
    // Always the first one: the loop ends as soon as a child cannot be removed, whatever is added meanwhile.
    for (;;) {
        CString child;
        const LSTATUS status = SubkeyAt(opened.Get(), 0, child);
        if (status == ERROR_NO_MORE_ITEMS) return 1;
        if (!Outcome(status) || !DeleteSubKeys(opened.Get(), child)) return 0;
        if (!Outcome(changing::RegDeleteKeyA(opened.Get(), child))) return 0;
    }
}

void CHalvRegistry::DeleteKorvaultBranch(int all) {
    DeleteCopy(HKEY_LOCAL_MACHINE, family::Root(), all != 0, family::Vendor(), family::Name());
}

void CHalvRegistry::DeleteHalvenorBranch(int all) {
    DeleteCopy(HKEY_LOCAL_MACHINE, family::Vendor(), all != 0, m_sSoftwareKey, m_sHalvenor);
}

void CHalvRegistry::DeleteKorvaultBaseBranch() {
    const CString& base = family::Base();
    const int split = base.ReverseFind('\\');
    if (split > 0) DeleteBranch(HKEY_LOCAL_MACHINE, base.Left(split), base.Mid(split + 1));
}

void CHalvRegistry::DeleteReactivonBranch() { DeleteBranch(HKEY_LOCAL_MACHINE, family::Root(), m_sReactivon); }

void CHalvRegistry::DeleteAlertBranch() { DeleteBranch(HKEY_LOCAL_MACHINE, family::Vendor(), m_sALERT); }

void CHalvRegistry::DeleteOVITProductBranch() {
    const CString list = Join(family::Vendor(), kListOfProducts);
    const CString entry = Join(list, family::Name());
    Outcome(DeleteValue(HKEY_LOCAL_MACHINE, entry, m_sDisplayName));
    Outcome(DeleteValue(HKEY_LOCAL_MACHINE, entry, "ProductCode"));
    Outcome(DeleteLeaf(HKEY_LOCAL_MACHINE, list, family::Name()));
}

void CHalvRegistry::DeleteKorvaultUserBranches() {
    ForEachUser([](HKEY hive) {
        DeleteCopy(hive, Join(family::Vendor(), family::Name()), true, family::Vendor(), family::Name());
    });
}

void CHalvRegistry::DeleteHalvenorUserBranches(int all) {
    ForEachUser([all](HKEY hive) { DeleteCopy(hive, family::Vendor(), all != 0, m_sSoftwareKey, m_sHalvenor); });
}
