// Identifiers, access lists, descriptors, tokens, privileges, access check, private objects, and the security of files
// and keys. Layouts and values are Windows' own (winnt.h, accctrl.h, aclapi.h, securitybaseapi.h, sddl.h of the Windows
// SDK).
//
// Nothing that a caller passes as SID, list or descriptor is trusted: lengths and offsets are checked before anything
// behind them is read. What has no length of its own (a descriptor's end) is trusted as far as Windows trusts it.
#ifndef INSTALIB_EMBEDDED_API_SECURITY_H
#define INSTALIB_EMBEDDED_API_SECURITY_H

#include "platform/embedded/api/base.h"

typedef ACCESS_MASK* PACCESS_MASK;
typedef SECURITY_INFORMATION* PSECURITY_INFORMATION;

#define ANYSIZE_ARRAY 1

// --- Security identifiers ---

typedef struct _SID_IDENTIFIER_AUTHORITY {
    BYTE Value[6];  // most significant byte first
} SID_IDENTIFIER_AUTHORITY, *PSID_IDENTIFIER_AUTHORITY;

typedef struct _SID {
    BYTE Revision;
    BYTE SubAuthorityCount;
    SID_IDENTIFIER_AUTHORITY IdentifierAuthority;
    DWORD SubAuthority[ANYSIZE_ARRAY];
} SID, *PISID;
static_assert(sizeof(SID) == 12);

typedef struct _SID_AND_ATTRIBUTES {
    PSID Sid;
    DWORD Attributes;
} SID_AND_ATTRIBUTES, *PSID_AND_ATTRIBUTES;

#define SID_REVISION 1
#define SID_MAX_SUB_AUTHORITIES 15
#define SECURITY_MAX_SID_SIZE (sizeof(SID) - sizeof(DWORD) + SID_MAX_SUB_AUTHORITIES * sizeof(DWORD))

#define SECURITY_NULL_SID_AUTHORITY \
    { 0, 0, 0, 0, 0, 0 }
#define SECURITY_WORLD_SID_AUTHORITY \
    { 0, 0, 0, 0, 0, 1 }
#define SECURITY_LOCAL_SID_AUTHORITY \
    { 0, 0, 0, 0, 0, 2 }
#define SECURITY_CREATOR_SID_AUTHORITY \
    { 0, 0, 0, 0, 0, 3 }
#define SECURITY_NT_AUTHORITY \
    { 0, 0, 0, 0, 0, 5 }

#define SECURITY_NULL_RID 0x00000000
#define SECURITY_WORLD_RID 0x00000000
#define SECURITY_LOCAL_RID 0x00000000
#define SECURITY_CREATOR_OWNER_RID 0x00000000
#define SECURITY_CREATOR_GROUP_RID 0x00000001
#define SECURITY_CREATOR_OWNER_RIGHTS_RID 0x00000004
#define SECURITY_DIALUP_RID 0x00000001
#define SECURITY_NETWORK_RID 0x00000002
#define SECURITY_BATCH_RID 0x00000003
#define SECURITY_INTERACTIVE_RID 0x00000004
#define SECURITY_LOGON_IDS_RID 0x00000005
#define SECURITY_SERVICE_RID 0x00000006
#define SECURITY_ANONYMOUS_LOGON_RID 0x00000007
#define SECURITY_PRINCIPAL_SELF_RID 0x0000000A
#define SECURITY_AUTHENTICATED_USER_RID 0x0000000B
#define SECURITY_RESTRICTED_CODE_RID 0x0000000C
#define SECURITY_TERMINAL_SERVER_RID 0x0000000D
#define SECURITY_THIS_ORGANIZATION_RID 0x0000000F
#define SECURITY_LOCAL_SYSTEM_RID 0x00000012
#define SECURITY_LOCAL_SERVICE_RID 0x00000013
#define SECURITY_NETWORK_SERVICE_RID 0x00000014
#define SECURITY_NT_NON_UNIQUE 0x00000015
#define SECURITY_BUILTIN_DOMAIN_RID 0x00000020

