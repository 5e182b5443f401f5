// Texts and identifiers between their forms.
#ifndef INSTALIB_CHANGES_NAMES_H
#define INSTALIB_CHANGES_NAMES_H

#include <string>
#include <vector>

#include "platform/platform.h"

namespace changes::names {

// With its terminator.
std::vector<WCHAR> Wide(const std::string& text);
std::string Narrow(const WCHAR* text);
// "S-1-5-..."; empty for none.
std::string SidText(PSID sid);
// The identifier's bytes; empty when the text is none.
std::string SidBytes(const std::string& text);
// The absolute path of a file; empty for none. A profile file without a path stands in the Windows directory.
std::string FullPath(const char* path);
std::string ProfilePath(const char* path);

}  // namespace changes::names

#endif
