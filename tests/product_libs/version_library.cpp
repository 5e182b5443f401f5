#include <cstring>

#include "tests/product_libs/environment.h"

namespace {

// "FULL" fills all 32 bytes and leaves no terminator.
int Tell(const char* variable, char* buffer) {
    const std::string text = Told(variable);
    if (text == "FULL") {
        std::memset(buffer, '9', 32);
    } else {
        std::strcpy(buffer, text.c_str());
    }
    return 1;
}

}  // namespace

EXPORTED int WINAPI KvvGetVersionA(char* buffer) { return Tell("TEST_VERSION", buffer); }
EXPORTED int WINAPI KvvGetBuildNumberA(char* buffer) { return Tell("TEST_BUILD", buffer); }

EXPORTED HRESULT CALLBACK DllGetVersion(DLLVERSIONINFO* information) {
    information->dwMajorVersion = ToldNumber("TEST_DLL_MAJOR");
    information->dwMinorVersion = information->cbSize;
    return HRESULT(ToldNumber("TEST_DLL_STATUS"));
}