#define DOMAIN_USER_RID_ADMIN 0x000001F4
#define DOMAIN_USER_RID_GUEST 0x000001F5
#define DOMAIN_GROUP_RID_ADMINS 0x00000200
#define DOMAIN_GROUP_RID_USERS 0x00000201
#define DOMAIN_GROUP_RID_GUESTS 0x00000202
#define DOMAIN_ALIAS_RID_ADMINS 0x00000220
#define DOMAIN_ALIAS_RID_USERS 0x00000221
#define DOMAIN_ALIAS_RID_GUESTS 0x00000222
#define DOMAIN_ALIAS_RID_POWER_USERS 0x00000223
#define DOMAIN_ALIAS_RID_ACCOUNT_OPS 0x00000224
#define DOMAIN_ALIAS_RID_SYSTEM_OPS 0x00000225
#define DOMAIN_ALIAS_RID_PRINT_OPS 0x00000226
#define DOMAIN_ALIAS_RID_BACKUP_OPS 0x00000227
#define DOMAIN_ALIAS_RID_REPLICATOR 0x00000228

// AllocateAndInitializeSid takes at most eight sub-authorities; its result goes back through FreeSid, which answers
// null (or the pointer, when it did not come from there).
MACHINE_API BOOL AllocateAndInitializeSid(PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD subAuthority0,
                                          DWORD subAuthority1, DWORD subAuthority2, DWORD subAuthority3,
                                          DWORD subAuthority4, DWORD subAuthority5, DWORD subAuthority6,
                                          DWORD subAuthority7, PSID* sid);
MACHINE_API PVOID FreeSid(PSID sid);
MACHINE_API BOOL InitializeSid(PSID sid, PSID_IDENTIFIER_AUTHORITY authority, BYTE count);
MACHINE_API BOOL IsValidSid(PSID sid);
MACHINE_API BOOL EqualSid(PSID first, PSID second);
MACHINE_API DWORD GetLengthSid(PSID sid);
MACHINE_API DWORD GetSidLengthRequired(UCHAR count);
MACHINE_API PSID_IDENTIFIER_AUTHORITY GetSidIdentifierAuthority(PSID sid);
MACHINE_API PUCHAR GetSidSubAuthorityCount(PSID sid);
MACHINE_API PDWORD GetSidSubAuthority(PSID sid, DWORD index);
MACHINE_API BOOL CopySid(DWORD size, PSID destination, PSID source);
// "S-1-5-32-544" and two-letter names ("BA"); both results go back through LocalFree.
MACHINE_API BOOL ConvertSidToStringSidA(PSID sid, LPSTR* text);
MACHINE_API BOOL ConvertStringSidToSidA(LPCSTR text, PSID* sid);

// --- Access lists ---

typedef struct _ACL {
    BYTE AclRevision;
    BYTE Sbz1;
    WORD AclSize;  // bytes of the whole list, unused ones included
    WORD AceCount;
    WORD Sbz2;
} ACL, *PACL;
static_assert(sizeof(ACL) == 8);

typedef struct _ACE_HEADER {
    BYTE AceType;
    BYTE AceFlags;
    WORD AceSize;
} ACE_HEADER, *PACE_HEADER;

typedef struct _ACCESS_ALLOWED_ACE {
    ACE_HEADER Header;
    ACCESS_MASK Mask;
    DWORD SidStart;
} ACCESS_ALLOWED_ACE, *PACCESS_ALLOWED_ACE;
static_assert(sizeof(ACCESS_ALLOWED_ACE) == 12);

typedef struct _ACCESS_DENIED_ACE {
    ACE_HEADER Header;
    ACCESS_MASK Mask;
    DWORD SidStart;
} ACCESS_DENIED_ACE, *PACCESS_DENIED_ACE;

#define ACL_REVISION 2
#define ACL_REVISION_DS 4
#define MIN_ACL_REVISION ACL_REVISION
#define MAX_ACL_REVISION 4
#define MAXDWORD 0xffffffffu

#define ACCESS_ALLOWED_ACE_TYPE 0x0
#define ACCESS_DENIED_ACE_TYPE 0x1
#define SYSTEM_AUDIT_ACE_TYPE 0x2

#define OBJECT_INHERIT_ACE 0x1
#define CONTAINER_INHERIT_ACE 0x2
#define NO_PROPAGATE_INHERIT_ACE 0x4
#define INHERIT_ONLY_ACE 0x8
#define INHERITED_ACE 0x10
#define VALID_INHERIT_FLAGS 0x1F
#define SUCCESSFUL_ACCESS_ACE_FLAG 0x40
#define FAILED_ACCESS_ACE_FLAG 0x80

