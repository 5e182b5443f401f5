// Makes the bytes of small DLLs as real Windows has them: one section with a version resource and no code. Plain C++,
// so that the tests of both targets place such files too.
#ifndef INSTALIB_EMBEDDED_MODULES_IMAGE_H
#define INSTALIB_EMBEDDED_MODULES_IMAGE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace embedded {

struct ModuleImage {
    // major, minor, build, revision
    std::uint16_t fileVersion[4] = {1, 0, 0, 0};
    std::uint16_t productVersion[4] = {1, 0, 0, 0};
    std::uint16_t language = 0x0409;
    std::uint16_t codePage = 1252;
    // Names and texts of the string table, ASCII or UTF-16.
    std::vector<std::pair<std::u16string, std::u16string>> strings = {};
    bool sixtyFourBit = true;              // PE32+, otherwise PE32
    bool hasVersion = true;                // false: a module without any resource
    bool hasTranslation = true;            // false: no VarFileInfo block
    std::uint32_t signature = 0xFEEF04BD;  // of the fixed record
};

// The file's bytes.
std::string BuildModule(const ModuleImage& image);
// The version resource alone.
std::string BuildVersionResource(const ModuleImage& image);

}  // namespace embedded

#endif
