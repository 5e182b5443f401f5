#include "kvsetup/session.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include "instalib/command_line.h"
#include "instalib/computer.h"
#include "instalib/current_user.h"
#include "instalib/installed_products.h"
#include "instalib/log.h"
#include "instalib/probes.h"
#include "instalib/registry.h"
#include "instalib/setup_icf.h"
#include "instalib/setup_inf.h"
#include "instalib/version.h"
#include "kvsetup/answers_commands.h"
#include "kvsetup/given_answers.h"
#include "kvsetup/host.h"
#include "kvsetup/watch.h"

namespace {

// Sections of which an answer file has at least one.
const char* const kAnswerSections[] = {"UserInfo",    "KorvaultInstall", "InstallPath",    "Install",
                                       "Base",        "Uninstall",       "DatabaseOption", "ZephraniteDomain",
                                       "ClientAgent", "SystemAccount",   "System Account"};

template <std::size_t Size>
void Store(char (&field)[Size], const std::string& text, const char* what) {
    if (text.size() >= Size) {
        throw Failure{kBadInput, std::string(what) + " is longer than " + std::to_string(Size - 1) + " characters"};
    }
    std::snprintf(field, Size, "%s", text.c_str());
}

std::string ProgramFiles() {
    char path[260] = "";
    DWORD size = sizeof path;
    if (KSetGetProgramFilesPath(path, &size, nullptr) != 0)
        return std::string(1, CComputer::FindFirstHardDrive()) + ":";
    return path;
}

std::string OpenMedium(const std::string& source) {
    std::string problem;
    const std::string folder = host::MachinePath(source, true, &problem);
    if (folder.empty()) throw Failure{kBadInput, problem};
    if (!CComputer::PathExists((folder + "SETUP.INF").c_str())) {
        throw Failure{kBadInput,
                      "there is no SETUP.INF in " + folder + "; give the folder of the medium with --source"};
    }
    host::RunFromMedium(folder);
    return folder;
}

bool HoldsAnswers(CSetupIcf& answers) {
    return std::any_of(std::begin(kAnswerSections), std::end(kAnswerSections), [&answers](const char* section) {
        char keys[1024] = "";
        return answers.GetString(section, nullptr, keys, sizeof keys) > 0;
    });
}

std::string OpenAnswers(const std::string& file) {
    std::string problem;
    const std::string path = host::MachinePath(file, false, &problem);
    if (path.empty()) throw Failure{kBadInput, problem};
    if (!CComputer::PathExists(path.c_str())) throw Failure{kBadInput, "the answers " + path + " do not exist"};
    CSetupIcf answers(path.c_str());
    if (!HoldsAnswers(answers)) {
        throw Failure{kBadInput, path + " cannot be read or holds no answers: no known section has an entry"};
    }
    return path;
}

// The product type and name that the medium names.
struct Medium {
    LONG type = -1;
    std::string productName;
};

Medium ReadMedium(const std::string& source) {
    CSetupInf inf;
    inf.SetKORsetupINFName((source + "SETUP.INF").c_str());
    return {inf.GetProductType(), inf.GetSetupProductName()};
}

tagSETUP_INFO MakeRecord(const Session& session, const Medium& medium, LONG type) {
    tagSETUP_INFO info{};
    Store(info.productName, medium.productName.empty() ? "Zephranite Korvault Backup" : medium.productName,
          "the product name of SETUP.INF");
    Store(info.sourcePath, session.source, "the path of the medium");
    Store(info.batchFile, session.answers, "the path of the answers");
    Store(info.logFile, session.log, "the path of the log");
    info.productType = type;
    info.batchOperation = session.answers.empty() ? 0 : 1;
    return info;
}

void LearnVersion(Session& session) {
    if (session.source.empty()) return;
    const CString library((session.source + "kvvctl.dll").c_str());
    session.version = InstalibGetVersionNumber(library);
    session.build = InstalibGetBuildNumber(library);
}

std::string LogPath(const Options& options) {
    if (options.log.empty()) return ProgramFiles().substr(0, 2) + "\\KVSETUP.LOG";
    std::string problem;
    const std::string path = host::MachinePath(options.log, false, &problem);
    if (path.empty()) throw Failure{kBadInput, problem};
    return path;
}

// An account without a domain is one of this computer.
void ChooseAccountDomain(Session& session) {
    CSettings& settings = session.settings;
    if (session.HasAccount() && *settings.SystemAccountDomain() == '\0') {
        settings.SystemAccountDomain(CString(settings.SystemAccountServer()));
    }
}

// A product that has no place yet is not put into Program Files itself, unless the answers say so.
void ChoosePath(Session& session) {
    CSettings& settings = session.settings;
    if (settings.BatchOperation() || settings.Uninstall() || settings.KorvaultExists() || session.IsAgent()) return;
    const std::string programFiles = ProgramFiles();
    const std::string current = settings.KorvaultPath();
    if (current != programFiles + "\\") return;
    settings.KorvaultPath((programFiles + "\\" + settings.ProductShortName()).c_str());
}

Json InstalledGenerations() {
    Json found = Json::array();
    const CInstalledProducts installed;
    for (int i = 0; i < installed.GetCount(); ++i) {
        const CProductGeneration& generation = installed.GetAt(i);
        std::string text = static_cast<const char*>(generation.m_sName);
        for (int p = 0; p < generation.m_Products.GetSize(); ++p) {
            const CInstalledProduct product = generation.m_Products.GetAt(p);
            text += std::string(p == 0 ? ": " : ", ") + static_cast<const char*>(product.m_sName) + ' ' +
                    VersionText(product.m_Record.wVersion) + " build " + std::to_string(product.m_Record.wBuild);
        }
        found.push_back(text);
    }
    return found;
}

Json Path(const char* path) { return *path == '\0' ? Json() : Json(path); }

Json Components(CSettings& settings) {
    const struct {
        const char* name;
        int installed;
    } components[] = {
        {"manager", settings.InstallManager()},    {"server", settings.InstallServer()},
        {"admin", settings.InstallAdmin()},        {"alert", settings.InstallAlert()},
        {"data migration", settings.InstallHSM()}, {"management framework", settings.InstallOGT()},
        {"antivirus", settings.InstallAV()},
    };
    Json names = Json::array();
    for (const auto& component : components) {
        if (component.installed) names.push_back(component.name);
    }
    return names;
}

std::string Account(CSettings& settings) {
    const std::string name = settings.SystemAccountName();
    const std::string domain = settings.SystemAccountDomain();
    if (name.empty()) return "";
    return domain.empty() ? name : domain + "\\" + name;
}

std::string Mode(Session& session) {
    CSettings& settings = session.settings;
    if (settings.Uninstall()) return "removal";
    if (settings.IsUpgrade()) return "upgrade";
    return settings.KorvaultExists() || settings.ClientAgentExists() ? "reconfiguration" : "new installation";
}

Json DescribeFound(Session& session) {
    CSettings& settings = session.settings;
    Json found;
    found["installed"] = InstalledGenerations();
    found["main product path"] = Path(settings.CurrentKorvaultPath());
    found["alert path"] = Path(settings.CurrentAlertPath());
    if (session.IsAgent()) found["client agent path"] = Path(settings.CurrentClientAgentPath());
    found["newer alert"] = settings.NewAlertExists() != 0;
    found["antivirus"] = settings.PhagrixExists() != 0;
    found["database"] = settings.DBExists() != 0;
    found["job queue"] = settings.QueueExists() != 0;
    return found;
}

Json DescribeDecided(Session& session) {
    CSettings& settings = session.settings;
    Json decided;
    decided["mode"] = Mode(session);
    decided["remote"] =
        settings.RemoteSetup() ? Json(std::string("driven by ") + settings.RemoteHostServer()) : Json(false);
    if (settings.Uninstall()) {
        decided["main product"] = settings.UninstallKorvault() != 0;
        decided["alert"] = settings.UninstallAlert() != 0;
        return decided;
    }
    if (session.IsAgent()) {
        decided["client agent path"] = Path(settings.ClientAgentPath());
        return decided;
    }
    if (session.IsMain()) decided["main product path"] = Path(settings.KorvaultPath());
    decided["alert path"] = Path(settings.AlertPath());
    decided["components"] = Components(settings);
    decided["database"] = settings.InstallSQL() ? "SQL" : "RAIMA";
    decided["registered user"] = settings.RegisteredUser();
    decided["registered company"] = settings.RegisteredCompany();
    decided["system account"] = Account(settings);
    decided["kilobytes needed"] = settings.DiskSpaceNeeded();
    return decided;
}

}  // namespace

