// CService: the family's Windows services on the local machine. Every operation opens and closes its own handles of the
// service control manager; an object holds texts only. Operations return nonzero for success and 0 for failure; a
// failure leaves the Windows error of the failed call in the thread's last-error value.
#ifndef INSTALIB_SERVICE_H
#define INSTALIB_SERVICE_H

#include "instalib/export.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

class INSTALIB_API CService {
  public:
    // The family's standard services; the constructor fills the fields from their table. Any other value leaves them
    // empty.
    enum ServiceType { JobEngine, TapeEngine, DatabaseEngine, MessageEngine, AlertServer, DiscoveryService };

    CService(ServiceType service);
    // Key name, executable (file name without directory), display name (null: the key name), Windows service type bits,
    // load order group (null: none).
    CService(const char* name, const char* executable, const char* displayName, DWORD serviceType, const char* group);
    CService(const CService& other);
    CService& operator=(const CService& other);
    ~CService();

    // The key name; valid while the object lives and is not assigned to.
    const char* Name() const;

    // The static operations of the same names, with the object's names.
    int IsStarted() const;
    int IsStopped() const;
    int Exists() const;
    int StartServiceA(int wait) const;
    int StopService(int wait, int stopDependents) const;
    int RemoveService() const;
    int BackupServiceStatus(const char* keyPath) const;
    int RestoreServiceStatus(const char* keyPath) const;
    // Installs or reconfigures the service from the directory that holds its executable, with or without a final
    // backslash: the command path is "DIRECTORY\EXECUTABLE" in double quotes. A null account is the local system
    // account. No dependencies are given. ChangeService passes the object's group as it is, so an empty one clears the
    // group.
    int InstallService(const char* directory, DWORD startType, const char* account, const char* password) const;
    int ChangeService(const char* directory, DWORD startType, const char* account, const char* password) const;

    // Creates the service with error control normal. Dependencies are a list of strings ended by an empty one. Driver
    // types (1 and 2) get the group "Filter" whatever is given. A service that exists already (1073) is left alone:
    // success.
    static int InstallService(const char* name, const char* displayName, const char* commandPath, DWORD serviceType,
                              DWORD startType, const char* group, const char* dependencies, const char* account,
                              const char* password);
    // The same list for an existing service; a null argument leaves its item unchanged, error control becomes normal.
    static int ChangeService(const char* name, const char* displayName, const char* commandPath, DWORD serviceType,
                             DWORD startType, const char* group, const char* dependencies, const char* account,
                             const char* password);
    // IsStarted: the service can be opened and is anything but stopped. IsStopped: it is stopped or cannot be opened.
    static int IsStarted(const char* name);
    static int IsStopped(const char* name);
    static int ServiceExists(const char* name);
    // Stops the service (with waiting, its dependents left alone, the outcome ignored) and deletes it. A service that
    // does not exist (1060) or is marked for deletion (1072) is success.
    static int RemoveService(const char* name);
    // A running service (1056) is success. With `wait` the call blocks for one wait hint of the service per check point
    // while it is starting, an hour in all at most; running, or still starting when the check point stands, is success.
    // A service that stopped again fails with its own exit code, or 1062 when it gave none.
    static int StartServiceA(const char* name, int wait);
    // A service that does not exist, is stopped or stopping is success at once. Otherwise success needs the stopped
    // state: in the control's answer, or, with `wait`, after at most (wait hint in seconds, at least 1) + 1 seconds;
    // else the last error is 1053. With `stopDependents` running direct dependents are stopped first; without it they
    // refuse the stop (1051).
    static int StopService(const char* name, int wait, int stopDependents);
    // Starts the services whose "DependOnService" value (at most 256 bytes) lists `name` in this very letter case. All
    // are tried; 0 when one failed, or when a service's value could not be read.
    static int StartDependentServices(const char* name, int wait);
    // Keeps the service's start type as the REG_DWORD value `name` of a key of the local machine. A service that cannot
    // be opened or read is success, and nothing is written.
    static int BackupServiceStatus(const char* keyPath, const char* name);
    // Gives the service the kept start type and this display name. Without a kept one: success, nothing changes. One
    // that cannot be read, or is no REG_DWORD (ERROR_INVALID_DATA), is a failure.
    static int RestoreServiceStatus(const char* keyPath, const char* name, const char* displayName);

    static const CString m_sServicesKey;      // "SYSTEM\CurrentControlSet\Services", below HKEY_LOCAL_MACHINE
    static const CString m_sDependOnService;  // "DependOnService"

  private:
    static int StopDependentServices(const char* name, int wait);
    CString CommandPath(const char* directory) const;

    CString m_sName;
    CString m_sDisplayName;
    CString m_sExecutable;
    DWORD m_dwServiceType;
    CString m_sGroup;
};

// Run the service program with " -install", " -remove", " -start" or " -stop" as a new detached process that inherits
// handles, and do not wait for it. The path is used as it stands: one with blanks is quoted by the caller. At most 260
// characters; a longer one starts nothing and fails with ERROR_FILENAME_EXCED_RANGE (206).
INSTALIB_API int InstallServiceByCmdLine(const char* path);
INSTALIB_API int RemoveServiceByCmdLine(const char* path);
INSTALIB_API int StartServiceByCmdLine(const char* path);
INSTALIB_API int StopServiceByCmdLine(const char* path);

// Sets the display name and the description of a service while the service database is locked. `manager` is open with
// the right to lock it. Where the system cannot describe services, the description is skipped: success.
INSTALIB_API int ChangeServiceInfo(SC_HANDLE manager, const char* name, const char* displayName,
                                   const char* description);

#endif
