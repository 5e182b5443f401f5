// The setup session's settings: the record that a front end hands in, and the object that holds every decision of one
// installation, reconfiguration or uninstallation. Objects are values: a copy does not follow its original.
#ifndef INSTALIB_SETTINGS_H
#define INSTALIB_SETTINGS_H

#include <cstddef>

#include "instalib/export.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

// What a front end knows before it asks the machine. Natural alignment. Texts are in the system's ANSI code page; one
// that fills its field needs no terminator. Zero the record before filling it in.
struct tagSETUP_INFO {
    char productName[256];  // "PRODUCT - EDITION"
    char profile[261];
    char traceFile[261];
    char sourcePath[261];  // directory of the medium, with its final backslash ("SETUP.INF" is appended directly)
    char batchFile[261];   // the response file
    char mifFile[261];
    char programGroupName[256];
    char logFile[261];
    LONG productType;  // 133, 24, 25: main servers; 105: a further server; 1027, 62: client agents
    int ignoreErrors;
    int trace;
    int batchOperation;  // unattended: the answers come from the response file
    int mif;             // a status MIF file is wanted
    int configurationOnly;
    BYTE reserved[272];  // the front end's own; not read
    int copyOnlyMode;    // files only: the response file is not asked
};
static_assert(offsetof(tagSETUP_INFO, profile) == 256 && offsetof(tagSETUP_INFO, traceFile) == 517 &&
                  offsetof(tagSETUP_INFO, sourcePath) == 778 && offsetof(tagSETUP_INFO, batchFile) == 1039 &&
                  offsetof(tagSETUP_INFO, mifFile) == 1300 && offsetof(tagSETUP_INFO, programGroupName) == 1561 &&
                  offsetof(tagSETUP_INFO, logFile) == 1817 && offsetof(tagSETUP_INFO, productType) == 2080 &&
                  offsetof(tagSETUP_INFO, ignoreErrors) == 2084 && offsetof(tagSETUP_INFO, trace) == 2088 &&
                  offsetof(tagSETUP_INFO, batchOperation) == 2092 && offsetof(tagSETUP_INFO, mif) == 2096 &&
                  offsetof(tagSETUP_INFO, configurationOnly) == 2100 && offsetof(tagSETUP_INFO, reserved) == 2104 &&
                  offsetof(tagSETUP_INFO, copyOnlyMode) == 2376 && sizeof(tagSETUP_INFO) == 2380,
              "front ends hand this record over as bytes");

// No accessor fails: getters return what is stored, setters store what they are given (a null text counts as empty). A
// text's pointer is valid until that text is set again. Accessor pairs share a name: without argument it reads.
class INSTALIB_API CSettings {
  public:
    // Bits of the component mask. Whether a bit means install or remove follows from the mode (Uninstall).
    static const DWORD INSTALL_MANAGER = 1;
    static const DWORD INSTALL_SERVER = 2;
    static const DWORD INSTALL_ADMIN = 4;
    static const DWORD INSTALL_ALERT = 8;
    static const DWORD INSTALL_HSM = 16;
    static const DWORD INSTALL_OGT = 32;
    static const DWORD INSTALL_AV = 64;
    static const DWORD UNINSTALL_KORVAULT = 7;  // manager, server and admin
    static const DWORD UNINSTALL_ALERT = 8;
    // Bits of the database mask.
    static const DWORD INSTALL_SQL = 1;
    static const DWORD INSTALL_RAIMA = 2;
    static const DWORD UNINSTALL_SQL = 1;

    // Built-in values only: everything 0 or empty, but the database mask and the database type, which are
    // INSTALL_RAIMA.
    CSettings();
    // The built-in values, then the mode (nonzero: uninstallation) and the record's fields; a null record adds nothing.
    // The product name is split at its first " - ": "Backup - Small - X" has the short name "Backup", the edition
    // "Small - X"; without one the whole name is the short name and the edition is empty.
    CSettings(tagSETUP_INFO* info, int uninstall);
    CSettings(const CSettings& other);
    CSettings& operator=(CSettings& other);
    CSettings& operator=(const CSettings& other);
    ~CSettings();

