// An installation plug-in whose statuses tell how often it was called since it was loaded.
#include <cstdio>

#include "tests/product_libs/exported.h"

namespace {
DWORD g_installs = 0;
}

EXPORTED DWORD WINAPI Install(void* parameters) { return parameters == nullptr ? 87 : ++g_installs; }
EXPORTED DWORD WINAPI UnInstall() { return 1605; }
EXPORTED DWORD WINAPI IsInstalled(int* answer) { return *answer = 1, 0; }
EXPORTED DWORD WINAPI IsInstalledVersionNewer(int* answer) { return *answer = 0, 7; }
EXPORTED DWORD WINAPI GetDebugErrorString(DWORD status, char* buffer, DWORD size) {
    return DWORD(std::snprintf(buffer, size, "plug-in error %lu of %lu", static_cast<unsigned long>(status),
                               static_cast<unsigned long>(size)));
}
#ifndef PLUGIN_WITHOUT_PATH
EXPORTED DWORD WINAPI GetInstallPath(char* buffer, DWORD size) {
    return DWORD(std::snprintf(buffer, size, "C:\\PLUGIN"));
}
#endif
