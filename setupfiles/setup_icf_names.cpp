#include "instalib/setup_icf.h"

// Names of the file, of sections and of keys.
const CString CSetupIcf::m_sDefaultFilename = "SETUP.ICF";
const CString CSetupIcf::m_sUserInfo = "UserInfo";
const CString CSetupIcf::m_sFullName = "FullName";
const CString CSetupIcf::m_sCompanyName = "CompanyName";
const CString CSetupIcf::m_sInstallPath = "InstallPath";
const CString CSetupIcf::m_sKorvaultPath = "ProductPath";
const CString CSetupIcf::m_sAlertPath = "AlertPath";
const CString CSetupIcf::m_sAgentPath = "AgentPath";
const CString CSetupIcf::m_sQuorlenaJBossPath = "JBossPath";
const CString CSetupIcf::m_sQuorlenaPath = "QuorlenaPath";
const CString CSetupIcf::m_sDatabasePath = "DATABASELOC";
const CString CSetupIcf::m_sCheckPath = "DATABASECHECKPOINTLOC";
const CString CSetupIcf::m_sJourPath = "DATABASEJOURNALLOC";
const CString CSetupIcf::m_sDumpPath = "DATABASEDUMPLOC";
const CString CSetupIcf::m_sWorkPath = "DATABASEWORKLOC";
const CString CSetupIcf::m_sQuorlenaPort = "JNPPORT";
const CString CSetupIcf::m_sQuorlenaRMIPort = "RMIPORT";
const CString CSetupIcf::m_sQuorlenaJRMPPort = "JRMPPORT";
const CString CSetupIcf::m_sQuorlenaGOSSIPPort = "GOSSIPPORT";
const CString CSetupIcf::m_sQuorlenaTomcatPort = "TOMCATPORT";
const CString CSetupIcf::m_sLocalMDB = "LOCALMDB";
const CString CSetupIcf::m_sMDBHost = "MDBHOST";
const CString CSetupIcf::m_sMDBUser = "MDBUSER";
const CString CSetupIcf::m_sMDBPassword = "MDBPASSWORD";
const CString CSetupIcf::m_sMDBID = "MDBID";
const CString CSetupIcf::m_sMDBDatabase = "MDBDATABASE";
const CString CSetupIcf::m_sLocaleDLV = "LOCALEDLV";
const CString CSetupIcf::m_sRemoteMDBeDLV = "REMOTEMDBEDLV";
const CString CSetupIcf::m_seDLVPass = "EDLVPASS";
const CString CSetupIcf::m_seDLVRemoteHost = "EDLVREMOTEHOST";
const CString CSetupIcf::m_sQuorlenaHost = "Host";
const CString CSetupIcf::m_sMDBPath = "MDBPath";
const CString CSetupIcf::m_sSystemAccount = "SystemAccount";
const CString CSetupIcf::m_sDefaultDomainName = "SystemDomainName";
const CString CSetupIcf::m_sDefaultServerName = "SystemServerName";
const CString CSetupIcf::m_sDefaultUserName = "SystemUserName";
const CString CSetupIcf::m_sDefaultPassword = "SystemPassword";
const CString CSetupIcf::m_sInstall = "Install";
const CString CSetupIcf::m_sKORManager = "ManagerFeature";
const CString CSetupIcf::m_sKORServer = "SeverFeature";
const CString CSetupIcf::m_sKORServerAdmin = "AdminFeature";
const CString CSetupIcf::m_sAlert = "AlertFeature";
const CString CSetupIcf::m_sAV = "AVFeature";
const CString CSetupIcf::m_sDataMigration = "DataMigration";
const CString CSetupIcf::m_sOverwriteDB = "OverwriteDB";
const CString CSetupIcf::m_sOverwriteJobQueue = "OverwriteJobQueue";
const CString CSetupIcf::m_sDatabaseOption = "DatabaseOption";
const CString CSetupIcf::m_sSQL = "SQL";
const CString CSetupIcf::m_sUninstall = "Uninstall";
const CString CSetupIcf::m_sMVSConfig = "MVSConfig";
const CString CSetupIcf::m_sSiteName = "SITENAME";
const CString CSetupIcf::m_sSystemID = "SYSTEMID";
const CString CSetupIcf::m_sLocalLUAlias = "LOCALLUALIAS";
const CString CSetupIcf::m_sPartnerLUAlias = "PARTNERLUALIAS";
const CString CSetupIcf::m_siPatron = "iPatronFeature";
const CString CSetupIcf::m_sCPManager = "CPMFeature";
const CString CSetupIcf::m_sProdSubType = "ProdSubType";
const CString CSetupIcf::m_sKVDomain = "ZephraniteDomain";
const CString CSetupIcf::m_sDSname = "ZephraniteDomainName";
const CString CSetupIcf::m_sPriDSname = "PrimaryServerName";
const CString CSetupIcf::m_sSecDSname = "SecondaryServerName";
const CString CSetupIcf::m_sUserName = "ZephraniteDomainUserName";
const CString CSetupIcf::m_sDomainPWD = "ZephraniteDomainPassword";
const CString CSetupIcf::m_sCreateKVDomain = "CreateZephraniteDomain";
const CString CSetupIcf::m_sSaveKVDomainPWD = "SaveZephraniteDomainPassword";
const CString CSetupIcf::m_sDRWizFeature = "DRWIZFeature";
const CString CSetupIcf::m_sSANWizFeature = "SANWIZFeature";
const CString CSetupIcf::m_sBaseProduct = "Base";
const CString CSetupIcf::m_sDBAOracle = "DBAORA";
const CString CSetupIcf::m_sDBASQL = "DBASQL";
const CString CSetupIcf::m_sDBAEXCH = "DBAEXCH";
const CString CSetupIcf::m_sDBANOTE = "DBANOTE";
const CString CSetupIcf::m_sDBAINFO = "DBAINFO";
const CString CSetupIcf::m_sDBASYBASE = "DBASYBASE";
const CString CSetupIcf::m_sDBAINGRES = "DBAINGRES";
const CString CSetupIcf::m_sDBASAPSQL = "DBASAPSQL";
const CString CSetupIcf::m_sDBASAPORA = "DBASAPORA";
const CString CSetupIcf::m_sClientAgent = "ClientAgent";
const CString CSetupIcf::m_sSPAgent = "SPAgent";
const CString CSetupIcf::m_sQuorlena = "QMC";
const CString CSetupIcf::m_sMDB = "MDB";
const CString CSetupIcf::m_sUpgradeIE = "UpgradeIE";
const CString CSetupIcf::m_sLanguageID = "LanguageID";

