// The stages of an installation. Files are the product's own business; here stands the system-level work.
#include "instalib/computer.h"
#include "instalib/file_security.h"
#include "instalib/job_queue.h"
#include "instalib/system_account.h"
#include "kvsetup/family_services.h"
#include "kvsetup/host.h"
#include "kvsetup/setup_directories.h"
#include "kvsetup/stages.h"
#include "kvsetup/taken_away.h"

namespace {

constexpr DWORD kFullControl = 0x1F01FF;  // FILE_ALL_ACCESS
constexpr DWORD kFileNotFound = 2;        // ERROR_FILE_NOT_FOUND
constexpr DWORD kInvalidPassword = 86;    // ERROR_INVALID_PASSWORD
constexpr DWORD kAutomatic = 2;           // SERVICE_AUTO_START
constexpr DWORD kOnDemand = 3;            // SERVICE_DEMAND_START

bool Always(StageContext&) { return true; }
bool IsMainProduct(StageContext& context) { return context.session.IsMain(); }
bool IsAgentProduct(StageContext& context) { return context.session.IsAgent(); }
bool InstallsAlert(StageContext& context) {
    return !context.session.IsAgent() && context.session.settings.InstallAlert();
}
bool HasAccount(StageContext& context) { return !context.session.IsAgent() && context.session.HasAccount(); }
bool HasMainAccount(StageContext& context) { return IsMainProduct(context) && HasAccount(context); }
bool HasServices(StageContext& context) { return !ChosenServices(context.session.settings).empty(); }
bool ReplacesOlder(StageContext& context) {
    const WORD installed = context.registry.GetVersionNumber(context.session.productId.c_str());
    return installed != 0 && installed < context.session.version;
}

// The directory that the product itself uses, with its final backslash.
std::string ProductDirectory(Session& session) {
    if (session.IsAgent()) return session.settings.ClientAgentPath();
    return session.IsMain() ? session.settings.KorvaultPath() : session.settings.AlertPath();
}

bool CreateDirectories(StageContext& context, std::string&) {
    Session& session = context.session;
    marks::Marks& marks = session.marks;
    marks.isThere = true;
    marks.product = session.productId;
    marks.type = session.settings.ProductType();
    marks.directory = ProductDirectory(session);
    marks.alertDirectory = InstallsAlert(context) ? session.settings.AlertPath() : "";
    std::vector<std::string> wanted{marks.directory};
    if (session.IsMain()) {
        for (const char* subdirectory : {"DATABASE", "LOG", "TEMP"}) wanted.push_back(marks.directory + subdirectory);
    }
    if (!marks.alertDirectory.empty()) wanted.push_back(marks.alertDirectory + "LOG");
    return directories::Make(session, wanted);
}

bool KeepOldRecord(StageContext& context, std::string& note) {
    Session& session = context.session;
    note = "version " + VersionText(context.registry.GetVersionNumber(session.productId.c_str()));
    return context.registry.SavePerviousRegisterProduct(session.productId.c_str(), session.version >> 8,
                                                        session.version & 0xFF) != 0;
}

// The mark comes first: a setup that is killed in between leaves an account that a removal still knows as ours.
bool CreateAccount(Session& session, CSystemAccount& account, std::string& note) {
    session.marks.createdAccount = session.settings.SystemAccountName();
    if (!marks::Write(session.kind, session.marks)) return false;
    if (account.Create()) {
        note = "created";
        return true;
    }
    // An account without its groups and rights is worth nothing, and the next attempt would take it for the user's own.
    const DWORD error = host::LastError();
    if (account.Exists())
        note = account.Delete() ? "the account was taken back" : "the account stays, without its groups";
    if (!account.Exists()) {
        session.marks.createdAccount.clear();
        marks::Write(session.kind, session.marks);
    }
    host::SetLastError(error);
    return false;
}

// "DOMAIN\user"
std::string AccountText(CSettings& settings) {
    return std::string(settings.SystemAccountDomain()) + "\\" + settings.SystemAccountName();
}

bool PrepareAccount(StageContext& context, std::string& note) {
    Session& session = context.session;
    CSettings& settings = session.settings;
    session.marks.account = AccountText(settings);
    if (!marks::Write(session.kind, session.marks)) return false;
    const bool hasPassword = *settings.SystemAccountPassword() != '\0';
    CSystemAccount account(settings.SystemAccountServer(), settings.SystemAccountDomain(), settings.SystemAccountName(),
                           settings.SystemAccountPassword());
    if (account.Exists()) {
        note = hasPassword ? "exists" : "exists, used as it is: no password was given";
        if (!hasPassword) return true;
        if (account.ValidPassword()) return account.AssignGroups() != 0;
        host::SetLastError(kInvalidPassword);
        return false;
    }
    if (!hasPassword) {
        note = "a new account needs a password";
        host::SetLastError(kInvalidPassword);
        return false;
    }
    return CreateAccount(session, account, note);
}

// The steps of CHalvRegistry::Write, which tells only that one of them failed: asked again, each by itself.
struct WriteStep {
    const char* what;
    int (CHalvRegistry::*write)();
    bool serverOnly;
};
const WriteStep kWriteSteps[] = {
    {"registered user", &CHalvRegistry::SetKorvaultUser, false},
    {"company", &CHalvRegistry::SetKorvaultCompany, false},
    {"home directory", &CHalvRegistry::SetKorvaultHomeDir, false},
    {"log directory", &CHalvRegistry::SetKorvaultLogDir, false},
    {"temp directory", &CHalvRegistry::SetKorvaultTempDir, false},
    {"environment", &CHalvRegistry::SetKorvaultEnvironmentVariables, false},
    {"manager", &CHalvRegistry::SetKorvaultManager, false},
    {"server", &CHalvRegistry::SetKorvaultServer, false},
    {"admin tool", &CHalvRegistry::SetKorvaultAdmin, false},
    {"list of products", &CHalvRegistry::SetOVITProduct, false},
    {"database directory", &CHalvRegistry::SetKorvaultDBDir, true},
    {"database", &CHalvRegistry::SetKorvaultDatabase, true},
    {"shell extension", &CHalvRegistry::SetKorvaultShellExtension, true},
};

bool WriteSettings(StageContext& context, std::string& note) {
    CHalvRegistry& registry = context.registry;
    // For the other types of the main server the whole is not written, and succeeds: they are written step by step.
    const bool isWrittenWhole = context.session.settings.ProductType() == marks::TypeOf(marks::Kind::Main);
    if (isWrittenWhole && registry.Write()) return true;
    const bool installsServer = context.session.settings.InstallServer() != 0;
    for (const WriteStep& step : kWriteSteps) {
        if ((step.serverOnly && !installsServer) || (registry.*step.write)()) continue;
        note = step.what;
        return false;
    }
    if (!installsServer || registry.CreateKorvaultSNMPKey()) return true;
    // A Windows without the SNMP service has no list to announce an agent in; the product works without it.
    note = host::LastError() == kFileNotFound ? "no SNMP service here: its agent is not announced" : "SNMP agent";
    return host::LastError() == kFileNotFound;
}

bool WriteAgentSettings(StageContext& context, std::string&) { return context.registry.SetClientAgentHomeDir() != 0; }

bool WriteAlertValues(StageContext& context, std::string& note) {
    CHalvRegistry& registry = context.registry;
    using Setter = int (CHalvRegistry::*)();
    const Setter setters[] = {&CHalvRegistry::SetAlertHomeDir,           &CHalvRegistry::SetAlertLogDir,
                              &CHalvRegistry::SetAlertControlDir,        &CHalvRegistry::SetAlertEventLogDir,
                              &CHalvRegistry::SetAlertRegisteredOwner,   &CHalvRegistry::SetAlertRegisteredOrganization,
                              &CHalvRegistry::SetAlertCompany,           &CHalvRegistry::SetAlertLocation,
                              &CHalvRegistry::SetAlertCurrentBuildNumber};
    for (const Setter setter : setters) {
        if (!(registry.*setter)()) return false;
    }
    // The date of the program file is known only when the product's files are there already.
    if (!registry.SetAlertCurrentBuild()) note = "without a program date: ALERT.EXE is not there";
    // A repeated setup keeps the first one's date.
    return context.session.settings.AlertExists() || registry.SetAlertInstallDate();
}

bool RegisterProduct(StageContext& context, std::string& note) {
    Session& session = context.session;
    tagProductStruct record{};
    record.dwProductCode = static_cast<DWORD>(session.settings.ProductType());
    record.wVersion = session.version;
    record.wBuild = session.build;
    record.cSubType = static_cast<signed char>(session.settings.ProductSubType());
    note = session.productId + " " + VersionText(session.version) + " build " + std::to_string(session.build);
    return CHalvRegistry::RegisterProduct(session.productId.c_str(), &record) != 0;
}

bool EnterInstalledPrograms(StageContext& context, std::string&) {
    return context.registry.CreateKorvaultUninstallKey() != 0;
}

bool InstallServices(StageContext& context, std::string& note) {
    CSettings& settings = context.session.settings;
    const DWORD startType = settings.AutoStartServices() ? kAutomatic : kOnDemand;
    std::size_t installed = 0;
    for (const CService& service : ChosenServices(settings)) {
        const bool isAlert = std::string(service.Name()) == CService(CService::AlertServer).Name();
        const char* const directory = isAlert ? settings.AlertPath() : settings.KorvaultPath();
        // The family's services may show windows, and Windows lets such services log on as the local system only.
        if (!service.InstallService(directory, startType, nullptr, nullptr)) {
            note = service.Name();
            return false;
        }
        ++installed;
    }
    note = std::to_string(installed) + " services";
    return true;
}

bool GrantDirectory(StageContext& context, std::string&) {
    std::string path = ProductDirectory(context.session);
    path.pop_back();
    return AdjustAccessRights(nullptr, nullptr, nullptr, path.c_str(), context.session.marks.account.c_str(),
                              kFullControl) != 0;
}

bool ProtectRegistry(StageContext&, std::string&) {
    return host::WithKey(CHalvRegistry::GetKorvaultBaseKey(),
                         [](HKEY key) { return CHalvRegistry::AddAccessPermissionOnRegistryKey(key, 0); }) != 0;
}

bool PublishHome(StageContext& context, std::string& note) {
    CSettings& settings = context.session.settings;
    const std::string account = context.session.HasAccount() ? AccountText(settings) : "";
    note = std::string(CHalvRegistry::GetZephraniteProdName()) + "$";
    host::SetLastError(0);
    const int created = CComputer::CreateKorvaultHomeShare(settings.KorvaultPath(), "", account.c_str());
    // A share that could not be given its list in the end is there, with an error left behind.
    if (created && host::LastError() == 0) return true;
    note += created ? " was left with the default list, which lets nobody in"
                    : "; if it is there now, it has the default list, which lets nobody in";
    return false;
}

bool WantsEmptyQueue(StageContext& context) {
    return IsMainProduct(context) && context.session.settings.DeleteQueue() && context.session.settings.QueueExists();
}

bool EmptyQueue(StageContext&, std::string&) { return CJobQueue::DeleteQueue() != 0; }

}  // namespace

const std::vector<Stage>& InstallStages() {
    static const std::vector<Stage> stages = {
        {"Take away what is no longer chosen", TakesAway, TakeAway},
        {"Create the product's directories", Always, CreateDirectories},
        {"Keep the record of the replaced version", ReplacesOlder, KeepOldRecord},
        {"Prepare the system account", HasAccount, PrepareAccount},
        {"Write the product's settings", IsMainProduct, WriteSettings},
        {"Write the agent's settings", IsAgentProduct, WriteAgentSettings},
        {"Write the alert component's values", InstallsAlert, WriteAlertValues},
        {"Register the product", Always, RegisterProduct},
        {"Enter it in the installed programs", IsMainProduct, EnterInstalledPrograms},
        {"Install the services", HasServices, InstallServices},
        {"Grant the account the product's directory", HasMainAccount, GrantDirectory},
        {"Protect the product's registry", IsMainProduct, ProtectRegistry},
        {"Publish the home share", IsMainProduct, PublishHome},
        {"Remove the old job queue", WantsEmptyQueue, EmptyQueue},
    };
    return stages;
}
