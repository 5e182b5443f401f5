// CHalvRegistry: everything that a setup of the product family writes to, reads from and removes from the registry.
#ifndef INSTALIB_REGISTRY_H
#define INSTALIB_REGISTRY_H

#include "instalib/export.h"
#include "instalib/product_record.h"
#include "instalib/settings.h"
#include "instalib/string.h"
#include "instalib/windows_types.h"

class CSetupInf;

// What holds for the whole class:
// - Results are 1 for success and 0 for failure unless a line says otherwise, and on failure the thread's last error
//   is that of the call that failed (ERROR_INVALID_PARAMETER for a null text or buffer, ERROR_ACCESS_DENIED for an
//   object that may not write). A search over several keys leaves the error of its last attempt. Nothing is raised,
//   nothing is logged unless said.
// - Reads use the handle given (a null handle means HKEY_LOCAL_MACHINE in static operations) or the object's own,
//   which stands for the local or the remote machine's HKEY_LOCAL_MACHINE. Of an object whose connection failed,
//   every read fails.
// - Writes and removals always go to the local machine, and create the key they need. Removals without a result say
//   nothing of failures.
// - "Base" is m_sKorvaultBaseKey; directories are stored as given. Text is written with its terminator counted.
// - Text getters return the object's own copy: valid until the next call of the same getter (GetRegisteredOwner and
//   GetKorvaultUserName share one), and the old text when nothing was found. Buffer getters take the buffer's size in
//   bytes and return the text's size in bytes, terminator included; the buffer is always terminated, and empty after a
//   failure. A value that is no text or does not fit with its terminator is not found.
// - The readers of settings values (GetRegisteredOwner to GetAgentHomeDir) with a buffer: when no place has a value that
//   can be returned and one has it too long for the buffer, the last error is ERROR_MORE_DATA and the size is what the
//   first such value needs, terminator included, also for one stored without it.
// - What lets a search go on is the same for every failure: one denied read lets a look-up answer for an older
//   generation. Whoever acts on the answer looks first whether the newer one is there (CJobQueue::DeleteQueue does).
// - Operations that need the family's root before any object exists construct one first. Not for concurrent use: the
//   eight names that every construction fills anew are shared by the whole process.
class INSTALIB_API CHalvRegistry {
  public:
    // -- Fixed texts -----------------------------------------------------------------------------------------------
    // Keys of Windows, under HKEY_LOCAL_MACHINE.
    static const CString m_sSNMPExtensionAgentsKey, m_sEventLogKey, m_sEnvironmentKey, m_sMicrosoftKey,
        m_sProfileListKey, m_sSoftwareKey, m_sShellExtApprovedKey, m_sUninstallKey, m_sSharedDLLKey, m_sPhagrixKey;

    // Keys and ids of the product generations.
    static const CString m_sAlertKey, m_sQMCKey, m_sOldHalvenorKey, m_sOldKorvaultKey, m_sOldKorvaultBaseKey,
        m_sOldProductsKey, m_sOldAgentKey, m_sOldKorVaultKey, m_sOldKorvaultITKey, m_sOldKorvaultBaseKeyKorvault,
        m_sOldKorVaultITProductsKey, m_sOldKorvaultITAgentKey, m_sZEBKey, m_sZEBBaseKey, m_sZEBProductsKey,
        m_sZEBAgentKey, m_sZKBKey, m_sZKBBaseKey, m_sZKBProductsKey, m_sZKBAgentKey, m_sKorVaultITRootKey,
        m_sSarvexRootKey, m_sZKBRootKey, m_sKorvaultOld, m_sProductKorvaultOld, m_sProductZEB, m_sProductZKB;

    // Subkeys, each with its leading backslash; value names; leaves.
    static const CString m_sPathSubKey, m_sDomainSubKey, m_sComponentsSubKey, m_sUserSubKey, m_sDatabaseSubKey,
        m_sSNMPSubKey, m_sOldComponentsSubKey, m_sOldPathSubKey, m_sALERT, m_sHalvenor, m_sProducts, m_sOldProducts,
        m_sReactivon, m_sPath, m_sPathname, m_sProfileImagePath, m_sDisplayName, m_sUninstallString,
        m_sKorvaultUninstallKey, m_sDaemonSize, m_sPruningFlag, m_sDelayFlag, m_sPruningDays, m_sPruningTime,
        m_sThreadingModel, m_sAlert, m_sHome, m_sDatabase, m_sLog, m_sTemp, m_sManager, m_sServer, m_sAdmin, m_sSponsor,
        m_sCPManager, m_sDRWiz, m_sSANWiz, m_sRegisteredName, m_sRegisteredOrg, m_sDatabaseType,
        m_sRegisteredOrganization, m_sRegisteredOwner, m_sCurrentBuildNumber, m_sCurrentBuild, m_sInstallDate,
        m_sControl, m_sEventLog, m_sRegisteredCompany, m_sRegisteredLocation, m_sEventMessageFile, m_sTypesSupported;

