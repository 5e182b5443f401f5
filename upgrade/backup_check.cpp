// The backup tree: is it there, and does it hold all that it was made from.
#include <algorithm>
#include <cstring>

#include "instalib/upgrade.h"
#include "upgrade/branches.h"
#include "upgrade/decision.h"
#include "upgrade/registry_copy.h"
#include "upgrade/rule_text.h"

using namespace upgrade;

namespace {

using Data = CArray<BYTE, BYTE>;

// Reads names of any length and data of any size; the buffers are shared by all levels of a tree.
class Comparison {
  public:
    Comparison(Names& dropped, Names& lost) : m_dropped(dropped), m_lost(lost) { m_name.SetSize(kNameBytes); }

    void Compare(HKEY sourceParent, const char* name, HKEY copyParent, const char* copyName, const CString& path,
                 const char* excluded, bool isTop) {
        RegistryKey source, copy;
        if (registry::Open(sourceParent, name, KEY_READ, source) != ERROR_SUCCESS ||
            registry::Open(copyParent, copyName, KEY_READ, copy) != ERROR_SUCCESS) {
            m_lost.Add(path);
            return;
        }
        CompareValues(source.Get(), copy.Get(), path, isTop);
        CString child;
        for (DWORD index = 0;; ++index) {
            const LSTATUS status = registry::SubkeyAt(source.Get(), index, child);
            if (status == ERROR_NO_MORE_ITEMS) return;
            if (status != ERROR_SUCCESS) {
                m_lost.Add(path);
                return;
            }
            const char* const below = Behind(excluded, child);
            if (below != nullptr && *below == '\0') continue;
            const char* const copied = child == kFormerAgentKey ? kAgentKey : static_cast<const char*>(child);
            Compare(source.Get(), child, copy.Get(), copied, path + "\\" + child, below, false);
        }
    }

  private:
    static constexpr int kNameBytes = 16384;  // the longest value name, with its terminator
    static constexpr int kFirstDataBytes = 1024;

    bool IsDropped(const char* name) {
        for (int i = 0; i < m_dropped.GetSize(); ++i) {
            if (*name != '\0' && m_dropped.ElementAt(i).CompareNoCase(name) == 0) return true;
        }
        return false;
    }

    LSTATUS ReadValue(HKEY source, DWORD index, DWORD& type, DWORD& size) {
        for (;;) {
            DWORD nameSize = kNameBytes;
            size = DWORD(m_data.GetSize());
            const LSTATUS status =
                RegEnumValueA(source, index, Name(), &nameSize, nullptr, &type, &m_data.ElementAt(0), &size);
            if (status != ERROR_MORE_DATA || size <= DWORD(m_data.GetSize())) return status;
            m_data.SetSize(int(size));
        }
    }

    bool IsInCopy(HKEY copy, DWORD type, DWORD size) {
        DWORD copyType = 0, copySize = size;
        m_copyData.SetSize(int(size) + 1);
        return RegQueryValueExA(copy, Name(), nullptr, &copyType, &m_copyData.ElementAt(0), &copySize) ==
                   ERROR_SUCCESS &&
               copyType == type && copySize == size &&
               std::memcmp(&m_data.ElementAt(0), &m_copyData.ElementAt(0), size) == 0;
    }

    void CompareValues(HKEY source, HKEY copy, const CString& path, bool isTop) {
        for (DWORD index = 0;; ++index) {
            m_data.SetSize(std::max(m_data.GetSize(), kFirstDataBytes));
            DWORD type = 0, size = 0;
            const LSTATUS status = ReadValue(source, index, type, size);
            if (status == ERROR_NO_MORE_ITEMS) return;
            if (status == ERROR_SUCCESS && ((isTop && IsDropped(Name())) || IsInCopy(copy, type, size))) continue;
            m_lost.Add(path + " -> " + (status == ERROR_SUCCESS ? Name() : "(cannot be read)"));
            if (status != ERROR_SUCCESS) return;
        }
    }

    char* Name() { return &m_name.ElementAt(0); }

    Names& m_dropped;
    Names& m_lost;
    CArray<char, char> m_name;
    Data m_data;
    Data m_copyData;
};

}  // namespace

CString CUpgradeBackup::Path() { return BackupRoot(); }

int CUpgradeBackup::Exists() {
    RegistryKey key;
    return registry::Outcome(registry::Open(HKEY_LOCAL_MACHINE, BackupRoot(), KEY_READ, key));
}

int CUpgradeBackup::Discard() { return !Exists() || DeleteSourceKeys(HKEY_LOCAL_MACHINE, BackupRoot()) ? 1 : 0; }

int CUpgradeBackup::HoldsAll(const char* directory, const char* descriptor, const char* machine,
                             CArray<CString, CString>& lost) {
    const CString file = InformationFile(directory);
    Target target(machine);
    CProduct rule;
    if (FindRule(file, descriptor, target, rule) == 0) return FailWith(ERROR_FILE_NOT_FOUND);
    const int before = lost.GetSize();
    const CString backup = BackupRoot();
    Comparison comparison(rule.getRegBKValues(), lost);
    ForEachBranch(rule, backup, [&](const CString& source, const CString& copy) {
        comparison.Compare(HKEY_LOCAL_MACHINE, source, HKEY_LOCAL_MACHINE, copy, source, Below(backup, source), true);
    });
    return lost.GetSize() == before;
}

int CUpgradeBackup::IsStillInstalled(const char* code) { return IsProductCodeInUnInstall(code, CString()); }
