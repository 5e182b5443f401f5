// The response file of an unattended setup, SETUP.ICF: a profile (INI) file that answers in advance what a front end
// would ask, read and written entry by entry.
#ifndef INSTALIB_SETUP_ICF_H
#define INSTALIB_SETUP_ICF_H

#include <initializer_list>

#include "instalib/export.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

// A getter reads the file at each call and keeps the answer in the object. It tries the sections that its comment names
// in that order, the next one only while the text is empty, and answers its default when the key is missing in the last
// one. When the file was not found it answers what the object has kept: after Init an empty text, or the built-in value
// of a flag. Text pointers stay valid until the next call of an accessor that shares the buffer, at the latest until
// the object goes. Texts are cut to their buffer: 255, 259, 47 or 9 characters, as said below.
//
// A setter writes at once, also when the file was not found (it is created then), to the section named last, and
// returns nonzero on success; on failure 0, with the Windows error of the write as last error. Flags are written as "1"
// and "0" and read as integers: leading decimal digits, anything else is 0. A null text removes the entry.
class INSTALIB_API CSetupIcf {
  public:
    // Names of the file, of sections and of keys.
    static const CString m_sDefaultFilename, m_sUserInfo, m_sFullName, m_sCompanyName, m_sInstallPath, m_sKorvaultPath,
        m_sAlertPath, m_sAgentPath, m_sQuorlenaJBossPath, m_sQuorlenaPath, m_sDatabasePath, m_sCheckPath, m_sJourPath,
        m_sDumpPath, m_sWorkPath, m_sQuorlenaPort, m_sQuorlenaRMIPort, m_sQuorlenaJRMPPort, m_sQuorlenaGOSSIPPort,
        m_sQuorlenaTomcatPort, m_sLocalMDB, m_sMDBHost, m_sMDBUser, m_sMDBPassword, m_sMDBID, m_sMDBDatabase,
        m_sLocaleDLV, m_sRemoteMDBeDLV, m_seDLVPass, m_seDLVRemoteHost, m_sQuorlenaHost, m_sMDBPath, m_sSystemAccount,
        m_sDefaultDomainName, m_sDefaultServerName, m_sDefaultUserName, m_sDefaultPassword, m_sInstall, m_sKORManager,
        m_sKORServer, m_sKORServerAdmin, m_sAlert, m_sAV, m_sDataMigration, m_sOverwriteDB, m_sOverwriteJobQueue,
        m_sDatabaseOption, m_sSQL, m_sUninstall, m_sMVSConfig, m_sSiteName, m_sSystemID, m_sLocalLUAlias,
        m_sPartnerLUAlias, m_siPatron, m_sCPManager, m_sProdSubType, m_sKVDomain, m_sDSname, m_sPriDSname, m_sSecDSname,
        m_sUserName, m_sDomainPWD, m_sCreateKVDomain, m_sSaveKVDomainPWD, m_sDRWizFeature, m_sSANWizFeature,
        m_sBaseProduct, m_sDBAOracle, m_sDBASQL, m_sDBAEXCH, m_sDBANOTE, m_sDBAINFO, m_sDBASYBASE, m_sDBAINGRES,
        m_sDBASAPSQL, m_sDBASAPORA, m_sClientAgent, m_sSPAgent, m_sQuorlena, m_sMDB, m_sUpgradeIE, m_sLanguageID;

    // Default values, and the accessors that return their texts.
    static const CString m_sDefaultKorvaultPath, m_sDefaultAlertPath, m_sDefaultAgent95Path, m_sDefaultAgentNTPath,
        m_sDefaultMDBPath, m_sDefaultMDBHost, m_sDefaultMDBUser, m_sDefaultMDBPassword, m_sDefaultMDBID,
        m_sDefaultMDBDatabase, m_sDefaultLocalMDB, m_sDefaultLocaleDLV, m_sDefaultRemoteMDBeDLV, m_sDefaulteDLVPass,
        m_sDefaulteDLVRemoteHost, m_sDefaultQuorlenaPath, m_sDefaultQuorlenaJBossPath, m_sDefaultQuorlenaHost,
        m_sDefaultQuorlenaPort, m_sDefaultQuorlenaTomcatPort, m_sDefaultQuorlenaRMIPort, m_sDefaultQuorlenaJRMPPort,
        m_sDefaultQuorlenaGOSSIPPort, m_sDefaultDatabasePath, m_sDefaultCheckPath, m_sDefaultJourPath,
        m_sDefaultDumpPath, m_sDefaultWorkPath;
    static const char* DefaultICFFileName();
    static const char* DefaultKorvaultPath();
    static const char* DefaultAlertPath();
    static const char* DefaultAgent95Path();
    static const char* DefaultAgentNTPath();
    static const char* DefaultMDBPath();
    static const char* DefaultMDBHost();
    static const char* DefaultMDBUser();
    static const char* DefaultMDBPassword();
    static const char* DefaultMDBID();
    static const char* DefaultMDBDatabase();
    static const char* DefaultLocalMDB();
    static const char* DefaultLocaleDLV();
    static const char* DefaultRemoteMDBeDLV();
    static const char* DefaulteDLVPass();
    static const char* DefaulteDLVRemoteHost();
    static const char* DefaultQuorlenaPath();
    static const char* DefaultQuorlenaJBossPath();
    static const char* DefaultQuorlenaHost();
    static const char* DefaultQuorlenaPort();
    static const char* DefaultQuorlenaTomcatPort();
    static const char* DefaultDatabaseLoc();
    static const char* DefaultCheckLoc();
    static const char* DefaultJourLoc();
    static const char* DefaultDumpLoc();
    static const char* DefaultWorkLoc();