    // Shell extension: descriptions, then keys under HKEY_CLASSES_ROOT.
    static const CString m_sKorvaultShellExtension, m_sKorvaultShellExtensionOld, m_sKorvaultShellExtensionCLSID,
        m_sKorvaultShellExtensionCLSIDKey, m_sKorvaultShellExtensionInProcServerKey, m_sDrivePropertySheetHandler,
        m_sDriveMenuHandler, m_sDirMenuHandler, m_sAllMenuHandler, m_sKorvaultScriptExtension, m_sKorvaultScriptFile,
        m_sKorvaultScriptDefaultIcon, m_sKorvaultScriptFileShellExtension, m_sKorvaultScriptIconHandler,
        m_sKorvaultScriptPropertySheetHandler, m_sKorvaultScriptMenuHandler, m_sKorvaultScriptPropertySheetHandlerCLSID,
        m_sKorvaultScriptMenuHandlerCLSID;

    // Filled by every construction, for all objects of the process; empty before the first.
    static CString m_sHalvenorKey;        // vendor root
    static CString m_sKorvaultKey;        // root of the current family
    static CString m_sKorvaultBaseKey;    // its base key
    static CString m_sProductsKey;        // its registration records
    static CString m_sAgentKey;           // its client agent
    static CString m_sKorvault;           // last component of the root
    static CString m_sZephraniteProdKey;  // the same, taken from the products key
    static CString m_sProductKorvault;    // product id: the value name of the main product's record

    // -- Objects ---------------------------------------------------------------------------------------------------

    // An object that reads: the local machine when `machine` is null, empty or the computer's own name in any case,
    // else a connection to that machine. With `bLoad` nonzero it fills its caches by Read at once. It has built-in
    // settings and its Write and Delete refuse. Every construction chooses the family's root anew: HSTOOL.DLL
    // (current directory, then the normal search) may name the roots, else the built-in ones stand; one that is
    // missing is logged to the settings' log file. A name that the library leaves empty counts as not named; trailing
    // backslashes of a name are dropped. The product id comes from BRAND.dll ("ZephraniteCB" without it); with a zero
    // flag it is "ZephraniteEB" when the settings' product subtype is 2, else "ZephraniteCB".
    CHalvRegistry(int bLoad = 1, char* machine = nullptr);
    // An object that writes what its copy of the settings says; with `bWrite` nonzero it calls Write at once. Reads
    // go to `machine` as above.
    CHalvRegistry(CSettings& settings, int bWrite, char* machine);
    // A copy of an object with a connection opens one of its own to the same machine; when that fails, its reads
    // fail.
    CHalvRegistry(const CHalvRegistry& other);
    CHalvRegistry& operator=(CHalvRegistry& other);
    CHalvRegistry& operator=(const CHalvRegistry& other);
    // Closes a connection, and for another machine ends the network connection to its "ipc$" share, whoever made it.
    ~CHalvRegistry();

    // Fills the caches of all getters without a name; always 1. The alert build is the local machine's. From then on
    // the settings-driven setters are open to the object, and Write, Delete and DeleteDynamicKey closed.
    int Read();
    // Writes the product's values from the settings, every step whatever the others gave; 1 when all succeeded.
    // Writes nothing and gives 1 unless the product type is 133 or 105. Needs an object built from settings and not
    // Read.
    int Write();
    // Removes the product's branches and, when they have become empty, the family's and the vendor's roots; always 1
    // for an object built from settings and not Read.
    int Delete();

    static const char* OldHalvenorKey();
    static const char* OldKorvaultKey();
    static const char* OldKorvaultBaseKey();
    static const char* OldProductsKey();
    static const char* OldAgentKey();
    static const char* GetKorvaultKey();
    static const char* GetKorvaultBaseKey();
    static const char* GetZephraniteProdName();     // m_sProductKorvault
    static const char* GetZephraniteProdKey();      // m_sKorvault
    static const char* GetZephraniteProdRootKey();  // m_sZephraniteProdKey
    static const char* GetKorVaultITRootKey();
    static const char* GetSarvexRootKey();
    static const char* GetZKBRootKey();
    // The 32-bit view's form of a path: "SOFTWARE\\A\\B" gives "SOFTWARE\\Wow6432Node\\A\\B".
    static CString Wow6432Node(CString path);

