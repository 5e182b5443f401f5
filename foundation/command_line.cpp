#include "instalib/command_line.h"

#include <cstring>

namespace {

constexpr char kBlank = ' ';
constexpr char kDistributionFile[] = "KORVAULT.ICF";  // the response file of software-distribution runs

bool IsDistributionSwitch(const char* token) {
    return std::strcmp(token, "-SMSInstall") == 0 || std::strcmp(token, "-SMSUninstall") == 0;
}

CString OneCharacter(char character) { return CString(&character, 1); }

}  // namespace

CCommandLineMap::CCommandLineMap(const char* commandLine, char switchCharacter) : CMapStringToString(10) {
    const CString line(commandLine);
    unsigned int texts = 0;
    for (int start = 0; start < line.GetLength();) {
        int end = line.Find(kBlank, start);
        if (end < 0) end = line.GetLength();
        const CString token = line.Mid(start, end - start);
        start = end + 1;
        if (token.IsEmpty()) continue;
        if (token[0] == switchCharacter) {
            ProcessSwitchToken(token);
        } else {
            CString key;
            TextKey(key, texts++);
            SetAt(key, token);
        }
    }
}

CCommandLineMap::~CCommandLineMap() = default;

int CCommandLineMap::GetSwitch(char name) const { return GetSwitch(OneCharacter(name)); }

int CCommandLineMap::GetSwitch(const char* name) const {
    CString value;
    return Lookup(name, value);
}

int CCommandLineMap::GetSwitch(char name, CString& value, const char* defaultValue) const {
    return GetSwitch(OneCharacter(name), value, defaultValue);
}

int CCommandLineMap::GetSwitch(const char* name, CString& value, const char* defaultValue) const {
    if (Lookup(name, value)) return 1;
    if (defaultValue != nullptr) value = defaultValue;
    return 0;
}

int CCommandLineMap::GetText(unsigned int index, CString& text) const {
    CString key;
    TextKey(key, index);
    return Lookup(key, text);
}

void CCommandLineMap::ProcessSwitchToken(const char* token) {
    if (token == nullptr || token[0] == '\0' || token[1] == '\0') return;
    const char* const name = token + 1;
    if (const char* const colon = std::strchr(name, ':')) {
        SetAt(CString(name, int(colon - name)), colon + 1);
    } else if (IsDistributionSwitch(token)) {
        SetAt(name, kDistributionFile);
    } else {
        SetAt(OneCharacter(name[0]), name + 1);
    }
}

void CCommandLineMap::TextKey(CString& key, unsigned int index) const { key.Format("#%d", int(index)); }