void Session::Log(const std::string& line) {
    if (!head.empty()) Log(std::exchange(head, ""));
    static char format[] = "%s";
    // A line of the setup log holds 511 characters.
    const std::string text = line.substr(0, 511);
    if (CLog::Write(log.c_str(), format, text.c_str()) || m_logWarned) return;
    m_logWarned = true;
    console::Warn("the log " + log + " cannot be written: " + host::ErrorText(host::LastError()));
}

bool Session::IsAlertShared() const {
    return std::any_of(others.begin(), others.end(),
                       [](const auto& other) { return !other.second.alertDirectory.empty(); });
}

std::string ProductText(marks::Kind kind, const marks::Marks& marks) {
    return marks.product + " (" + marks::NameOf(kind) + ", type " + std::to_string(marks.type) + ")";
}

std::string VersionText(WORD version) { return std::to_string(version >> 8) + "." + std::to_string(version & 0xFF); }

namespace {

// The type of the product that a removal without a medium is about.
LONG InstalledType() {
    const CHalvRegistry roots;  // chooses the family's root, below which the marks stand
    std::vector<std::pair<marks::Kind, marks::Marks>> found;
    for (const marks::Kind kind : marks::kKinds) {
        const marks::Marks marks = marks::Read(kind);
        if (marks.isThere) found.emplace_back(kind, marks);
    }
    if (found.empty()) return marks::TypeOf(marks::Kind::Main);
    if (found.size() == 1) return found.front().second.type;
    std::string names;
    for (const auto& [kind, marks] : found) names += (names.empty() ? "" : ", ") + ProductText(kind, marks);
    throw Failure{kUsage, "several products are installed: " + names + "; say which one with --type"};
}

LONG ChooseType(const Options& options, const std::string& source, const Medium& medium, bool uninstall) {
    if (options.type) return *options.type;
    if (source.empty() && uninstall) return InstalledType();
    if (medium.type < 0) throw Failure{kBadInput, source + "SETUP.INF names no product type; give one with --type"};
    return medium.type;
}

marks::Kind RequireKind(LONG type) {
    const std::optional<marks::Kind> kind = marks::KindOf(type);
    if (kind) return *kind;
    throw Failure{kBadInput, "there is no product of type " + std::to_string(type) +
                                 "; the types are 133, 24 and 25 (main server), 105 (alert server), 1027 and 62 "
                                 "(client agent)"};
}

// A removal is about the name that the product was installed under, an installation about the one that the medium's
// product library knows. Without either every kind has one of its own, so that none removes another's registration.
std::string ChooseProductId(Session& session) {
    const std::string installed = session.marks.isThere ? session.marks.product : "";
    if (session.settings.Uninstall() && !installed.empty()) return installed;
    if (*session.settings.Product() != '\0') return session.settings.Product();
    if (!installed.empty()) return installed;
    const std::string family = static_cast<const char*>(CHalvRegistry::GetZephraniteProdName());
    if (session.IsMain()) return family;
    return family + (session.IsAgent() ? "Agent" : "Alert");
}

// The alert server is the alert component alone, and the component stays as long as another product uses it.
void ChooseParts(Session& session) {
    CSettings& settings = session.settings;
    if (settings.Uninstall()) {
        if (session.kind == marks::Kind::Alert) settings.UninstallKorvault(0);
        if (session.IsAlertShared()) settings.UninstallAlert(0);
        return;
    }
    if (session.kind != marks::Kind::Alert) return;
    settings.InstallManager(0);
    settings.InstallServer(0);
    settings.InstallAdmin(0);
    settings.InstallAlert(1);
}

std::unique_ptr<Session> Open(const Options& options, bool uninstall) {
    auto session = std::make_unique<Session>();
    session->json = options.json;
    session->prints = !options.json && !options.quiet;
    session->verbose = session->prints && options.verbose;
    session->progressJson = options.progressJson;
    // All paths first: the information file makes the medium's folder the current one.
    if (!options.source.empty()) session->source = OpenMedium(options.source);
    if (!options.answers.empty()) session->answers = OpenAnswers(options.answers);
    session->log = LogPath(options);
    const Medium medium = session->source.empty() ? Medium{} : ReadMedium(session->source);
    const LONG type = ChooseType(options, session->source, medium, uninstall);
    session->kind = RequireKind(type);
    tagSETUP_INFO info = MakeRecord(*session, medium, type);
    if (!session->source.empty()) CComputer::ChangeDirectory(session->source.c_str());
    session->settings = CSettings(&info, uninstall ? 1 : 0);
    session->settings.Initialize();
    LearnVersion(*session);
    const CHalvRegistry roots;  // chooses the family's root, which marks and product id come from
    session->marks = marks::Read(session->kind);
    session->others = marks::Others(session->kind);
    session->productId = ChooseProductId(*session);
    if (options.express) session->settings.CustomSetup(0);
    given::Apply(options, *session);
    ChooseParts(*session);
    ChooseAccountDomain(*session);
    if (options.path.empty()) ChoosePath(*session);
    return session;
}

// All that a setup takes from medium, answers and machine. The marker file of a remote setup is used up by the first.
std::string Taken(Session& session) {
    CSettings& settings = session.settings;
    Json taken = DescribeSession(session);
    taken["decided"].erase("remote");
    std::string text = taken.dump(-1, ' ', false, Json::error_handler_t::replace);
    for (const int flag : {settings.AutoStartServices(), settings.IgnoreErrors(), settings.DeleteQueue(),
                           settings.ProductSubType(), settings.CustomSetup()})
        text += ' ' + std::to_string(flag);
    text += settings.SystemAccountPassword();
    text += '\n' + std::string(settings.Product()) + '\n' + settings.ComponentCode() + '\n' +
            settings.SystemAccountServer();
    return text;
}

// Who does what. The command line of another product's uninstaller may hold secrets; no other option does.
std::string Head(const Options& options) {
    CCurrentUser user;
    char time[64] = "";
    const std::time_t now = std::time(nullptr);
    std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S %z", std::localtime(&now));
    std::string head = std::string(time) + ' ' + kVersion + " on " + static_cast<const char*>(CComputer().Name()) +
                       ", " + user.GetDomain() + '\\' + user.GetUser() + ':';
    constexpr std::string_view kUninstaller = "--uninstaller";
    bool isSecret = false;
    for (const std::string& argument : options.arguments) {
        const bool isWithValue = argument.starts_with(std::string(kUninstaller) + '=');
        head += ' ' + (isSecret ? "..." : isWithValue ? std::string(kUninstaller) + "=..." : argument);
        isSecret = argument == kUninstaller;
    }
    return head;
}

}  // namespace