    // -- Registration records --------------------------------------------------------------------------------------

    // Stores the 49 bytes as REG_BINARY under m_sProductsKey, or below m_sQMCKey.
    static int RegisterProduct(const char* name, tagProductStruct* rec);
    static int RegisterProduct_QMC(const char* name, tagProductStruct* rec);
    // Drops the record; with the last value goes the products key. The third drops it from the former vendor's
    // products.
    static void UnregisterProduct(const char* name);
    static void UnregisterProduct_QMC(const char* name);
    void UnregisterHalvenorProduct(const char* name);
    // Keeps the installed record when it is older than `major`.`minor`: below "OldProducts" when older than 6.6, else
    // below "OVOldProducts"; then drops it from the former vendor's products. 0 when there is none, it is not older,
    // or a write failed.
    int SavePerviousRegisterProduct(const char* name, WORD major, WORD minor);

    // The record of a product from the current family and all older ones, on a remote 64-bit machine first from their
    // 32-bit views. A null `key` is the object's handle. A stored record shorter than 49 bytes fills its own length
    // and leaves the rest; a longer one or a value that is no REG_BINARY is not found. `rec` is left alone on
    // failure.
    int GetProductInfo(const char* name, tagProductStruct* rec, HKEY key);
    int GetProductInfo_QMC(const char* name, tagProductStruct* rec, HKEY key);
    // The main product's record, under each generation's own product id; last the 32-bit view of the current family.
    static int GetKorvaultProductInfo(tagProductStruct* rec, HKEY key);
    // The same through the object's handle; the record last found, zeros before the first.
    tagProductStruct GetKorvaultProductInfo();

    int IsKorvaultInstalled();
    int IsProductInstalled(const char* name, HKEY key);
    int IsProductInstalled(const char* name);
    int IsProductInstalled(const char* name, WORD major, WORD minor);  // exactly this version
    int IsProductInstalled_QMC(const char* name, HKEY key);

    // Fields of the main product's record, then of a named product's. Without a record the value last found.
    DWORD GetKorvaultUserLevel();
    DWORD GetKorvaultProductCode();
    WORD GetKorvaultVersionNumber();
    WORD GetKorvaultBuildNumber();
    char GetKorvaultSubType();
    DWORD GetProductCode(const char* name);
    WORD GetVersionNumber(const char* name);
    WORD GetVersionNumber_QMC(const char* name);
    WORD GetBuildNumber(const char* name);
    WORD GetBuildNumber_QMC(const char* name);
    char GetSubType(const char* name);

    // 1 when the installed build of `name` lies in the range that the information file allows under `key`. The first
    // form uses the file beside the running program, whose directory becomes the current one.
    int AllowProductUpdate(const char* name, const char* key);
    int AllowProductUpdate(const char* name, const char* key, CSetupInf inf);

    // Enters the product, by name and component code, in the list that the vendor's other products read, unless its
    // subtype is 0 or 1. Always 1. The two texts are stored without a terminator.
    int SetOVITProduct();

    // 1 when the component's value is the REG_DWORD 1 under the first generation that has it. The former vendor's
    // keys are not asked.
    static int IsKorvaultComponentInstalled(const char* component, HKEY key);
    static int IsKorvaultServerInstalled(HKEY key);
    static int IsKorvaultManagerInstalled(HKEY key);
    static int IsKorvaultAdminInstalled(HKEY key);
    static int IsKorvaultSponsorInstalled(HKEY key);
    static int IsKorvaultCPMInstalled(HKEY key);
    static int IsDRWizInstalled(HKEY key);
    static int IsSANWizInstalled(HKEY key);
    int IsKorvaultServerInstalled();
    int IsKorvaultManagerInstalled();
    int IsKorvaultAdminInstalled();
    int IsKorvaultSponsorInstalled();
    int IsKorvaultCPMInstalled();
    int IsDRWizInstalled();
    int IsSANWizInstalled();
    // 1 when an uninstall entry of the feature opens below `key` (a null key opens none), or, for HKEY_LOCAL_MACHINE,
    // the Windows Installer knows it as installed.
    static int IsKorvaultFeatureSponsorInstalled(HKEY key);
    int IsKorvaultFeatureSponsorInstalled();
    // 1 when the Windows directory holds an "*.ALT" file other than "KORVAULT.ALT". `key` is not used.
    static int PhagrixExists(HKEY key);
    // The alert service's build number, decimal; *build is 0 after a failure. The second form caches it.
    static int GetAlertBuildNumber(WORD* build, HKEY key);
    DWORD GetAlertBuildNumber();