    // Calls Init.
    CSetupIcf(const char* file = nullptr);
    CSetupIcf(const CSetupIcf& other);
    CSetupIcf& operator=(const CSetupIcf& other);
    ~CSetupIcf();

    // Takes the file as it is when it exists; otherwise SETUP.ICF beside the running program, whose read-only attribute
    // is cleared so that it can be written. Empties what was kept. Nonzero when a file was found; when not, setters
    // create SETUP.ICF beside the program, but getters find it only after Init is called again.
    int Init(const char* file);
    int Exists();

    // User: section UserInfo. 255 characters.
    const char* FullName();
    int FullName(const char* text);
    const char* CompanyName();
    int CompanyName(const char* text);

    // Installation paths, recorded in Base. 259 characters. The product's: InstallPath in KorvaultInstall, then
    // ProductPath in InstallPath and Base. The alert component's: AlertPath in KorvaultInstall, InstallPath, Base, with
    // "C:\ALERT" for a missing key of the last two: what Base records is read back only when InstallPath has the key
    // without a text.
    const char* KorvaultPath();
    int KorvaultPath(const char* path);
    const char* AlertPath();
    int AlertPath(const char* path);

    // Agents' paths: AgentPath in the agent's section (the client agent's: InstallPath, then ClientAgent). 259
    // characters. They share one buffer: a getter overwrites what the pointer of an earlier one shows.
    int AgentPath(const char* path);  // writes the client agent's
    const char* ClientAgentPath();
    int ClientAgentPath(const char* path);
    const char* DBAOraPath();
    int DBAOraPath(const char* path);
    const char* DBASqlPath();
    int DBASqlPath(const char* path);
    const char* DBAExchPath();
    int DBAExchPath(const char* path);
    const char* DBANotePath();
    int DBANotePath(const char* path);
    const char* DBAInfoPath();
    int DBAInfoPath(const char* path);
    const char* DBASybasePath();
    int DBASybasePath(const char* path);
    const char* DBAIngresPath();
    int DBAIngresPath(const char* path);
    const char* DBASapSqlPath();
    int DBASapSqlPath(const char* path);
    const char* DBASapOraPath();
    int DBASapOraPath(const char* path);
    const char* SPAgentPath();
    int SPAgentPath(const char* path);

    // Web management component: section QMC. 259 characters. The ports default to 1099, 8080, 1098, 4444 and 5555.
    const char* QuorlenaPath();
    int QuorlenaPath(const char* path);
    const char* QuorlenaJBossPath();
    int QuorlenaJBossPath(const char* path);
    const char* QuorlenaPort();
    int QuorlenaPort(const char* port);
    const char* QuorlenaTomcatPort();
    int QuorlenaTomcatPort(const char* port);
    const char* QuorlenaRMIPort();
    int QuorlenaRMIPort(const char* port);
    const char* QuorlenaJRMPPort();
    int QuorlenaJRMPPort(const char* port);
    const char* QuorlenaGOSSIPPort();
    int QuorlenaGOSSIPPort(const char* port);
    const char* QuorlenaHost();
    int QuorlenaHost(const char* host);
    const char* DatabaseLoc();
    int DatabaseLoc(const char* path);
    const char* CheckLoc();
    int CheckLoc(const char* path);
    const char* JourLoc();
    int JourLoc(const char* path);
    const char* DumpLoc();
    int DumpLoc(const char* path);
    const char* WorkLoc();
    int WorkLoc(const char* path);

