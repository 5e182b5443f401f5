// Turns the bits of each byte over; TEST_SCRAMBLING says how to misbehave.
#include <algorithm>

#include "tests/product_libs/environment.h"

namespace {

DWORD Turn(const BYTE* input, DWORD inputLength, BYTE* output, DWORD* outputLength) {
    const std::string how = Told("TEST_SCRAMBLING");
    if (how == "refuse") return 77;
    if (how == "fill") {  // the whole capacity
        std::fill_n(output, *outputLength, BYTE(0xAB));
        return 0;
    }
    if (how == "need more") {
        *outputLength += 100;
        return 234;
    }
    const DWORD count = std::min(inputLength, *outputLength);
    for (DWORD i = 0; i < count; ++i) output[i] = BYTE(~input[i]);
    *outputLength = how == "lie" ? *outputLength + 100 : count;
    return 0;
}

}  // namespace

EXPORTED DWORD WINAPI ZKBEncrypt(const BYTE* input, DWORD inputLength, BYTE* output, DWORD* outputLength) {
    return Turn(input, inputLength, output, outputLength);
}
EXPORTED DWORD WINAPI ZKBDecrypt(const BYTE* input, DWORD inputLength, BYTE* output, DWORD* outputLength) {
    return Turn(input, inputLength, output, outputLength);
}
