#include "kvsetup/plan_commands.h"

#include <algorithm>
#include <iostream>
#include <sstream>

#include "kvsetup/checked_file.h"
#include "kvsetup/host.h"
#include "kvsetup/plan_file.h"
#include "kvsetup/record_json.h"
#include "kvsetup/setup_run.h"

namespace {

using Command = std::function<int(const Options&)>;

// What a rehearsal prints is not what happens.
class Silence {
  public:
    explicit Silence(bool errorsToo) : m_output(std::cout.rdbuf(m_nothing.rdbuf())) {
        if (errorsToo) m_errors = std::cerr.rdbuf(m_nothing.rdbuf());
    }
    ~Silence() {
        std::cout.rdbuf(m_output);
        if (m_errors != nullptr) std::cerr.rdbuf(m_errors);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

  private:
    std::ostringstream m_nothing;
    std::streambuf* m_output;
    std::streambuf* m_errors = nullptr;
};

struct Rehearsed {
    std::vector<std::string> bytes;
    std::vector<CSetupRecord> records;
};

void Rehearse(Options options, const Command& command, bool isSecond, Rehearsed& result) {
    const host::ScratchMachine scratch(isSecond);
    if (!scratch.Problem().empty()) throw Failure{kFailed, scratch.Problem()};
    records::Rehearsal rehearsal;
    options.rehearsal = &rehearsal;
    options.yes = true;
    options.json = false;
    {
        const Silence silence(isSecond);
        command(options);
    }
    result.records = std::vector<CSetupRecord>(rehearsal.files.size());
    for (std::size_t i = 0; i < rehearsal.files.size(); ++i) {
        const std::string& file = rehearsal.files[i];
        if (!host::ReadFile(host::HostPath(file), result.bytes.emplace_back()) || !result.records[i].Read(file.c_str()))
            throw Failure{kFailed, "the rehearsal's record cannot be read: " + host::ErrorText(host::LastError())};
    }
}

void Append(Json& stages, const Json& more) {
    for (const Json& stage : more) stages.push_back(stage);
}

int PlanCommand(const Options& options, const std::string& setup, const Command& command) {
    if (options.resume || !options.drivingHost.empty())
        throw Failure{kUsage, "a plan is made of a whole setup, without --resume and --host"};
    if (!options.yes && options.answers.empty()) throw Failure{kUsage, "a plan asks nothing; add --yes or --answers"};
    Json plan{{"setup", setup},
              {"what", ""},
              {"machine", plans::ThisMachine()},
              {"options", plans::DescribeOptions(options)},
              {"medium", plans::MediumDigest(options)},
              {"answers", plans::AnswersDigest(options)},
              {"stages", Json::array()}};
    Rehearsed first, second;
    Rehearse(options, command, false, first);
    Rehearse(options, command, true, second);
    if (first.records.size() != second.records.size() || first.records.empty())
        throw Failure{kFailed, "the setup does not do the same when it is repeated; there is no plan of it"};
    Json pairs = Json::array();
    for (std::size_t i = 0; i < first.records.size(); ++i) {
        if (!first.records[i].IsLike(second.records[i]))
            throw Failure{kFailed, "the setup does not do the same when it is repeated; there is no plan of it"};
        plan["what"] = static_cast<const char*>(first.records[i].GetMark(0));
        Append(plan["stages"], DescribeStages(first.records[i], &second.records[i]));
        pairs.push_back({checked_file::ToHex(first.bytes[i]), checked_file::ToHex(second.bytes[i])});
    }
    const Json shown = plan;
    plan["records"] = pairs;
    plans::Write(options.file, plan);
    if (options.json) {
        console::PrintJson(shown);
        return kDone;
    }
    PrintStages(plan["stages"]);
    std::cout << CountChanges(plan["stages"]) << " changes in " << plan["stages"].size() << " stages. The plan is in "
              << options.file << "; nothing was changed.\n";
    return kDone;
}

int ApplyCommand(const Options& given) {
    const Json plan = plans::Read(given.file);
    Options options = given;
    records::Following following;
    std::string setup;
    try {
        plans::TakeOptions(plan, options);
        following.records = plans::Records(plan);
        setup = plan.at("setup").get<std::string>();
        if (plan.at("machine") != plans::ThisMachine())
            throw Failure{kBadInput, "the plan is one for the machine " + plan.at("machine").get<std::string>()};
        if (plan.at("medium") != plans::MediumDigest(options))
            throw Failure{kBadInput, "the medium " + options.source + " is not the one that the plan was made with"};
        if (plan.at("answers") != plans::AnswersDigest(options))
            throw Failure{kBadInput, "the answers " + options.answers + " are not those that the plan was made with"};
    } catch (const Json::exception&) {
        throw Failure{kBadInput, "the plan " + given.file + " is incomplete"};
    }
    if (following.records.empty()) throw Failure{kBadInput, "the plan " + given.file + " has no records"};
    if (!given.yes) {
        if (given.json || !host::IsTerminal(host::Stream::Input))
            throw Failure{kCancelled, "there is nobody to ask; run with --yes"};
        if (!Require(console::AskYesNo("Carry out the plan: " + plan.value("what", ""), false)))
            throw Failure{kCancelled, "cancelled"};
        options.yes = true;  // the plan has all the answers
    }
    options.plan = &following;
    const struct {
        const char* setup;
        int (*command)(const Options&);
    } commands[] = {{"install", InstallCommand}, {"uninstall", UninstallCommand}, {"upgrade", UpgradeCommand}};
    for (const auto& [name, command] : commands) {
        if (setup == name) return command(options);
    }
    throw Failure{kBadInput, "the plan " + given.file + " is one of no setup that this kvsetup knows"};
}

}  // namespace

void AddPlanCommands(CLI::App& app, CLI::App& plan, Options& options, Command& run) {
    plan.require_subcommand(1);
    plan.add_option("--out", options.file, "file to write the plan to")->required();
    for (CLI::App* const setup : plan.get_subcommands([](CLI::App*) { return true; })) setup->fallthrough();
    plan.callback([&plan, &run] {
        const std::string setup = plan.get_subcommands().front()->get_name();
        run = [setup, command = run](const Options& given) { return PlanCommand(given, setup, command); };
    });
    CLI::App* const apply = app.add_subcommand("apply", "carry out a plan, and nothing that is not in it");
    apply->add_option("plan", options.file, "the plan's file")->required();
    apply->add_option("--source", options.source, "folder of the same medium, when it stands elsewhere now");
    apply->add_option("--answers", options.answers, "the same response file, when it stands elsewhere now");
    apply->add_option("--password-from", options.passwordFrom,
                      "the account's password, when it was not in the response file; - for the standard input");
    apply->add_option("--log", options.log, "setup log (default: KVSETUP.LOG on the drive of Program Files)");
    apply->add_flag("--yes", options.yes, "ask nothing");
    apply->add_flag("--json", options.json, "print data as JSON");
    apply->callback([&run] { run = ApplyCommand; });
}
