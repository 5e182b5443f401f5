// The readers of settings values across the generations, and their cached forms.
#include "registry/family_keys.h"

using namespace registry;

namespace {

using Halv = CHalvRegistry;

constexpr KeyPath kWindows[] = {{&Halv::m_sMicrosoftKey}};
constexpr KeyPath kUsers[] = {
    {&Halv::m_sKorvaultBaseKey, &Halv::m_sUserSubKey},
    {&Halv::m_sOldKorvaultBaseKey, &Halv::m_sUserSubKey},
};
constexpr KeyPath kHomePaths[] = {
    {&Halv::m_sKorvaultBaseKey, &Halv::m_sPathSubKey},
    {&Halv::m_sOldKorvaultBaseKeyKorvault, &Halv::m_sPathSubKey},
    {&Halv::m_sOldKorvaultBaseKey, &Halv::m_sPathSubKey},
    {&Halv::m_sZEBBaseKey, &Halv::m_sPathSubKey},
    {&Halv::m_sZKBBaseKey, &Halv::m_sPathSubKey},
    {&kEnterpriseBaseKey, &Halv::m_sPathSubKey},
    {&Halv::m_sKorvaultBaseKey, &Halv::m_sPathSubKey, View::Wow32},
};
// The other directories are not looked for in the 32-bit view, which stands last.
constexpr std::span<const KeyPath> kPaths = std::span(kHomePaths).first(6);
constexpr KeyPath kAlertPaths[] = {
    {&Halv::m_sAlertKey, &Halv::m_sPathSubKey},
    {&kFormerAlertKey, &Halv::m_sPathSubKey},
};
constexpr KeyPath kAgents[] = {
    {&Halv::m_sAgentKey},    {&Halv::m_sOldKorvaultITAgentKey}, {&Halv::m_sOldAgentKey},
    {&Halv::m_sZEBAgentKey}, {&Halv::m_sZKBAgentKey},
};

int FindText(HKEY root, std::span<const KeyPath> places, const char* name, Continue rule, char* buffer, DWORD* size) {
    if (buffer == nullptr || size == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    // Each place gets the whole buffer again, whatever the one before needed.
    const DWORD capacity = *size;
    if (capacity != 0) buffer[0] = '\0';
    DWORD tooLong = 0;  // what the first value that did not fit needs
    const auto read = [&](HKEY key) {
        const LSTATUS status = ReadText(key, name, buffer, capacity, size);
        if (status == ERROR_MORE_DATA && tooLong == 0) tooLong = *size;
        return status;
    };
    const LSTATUS status = Search(root, places, read, rule);
    if (status == 0 || tooLong == 0) return Outcome(status);
    *size = tooLong;
    return Outcome(ERROR_MORE_DATA);
}

const char* CacheText(HKEY root, std::span<const KeyPath> places, const char* name, Continue rule, CString& cache) {
    char buffer[MAX_PATH + 1] = "";
    DWORD size = sizeof buffer;
    if (FindText(root, places, name, rule, buffer, &size)) cache = buffer;
    return cache;
}

}  // namespace

#define READS(Reader, CachedForm, cache, places, value, rule)                              \
    int Reader(char* buffer, DWORD* size, HKEY key) {                                      \
        return FindText(OrLocalMachine(key), places, value, Continue::rule, buffer, size); \
    }                                                                                      \
    const char* CachedForm() { return CacheText(m_hKey, places, value, Continue::rule, cache); }
#include "registry/settings_readers.def"
#undef READS

int GetAlertPath(char* buffer, DWORD* size, HKEY root) { return CHalvRegistry::GetAlertHomeDir(buffer, size, root); }
