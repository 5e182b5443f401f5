// The stages of a removal, in the reverse order of the installation's. Each takes back what the installation made.
#include "instalib/computer.h"
#include "instalib/probes.h"
#include "instalib/system_account.h"
#include "kvsetup/family_services.h"
#include "kvsetup/host.h"
#include "kvsetup/setup_marks.h"
#include "kvsetup/stages.h"

namespace {

constexpr int kShareNotFound = 2310;  // NERR_NetNameNotFound

bool Always(StageContext&) { return true; }
bool RemovesMain(StageContext& context) {
    return !context.session.IsAgent() && context.session.settings.UninstallKorvault();
}
bool RemovesAlert(StageContext& context) {
    return !context.session.IsAgent() && context.session.settings.UninstallAlert();
}
bool IsAgentProduct(StageContext& context) { return context.session.IsAgent(); }
bool RemovesProduct(StageContext& context) { return IsAgentProduct(context) || RemovesMain(context); }
bool HasServices(StageContext& context) { return !ChosenServices(context.session.settings).empty(); }
bool CreatedAccount(StageContext& context) { return RemovesMain(context) && !marks::Get(marks::kCreatedAccount).empty(); }

bool RemoveServices(StageContext& context, std::string& note) {
    bool allRemoved = true;
    DWORD error = 0;
    // The last started go first.
    std::vector<CService> services = ChosenServices(context.session.settings);
    for (auto service = services.rbegin(); service != services.rend(); ++service) {
        if (service->RemoveService()) continue;
        if (allRemoved) error = host::LastError();
        allRemoved = false;
        note += (note.empty() ? "" : ", ") + std::string(service->Name());
    }
    host::SetLastError(error);
    return allRemoved;
}

bool WithdrawHome(StageContext&, std::string& note) {
    const int status = CComputer::DeleteKorvaultHomeShare();
    if (status == 0) return true;
    if (status == kShareNotFound) {
        note = "there was none";
        return true;
    }
    host::SetLastError(static_cast<DWORD>(status));
    return false;
}

bool LeaveInstalledPrograms(StageContext& context, std::string&) {
    context.registry.DeleteKorvaultUninstallKey();
    return true;
}

bool Unregister(StageContext& context, std::string& note) {
    note = context.session.productId;
    CHalvRegistry::UnregisterProduct(context.session.productId.c_str());
    tagProductStruct record{};
    return !context.registry.GetProductInfo(context.session.productId.c_str(), &record, nullptr) ||
           (note += ": an older generation's record stays", true);
}

bool DeleteAccount(StageContext& context, std::string& note) {
    const std::string user = marks::Get(marks::kCreatedAccount);
    note = user;
    CSettings& settings = context.session.settings;
    CSystemAccount account(settings.SystemAccountServer(), settings.SystemAccountServer(), user.c_str(), "");
    return !account.Exists() || account.Delete();
}

bool RemoveAlertBranch(StageContext& context, std::string&) {
    context.registry.DeleteAlertBranch();
    return true;
}

bool RemoveAgentBranch(StageContext&, std::string&) {
    CHalvRegistry::DeleteKorvaultKey("ClientAgent");
    return true;
}

bool RemoveBranches(StageContext& context, std::string&) {
    marks::RemoveAll();
    return context.registry.DeleteDynamicKey() && context.registry.Delete();
}

// Removes the directory and, below Program Files, the empty ones above it. What holds anything stays.
void RemoveEmpty(std::string directory) {
    char programFiles[260] = "";
    DWORD size = sizeof programFiles;
    if (KSetGetProgramFilesPath(programFiles, &size, nullptr) != 0) return;
    const std::string limit = std::string(programFiles) + "\\";
    while (directory.ends_with('\\')) directory.pop_back();
    while (CComputer::RemoveDirectoryA(directory.c_str()) && directory.starts_with(limit)) {
        directory = directory.substr(0, directory.rfind('\\'));
        if (directory.size() < limit.size()) return;
    }
}

bool RemoveDirectories(StageContext& context, std::string& note) {
    CSettings& settings = context.session.settings;
    std::vector<std::string> directories;
    if (context.session.IsAgent()) directories.emplace_back(settings.CurrentClientAgentPath());
    if (RemovesMain(context)) {
        for (const char* folder : {"DATABASE", "LOG", "TEMP", ""}) {
            if (*settings.CurrentKorvaultPath() != '\0') directories.push_back(settings.CurrentKorvaultPath() + std::string(folder));
        }
    }
    if (RemovesAlert(context)) {
        for (const char* folder : {"LOG", ""}) {
            if (*settings.CurrentAlertPath() != '\0') directories.push_back(settings.CurrentAlertPath() + std::string(folder));
        }
    }
    for (const std::string& directory : directories) {
        if (directory.empty()) continue;
        RemoveEmpty(directory);
        if (CComputer::DirectoryExists(directory.c_str())) note = "what holds files stays";
    }
    return true;
}

}  // namespace

const std::vector<Stage>& UninstallStages() {
    static const std::vector<Stage> stages = {
        {"Stop and remove the services", HasServices, RemoveServices},
        {"Withdraw the home share", RemovesMain, WithdrawHome},
        {"Leave the installed programs", RemovesMain, LeaveInstalledPrograms},
        {"Unregister the product", RemovesProduct, Unregister},
        {"Delete the system account", CreatedAccount, DeleteAccount},
        {"Remove the alert component's values", RemovesAlert, RemoveAlertBranch},
        {"Remove the agent's settings", IsAgentProduct, RemoveAgentBranch},
        {"Remove the product's settings", Always, RemoveBranches},
        {"Remove empty directories", RemovesProduct, RemoveDirectories},
    };
    return stages;
}
