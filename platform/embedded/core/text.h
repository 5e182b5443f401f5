// Text helpers of the embedded machine: case, conversion, splitting. Case rules are those of ASCII letters unless the
// text is converted; names of keys and files compare so.
#ifndef INSTALIB_EMBEDDED_CORE_TEXT_H
#define INSTALIB_EMBEDDED_CORE_TEXT_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/api/base.h"

namespace embedded {
namespace text {

inline char Upper(char character) {
    return character >= 'a' && character <= 'z' ? char(character - 'a' + 'A') : character;
}
inline std::string Upper(std::string_view text) {
    std::string result(text);
    for (char& character : result) character = Upper(character);
    return result;
}
inline int CompareNoCase(std::string_view left, std::string_view right) {
    const std::size_t common = left.size() < right.size() ? left.size() : right.size();
    for (std::size_t i = 0; i < common; ++i) {
        const int difference = int(BYTE(Upper(left[i]))) - int(BYTE(Upper(right[i])));
        if (difference != 0) return difference;
    }
    return left.size() < right.size() ? -1 : left.size() > right.size() ? 1 : 0;
}
inline bool EqualNoCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() && CompareNoCase(left, right) == 0;
}

// Between the machine's ANSI code page and UTF-16 (system/code_page.cpp). A character that has no form becomes '?'.
std::string Narrow(std::u16string_view wide);
std::u16string Widen(std::string_view narrow);

}  // namespace text
}  // namespace embedded

#endif
