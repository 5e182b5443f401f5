#include "kvsetup/running_programs.h"

#include <chrono>
#include <iostream>
#include <thread>

#include "instalib/application.h"
#include "kvsetup/setup_run.h"

namespace {

struct Program {
    CApplication::Application application;
    const char* name;
};
constexpr Program kPrograms[] = {{CApplication::ManagerApp, "the manager"},
                                 {CApplication::AdminApp, "the admin tool"},
                                 {CApplication::CentralDBConfigApp, "the central database configuration"},
                                 {CApplication::MonitorApp, "the monitor"},
                                 {CApplication::DeviceConfigApp, "the device configuration"}};

std::vector<Program> Running() {
    std::vector<Program> running;
    for (const Program& program : kPrograms) {
        if (CApplication(program.application).IsRunning()) running.push_back(program);
    }
    return running;
}

std::string Names(const std::vector<Program>& programs) {
    std::string names;
    for (const Program& program : programs) names += (names.empty() ? "" : ", ") + std::string(program.name);
    return names;
}

// What still runs when all have gone or the time is over.
std::vector<Program> Close(const std::vector<Program>& programs, unsigned seconds, bool quiet) {
    using namespace std::chrono;
    for (const Program& program : programs) CApplication(program.application).CloseWindow();
    const auto end = steady_clock::now() + std::chrono::seconds(seconds);
    auto told = steady_clock::now();
    std::vector<Program> left = Running();
    while (!left.empty() && steady_clock::now() < end) {
        std::this_thread::sleep_for(milliseconds(50));
        left = Running();
        if (quiet || left.empty() || steady_clock::now() - told < std::chrono::seconds(5)) continue;
        told = steady_clock::now();
        std::cout << "Still waiting for " << Names(left) << " to end" << std::endl;
    }
    return left;
}

}  // namespace

void CloseRunningPrograms(const Options& options, bool mayAsk, Session& session) {
    if (options.rehearsal != nullptr) return;
    std::vector<Program> running = Running();
    if (running.empty()) return;
    const std::string found = "programs of the product still run: " + Names(running);
    session.Log("Found: " + found);
    if (!options.closePrograms && !mayAsk)
        throw Failure{kProgramsRun, found + "; close them, or run with --close-programs"};
    if (session.prints) std::cout << "Found: " << found << std::endl;
    if (!options.closePrograms && !Require(console::AskYesNo("Close them", true)))
        throw Failure{kCancelled, "cancelled: " + found};
    running = Close(running, options.closeTimeout, !session.prints);
    if (running.empty()) {
        session.Log("They were closed");
        return;
    }
    throw Failure{kProgramsRun, "these programs did not close within " + std::to_string(options.closeTimeout) +
                                    " seconds: " + Names(running) + "; nothing was changed"};
}
