#include "setupfiles/settings_initialization.h"

#include "changes/changing.h"
#include "instalib/command_line.h"
#include "instalib/computer.h"
#include "instalib/current_user.h"
#include "instalib/job_queue.h"
#include "instalib/path.h"
#include "instalib/probes.h"
#include "platform/handles.h"
#include "platform/platform.h"
#include "setupfiles/default_path.h"
#include "setupfiles/product_answers.h"

void CSettings::Initialize() { SettingsInitialization(*this).Run(); }

SettingsInitialization::SettingsInitialization(CSettings& settings)
    : m_settings(settings), m_answers(settings.BatchFile()) {}

void SettingsInitialization::Run() {
    ReadProduct();
    ReadOwner();
    FindMainProduct();
    if (IsServer()) FindAlert();
    if (IsMainServer()) FindQueueAndDatabase();
    if (IsServer() && !m_settings.m_bUninstall) FindNewerAlert();
    if (IsClientAgent()) FindClientAgent();
    if (m_settings.m_bUninstall) return ChooseRemovals();

    FindProgramFiles();
    FindUpgrade();
    CSetupInf medium;
    ReadSubType(medium);
    ReadComponentCode();
    if (IsServer()) {
        InitializeServer(medium);
    } else {
        InitializeClientAgent();
    }
    FindRemoteHost();
}

bool SettingsInitialization::IsMainServer() const {
    const LONG type = m_settings.m_lProductType;
    return type == 133 || type == 24 || type == 25;
}
bool SettingsInitialization::IsServer() const { return IsMainServer() || m_settings.m_lProductType == 105; }
bool SettingsInitialization::IsClientAgent() const {
    return m_settings.m_lProductType == 1027 || m_settings.m_lProductType == 62;
}
bool SettingsInitialization::HasAnswers() { return m_answers.Exists() && !m_settings.m_bIsCopyOnlyMode; }

// --- What every mode learns ----------------------------------------------------------------------------------------

void SettingsInitialization::ReadProduct() {
    m_settings.m_sProduct = ProductNameFromMap(m_settings.m_lProductType, m_settings.m_sProduct);
}

void SettingsInitialization::ReadOwner() {
    m_settings.RegisteredUser(m_registry.GetRegisteredOwner());
    m_settings.RegisteredCompany(m_registry.GetRegisteredOrganization());
}

void SettingsInitialization::FindMainProduct() {
    m_settings.KorvaultPath(m_registry.GetKorvaultHomeDir());
    m_settings.m_sCurrentKorvaultPath = m_settings.m_sKorvaultPath;
    m_settings.m_bKorvaultExists = !m_settings.m_sKorvaultPath.IsEmpty();
}

void SettingsInitialization::FindAlert() {
    m_settings.AlertPath(m_registry.GetAlertHomeDir());
    m_settings.m_sCurrentAlertPath = m_settings.m_sAlertPath;
    m_settings.m_bAlertExists = !m_settings.m_sAlertPath.IsEmpty();
    m_settings.m_bPhagrixExists = CHalvRegistry::PhagrixExists(nullptr);
}

void SettingsInitialization::FindQueueAndDatabase() {
    m_settings.m_bQueueExists = CJobQueue::QueueExists();
    const char* database = m_registry.GetKorvaultDBDir();
    m_settings.m_bDBExists = CComputer::PathExists(database) && !CComputer::PathEmpty(database, "KV*.DBD");
}

void SettingsInitialization::FindNewerAlert() {
    m_settings.m_bNewAlertExists = AlertBuildOfMedium() < m_registry.GetAlertBuildNumber();
}

void SettingsInitialization::FindClientAgent() {
    m_settings.ClientAgentPath(m_registry.GetClientAgentHomeDir());
    m_settings.m_sCurrentClientAgentPath = m_settings.m_sClientAgentPath;
    m_settings.m_bClientAgentExists = !m_settings.m_sClientAgentPath.IsEmpty();
}

// --- Uninstall mode ------------------------------------------------------------------------------------------------

