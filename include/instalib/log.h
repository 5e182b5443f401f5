// CLog: appends time-stamped lines to a text file, "MM/DD/YY HH:MM:SS<tab>message<CR><LF>" in local time. The file is
// opened and closed for every line, so that it can be read or copied meanwhile and several processes may append to it.
#ifndef INSTALIB_LOG_H
#define INSTALIB_LOG_H

#include "instalib/export.h"
#include "instalib/string.h"

// Both forms of Write format a message in the printf manner, of any length, and append it as one line, which is written
// as it stands. Nonzero when the line was written; 0 when the file cannot be opened (a missing directory, no rights, an
// empty path) or written, with the last error of the call that failed. They raise nothing.
//
// The two are overloads of one name, and a call is chosen by the types of its first two arguments. The format is a
// writable array (char text[] = "...") in both. To call the static form give the file as a const char*; when the member
// form's first argument after the format is a text, give it as a const char* too:
//     CLog::Write(static_cast<const char*>(file), format, number);
//     log.Write(format, static_cast<const char*>(text));
class INSTALIB_API CLog {
  public:
    // Stores the path; opens nothing.
    CLog(const char* file);
    CLog(const CLog& other);
    CLog& operator=(const CLog& other);
    ~CLog();

    int Write(char* format, ...);
    static int Write(const char* file, char* format, ...);

  private:
    CString m_sFile;
};

#endif
