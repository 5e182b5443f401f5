#include <iostream>

#include "kvsetup/capture.h"
#include "kvsetup/host.h"

namespace {

int CaptureCommand(const Options& options) {
    const Json captured = capture::CaptureMachine();
    checked_file::Write(options.file, capture::kFile, captured);
    const Json& problems = captured["problems"];
    if (options.json) {
        console::PrintJson({{"file", options.file}, {"computer", captured["computer"]}, {"problems", problems}});
        return kDone;
    }
    for (const Json& problem : problems) console::Warn("not captured: " + problem.get<std::string>());
    std::cout << "Captured the machine " << captured["computer"].get<std::string>() << " in " << options.file << '\n';
    return kDone;
}

}  // namespace

void AddCaptureCommand(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    CLI::App* const command =
        app.add_subcommand("capture", "what a setup reads and changes of this machine, in a file without secrets");
    command->add_option("file", options.file, "the file to write")->required();
    command->add_flag("--json", options.json, "print data as JSON");
    command->callback([&run] { run = CaptureCommand; });
}
