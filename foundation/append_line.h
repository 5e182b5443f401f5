// Appending lines to a file that other processes append to as well.
#ifndef INSTALIB_FOUNDATION_APPEND_LINE_H
#define INSTALIB_FOUNDATION_APPEND_LINE_H

#include "platform/platform.h"

// Opens the file, creating it when it is missing and sharing it as said (FILE_SHARE_...), and writes the bytes at its
// end in one piece, under a lock of the range that they occupy. 1, or 0 with the last error of the call that failed. A
// range that another writer holds is asked for again for half a second, then fails with ERROR_LOCK_VIOLATION; nobody's
// line is ever overwritten.
int AppendLine(const char* file, DWORD share, const char* bytes, DWORD count) noexcept;

#endif
