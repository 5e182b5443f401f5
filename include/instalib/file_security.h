// Access rights of files, directories and shares: AdjustAccessRights and the security objects.
#ifndef INSTALIB_FILE_SECURITY_H
#define INSTALIB_FILE_SECURITY_H

#include "instalib/export.h"
#include "instalib/windows_types.h"

// Gives `account`, looked up on `system` (null: the local machine), exactly one explicit allow entry with `mask` in the
// access list of the file or directory `path`: behind the other explicit entries and before the inherited ones. Every
// other entry of the account is dropped; the list keeps its inheritance state. The second and third text are not used:
// they are the names of the machine and the domain that earlier callers passed along, and may be null. Nonzero on
// success; a failure writes one line to the standard output, leaves the object as it was and the Windows error in the
// last-error value.
INSTALIB_API int AdjustAccessRights(const char* system, const char* machine, const char* domain, const char* path,
                                    const char* account, DWORD mask);

#endif
