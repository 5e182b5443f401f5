#include "upgrade/registry_copy.h"

#include <cstring>

#include "changes/changing.h"
#include "foundation/upgrade_log.h"
#include "instalib/array.h"
#include "registry/registry_access.h"

namespace upgrade {
namespace {

constexpr DWORD kKeyNameBytes = 129;  // of 128 characters
constexpr DWORD kValueNameBytes = 128;
constexpr int kFirstDataBytes = 9;

const char* NameOf(HKEY root) {
    if (root == HKEY_CURRENT_USER) return "HKEY_CURRENT_USER";
    if (root == HKEY_USERS) return "HKEY_USERS";
    return root == HKEY_LOCAL_MACHINE ? "HKEY_LOCAL_MACHINE" : "other";
}

// One copy of a tree. The buffers are shared by all levels, so that a deep tree takes little of the stack.
class TreeCopy {
  public:
    // `kept` is the path below the source that is not entered, since it is the destination; null when it lies
    // elsewhere.
    bool RegRecurCopyTree(HKEY sourceParent, const char* sourcePath, HKEY targetParent, const char* targetPath,
                          const char* kept);
    bool IsWhole() const { return m_whole; }

  private:
    void CopyKeys(HKEY source, HKEY target, const char* kept);
    void CopyValues(HKEY source, HKEY target);
    LSTATUS ReadValue(HKEY source, DWORD index, DWORD& type, DWORD& size);

