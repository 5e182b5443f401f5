#include "foundation/text.h"

#include "platform/platform.h"

namespace {

// The first backslash from `at` on.
const char* NextBackslash(const char* at) noexcept {
    for (; *at != '\0'; ++at) {
        if (IsDBCSLeadByte(BYTE(*at)) && at[1] != '\0') {
            ++at;
        } else if (*at == '\\') {
            return at;
        }
    }
    return nullptr;
}

}  // namespace

const char* FirstBackslash(const char* text) noexcept { return NextBackslash(text); }

const char* LastBackslash(const char* text) noexcept {
    const char* last = nullptr;
    while ((text = NextBackslash(text)) != nullptr) last = text++;
    return last;
}
