#include "instalib/version.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "platform/product_libraries.h"

namespace {

CString AskLibrary(const CString& path, const char* entryPoint) {
    char text[33] = "";  // one byte more than the library may fill
    const LoadedLibrary library(LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    if (auto* const getText = product::EntryPoint<product::GetVersionText>(library.Get(), entryPoint)) getText(text);
    text[31] = '\0';
    return text;
}

// As atoi, with a defined result for numbers that do not fit.
int LeadingNumber(const char* text) {
    return int(std::clamp<long long>(std::strtoll(text, nullptr, 10), INT_MIN, INT_MAX));
}

}  // namespace

CString InstalibGetVersionString(CString library) { return AskLibrary(library, "KvvGetVersionA"); }
CString InstalibGetBuildString(CString library) { return AskLibrary(library, "KvvGetBuildNumberA"); }

WORD InstalibGetVersionNumber(CString library) {
    const CString text = InstalibGetVersionString(library);
    const int dot = text.Find('.');
    const BYTE major = BYTE(LeadingNumber(text));
    const BYTE minor = dot >= 1 ? BYTE(LeadingNumber(text.Mid(dot + 1))) : BYTE(0);
    return MAKEWORD(minor, major);
}

WORD InstalibGetBuildNumber(CString library) { return WORD(LeadingNumber(InstalibGetBuildString(library))); }

DWORD InstalibGetVersionBuildNumber(CString library) {
    const WORD version = InstalibGetVersionNumber(library);
    return DWORD(InstalibGetBuildNumber(library)) << 16 | version;
}
