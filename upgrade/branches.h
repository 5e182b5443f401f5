// The branches of a registry that an upgrade rule saves, and where their copies stand.
#ifndef INSTALIB_UPGRADE_BRANCHES_H
#define INSTALIB_UPGRADE_BRANCHES_H

#include "foundation/text.h"
#include "instalib/product.h"
#include "registry/registry_access.h"

namespace upgrade {

using Names = CArray<CString, CString>;

// Upper-case letters, so that texts compare in either case.
inline CString Upper(CString text) {
    text.MakeUpper();
    return text;
}

// The family's root with "(BACKUP)" behind its name.
CString BackupRoot();
// The subkeys of `key` whose names contain `leaf` in any case of letters; they are read before anything is copied,
// since a copy may add keys beside them.
Names Matching(HKEY key, const CString& leaf);
// Whether the path is the backup's or lies in it: what is saved is never saved again.
bool IsBackup(const CString& path, const CString& backup);

// Calls visit(source, destination) for every branch that the rule saves. A list element without a leaf saves nothing.
template <class Visit>
void ForEachBranch(CProduct& rule, const CString& backup, Visit visit) {
    const CString root = rule.getRegRootKey();
    Names& elements = rule.getRegSubKey();
    for (int i = 0; i < elements.GetSize(); ++i) {
        const char* const element = elements.ElementAt(i);
        const char* const last = LastBackslash(element);
        const CString parent = last == nullptr ? CString() : CString(element, int(last - element));
        const CString leaf = last == nullptr ? element : last + 1;
        RegistryKey key;
        if (leaf.IsEmpty() ||
            registry::Open(HKEY_LOCAL_MACHINE, root + "\\" + parent, KEY_ALL_ACCESS, key) != ERROR_SUCCESS) {
            continue;
        }
        Names names = Matching(key.Get(), leaf);
        for (int n = 0; n < names.GetSize(); ++n) {
            const CString below = (parent.IsEmpty() ? parent : parent + "\\") + names.ElementAt(n);
            const CString source = root + "\\" + below;
            if (!IsBackup(source, backup)) visit(source, backup + "\\" + below);
        }
    }
}

}  // namespace upgrade

#endif
