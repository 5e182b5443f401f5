#include <iostream>

#include "kvsetup/given_answers.h"
#include "kvsetup/host.h"
#include "kvsetup/recorded_run.h"
#include "kvsetup/running_programs.h"
#include "kvsetup/setup_checks.h"
#include "kvsetup/setup_run.h"
#include "kvsetup/stages.h"
#include "kvsetup/watch.h"

namespace {

// A newer product on the machine is not replaced by an older one.
void RequireNoDowngrade(Session& session, CHalvRegistry& registry) {
    const WORD version = registry.GetVersionNumber(session.productId.c_str());
    const WORD build = registry.GetBuildNumber(session.productId.c_str());
    const bool newer = version > session.version || (version == session.version && build > session.build);
    if (session.version == 0 || version == 0 || !newer) return;
    throw Failure{kNothingToDo, "version " + VersionText(version) + " build " + std::to_string(build) +
                                    " is installed and newer than the medium's " + VersionText(session.version) +
                                    std::string(" build ") + std::to_string(session.build) + "; remove it first"};
}

void AskComponents(CSettings& settings) {
    const struct {
        const char* name;
        int (CSettings::*get)();
        void (CSettings::*set)(int);
    } components[] = {
        {"the manager", &CSettings::InstallManager, &CSettings::InstallManager},
        {"the server", &CSettings::InstallServer, &CSettings::InstallServer},
        {"the admin tool", &CSettings::InstallAdmin, &CSettings::InstallAdmin},
        {"the alert component", &CSettings::InstallAlert, &CSettings::InstallAlert},
    };
    for (const auto& component : components) {
        const bool chosen = (settings.*component.get)() != 0;
        const bool answer = Require(console::AskYesNo(std::string("Install ") + component.name, chosen));
        // The server brings the admin tool; a choice that stands is not set again, so that it takes nothing back.
        if (answer != chosen) (settings.*component.set)(answer ? 1 : 0);
    }
}

// Asks until the answer has nothing against it.
std::string AskUntil(const char* question, const std::string& fallback, std::string (*problem)(const std::string&)) {
    for (;;) {
        const std::string answer = Require(console::Ask(question, fallback));
        const std::string why = problem(answer);
        if (why.empty()) return answer;
        std::cout << console::Printable(answer) << ' ' << console::Printable(why) << '\n';
    }
}

void AskAccount(CSettings& settings) {
    const std::string name =
        AskUntil("System account (- for none)", settings.SystemAccountName(), checks::AccountNameProblem);
    settings.SystemAccountName(name == "-" ? "" : name.c_str());
    if (*settings.SystemAccountName() == '\0') return;
    settings.SystemAccountDomain(Require(console::Ask("Its domain", settings.SystemAccountDomain())).c_str());
    std::cout << "Its password (empty: the account is used as it is): " << std::flush;
    std::string password = host::ReadHiddenLine();
    std::cout << '\n';
    settings.SystemAccountPassword(password.c_str());
    host::Wipe(password);
}

void AskSettings(Session& session) {
    CSettings& settings = session.settings;
    if (session.IsAgent()) {
        settings.ClientAgentPath(
            AskUntil("Directory of the agent", settings.ClientAgentPath(), checks::PathProblem).c_str());
        return;
    }
    settings.RegisteredUser(Require(console::Ask("Registered user", settings.RegisteredUser())).c_str());
    settings.RegisteredCompany(Require(console::Ask("Company", settings.RegisteredCompany())).c_str());
    if (session.IsMain()) {
        settings.KorvaultPath(
            AskUntil("Directory of the product", settings.KorvaultPath(), checks::PathProblem).c_str());
        AskComponents(settings);
    }
    if (settings.InstallAlert()) {
        settings.AlertPath(
            AskUntil("Directory of the alert component", settings.AlertPath(), checks::PathProblem).c_str());
    }
    AskAccount(settings);
}

bool IsAnythingInstalled(Session& session, CHalvRegistry& registry) {
    if (session.marks.isThere || registry.IsProductInstalled(session.productId.c_str())) return true;
    if (session.IsAgent()) return session.settings.ClientAgentExists() != 0;
    return session.IsMain() && session.settings.KorvaultExists();
}

// A product that is installed stays where it is: its files are not the setup's to move.
void RequireSamePlace(Session& session) {
    CSettings& settings = session.settings;
    const struct {
        const std::string& was;
        const char* wanted;
        bool applies;
    } places[] = {
        {session.marks.directory, session.IsAgent() ? settings.ClientAgentPath() : settings.KorvaultPath(),
         session.IsAgent() || session.IsMain()},
        {session.marks.alertDirectory, settings.AlertPath(), !session.IsAgent() && settings.InstallAlert()},
    };
    for (const auto& place : places) {
        if (!place.applies || place.was.empty() || CString(place.was.c_str()).CompareNoCase(place.wanted) == 0)
            continue;
        throw Failure{kNothingToDo, ProductText(session.kind, session.marks) + " is installed in " + place.was +
                                        " and cannot be installed in " + place.wanted + "; remove it first"};
    }
}

int InstallIn(Session& session, const Options& options, bool asks) {
    if (asks) AskSettings(session);
    CHalvRegistry registry(session.settings, 0, nullptr);
    RequireNoDowngrade(session, registry);
    RequireSamePlace(session);
    WarnAboutAnswers(session);
    checks::Require(session, checks::OfInstallation(session));
    given::Save(options, session);
    Json report = Describe(session);
    WarnAboutSpace(session);
    Confirm(options, session, "Install now");
    CloseRunningPrograms(options, asks, session);
    session.Log("Installation of " + session.productId + " from " + session.source);
    StageContext context{session, registry};
    // Answers that ignore errors want the pieces.
    const bool keepGoing = session.settings.IgnoreErrors() != 0;
    RecordedRun run(session, options, "install", options.keep || keepGoing, options.resume);
    const bool succeeded = run.Stages(InstallStages(), context, keepGoing, report) && run.Complete();
    if (!succeeded) run.TakeBack(context, report);
    return Finish(session, report, succeeded, "Installation");
}

int Install(const Options& options) {
    const bool asks = !options.yes && options.answers.empty();
    if (asks && options.passwordFrom == "-")
        throw Failure{kUsage, "--password-from - leaves nothing to ask; add --yes or --answers"};
    if (asks && options.json) throw Failure{kUsage, "--json asks nothing; add --yes or --answers"};
    if (asks && !host::IsTerminal(host::Stream::Input)) {
        throw Failure{kCancelled, "there is no terminal to ask on; run with --yes or --answers"};
    }
    const host::SetupLock lock(options.wait);
    RequireHeld(lock);
    RequireAdministrator();
    if (!options.resume) records::TakeBackUnfinished(options.json || options.quiet);
    const std::unique_ptr<Session> session = OpenSession(options, false);
    return Logged(*session, [&] { return InstallIn(*session, options, asks); });
}

int UninstallIn(Session& session, const Options& options, bool asks) {
    CHalvRegistry registry(session.settings, 0, nullptr);
    // A mark alone tells of an installation that did not come to its end.
    if (!IsAnythingInstalled(session, registry)) {
        throw Failure{kNothingToDo, session.productId + " is not installed on this machine"};
    }
    Json report = Describe(session);
    Confirm(options, session, "Remove it now");
    CloseRunningPrograms(options, asks, session);
    session.Log("Removal of " + session.productId);
    StageContext context{session, registry};
    RecordedRun run(session, options, "uninstall", options.keep);
    const bool succeeded = run.Stages(UninstallStages(), context, options.keep, report) && run.CompleteRemoval();
    if (!succeeded) run.TakeBack(context, report);
    return Finish(session, report, succeeded, "Removal");
}

int Uninstall(const Options& options) {
    const bool asks = !options.yes && options.answers.empty();
    if (asks && (options.json || !host::IsTerminal(host::Stream::Input))) {
        throw Failure{kCancelled, "there is nobody to ask; run with --yes or --answers"};
    }
    const host::SetupLock lock(options.wait);
    RequireHeld(lock);
    RequireAdministrator();
    records::TakeBackUnfinished(options.json || options.quiet);
    const std::unique_ptr<Session> session = OpenSession(options, true);
    return Logged(*session, [&] { return UninstallIn(*session, options, asks); });
}

}  // namespace

int InstallCommand(const Options& options) { return RunWatched(options, false, Install); }
int UninstallCommand(const Options& options) { return RunWatched(options, true, Uninstall); }
