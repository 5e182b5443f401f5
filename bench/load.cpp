// Loading the libraries, and their sizes.
#include <cstdlib>

#include "bench/subjects.h"

namespace bench {
namespace {

void LinuxRow(Runner& runner) {
    const auto cost = [](const char* program) {
        return [path = (ProgramFolder() / program).string()] {
            constexpr int kStarts = 20;
            return Spent(kStarts, [&] {
                for (int i = 0; i < kStarts; ++i) Run({path});
            });
        };
    };
    runner.Compare("first load of the library, Linux", "the C++ runtime alone", 1.3, cost("bench_load_library"),
                   cost("bench_load_runtime"));
}

void WineRow(Runner& runner, const std::string& windowsFolder) {
    const std::string subject = "load of the DLL under Wine";
    if (!runner.Wants(subject)) return;
    if (windowsFolder.empty()) {
        runner.Missing(subject, "no Windows build was named (--windows)");
        return;
    }
    const auto cost = [&](const char* program) {
        return [path = (fs::path(windowsFolder) / program).string()] {
            constexpr int kStarts = 3;
            return Spent(kStarts, [&] {
                for (int i = 0; i < kStarts; ++i) Run({"wine", path});
            });
        };
    };
    runner.Compare(subject, "a trivial program with a DLL", 1.3, cost("bench_load_library.exe"),
                   cost("bench_load_trivial.exe"), 5);
}

double StrippedMegabytes(const fs::path& library) {
    const std::string copy = Scratch() / "stripped";
    Run({"strip", "-o", copy, library});
    return double(fs::file_size(copy)) / (1024 * 1024);
}

}  // namespace

void LoadRows(Runner& runner, const std::string& windowsFolder) {
    LinuxRow(runner);
    WineRow(runner, windowsFolder);
    for (const char* const name : {"libinstalib.so", "libinstalib_machine.so"}) {
        runner.Measure(
            std::string("stripped size, ") + name, "MB", 0, [&] { return StrippedMegabytes(ProgramFolder() / name); },
            1);
    }
}

}  // namespace bench
