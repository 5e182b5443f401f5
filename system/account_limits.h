// How long the texts of an account may be, without their terminators, and copying them into records of that size.
#ifndef INSTALIB_SYSTEM_ACCOUNT_LIMITS_H
#define INSTALIB_SYSTEM_ACCOUNT_LIMITS_H

#include <cstdio>
#include <cstring>

namespace account_limits {

inline constexpr std::size_t kText = 63;        // domain, user name, password
inline constexpr std::size_t kComputer = 1087;  // computer name

inline bool Fits(const char* text, std::size_t limit) { return text == nullptr || std::strlen(text) <= limit; }

// The whole buffer is written, so that nothing of an earlier text stays.
template <std::size_t Size>
void Copy(char (&field)[Size], const char* text) {
    std::memset(field, 0, Size);
    if (text != nullptr) std::memcpy(field, text, strnlen(text, Size - 1));
}

}  // namespace account_limits

#endif
