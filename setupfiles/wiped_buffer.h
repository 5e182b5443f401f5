// A zero-filled scratch buffer for passwords, wiped when it goes. The capacity counts the terminator, which always
// stands.
#ifndef INSTALIB_SETUPFILES_WIPED_BUFFER_H
#define INSTALIB_SETUPFILES_WIPED_BUFFER_H

#include <cstddef>

#include "foundation/wipe.h"

template <std::size_t Capacity>
class WipedBuffer {
  public:
    WipedBuffer() = default;
    WipedBuffer(const WipedBuffer&) = delete;
    WipedBuffer& operator=(const WipedBuffer&) = delete;
    ~WipedBuffer() { WipeMemory(m_text, Capacity); }
    char* Text() noexcept { return m_text; }
    static constexpr std::size_t Size() noexcept { return Capacity; }

  private:
    char m_text[Capacity] = {};
};

#endif
