#include "registry/tool_library.h"

#include "instalib/log.h"
#include "platform/product_libraries.h"

namespace registry {

LoadedLibrary LoadToolLibrary() {
    char directory[256] = "";
    const DWORD length = GetCurrentDirectoryA(sizeof directory, directory);
    if (length != 0 && length < sizeof directory) {
        LoadedLibrary library(LoadLibraryA(CString(directory) + "\\" + product::kToolLibrary));
        if (library) return library;
    }
    return LoadedLibrary(LoadLibraryA(product::kToolLibrary));
}

void LogLine(const char* file, const char* text) {
    const DWORD error = GetLastError();
    char format[] = "%s";
    CLog::Write(file, format, text);
    SetLastError(error);
}

}  // namespace registry