// Defaults with the accessor that returns them.
#define ICF_DEFAULT(accessor, member, text) \
    const CString CSetupIcf::member = text; \
    const char* accessor() { return member; }
ICF_DEFAULT(CSetupIcf::DefaultKorvaultPath, m_sDefaultKorvaultPath, "")
ICF_DEFAULT(CSetupIcf::DefaultAlertPath, m_sDefaultAlertPath, "C:\\ALERT")
ICF_DEFAULT(CSetupIcf::DefaultAgent95Path, m_sDefaultAgent95Path, "")
ICF_DEFAULT(CSetupIcf::DefaultAgentNTPath, m_sDefaultAgentNTPath, "")
ICF_DEFAULT(CSetupIcf::DefaultMDBPath, m_sDefaultMDBPath, "")
ICF_DEFAULT(CSetupIcf::DefaultMDBHost, m_sDefaultMDBHost, "")
ICF_DEFAULT(CSetupIcf::DefaultMDBUser, m_sDefaultMDBUser, "qmcadmin")
ICF_DEFAULT(CSetupIcf::DefaultMDBPassword, m_sDefaultMDBPassword, "")
ICF_DEFAULT(CSetupIcf::DefaultMDBID, m_sDefaultMDBID, "QM")
ICF_DEFAULT(CSetupIcf::DefaultMDBDatabase, m_sDefaultMDBDatabase, "")
ICF_DEFAULT(CSetupIcf::DefaultLocalMDB, m_sDefaultLocalMDB, "YES")
ICF_DEFAULT(CSetupIcf::DefaultLocaleDLV, m_sDefaultLocaleDLV, "YES")
ICF_DEFAULT(CSetupIcf::DefaultRemoteMDBeDLV, m_sDefaultRemoteMDBeDLV, "NO")
ICF_DEFAULT(CSetupIcf::DefaulteDLVPass, m_sDefaulteDLVPass, "")
ICF_DEFAULT(CSetupIcf::DefaulteDLVRemoteHost, m_sDefaulteDLVRemoteHost, "")
ICF_DEFAULT(CSetupIcf::DefaultQuorlenaPath, m_sDefaultQuorlenaPath, "")
ICF_DEFAULT(CSetupIcf::DefaultQuorlenaJBossPath, m_sDefaultQuorlenaJBossPath, "")
ICF_DEFAULT(CSetupIcf::DefaultQuorlenaHost, m_sDefaultQuorlenaHost, "")
ICF_DEFAULT(CSetupIcf::DefaultQuorlenaPort, m_sDefaultQuorlenaPort, "1099")
ICF_DEFAULT(CSetupIcf::DefaultQuorlenaTomcatPort, m_sDefaultQuorlenaTomcatPort, "8080")
ICF_DEFAULT(CSetupIcf::DefaultDatabaseLoc, m_sDefaultDatabasePath, "")
ICF_DEFAULT(CSetupIcf::DefaultCheckLoc, m_sDefaultCheckPath, "")
ICF_DEFAULT(CSetupIcf::DefaultJourLoc, m_sDefaultJourPath, "")
ICF_DEFAULT(CSetupIcf::DefaultDumpLoc, m_sDefaultDumpPath, "")
ICF_DEFAULT(CSetupIcf::DefaultWorkLoc, m_sDefaultWorkPath, "")

// The others.
const CString CSetupIcf::m_sDefaultQuorlenaRMIPort = "1098";
const CString CSetupIcf::m_sDefaultQuorlenaJRMPPort = "4444";
const CString CSetupIcf::m_sDefaultQuorlenaGOSSIPPort = "5555";
const char* CSetupIcf::DefaultICFFileName() { return m_sDefaultFilename; }
