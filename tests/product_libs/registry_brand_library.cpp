// BRAND.dll: the product id under ordinal 101, without a terminator when it fills the buffer.
#include <cstring>

#include "tests/product_libs/exported.h"

EXPORTED int WINAPI Ordinal101(char* buffer, DWORD size) {
    std::strncpy(buffer, "TestBrand", size);
    return 1;
}
