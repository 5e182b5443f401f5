#include "changes/names.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace changes::names {

std::vector<WCHAR> Wide(const std::string& text) {
    const int size = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
    std::vector<WCHAR> wide(std::size_t(size > 0 ? size : 1));
    if (size > 0) MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, wide.data(), size);
    return wide;
}

std::string Narrow(const WCHAR* text) {
    if (text == nullptr) return {};
    const int size = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(std::size_t(size > 0 ? size : 1), '\0');
    if (size > 0) WideCharToMultiByte(CP_ACP, 0, text, -1, narrow.data(), size, nullptr, nullptr);
    narrow.pop_back();
    return narrow;
}

std::string SidText(PSID sid) {
    if (sid == nullptr || !IsValidSid(sid)) return {};
    const SID_IDENTIFIER_AUTHORITY& authority = *GetSidIdentifierAuthority(sid);
    unsigned long long number = 0;
    for (const BYTE byte : authority.Value) number = (number << 8) | byte;
    std::string text = std::string("S-1-") + std::to_string(number);
    for (DWORD i = 0; i < *GetSidSubAuthorityCount(sid); ++i) text += '-' + std::to_string(*GetSidSubAuthority(sid, i));
    return text;
}

std::string SidBytes(const std::string& text) {
    if (!text.starts_with("S-1-")) return {};
    const char* rest = text.c_str() + 4;
    char* end = nullptr;
    unsigned long long authority = std::strtoull(rest, &end, 10);
    std::string sid{"\x01\0", 2};
    for (int shift = 40; shift >= 0; shift -= 8) sid += char(BYTE(authority >> shift));
    while (*end == '-' && sid[1] < SID_MAX_SUB_AUTHORITIES) {
        const unsigned long long part = std::strtoull(end + 1, &end, 10);
        for (int shift = 0; shift < 32; shift += 8) sid += char(BYTE(part >> shift));
        ++sid[1];
    }
    return *end == '\0' && sid[1] > 0 ? sid : std::string();
}

std::string FullPath(const char* path) {
    if (path == nullptr || *path == '\0') return {};
    std::string full(MAX_PATH, '\0');
    const DWORD size = GetFullPathNameA(path, DWORD(full.size()), full.data(), nullptr);
    if (size == 0) return {};
    if (size >= full.size()) {
        full.resize(size);
        full.resize(GetFullPathNameA(path, DWORD(full.size()), full.data(), nullptr));
    } else {
        full.resize(size);
    }
    while (full.size() > 3 && full.ends_with('\\')) full.pop_back();
    return full;
}

std::string ProfilePath(const char* path) {
    if (path == nullptr || std::strpbrk(path, "\\/:") != nullptr) return FullPath(path);
    char windows[MAX_PATH] = "";
    GetWindowsDirectoryA(windows, sizeof windows);
    return std::string(windows) + "\\" + path;
}

}  // namespace changes::names
