// Tokens, privileges, the access check and private objects. Layouts and values are Windows' own (winnt.h, securitybaseapi.h
// of the Windows SDK).
#ifndef INSTALIB_EMBEDDED_API_TOKENS_H
#define INSTALIB_EMBEDDED_API_TOKENS_H

#include "platform/embedded/api/security.h"

// --- Tokens and privileges ---

typedef struct _LUID {
    DWORD LowPart;
    LONG HighPart;
} LUID, *PLUID;

typedef struct _LUID_AND_ATTRIBUTES {
    LUID Luid;
    DWORD Attributes;
} LUID_AND_ATTRIBUTES, *PLUID_AND_ATTRIBUTES;
static_assert(sizeof(LUID_AND_ATTRIBUTES) == 12);

typedef struct _PRIVILEGE_SET {
    DWORD PrivilegeCount;
    DWORD Control;
    LUID_AND_ATTRIBUTES Privilege[ANYSIZE_ARRAY];
} PRIVILEGE_SET, *PPRIVILEGE_SET;
static_assert(sizeof(PRIVILEGE_SET) == 20);
#define PRIVILEGE_SET_ALL_NECESSARY 1

#define SE_PRIVILEGE_ENABLED_BY_DEFAULT 0x00000001u
#define SE_PRIVILEGE_ENABLED 0x00000002u
#define SE_PRIVILEGE_REMOVED 0x00000004u
#define SE_PRIVILEGE_USED_FOR_ACCESS 0x80000000u

#define SE_GROUP_MANDATORY 0x00000001u
#define SE_GROUP_ENABLED_BY_DEFAULT 0x00000002u
#define SE_GROUP_ENABLED 0x00000004u
#define SE_GROUP_OWNER 0x00000008u
#define SE_GROUP_USE_FOR_DENY_ONLY 0x00000010u

#define SE_CREATE_TOKEN_NAME "SeCreateTokenPrivilege"
#define SE_ASSIGNPRIMARYTOKEN_NAME "SeAssignPrimaryTokenPrivilege"
#define SE_LOCK_MEMORY_NAME "SeLockMemoryPrivilege"
#define SE_INCREASE_QUOTA_NAME "SeIncreaseQuotaPrivilege"
#define SE_MACHINE_ACCOUNT_NAME "SeMachineAccountPrivilege"
#define SE_TCB_NAME "SeTcbPrivilege"
#define SE_SECURITY_NAME "SeSecurityPrivilege"
#define SE_TAKE_OWNERSHIP_NAME "SeTakeOwnershipPrivilege"
#define SE_LOAD_DRIVER_NAME "SeLoadDriverPrivilege"
#define SE_SYSTEM_PROFILE_NAME "SeSystemProfilePrivilege"
#define SE_SYSTEMTIME_NAME "SeSystemtimePrivilege"
#define SE_PROF_SINGLE_PROCESS_NAME "SeProfileSingleProcessPrivilege"
#define SE_INC_BASE_PRIORITY_NAME "SeIncreaseBasePriorityPrivilege"
#define SE_CREATE_PAGEFILE_NAME "SeCreatePagefilePrivilege"
#define SE_CREATE_PERMANENT_NAME "SeCreatePermanentPrivilege"
#define SE_BACKUP_NAME "SeBackupPrivilege"
#define SE_RESTORE_NAME "SeRestorePrivilege"
#define SE_SHUTDOWN_NAME "SeShutdownPrivilege"
#define SE_DEBUG_NAME "SeDebugPrivilege"
#define SE_AUDIT_NAME "SeAuditPrivilege"
#define SE_SYSTEM_ENVIRONMENT_NAME "SeSystemEnvironmentPrivilege"
#define SE_CHANGE_NOTIFY_NAME "SeChangeNotifyPrivilege"
#define SE_REMOTE_SHUTDOWN_NAME "SeRemoteShutdownPrivilege"
#define SE_UNDOCK_NAME "SeUndockPrivilege"
#define SE_SYNC_AGENT_NAME "SeSyncAgentPrivilege"
#define SE_ENABLE_DELEGATION_NAME "SeEnableDelegationPrivilege"
#define SE_MANAGE_VOLUME_NAME "SeManageVolumePrivilege"
#define SE_IMPERSONATE_NAME "SeImpersonatePrivilege"
#define SE_CREATE_GLOBAL_NAME "SeCreateGlobalPrivilege"
#define SE_TRUSTED_CREDMAN_ACCESS_NAME "SeTrustedCredManAccessPrivilege"
#define SE_RELABEL_NAME "SeRelabelPrivilege"
#define SE_INC_WORKING_SET_NAME "SeIncreaseWorkingSetPrivilege"
#define SE_TIME_ZONE_NAME "SeTimeZonePrivilege"
#define SE_CREATE_SYMBOLIC_LINK_NAME "SeCreateSymbolicLinkPrivilege"