    // -- Settings values: static writers ---------------------------------------------------------------------------

    // Base\Path, Base\User
    static int SetKorvaultHomeDir(const char* directory);
    static int SetKorvaultDBDir(const char* directory);
    static int SetKorvaultLogDir(const char* directory);
    static int SetKorvaultTempDir(const char* directory);
    static int SetKorvaultUser(const char* user);
    static int SetKorvaultCompany(const char* company);
    // Base\Components: 1 for a nonzero flag, else 0
    static int SetKorvaultManager(int installed);
    static int SetKorvaultServer(int installed);
    static int SetKorvaultAdmin(int installed);
    // Base\Database. The flag's form stores type 2 when nonzero, else 1; the others store the number as given.
    static int SetKorvaultDatabase(int flag);
    static int SetKorvaultDatabase(DWORD type);
    static int SetBackupDaemonBufferSize(DWORD size);
    static int SetDatabasePruning(DWORD value);
    static int SetDelayPruning(DWORD value);
    static int SetPruningDays(DWORD days);
    static int SetPruningTime(DWORD time);
    // m_sAgentKey
    static int SetAgentHomeDir(const char* directory);
    // m_sAlertKey, its Path and its User; the install date is in seconds since 1970-01-01 UTC
    static int SetAlertCurrentBuild(const char* text);
    static int SetAlertCurrentBuildNumber(const char* text);
    static int SetAlertInstallDate(DWORD seconds);
    static int SetAlertRegisteredOwner(const char* owner);
    static int SetAlertRegisteredOrganization(const char* organization);
    static int SetAlertHomeDir(const char* directory);
    static int SetAlertLogDir(const char* directory);
    static int SetAlertControlDir(const char* directory);
    static int SetAlertEventLogDir(const char* directory);
    static int SetAlertCompany(const char* company);
    static int SetAlertLocation(const char* location);
    // An event source of the application log: its message file and EVENTLOG_*_TYPE bits. Both are tried; 1 when both
    // are set.
    static int SetEventLogApplication(const char* source, const char* messageFile, DWORD types);
    // The machine's environment is written, the current user's read. Running programs are not told.
    static int SetEnvironmentVariableA(const char* name, const char* value);
    static int GetEnvironmentVariableA(const char* name, char* buffer, DWORD* size);
    static int DeleteEnvironmentVariable(const char* name);

    // -- Settings values: from the object's settings ------------------------------------------------------------------
    // 0 and nothing written unless the object may write.

    // Creates or updates the system account through HSTOOL.DLL (a failure is logged and does not change the result),
    // then stores the registered user. Without a system account nothing is written and the result is 1.
    int SetKorvaultUser();
    int SetKorvaultCompany();
    int SetKorvaultHomeDir();  // stored without the final backslash
    int SetKorvaultDBDir();
    int SetKorvaultLogDir();
    int SetKorvaultTempDir();
    int SetKorvaultManager();
    int SetKorvaultServer();
    int SetKorvaultAdmin();
    int SetKorvaultDatabase();              // with "CATPATH" of the machine's environment
    int SetKorvaultEnvironmentVariables();  // "LNNAME", then "RNNAME"
    int SetClientAgentHomeDir();            // stored without one final backslash
    int SetAlertCurrentBuild();             // the local date of ALERT.EXE in the locale's form; 0 without the file
    int SetAlertCurrentBuildNumber();       // what ALERTVER.DLL of the alert directory tells, empty without it
    int SetAlertInstallDate();              // now
    int SetAlertRegisteredOwner();
    int SetAlertRegisteredOrganization();
    int SetAlertHomeDir();  // stored without the final backslash
    int SetAlertLogDir();
    int SetAlertControlDir();  // the Windows directory
    int SetAlertEventLogDir();
    int SetAlertCompany();
    int SetAlertLocation();  // the company
    int SetAlertEventLog();

    // -- Settings values: readers ----------------------------------------------------------------------------------

