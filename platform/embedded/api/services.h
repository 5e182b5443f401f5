// The service control manager (winsvc.h).
#ifndef INSTALIB_EMBEDDED_API_SERVICES_H
#define INSTALIB_EMBEDDED_API_SERVICES_H

#include "platform/embedded/api/base.h"

typedef SC_HANDLE* LPSC_HANDLE;
typedef LPVOID SC_LOCK;

#define SERVICES_ACTIVE_DATABASEA "ServicesActive"
#define SERVICE_NO_CHANGE 0xFFFFFFFFu

// Rights of the manager and of a service.
#define SC_MANAGER_CONNECT 0x0001u
#define SC_MANAGER_CREATE_SERVICE 0x0002u
#define SC_MANAGER_ENUMERATE_SERVICE 0x0004u
#define SC_MANAGER_LOCK 0x0008u
#define SC_MANAGER_QUERY_LOCK_STATUS 0x0010u
#define SC_MANAGER_MODIFY_BOOT_CONFIG 0x0020u
#define SC_MANAGER_ALL_ACCESS (STANDARD_RIGHTS_REQUIRED | 0x003Fu)
#define SERVICE_QUERY_CONFIG 0x0001u
#define SERVICE_CHANGE_CONFIG 0x0002u
#define SERVICE_QUERY_STATUS 0x0004u
#define SERVICE_ENUMERATE_DEPENDENTS 0x0008u
#define SERVICE_START 0x0010u
#define SERVICE_STOP 0x0020u
#define SERVICE_PAUSE_CONTINUE 0x0040u
#define SERVICE_INTERROGATE 0x0080u
#define SERVICE_USER_DEFINED_CONTROL 0x0100u
#define SERVICE_ALL_ACCESS (STANDARD_RIGHTS_REQUIRED | 0x01FFu)

// Types, start types, error control.
#define SERVICE_KERNEL_DRIVER 0x00000001u
#define SERVICE_FILE_SYSTEM_DRIVER 0x00000002u
#define SERVICE_ADAPTER 0x00000004u
#define SERVICE_RECOGNIZER_DRIVER 0x00000008u
#define SERVICE_DRIVER 0x0000000Bu
#define SERVICE_WIN32_OWN_PROCESS 0x00000010u
#define SERVICE_WIN32_SHARE_PROCESS 0x00000020u
#define SERVICE_WIN32 0x00000030u
#define SERVICE_INTERACTIVE_PROCESS 0x00000100u
#define SERVICE_BOOT_START 0u
#define SERVICE_SYSTEM_START 1u
#define SERVICE_AUTO_START 2u
#define SERVICE_DEMAND_START 3u
#define SERVICE_DISABLED 4u
#define SERVICE_ERROR_IGNORE 0u
#define SERVICE_ERROR_NORMAL 1u
#define SERVICE_ERROR_SEVERE 2u
#define SERVICE_ERROR_CRITICAL 3u

// States, accepted and sent controls, selections of an enumeration.
#define SERVICE_STOPPED 1u
#define SERVICE_START_PENDING 2u
#define SERVICE_STOP_PENDING 3u
#define SERVICE_RUNNING 4u
#define SERVICE_CONTINUE_PENDING 5u
#define SERVICE_PAUSE_PENDING 6u
#define SERVICE_PAUSED 7u
#define SERVICE_ACCEPT_STOP 1u
#define SERVICE_ACCEPT_PAUSE_CONTINUE 2u
#define SERVICE_ACCEPT_SHUTDOWN 4u
#define SERVICE_CONTROL_STOP 1u
#define SERVICE_CONTROL_PAUSE 2u
#define SERVICE_CONTROL_CONTINUE 3u
#define SERVICE_CONTROL_INTERROGATE 4u
#define SERVICE_ACTIVE 1u
#define SERVICE_INACTIVE 2u
#define SERVICE_STATE_ALL 3u
#define SERVICE_CONFIG_DESCRIPTION 1u
#define SC_GROUP_IDENTIFIERA '+'

#define ERROR_DEPENDENT_SERVICES_RUNNING 1051
#define ERROR_INVALID_SERVICE_CONTROL 1052
#define ERROR_SERVICE_REQUEST_TIMEOUT 1053
#define ERROR_SERVICE_DATABASE_LOCKED 1055
#define ERROR_SERVICE_ALREADY_RUNNING 1056
#define ERROR_INVALID_SERVICE_ACCOUNT 1057
#define ERROR_SERVICE_DISABLED 1058
#define ERROR_CIRCULAR_DEPENDENCY 1059
#define ERROR_SERVICE_DOES_NOT_EXIST 1060
#define ERROR_SERVICE_CANNOT_ACCEPT_CTRL 1061
#define ERROR_SERVICE_NOT_ACTIVE 1062
#define ERROR_DATABASE_DOES_NOT_EXIST 1065
#define ERROR_SERVICE_SPECIFIC_ERROR 1066
#define ERROR_SERVICE_DEPENDENCY_FAIL 1068
#define ERROR_SERVICE_LOGON_FAILED 1069
#define ERROR_SERVICE_START_HANG 1070
#define ERROR_INVALID_SERVICE_LOCK 1071
#define ERROR_SERVICE_MARKED_FOR_DELETE 1072
#define ERROR_SERVICE_EXISTS 1073
#define ERROR_SERVICE_DEPENDENCY_DELETED 1075
#define ERROR_SERVICE_NEVER_STARTED 1077
#define ERROR_DUPLICATE_SERVICE_NAME 1078

