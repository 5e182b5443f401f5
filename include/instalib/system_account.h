// CSystemAccount: the dedicated account under which the product's services run. Operations return nonzero for success
// and 0 for failure; a failure leaves the Windows error of the failed call in the thread's last-error value. Groups are
// found by their well-known identifiers, so that the work succeeds on a Windows of any language.
//
// Limits: domain, user name and password hold at most 63 characters, the computer name 1,087. Create, AssignGroups
// and Register refuse longer texts with ERROR_INVALID_PARAMETER (87) and create or change nothing. The same holds for a
// text that cannot be converted to wide text, with the conversion's error.
#ifndef INSTALIB_SYSTEM_ACCOUNT_H
#define INSTALIB_SYSTEM_ACCOUNT_H

#include "instalib/export.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

class INSTALIB_API CSystemAccount {
  public:
    // The machine of the setup, the account's domain (the computer name for a local account), name and password.
    // Computer name and domain become upper case; when they differ, the domain's primary controller is asked for by its
    // name, and a domain without one leaves the server null: the operations then work on the local machine.
    CSystemAccount(const char* computerName, const char* domain, const char* userName, const char* password);
    CSystemAccount(const CSystemAccount& other);
    CSystemAccount& operator=(const CSystemAccount& other);
    // Wipes the password.
    ~CSystemAccount();

    // The static operations of the same names with the object's server and texts.
    int Create();
    int AssignGroups();
    int ValidPassword();
    int Exists();
    int Delete();
    int Register();

    // Adds the user (an existing one is used as it is) and does what AssignGroups does.
    static int Create(const WCHAR* server, const char* computerName, const char* domain, const char* userName,
                      const char* password);
    // Puts the account into the built-in Administrators and Backup Operators groups and gives the latter the logon
    // rights and privileges that the product needs.
    static int AssignGroups(const WCHAR* server, const char* computerName, const char* domain, const char* userName,
                            const char* password);
    // 0 only when the password is wrong; every other outcome is 1, a missing user included and a text that cannot be
    // converted to be asked for: the last-error value tells.
    static int ValidPassword(const WCHAR* server, const char* computerName, const char* domain, const char* userName,
                             const char* password);
    static int Exists(const WCHAR* server, const char* userName);
    static int Delete(const WCHAR* server, const char* userName);
    // Hands the account to HSTOOL.DLL beside the running program; 0 without that library or its entry point.
    static int Register(const char* computerName, const char* domain, const char* userName, const char* password);

  protected:
    // The name and domain of the built-in group S-1-5-32-`rid`, cut to the buffers' sizes (bytes, terminator counted).
    // The buffers start out empty.
    static int GetGroupName(DWORD rid, const WCHAR* server, char* name, DWORD nameSize, char* domain, DWORD domainSize);
    // An account that is a member already (1378) is success.
    static int AddMemberToGroup(DWORD rid, const WCHAR* server, PSID member);
    static int AddKorvaultUserPrivileges(const WCHAR* server);
    // `account` is a handle of the local security authority.
    static int AddPrivilege(void* account, const char* server, const char* privilege);

  private:
    CString m_sComputerName;
    CString m_sDomain;
    CString m_sUserName;
    CString m_sPassword;
    WCHAR* m_pServer;  // as the network API returned it, owned; null for a local account
    BOOL m_bLocal;
};

#endif
