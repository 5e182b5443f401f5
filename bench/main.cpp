// How fast the library and the embedded machine are, beside peers from the distribution. `./dev bench` runs it.
//
//   instalib_bench [--json] [--quick] [--only TEXT] [--windows FOLDER]
//
// Prints a line for each row: the subject, its peer, the figure (ours divided by the peer's, or a figure of its own),
// its noise and its goal. Ends with a plain line and fails when a goal is missed by more than its noise. --windows
// names the folder of a Windows build, whose DLL is measured under Wine.
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "bench/subjects.h"

namespace {

using bench::Row;

void PrintText(const std::vector<Row>& rows) {
    std::printf("%-46s %-34s %9s %7s %7s\n", "subject", "against", "figure", "noise", "goal");
    for (const Row& row : rows) {
        if (!row.missing.empty()) {
            std::printf("%-46s not measured: %s\n", row.subject.c_str(), row.missing.c_str());
            continue;
        }
        char goal[32] = "-";
        if (row.goal != 0) std::snprintf(goal, sizeof goal, "%s%.2f", row.isFloor ? ">" : "", row.goal);
        std::printf("%-46s %-34s %7.2f %-3s %5.2f %7s%s\n", row.subject.c_str(), row.peer.c_str(), row.figure,
                    row.unit.c_str(), row.noise, goal, row.IsMissed() ? "  missed" : "");
    }
}

void PrintJson(const std::vector<Row>& rows) {
    // Subjects, peers, units and reasons are this program's own texts and hold nothing that JSON would escape.
    const char* separator = "";
    std::printf("[");
    for (const Row& row : rows) {
        std::printf("%s\n {\"subject\": \"%s\", \"peer\": \"%s\", ", separator, row.subject.c_str(), row.peer.c_str());
        if (row.missing.empty()) {
            std::printf(
                "\"figure\": %.4f, \"unit\": \"%s\", \"noise\": %.4f, \"goal\": %.2f, \"atLeast\": %s, "
                "\"ours\": %.9g, \"theirs\": %.9g, \"missed\": %s}",
                row.figure, row.unit.c_str(), row.noise, row.goal, row.isFloor ? "true" : "false", row.ours, row.theirs,
                row.IsMissed() ? "true" : "false");
        } else {
            std::printf("\"notMeasured\": \"%s\"}", row.missing.c_str());
        }
        separator = ",";
    }
    std::printf("\n]\n");
}

int RunAsChild(int count, char** arguments) {
    for (const bench::ChildEntry& entry : bench::kChildren) {
        if (count > 0 && std::strcmp(arguments[0], entry.name) == 0) {
            return entry.run({arguments + 1, arguments + count});
        }
    }
    return 2;
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 1 && std::strcmp(arguments[1], "--child") == 0) return RunAsChild(count - 2, arguments + 2);
    bool json = false, quick = false;
    std::string only, windows;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "--json") {
            json = true;
        } else if (argument == "--quick") {
            quick = true;
        } else if (argument == "--only" && i + 1 < count) {
            only = arguments[++i];
        } else if (argument == "--windows" && i + 1 < count) {
            windows = arguments[++i];
        } else {
            std::fprintf(stderr, "usage: %s [--json] [--quick] [--only TEXT] [--windows FOLDER]\n", arguments[0]);
            return 2;
        }
    }
    bench::Runner runner(only, quick);
    bench::StartRows(runner);
    bench::ValueRows(runner);
    bench::TreeRows(runner);
    bench::ExchangeRows(runner);
    bench::FileRows(runner);
    bench::ServiceRows(runner);
    bench::LoadRows(runner, windows);
    bench::SetupRows(runner);
    bench::RecordRows(runner);
    std::size_t missed = 0, missing = 0;
    for (const Row& row : runner.Rows()) {
        missed += row.IsMissed();
        missing += !row.missing.empty();
    }
    json ? PrintJson(runner.Rows()) : PrintText(runner.Rows());
    std::fprintf(json ? stderr : stdout, "%zu measured, %zu missed, %zu not measured\n", runner.Rows().size() - missing,
                 missed, missing);
    return missed == 0 && !runner.Rows().empty() ? 0 : 1;
}
