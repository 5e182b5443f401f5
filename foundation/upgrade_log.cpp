#include "foundation/upgrade_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "foundation/append_line.h"
#include "instalib/exception.h"
#include "instalib/string.h"
#include "platform/handles.h"

namespace {

constexpr DWORD kLineBytes = 1024;

// Empty when the variable is missing. Its value may change between two questions, hence the loop.
CString ReadEnvironment(const char* name) {
    CString value;
    DWORD size = MAX_PATH;
    for (;;) {
        const DWORD length = GetEnvironmentVariableA(name, value.GetBuffer(int(size)), size);
        if (length < size) {
            value.ReleaseBuffer(int(length));
            return value;
        }
        size = length + 1;
    }
}

// A line cut in the middle of a double-byte character would swallow the line's end.
std::size_t WholeCharacters(const char* text) {
    std::size_t length = 0;
    while (text[length] != '\0') {
        const std::size_t next = length + (IsDBCSLeadByte(BYTE(text[length])) ? 2 : 1);
        if (next == length + 2 && text[length + 1] == '\0') break;
        length = next;
    }
    return length;
}

}  // namespace

void WriteUpgradeLog(const char* format, ...) noexcept {
    const DWORD error = GetLastError();
    va_list arguments;
    va_start(arguments, format);
    try {
        CString file = ReadEnvironment("UPGRADE_INSTALIB");
        if (!file.IsEmpty()) {
            file += "\\Upgrade_Instalib.log";
            char line[kLineBytes] = "";
            std::vsnprintf(line, sizeof line - 2, format, arguments);
            const std::size_t length = WholeCharacters(line);
            std::memcpy(line + length, "\r\n", 2);
            AppendLine(file, 0, line, DWORD(length + 2));
        }
    } catch (CException* exception) {
        exception->Delete();
    }
    va_end(arguments);
    SetLastError(error);
}