    bool m_whole = true;
    char m_keyName[kKeyNameBytes] = "";
    char m_valueName[kValueNameBytes] = "";
    CArray<BYTE, BYTE> m_data;
};

bool TreeCopy::RegRecurCopyTree(HKEY sourceParent, const char* sourcePath, HKEY targetParent, const char* targetPath,
                                const char* kept) {
    WriteUpgradeLog("RegRecurCopyTree(hSourceKeyParent=%s, sSourcePath=%s, hDestnKeyParent=%s, sDestnPath=%s) - Start ",
                    NameOf(sourceParent), sourcePath, NameOf(targetParent), targetPath);
    RegistryKey source;
    LSTATUS status = registry::Open(sourceParent, sourcePath, KEY_ALL_ACCESS, source);
    if (status != ERROR_SUCCESS) {
        m_whole = false;
        WriteUpgradeLog("RegRecurCopyTree() - End - RegOpenKeyEx failed(%lu). Return FALSE",
                        static_cast<unsigned long>(status));
        return false;
    }
    RegistryKey target;
    status =
        registry::Create(targetParent, std::strcmp(targetPath, kFormerAgentKey) == 0 ? kAgentKey : targetPath, target);
    if (status != ERROR_SUCCESS) {
        m_whole = false;
        source.Reset();
        WriteUpgradeLog("RegRecurCopyTree() - End - RegCreateKeyEx failed. Return FALSE");
        return false;
    }
    CopyKeys(source.Get(), target.Get(), kept);
    CopyValues(source.Get(), target.Get());
    source.Reset();
    target.Reset();
    WriteUpgradeLog("RegRecurCopyTree() - End - Return TRUE");
    return true;
}

void TreeCopy::CopyKeys(HKEY source, HKEY target, const char* kept) {
    for (DWORD index = 0;; ++index) {
        DWORD size = sizeof m_keyName;
        const LSTATUS status = RegEnumKeyExA(source, index, m_keyName, &size, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return;
        if (status == ERROR_SUCCESS) {
            const char* const below = Behind(kept, m_keyName);
            if (below != nullptr && *below == '\0') continue;
            RegRecurCopyTree(source, m_keyName, target, m_keyName, below);
            continue;
        }
        m_whole = false;
        // A name that is too long is skipped; any other failure would come again for ever.
        if (status != ERROR_MORE_DATA) return;
    }
}

// Reads the value again with more room until its data fits; ERROR_MORE_DATA when it is the name that does not.
LSTATUS TreeCopy::ReadValue(HKEY source, DWORD index, DWORD& type, DWORD& size) {
    for (;;) {
        DWORD nameSize = sizeof m_valueName;
        size = DWORD(m_data.GetSize());
        const LSTATUS status =
            RegEnumValueA(source, index, m_valueName, &nameSize, nullptr, &type, &m_data.ElementAt(0), &size);
        if (status != ERROR_MORE_DATA || size <= DWORD(m_data.GetSize())) return status;
        m_data.SetSize(int(size));
    }
}

void TreeCopy::CopyValues(HKEY source, HKEY target) {
    for (DWORD index = 0;; ++index) {
        m_data.SetSize(kFirstDataBytes);
        DWORD type = 0;
        DWORD size = 0;
        LSTATUS status = ReadValue(source, index, type, size);
        if (status == ERROR_NO_MORE_ITEMS) break;
        const bool isRead = status == ERROR_SUCCESS;
        if (isRead) status = changing::RegSetValueExA(target, m_valueName, 0, type, &m_data.ElementAt(0), size);
        if (status != ERROR_SUCCESS) m_whole = false;
        if (!isRead && status != ERROR_MORE_DATA) break;
    }
    m_data.RemoveAll();
}

}  // namespace

const char* Below(const char* path, const char* above) {
    const std::size_t length = std::strlen(above);
    if (std::strlen(path) < length || CString(path, int(length)).CompareNoCase(above) != 0) return nullptr;
    if (path[length] == '\0') return path + length;
    return path[length] == '\\' ? path + length + 1 : nullptr;
}

const char* Behind(const char* path, const char* name) {
    if (path == nullptr) return nullptr;
    const char* const end = path + std::strcspn(path, "\\");
    if (CString(path, int(end - path)).CompareNoCase(name) != 0) return nullptr;
    return *end == '\\' ? end + 1 : end;
}

int SetcnvrtCopyRegSubTree(HKEY root, const CString& source, const CString& destination, bool deleteSource,
                           const char* excluded) {
    WriteUpgradeLog("SetcnvrtCopyRegSubTree(hRoot=%s, sSourcePath=%s, sDestinationPath=%s, bDeleteSource=%d) - Start",
                    NameOf(root), static_cast<const char*>(source), static_cast<const char*>(destination),
                    int(deleteSource));
    if (root != HKEY_LOCAL_MACHINE) {
        WriteUpgradeLog("SetcnvrtCopyRegSubTree() - End - Invalid hRoot. SETCNVRT_FAILED");
        return kCopyFailed;
    }
    const char* const kept = Below(excluded == nullptr ? static_cast<const char*>(destination) : excluded, source);
    TreeCopy copy;
    // A tree copied onto itself is a copy already.
    const bool isSame = kept != nullptr && *kept == '\0';
    if (!isSame && !copy.RegRecurCopyTree(root, source, root, destination, kept)) {
        WriteUpgradeLog("SetcnvrtCopyRegSubTree() - End - SETCNVRT_FAILED");
        return kCopyFailed;
    }
    if (deleteSource && copy.IsWhole() && kept == nullptr) DeleteSourceKeys(root, source);
    WriteUpgradeLog("SetcnvrtCopyRegSubTree() - End - SETCNVRT_SUCCESS");
    return kCopied;
}

bool DeleteSourceKeys(HKEY parent, const char* path) {
    WriteUpgradeLog("DeleteSourceKeys() - Start");
    RegistryKey key;
    if (registry::Open(parent, path, KEY_ALL_ACCESS, key) != ERROR_SUCCESS) {
        WriteUpgradeLog("DeleteSourceKeys() - End - Couldn't open registry key");
        return false;
    }
    for (DWORD index = 0;;) {
        char name[kKeyNameBytes];
        DWORD size = sizeof name;
        const LSTATUS status = RegEnumKeyExA(key.Get(), index, name, &size, nullptr, nullptr, nullptr, nullptr);
        // Whatever failure is not about one name ends the search as well: it would come again for ever.
        if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) break;
        if (status != ERROR_SUCCESS || !DeleteSourceKeys(key.Get(), name)) ++index;
    }
    WriteUpgradeLog("DeleteSourceKeys() - End - No more registry keys to enumerate.");
    key.Reset();
    return changing::RegDeleteKeyA(parent, path) == ERROR_SUCCESS;
}

}  // namespace upgrade
