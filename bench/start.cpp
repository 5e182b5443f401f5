// From a process's start to its first registry read, and the memory that it then has for itself.
#include "bench/machine.h"
#include "bench/peers.h"
#include "bench/subjects.h"

namespace bench {
namespace {

std::string Program(const char* name) { return ProgramFolder() / name; }

double Milliseconds(const std::vector<std::string>& command) {
    return 1000 * Spent(1, [&] { Run(command); });
}

// What the reading adds to a process that only starts.
Side Added(const std::vector<std::string>& command) {
    return [=] { return Milliseconds(command) - Milliseconds({Program("bench_load_runtime")}); };
}

Side MemoryOf(std::vector<std::string> command) {
    command.push_back("memory");
    return [=] {
        std::string output;
        Run(command, &output);
        return std::stod(output);
    };
}

void PeerRows(Runner& runner, std::size_t keys) {
    const std::string time = "start to first read, LMDB, 100k keys", memory = "private memory, LMDB, 100k keys";
#ifdef INSTALIB_BENCH_LMDB
    const std::string file = Scratch() / "start.lmdb";
    Lmdb(file, false).Fill(keys, 5);
    const std::vector<std::string> read = {Program("bench_first_read_lmdb"), file,
                                           KeyName(77, Shape::Grouped) + "\\Value0"};
    runner.Measure(time, "ms", 0, Added(read));
    runner.Measure(memory, "MB", 0, MemoryOf(read), 3);
#else
    static_cast<void>(keys);
    runner.Missing(time, "LMDB (liblmdb-dev) is not installed");
    runner.Missing(memory, "LMDB (liblmdb-dev) is not installed");
#endif
}

}  // namespace

void StartRows(Runner& runner) {
    struct Size {
        std::size_t keys;
        const char* name;
    };
    constexpr Size kSizes[] = {{1000, "1k"}, {10000, "10k"}, {100000, "100k"}, {500000, "500k"}};
    const std::string memory = "private memory, 100k keys of 5 values";
    for (const Size& size : kSizes) {
        const std::string subject = std::string("start to first read, ") + size.name + " keys";
        const bool isForMemory = size.keys == 100000;
        if (!runner.Wants(subject) && !(isForMemory && runner.Wants(memory))) continue;
        BenchMachine machine(std::string("START") + size.name);
        machine.Fill(kBranch, size.keys, isForMemory ? 5 : 1);
        const std::vector<std::string> read = {Program("bench_first_read"), machine.Folder(),
                                               std::string(kBranch) + '\\' + KeyName(77, Shape::Grouped)};
        runner.Measure(subject, "ms", 3, Added(read), size.keys < 100000 ? 9 : 5);
        if (!isForMemory) continue;
        runner.Measure(memory, "MB", 12, MemoryOf(read), 3);
        PeerRows(runner, size.keys);
    }
}

}  // namespace bench
