// The scrambling library of the demo: reversible and no cipher. A product ships its own.
#include "demo/libraries/sample_library.h"

namespace {

constexpr DWORD kNoRoom = 122;  // ERROR_INSUFFICIENT_BUFFER

DWORD Mask(const BYTE* input, DWORD length, BYTE* output, DWORD* outputLength) {
    if (input == nullptr || output == nullptr || outputLength == nullptr || *outputLength < length) return kNoRoom;
    for (DWORD i = 0; i < length; ++i) output[i] = BYTE(input[i] ^ BYTE(0x5A + i));
    *outputLength = length;
    return 0;
}

}  // namespace

SAMPLE_EXPORT DWORD SAMPLE_CALL ZKBEncrypt(const BYTE* input, DWORD length, BYTE* output, DWORD* outputLength) {
    return Mask(input, length, output, outputLength);
}

SAMPLE_EXPORT DWORD SAMPLE_CALL ZKBDecrypt(const BYTE* input, DWORD length, BYTE* output, DWORD* outputLength) {
    return Mask(input, length, output, outputLength);
}
