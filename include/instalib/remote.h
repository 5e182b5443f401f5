// CKVRemote: a session with another machine through an authenticated network connection. It belongs to one thread.
//
// Texts that are too long for their fields are cut. A copy shares the connection and the registry key with its source:
// whichever is disconnected or destroyed first closes them for both, in any order. Passwords are wiped.
#ifndef INSTALIB_REMOTE_H
#define INSTALIB_REMOTE_H

#include "instalib/combo_box.h"
#include "instalib/windows_types.h"

struct _SHARE_INFO_1;

class INSTALIB_API CKVRemote {
  public:
    // Null is the local computer. The user is a bare account of the target, or DOMAIN\NAME.
    CKVRemote(const char* machine = nullptr, const char* user = "Administrator", const char* password = "");
    CKVRemote(const CKVRemote& other);
    CKVRemote& operator=(const CKVRemote& other);
    ~CKVRemote();

    // Logs on to the machine, or to a share of it; with `testOnly` the connection is given up at once. 0 also when it
    // is connected already; else the Windows network error.
    DWORD Connect(const char* share, int testOnly);
    // Closes the registry key and, for another machine, cancels the connection to its share ipc$, whatever share was
    // connected to. Does nothing when not connected. Failures are ignored.
    void Disconnect();
    int IsConnect();
    // Whether the target is another machine.
    int IsRemoteMachine();
    // Whether it is the local computer's name in any letter case, or null.
    static int IsLocalMachine(const char* machine);

    // The fields themselves: 16, 260 and 28 bytes with their terminators.
    char* MachineName();
    char* UserName();
    char* Password();

    // Shares that the last EnumerateShares read, of all kinds; 0 after a failure.
    DWORD GetShareCount();
    // Always null: EnumerateShares keeps nothing.
    _SHARE_INFO_1* GetAllSahres();
    // Appends the hidden shares of the machine's drives (C$, D$), 12 bytes of a name at most. 1; 0 when the control has
    // no window, the shares cannot be read or there are none, and the control is unchanged then.
    int EnumerateShares(CComboBox* comboBox);
    // HKEY_LOCAL_MACHINE of the connected remote machine, connected to once and closed by Disconnect; null when that
    // fails. The local one for a local or unconnected session.
    HKEY GetMachineRegKey();

  private:
    struct Connection;
    void GetLocalMachineName();
    void Drop();

    char m_szMachineName[16];
    char m_szUserName[260];
    char m_szPassword[28];
    int m_bRemote;
    DWORD m_dwShareCount;
    _SHARE_INFO_1* m_pShares;
    Connection* m_pConnection;  // null while not connected
};

#endif
