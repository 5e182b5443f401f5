// The stages of a removal, in the reverse order of the installation's. Each takes back what the installation made.
#include "instalib/computer.h"
#include "instalib/probes.h"
#include "instalib/system_account.h"
#include "kvsetup/family_services.h"
#include "kvsetup/host.h"
#include "kvsetup/setup_marks.h"
#include "kvsetup/stages.h"

namespace {

constexpr int kShareNotFound = 2310;                                             // NERR_NetNameNotFound
constexpr DWORD kFileNotFound = 2, kPathNotFound = 3, kDirectoryNotEmpty = 145;  // winerror.h
constexpr DWORD kStillThere = 183;                                               // ERROR_ALREADY_EXISTS

// The library's removals have no result: what is there afterwards was not removed. `what` goes into the note.
bool IsGone(host::Presence presence, const std::string& what, std::string& note) {
    if (presence == host::Presence::Absent) return true;
    if (presence == host::Presence::Present) host::SetLastError(kStillThere);
    note += (note.empty() ? "" : ", ") + what;
    return false;
}
bool IsKeyGone(const std::string& path, std::string& note) { return IsGone(host::LookForKey(path), path, note); }
bool IsValueGone(const std::string& path, const std::string& name, std::string& note) {
    return IsGone(host::LookForValue(path, name), path + ", " + name, note);
}
std::string FamilyRoot() { return CHalvRegistry::GetKorvaultKey(); }

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

bool LeaveInstalledPrograms(StageContext& context, std::string& note) {
    context.registry.DeleteKorvaultUninstallKey();
    return IsKeyGone("SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\KorvaultNT", note);
}

bool Unregister(StageContext& context, std::string& note) {
    note = context.session.productId;
    CHalvRegistry::UnregisterProduct(context.session.productId.c_str());
    std::string left;
    if (!IsValueGone(FamilyRoot() + "\\Products", note, left)) {
        note = left;
        return false;
    }
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

bool RemoveAlertBranch(StageContext& context, std::string& note) {
    context.registry.DeleteAlertBranch();
    return IsKeyGone(static_cast<const char*>(CHalvRegistry::m_sAlertKey), note);
}

bool RemoveAgentBranch(StageContext&, std::string& note) {
    CHalvRegistry::DeleteKorvaultKey("ClientAgent");
    return IsKeyGone(FamilyRoot() + "\\ClientAgent", note);
}

bool RemoveBranches(StageContext& context, std::string& note) {
    marks::RemoveAll();
    if (!context.registry.DeleteDynamicKey() || !context.registry.Delete()) return false;
    if (!IsKeyGone(FamilyRoot() + "\\Setup", note)) return false;
    // Other products' things keep the roots; nothing in them is no reason to stay.
    const std::string root = FamilyRoot(), vendor = root.substr(0, root.rfind('\\'));
    if (!IsGone(host::LookForEmptyKey(root), root, note) || !IsGone(host::LookForEmptyKey(vendor), vendor, note)) {
        return false;
    }
    if (!RemovesMain(context)) return true;
    const std::string environment = static_cast<const char*>(CHalvRegistry::m_sEnvironmentKey);
    return IsKeyGone(CHalvRegistry::GetKorvaultBaseKey(), note) && IsValueGone(environment, "CATPATH", note) &&
           IsValueGone(environment, "LNNAME", note);
}

// Removes the directory and, below Program Files, the empty ones above it. What holds anything stays. False, with the
// last error, for one that could not be removed for another reason.
bool RemoveEmpty(std::string directory) {
    char programFiles[260] = "";
    DWORD size = sizeof programFiles;
    const DWORD unknown = KSetGetProgramFilesPath(programFiles, &size, nullptr);
    if (unknown != 0) {
        host::SetLastError(unknown);
        return false;
    }
    const std::string limit = std::string(programFiles) + "\\";
    while (directory.ends_with('\\')) directory.pop_back();
    while (CComputer::RemoveDirectoryA(directory.c_str())) {
        if (!directory.starts_with(limit)) return true;
        directory = directory.substr(0, directory.rfind('\\'));
        if (directory.size() < limit.size()) return true;
    }
    const DWORD error = host::LastError();
    return error == kDirectoryNotEmpty || error == kFileNotFound || error == kPathNotFound;
}

// The directory that the installation made, or the one that the settings found.
bool RemoveTree(const char* mark, const char* found, std::initializer_list<const char*> subdirectories,
                std::string& note) {
    const std::string marked = marks::Get(mark);
    const std::string directory = marked.empty() ? found : marked;
    if (directory.empty()) return true;
    for (const char* subdirectory : subdirectories) {
        if (RemoveEmpty(directory + subdirectory)) continue;
        note = directory + subdirectory;
        return false;
    }
    if (CComputer::DirectoryExists(directory.c_str()))
        note += (note.empty() ? "" : ", ") + directory + " holds files and stays";
    return true;
}

bool RemoveDirectories(StageContext& context, std::string& note) {
    CSettings& settings = context.session.settings;
    const auto remove = [&](bool applies, const char* mark, const char* found,
                            std::initializer_list<const char*> subdirectories) {
        return !applies || RemoveTree(mark, found, subdirectories, note);
    };
    return remove(context.session.IsAgent(), marks::kProductDirectory, settings.CurrentClientAgentPath(), {""}) &&
           remove(RemovesMain(context), marks::kProductDirectory, settings.CurrentKorvaultPath(),
                  {"DATABASE", "LOG", "TEMP", ""}) &&
           remove(RemovesAlert(context), marks::kAlertDirectory, settings.CurrentAlertPath(), {"LOG", ""});
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