#define TOKEN_ASSIGN_PRIMARY 0x0001u
#define TOKEN_DUPLICATE 0x0002u
#define TOKEN_IMPERSONATE 0x0004u
#define TOKEN_QUERY 0x0008u
#define TOKEN_QUERY_SOURCE 0x0010u
#define TOKEN_ADJUST_PRIVILEGES 0x0020u
#define TOKEN_ADJUST_GROUPS 0x0040u
#define TOKEN_ADJUST_DEFAULT 0x0080u
#define TOKEN_ADJUST_SESSIONID 0x0100u
#define TOKEN_READ (STANDARD_RIGHTS_READ | TOKEN_QUERY)
#define TOKEN_WRITE (STANDARD_RIGHTS_WRITE | TOKEN_ADJUST_PRIVILEGES | TOKEN_ADJUST_GROUPS | TOKEN_ADJUST_DEFAULT)
#define TOKEN_EXECUTE STANDARD_RIGHTS_EXECUTE
#define TOKEN_ALL_ACCESS (STANDARD_RIGHTS_REQUIRED | 0x01FFu)

typedef enum _SECURITY_IMPERSONATION_LEVEL {
    SecurityAnonymous,
    SecurityIdentification,
    SecurityImpersonation,
    SecurityDelegation
} SECURITY_IMPERSONATION_LEVEL,
    *PSECURITY_IMPERSONATION_LEVEL;

typedef enum _TOKEN_TYPE { TokenPrimary = 1, TokenImpersonation } TOKEN_TYPE, *PTOKEN_TYPE;

// The classes that GetTokenInformation answers here; any other is ERROR_INVALID_PARAMETER.
typedef enum _TOKEN_INFORMATION_CLASS {
    TokenUser = 1,
    TokenGroups = 2,
    TokenPrivileges = 3,
    TokenOwner = 4,
    TokenPrimaryGroup = 5,
    TokenType = 8,
    TokenImpersonationLevel = 9
} TOKEN_INFORMATION_CLASS,
    *PTOKEN_INFORMATION_CLASS;

typedef struct _TOKEN_USER {
    SID_AND_ATTRIBUTES User;
} TOKEN_USER, *PTOKEN_USER;

typedef struct _TOKEN_GROUPS {
    DWORD GroupCount;
    SID_AND_ATTRIBUTES Groups[ANYSIZE_ARRAY];
} TOKEN_GROUPS, *PTOKEN_GROUPS;

typedef struct _TOKEN_PRIVILEGES {
    DWORD PrivilegeCount;
    LUID_AND_ATTRIBUTES Privileges[ANYSIZE_ARRAY];
} TOKEN_PRIVILEGES, *PTOKEN_PRIVILEGES;

typedef struct _TOKEN_OWNER {
    PSID Owner;
} TOKEN_OWNER, *PTOKEN_OWNER;

typedef struct _TOKEN_PRIMARY_GROUP {
    PSID PrimaryGroup;
} TOKEN_PRIMARY_GROUP, *PTOKEN_PRIMARY_GROUP;

// `process` and `thread` are the pseudo handles of GetCurrentProcess and GetCurrentThread. A thread that impersonates
// nobody has no token: ERROR_NO_TOKEN. Tokens close through CloseHandle.
MACHINE_API BOOL OpenProcessToken(HANDLE process, DWORD desired, PHANDLE token);
MACHINE_API BOOL OpenThreadToken(HANDLE thread, DWORD desired, BOOL openAsSelf, PHANDLE token);
MACHINE_API BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS informationClass, LPVOID information,
                                     DWORD size, PDWORD needed);
