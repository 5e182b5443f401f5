// Network management of workstation, server and shares (lmcons.h, lmerr.h, lmapibuf.h, lmwksta.h, lmserver.h,
// lmshare.h) and network connections (winnetwk.h).
//
// A server name may be null or empty (the local machine) or any machine of the world, with or without its two leading
// backslashes; ERROR_BAD_NETPATH (53) when there is none. Net functions answer their error and leave the last error
// alone. Buffers that they hand out are freed with NetApiBufferFree.
#ifndef INSTALIB_EMBEDDED_API_NETWORK_H
#define INSTALIB_EMBEDDED_API_NETWORK_H

#include "platform/embedded/api/base.h"

typedef DWORD NET_API_STATUS;
typedef LPWSTR LMSTR;
typedef LPCWSTR LMCSTR;
#define NET_API_FUNCTION
#define MAX_PREFERRED_LENGTH ((DWORD)-1)
#define CNLEN 15
#define DNLEN 15
#define UNLEN 256
#define GNLEN 256
#define PWLEN 256
#define NNLEN 80

#define NERR_Success 0
#define NERR_BASE 2100
#define NERR_UnknownServer 2103
#define NERR_InternalError 2140
#define NERR_BufTooSmall 2123
#define NERR_DuplicateShare 2118
#define NERR_UnknownDevDir 2116
#define NERR_GroupNotFound 2220
#define NERR_UserNotFound 2221
#define NERR_GroupExists 2223
#define NERR_UserExists 2224
#define NERR_PasswordTooShort 2245
#define NERR_NetNameNotFound 2310
#define NERR_BadUsername 2202
#define NERR_SpeGroupOp 2234
#define NERR_DCNotFound 2453
#define NERR_InvalidComputer 2351

MACHINE_API NET_API_STATUS NetApiBufferAllocate(DWORD bytes, LPVOID* buffer);
MACHINE_API NET_API_STATUS NetApiBufferFree(LPVOID buffer);

// --- Workstation and server ---
#define PLATFORM_ID_NT 500

typedef struct _WKSTA_INFO_100 {
    DWORD wki100_platform_id;
    LMSTR wki100_computername;
    LMSTR wki100_langroup;  // the domain or the workgroup
    DWORD wki100_ver_major;
    DWORD wki100_ver_minor;
} WKSTA_INFO_100, *PWKSTA_INFO_100, *LPWKSTA_INFO_100;

typedef struct _SERVER_INFO_101 {
    DWORD sv101_platform_id;
    LMSTR sv101_name;
    DWORD sv101_version_major;
    DWORD sv101_version_minor;
    DWORD sv101_type;  // SV_TYPE_*
    LMSTR sv101_comment;
} SERVER_INFO_101, *PSERVER_INFO_101, *LPSERVER_INFO_101;

#define SV_TYPE_WORKSTATION 0x00000001u
#define SV_TYPE_SERVER 0x00000002u
#define SV_TYPE_DOMAIN_CTRL 0x00000008u
#define SV_TYPE_DOMAIN_BAKCTRL 0x00000010u
#define SV_TYPE_DOMAIN_MEMBER 0x00000100u
#define SV_TYPE_NT 0x00001000u
#define SV_TYPE_SERVER_NT 0x00008000u

// Levels 100 and 101; ERROR_INVALID_LEVEL (124) otherwise.
MACHINE_API NET_API_STATUS NetWkstaGetInfo(LMSTR server, DWORD level, LPBYTE* buffer);
MACHINE_API NET_API_STATUS NetServerGetInfo(LMSTR server, DWORD level, LPBYTE* buffer);

// --- Shares ---
#define STYPE_DISKTREE 0u
#define STYPE_PRINTQ 1u
#define STYPE_DEVICE 2u
#define STYPE_IPC 3u
#define STYPE_SPECIAL 0x80000000u
#define STYPE_TEMPORARY 0x40000000u
#define SHI_USES_UNLIMITED ((DWORD)-1)
#define ACCESS_NONE 0
#define ACCESS_READ 0x01
#define ACCESS_WRITE 0x02
#define ACCESS_CREATE 0x04
#define ACCESS_ALL 0x7f

typedef struct _SHARE_INFO_0 {
    LMSTR shi0_netname;
} SHARE_INFO_0, *PSHARE_INFO_0, *LPSHARE_INFO_0;

typedef struct _SHARE_INFO_1 {
    LMSTR shi1_netname;
    DWORD shi1_type;
    LMSTR shi1_remark;
} SHARE_INFO_1, *PSHARE_INFO_1, *LPSHARE_INFO_1;

