#include "kvsetup/record_commands.h"

#include <iostream>

#include "instalib/current_user.h"
#include "kvsetup/host.h"
#include "kvsetup/recorded_run.h"

namespace {

void RequireNobodyElse(const host::SetupLock& lock) {
    if (!CCurrentUser::IsAdministrator())
        throw Failure{kNotAllowed, "taking back needs administrator rights; run it as an administrator"};
    if (!lock.Held())
        throw Failure{kBusy, "another setup is still working on this machine; run this when it has ended"};
}

int TakeBack(const records::Found& found, const Options& options) {
    if (!options.yes) {
        if (options.json || !host::IsTerminal(host::Stream::Input))
            throw Failure{kCancelled, "there is nobody to ask; run with --yes"};
        const auto answer = console::AskYesNo("Take back: " + found.what, false);
        if (!answer || !*answer) throw Failure{kCancelled, "cancelled"};
    }
    Json report{{"record", found.file}, {"setup", found.what}, {"changes", found.changes}};
    if (!options.json)
        std::cout << found.what << ", " << found.changes << " changes on record in " << found.file << std::endl;
    const bool whole = records::TakeBack(found, options.json, report);
    report["succeeded"] = whole;
    report["changed"] = true;
    if (options.json) console::PrintJson(report);
    if (!whole) throw Failure{kFailed, "not everything could be taken back; what is left is named above"};
    if (!options.json) std::cout << "Everything was taken back.\n";
    return kDone;
}

int RecoverCommand(const Options& options) {
    const host::SetupLock lock(options.wait);
    RequireNobodyElse(lock);
    records::Sweep();
    for (const records::Found& found : records::All()) {
        if (found.state == CSetupRecord::None)
            throw Failure{kBadInput, "the record " + found.file + " cannot be used: " + host::ErrorText(found.error)};
    }
    const std::optional<records::Found> found = records::Unfinished();
    if (!found) throw Failure{kNothingToDo, "no setup was interrupted on this machine"};
    return TakeBack(*found, options);
}

int UndoCommand(const Options& options) {
    const host::SetupLock lock(options.wait);
    RequireNobodyElse(lock);
    const std::vector<records::Found> all = records::All();
    if (all.empty()) throw Failure{kNothingToDo, "no setup is on record on this machine"};
    const records::Found& newest = all.back();
    if (newest.state == CSetupRecord::None)
        throw Failure{kBadInput, "the record " + newest.file + " cannot be used: " + host::ErrorText(newest.error)};
    if (newest.state == CSetupRecord::Running)
        throw Failure{kNothingToDo, "the last setup was interrupted; see kvsetup recover"};
    return TakeBack(newest, options);
}

}  // namespace

void AddRecordCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    const auto add = [&](const char* name, const char* help, int (*command)(const Options&)) {
        CLI::App* const sub = app.add_subcommand(name, help);
        sub->add_flag("--yes", options.yes, "ask nothing");
        sub->add_flag("--json", options.json, "print data as JSON");
        sub->callback([&run, command] { run = command; });
    };
    add("recover", "take back a setup that was interrupted", RecoverCommand);
    add("undo", "take back the last finished setup", UndoCommand);
}

void WarnAboutUnfinished() {
    const host::SetupLock lock(0);
    if (!lock.Held()) return;  // one is at work
    if (const auto found = records::Unfinished()) {
        console::Warn("a setup was interrupted (" + found->what +
                      "); kvsetup recover takes it back, kvsetup install --resume goes on with it");
    }
}
