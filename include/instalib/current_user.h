// Who runs the setup, and whether that account is an administrator.
#ifndef INSTALIB_CURRENT_USER_H
#define INSTALIB_CURRENT_USER_H

#include "instalib/export.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

class INSTALIB_API CCurrentUser {
  public:
    // Learns both names. A name that cannot be had, or that has 48 bytes or more, stays empty.
    CCurrentUser();
    CCurrentUser(const CCurrentUser& other);
    CCurrentUser& operator=(const CCurrentUser& other);
    ~CCurrentUser();

    // What the constructor learned; valid while the object lives and is not assigned to.
    const char* GetUser();
    const char* GetDomain();

    // The user name of the calling thread into `buffer`. `*size` is in: the buffer's bytes, out: the bytes of the name
    // with its terminator, as Windows' user-name query counts them. Nonzero on success; otherwise 0, and the last error
    // says why.
    static int GetUser(char* buffer, DWORD* size);
    // The domain of the process's account (the computer's name for a local account) into `buffer`. `*size` is in: the
    // buffer's bytes, out: the length of the name without its terminator, or the bytes needed when the buffer is too
    // small. Nonzero on success; otherwise 0, and the last error says why.
    static int GetDomain(char* buffer, DWORD* size);
    // 1 when Windows' access check grants the process's token what only Administrators may do, so that nested groups,
    // deny entries and disabled groups count as they do everywhere; 0 for everybody else and for every failure. The
    // calling thread impersonates the process meanwhile and has reverted on return.
    static int IsAdministrator();

  private:
    CString m_sDomain;
    CString m_sUser;
};

#endif