typedef struct _SHARE_INFO_2 {
    LMSTR shi2_netname;
    DWORD shi2_type;
    LMSTR shi2_remark;
    DWORD shi2_permissions;
    DWORD shi2_max_uses;
    DWORD shi2_current_uses;
    LMSTR shi2_path;
    LMSTR shi2_passwd;
} SHARE_INFO_2, *PSHARE_INFO_2, *LPSHARE_INFO_2;

typedef struct _SHARE_INFO_502 {
    LMSTR shi502_netname;
    DWORD shi502_type;
    LMSTR shi502_remark;
    DWORD shi502_permissions;
    DWORD shi502_max_uses;
    DWORD shi502_current_uses;
    LMSTR shi502_path;
    LMSTR shi502_passwd;
    DWORD shi502_reserved;
    PSECURITY_DESCRIPTOR shi502_security_descriptor;
} SHARE_INFO_502, *PSHARE_INFO_502, *LPSHARE_INFO_502;

typedef struct _SHARE_INFO_1501 {
    DWORD shi1501_reserved;
    PSECURITY_DESCRIPTOR shi1501_security_descriptor;
} SHARE_INFO_1501, *PSHARE_INFO_1501, *LPSHARE_INFO_1501;

// Levels 2 and 502. NERR_DuplicateShare (2118) when the name is taken; NERR_UnknownDevDir (2116) when the path is no
// directory.
MACHINE_API NET_API_STATUS NetShareAdd(LMSTR server, DWORD level, LPBYTE buffer, LPDWORD wrongParameter);
// Levels 0, 1, 2, 502. NERR_NetNameNotFound (2310) without such a share.
MACHINE_API NET_API_STATUS NetShareGetInfo(LMSTR server, LMSTR share, DWORD level, LPBYTE* buffer);
// Levels 2, 502 and 1501 (the security descriptor alone).
MACHINE_API NET_API_STATUS NetShareSetInfo(LMSTR server, LMSTR share, DWORD level, LPBYTE buffer,
                                           LPDWORD wrongParameter);
MACHINE_API NET_API_STATUS NetShareDel(LMSTR server, LMSTR share, DWORD reserved);
// Levels 0, 1, 2, 502. As many entries as fit the preferred length, at least one; ERROR_MORE_DATA (234) while some
// remain.
MACHINE_API NET_API_STATUS NetShareEnum(LMSTR server, DWORD level, LPBYTE* buffer, DWORD preferredBytes, LPDWORD read,
                                        LPDWORD total, LPDWORD resume);

// --- Connections ---
#define RESOURCE_CONNECTED 1
#define RESOURCE_GLOBALNET 2
#define RESOURCETYPE_ANY 0
#define RESOURCETYPE_DISK 1
#define RESOURCEDISPLAYTYPE_GENERIC 0
#define RESOURCEUSAGE_CONNECTABLE 1
#define CONNECT_UPDATE_PROFILE 1

#define WN_SUCCESS NO_ERROR
#define ERROR_NOT_CONNECTED 2250
#define ERROR_OPEN_FILES 2401
#define ERROR_BAD_USERNAME 2202
#define ERROR_LOGON_FAILURE 1326
#define ERROR_ACCOUNT_DISABLED 1331
#define ERROR_ALREADY_ASSIGNED 85
#define ERROR_BAD_DEVICE 1200
#define ERROR_SESSION_CREDENTIAL_CONFLICT 1219

typedef struct _NETRESOURCEA {
    DWORD dwScope;
    DWORD dwType;
    DWORD dwDisplayType;
    DWORD dwUsage;
    LPSTR lpLocalName;
    LPSTR lpRemoteName;
    LPSTR lpComment;
    LPSTR lpProvider;
} NETRESOURCEA, *LPNETRESOURCEA;

// Logs on to a machine of the world, as a user of that machine or of a domain that it knows. Answers its error and sets
// the last error: 53 no such machine, 67 no such share, 1326 unknown user or wrong password, 1331 disabled account,
// 1219 already connected to that machine as another user. Null user and password stand for the current user.
MACHINE_API DWORD WNetAddConnection2A(LPNETRESOURCEA resource, LPCSTR password, LPCSTR user, DWORD flags);
// 2250 when there is no such connection.
MACHINE_API DWORD WNetCancelConnection2A(LPCSTR name, DWORD flags, BOOL force);

#endif
