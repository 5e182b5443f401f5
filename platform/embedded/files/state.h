// The file family's per-process state.
#ifndef INSTALIB_EMBEDDED_FILES_STATE_H
#define INSTALIB_EMBEDDED_FILES_STATE_H

#include <string>

namespace embedded::files {

// The current directory becomes C:\ again; the process runs on another machine.
void ResetForMachine();

// The current directory, absolute, with a final backslash. Children inherit it in UTF-8 as INSTALIB_DIRECTORY, which
// the first call of a process reads; without one it is C:\.
std::u16string CurrentDirectory();
void SetCurrentDirectory(const std::u16string& directory);

}  // namespace embedded::files

#endif
