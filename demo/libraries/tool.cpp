// The tool library: the family's registry roots, the system account and the Windows version that the product asks for.
#include "demo/libraries/sample_library.h"

SAMPLE_EXPORT int SAMPLE_CALL HstGetBrandNameStringA(char* buffer, DWORD size) {
    return Answer(buffer, size, "SOFTWARE\\Orvanex");
}

SAMPLE_EXPORT int SAMPLE_CALL HstGetRegRootStringA(char* buffer, DWORD size) {
    return Answer(buffer, size, "SOFTWARE\\Orvanex\\Zephranite Korvault Backup");
}

SAMPLE_EXPORT int SAMPLE_CALL HstGetRegBaseStringA(char* buffer, DWORD size) {
    return Answer(buffer, size, "SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\Base");
}

// The account itself is made by the setup library; the sample only checks that it is handed a whole one.
SAMPLE_EXPORT DWORD SAMPLE_CALL HstSetUserAccountA(const char* computer, const char (*account)[64]) {
    const bool terminated =
        std::memchr(account[0], 0, 64) && std::memchr(account[1], 0, 64) && std::memchr(account[2], 0, 64);
    return computer != nullptr && terminated && account[1][0] != '\0' ? 1 : 0;
}

// Windows 2000 (5.0) and later.
SAMPLE_EXPORT int SAMPLE_CALL IsWindowsVersionOKA(DWORD major, DWORD, DWORD) { return major >= 5 ? 1 : 0; }