    // Learns what is installed from the registry, reads setup information file and response file, chooses the default
    // components and paths, and finds out whether this is the far end of a remote installation (it then deletes the
    // marker file HOST.INI). To be called once, before the dialogs. Nothing is reported: what cannot be read leaves texts
    // as they were and makes flags 0, a subtype that the medium does not name -1; answers that lack a key give the
    // default of its accessor (setup_icf.h). In install mode the medium's directory becomes the process's current one.
    void Initialize();

    // Mode of operation. ExpressSetup is 1 exactly when custom setup is 0. CustomSetup(0) also selects the standard
    // set: server, manager, alert, admin, and HSM and the management framework where available.
    int Uninstall();
    int MIF();
    int BatchOperation();
    int IgnoreErrors();
    int Trace();
    int ConfigurationOnly();
    int IsCopyOnlyMode();
    int CustomSetup();
    void CustomSetup(int custom);
    int ExpressSetup();
    // Abort marks the setup as cancelled; nothing clears the mark.
    int Aborted();
    void Abort();
    int Reboot();
    void Reboot(int reboot);
    // Nonzero, with the name of the machine that drives it, for the far end of a remote installation.
    int RemoteSetup();
    const char* RemoteHostServer();

    // Files and names from the record.
    const char* Profile();
    const char* TraceFile();
    const char* SourcePath();
    const char* BatchFile();
    const char* MIFFile();
    const char* LogFile();
    const char* ProgramGroupName();

    // The product. Product is its registry name and ComponentCode its code in upper case, both from the product map
    // library.
    const char* ProductName();
    const char* ProductShortName();
    const char* EditionName();
    const char* Product();
    const char* ComponentCode();
    LONG ProductType();
    void ProductType(LONG type);
    int ProductSubType();
    void ProductSubType(int subType);
    const char* RegisteredUser();
    void RegisteredUser(const char* name);
    const char* RegisteredCompany();
    void RegisteredCompany(const char* name);

    // What the machine has already. The current paths are where it stands, with a final backslash.
    int IsUpgrade();
    int KorvaultExists();
    int AlertExists();
    int NewAlertExists();
    int PhagrixExists();
    int ClientAgentExists();
    int DBExists();
    int QueueExists();
    const char* CurrentKorvaultPath();
    const char* CurrentAlertPath();
    const char* CurrentClientAgentPath();

    // Chosen paths. The setters end a path with exactly one backslash: "C:\X" becomes "C:\X\"; an empty path and a path
    // of nothing but backslashes become empty.
    const char* KorvaultPath();
    void KorvaultPath(const char* path);
    const char* AlertPath();
    void AlertPath(const char* path);
    const char* ClientAgentPath();
    void ClientAgentPath(const char* path);
    // 1 when the component is not installed or its current path differs from the chosen one byte for byte (letter case
    // counts), otherwise 0.
    int NewKorvaultInstall();
    int NewAlertInstall();

    // The product's system account.
    const char* SystemAccountServer();
    void SystemAccountServer(const char* server);
    const char* SystemAccountDomain();
    void SystemAccountDomain(const char* domain);
    const char* SystemAccountName();
    void SystemAccountName(const char* name);
    const char* SystemAccountPassword();
    void SystemAccountPassword(const char* password);

    // What the medium brings.
    int HSMAvailable();
    int OGTFWAvailable();
    int RAIDAvailable();
    int ChangerAvailable();
    const char* OGTFWSetupFileName();
    const char* LaunchSetupProductName();
    const char* LaunchSetupFileName();

