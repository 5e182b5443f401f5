#include "instalib/setup_inf.h"

#include <cstdlib>

#include "platform/platform.h"
#include "setupfiles/program_folder.h"

const CString CSetupInf::m_sKORSETUP_INF = "SETUP.INF";
const CString CSetupInf::m_sComponents = "Components";
const CString CSetupInf::m_sDataMigration = "DataMigration";
const CString CSetupInf::m_sOGTFrameWork = "OGTFrameWork";
const CString CSetupInf::m_sOGTFrameWorkSetupFileName = "OGTFrameWorkSetupFileName";
const CString CSetupInf::m_sProductInfo = "ProductInfo";
const CString CSetupInf::m_sProductName = "ProductName";
const CString CSetupInf::m_sSetupFileName = "SetupFileName";
const CString CSetupInf::m_sProdSubType = "ProdSubType";
const CString CSetupInf::m_sProductType = "ProductType";
const CString CSetupInf::m_sProdBuildNoRange = "BuildNumber";
const CString CSetupInf::m_sSetup = "Setup";
const CString CSetupInf::m_sSupport = "Support";
const CString CSetupInf::m_sIE5InstallFileName = "OV_IE5InstallFileName";
const CString CSetupInf::m_sConfigFileName = "ConfigFile";
const CString CSetupInf::m_sMsiInstallFileName = "MSISetup";
const CString CSetupInf::m_sMsmInstallFileName = "MSMSetup";

namespace {

constexpr int kProductNameLength = 254;
constexpr int kFileNameLength = 260;
constexpr int kBuildRangeLength = 9;

}  // namespace

CSetupInf::CSetupInf() : m_bHSMAvailable(0), m_bOGTFWAvailable(0), m_bExists(FindFile()) {}
CSetupInf::CSetupInf(const CSetupInf& other) = default;
CSetupInf& CSetupInf::operator=(const CSetupInf& other) = default;
CSetupInf::~CSetupInf() = default;

int CSetupInf::SetKORsetupINFName(const char* path) {
    m_sFilePath = path;
    m_bExists = FindFile();
    return 1;
}

int CSetupInf::FindFile() {
    if (m_sFilePath.IsEmpty()) m_sFilePath = ProgramFolder() + m_sKORSETUP_INF;
    // A relative path would mean another file once its directory is the current one.
    char path[_MAX_PATH] = "";
    if (_fullpath(path, m_sFilePath, sizeof path) != nullptr) m_sFilePath = path;
    SetCurrentDirectoryA(FolderOf(m_sFilePath));
    return _access(m_sFilePath, 0) == 0 ? 1 : 0;
}

int CSetupInf::GetProductType() {
    return m_bExists != 0 ? int(GetPrivateProfileIntA(m_sSetup, m_sProductType, -1, m_sFilePath)) : -1;
}

int CSetupInf::GetProductSubType() {
    if (m_bExists == 0) return -1;
    const int subType = int(GetPrivateProfileIntA(m_sSetup, m_sProdSubType, -1, m_sFilePath));
    return subType >= 0 && subType <= 5 ? subType : -1;
}

int CSetupInf::ReadFlag(const char* key, int& cache) {
    if (m_bExists != 0) cache = int(GetPrivateProfileIntA(m_sComponents, key, 0, m_sFilePath));
    return cache;
}

const char* CSetupInf::ReadText(const char* section, const char* key, int length, CString& cache) {
    char text[kFileNameLength + 1] = "";
    if (m_bExists != 0 && GetPrivateProfileStringA(section, key, "", text, DWORD(length) + 1, m_sFilePath) != 0) {
        cache = text;
    }
    return cache;
}

const char* CSetupInf::ReadPath(const char* key, CString& cache) {
    CString text;
    char path[_MAX_PATH] = "";
    if (*ReadText(m_sComponents, key, kFileNameLength, text) != '\0' && _fullpath(path, text, sizeof path) != nullptr) {
        cache = path;
    }
    return cache;
}

int CSetupInf::IsHSMAvailable() { return ReadFlag(m_sDataMigration, m_bHSMAvailable); }
int CSetupInf::IsOGTFWAvailable() { return ReadFlag(m_sOGTFrameWork, m_bOGTFWAvailable); }

const char* CSetupInf::GetOGTFWSetupFileName() {
    return ReadText(m_sComponents, m_sOGTFrameWorkSetupFileName, kFileNameLength, m_sOGTFWSetupFile);
}
const char* CSetupInf::GetSetupProductName() {
    return ReadText(m_sSupport, m_sProductName, kProductNameLength, m_sSupportProductName);
}
const char* CSetupInf::GetSetupFileName() {
    return ReadText(m_sSupport, m_sSetupFileName, kFileNameLength, m_sSupportSetupFile);
}

const char* CSetupInf::GetIE5InstallFileName() { return ReadPath(m_sIE5InstallFileName, m_sIE5InstallFile); }
const char* CSetupInf::GetConfigFileName() { return ReadPath(m_sConfigFileName, m_sConfigFile); }
const char* CSetupInf::GetMsiFileName() { return ReadPath(m_sMsiInstallFileName, m_sMsiFile); }
const char* CSetupInf::GetMsmFileName() { return ReadPath(m_sMsmInstallFileName, m_sMsmFile); }

int CSetupInf::GetUpdateBuildNoRange(const char* key, int* from, int* to) {
    if (from == nullptr || to == nullptr) return 0;
    *from = *to = 0;
    if (key == nullptr) return 0;
    CString range;
    ReadText(m_sProdBuildNoRange, key, kBuildRangeLength, range);
    if (range.IsEmpty()) return 0;
    const int comma = range.Find(',');
    *from = std::atoi(comma < 0 ? range : range.Left(comma));
    *to = comma < 0 ? *from : std::atoi(range.Mid(comma + 1));
    return *from >= 0 && *to > 0 ? 1 : 0;
}
