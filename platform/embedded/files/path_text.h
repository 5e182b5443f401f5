// Paths as text, without a look at any drive. Inside, paths are UTF-16: a double-byte character's trail byte can then
// not be taken for a separator.
#ifndef INSTALIB_EMBEDDED_FILES_PATH_TEXT_H
#define INSTALIB_EMBEDDED_FILES_PATH_TEXT_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/api/base.h"

namespace embedded::paths {

// The machine's code page to UTF-16 and back; ASCII costs no conversion.
std::u16string FromAnsi(std::string_view text);
std::string ToAnsi(std::u16string_view text);
// A host name (UTF-8) and back; nothing for text that is no well-formed Unicode.
std::optional<std::filesystem::path> ToHost(std::u16string_view name);
std::optional<std::u16string> FromHost(const std::filesystem::path& name);

// The form in which names compare: upper case of Latin, Greek and Cyrillic letters, narrow and wide.
char16_t Fold(char16_t character);
std::u16string Fold(std::u16string_view text);
bool EqualNoCase(std::u16string_view left, std::u16string_view right);

// The absolute path of a name as Windows forms it:
//   "x\\..\\y. "  in C:\a  ->  "C:\\a\\y"       "\\b"     ->  "C:\\b"        "D:x"   ->  "D:\\x"
//   "a//b/"       in C:\   ->  "C:\\a\\b\\"     "\\\\M\\s\\..\\t" -> "\\\\M\\s\\t"
//   "\\\\?\\C:\\x"         ->  "C:\\x"
// `directory` is absolute with a final backslash. An empty name gives an empty path.
std::u16string Absolute(std::u16string_view name, std::u16string_view directory);

// An absolute path taken apart.
struct Parsed {
    char16_t drive = 0;   // 'C'; 0 for a UNC path
    std::u16string host;  // of a UNC path
    std::u16string share;
    std::vector<std::u16string> names;  // below the root
    bool endsWithSeparator = false;     // a root does
};
// Nothing when the path is neither a drive's nor \\host\share.
std::optional<Parsed> Parse(std::u16string_view absolute);
// The length of the root: "C:\\", "\\\\host\\share\\" (the last backslash may be missing at the end).
std::size_t RootLength(std::u16string_view absolute);

// False for characters that no file name has (wildcards, colons, control characters) and for more than 255 characters.
bool IsValidName(std::u16string_view name);

inline bool IsSeparator(char16_t character) { return character == u'\\' || character == u'/'; }

// Copies a path to a caller's buffer as the path functions do: the length without the terminator, or, when `size` is
// too small, the size with it.
DWORD CopyOut(const std::string& text, char* buffer, DWORD size);

}  // namespace embedded::paths

#endif
