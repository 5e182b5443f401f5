#include "upgrade/rule_text.h"

#include <climits>

#include "foundation/text.h"
#include "instalib/path.h"
#include "platform/platform.h"

namespace upgrade {

int NumberOf(const char* text) {
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    long long number = 0;
    for (; *text >= '0' && *text <= '9' && number <= INT_MAX; ++text) number = number * 10 + (*text - '0');
    return number > INT_MAX ? INT_MAX : int(number);
}

WORD VersionOf(const CString& text) {
    const int period = text.Find('.');
    const int major = period < 0 ? 0 : NumberOf(text.Left(period));
    return WORD((major & 0xFF) << 8 | (NumberOf(text.Mid(period + 1)) & 0xFF));
}

Range SplitRange(const CString& text) {
    const int comma = text.Find(',');
    return {comma < 0 ? CString() : text.Left(comma), text.Mid(comma + 1)};
}

CString ReadRule(const char* file, const char* section, const char* key, int capacity) {
    CString value;
    GetPrivateProfileStringA(section, key, "", value.GetBuffer(capacity), DWORD(capacity), OrEmpty(file));
    value.ReleaseBuffer();
    return value;
}

CString InformationFile(const char* directory) {
    CString path(directory);
    TrimTailBackSlash(path);
    return path + "\\setup.inf";
}

}  // namespace upgrade
