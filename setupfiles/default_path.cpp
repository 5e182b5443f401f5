#include "setupfiles/default_path.h"

#include "instalib/path.h"
#include "platform/platform.h"

CString LastPathComponent(const char* path) {
    CString text(path);
    TrimTailBackSlash(text);
    int start = 0;
    for (int i = 0; i < text.GetLength(); ++i) {
        if (text[i] == '\\') start = i + 1;
        if (IsDBCSLeadByte(BYTE(text[i]))) ++i;  // the second byte of a character may be a backslash's
    }
    return text.Mid(start);
}

CString FromFirstBackslash(const char* path) {
    const CString text(path);
    const int backslash = text.Find('\\');
    return backslash < 0 ? text : text.Mid(backslash);
}
