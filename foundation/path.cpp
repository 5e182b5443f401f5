#include "instalib/path.h"

#include "platform/platform.h"

namespace {

bool IsLeadByteAt(const CString& path, int index) { return IsDBCSLeadByte(BYTE(path[index])) != 0; }

// Whether the backslash at the end of the first `length` bytes is a character of its own. Lead bytes may be second
// bytes too, so that the unbroken run of them before the backslash decides: they pair up from its start.
bool EndsInRealBackSlash(const CString& path, int length) {
    int run = 0;
    while (run < length - 1 && IsLeadByteAt(path, length - 2 - run)) ++run;
    return run % 2 == 0;
}

}  // namespace

int TrimTailBackSlash(CString& path) {
    int length = path.GetLength();
    while (length > 0 && path[length - 1] == '\\' && EndsInRealBackSlash(path, length)) --length;
    if (length < path.GetLength()) path = path.Left(length);
    return length;
}

int AppendBackSlash(CString& path) {
    if (TrimTailBackSlash(path) > 0) path += '\\';
    return path.GetLength();
}
