// Account names and identifiers (winbase.h), users, local groups and domain controllers (lmaccess.h), and the local
// security authority (ntsecapi.h). Server names and Net buffers: see network.h.
#ifndef INSTALIB_EMBEDDED_API_ACCOUNTS_H
#define INSTALIB_EMBEDDED_API_ACCOUNTS_H

#include "platform/embedded/api/base.h"
#include "platform/embedded/api/network.h"

struct _PRIVILEGE_SET;  // security.h

#define ERROR_MEMBER_NOT_IN_ALIAS 1377
#define ERROR_MEMBER_IN_ALIAS 1378
#define ERROR_NO_SUCH_ALIAS 1376
#define ERROR_ALIAS_EXISTS 1379
#define ERROR_NO_SUCH_MEMBER 1387
#define ERROR_INVALID_MEMBER 1388
#define ERROR_SPECIAL_ACCOUNT 1371
#define ERROR_NO_SUCH_DOMAIN 1355

// --- Names and identifiers ---
typedef enum _SID_NAME_USE {
    SidTypeUser = 1,
    SidTypeGroup,
    SidTypeDomain,
    SidTypeAlias,
    SidTypeWellKnownGroup,
    SidTypeDeletedAccount,
    SidTypeInvalid,
    SidTypeUnknown,
    SidTypeComputer
} SID_NAME_USE,
    *PSID_NAME_USE;

// `size` holds the buffer's characters with the terminator and receives the name's length without it;
// ERROR_INSUFFICIENT_BUFFER (122) and the needed size with the terminator when it does not fit.
MACHINE_API BOOL GetUserNameA(LPSTR buffer, LPDWORD size);
// ERROR_INSUFFICIENT_BUFFER when either buffer is too small: both sizes then receive what is needed (characters with
// the terminator, bytes of the identifier). On success the domain's size receives its length without the terminator.
// ERROR_NONE_MAPPED (1332) for a name that nobody bears, RPC_S_SERVER_UNAVAILABLE (1722) for an unknown system.
MACHINE_API BOOL LookupAccountNameA(LPCSTR system, LPCSTR account, PSID sid, LPDWORD sidBytes, LPSTR domain,
                                    LPDWORD domainSize, PSID_NAME_USE use);
MACHINE_API BOOL LookupAccountSidA(LPCSTR system, PSID sid, LPSTR name, LPDWORD nameSize, LPSTR domain,
                                   LPDWORD domainSize, PSID_NAME_USE use);

// --- Users ---
#define USER_PRIV_GUEST 0
#define USER_PRIV_USER 1
#define USER_PRIV_ADMIN 2
#define UF_SCRIPT 0x0001
#define UF_ACCOUNTDISABLE 0x0002
#define UF_PASSWD_NOTREQD 0x0020
#define UF_PASSWD_CANT_CHANGE 0x0040
#define UF_NORMAL_ACCOUNT 0x0200
#define UF_DONT_EXPIRE_PASSWD 0x10000
#define TIMEQ_FOREVER ((DWORD)-1)
#define USER_MAXSTORAGE_UNLIMITED ((DWORD)-1)

typedef struct _USER_INFO_0 {
    LPWSTR usri0_name;
} USER_INFO_0, *PUSER_INFO_0, *LPUSER_INFO_0;

typedef struct _USER_INFO_1 {
    LPWSTR usri1_name;
    LPWSTR usri1_password;
    DWORD usri1_password_age;
    DWORD usri1_priv;
    LPWSTR usri1_home_dir;
    LPWSTR usri1_comment;
    DWORD usri1_flags;
    LPWSTR usri1_script_path;
} USER_INFO_1, *PUSER_INFO_1, *LPUSER_INFO_1;

typedef struct _USER_INFO_2 {
    LPWSTR usri2_name;
    LPWSTR usri2_password;
    DWORD usri2_password_age;
    DWORD usri2_priv;
    LPWSTR usri2_home_dir;
    LPWSTR usri2_comment;
    DWORD usri2_flags;
    LPWSTR usri2_script_path;
    DWORD usri2_auth_flags;
    LPWSTR usri2_full_name;
    LPWSTR usri2_usr_comment;
    LPWSTR usri2_parms;
    LPWSTR usri2_workstations;
    DWORD usri2_last_logon;
    DWORD usri2_last_logoff;
    DWORD usri2_acct_expires;
    DWORD usri2_max_storage;
    DWORD usri2_units_per_week;
    PBYTE usri2_logon_hours;
    DWORD usri2_bad_pw_count;
    DWORD usri2_num_logons;
    LPWSTR usri2_logon_server;
    DWORD usri2_country_code;
    DWORD usri2_code_page;
} USER_INFO_2, *PUSER_INFO_2, *LPUSER_INFO_2;

