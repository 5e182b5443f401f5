// Response files, the setup log, large folders.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "bench/machine.h"
#include "bench/peers.h"
#include "bench/subjects.h"
#include "instalib/log.h"
#include "instalib/setup_icf.h"

namespace bench {
namespace {

void GetterRow(Runner& runner, const char* size, std::size_t bytes, double goal) {
    const std::string subject = std::string("response-file getter, ") + size;
    if (!runner.Wants(subject)) return;
    constexpr int kCalls = 5000;
    BenchMachine machine(std::string("ICF") + std::to_string(bytes));
    const fs::path file = machine.File("SETUP.ICF");
    {
        // The section that is asked for stands in the middle.
        std::string text;
        const auto fill = [&](std::size_t end) {
            while (text.size() < end) {
                text += "[Section" + std::to_string(text.size()) +
                        "]\r\nFirst=a value\r\nSecond=another value\r\nThird=1\r\n";
            }
        };
        fill(bytes / 2);
        text += "[UserInfo]\r\nFullName=Ada Sample\r\nCompanyName=Sample Works\r\n";
        fill(bytes);
        std::ofstream(file, std::ios::binary) << text;
    }
    CSetupIcf answers("C:\\SETUP.ICF");
    Expect(std::string(answers.FullName()) == "Ada Sample", "the getter answers something else");
    runner.Compare(
        subject, "open, read, close", goal,
        [&] {
            return Spent(kCalls, [&] {
                for (int i = 0; i < kCalls; ++i) answers.FullName();
            });
        },
        [&] {
            return Spent(kCalls, [&] {
                static char content[1 << 16];
                for (int i = 0; i < kCalls; ++i) {
                    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
                    Expect(read(descriptor, content, sizeof content) > 0, "nothing to read");
                    close(descriptor);
                }
            });
        });
}

constexpr int kLines = 3000;

double Seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Several processes at once: what counts is when the last one is done.
double TogetherSeconds(int processes, const std::vector<std::string>& child) {
    return Seconds([&] {
        std::vector<std::thread> threads;
        for (int i = 0; i < processes; ++i) threads.emplace_back([&] { RunChild(child); });
        for (std::thread& thread : threads) thread.join();
    });
}

void LogRow(Runner& runner, int processes, const char* name) {
    const std::string subject = std::string("a line of the setup log, ") + name;
    if (!runner.Wants(subject)) return;
    BenchMachine machine("LOG" + std::to_string(processes));
    const std::string file = Scratch() / "peer.log";
    const auto fresh = [&](const fs::path& log) { fs::remove(log); };
    runner.CompareThroughput(
        subject, "open, lock, write, unlock, close", 0.6,
        [&] {
            fresh(machine.File("SETUP.LOG"));
            return TogetherSeconds(processes, {"log", machine.Folder()});
        },
        [&] {
            fresh(file);
            return TogetherSeconds(processes, {"log-peer", file});
        },
        5);
}

constexpr int kNames = 200;

// Seconds for a file made and removed, or a missing name looked up.
double CreateCost(const std::string& folder) {
    return Spent(kNames, [&] {
        for (int i = 0; i < kNames; ++i) {
            const std::string name = folder + "\\New" + std::to_string(i) + ".tmp";
            const FileHandle file(CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
            Expect(bool(file), "no file made");
        }
        for (int i = 0; i < kNames; ++i) DeleteFileA((folder + "\\New" + std::to_string(i) + ".tmp").c_str());
    });
}

double MissCost(const std::string& folder) {
    return Spent(kNames, [&] {
        for (int i = 0; i < kNames; ++i) {
            const std::string name = folder + "\\Missing" + std::to_string(i);
            Expect(GetFileAttributesA(name.c_str()) == INVALID_FILE_ATTRIBUTES, "a missing name found");
        }
    });
}

void FolderRows(Runner& runner) {
    const std::string create = "create a file among 8,000", miss = "look a missing name up among 8,000";
    if (!runner.Wants(create) && !runner.Wants(miss)) return;
    BenchMachine machine("FOLDER");
    const auto fill = [&](const char* folder, int count) {
        fs::create_directories(machine.File(folder));
        for (int i = 0; i < count; ++i) std::ofstream(machine.File(folder) / ("File" + std::to_string(i) + ".dat"));
    };
    fill("FEW", 500);
    fill("MANY", 8000);
    runner.Compare(
        create, "among 500", 1.5, [] { return CreateCost("C:\\MANY"); }, [] { return CreateCost("C:\\FEW"); });
    runner.Compare(
        miss, "among 500", 1.5, [] { return MissCost("C:\\MANY"); }, [] { return MissCost("C:\\FEW"); });
}

}  // namespace

int LogChild(const std::vector<std::string>& arguments) {
    setenv("INSTALIB_MACHINE", arguments.at(0).c_str(), 1);
    char format[] = "line %d of the log, of a usual length";
    for (int i = 0; i < kLines; ++i) {
        // Two writers that meet refuse one of them: the line is then written again, as a front end does.
        while (CLog::Write("C:\\SETUP.LOG", format, i) == 0) {
        }
    }
    return 0;
}

int LogPeerChild(const std::vector<std::string>& arguments) {
    for (int i = 0; i < kLines; ++i) {
        const std::string line = "11/25/26 10:00:00\tline " + std::to_string(i) + " of the log, of a usual length\r\n";
        const int file = open(arguments.at(0).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
        flock(file, LOCK_EX);
        lseek(file, 0, SEEK_END);
        if (write(file, line.data(), line.size()) != ssize_t(line.size())) return 1;
        flock(file, LOCK_UN);
        close(file);
    }
    return 0;
}

void FileRows(Runner& runner) {
    GetterRow(runner, "4 KB", 4096, 2.5);
    GetterRow(runner, "38 KB", 38 * 1024, 3);
    LogRow(runner, 1, "1 process");
    LogRow(runner, 4, "4 processes");
    FolderRows(runner);
}

}  // namespace bench
