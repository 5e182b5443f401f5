// kvsetup: the console front end of the setup library. It reads the command line and hands over to the commands.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iostream>

#include "kvsetup/answers_commands.h"
#include "kvsetup/capture.h"
#include "kvsetup/console.h"
#include "kvsetup/given_answers.h"
#include "kvsetup/host.h"
#include "kvsetup/machine_commands.h"
#include "kvsetup/manual_commands.h"
#include "kvsetup/medium_commands.h"
#include "kvsetup/options.h"
#include "kvsetup/plan_commands.h"
#include "kvsetup/record_commands.h"
#include "kvsetup/remote_commands.h"
#include "kvsetup/report_command.h"
#include "kvsetup/verify_commands.h"

namespace {

constexpr char kExitCodes[] =
    "Exit codes: 0 done; 1 a stage failed; 2 wrong command line; 3 the medium, the answers or another file cannot be\n"
    "used; 4 cancelled, or nobody to ask; 5 not an administrator; 6 nothing to do, or an installed product that must "
    "not\n"
    "be replaced; 7 the machine is not as it was installed, or not as a plan saw it;\n"
    "8 another setup is at work; 9 a program of the product runs; 10 the machine is damaged; 11 done, and a restart "
    "of\n"
    "the machine completes it.";

using Run = std::function<int(const Options&)>;

void AddSource(CLI::App& command, Options& options, bool required) {
    CLI::Option* const source =
        command.add_option("--source", options.source, "folder of the installation medium, with its SETUP.INF");
    if (required) source->required();
    command.add_option("--type", options.type, "product type; without it the medium's own (133 for a removal)");
    command.add_option("--log", options.log, "setup log (default: KVSETUP.LOG on the drive of Program Files)");
    command.add_flag("--yes", options.yes, "ask nothing");
    command.add_flag("--json", options.json, "print data as JSON");
    CLI::Option* const quiet = command.add_flag("--quiet,-q", options.quiet, "print warnings and errors alone");
    command.add_flag("--verbose,-v", options.verbose, "print every change")->excludes(quiet);
    command
        .add_option_function<std::string>(
            "--progress", [&options](const std::string& form) { options.progressJson = form == "json"; },
            "json: a line of JSON a stage on the error stream, as it happens")
        ->check(CLI::IsMember({"json", "text"}));
}

void AddWatchers(CLI::App& command, Options& options) {
    command
        .add_option("--host,-r", options.drivingHost, "computer whose kvsetup listen follows this setup (also -r:NAME)")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    command.add_option("--mif", options.mif, "status file for a software distribution system, also when it fails");
    command.add_option("--mif-layout", options.mifLayout, "standard or short")
        ->check(CLI::IsMember({"standard", "short"}))
        ->capture_default_str();
    command.add_flag("--close-programs", options.closePrograms, "close the product's programs that still run");
    command
        .add_option("--close-timeout", options.closeTimeout, "seconds until a program that does not close is given up")
        ->capture_default_str();
}

void AddInstall(CLI::App& app, Options& options, Run& run) {
    CLI::App* const command = app.add_subcommand("install", "install or reconfigure the product of a medium");
    AddSource(*command, options, true);
    command->add_option("--answers", options.answers, "response file of an unattended setup; nothing is asked then");
    given::AddOptions(*command, options, false);
    command->add_flag("--express", options.express, "the standard set of components");
    command->add_flag("--keep", options.keep, "leave what a failed installation has done; nothing is taken back then");
    command->add_flag("--resume", options.resume, "go on behind the last whole stage of an interrupted installation");
    AddWatchers(*command, options);
    command->callback([&run] { run = InstallCommand; });
}

void AddUninstall(CLI::App& app, Options& options, Run& run) {
    CLI::App* const command = app.add_subcommand("uninstall", "remove the installed product");
    AddSource(*command, options, false);
    command->add_option("--answers", options.answers, "response file that says what is removed");
    given::AddOptions(*command, options, true);
    command->add_flag("--keep", options.keep, "leave what a failed removal has done; nothing is taken back then");
    AddWatchers(*command, options);
    command->callback([&run] { run = UninstallCommand; });
}

void AddUpgradeCheck(CLI::App& app, Options& options, Run& run) {
    CLI::App* const check = app.add_subcommand("upgrade-check", "may the installed product be upgraded, and why");
    check->add_option("--source", options.source, "folder of the installation medium, with its SETUP.INF")->required();
    check->add_option("--product", options.product, "registration name of the installed product")->required();
    check->add_option("--target", options.target, "the machine that is asked (default: this one)");
    check->add_flag("--json", options.json, "print data as JSON");
    check->callback([&run] { run = UpgradeCheckCommand; });
}

void AddUpgrade(CLI::App& app, Options& options, Run& run) {
    CLI::App* const upgrade = app.add_subcommand("upgrade", "replace the installed product and keep its settings");
    AddSource(*upgrade, options, true);
    upgrade->add_option("--answers", options.answers, "response file of an unattended setup; nothing is asked then");
    given::AddOptions(*upgrade, options, false);
    upgrade->add_option("--product", options.product,
                        "registration name of the installed product (default: the medium's)");
    upgrade->add_option("--uninstaller", options.uninstaller, "command line that removes the old product");
    upgrade->add_flag("--keep", options.keep, "leave what a failed upgrade has done; nothing is taken back then");
    upgrade->add_flag("--accept-loss", options.acceptLoss, "go on although the backup does not hold every setting");
    CLI::Option* const resume =
        upgrade->add_flag("--resume", options.resume, "go on with the backup that an earlier upgrade left");
    upgrade->add_flag("--discard", options.discard, "delete that backup and start afresh")->excludes(resume);
    AddWatchers(*upgrade, options);
    upgrade->callback([&run] { run = UpgradeCommand; });
}

void AddStatus(CLI::App& app, Options& options, Run& run) {
    CLI::App* const command = app.add_subcommand("status", "the family's products on this machine, of all generations");
    command->add_flag("--json", options.json, "print data as JSON");
    command->callback([&run] { run = StatusCommand; });
}

void AddServices(CLI::App& app, Options& options, Run& run) {
    CLI::App* const services = app.add_subcommand("services", "the family's services");
    services->require_subcommand(1);
    CLI::App* const list = services->add_subcommand("list", "which are installed, and their states");
    list->add_flag("--json", options.json, "print data as JSON");
    list->callback([&run] { run = ServicesListCommand; });
    const auto add = [&](const char* name, const char* help, int (*command)(const Options&)) {
        CLI::App* const sub = services->add_subcommand(name, help);
        sub->add_option("service", options.serviceName, "one service by name; all of the family without it");
        sub->callback([&run, command] { run = command; });
    };
    add("start", "start, and wait until they run", ServicesStartCommand);
    add("stop", "stop, with the services that depend on them", ServicesStopCommand);
    add("remove", "stop and remove", ServicesRemoveCommand);
}

int Parse(CLI::App& app, int argc, char** argv, Run& run, Options& options) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::CallForAllHelp& help) {
        return app.exit(help);
    } catch (const CLI::CallForVersion& version) {
        return app.exit(version);
    } catch (const CLI::ParseError& error) {
        throw Failure{kUsage, std::string(error.what()) + "; see kvsetup --help"};
    }
    if (!run) throw Failure{kUsage, "no command given; see kvsetup --help"};
    // The library's own form of the switch is "-r:NAME".
    if (options.drivingHost.starts_with(':')) options.drivingHost.erase(0, 1);
    // Before the library makes the medium's folder the current one.
    for (std::string* const path : {&options.source, &options.answers, &options.log, &options.file, &options.page,
                                    &options.mif, &options.saveAnswers, &options.passwordFrom}) {
        if (!path->empty() && *path != "-") *path = host::FromHere(*path);
    }
    given::ReadPassword(options);
    std::string problem;
    if (!options.machine.empty() && !host::SelectMachine(options.machine, &problem)) throw Failure{kBadInput, problem};
    if (options.needsMachine && !host::IsMachineSound(&problem)) throw Failure{kDamaged, problem};
    return run(options);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Installs, shows and removes the products of the family.", "kvsetup");
    app.footer(kExitCodes);
    app.set_version_flag("--version", kVersion);
    Options options;
    options.arguments.assign(argv + 1, argv + argc);
    Run run;
    app.add_option("--machine", options.machine, "folder of the embedded machine to work on");
    app.add_option("--wait", options.wait, "seconds to wait for another setup (default: 120)")
        ->check(CLI::Range(0u, 86400u));
    // The options of the program may stand behind a command, too.
    app.fallthrough();
    AddInstall(app, options, run);
    AddUninstall(app, options, run);
    AddUpgradeCheck(app, options, run);
    AddUpgrade(app, options, run);
    CLI::App* const plan = app.add_subcommand("plan", "what a setup would change, found out on a copy of the machine");
    AddInstall(*plan, options, run);
    AddUninstall(*plan, options, run);
    AddUpgrade(*plan, options, run);
    AddPlanCommands(app, *plan, options, run);
    AddVerifyCommands(app, options, run);
    AddReportCommand(app, options, run);
    AddRemoteCommands(app, options, run);
    AddStatus(app, options, run);
    AddServices(app, options, run);
    AddRecordCommands(app, options, run);
    AddAnswersCommands(app, options, run);
    AddMediumCommands(app, options, run);
    AddCaptureCommand(app, options, run);
    AddMachineCommands(app, options, run);
    AddManualCommands(app, options, run);
    app.require_subcommand(0, 1);
    int code = kFailed;
    std::string problem;
    try {
        code = Parse(app, argc, argv, run, options);
    } catch (const Failure& failure) {
        code = failure.code;
        problem = failure.message;
    } catch (const std::exception& error) {
        problem = error.what();
    }
    // A command line that is wrong may be so before the option.
    const bool json = options.json || std::find(argv + 1, argv + argc, std::string("--json")) != argv + argc;
    const bool wasHelp = !run && problem.empty();
    if (json && !wasHelp) console::EndJson(code, problem);
    host::Wipe(options.password);
    code = console::EndOutput(code, &problem);
    if (!problem.empty()) std::cerr << "kvsetup: " << console::Printable(problem) << '\n';
    return code;
}
