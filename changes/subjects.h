// What each call of the door changes, told from its arguments. The parameters are the calls' own.
#ifndef INSTALIB_CHANGES_SUBJECTS_H
#define INSTALIB_CHANGES_SUBJECTS_H

#include "changes/recorder.h"
#include "platform/lsa_accounts.h"

namespace changes::subjects {

// For calls that only open something.
template <class... Arguments>
void Nothing(Subjects&, Arguments...) {}

void CreateKey(Subjects& subjects, HKEY key, LPCSTR subkey, DWORD, LPSTR, DWORD, REGSAM desired,
               const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD);
void DeleteKey(Subjects& subjects, HKEY key, LPCSTR subkey);
void DeleteKeyEx(Subjects& subjects, HKEY key, LPCSTR subkey, REGSAM view, DWORD);
void SetValue(Subjects& subjects, HKEY key, LPCSTR name, DWORD, DWORD type, const BYTE* data, DWORD size);
void DeleteValue(Subjects& subjects, HKEY key, LPCSTR name);
void SetKeySecurity(Subjects& subjects, HKEY key, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR);
void SetSecurity(Subjects& subjects, HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION, PSID, PSID, PACL, PACL);

void CreateService(Subjects& subjects, SC_HANDLE manager, LPCSTR name, LPCSTR, DWORD, DWORD, DWORD, DWORD, LPCSTR,
                   LPCSTR, LPDWORD, LPCSTR, LPCSTR, LPCSTR);
void ChangeService(Subjects& subjects, SC_HANDLE service, DWORD, DWORD, DWORD, LPCSTR, LPCSTR, LPDWORD, LPCSTR, LPCSTR,
                   LPCSTR password, LPCSTR);
void ChangeService2(Subjects& subjects, SC_HANDLE service, DWORD level, LPVOID);
void DeleteService(Subjects& subjects, SC_HANDLE service);
void StartService(Subjects& subjects, SC_HANDLE service, DWORD, LPCSTR*);
void ControlService(Subjects& subjects, SC_HANDLE service, DWORD control, LPSERVICE_STATUS);

void CreateDirectory(Subjects& subjects, LPCSTR path, LPSECURITY_ATTRIBUTES);
void RemoveDirectory(Subjects& subjects, LPCSTR path);
void SetAttributes(Subjects& subjects, LPCSTR path, DWORD attributes);
void SetFileSecurity(Subjects& subjects, LPCSTR path, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR);
void WriteProfileString(Subjects& subjects, LPCSTR section, LPCSTR key, LPCSTR text, LPCSTR file);
void WriteProfileSection(Subjects& subjects, LPCSTR section, LPCSTR text, LPCSTR file);

void AddUser(Subjects& subjects, LPCWSTR server, DWORD level, LPBYTE buffer, LPDWORD);
void DeleteUser(Subjects& subjects, LPCWSTR server, LPCWSTR user);
void Members(Subjects& subjects, LPCWSTR server, LPCWSTR group, DWORD level, LPBYTE buffer, DWORD count);
void CreateAccount(Subjects& subjects, LSA_HANDLE policy, PSID account, ACCESS_MASK, PLSA_HANDLE);
void SetSystemAccess(Subjects& subjects, LSA_HANDLE account, ULONG);
void AddPrivileges(Subjects& subjects, LSA_HANDLE account, PPRIVILEGE_SET);
void RemovePrivileges(Subjects& subjects, LSA_HANDLE account, BOOLEAN, PPRIVILEGE_SET);
void AddShare(Subjects& subjects, LMSTR server, DWORD level, LPBYTE buffer, LPDWORD);
void SetShare(Subjects& subjects, LMSTR server, LMSTR share, DWORD level, LPBYTE, LPDWORD);
void DeleteShare(Subjects& subjects, LMSTR server, LMSTR share, DWORD);

void SetEnvironment(Subjects& subjects, LPCSTR name, LPCSTR value);
void StartProgram(Subjects& subjects, LPCSTR program, LPSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES,
                  BOOL, DWORD, LPVOID, LPCSTR, LPSTARTUPINFOA, LPPROCESS_INFORMATION);

void LearnServiceName(SC_HANDLE service, LPCSTR name);
void LearnServer(LSA_HANDLE policy, PLSA_UNICODE_STRING server);
void LearnSid(LSA_HANDLE policy, PSID sid, LSA_HANDLE account);

struct LearnService {
    template <class... Rest>
    void operator()(SC_HANDLE service, SC_HANDLE, LPCSTR name, Rest...) const {
        if (service != nullptr) LearnServiceName(service, name);
    }
};
struct LearnPolicy {
    void operator()(NTSTATUS status, PLSA_UNICODE_STRING system, PLSA_OBJECT_ATTRIBUTES, ACCESS_MASK,
                    PLSA_HANDLE policy) const {
        if (status == 0) LearnServer(*policy, system);
    }
};
struct LearnAccount {
    void operator()(NTSTATUS status, LSA_HANDLE policy, PSID sid, ACCESS_MASK, PLSA_HANDLE account) const {
        if (status == 0) LearnSid(policy, sid, *account);
    }
};

}  // namespace changes::subjects

#endif