// Levels 1 and 2. NERR_UserExists (2224), NERR_BadUsername (2202).
MACHINE_API NET_API_STATUS NetUserAdd(LPCWSTR server, DWORD level, LPBYTE buffer, LPDWORD wrongParameter);
// Levels 0, 1 and 2; the password is always null. NERR_UserNotFound (2221).
MACHINE_API NET_API_STATUS NetUserGetInfo(LPCWSTR server, LPCWSTR user, DWORD level, LPBYTE* buffer);
// Levels 0, 1 and 2, sorted by name; the filter is FILTER_NORMAL_ACCOUNT or 0. As many entries as fit the preferred
// length, at least one; ERROR_MORE_DATA (234) while some remain.
#define FILTER_NORMAL_ACCOUNT 0x0002u
MACHINE_API NET_API_STATUS NetUserEnum(LPCWSTR server, DWORD level, DWORD filter, LPBYTE* buffer, DWORD preferredBytes,
                                       LPDWORD read, LPDWORD total, LPDWORD resume);
MACHINE_API NET_API_STATUS NetUserSetInfo(LPCWSTR server, LPCWSTR user, DWORD level, LPBYTE buffer,
                                          LPDWORD wrongParameter);
MACHINE_API NET_API_STATUS NetUserDel(LPCWSTR server, LPCWSTR user);
// `domain` is a domain, a machine with leading backslashes or by its name, or null for the local machine.
// ERROR_INVALID_PASSWORD (86) when the old password is wrong.
MACHINE_API NET_API_STATUS NetUserChangePassword(LPCWSTR domain, LPCWSTR user, LPCWSTR oldPassword,
                                                 LPCWSTR newPassword);

// --- Local groups ---
typedef struct _LOCALGROUP_INFO_0 {
    LPWSTR lgrpi0_name;
} LOCALGROUP_INFO_0, *PLOCALGROUP_INFO_0, *LPLOCALGROUP_INFO_0;

typedef struct _LOCALGROUP_INFO_1 {
    LPWSTR lgrpi1_name;
    LPWSTR lgrpi1_comment;
} LOCALGROUP_INFO_1, *PLOCALGROUP_INFO_1, *LPLOCALGROUP_INFO_1;

typedef struct _LOCALGROUP_MEMBERS_INFO_0 {
    PSID lgrmi0_sid;
} LOCALGROUP_MEMBERS_INFO_0, *PLOCALGROUP_MEMBERS_INFO_0, *LPLOCALGROUP_MEMBERS_INFO_0;

typedef struct _LOCALGROUP_MEMBERS_INFO_1 {
    PSID lgrmi1_sid;
    SID_NAME_USE lgrmi1_sidusage;
    LPWSTR lgrmi1_name;
} LOCALGROUP_MEMBERS_INFO_1, *PLOCALGROUP_MEMBERS_INFO_1, *LPLOCALGROUP_MEMBERS_INFO_1;

typedef struct _LOCALGROUP_MEMBERS_INFO_2 {
    PSID lgrmi2_sid;
    SID_NAME_USE lgrmi2_sidusage;
    LPWSTR lgrmi2_domainandname;
} LOCALGROUP_MEMBERS_INFO_2, *PLOCALGROUP_MEMBERS_INFO_2, *LPLOCALGROUP_MEMBERS_INFO_2;

typedef struct _LOCALGROUP_MEMBERS_INFO_3 {
    LPWSTR lgrmi3_domainandname;
} LOCALGROUP_MEMBERS_INFO_3, *PLOCALGROUP_MEMBERS_INFO_3, *LPLOCALGROUP_MEMBERS_INFO_3;