typedef struct _SERVICE_STATUS {
    DWORD dwServiceType;
    DWORD dwCurrentState;
    DWORD dwControlsAccepted;
    DWORD dwWin32ExitCode;
    DWORD dwServiceSpecificExitCode;
    DWORD dwCheckPoint;
    DWORD dwWaitHint;  // milliseconds
} SERVICE_STATUS, *LPSERVICE_STATUS;

typedef struct _QUERY_SERVICE_CONFIGA {
    DWORD dwServiceType;
    DWORD dwStartType;
    DWORD dwErrorControl;
    LPSTR lpBinaryPathName;
    LPSTR lpLoadOrderGroup;
    DWORD dwTagId;
    LPSTR lpDependencies;  // terminated texts, an empty one at the end
    LPSTR lpServiceStartName;
    LPSTR lpDisplayName;
} QUERY_SERVICE_CONFIGA, *LPQUERY_SERVICE_CONFIGA;

typedef struct _SERVICE_DESCRIPTIONA {
    LPSTR lpDescription;
} SERVICE_DESCRIPTIONA, *LPSERVICE_DESCRIPTIONA;

typedef struct _ENUM_SERVICE_STATUSA {
    LPSTR lpServiceName;
    LPSTR lpDisplayName;
    SERVICE_STATUS ServiceStatus;
} ENUM_SERVICE_STATUSA, *LPENUM_SERVICE_STATUSA;

typedef struct _QUERY_SERVICE_LOCK_STATUSA {
    DWORD fIsLocked;
    LPSTR lpLockOwner;
    DWORD dwLockDuration;  // seconds
} QUERY_SERVICE_LOCK_STATUSA, *LPQUERY_SERVICE_LOCK_STATUSA;

// The machine may be null, empty or one of the world, with or without leading backslashes (1722 when unknown); the
// database null or "ServicesActive" (123 for a name that is none, 1065 for "ServicesFailed").
MACHINE_API SC_HANDLE OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD desired);
MACHINE_API SC_HANDLE CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD desired, DWORD type,
                                     DWORD startType, DWORD errorControl, LPCSTR path, LPCSTR group, LPDWORD tag,
                                     LPCSTR dependencies, LPCSTR account, LPCSTR password);
MACHINE_API SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD desired);
MACHINE_API BOOL CloseServiceHandle(SC_HANDLE handle);
// Null and SERVICE_NO_CHANGE leave an item as it is.
MACHINE_API BOOL ChangeServiceConfigA(SC_HANDLE service, DWORD type, DWORD startType, DWORD errorControl, LPCSTR path,
                                      LPCSTR group, LPDWORD tag, LPCSTR dependencies, LPCSTR account, LPCSTR password,
                                      LPCSTR displayName);
MACHINE_API BOOL ChangeServiceConfig2A(SC_HANDLE service, DWORD level, LPVOID info);
MACHINE_API BOOL QueryServiceConfigA(SC_HANDLE service, LPQUERY_SERVICE_CONFIGA config, DWORD bytes, LPDWORD needed);
MACHINE_API BOOL QueryServiceConfig2A(SC_HANDLE service, DWORD level, LPBYTE buffer, DWORD bytes, LPDWORD needed);
MACHINE_API BOOL QueryServiceStatus(SC_HANDLE service, LPSERVICE_STATUS status);
MACHINE_API BOOL ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status);
MACHINE_API BOOL StartServiceA(SC_HANDLE service, DWORD count, LPCSTR* arguments);
MACHINE_API BOOL DeleteService(SC_HANDLE service);
MACHINE_API BOOL EnumDependentServicesA(SC_HANDLE service, DWORD state, LPENUM_SERVICE_STATUSA services, DWORD bytes,
                                        LPDWORD needed, LPDWORD returned);
MACHINE_API BOOL EnumServicesStatusA(SC_HANDLE manager, DWORD type, DWORD state, LPENUM_SERVICE_STATUSA services,
                                     DWORD bytes, LPDWORD needed, LPDWORD returned, LPDWORD resume);
MACHINE_API SC_LOCK LockServiceDatabase(SC_HANDLE manager);
MACHINE_API BOOL UnlockServiceDatabase(SC_LOCK lock);
MACHINE_API BOOL QueryServiceLockStatusA(SC_HANDLE manager, LPQUERY_SERVICE_LOCK_STATUSA status, DWORD bytes,
                                         LPDWORD needed);

#endif
