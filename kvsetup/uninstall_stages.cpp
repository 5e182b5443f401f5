// The stages of a removal, in the reverse order of the installation's. Each takes back what the installation made.
#include "instalib/computer.h"
#include "instalib/file_security.h"
#include "instalib/system_account.h"
#include "kvsetup/family_services.h"
#include "kvsetup/host.h"
#include "kvsetup/setup_directories.h"
#include "kvsetup/stages.h"
#include "kvsetup/taken_away.h"

namespace {

constexpr int kShareNotFound = 2310;   // NERR_NetNameNotFound
constexpr DWORD kUserNotFound = 2221;  // NERR_UserNotFound

bool IsValueGone(const std::string& path, const std::string& name, std::string& note) {
    return IsGone(host::LookForValue(path, name), path + ", " + name, note);
}
std::string FamilyRoot() { return CHalvRegistry::GetKorvaultKey(); }

bool Always(StageContext&) { return true; }
bool RemovesMain(StageContext& context) {
    return context.session.IsMain() && context.session.settings.UninstallKorvault();
}
bool RemovesAlert(StageContext& context) {
    return !context.session.IsAgent() && context.session.settings.UninstallAlert();
}
bool IsAgentProduct(StageContext& context) { return context.session.IsAgent(); }
// Answers may have the main server stay, and only its alert component go.
bool RemovesProduct(StageContext& context) { return !context.session.IsMain() || RemovesMain(context); }
bool HasServices(StageContext& context) { return !ChosenServices(context.session.settings).empty(); }

// The other product that runs with the same account; null when there is none.
std::pair<marks::Kind, marks::Marks>* UserOfAccount(Session& session) {
    if (session.marks.account.empty()) return nullptr;
    for (auto& other : session.others) {
        if (CString(other.second.account.c_str()).CompareNoCase(session.marks.account.c_str()) == 0) return &other;
    }
    return nullptr;
}
bool CreatedAccount(StageContext& context) {
    const Session& session = context.session;
    return RemovesProduct(context) && !session.marks.createdAccount.empty();
}
bool HasRights(StageContext& context) {
    return RemovesMain(context) && !context.session.marks.account.empty() && !context.session.marks.directory.empty();
}

bool RemoveChosenServices(StageContext& context, std::string& note) {
    return RemoveServices(ChosenServices(context.session.settings), context.session.needsRestart, note);
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
    const std::string products = FamilyRoot() + "\\Products";
    if (!IsValueGone(products, note, left) || !IsGone(host::LookForEmptyKey(products), products, left)) {
        note = left;
        return false;
    }
    tagProductStruct record{};
    return !context.registry.GetProductInfo(context.session.productId.c_str(), &record, nullptr) ||
           (note += ": an older generation's record stays", true);
}

// Of a directory that stays because it holds files. One that is gone has taken its rights with it.
bool TakeBackRights(StageContext& context, std::string& note) {
    const marks::Marks& marks = context.session.marks;
    std::string path = marks.directory;
    path.pop_back();
    const host::Presence presence = host::LookForDirectory(path);
    if (presence == host::Presence::Absent) return note = "the directory is gone", true;
    if (presence == host::Presence::Unknown) return false;
    const int exists = CSystemAccount::Exists(nullptr, marks.account.substr(marks.account.find('\\') + 1).c_str());
    if (!exists && host::LastError() != kUserNotFound) return false;
    if (!exists) return note = "the account is gone", true;
    note = marks.account;
    return AdjustAccessRights(nullptr, nullptr, nullptr, path.c_str(), marks.account.c_str(), 0) != 0;
}

bool DeleteAccount(StageContext& context, std::string& note) {
    Session& session = context.session;
    const std::string user = session.marks.createdAccount;
    note = user;
    if (auto* const other = UserOfAccount(session)) {
        other->second.createdAccount = user;
        note += " stays: " + other->second.product + " uses it";
        return marks::Write(other->first, other->second);
    }
    CSettings& settings = session.settings;
    CSystemAccount account(settings.SystemAccountServer(), settings.SystemAccountServer(), user.c_str(), "");
    if (!account.Exists() ? host::LastError() == kUserNotFound : account.Delete()) return true;
    // Whoever keeps the pieces can still remove it the next time.
    const DWORD error = host::LastError();
    marks::Write(session.kind, session.marks);
    host::SetLastError(error);
    return false;
}

bool RemoveAlertBranch(StageContext& context, std::string& note) { return TakeAlertValuesAway(context.registry, note); }

bool RemoveAgentBranch(StageContext&, std::string& note) {
    CHalvRegistry::DeleteKorvaultKey("ClientAgent");
    return IsKeyGone(FamilyRoot() + "\\ClientAgent", note);
}

bool RemoveDirectories(StageContext& context, std::string& note) {
    Session& session = context.session;
    if (RemovesProduct(context) &&
        (RemovesAlert(context) || session.marks.alertDirectory.empty() || session.IsAlertShared()))
        return directories::RemoveMade(session, "", note);
    // The product or the alert component stays.
    const std::string going = RemovesProduct(context) ? session.marks.directory : session.marks.alertDirectory;
    return going.empty() || directories::RemoveMade(session, going, note);
}

// The marks, the account aside: it goes last. What the answers leave of the product stays known.
bool RemoveMarks(StageContext& context, std::string& note) {
    Session& session = context.session;
    marks::Marks left = session.marks;
    if (RemovesProduct(context)) left.directory = left.account = left.createdAccount = "";
    if (RemovesAlert(context) || session.IsAlertShared()) left.alertDirectory.clear();
    if (!left.directory.empty() || !left.alertDirectory.empty()) return marks::Write(session.kind, left);
    marks::Remove(session.kind);
    return IsKeyGone(marks::KeyOf(session.kind), note) &&
           IsGone(host::LookForEmptyKey(marks::RootKey()), marks::RootKey(), note);
}

bool RemoveBranches(StageContext& context, std::string& note) {
    if (!RemoveMarks(context, note)) return false;
    if (!context.registry.DeleteDynamicKey() || !context.registry.Delete()) return false;
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

}  // namespace

const std::vector<Stage>& UninstallStages() {
    static const std::vector<Stage> stages = {
        {"Stop and remove the services", HasServices, RemoveChosenServices},
        {"Withdraw the home share", RemovesMain, WithdrawHome},
        {"Leave the installed programs", RemovesMain, LeaveInstalledPrograms},
        {"Unregister the product", RemovesProduct, Unregister},
        {"Remove the alert component's values", RemovesAlert, RemoveAlertBranch},
        {"Remove the agent's settings", IsAgentProduct, RemoveAgentBranch},
        {"Remove empty directories", Always, RemoveDirectories},
        {"Take back the account's rights", HasRights, TakeBackRights},
        {"Remove the product's settings", Always, RemoveBranches},
        // Last: an account is the one thing that cannot be given back.
        {"Delete the system account", CreatedAccount, DeleteAccount},
    };
    return stages;
}
