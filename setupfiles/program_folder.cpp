#include "setupfiles/program_folder.h"

#include <cstring>

#include "platform/platform.h"

CString FolderOf(const char* path) {
    if (std::strlen(path) >= _MAX_PATH) return CString();
    char drive[_MAX_PATH] = "";
    char directory[_MAX_PATH] = "";
    _splitpath(path, drive, directory, nullptr, nullptr);
    return CString(drive) + directory;
}

CString ProgramFolder() {
    char path[_MAX_PATH + 1] = "";
    GetModuleFileNameA(nullptr, path, sizeof path);
    path[_MAX_PATH] = '\0';
    return FolderOf(path);
}