// Levels 0 and 1. ERROR_ALIAS_EXISTS (1379).
MACHINE_API NET_API_STATUS NetLocalGroupAdd(LPCWSTR server, DWORD level, LPBYTE buffer, LPDWORD wrongParameter);
MACHINE_API NET_API_STATUS NetLocalGroupDel(LPCWSTR server, LPCWSTR group);
// Levels 0 and 1, built-in groups under their names in the machine's language.
MACHINE_API NET_API_STATUS NetLocalGroupEnum(LPCWSTR server, DWORD level, LPBYTE* buffer, DWORD preferredBytes,
                                             LPDWORD read, LPDWORD total, DWORD_PTR* resume);
// Levels 0 (identifiers) and 3 (names). NERR_GroupNotFound (2220), ERROR_NO_SUCH_MEMBER (1387), ERROR_MEMBER_IN_ALIAS
// (1378). Nothing is added when one entry fails.
MACHINE_API NET_API_STATUS NetLocalGroupAddMembers(LPCWSTR server, LPCWSTR group, DWORD level, LPBYTE buffer,
                                                   DWORD count);
// As above; ERROR_MEMBER_NOT_IN_ALIAS (1377).
MACHINE_API NET_API_STATUS NetLocalGroupDelMembers(LPCWSTR server, LPCWSTR group, DWORD level, LPBYTE buffer,
                                                   DWORD count);
// Levels 0 to 3.
MACHINE_API NET_API_STATUS NetLocalGroupGetMembers(LPCWSTR server, LPCWSTR group, DWORD level, LPBYTE* buffer,
                                                   DWORD preferredBytes, LPDWORD read, LPDWORD total,
                                                   DWORD_PTR* resume);

// The primary domain controller of a domain (null: the server's own), with two leading backslashes. NERR_DCNotFound
// (2453).
MACHINE_API NET_API_STATUS NetGetDCName(LPCWSTR server, LPCWSTR domain, LPBYTE* buffer);

// --- Local security authority ---
#define STATUS_SUCCESS ((NTSTATUS)0)
#define STATUS_MORE_ENTRIES ((NTSTATUS)0x00000105)
#define STATUS_NO_MORE_ENTRIES ((NTSTATUS)0x8000001A)
#define STATUS_INVALID_HANDLE ((NTSTATUS)0xC0000008)
#define STATUS_INVALID_PARAMETER ((NTSTATUS)0xC000000D)
#define STATUS_NO_MEMORY ((NTSTATUS)0xC0000017)
#define STATUS_ACCESS_DENIED ((NTSTATUS)0xC0000022)
#define STATUS_OBJECT_NAME_NOT_FOUND ((NTSTATUS)0xC0000034)
#define STATUS_OBJECT_NAME_COLLISION ((NTSTATUS)0xC0000035)
#define STATUS_NO_SUCH_PRIVILEGE ((NTSTATUS)0xC0000060)
#define STATUS_INVALID_SID ((NTSTATUS)0xC0000078)
#define STATUS_INSUFFICIENT_RESOURCES ((NTSTATUS)0xC000009A)
#define STATUS_BAD_NETWORK_PATH ((NTSTATUS)0xC00000BE)
#define RPC_NT_SERVER_UNAVAILABLE ((NTSTATUS)0xC0020017)

typedef PVOID LSA_HANDLE, *PLSA_HANDLE;
typedef ULONG LSA_ENUMERATION_HANDLE, *PLSA_ENUMERATION_HANDLE;

typedef struct _LSA_UNICODE_STRING {
    USHORT Length;  // bytes, without a terminator, which need not be there
    USHORT MaximumLength;
    PWSTR Buffer;
} LSA_UNICODE_STRING, *PLSA_UNICODE_STRING;

typedef struct _LSA_OBJECT_ATTRIBUTES {
    ULONG Length;
    HANDLE RootDirectory;
    PLSA_UNICODE_STRING ObjectName;
    ULONG Attributes;
    PVOID SecurityDescriptor;
    PVOID SecurityQualityOfService;
} LSA_OBJECT_ATTRIBUTES, *PLSA_OBJECT_ATTRIBUTES;

typedef struct _LSA_TRUST_INFORMATION {
    LSA_UNICODE_STRING Name;
    PSID Sid;
} LSA_TRUST_INFORMATION, *PLSA_TRUST_INFORMATION;

typedef enum _POLICY_INFORMATION_CLASS {
    PolicyAuditLogInformation = 1,
    PolicyAuditEventsInformation,
    PolicyPrimaryDomainInformation,
    PolicyPdAccountInformation,
    PolicyAccountDomainInformation,
    PolicyLsaServerRoleInformation
} POLICY_INFORMATION_CLASS,
    *PPOLICY_INFORMATION_CLASS;