typedef enum _ACL_INFORMATION_CLASS { AclRevisionInformation = 1, AclSizeInformation } ACL_INFORMATION_CLASS;

typedef struct _ACL_REVISION_INFORMATION {
    DWORD AclRevision;
} ACL_REVISION_INFORMATION, *PACL_REVISION_INFORMATION;

typedef struct _ACL_SIZE_INFORMATION {
    DWORD AceCount;
    DWORD AclBytesInUse;
    DWORD AclBytesFree;
} ACL_SIZE_INFORMATION, *PACL_SIZE_INFORMATION;

MACHINE_API BOOL InitializeAcl(PACL list, DWORD size, DWORD revision);
MACHINE_API BOOL IsValidAcl(PACL list);
MACHINE_API BOOL GetAclInformation(PACL list, LPVOID information, DWORD size, ACL_INFORMATION_CLASS informationClass);
MACHINE_API BOOL GetAce(PACL list, DWORD index, LPVOID* entry);
// `entries` is a run of whole entries of `size` bytes; they go before the entry `index`, MAXDWORD is the end.
MACHINE_API BOOL AddAce(PACL list, DWORD revision, DWORD index, LPVOID entries, DWORD size);
MACHINE_API BOOL DeleteAce(PACL list, DWORD index);
MACHINE_API BOOL AddAccessAllowedAce(PACL list, DWORD revision, DWORD mask, PSID sid);
MACHINE_API BOOL AddAccessAllowedAceEx(PACL list, DWORD revision, DWORD flags, DWORD mask, PSID sid);
MACHINE_API BOOL AddAccessDeniedAce(PACL list, DWORD revision, DWORD mask, PSID sid);
MACHINE_API BOOL AddAccessDeniedAceEx(PACL list, DWORD revision, DWORD flags, DWORD mask, PSID sid);

// --- Security descriptors ---

typedef WORD SECURITY_DESCRIPTOR_CONTROL, *PSECURITY_DESCRIPTOR_CONTROL;

typedef struct _SECURITY_DESCRIPTOR_RELATIVE {
    BYTE Revision;
    BYTE Sbz1;
    SECURITY_DESCRIPTOR_CONTROL Control;
    DWORD Owner;  // offsets from the descriptor's start; 0 is none
    DWORD Group;
    DWORD Sacl;
    DWORD Dacl;
} SECURITY_DESCRIPTOR_RELATIVE, *PISECURITY_DESCRIPTOR_RELATIVE;
static_assert(sizeof(SECURITY_DESCRIPTOR_RELATIVE) == 20);

typedef struct _SECURITY_DESCRIPTOR {
    BYTE Revision;
    BYTE Sbz1;
    SECURITY_DESCRIPTOR_CONTROL Control;
    PSID Owner;
    PSID Group;
    PACL Sacl;
    PACL Dacl;
} SECURITY_DESCRIPTOR, *PISECURITY_DESCRIPTOR;

#define SECURITY_DESCRIPTOR_REVISION 1
#define SECURITY_DESCRIPTOR_MIN_LENGTH (sizeof(SECURITY_DESCRIPTOR))

#define SE_OWNER_DEFAULTED 0x0001
#define SE_GROUP_DEFAULTED 0x0002
#define SE_DACL_PRESENT 0x0004
#define SE_DACL_DEFAULTED 0x0008
#define SE_SACL_PRESENT 0x0010
#define SE_SACL_DEFAULTED 0x0020
#define SE_DACL_AUTO_INHERIT_REQ 0x0100
#define SE_SACL_AUTO_INHERIT_REQ 0x0200
#define SE_DACL_AUTO_INHERITED 0x0400
#define SE_SACL_AUTO_INHERITED 0x0800
#define SE_DACL_PROTECTED 0x1000
#define SE_SACL_PROTECTED 0x2000
#define SE_RM_CONTROL_VALID 0x4000
#define SE_SELF_RELATIVE 0x8000

