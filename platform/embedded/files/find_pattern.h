// Search patterns of FindFirstFileA.
#ifndef INSTALIB_EMBEDDED_FILES_FIND_PATTERN_H
#define INSTALIB_EMBEDDED_FILES_FIND_PATTERN_H

#include <string>
#include <string_view>

namespace embedded::find {

// Whether a file's name matches a pattern as it was written, without regard to case:
//   "*.*" and "*"  everything            "*."     names without an extension
//   "a?.txt"       "a.txt", "ab.txt"     "a*.t?t" the last dot of the name is the one that counts
bool Matches(std::u16string_view name, std::u16string_view pattern);

bool HasWildcard(std::u16string_view pattern);

}  // namespace embedded::find

#endif
