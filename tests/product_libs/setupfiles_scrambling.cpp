// KVDCEN.DLL: turns every bit over. Refuses "refuse" and what does not fit.
#include <cstring>

#include "platform/product_libraries.h"
#include "tests/product_libs/exported.h"

namespace {

DWORD TurnOver(const BYTE* input, DWORD length, BYTE* output, DWORD* outputLength) {
    if (length > *outputLength || (length == 6 && std::memcmp(input, "refuse", 6) == 0)) return 99;
    for (DWORD i = 0; i < length; ++i) output[i] = BYTE(~input[i]);
    *outputLength = length;
    return 0;
}

}  // namespace

EXPORTED DWORD WINAPI ZKBEncrypt(const BYTE* input, DWORD length, BYTE* output, DWORD* outputLength) {
    return TurnOver(input, length, output, outputLength);
}
EXPORTED DWORD WINAPI ZKBDecrypt(const BYTE* input, DWORD length, BYTE* output, DWORD* outputLength) {
    return TurnOver(input, length, output, outputLength);
}