#define OWNER_SECURITY_INFORMATION 0x00000001u
#define GROUP_SECURITY_INFORMATION 0x00000002u
#define DACL_SECURITY_INFORMATION 0x00000004u
#define SACL_SECURITY_INFORMATION 0x00000008u
#define LABEL_SECURITY_INFORMATION 0x00000010u
#define UNPROTECTED_SACL_SECURITY_INFORMATION 0x10000000u
#define UNPROTECTED_DACL_SECURITY_INFORMATION 0x20000000u
#define PROTECTED_SACL_SECURITY_INFORMATION 0x40000000u
#define PROTECTED_DACL_SECURITY_INFORMATION 0x80000000u

MACHINE_API BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
MACHINE_API BOOL IsValidSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor);
MACHINE_API DWORD GetSecurityDescriptorLength(PSECURITY_DESCRIPTOR descriptor);
MACHINE_API BOOL GetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor, PSECURITY_DESCRIPTOR_CONTROL control,
                                              LPDWORD revision);
MACHINE_API BOOL SetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor,
                                              SECURITY_DESCRIPTOR_CONTROL bitsOfInterest,
                                              SECURITY_DESCRIPTOR_CONTROL bitsToSet);
// The getters hand out pointers into the descriptor or into what it refers to; the setters keep the pointer, not a
// copy.
MACHINE_API BOOL GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* list,
                                           LPBOOL defaulted);
MACHINE_API BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list, BOOL defaulted);
MACHINE_API BOOL GetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* list,
                                           LPBOOL defaulted);
MACHINE_API BOOL SetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list, BOOL defaulted);
MACHINE_API BOOL GetSecurityDescriptorOwner(PSECURITY_DESCRIPTOR descriptor, PSID* owner, LPBOOL defaulted);
MACHINE_API BOOL SetSecurityDescriptorOwner(PSECURITY_DESCRIPTOR descriptor, PSID owner, BOOL defaulted);
MACHINE_API BOOL GetSecurityDescriptorGroup(PSECURITY_DESCRIPTOR descriptor, PSID* group, LPBOOL defaulted);
MACHINE_API BOOL SetSecurityDescriptorGroup(PSECURITY_DESCRIPTOR descriptor, PSID group, BOOL defaulted);
// Both store every size that is needed and fail with ERROR_INSUFFICIENT_BUFFER when a part has no room.
MACHINE_API BOOL MakeAbsoluteSD(PSECURITY_DESCRIPTOR selfRelative, PSECURITY_DESCRIPTOR absolute, LPDWORD absoluteSize,
                                PACL dacl, LPDWORD daclSize, PACL sacl, LPDWORD saclSize, PSID owner, LPDWORD ownerSize,
                                PSID group, LPDWORD groupSize);
MACHINE_API BOOL MakeSelfRelativeSD(PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR selfRelative, LPDWORD size);

// Security as text, "O:BAG:SYD:P(A;CI;KA;;;BA)"; results go back through LocalFree. The length counts the terminator.
#define SDDL_REVISION_1 1
#define SDDL_REVISION SDDL_REVISION_1
MACHINE_API BOOL ConvertSecurityDescriptorToStringSecurityDescriptorA(PSECURITY_DESCRIPTOR descriptor, DWORD revision,
                                                                      SECURITY_INFORMATION information, LPSTR* text,
                                                                      PULONG length);
MACHINE_API BOOL ConvertStringSecurityDescriptorToSecurityDescriptorA(LPCSTR text, DWORD revision,
                                                                      PSECURITY_DESCRIPTOR* descriptor, PULONG size);

// --- Lists by explicit entries ---

typedef enum _SE_OBJECT_TYPE {
    SE_UNKNOWN_OBJECT_TYPE = 0,
    SE_FILE_OBJECT,
    SE_SERVICE,
    SE_PRINTER,
    SE_REGISTRY_KEY,
    SE_LMSHARE,
    SE_KERNEL_OBJECT,
    SE_WINDOW_OBJECT,
    SE_DS_OBJECT,
    SE_DS_OBJECT_ALL,
    SE_PROVIDER_DEFINED_OBJECT,
    SE_WMIGUID_OBJECT,
    SE_REGISTRY_WOW64_32KEY
} SE_OBJECT_TYPE;

