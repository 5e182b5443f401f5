// HalvProd.dll, in one form per definition. The answers' results are 0: nobody is to look at them.
#include <cstdio>
#include <cstring>

#include "platform/product_libraries.h"
#include "tests/product_libs/exported.h"

#if defined(MAP_GOOD)
EXPORTED int WINAPI HVPGetProductMapInfo(LONG productType, product::ProductMapInfo* info) {
    std::memset(info->unread, 0xff, sizeof info->unread);
    std::snprintf(info->name, sizeof info->name, "Product%d", int(productType));
    return 0;
}
EXPORTED int WINAPI HVPGetProductComponentCode2A(LONG productType, BYTE subType, char* code) {
    std::snprintf(code, 8, "c%dx%d", int(productType), int(subType));
    return 0;
}
EXPORTED int WINAPI HVPGetProductName(LONG productType, char* name, DWORD size) {
    std::snprintf(name, size, "Name of %d", int(productType));
    return 0;
}
#elif defined(MAP_UNTERMINATED)
EXPORTED int WINAPI HVPGetProductMapInfo(LONG, product::ProductMapInfo* info) {
    std::memset(info, 'n', sizeof *info);
    return 1;
}
EXPORTED int WINAPI HVPGetProductComponentCode2A(LONG, BYTE, char* code) {
    std::memset(code, 'c', 8);
    return 1;
}
#elif defined(MAP_BARE)
EXPORTED int WINAPI HVPSomethingElse(void) { return 1; }
#endif