    // Components to install or remove. A query is nonzero when all bits of its constant are set. A setter sets them for
    // a nonzero argument and clears them for zero, but: the server brings the admin tool and clears only itself; HSM
    // and the management framework bring the manager, clear only themselves, and are cleared instead of set when the
    // medium has not got them (the framework also in a batch operation).
    int InstallManager();
    void InstallManager(int install);
    int InstallServer();
    void InstallServer(int install);
    int InstallAdmin();
    void InstallAdmin(int install);
    int InstallAlert();
    void InstallAlert(int install);
    int InstallHSM();
    void InstallHSM(int install);
    int InstallOGT();
    void InstallOGT(int install);
    int InstallAV();
    void InstallAV(int install);
    int UninstallKorvault();
    void UninstallKorvault(int uninstall);
    int UninstallAlert();
    void UninstallAlert(int uninstall);
    // Nonzero when the manager, the server or the admin tool is to be installed.
    int InstallKorvault();

    // The database.
    int InstallSQL();
    void InstallSQL(int install);
    int InstallRAIMA();
    void InstallRAIMA(int install);
    int UninstallSQL();
    void UninstallSQL(int uninstall);
    DWORD InstallDBType();
    void InstallDBType(DWORD type);
    int OverwriteDB();
    void OverwriteDB(int overwrite);
    int DeleteQueue();
    void DeleteQueue(int deleteQueue);
    int ReplaceAlert();
    void ReplaceAlert(int replace);
    int AutoStartServices();
    void AutoStartServices(int start);

    // The sum of the selected components' plain figures, 0 when none is selected. They are meant as units of 1,024
    // bytes; the front end compares the sum with the free space of the drive in the same unit.
    DWORD DiskSpaceNeeded();

  private:
    friend class SettingsInitialization;

    // Overwrites its memory with zeros before it takes another text, and at its end.
    struct Password : CString {
        Password() = default;
        Password(const Password& other) = default;
        Password& operator=(const Password& other);
        Password& operator=(const char* text);
        ~Password();
    };

    void Construct();
    void AddComponent(DWORD bits);
    void RemoveComponent(DWORD bits);
    void AddDatabase(DWORD bits);
    void RemoveDatabase(DWORD bits);

    int m_bUninstall;
    CString m_sProfile;
    CString m_sTraceFile;
    CString m_sSourcePath;
    CString m_sBatchFile;
    CString m_sMIFFile;
    int m_bMIF;
    int m_bBatchOperation;
    int m_bIgnoreErrors;
    int m_bTrace;
    CString m_sLogFile;
    int m_bRemoteSetup;
    CString m_sRemoteHostServer;
    int m_bCustomSetup;
    int m_bAborted;
    CString m_sProgramGroupName;
    int m_bConfigurationOnly;
    int m_bReboot;
    CString m_sProductName;
    CString m_sProductShortName;
    CString m_sEditionName;
    CString m_sProduct;
    CString m_sComponentCode;
    int m_bIsUpgrade;
    CString m_sRegisteredUser;
    CString m_sRegisteredCompany;
    int m_bKorvaultExists;
    int m_bAlertExists;
    int m_bNewAlertExists;
    int m_bPhagrixExists;
    int m_bClientAgentExists;
    CString m_sCurrentKorvaultPath;
    CString m_sCurrentAlertPath;
    CString m_sCurrentClientAgentPath;
    CString m_sKorvaultPath;
    CString m_sAlertPath;
    CString m_sClientAgentPath;
    CString m_sSystemAccountServer;
    CString m_sSystemAccountDomain;
    CString m_sSystemAccountName;
    Password m_sSystemAccountPassword;
    DWORD m_dwComponents;
    int m_bHSMAvailable;
    int m_bOGTFWAvailable;
    CString m_sOGTFWSetupFileName;
    CString m_sLaunchSetupProductName;
    CString m_sLaunchSetupFileName;
    int m_bReplaceAlert;
    LONG m_lProductType;
    int m_nProductSubType;
    int m_bRAIDAvailable;
    int m_bChangerAvailable;
    DWORD m_dwDatabases;
    int m_bOverwriteDB;
    int m_bDBExists;
    int m_bDeleteQueue;
    int m_bQueueExists;
    int m_bAutoStartServices;
    int m_bIsCopyOnlyMode;
    DWORD m_dwInstallDBType;
};

#endif