typedef enum _TRUSTEE_TYPE {
    TRUSTEE_IS_UNKNOWN,
    TRUSTEE_IS_USER,
    TRUSTEE_IS_GROUP,
    TRUSTEE_IS_DOMAIN,
    TRUSTEE_IS_ALIAS,
    TRUSTEE_IS_WELL_KNOWN_GROUP,
    TRUSTEE_IS_DELETED,
    TRUSTEE_IS_INVALID,
    TRUSTEE_IS_COMPUTER
} TRUSTEE_TYPE;

typedef enum _TRUSTEE_FORM {
    TRUSTEE_IS_SID,
    TRUSTEE_IS_NAME,
    TRUSTEE_BAD_FORM,
    TRUSTEE_IS_OBJECTS_AND_SID,
    TRUSTEE_IS_OBJECTS_AND_NAME
} TRUSTEE_FORM;

typedef enum _MULTIPLE_TRUSTEE_OPERATION { NO_MULTIPLE_TRUSTEE, TRUSTEE_IS_IMPERSONATE } MULTIPLE_TRUSTEE_OPERATION;

typedef struct _TRUSTEE_A {
    struct _TRUSTEE_A* pMultipleTrustee;
    MULTIPLE_TRUSTEE_OPERATION MultipleTrusteeOperation;
    TRUSTEE_FORM TrusteeForm;
    TRUSTEE_TYPE TrusteeType;
    LPSTR ptstrName;  // the SID itself for TRUSTEE_IS_SID
} TRUSTEE_A, *PTRUSTEE_A, TRUSTEEA, *PTRUSTEEA;

typedef enum _ACCESS_MODE {
    NOT_USED_ACCESS = 0,
    GRANT_ACCESS,
    SET_ACCESS,
    DENY_ACCESS,
    REVOKE_ACCESS,
    SET_AUDIT_SUCCESS,
    SET_AUDIT_FAILURE
} ACCESS_MODE;

#define NO_INHERITANCE 0x0
#define SUB_OBJECTS_ONLY_INHERIT 0x1
#define SUB_CONTAINERS_ONLY_INHERIT 0x2
#define SUB_CONTAINERS_AND_OBJECTS_INHERIT 0x3
#define INHERIT_NO_PROPAGATE 0x4
#define INHERIT_ONLY 0x8

typedef struct _EXPLICIT_ACCESS_A {
    DWORD grfAccessPermissions;
    ACCESS_MODE grfAccessMode;
    DWORD grfInheritance;
    TRUSTEE_A Trustee;
} EXPLICIT_ACCESS_A, *PEXPLICIT_ACCESS_A, EXPLICIT_ACCESSA, *PEXPLICIT_ACCESSA;

MACHINE_API void BuildTrusteeWithSidA(PTRUSTEE_A trustee, PSID sid);
// Both answer an error code. The new list goes back through LocalFree. Trustees are given by identifier or by account
// name.
MACHINE_API DWORD SetEntriesInAclA(ULONG count, PEXPLICIT_ACCESS_A entries, PACL oldList, PACL* newList);
MACHINE_API DWORD GetEffectiveRightsFromAclA(PACL list, PTRUSTEE_A trustee, PACCESS_MASK rights);

// --- Security of files and keys ---

// Sizes in bytes of the self-relative form; too small a buffer is ERROR_INSUFFICIENT_BUFFER with `needed` set.
MACHINE_API BOOL GetFileSecurityA(LPCSTR path, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor,
                                  DWORD size, LPDWORD needed);
// Writes to the one file or directory; what is below it stays as it is.
MACHINE_API BOOL SetFileSecurityA(LPCSTR path, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor);
// These four answer an error code. SE_FILE_OBJECT, SE_REGISTRY_KEY and SE_REGISTRY_WOW64_32KEY are known, any other
// type is ERROR_NOT_SUPPORTED. The descriptor goes back through LocalFree; owner, group and lists point into it.
// Setting a key's or a directory's list passes inheritable entries on to what is below.
MACHINE_API DWORD GetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID* owner,
                                  PSID* group, PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor);
MACHINE_API DWORD SetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID owner,
                                  PSID group, PACL dacl, PACL sacl);
MACHINE_API DWORD GetNamedSecurityInfoA(LPCSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID* owner,
                                        PSID* group, PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor);
MACHINE_API DWORD SetNamedSecurityInfoA(LPSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID owner,
                                        PSID group, PACL dacl, PACL sacl);

#endif
