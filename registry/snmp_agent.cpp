// The product's extension agent of the SNMP service. The service lists its agents under numbered values.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "changes/changing.h"
#include "instalib/array.h"
#include "instalib/service.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

constexpr char kService[] = "SNMP";

struct Announcement {
    char name[256];
    char agentKey[256 + 1];  // the byte behind the data ends a text that was stored without a terminator
};

LSTATUS AnnouncementAt(HKEY key, DWORD index, Announcement& found) {
    found = {};
    DWORD nameSize = sizeof found.name;
    DWORD dataSize = sizeof found.agentKey - 1;
    const LSTATUS status = RegEnumValueA(key, index, found.name, &nameSize, nullptr, nullptr,
                                         reinterpret_cast<BYTE*>(found.agentKey), &dataSize);
    if (status != ERROR_MORE_DATA) return status;
    // Data too long for an agent's key is none of ours, but its number is taken.
    found = {};
    nameSize = sizeof found.name;
    const LSTATUS named = RegEnumValueA(key, index, found.name, &nameSize, nullptr, nullptr, nullptr, nullptr);
    if (named == ERROR_MORE_DATA) found = {};
    return named == ERROR_MORE_DATA ? 0 : named;
}

// Walks the list until `take` says false. 0 also at the list's end. A value too long for the buffers is no agent of
// ours.
template <class Take>
LSTATUS ForEachAnnouncement(HKEY key, Take take) {
    for (DWORD index = 0;; ++index) {
        Announcement found;
        const LSTATUS status = AnnouncementAt(key, index, found);
        if (status == ERROR_NO_MORE_ITEMS) return 0;
        if (status != 0) return status;
        if (!take(found)) return 0;
    }
}

// Whether the service is to be started after its list has changed.
bool StopForChange() {
    if (!CService::ServiceExists(kService)) return false;
    return !CService::IsStarted(kService) || CService::StopService(kService, 1, 1);
}

LSTATUS DeleteAll(HKEY key, CArray<CString, CString>& names) {
    LSTATUS result = 0;
    for (int i = 0; i < names.GetSize(); ++i) {
        const LSTATUS status = changing::RegDeleteValueA(key, names.ElementAt(i));
        if (result == 0) result = status;
    }
    return result;
}

}  // namespace

int CHalvRegistry::SetSNMPRegistry(const char* agentKey) {
    if (agentKey == nullptr || *agentKey == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    RegistryKey list;
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, m_sSNMPExtensionAgentsKey, KEY_ALL_ACCESS, list))) return 0;
    bool announced = false;
    long long largest = 0;
    const LSTATUS walked = ForEachAnnouncement(list.Get(), [&](const Announcement& found) {
        announced = std::strcmp(found.agentKey, agentKey) == 0;
        largest = std::max(largest, std::strtoll(found.name, nullptr, 10));
        return !announced;
    });
    if (!Outcome(walked)) return 0;
    if (announced) return 1;
    // No number is left above another agent's; whose number that is, it is not ours to overwrite.
    if (largest == std::numeric_limits<long long>::max()) return FailWith(ERROR_INVALID_DATA);
    const int set = Outcome(SetValue(list.Get(), std::to_string(largest + 1).c_str(), agentKey));
    if (set) RegFlushKey(list.Get());
    return set;
}

int CHalvRegistry::DeleteSNMPRegistry(const char* agentKey) {
    if (agentKey == nullptr || *agentKey == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    RegistryKey list;
    if (Open(HKEY_LOCAL_MACHINE, m_sSNMPExtensionAgentsKey, KEY_ALL_ACCESS, list) != 0) return 1;
    CArray<CString, CString> names;
    const LSTATUS walked = ForEachAnnouncement(list.Get(), [&](const Announcement& found) {
        if (std::strcmp(found.agentKey, agentKey) == 0) names.Add(found.name);
        return true;
    });
    if (!Outcome(walked)) return 0;
    if (names.GetSize() == 0) return 1;
    const bool start = StopForChange();
    const LSTATUS deleted = DeleteAll(list.Get(), names);
    if (start) CService::StartServiceA(kService, 0);
    return Outcome(deleted);
}

int CHalvRegistry::SetKorvaultSNMPPath(const char* agentLibrary) {
    return Outcome(WriteValue(family::Base() + m_sSNMPSubKey, m_sPathname, agentLibrary));
}

int CHalvRegistry::CreateKorvaultSNMPKey() {
    DeleteSNMPRegistry(m_sOldKorvaultBaseKey + m_sSNMPSubKey);
    return SetKorvaultSNMPPath(CString(m_Settings.KorvaultPath()) + "tasnmp.dll") &&
           SetSNMPRegistry(family::Base() + m_sSNMPSubKey);
}

int CHalvRegistry::DeleteKorvaultSNMPKey() { return DeleteSNMPRegistry(family::Base() + m_sSNMPSubKey); }
