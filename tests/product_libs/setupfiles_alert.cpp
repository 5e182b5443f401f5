// ALERTVER.DLL of a medium with build 200.
#include <cstring>

#include "platform/product_libraries.h"
#include "tests/product_libs/exported.h"

EXPORTED int WINAPI AlGetBuildNumberA(char* buffer) {
    std::strcpy(buffer, "200 beta");
    return 1;
}
