// The texts of upgrade rules: numbers, versions, ranges, and keys of the information file's section Upgrade.
#ifndef INSTALIB_UPGRADE_RULE_TEXT_H
#define INSTALIB_UPGRADE_RULE_TEXT_H

#include "instalib/string.h"
#include "instalib/windows_types.h"

namespace upgrade {

// The text's leading digits after blanks; at most 2147483647.
int NumberOf(const char* text);
// "11.5" is 0x0B05; each part is cut to 8 bits, and without a period the text is the minor number.
WORD VersionOf(const CString& text);

// What stands before and behind the first comma; without one all of it is the upper end.
struct Range {
    CString lower;
    CString upper;
};
Range SplitRange(const CString& text);

// A value of the information file in a buffer of `capacity` bytes; empty when it is missing.
CString ReadRule(const char* file, const char* section, const char* key, int capacity = 260);

// The path of SETUP.INF in a setup directory that may or may not end in backslashes.
CString InformationFile(const char* directory);

}  // namespace upgrade

#endif
