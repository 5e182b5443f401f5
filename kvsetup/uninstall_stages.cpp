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
// Asked before the first stage: the mark goes before the account does.
bool CreatedAccount(StageContext& context) {
    if (!RemovesMain(context)) return false;
    context.account = marks::Get(marks::kCreatedAccount);
    return !context.account.empty();
}

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
    const std::string user = context.account;
    note = user;
    CSettings& settings = context.session.settings;
    CSystemAccount account(settings.SystemAccountServer(), settings.SystemAccountServer(), user.c_str(), "");
    if (!account.Exists() || account.Delete()) return true;
    // Whoever keeps the pieces can still remove it the next time.
    const DWORD error = host::LastError();
    marks::Set(marks::kCreatedAccount, user);
    host::SetLastError(error);
    return false;
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

// The directory that the installation made, or the one that the settings found.
void RemoveTree(const char* mark, const char* found, std::initializer_list<const char*> subdirectories,
                std::string& note) {
    const std::string marked = marks::Get(mark);
    const std::string directory = marked.empty() ? found : marked;
    if (directory.empty()) return;
    for (const char* subdirectory : subdirectories) RemoveEmpty(directory + subdirectory);
    if (CComputer::DirectoryExists(directory.c_str()))
        note += (note.empty() ? "" : ", ") + directory + " holds files and stays";
}

bool RemoveDirectories(StageContext& context, std::string& note) {
    CSettings& settings = context.session.settings;
    if (context.session.IsAgent()) RemoveTree(marks::kProductDirectory, settings.CurrentClientAgentPath(), {""}, note);
    if (RemovesMain(context)) {
        RemoveTree(marks::kProductDirectory, settings.CurrentKorvaultPath(), {"DATABASE", "LOG", "TEMP", ""}, note);
    }
    if (RemovesAlert(context)) RemoveTree(marks::kAlertDirectory, settings.CurrentAlertPath(), {"LOG", ""}, note);
    return true;
}

}  // namespace

const std::vector<Stage>& UninstallStages() {
    static const std::vector<Stage> stages = {
        {"Stop and remove the services", HasServices, RemoveServices},
        {"Withdraw the home share", RemovesMain, WithdrawHome},
        {"Leave the installed programs", RemovesMain, LeaveInstalledPrograms},
        {"Unregister the product", RemovesProduct, Unregister},
        {"Remove the alert component's values", RemovesAlert, RemoveAlertBranch},
        {"Remove the agent's settings", IsAgentProduct, RemoveAgentBranch},
        {"Remove empty directories", Always, RemoveDirectories},
        {"Remove the product's settings", Always, RemoveBranches},
        // Last: an account is the one thing that cannot be given back.
        {"Delete the system account", CreatedAccount, DeleteAccount},
    };
    return stages;
}
