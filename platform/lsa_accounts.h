// Account objects of the local security authority: exported by Windows' advapi32.dll, absent from its public headers.
// Elsewhere the embedded machine declares them. Access bits of Get/SetSystemAccessAccount: interactive logon 1, network
// 2, batch 4, service 16.
#ifndef INSTALIB_PLATFORM_LSA_ACCOUNTS_H
#define INSTALIB_PLATFORM_LSA_ACCOUNTS_H

#include "platform/platform.h"

#ifdef _WIN32

extern "C" {
NTSTATUS NTAPI LsaOpenAccount(LSA_HANDLE policy, PSID account, ACCESS_MASK desired, PLSA_HANDLE handle);
NTSTATUS NTAPI LsaCreateAccount(LSA_HANDLE policy, PSID account, ACCESS_MASK desired, PLSA_HANDLE handle);
NTSTATUS NTAPI LsaGetSystemAccessAccount(LSA_HANDLE account, PULONG access);
NTSTATUS NTAPI LsaSetSystemAccessAccount(LSA_HANDLE account, ULONG access);
NTSTATUS NTAPI LsaAddPrivilegesToAccount(LSA_HANDLE account, PPRIVILEGE_SET privileges);
NTSTATUS NTAPI LsaRemovePrivilegesFromAccount(LSA_HANDLE account, BOOLEAN all, PPRIVILEGE_SET privileges);
NTSTATUS NTAPI LsaEnumeratePrivilegesOfAccount(LSA_HANDLE account, PPRIVILEGE_SET* privileges);
}

#endif
#endif
