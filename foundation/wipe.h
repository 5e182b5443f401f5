// Overwriting memory that held a password.
#ifndef INSTALIB_FOUNDATION_WIPE_H
#define INSTALIB_FOUNDATION_WIPE_H

#include <cstddef>

// Through volatile, so that the compiler does not leave the stores out as dead.
inline void WipeMemory(void* memory, std::size_t size) noexcept {
    volatile char* const bytes = static_cast<char*>(memory);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = 0;
}

#endif