void SettingsInitialization::ChooseRemovals() {
    if (!m_settings.m_sProduct.IsEmpty()) {
        const auto subType = static_cast<signed char>(m_registry.GetSubType(m_settings.m_sProduct));
        m_settings.m_nProductSubType = subType;
    }
    if (!IsServer()) return;
    m_settings.UninstallKorvault(1);
    m_settings.UninstallAlert(!m_settings.m_bPhagrixExists);  // the antivirus uses the alert component too
    m_settings.UninstallSQL(0);
    if (!m_settings.m_bBatchOperation) return;
    m_settings.UninstallKorvault(m_answers.UninstallKorvault());
    m_settings.UninstallAlert(m_answers.UninstallAlert() && !m_settings.m_bPhagrixExists);
}

// --- Install mode --------------------------------------------------------------------------------------------------

void SettingsInitialization::FindProgramFiles() {
    char path[_MAX_PATH + 1] = "";
    DWORD size = _MAX_PATH;
    if (KSetGetProgramFilesPath(path, &size, nullptr) == 0) m_programFiles = path;
    TrimTailBackSlash(m_programFiles);
    if (m_programFiles.IsEmpty()) m_programFiles.Format("%c:", CComputer::FindFirstHardDrive());
}

void SettingsInitialization::FindUpgrade() {
    const WORD version = m_registry.GetVersionNumber(m_settings.m_sProduct);
    m_settings.m_bIsUpgrade = version != 0 && version < 0x0606;
}

void SettingsInitialization::ReadSubType(CSetupInf& medium) {
    if (!m_settings.m_sSourcePath.IsEmpty()) {
        medium.SetKORsetupINFName(m_settings.m_sSourcePath + CSetupInf::m_sKORSETUP_INF);
    }
    m_settings.m_nProductSubType = medium.GetProductSubType();
}

void SettingsInitialization::ReadComponentCode() {
    m_settings.m_sComponentCode = ComponentCodeFromMap(
        m_settings.m_lProductType, static_cast<BYTE>(m_settings.m_nProductSubType), m_settings.m_sComponentCode);
}

void SettingsInitialization::InitializeServer(CSetupInf& medium) {
    ReadMedium(medium);
    ApplySubType();
    ReadSystemAccount();
    SelectStandardSet();
    if (HasAnswers()) {
        TakePathsFromAnswers();
        if (m_settings.m_bBatchOperation) TakeAnswers();
    }
    ChooseDefaultPaths();
}

void SettingsInitialization::ReadMedium(CSetupInf& medium) {
    m_settings.m_bHSMAvailable = medium.IsHSMAvailable();
    m_settings.m_bOGTFWAvailable = medium.IsOGTFWAvailable();
    m_settings.m_sOGTFWSetupFileName = medium.GetOGTFWSetupFileName();
    m_settings.m_sLaunchSetupProductName = medium.GetSetupProductName();
    m_settings.m_sLaunchSetupFileName = medium.GetSetupFileName();
}

void SettingsInitialization::ApplySubType() {
    const int subType = m_settings.m_nProductSubType;
    if (subType == 0 || subType == 3 || subType == 4) m_settings.m_bHSMAvailable = 0;
    if (subType >= 1 && subType <= 4) m_settings.m_bChangerAvailable = 1;
    if (subType == 1 || subType == 2) m_settings.m_bRAIDAvailable = 1;
}

void SettingsInitialization::ReadSystemAccount() {
    CCurrentUser user;
    m_settings.SystemAccountServer(CComputer().Name());
    m_settings.SystemAccountDomain(user.GetDomain());
    m_settings.SystemAccountName(user.GetUser());
}

void SettingsInitialization::SelectStandardSet() {
    m_settings.InstallManager(1);
    m_settings.InstallServer(1);
    m_settings.InstallAdmin(1);
    m_settings.InstallAlert(1);
    m_settings.InstallAV(1);
    m_settings.InstallHSM(m_settings.m_bHSMAvailable);
    m_settings.InstallOGT(m_settings.m_bOGTFWAvailable);
}

