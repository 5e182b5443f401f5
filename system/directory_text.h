// The end of a directory as callers write it, with or without a backslash.
#ifndef INSTALIB_SYSTEM_DIRECTORY_TEXT_H
#define INSTALIB_SYSTEM_DIRECTORY_TEXT_H

#include "instalib/path.h"

// The second byte of a double-byte character is no backslash.
inline bool EndsInBackSlash(const CString& path) {
    CString trimmed = path;
    return TrimTailBackSlash(trimmed) < path.GetLength();
}

#endif
