// The whole product at once: written from the settings, removed again. The order of the steps is part of the contract.
#include "changes/changing.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

using Halv = CHalvRegistry;

// Under which of the settings a step runs.
enum class When { Always, UnlessCopyOnly, WithServer, Uninstalling };

bool Applies(When when, CSettings& settings) {
    switch (when) {
        case When::UnlessCopyOnly:
            return settings.IsCopyOnlyMode() == 0;
        case When::WithServer:
            return settings.InstallServer() != 0;
        case When::Uninstalling:
            return settings.UninstallKorvault() != 0;
        default:
            return true;
    }
}

struct WriteStep {
    When when;
    int (Halv::*run)();
};
constexpr WriteStep kWriteSteps[] = {
    {When::UnlessCopyOnly, &Halv::SetKorvaultUser},
    {When::UnlessCopyOnly, &Halv::SetKorvaultCompany},
    {When::UnlessCopyOnly, &Halv::SetKorvaultHomeDir},
    {When::UnlessCopyOnly, &Halv::SetKorvaultLogDir},
    {When::UnlessCopyOnly, &Halv::SetKorvaultTempDir},
    {When::Always, &Halv::SetKorvaultEnvironmentVariables},
    {When::Always, &Halv::SetKorvaultManager},
    {When::Always, &Halv::SetKorvaultServer},
    {When::Always, &Halv::SetKorvaultAdmin},
    {When::Always, &Halv::SetOVITProduct},
    {When::WithServer, &Halv::SetKorvaultDBDir},
    {When::WithServer, &Halv::SetKorvaultDatabase},
    {When::WithServer, &Halv::SetKorvaultShellExtension},
    {When::WithServer, &Halv::CreateKorvaultSNMPKey},
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
    if (!Outcome(Open(HKEY_LOCAL_MACHINE, family::Base(), KEY_ALL_ACCESS, base))) return;
    // The domain's key is not emptied: it goes only when nothing is left below it.
    for (const char* name : kBaseSubkeys) {
        if (name != kDomain) CHalvRegistry::DeleteSubKeys(base.Get(), name);
    }
    for (const char* name : kBaseSubkeys) Outcome(changing::RegDeleteKeyA(base.Get(), name));
}

void DeleteGeneratedKey() {
    DeleteBranch(HKEY_CURRENT_USER, "Software\\Local AppWizard-Generated Applications",
                 "Central Database Configuration");
}

// Removals ignore failures: every step runs whatever became of the others.
struct DeleteStep {
    When when;
    void (*run)(Halv&);
};
constexpr DeleteStep kDeleteSteps[] = {
    {When::Uninstalling, [](Halv& object) { object.DeleteKorvaultBaseBranch(); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteKorvaultKey(Halv::m_sOldProducts); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteKorvaultKey(kNewerOldProducts); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteReactivonBranch(); }},
    {When::Uninstalling, [](Halv& object) { object.DeleteKorvaultUserBranches(); }},
    {When::Uninstalling, [](Halv& object) { object.DeleteKorvaultSNMPKey(); }},
    {When::Uninstalling, [](Halv& object) { object.DeleteKorvaultShellExtension(); }},
    {When::Uninstalling, [](Halv& object) { object.DeleteOVITProductBranch(); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteEnvironmentVariable("CATPATH"); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteEnvironmentVariable("LNNAME"); }},
    // A root that other products still use stays.
    {When::Always, [](Halv&) { Halv::DeleteKorvaultBranch(0); }},
    {When::Always, [](Halv&) { Halv::DeleteHalvenorBranch(0); }},
    {When::Always, [](Halv& object) { object.DeleteHalvenorUserBranches(0); }},
};
constexpr DeleteStep kDynamicSteps[] = {
    {When::Uninstalling, [](Halv&) { DeleteBaseSubkeys(); }},
    {When::Uninstalling, [](Halv&) { DeleteGeneratedKey(); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteKorvaultKey("ELODistributedServers"); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteKorvaultKey(Halv::m_sOldProducts); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteKorvaultKey(kNewerOldProducts); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteReactivonBranch(); }},
    {When::Uninstalling, [](Halv& object) { object.DeleteKorvaultUserBranches(); }},
    {When::Uninstalling, [](Halv& object) { object.DeleteKorvaultShellExtension(); }},
    {When::Uninstalling, [](Halv& object) { object.DeleteOVITProductBranch(); }},
    {When::Uninstalling, [](Halv&) { Halv::DeleteKorvaultKey("ProductsConfigInfo"); }},
    // A root that other products still use stays.
    {When::Always, [](Halv&) { Halv::DeleteKorvaultBranch(0); }},
    {When::Always, [](Halv&) { Halv::DeleteHalvenorBranch(0); }},
    {When::Always, [](Halv& object) { object.DeleteHalvenorUserBranches(0); }},
};
int Remove(Halv& object, CSettings& settings, std::span<const DeleteStep> steps) {
    for (const DeleteStep& step : steps) {
        if (Applies(step.when, settings)) step.run(object);
    }
    return 1;
}

}  // namespace

int CHalvRegistry::Write() {
    if (!WritesWhole()) return 0;
    const LONG type = m_Settings.ProductType();
    if (type != 133 && type != 105) return 1;
    // Every step runs whatever the others gave. The error of the first failure is the one that is left.
    bool failed = false;
    DWORD error = 0;
    for (const WriteStep& step : kWriteSteps) {
        if (!Applies(step.when, m_Settings) || (this->*step.run)() || failed) continue;
        failed = true;
        error = GetLastError();
    }
    return failed ? FailWith(error) : 1;
}

int CHalvRegistry::Delete() { return WritesWhole() ? Remove(*this, m_Settings, kDeleteSteps) : 0; }

int CHalvRegistry::DeleteDynamicKey() { return WritesWhole() ? Remove(*this, m_Settings, kDynamicSteps) : 0; }
