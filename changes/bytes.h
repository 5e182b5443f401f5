// Bytes written and read one after the other: numbers of 32 bits, little-endian, and texts after their length.
#ifndef INSTALIB_CHANGES_BYTES_H
#define INSTALIB_CHANGES_BYTES_H

#include <cstdint>
#include <string>
#include <string_view>

namespace changes {

class Writer {
  public:
    Writer& Number(std::uint32_t number) {
        for (int shift = 0; shift < 32; shift += 8) m_bytes += char(ByteOf(number, shift));
        return *this;
    }
    Writer& Text(std::string_view text) {
        Number(std::uint32_t(text.size()));
        m_bytes += text;
        return *this;
    }
    const std::string& Bytes() const { return m_bytes; }

  private:
    static unsigned char ByteOf(std::uint32_t number, int shift) { return static_cast<unsigned char>(number >> shift); }
    std::string m_bytes;
};

// Whoever reads past the end gets zeros and empty texts; Complete() then tells that it happened.
class Reader {
  public:
    explicit Reader(std::string_view bytes) : m_rest(bytes) {}
    std::uint32_t Number() {
        const std::string_view bytes = Take(4);
        std::uint32_t number = 0;
        for (std::size_t i = bytes.size(); i-- > 0;) number = (number << 8) | static_cast<unsigned char>(bytes[i]);
        return number;
    }
    std::string Text() { return std::string(Take(Number())); }
    // Everything was there and nothing is left.
    bool Complete() const { return m_good && m_rest.empty(); }
    bool Good() const { return m_good; }

  private:
    std::string_view Take(std::size_t count) {
        if (count > m_rest.size()) {
            m_good = false;
            m_rest = {};
            return {};
        }
        const std::string_view taken = m_rest.substr(0, count);
        m_rest.remove_prefix(count);
        return taken;
    }
    std::string_view m_rest;
    bool m_good = true;
};

}  // namespace changes

#endif
