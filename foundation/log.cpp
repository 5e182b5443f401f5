#include "instalib/log.h"

#include <cstdarg>

#include "foundation/append_line.h"
#include "instalib/exception.h"
#include "platform/handles.h"

namespace {

int AppendMessage(const char* file, const char* format, va_list arguments) noexcept {
    try {
        CString message;
        message.FormatV(format, arguments);
        char date[9] = "";
        char time[9] = "";
        _strdate(date);
        _strtime(time);
        CString line;
        line.Format("%s %s\t%s\r\n", date, time, static_cast<const char*>(message));
        return AppendLine(file, FILE_SHARE_READ | FILE_SHARE_WRITE, line, DWORD(line.GetLength()));
    } catch (CException* exception) {
        exception->Delete();
        return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    }
}

}  // namespace

CLog::CLog(const char* file) : m_sFile(file) {}
CLog::CLog(const CLog& other) = default;
CLog& CLog::operator=(const CLog& other) = default;
CLog::~CLog() = default;

int CLog::Write(char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int written = AppendMessage(m_sFile, format, arguments);
    va_end(arguments);
    return written;
}

int CLog::Write(const char* file, char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int written = AppendMessage(file, format, arguments);
    va_end(arguments);
    return written;
}