typedef struct _POLICY_PRIMARY_DOMAIN_INFO {
    LSA_UNICODE_STRING Name;
    PSID Sid;  // null in a workgroup
} POLICY_PRIMARY_DOMAIN_INFO, *PPOLICY_PRIMARY_DOMAIN_INFO;

typedef struct _POLICY_ACCOUNT_DOMAIN_INFO {
    LSA_UNICODE_STRING DomainName;
    PSID DomainSid;
} POLICY_ACCOUNT_DOMAIN_INFO, *PPOLICY_ACCOUNT_DOMAIN_INFO;

#define POLICY_VIEW_LOCAL_INFORMATION 0x0001u
#define POLICY_VIEW_AUDIT_INFORMATION 0x0002u
#define POLICY_GET_PRIVATE_INFORMATION 0x0004u
#define POLICY_TRUST_ADMIN 0x0008u
#define POLICY_CREATE_ACCOUNT 0x0010u
#define POLICY_CREATE_SECRET 0x0020u
#define POLICY_CREATE_PRIVILEGE 0x0040u
#define POLICY_SET_DEFAULT_QUOTA_LIMITS 0x0080u
#define POLICY_SET_AUDIT_REQUIREMENTS 0x0100u
#define POLICY_AUDIT_LOG_ADMIN 0x0200u
#define POLICY_SERVER_ADMIN 0x0400u
#define POLICY_LOOKUP_NAMES 0x0800u
#define POLICY_ALL_ACCESS (STANDARD_RIGHTS_REQUIRED | 0x0FFFu)

MACHINE_API NTSTATUS LsaOpenPolicy(PLSA_UNICODE_STRING system, PLSA_OBJECT_ATTRIBUTES attributes, ACCESS_MASK desired,
                                   PLSA_HANDLE policy);
MACHINE_API NTSTATUS LsaClose(LSA_HANDLE handle);
MACHINE_API NTSTATUS LsaFreeMemory(PVOID buffer);
MACHINE_API ULONG LsaNtStatusToWinError(NTSTATUS status);
MACHINE_API NTSTATUS LsaQueryInformationPolicy(LSA_HANDLE policy, POLICY_INFORMATION_CLASS kind, PVOID* buffer);
// The buffer holds LSA_TRUST_INFORMATION records. STATUS_NO_MORE_ENTRIES after the last, with a null buffer.
MACHINE_API NTSTATUS LsaEnumerateTrustedDomains(LSA_HANDLE policy, PLSA_ENUMERATION_HANDLE context, PVOID* buffer,
                                                ULONG preferredBytes, PULONG count);
// Rights and privileges by name, terminated texts in one buffer. STATUS_OBJECT_NAME_NOT_FOUND for an account without
// any.
MACHINE_API NTSTATUS LsaEnumerateAccountRights(LSA_HANDLE policy, PSID account, PLSA_UNICODE_STRING* rights,
                                               PULONG count);

// The account functions below are exported by Windows' advapi32.dll and absent from its public headers; for Windows
// they are declared in platform/lsa_accounts.h.
MACHINE_API NTSTATUS LsaOpenAccount(LSA_HANDLE policy, PSID account, ACCESS_MASK desired, PLSA_HANDLE handle);
MACHINE_API NTSTATUS LsaCreateAccount(LSA_HANDLE policy, PSID account, ACCESS_MASK desired, PLSA_HANDLE handle);
// Bits: interactive 1, network 2, batch 4, service 16 logon, and the denials 64, 128, 256, 512.
MACHINE_API NTSTATUS LsaGetSystemAccessAccount(LSA_HANDLE account, PULONG access);
MACHINE_API NTSTATUS LsaSetSystemAccessAccount(LSA_HANDLE account, ULONG access);
MACHINE_API NTSTATUS LsaAddPrivilegesToAccount(LSA_HANDLE account, struct _PRIVILEGE_SET* privileges);
MACHINE_API NTSTATUS LsaRemovePrivilegesFromAccount(LSA_HANDLE account, BOOLEAN all, struct _PRIVILEGE_SET* privileges);
// One buffer, freed with LsaFreeMemory.
MACHINE_API NTSTATUS LsaEnumeratePrivilegesOfAccount(LSA_HANDLE account, struct _PRIVILEGE_SET** privileges);

#endif