std::unique_ptr<Session> OpenSession(const Options& options, bool uninstall) {
    std::unique_ptr<Session> session = Open(options, uninstall);
    // A look that fails is told by nothing: the library then takes its default, another path, no account. What is read
    // twice alike was read.
    std::string first = Taken(*session), second = Taken(*Open(options, uninstall));
    const bool isAlike = first == second;
    host::Wipe(first);
    host::Wipe(second);
    if (!isAlike)
        throw Failure{kBadInput,
                      "medium, answers or registry could not be read: two looks at them differ; try it again"};
    session->head = Head(options);
    session->watch = options.watch;
    if (options.watch != nullptr) options.watch->Begin(*session);
    return session;
}

Json DescribeSession(Session& session) {
    CSettings& settings = session.settings;
    Json product;
    product["name"] = settings.ProductShortName();
    product["edition"] = settings.EditionName();
    product["type"] = settings.ProductType();
    product["subtype"] = settings.ProductSubType();
    product["version"] = session.version != 0 ? Json(VersionText(session.version)) : Json();
    product["build"] = session.build != 0 ? Json(session.build) : Json();
    product["registered as"] = session.productId;
    return Json{{"product", product}, {"found", DescribeFound(session)}, {"decided", DescribeDecided(session)}};
}

void WarnAboutAnswers(Session& session) {
    if (session.answers.empty()) return;
    CheckAnswersOfSetup(session.answers);
    if (session.settings.Uninstall() || session.IsAgent()) return;
    CSetupIcf answers(session.answers.c_str());
    char recorded[260] = "";
    answers.GetString("Base", "AlertPath", recorded, sizeof recorded);
    if (*recorded != '\0' && std::strcmp(recorded, answers.AlertPath()) != 0) {
        console::Warn(std::string("AlertPath of section Base is not used (") + answers.AlertPath() +
                      " is); put it into section InstallPath");
    }
    if (*answers.KorvaultPath() == '\0' && !session.settings.KorvaultExists()) {
        console::Warn(std::string("the answers name no product path: the product goes to ") +
                      session.settings.KorvaultPath());
    }
}
