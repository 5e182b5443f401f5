// The whole product at once: written from the settings, removed again. The order of the steps is part of the contract.
#include "registry/family_keys.h"

using namespace registry;

namespace {

using Step = int (CHalvRegistry::*)();

constexpr Step kIdentitySteps[] = {
    &CHalvRegistry::SetKorvaultUser,   &CHalvRegistry::SetKorvaultCompany, &CHalvRegistry::SetKorvaultHomeDir,
    &CHalvRegistry::SetKorvaultLogDir, &CHalvRegistry::SetKorvaultTempDir,
};
constexpr Step kProductSteps[] = {
    &CHalvRegistry::SetKorvaultEnvironmentVariables,
    &CHalvRegistry::SetKorvaultManager,
    &CHalvRegistry::SetKorvaultServer,
    &CHalvRegistry::SetKorvaultAdmin,
    &CHalvRegistry::SetOVITProduct,
};
constexpr Step kServerSteps[] = {
    &CHalvRegistry::SetKorvaultDBDir,
    &CHalvRegistry::SetKorvaultDatabase,
    &CHalvRegistry::SetKorvaultShellExtension,
    &CHalvRegistry::CreateKorvaultSNMPKey,
};

// Runs every step, whatever the others gave. The error of the first failure is the one that is left.
class Outcome {
  public:
    void Run(CHalvRegistry& object, std::span<const Step> steps) {
        for (const Step step : steps) {
            if ((object.*step)() || m_failed) continue;
            m_failed = true;
            m_error = GetLastError();
        }
    }
    int Result() const { return m_failed ? FailWith(m_error) : 1; }

  private:
    bool m_failed = false;
    DWORD m_error = 0;
};

// What the product's programs keep below its base key, in the order of removal.
constexpr char kDomain[] = "Domain";
constexpr const char* kBaseSubkeys[] = {
    "Admin",
    "KvMgr",
    "TapeEngine",
    "User",
    "Database",
    "DBAdmin",
    "SNMP",
    "Log",
    "Task",
    "LastFullBackup",
    "LastImageBackup",
    "ServerRecord",
    "SystemSetting",
    "DBReport",
    "OldPath",
    "OldDatabase",
    "OldComponents",
    "NWDiscoveryServer",
    "mediapool",
    "QueueSystem",
    "MMOAdmin",
    kDomain,
    "Path",
    "Alert",
    "wizard",
};

void DeleteBaseSubkeys() {
    RegistryKey base;
    if (!Report(Open(HKEY_LOCAL_MACHINE, family::Base(), KEY_ALL_ACCESS, base))) return;
    // The domain's key is not emptied: it goes only when nothing is left below it.
    for (const char* name : kBaseSubkeys) {
        if (name != kDomain) CHalvRegistry::DeleteSubKeys(base.Get(), name);
    }
    for (const char* name : kBaseSubkeys) Report(RegDeleteKeyA(base.Get(), name));
}

// What other products still use stays.
void DeleteEmptyRoots(CHalvRegistry& object) {
    CHalvRegistry::DeleteKorvaultBranch(0);
    CHalvRegistry::DeleteHalvenorBranch(0);
    object.DeleteHalvenorUserBranches(0);
}

}  // namespace

int CHalvRegistry::Write() {
    if (!WritesWhole()) return 0;
    const LONG type = m_Settings.ProductType();
    if (type != 133 && type != 105) return 1;
    Outcome outcome;
    if (!m_Settings.IsCopyOnlyMode()) outcome.Run(*this, kIdentitySteps);
    outcome.Run(*this, kProductSteps);
    if (m_Settings.InstallServer()) outcome.Run(*this, kServerSteps);
    return outcome.Result();
}

int CHalvRegistry::Delete() {
    if (!WritesWhole()) return 0;
    if (m_Settings.UninstallKorvault()) {
        DeleteKorvaultBaseBranch();
        DeleteKorvaultKey(m_sOldProducts);
        DeleteKorvaultKey(kNewerOldProducts);
        DeleteReactivonBranch();
        DeleteKorvaultUserBranches();
        DeleteKorvaultSNMPKey();
        DeleteKorvaultShellExtension();
        DeleteOVITProductBranch();
        DeleteEnvironmentVariable("CATPATH");
        DeleteEnvironmentVariable("LNNAME");
    }
    DeleteEmptyRoots(*this);
    return 1;
}

int CHalvRegistry::DeleteDynamicKey() {
    if (!WritesWhole()) return 0;
    if (m_Settings.UninstallKorvault()) {
        DeleteBaseSubkeys();
        DeleteBranch(HKEY_CURRENT_USER, "Software\\Local AppWizard-Generated Applications",
                     "Central Database Configuration");
        DeleteKorvaultKey("ELODistributedServers");
        DeleteKorvaultKey(m_sOldProducts);
        DeleteKorvaultKey(kNewerOldProducts);
        DeleteReactivonBranch();
        DeleteKorvaultUserBranches();
        DeleteKorvaultShellExtension();
        DeleteOVITProductBranch();
        DeleteKorvaultKey("ProductsConfigInfo");
    }
    DeleteEmptyRoots(*this);
    return 1;
}
