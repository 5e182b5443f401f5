#include "instalib/settings.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "instalib/path.h"

const DWORD CSettings::INSTALL_MANAGER, CSettings::INSTALL_SERVER, CSettings::INSTALL_ADMIN, CSettings::INSTALL_ALERT,
    CSettings::INSTALL_HSM, CSettings::INSTALL_OGT, CSettings::INSTALL_AV, CSettings::UNINSTALL_KORVAULT,
    CSettings::UNINSTALL_ALERT, CSettings::INSTALL_SQL, CSettings::INSTALL_RAIMA, CSettings::UNINSTALL_SQL;

namespace {

// A field of the record, which may lack its terminator.
template <std::size_t Size>
CString FieldText(const char (&field)[Size]) {
    return CString(field, int(std::find(field, field + Size, '\0') - field));
}

CString DirectoryOf(const char* text) {
    CString path(text);
    AppendBackSlash(path);
    return path;
}

}  // namespace

CSettings::CSettings() { Construct(); }

CSettings::CSettings(tagSETUP_INFO* info, int uninstall) {
    Construct();
    m_bUninstall = uninstall;
    if (info == nullptr) return;
    m_sProfile = FieldText(info->profile);
    m_sTraceFile = FieldText(info->traceFile);
    m_sSourcePath = FieldText(info->sourcePath);
    m_sBatchFile = FieldText(info->batchFile);
    m_sMIFFile = FieldText(info->mifFile);
    m_sProgramGroupName = FieldText(info->programGroupName);
    m_sLogFile = FieldText(info->logFile);
    m_lProductType = info->productType;
    m_bIgnoreErrors = info->ignoreErrors;
    m_bTrace = info->trace;
    m_bBatchOperation = info->batchOperation;
    m_bMIF = info->mif;
    m_bConfigurationOnly = info->configurationOnly;
    m_bIsCopyOnlyMode = info->copyOnlyMode;

    m_sProductName = FieldText(info->productName);
    const int separator = m_sProductName.Find(" - ");
    m_sProductShortName = separator < 0 ? m_sProductName : m_sProductName.Left(separator);
    if (separator >= 0) m_sEditionName = m_sProductName.Mid(separator + 3);
}

CSettings::CSettings(const CSettings& other) = default;
CSettings& CSettings::operator=(const CSettings& other) = default;
CSettings& CSettings::operator=(CSettings& other) { return *this = std::as_const(other); }
CSettings::~CSettings() = default;

CSettings::Password::~Password() { Wipe(); }

CSettings::Password& CSettings::Password::operator=(const Password& other) {
    if (this == &other) return *this;
    Wipe();
    CString::operator=(other);
    return *this;
}

CSettings::Password& CSettings::Password::operator=(const char* text) {
    CString next(text);  // it may be the very text that is wiped
    Wipe();
    CString::operator=(std::move(next));
    return *this;
}

void CSettings::Construct() {
    m_dwComponents = 0;
    m_dwDatabases = INSTALL_RAIMA;
#define SETTINGS_NUMBER(Type, Name, field, builtIn) field = builtIn;
#define SETTINGS_NUMBER_SET SETTINGS_NUMBER
#define SETTINGS_TEXT(Name, field) field.Empty();
#define SETTINGS_TEXT_SET SETTINGS_TEXT
#define SETTINGS_PATH SETTINGS_TEXT
#define SETTINGS_BIT(...)
#define SETTINGS_BITS(...)
#include "setupfiles/settings_fields.def"
}

// Names for the sets of bits in a row.
static constexpr DWORD Asks(DWORD bits) { return bits; }
static constexpr DWORD Sets(DWORD bits) { return bits; }
static constexpr DWORD Clears(DWORD bits) { return bits; }

#define SETTINGS_NUMBER(Type, Name, field, builtIn) \
    Type Name() { return field; }
#define SETTINGS_NUMBER_SET(Type, Name, field, builtIn) \
    SETTINGS_NUMBER(Type, Name, field, builtIn)         \
    void Name(Type value) { field = value; }
#define SETTINGS_TEXT(Name, field) \
    const char* Name() { return field; }
#define SETTINGS_TEXT_SET(Name, field) \
    SETTINGS_TEXT(Name, field)         \
    void Name(const char* text) { field = text; }
#define SETTINGS_PATH(Name, field) \
    SETTINGS_TEXT(Name, field)     \
    void Name(const char* path) { field = DirectoryOf(path); }
#define SETTINGS_BIT(Name, Mask, bit) SETTINGS_BITS(true, Name, Mask, bit, bit, bit)
#define SETTINGS_BITS(condition, Name, Mask, asked, set, cleared)       \
    int Name() { return (m_dw##Mask##s & (asked)) == (asked) ? 1 : 0; } \
    void Name(int chosen) {                                             \
        if (chosen != 0 && (condition))                                 \
            Add##Mask(set);                                             \
        else                                                            \
            Remove##Mask(cleared);                                      \
    }
#include "setupfiles/settings_fields.def"

void CSettings::CustomSetup(int custom) {
    m_bCustomSetup = custom;
    if (custom != 0) return;
    InstallServer(1);
    InstallManager(1);
    InstallAlert(1);
    InstallAdmin(1);
    InstallHSM(m_bHSMAvailable);
    InstallOGT(m_bOGTFWAvailable);
}

int CSettings::ExpressSetup() { return m_bCustomSetup == 0 ? 1 : 0; }

void CSettings::Abort() { m_bAborted = 1; }

int CSettings::InstallKorvault() { return InstallManager() || InstallServer() || InstallAdmin(); }

int CSettings::NewKorvaultInstall() {
    return m_bKorvaultExists == 0 || std::strcmp(m_sCurrentKorvaultPath, m_sKorvaultPath) != 0;
}

int CSettings::NewAlertInstall() { return m_bAlertExists == 0 || std::strcmp(m_sCurrentAlertPath, m_sAlertPath) != 0; }

DWORD CSettings::DiskSpaceNeeded() {
    if (m_dwComponents == 0) return 0;
    DWORD needed = 9800;
    if (InstallManager()) needed += 13000;
    if (InstallServer()) needed += 12300;
    if (InstallAdmin()) needed += 700;
    if (InstallAlert()) needed += 2000;
    return needed;
}

void CSettings::AddComponent(DWORD bits) { m_dwComponents |= bits; }
void CSettings::RemoveComponent(DWORD bits) { m_dwComponents &= ~bits; }
void CSettings::AddDatabase(DWORD bits) { m_dwDatabases |= bits; }
void CSettings::RemoveDatabase(DWORD bits) { m_dwDatabases &= ~bits; }
