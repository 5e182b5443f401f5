// The setup information file SETUP.INF of a medium: a profile (INI) file, read only, that describes the product.
#ifndef INSTALIB_SETUP_INF_H
#define INSTALIB_SETUP_INF_H

#include "instalib/export.h"
#include "instalib/string.h"

// Each query reads the file anew and keeps its answer, which is given again without the file or for a missing or empty
// entry (0 or empty at first); GetProductType and GetProductSubType answer -1 then, also for a subtype not 0 to 5. Text
// pointers are valid until the same query is made again. Section and key names compare without regard to case; integers
// are read from leading decimal digits.
//
// Construction and SetKORsetupINFName make the file's directory the process's current directory, whether or not the
// file is there, so that the relative names in it resolve against the medium.
class INSTALIB_API CSetupInf {
  public:
    // The file's name, its sections and keys.
    static const CString m_sKORSETUP_INF, m_sComponents, m_sDataMigration, m_sOGTFrameWork,
        m_sOGTFrameWorkSetupFileName, m_sProductInfo, m_sProductName, m_sSetupFileName, m_sProdSubType, m_sProductType,
        m_sProdBuildNoRange, m_sSetup, m_sSupport, m_sIE5InstallFileName, m_sConfigFileName, m_sMsiInstallFileName,
        m_sMsmInstallFileName;

    // Looks for SETUP.INF beside the running program.
    CSetupInf();
    CSetupInf(const CSetupInf& other);
    CSetupInf& operator=(const CSetupInf& other);
    ~CSetupInf();

    // Switches to the file at `path`; null or empty: SETUP.INF beside the running program. Returns 1, found or not.
    int SetKORsetupINFName(const char* path);

    // The product type of the medium; -1 when the file or the entry is missing.
    int GetProductType();
    // 0 to 5; -1 when the file or the entry is missing or the value is another one.
    int GetProductSubType();

    // Nonzero when the medium has the data-migration component, or the management framework.
    int IsHSMAvailable();
    int IsOGTFWAvailable();

    // Texts as they stand in the file, the product name cut to 254 characters, file names to 260.
    const char* GetOGTFWSetupFileName();
    const char* GetSetupProductName();
    const char* GetSetupFileName();

    // Full paths, resolved against the current directory: "BIN\X.MSI" in D:\SETUP.INF gives "D:\BIN\X.MSI". A result of
    // more than 259 characters is not kept.
    const char* GetIE5InstallFileName();
    const char* GetConfigFileName();
    const char* GetMsiFileName();
    const char* GetMsmFileName();

    // The builds from which an update is allowed, at `key` of the section BuildNumber; only the first 9 characters
    // count: "120,350" gives 120 and 350, ",350" gives 0 and 350, "350" gives 350 and 350. Returns 1 when from is at
    // least 0 and to greater than 0, otherwise 0 with what was parsed (0 and 0 for a missing entry or file) in the
    // outputs.
    int GetUpdateBuildNoRange(const char* key, int* from, int* to);

  private:
    int FindFile();
    int ReadFlag(const char* key, int& cache);
    const char* ReadText(const char* section, const char* key, int length, CString& cache);
    const char* ReadPath(const char* key, CString& cache);

    CString m_sFilePath;
    int m_bHSMAvailable;
    int m_bOGTFWAvailable;
    CString m_sOGTFWSetupFile;
    CString m_sSupportProductName;
    CString m_sSupportSetupFile;
    int m_bExists;
    CString m_sIE5InstallFile;
    CString m_sConfigFile;
    CString m_sMsiFile;
    CString m_sMsmFile;
};

#endif