    // Management database: MDBPath in section MDB, the others in QMC. 47 characters, MDBPath and eDLVRemoteHost 259.
    const char* MDBPath();
    int MDBPath(const char* path);
    const char* MDBHost();
    int MDBHost(const char* host);
    const char* MDBUser();  // "qmcadmin"
    int MDBUser(const char* user);
    const char* MDBPassword();
    int MDBPassword(const char* password);
    const char* MDBID();  // "QM"
    int MDBID(const char* id);
    const char* MDBDatabase();
    int MDBDatabase(const char* database);
    const char* LocalMDB();  // "YES"
    int LocalMDB(const char* answer);
    const char* LocaleDLV();  // "YES"
    int LocaleDLV(const char* answer);
    const char* RemoteMDBeDLV();  // "NO"
    int RemoteMDBeDLV(const char* answer);
    const char* eDLVPass();
    int eDLVPass(const char* password);
    const char* eDLVRemoteHost();
    int eDLVRemoteHost(const char* host);

    // System account: sections "System Account", SystemAccount, Base; the server only in Base. 47 characters.
    const char* SystemAccountDomain();
    int SystemAccountDomain(const char* domain);
    const char* SystemAccountServer();
    int SystemAccountServer(const char* server);
    const char* SystemAccountUser();
    int SystemAccountUser(const char* user);

    // Product domain: sections ZephraniteDomain, then Base. 47 characters.
    const char* KVDomainName();
    int KVDomainName(const char* domain);
    const char* PriKVDomainName();
    int PriKVDomainName(const char* server);
    const char* SecKVDomainName();
    int SecKVDomainName(const char* server);
    const char* KVDomainUserName();
    int KVDomainUserName(const char* user);

    // Passwords: plain text in the sections of their family, scrambled in Base. Up to 96 characters are written, the
    // getters keep 47. A setter writes nothing and returns 0 when the password is null or empty or cannot be scrambled;
    // the getter is empty when it cannot be unscrambled.
    const char* SystemAccountPassword();
    int SystemAccountPassword(const char* password);
    const char* KVDomainPassword();
    int KVDomainPassword(const char* password);

    // Host connection: section MVSConfig. 47 characters.
    const char* SiteName();
    int SiteName(const char* name);
    const char* SystemID();
    int SystemID(const char* id);
    const char* LocalLUAlias();
    int LocalLUAlias(const char* alias);
    const char* PartnerLUAlias();
    int PartnerLUAlias(const char* alias);

    // Section Install, "1033". 9 characters.
    const char* LanguageID();
    int LanguageID(const char* id);

    // Features of sections Install, then Base. A 0 in Install decides; otherwise it is what Base says. 1 when missing.
    int InstallManager();
    int InstallManager(int install);
    int InstallServer();
    int InstallServer(int install);
    int InstallAdmin();
    int InstallAdmin(int install);
    int InstallAlert();
    int InstallAlert(int install);
    // Features of section Base: 1 when missing (InstalliPatron, InstallAV), or 0. The two wizards are built in as 1,
    // the value without a file.
    int InstalliPatron();
    int InstalliPatron(int install);
    int InstallCPM();
    int InstallCPM(int install);
    int InstallAV();
    int InstallAV(int install);
    int InstallDRWiz();
    int InstallDRWiz(int install);
    int InstallSANWiz();
    int InstallSANWiz(int install);
    // Section Install. HSM: 1. Overwriting: 1 when missing, built in as 0. Upgrading the browser: 0.
    int InstallHSM();
    int InstallHSM(int install);
    int OverwriteDB();
    int OverwriteDB(int overwrite);
    int OverwriteJobQueue();
    int OverwriteJobQueue(int overwrite);
    int UpgradeIE();
    int UpgradeIE(int upgrade);
    // The management framework is no question of the response file: always 0, and the setter writes nothing and returns
    // 0.
    int InstallOGT();
    int InstallOGT(int install);
    // Section DatabaseOption; what Base says when that is 0. 0.
    int SQLDB();
    int SQLDB(int useSQL);
    // Section Uninstall. 1.
    int UninstallKorvault();
    int UninstallKorvault(int uninstall);
    int UninstallAlert();
    int UninstallAlert(int uninstall);
    // The product domain: as the features of Install and Base, with section ZephraniteDomain; the password's only in
    // Base. 1.
    int CreateKVDomain();
    int CreateKVDomain(int create);
    int SaveKVDomainPWD();
    int SaveKVDomainPWD(int save);

