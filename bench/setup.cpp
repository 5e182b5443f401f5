// The front end as a whole.
#include <fstream>

#include "bench/machine.h"
#include "bench/subjects.h"

namespace bench {
namespace {

// An unattended installation from the demo's medium on a fresh machine, in another process.
void Install(const std::vector<std::string>& before = {}) {
    std::vector<std::string> command = before;
    command.insert(command.end(), {ProgramFolder() / "kvsetup", "--machine", Scratch() / "SETUP", "install", "--source",
                                   "D:\\", "--answers", "D:\\ANSWERS.ICF"});
    Run(command);
}

double CallsOfInstall() {
    const std::string calls = Scratch() / "calls";
    fs::remove(calls);
    Install({"env", "LD_PRELOAD=" + (ProgramFolder() / "bench_count.so").string(), "INSTALIB_BENCH_CALLS=" + calls});
    double sum = 0, count = 0;
    std::ifstream file(calls);
    for (std::string name; file >> count >> name;) sum += count;
    return sum;
}

}  // namespace

void SetupRows(Runner& runner) {
    const std::string time = "kvsetup install", calls = "kvsetup install, platform calls";
    if (!runner.Wants(time) && !runner.Wants(calls)) return;
    const auto onFreshMachine = [](double (*cost)()) {
        return [cost] {
            const BenchMachine machine("SETUP");
            embedded::control::MountDrive('D', ProgramFolder() / ".." / "demo" / "medium");
            return cost();
        };
    };
    runner.Measure(time, "ms", 0, onFreshMachine([] { return 1000 * Spent(1, [] { Install(); }); }), 5);
    runner.Measure(calls, "", 0, onFreshMachine(CallsOfInstall), 1);
}

}  // namespace bench