// TRUE with the last error ERROR_NOT_ALL_ASSIGNED when the token lacks one of the privileges, ERROR_SUCCESS otherwise.
MACHINE_API BOOL AdjustTokenPrivileges(HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES newState, DWORD size,
                                       PTOKEN_PRIVILEGES previousState, PDWORD needed);
// Privileges have the same numbers on every machine; `system` names the one to ask, null is the local one.
MACHINE_API BOOL LookupPrivilegeValueA(LPCSTR system, LPCSTR name, PLUID luid);
MACHINE_API BOOL LookupPrivilegeNameA(LPCSTR system, PLUID luid, LPSTR name, LPDWORD length);
MACHINE_API BOOL PrivilegeCheck(HANDLE token, PPRIVILEGE_SET required, LPBOOL result);
MACHINE_API BOOL ImpersonateSelf(SECURITY_IMPERSONATION_LEVEL level);
MACHINE_API BOOL RevertToSelf(void);
MACHINE_API BOOL DuplicateToken(HANDLE token, SECURITY_IMPERSONATION_LEVEL level, PHANDLE duplicate);

// --- Access check and private objects ---

typedef struct _GENERIC_MAPPING {
    ACCESS_MASK GenericRead;
    ACCESS_MASK GenericWrite;
    ACCESS_MASK GenericExecute;
    ACCESS_MASK GenericAll;
} GENERIC_MAPPING, *PGENERIC_MAPPING;

MACHINE_API void MapGenericMask(PDWORD mask, PGENERIC_MAPPING mapping);
// `token` is an impersonation token. The desired mask has no generic bits left; the descriptor has owner and group. The
// privilege set receives the privileges that the answer rests on.
MACHINE_API BOOL AccessCheck(PSECURITY_DESCRIPTOR descriptor, HANDLE token, DWORD desired, PGENERIC_MAPPING mapping,
                             PPRIVILEGE_SET privileges, LPDWORD privilegesSize, LPDWORD granted, LPBOOL status);

#define SEF_DACL_AUTO_INHERIT 0x01
#define SEF_SACL_AUTO_INHERIT 0x02
#define SEF_DEFAULT_DESCRIPTOR_FOR_OBJECT 0x04
#define SEF_AVOID_PRIVILEGE_CHECK 0x08
#define SEF_AVOID_OWNER_CHECK 0x10
#define SEF_DEFAULT_OWNER_FROM_PARENT 0x20
#define SEF_DEFAULT_GROUP_FROM_PARENT 0x40

// The private descriptor is self-relative and goes back through DestroyPrivateObjectSecurity.
MACHINE_API BOOL CreatePrivateObjectSecurity(PSECURITY_DESCRIPTOR parent, PSECURITY_DESCRIPTOR creator,
                                             PSECURITY_DESCRIPTOR* descriptor, BOOL isDirectory, HANDLE token,
                                             PGENERIC_MAPPING mapping);
MACHINE_API BOOL CreatePrivateObjectSecurityEx(PSECURITY_DESCRIPTOR parent, PSECURITY_DESCRIPTOR creator,
                                               PSECURITY_DESCRIPTOR* descriptor, GUID* objectType, BOOL isContainer,
                                               ULONG autoInheritFlags, HANDLE token, PGENERIC_MAPPING mapping);
MACHINE_API BOOL SetPrivateObjectSecurity(SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR modification,
                                          PSECURITY_DESCRIPTOR* descriptor, PGENERIC_MAPPING mapping, HANDLE token);
MACHINE_API BOOL GetPrivateObjectSecurity(PSECURITY_DESCRIPTOR descriptor, SECURITY_INFORMATION information,
                                          PSECURITY_DESCRIPTOR result, DWORD size, PDWORD needed);
MACHINE_API BOOL DestroyPrivateObjectSecurity(PSECURITY_DESCRIPTOR* descriptor);

#endif