    // Windows' own registered owner and organisation.
    static int GetRegisteredOwner(char* buffer, DWORD* size, HKEY key);
    static int GetRegisteredOrganization(char* buffer, DWORD* size, HKEY key);
    // The current family's, or the former vendor's when the current family has no user key at all.
    static int GetKorvaultUserName(char* buffer, DWORD* size, HKEY key);
    static int GetKorvaultOrganization(char* buffer, DWORD* size, HKEY key);
    // The first generation's that has the value; for the home directory last the current family's 32-bit view.
    static int GetKorvaultHomeDir(char* buffer, DWORD* size, HKEY key);
    static int GetKorvaultDBDir(char* buffer, DWORD* size, HKEY key);
    static int GetKorvaultLogDir(char* buffer, DWORD* size, HKEY key);
    static int GetKorvaultTempDir(char* buffer, DWORD* size, HKEY key);
    static int GetAlertHomeDir(char* buffer, DWORD* size, HKEY key);
    static int GetAgentHomeDir(char* buffer, DWORD* size, HKEY key);
    // The directory of a database agent's "dll", without the final backslash, from the first key beside the agent's
    // whose name contains the agent's. `agent` is a path below the current family's root, or with `current` 0 below
    // one of the older roots. Empty and still 1 when the agent names no file; *size is then left as it was.
    static int GetDBAgentHomeDir(CString agent, char* dir, DWORD* size, int current, HKEY key);
    // The same through the object's handle. Owner and user name share one text, and so do the two organisations. At
    // most 260 characters.
    const char* GetRegisteredOwner();
    const char* GetRegisteredOrganization();
    const char* GetKorvaultUserName();
    const char* GetKorvaultOrganization();
    const char* GetKorvaultHomeDir();
    const char* GetKorvaultDBDir();
    const char* GetKorvaultLogDir();
    const char* GetKorvaultTempDir();
    const char* GetAlertHomeDir();
    const char* GetClientAgentHomeDir();

    // -- Shell, uninstall entry, SNMP agent, shared libraries --------------------------------------------------------

    // Registers KSHELL.DLL of the directory and the script file type ".asx"; entries that cannot be made are skipped: 1.
    // Before Windows NT 4.0 nothing is done, 1. 0 for a null directory, and with its error when Windows does not tell
    // its version. The shell is not notified.
    static int SetKorvaultShellExtension(const char* directory);
    int SetKorvaultShellExtension();  // 0 unless the object may write
    // Removes the entries; the ".asx" key itself stays. `directory` is not used.
    static void DeleteKorvaultShellExtension(const char* directory);
    int DeleteKorvaultShellExtension();  // 0 unless the object may write, else 1
    // The entry `name` of the list of installed programs; 1 and nothing done before Windows NT 4.0, 0 when Windows does
    // not tell its version. An empty name is refused.
    static int CreateUninstallKey(const char* name, const char* displayName, const char* uninstallString);
    static void DeleteUninstallKey(const char* name);
    int CreateKorvaultUninstallKey();  // "KorvaultNT"
    void DeleteKorvaultUninstallKey();
    // Announces the agent whose own key is `agentKey` (without hive) to the SNMP service under the next free number,
    // once.
    static int SetSNMPRegistry(const char* agentKey);
    // Withdraws it, with the SNMP service stopped meanwhile and started afterwards; 1 when it was not announced, 0
    // when a value could not be deleted.
    static int DeleteSNMPRegistry(const char* agentKey);
    static int SetKorvaultSNMPPath(const char* agentLibrary);
    int CreateKorvaultSNMPKey();
    int DeleteKorvaultSNMPKey();
    // How many products use the file `path`: a missing count becomes 1; a present one goes up unless `keepExisting`.
    // Counts are changed under a lock between processes, so that none is lost.
    static int IncrementSharedDLLCount(const char* path, int keepExisting);
    // The count after one user has gone; at 0 the value is deleted. 0 also for a file without a count, or when the
    // counts cannot be opened. When the lower count cannot be written it is returned all the same, and a count that
    // cannot be read (of another type, or denied) gives 1: the file is still in use. The last error tells.
    static DWORD DecrementSharedDLLCount(const char* path);
    // Points the database agent's RPC service to `imagePath` when that file exists and the service has another path.
    static void UpdateRPCImagePath(CString imagePath);

    // -- Branches and keys -------------------------------------------------------------------------------------------

