#include "tests/product_libs/environment.h"

EXPORTED int WINAPI IsWindowsVersionOKA(DWORD major, DWORD minor, DWORD build) {
    return int(major * 10000 + minor * 1000 + build);
}
