// CRemoteMailslot: reports of a remote setup's progress to the machine that drives it, each one datagram to its
// mailslot Zephranite_Setup_Status. Nothing is waited for and nothing retried.
#ifndef INSTALIB_REMOTE_MAILSLOT_H
#define INSTALIB_REMOTE_MAILSLOT_H

#include "instalib/string.h"
#include "instalib/windows_types.h"

// The answer is nonzero when the report was written; 0, with the last error, when the receiver has no such mailslot or
// cannot be reached. A null receiver is this machine, a null text an empty one. A message is fields joined by
// backslashes: the sender, both codes, the texts, then the component code (which the form with two texts lacks). Codes
// and numbers are printed as signed 32-bit numbers. Texts go as they are; a backslash in one makes more fields. A
// message of more than 260 bytes is cut to 259.
//
// The sender is HostName of section Install in Setup.icf beside the program, without blanks at its ends, when the
// receiver is another machine and the value has 1 to 15 bytes; else the computer's name. The component code is that of
// the library that GUIDLL of section ProductInfo in SETUP.INF beside the program names; once found it stays for the
// process.
class INSTALIB_API CRemoteMailslot {
  public:
    CRemoteMailslot(const char* receiver);
    CRemoteMailslot(const CRemoteMailslot& other);
    CRemoteMailslot& operator=(const CRemoteMailslot& other);
    ~CRemoteMailslot();

    int SendStatus(DWORD status1, DWORD status2);
    int SendStatus(DWORD status1, DWORD status2, const char* text);
    static int SendStatus(const char* receiver, DWORD status1, DWORD status2);
    static int SendStatus(const char* receiver, DWORD status1, DWORD status2, const char* text);
    static int SendStatus(const char* receiver, DWORD status1, DWORD status2, const char* text1, const char* text2);
    // The second text is not sent; "Reserved String" stands in its place.
    static int SendStatus(const char* receiver, DWORD status1, DWORD status2, const char* text1, const char* text2,
                          DWORD number1, DWORD number2);

  private:
    CString m_sReceiver;
};

#endif
