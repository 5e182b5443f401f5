// The C runtime's file functions and texts.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/embedded/api/files.h"
#include "platform/embedded/api/runtime.h"
#include "platform/embedded/api/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/files/path_text.h"
#include "platform/embedded/files/state.h"

using embedded::control::CallKind;
namespace gate = embedded::gate;

namespace {

// errno for a Windows error, as the runtime maps it.
int ErrnoOf(DWORD error) {
    struct Row {
        DWORD windows;
        int runtime;
    };
    static constexpr Row kRows[] = {
        {ERROR_FILE_NOT_FOUND, ENOENT},       {ERROR_PATH_NOT_FOUND, ENOENT},
        {ERROR_BAD_NETPATH, ENOENT},          {ERROR_BAD_NET_NAME, ENOENT},
        {ERROR_FILENAME_EXCED_RANGE, ENOENT}, {ERROR_BAD_PATHNAME, ENOENT},
        {ERROR_NO_MORE_FILES, ENOENT},        {ERROR_ACCESS_DENIED, EACCES},
        {ERROR_LOCK_VIOLATION, EACCES},       {ERROR_FILE_EXISTS, EEXIST},
        {ERROR_ALREADY_EXISTS, EEXIST},       {ERROR_DIR_NOT_EMPTY, ENOTEMPTY},
        {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},    {ERROR_DISK_FULL, ENOSPC},
        {ERROR_NOT_SAME_DEVICE, EXDEV},
    };
    for (const Row& row : kRows) {
        if (row.windows == error) return row.runtime;
    }
    const bool isDeviceTrouble = error >= ERROR_WRITE_PROTECT && error <= 36;
    return isDeviceTrouble ? EACCES : EINVAL;
}

int Outcome(BOOL succeeded) {
    if (succeeded) return 0;
    errno = ErrnoOf(GetLastError());
    return -1;
}

int Lower(char character) {
    const int code = static_cast<unsigned char>(character);
    return code >= 'A' && code <= 'Z' ? code - 'A' + 'a' : code;
}

// Copies a part of a path, cut between characters where it is too long.
void CopyPart(char* target, std::size_t capacity, const char* begin, const char* end) {
    if (target == nullptr) return;
    const char* copied = begin;
    while (copied < end) {
        const std::ptrdiff_t width = IsDBCSLeadByte(BYTE(*copied)) && copied + 1 < end ? 2 : 1;
        if (copied + width - begin >= std::ptrdiff_t(capacity)) break;
        copied += width;
    }
    std::memcpy(target, begin, std::size_t(copied - begin));
    target[copied - begin] = '\0';
}

bool EndsWithSeparator(const char* directory) {
    char last = '\0';
    for (const char* next = directory; *next != '\0'; ++next) {
        last = *next;
        if (IsDBCSLeadByte(BYTE(*next)) && next[1] != '\0') {
            last = '\0';  // a trail byte is never a separator
            ++next;
        }
    }
    return last == '\\' || last == '/';
}

}  // namespace

int _access(const char* path, int mode) {
    if (path == nullptr || (mode & ~6) != 0) {
        errno = EINVAL;
        return -1;
    }
    const DWORD attributes = GetFileAttributesA(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) return Outcome(FALSE);
    const bool isDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if ((mode & 2) == 0 || isDirectory || (attributes & FILE_ATTRIBUTE_READONLY) == 0) return 0;
    errno = EACCES;
    return -1;
}

void _splitpath(const char* path, char* drive, char* directory, char* name, char* extension) {
    const char* const start = path[0] != '\0' && path[1] == ':' ? path + 2 : path;
    const char* nameBegin = start;
    const char* dot = nullptr;
    const char* end = start;
    for (; *end != '\0'; ++end) {
        if (IsDBCSLeadByte(BYTE(*end)) && end[1] != '\0') {
            ++end;
        } else if (*end == '\\' || *end == '/') {
            nameBegin = end + 1;
            dot = nullptr;
        } else if (*end == '.') {
            dot = end;
        }
    }
    const char* const nameEnd = dot == nullptr ? end : dot;
    CopyPart(drive, _MAX_DRIVE, path, start);
    CopyPart(directory, _MAX_DIR, start, nameBegin);
    CopyPart(name, _MAX_FNAME, nameBegin, nameEnd);
    CopyPart(extension, _MAX_EXT, nameEnd, end);
}

void _makepath(char* path, const char* drive, const char* directory, const char* name, const char* extension) {
    std::string made;
    if (drive != nullptr && *drive != '\0') made = {*drive, ':'};
    if (directory != nullptr && *directory != '\0') {
        made += directory;
        if (!EndsWithSeparator(directory)) made += '\\';
    }
    if (name != nullptr) made += name;
    if (extension != nullptr && *extension != '\0') {
        if (*extension != '.') made += '.';
        made += extension;
    }
    CopyPart(path, _MAX_PATH, made.c_str(), made.c_str() + made.size());
}

char* _fullpath(char* buffer, const char* path, std::size_t size) {
    if (gate::Refuses(CallKind::File, "_fullpath")) return nullptr;
    const char* const name = path == nullptr || *path == '\0' ? "." : path;
    const std::string absolute = embedded::paths::ToAnsi(
        embedded::paths::Absolute(embedded::paths::FromAnsi(name), embedded::files::CurrentDirectory()));
    if (buffer == nullptr) {
        size = std::max(size, absolute.size() + 1);
        buffer = static_cast<char*>(std::malloc(size));
    }
    if (buffer == nullptr || absolute.size() >= size) {
        errno = buffer == nullptr ? ENOMEM : ERANGE;
        return nullptr;
    }
    std::memcpy(buffer, absolute.c_str(), absolute.size() + 1);
    return buffer;
}

int _chdir(const char* path) { return Outcome(SetCurrentDirectoryA(path)); }
int _mkdir(const char* path) { return Outcome(CreateDirectoryA(path, nullptr)); }
int _rmdir(const char* path) { return Outcome(RemoveDirectoryA(path)); }

int _strnicmp(const char* left, const char* right, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const int difference = Lower(left[i]) - Lower(right[i]);
        if (difference != 0 || left[i] == '\0') return difference;
    }
    return 0;
}

int _stricmp(const char* left, const char* right) { return _strnicmp(left, right, SIZE_MAX); }

char* _strdate(char* buffer) {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    std::snprintf(buffer, 9, "%02u/%02u/%02u", now.wMonth % 100u, now.wDay % 100u, now.wYear % 100u);
    return buffer;
}

char* _strtime(char* buffer) {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    std::snprintf(buffer, 9, "%02u:%02u:%02u", now.wHour % 100u, now.wMinute % 100u, now.wSecond % 100u);
    return buffer;
}