    // A feature's entry as it stands, put into `buffer` (written although it is declared constant) of `capacity`
    // characters with the terminator: manager, server, admin and antivirus from Install, then Base; the others from
    // Base. 1 when there is a text; 0 otherwise, and without a file, a buffer or room the buffer is not touched.
    int InstallManager(const char* buffer, DWORD capacity);
    int InstallServer(const char* buffer, DWORD capacity);
    int InstallAdmin(const char* buffer, DWORD capacity);
    int InstallAV(const char* buffer, DWORD capacity);
    int InstalliPatron(const char* buffer, DWORD capacity);
    int InstallCPM(const char* buffer, DWORD capacity);
    int InstallDRWiz(const char* buffer, DWORD capacity);
    int InstallSANWiz(const char* buffer, DWORD capacity);

    // ProdSubType of section Install: 0 to 4; -1 when it is missing or another value, or without a file.
    int GetProductSubType();

    // Any entry. GetInt: 1 and the integer (0 when missing) when the file was found, otherwise 0 and `value` is left
    // alone. GetString: the characters stored in `buffer`, without the terminator; `capacity` counts it. Without a file
    // 0 and the buffer is left alone.
    int GetInt(const char* section, const char* key, int* value);
    int GetString(const char* section, const char* key, char* buffer, int capacity = 260);
    int WriteString(const char* section, const char* key, const char* value);
    int WriteInt(const char* section, const char* key, int value);

  private:
    using Sections = std::initializer_list<const char*>;

    int FindFile();
    void Reset();
    const char* ReadText(char* buffer, DWORD capacity, const char* key, const char* fallback, Sections sections);
    const char* ReadPassword(char* buffer, DWORD capacity, const char* key, Sections plainSections);
    int WritePassword(const char* key, const char* password);
    int ReadFlag(int& flag, const char* key, int fallback, Sections sections);
    int ReadFeature(const char* buffer, DWORD capacity, const char* key, Sections sections);
    int WriteFlag(const char* section, const char* key, int flag);

    int m_bUpgradeIE;
    char m_szLanguageID[10];
    char m_szKVDomainName[48];
    char m_szPriKVDomainName[48];
    char m_szSecKVDomainName[48];
    char m_szKVDomainUserName[48];
    char m_szKVDomainPassword[48];
    int m_bCreateKVDomain;
    int m_bSaveKVDomainPWD;
    int m_bInstallDRWiz;
    int m_bInstallSANWiz;
    CString m_sIcfFile;
    int m_bExists;
    char m_szFullName[256];
    char m_szCompanyName[256];
    char m_szKorvaultPath[260];
    char m_szAlertPath[260];
    char m_szAgentPath[260];
    char m_szQuorlenaPath[260];
    char m_szQuorlenaJBossPath[260];
    char m_szQuorlenaPort[260];
    char m_szQuorlenaTomcatPort[260];
    char m_szQuorlenaRMIPort[260];
    char m_szQuorlenaJRMPPort[260];
    char m_szQuorlenaGOSSIPPort[260];
    char m_szQuorlenaHost[260];
    char m_szMDBPath[260];
    char m_szMDBHost[48];
    char m_szMDBUser[48];
    char m_szMDBPassword[48];
    char m_szMDBID[48];
    char m_szMDBDatabase[48];
    char m_szLocalMDB[48];
    char m_szLocaleDLV[48];
    char m_szRemoteMDBeDLV[48];
    char m_szeDLVPass[48];
    char m_szeDLVRemoteHost[260];
    char m_szSystemAccountDomain[48];
    char m_szSystemAccountServer[48];
    char m_szSystemAccountUser[48];
    char m_szSystemAccountPassword[48];
    int m_bInstallManager;
    int m_bInstallServer;
    int m_bInstallAdmin;
    int m_bInstallAlert;
    int m_bInstalliPatron;
    int m_bInstallCPM;
    int m_bInstallAV;
    int m_bInstallHSM;
    int m_bInstallOGT;
    int m_bOverwriteDB;
    int m_bOverwriteJobQueue;
    int m_bSQLDB;
    int m_bUninstallKorvault;
    int m_bUninstallAlert;
    char m_szSiteName[48];
    char m_szSystemID[48];
    char m_szLocalLUAlias[48];
    char m_szPartnerLUAlias[48];
    char m_szDatabaseLoc[260];
    char m_szCheckLoc[260];
    char m_szJourLoc[260];
    char m_szDumpLoc[260];
    char m_szWorkLoc[260];
};

#endif