void SettingsInitialization::TakePathsFromAnswers() {
    if (m_settings.m_sKorvaultPath.IsEmpty()) m_settings.KorvaultPath(InProgramFiles(m_answers.KorvaultPath()));
    if (m_settings.m_sAlertPath.IsEmpty()) m_settings.AlertPath(InProgramFiles(m_answers.AlertPath()));
}

void SettingsInitialization::TakeAnswers() {
    m_settings.KorvaultPath(m_answers.KorvaultPath());
    m_settings.AlertPath(m_answers.AlertPath());
    m_settings.RegisteredUser(m_answers.FullName());
    m_settings.RegisteredCompany(m_answers.CompanyName());
    m_settings.SystemAccountDomain(m_answers.SystemAccountDomain());
    m_settings.SystemAccountName(m_answers.SystemAccountUser());
    m_settings.SystemAccountPassword(m_answers.SystemAccountPassword());
    m_settings.InstallManager(m_answers.InstallManager());
    m_settings.InstallServer(m_answers.InstallServer());
    m_settings.InstallAdmin(m_answers.InstallAdmin());
    m_settings.InstallAlert(m_answers.InstallAlert());
    m_settings.InstallAV(m_answers.InstallAV());
    if (!m_settings.m_bRemoteSetup && m_settings.m_bHSMAvailable) m_settings.InstallHSM(m_answers.InstallHSM());
    m_settings.InstallOGT(m_answers.InstallOGT());
    m_settings.InstallSQL(m_answers.SQLDB());
    m_settings.InstallRAIMA(!m_answers.SQLDB());
    m_settings.OverwriteDB(m_answers.OverwriteDB());
    m_settings.DeleteQueue(m_answers.OverwriteJobQueue());
    m_settings.m_bCustomSetup = 1;  // not by the setter, which would select the standard set for 0
}

void SettingsInitialization::ChooseDefaultPaths() {
    if (m_settings.m_sKorvaultPath.IsEmpty()) {
        m_settings.KorvaultPath(m_programFiles + FromFirstBackslash(CSetupIcf::DefaultKorvaultPath()));
    }
    if (m_settings.m_sAlertPath.IsEmpty()) {
        m_settings.AlertPath(m_programFiles + FromFirstBackslash(CSetupIcf::DefaultAlertPath()));
    }
}

void SettingsInitialization::InitializeClientAgent() {
    if (HasAnswers()) {
        if (m_settings.m_sClientAgentPath.IsEmpty()) {
            m_settings.ClientAgentPath(InProgramFiles(m_answers.ClientAgentPath()));
        }
        if (m_settings.m_bBatchOperation) m_settings.ClientAgentPath(m_answers.ClientAgentPath());
    }
    if (m_settings.m_sClientAgentPath.IsEmpty()) m_settings.ClientAgentPath(m_programFiles + "\\AGENT");
}

CString SettingsInitialization::InProgramFiles(const char* answeredPath) const {
    const CString component = LastPathComponent(answeredPath);
    return component.IsEmpty() ? component : m_programFiles + "\\" + component;
}

void SettingsInitialization::FindRemoteHost() {
    const CCommandLineMap commandLine(GetCommandLineA(), '-');
    if (commandLine.GetSwitch('r', m_settings.m_sRemoteHostServer, nullptr)) {
        m_settings.m_bRemoteSetup = 1;
        return;
    }
    char windows[_MAX_PATH + 1] = "";
    GetWindowsDirectoryA(windows, sizeof windows);
    CString marker(windows);
    AppendBackSlash(marker);
    marker += "HOST.INI";
    if (_access(marker, 0) != 0) return;
    m_settings.m_bRemoteSetup = 1;
    char host[16] = "";
    GetPrivateProfileStringA("HostServer", "Name", "", host, sizeof host, marker);
    if (*host != '\0') m_settings.m_sRemoteHostServer = host;
    changing::DeleteFileA(marker);
}
