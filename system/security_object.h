// Security descriptors that are edited in memory and written to a network share: the base class with the editing, the
// one that lets the system's private-object security keep the descriptor, and the one of shares.
//
// Operations answer nonzero for success; a failure answers 0, leaves the cause in LastError() and in the thread's last
// error, and the working descriptor as it was. The objects own everything that they point to and cannot be copied.
#ifndef INSTALIB_SYSTEM_SECURITY_OBJECT_H
#define INSTALIB_SYSTEM_SECURITY_OBJECT_H

#include "system/access_list.h"

// A descriptor in absolute form with the parts that it points to, all in the process heap.
struct WorkingDescriptor {
    HeapBuffer descriptor;
    HeapBuffer list;        // its discretionary list
    HeapBuffer systemList;  // null when it has none, like the two below
    HeapBuffer owner;
    HeapBuffer group;
};

// Virtual slots, in order: ApplySecurity, RefreshSecurity. The destructor is not one of them: objects are not deleted
// through a base class.
class CSecurityObject {
  public:
    CSecurityObject(const CSecurityObject&) = delete;
    CSecurityObject& operator=(const CSecurityObject&) = delete;

    // Writes the working descriptor to the secured object, and reads the secured object's into it.
    virtual int ApplySecurity() = 0;
    virtual int RefreshSecurity() = 0;

    // Refreshes, adds an entry for the identifier (a deny entry to the front, an allow entry to the end; entries that
    // it has already stay) and applies.
    int AddAceForSid(PSID sid, DWORD mask, int allow);
    // The same for S-1-5-32-`rid`.
    int AddAceForBuiltinAlias(DWORD rid, DWORD mask, int allow);
    // The same for an account, looked up on `system` (null or empty: the local machine).
    int AddAceForAccount(const char* system, const char* account, DWORD mask, int allow);
    // Removes the account's first entry; without one the error is ERROR_PRIVILEGE_NOT_HELD (1314).
    int RemoveAceForAccount(const char* system, const char* account);
    int RemoveAceForSid(PSID sid);
    // The account's identifier and domain.
    int LookupSid(const char* system, const char* account, AccountIdentity& identity);

    DWORD LastError() const { return m_dwLastError; }

  protected:
    // One allow entry for Everyone, with an access mask of 0.
    CSecurityObject();
    ~CSecurityObject() = default;

    int Fail(DWORD error);
    int FailWithLastError() { return Fail(GetLastError()); }
    PSECURITY_DESCRIPTOR Descriptor() const { return m_working.descriptor.Get(); }

    WorkingDescriptor m_working;
    DWORD m_dwLastError = ERROR_SUCCESS;

  private:
    int Replace(HeapBuffer list);
};

// Virtual slots after the base's, in order: SetPrivateSecurity, GetPrivateSecurity.
class CPrivateObjectSecurity : public CSecurityObject {
  public:
    // Updates the private descriptor from the working one, or the working one from the private one: discretionary and
    // system list.
    virtual int SetPrivateSecurity();
    virtual int GetPrivateSecurity();

    // The mask with its generic bits mapped through the object's mapping.
    DWORD MapGenericAccess(DWORD mask);

  protected:
    CPrivateObjectSecurity();
    ~CPrivateObjectSecurity() = default;

    KernelHandle m_hToken;
    GENERIC_MAPPING m_mapping;
    PrivateDescriptor m_private;
};

class CShareSecurity : public CPrivateObjectSecurity {
  public:
    CShareSecurity();
    ~CShareSecurity();

    int ApplySecurity() override { return SetPrivateSecurity(); }
    int RefreshSecurity() override { return GetPrivateSecurity(); }

    // Replaces the share by a disk share with the private descriptor. The machine is the local one unless `useServer`.
    // The result is whether the machine reports the share afterwards, whatever the steps before said.
    int CreateShare(const WCHAR* name, const WCHAR* path, const WCHAR* remark, const WCHAR* server, int useServer);
    // Gives the share that CreateShare made the private descriptor.
    int ApplyToShare(const WCHAR* server, int useServer);

  private:
    int SetShareSecurity(WCHAR* machine);

    SHARE_INFO_502 m_share{};  // its texts are the object's own
};

#endif
