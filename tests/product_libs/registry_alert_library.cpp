// ALERTVER.DLL: the alert service's build.
#include <cstring>

#include "tests/product_libs/exported.h"

EXPORTED int WINAPI AlGetBuildNumberA(char* buffer) {
    std::strcpy(buffer, "1234");
    return 1;
}
