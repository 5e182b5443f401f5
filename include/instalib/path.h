// Trailing backslashes of paths, aware of double-byte characters: a 0x5C that is the second byte of a character is
// none.
#ifndef INSTALIB_PATH_H
#define INSTALIB_PATH_H

#include "instalib/export.h"
#include "instalib/string.h"

// Removes every trailing backslash in place: "C:\dir\\" becomes "C:\dir", "\" becomes empty. Returns the new length in
// bytes.
INSTALIB_API int TrimTailBackSlash(CString& path);

// Makes the path end in exactly one backslash: "C:\dir" and "C:\dir\\" become "C:\dir\". An empty path, and one of
// backslashes alone, becomes empty. Returns the new length in bytes.
INSTALIB_API int AppendBackSlash(CString& path);

#endif
