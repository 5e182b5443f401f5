// CRC-32 (polynomial EDB88320), continued from an earlier one. It finds accidents, not forgeries: the record's access
// list keeps others from writing it.
#ifndef INSTALIB_CHANGES_CHECKSUM_H
#define INSTALIB_CHANGES_CHECKSUM_H

#include <array>
#include <cstdint>
#include <string_view>

namespace changes {

inline std::uint32_t Checksum(std::string_view bytes, std::uint32_t before = 0) {
    static constexpr auto kTable = [] {
        std::array<std::uint32_t, 256> table{};
        for (std::uint32_t i = 0; i < 256; ++i) {
            table[i] = i;
            for (int bit = 0; bit < 8; ++bit) table[i] = (table[i] >> 1) ^ ((table[i] & 1) != 0 ? 0xEDB88320u : 0);
        }
        return table;
    }();
    std::uint32_t sum = ~before;
    for (const char byte : bytes) sum = kTable[(sum ^ static_cast<unsigned char>(byte)) & 0xFF] ^ (sum >> 8);
    return ~sum;
}

}  // namespace changes

#endif
