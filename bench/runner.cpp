#include "bench/runner.h"

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

extern char** environ;

namespace bench {
namespace {

double At(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    const double place = share * double(values.size() - 1);
    const std::size_t below = std::size_t(place);
    const std::size_t above = std::min(below + 1, values.size() - 1);
    return values[below] + (values[above] - values[below]) * (place - double(below));
}

double Median(const std::vector<double>& values) { return At(values, 0.5); }

double SecondsOf(const rusage& usage) {
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

bool Row::IsMissed() const {
    if (!missing.empty() || goal == 0) return false;
    return isFloor ? figure + noise < goal : figure - noise > goal;
}

void Runner::Add(Row row, const Side& ours, const Side& theirs, unsigned repetitions) {
    if (!Wants(row.subject)) return;
    if (m_quick) repetitions = 3;
    std::vector<double> mine, others, figures;
    try {
        // The first turn fills caches on both sides and does not count.
        for (unsigned turn = 0; turn <= repetitions; ++turn) {
            const double our = ours();
            const double their = theirs ? theirs() : 0;
            if (turn == 0) continue;
            mine.push_back(our);
            others.push_back(their);
            figures.push_back(!theirs ? our : row.isFloor ? their / our : our / their);
        }
        row.ours = Median(mine);
        row.theirs = theirs ? Median(others) : 0;
        row.figure = Median(figures);
        row.noise = (At(figures, 0.75) - At(figures, 0.25)) / 2;
    } catch (const std::exception& error) {
        row.missing = error.what();
    }
    std::fprintf(stderr, "  %s\n", row.subject.c_str());
    m_rows.push_back(std::move(row));
}

void Runner::Compare(const std::string& subject, const std::string& peer, double goal, const Side& ours,
                     const Side& theirs, unsigned repetitions) {
    Add({.subject = subject, .peer = peer, .unit = "x", .goal = goal}, ours, theirs, repetitions);
}

void Runner::CompareThroughput(const std::string& subject, const std::string& peer, double goal, const Side& ours,
                               const Side& theirs, unsigned repetitions) {
    Add({.subject = subject, .peer = peer, .unit = "x", .goal = goal, .isFloor = true}, ours, theirs, repetitions);
}

void Runner::Measure(const std::string& subject, const std::string& unit, double goal, const Side& ours,
                     unsigned repetitions) {
    Add({.subject = subject, .peer = "-", .unit = unit, .goal = goal}, ours, nullptr, repetitions);
}

void Runner::Missing(const std::string& subject, const std::string& why) {
    if (Wants(subject)) m_rows.push_back({.subject = subject, .peer = "-", .unit = "x", .missing = why});
}

double ProcessorSeconds() {
    timespec own{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
    rusage children{};
    getrusage(RUSAGE_CHILDREN, &children);
    return double(own.tv_sec) + double(own.tv_nsec) * 1e-9 + SecondsOf(children);
}

double Spent(double units, const std::function<void()>& work) {
    const double before = ProcessorSeconds();
    work();
    return (ProcessorSeconds() - before) / units;
}

void Run(const std::vector<std::string>& command, std::string* output) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int error = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char block[4096];
    for (ssize_t count; error == 0 && (count = read(ends[0], block, sizeof block)) > 0;) {
        if (output != nullptr) output->append(block, std::size_t(count));
    }
    close(ends[0]);
    int status = -1;
    if (error == 0) waitpid(child, &status, 0);
    if (status != 0) throw std::runtime_error(command[0] + " failed");
}

void RunChild(std::vector<std::string> arguments, std::string* output) {
    const std::vector<std::string> start = {fs::read_symlink("/proc/self/exe").string(), "--child"};
    arguments.insert(arguments.begin(), start.begin(), start.end());
    Run(arguments, output);
}

fs::path ProgramFolder() { return fs::read_symlink("/proc/self/exe").parent_path(); }

const fs::path& Scratch() {
    static const struct Folder {
        fs::path path = fs::temp_directory_path() / ("instalib-bench-" + std::to_string(getpid()));
        Folder() { fs::create_directories(path); }
        ~Folder() {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    } folder;
    return folder.path;
}

}  // namespace bench
