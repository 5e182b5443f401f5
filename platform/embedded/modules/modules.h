// The room modules/: loading modules, their version resources, the Windows Installer's answers.
//
// The modules of this process as the embedded machine's own code sees them.
#ifndef INSTALIB_EMBEDDED_MODULES_MODULES_H
#define INSTALIB_EMBEDDED_MODULES_MODULES_H

#include <optional>
#include <string>

#include "platform/embedded/api/base.h"

namespace embedded::modules {

// By name, or by ordinal when `name` is null; null and the Windows error when there is none.
FARPROC Address(HMODULE handle, const char* name, WORD ordinal, DWORD& error);
// The module that stands for the program itself.
HMODULE ProgramHandle();
// A loaded module by name or path; null when there is none.
HMODULE HandleOf(const std::string& name);
// The machine's path; nothing for a handle of no module or of a data file.
std::optional<std::string> PathOf(HMODULE handle);
// The file name, of data files too.
std::optional<std::string> NameOf(HMODULE handle);

}  // namespace embedded::modules

#endif