    // Removes everything below `path` under `key`, not `path` itself and not its values. 1 also when there is no such
    // key; 0 at the first key that cannot be removed, and for an empty path, which would be the whole of `key`.
    static int DeleteSubKeys(HKEY key, const char* path);
    // The family's and the vendor's root: emptied first when `all`, else removed only when nothing is left below.
    static void DeleteKorvaultBranch(int all);
    static void DeleteHalvenorBranch(int all);
    void DeleteKorvaultBaseBranch();
    static void DeleteReactivonBranch();
    void DeleteAlertBranch();
    void DeleteOVITProductBranch();  // the list itself stays
    // The copies of the product's and the vendor's branch under HKEY_CURRENT_USER and below every entry of the
    // profile list.
    void DeleteKorvaultUserBranches();
    void DeleteHalvenorUserBranches(int all);
    // Keys below the vendor's (Halvenor) and the family's (Korvault) root; `sub` with or without a leading backslash.
    // Removal takes the key with its contents, and refuses an empty `sub`.
    static int AddHalvenorKey(CString sub);
    static int AddKorvaultKey(CString sub);
    static void DeleteHalvenorKey(CString sub);
    static void DeleteKorvaultKey(CString sub);
    // Values of an existing key, as RegSetValueExA and RegQueryValueExA take and give them. The first query also
    // looks below the former vendor's root.
    static int SetHalvenorKeyValue(CString sub, CString name, DWORD type, BYTE* data, DWORD size);
    static int SetKorvaultKeyValue(CString sub, CString name, DWORD type, BYTE* data, DWORD size);
    static int QueryHalvenorKeyValue(CString sub, CString name, DWORD* type, BYTE* data, DWORD* size, HKEY key);
    static int QueryKorvaultKeyValue(CString sub, CString name, DWORD* type, BYTE* data, DWORD* size, HKEY key);
    // A key below the former vendor's root with its contents, then that root when nothing is left below it.
    static void DeleteOldKorvaultKey(CString sub);
    // `agent` is a path below the family's root (`current` nonzero) or the former vendor's; its last component, which
    // must not be empty, is the agent's name, and the keys beside it are the other agents. 1 and the directory of its
    // "dll" when another agent is there ("dbaxchg2" never counts), else 0 and `dir` untouched.
    static int ExistOther_DBAgents(CString agent, int current, CString& dir);
    // Removes every key beside the agent's whose name contains the agent's; with "dbaxchg2" also "dbaexch".
    static void DeleteAgentSubKeys(CString agent, int current);
    // Keeps, and drops, the former vendor's record of the product being installed (CSettings::Product) for its
    // upgrade.
    void CreateOldProdDscrpt();
    void DeleteOldProdDscrpt();
    // Removes at uninstall what the product's programs have written at run time; the base key itself and what other
    // products keep stay. Needs an object built from settings and not Read.
    int DeleteDynamicKey();

    // -- Access rights of an open key --------------------------------------------------------------------------------

    // Replaces the key's access list: everyone reads, administrators and backup operators have full control,
    // inherited by subkeys; nothing comes from the parent. `view32` nonzero for a key of the 32-bit view. 0 for a
    // null key; the old list stays on failure.
    static int AddAccessPermissionOnRegistryKey(HKEY key, int view32);
    // The effective rights of the built-in group S-1-5-32-`rid` on the key. `mask` is untouched for a null key.
    static int GetBuiltinDomainAccessMaskOnKey(HKEY key, DWORD rid, DWORD& mask);

  protected:
    void Construct(char* machine, int bLoad);

    DWORD m_dwAccess;  // 0 as constructed to read, 0x20006 (KEY_WRITE) from settings; Read adds 0x20019 (KEY_READ)
    CString m_sOrganization;
    CString m_sUserName;
    CString m_sHomeDir;
    CString m_sDBDir;
    CString m_sLogDir;
    CString m_sTempDir;
    CString m_sAlertHomeDir;
    CString m_sClientAgentHomeDir;
    DWORD m_dwUserLevel;
    DWORD m_dwProductCode;
    WORD m_wVersion;
    WORD m_wBuild;
    DWORD m_dwNamedProductCode;
    WORD m_wNamedVersion;
    WORD m_wNamedBuild;
    WORD m_wAlertBuild;
    CSettings m_Settings;
    HKEY m_hKey;  // null after a failed connection
    tagProductStruct m_ProductInfo;
    char m_cSubType;
    char m_cNamedSubType;
    CString m_sMachine;

  private:
    int MayWrite() const;
    int WritesWhole() const;
    void Connect();
    void Disconnect();
    void CopyCaches(const CHalvRegistry& other);
    int CreateSystemAccount();
};

// The alert service's home directory, as CHalvRegistry::GetAlertHomeDir, for callers that hold no registry object.
INSTALIB_API int GetAlertPath(char* buffer, DWORD* size, HKEY root);

#endif
