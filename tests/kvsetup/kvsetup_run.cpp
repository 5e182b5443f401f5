#include "tests/kvsetup/kvsetup_run.h"

#ifndef _WIN32
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>

#include "instalib/service.h"

namespace fs = std::filesystem;

namespace {

std::string ReadAll(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    return std::regex_replace(text, std::regex("\r\n"), "\n");
}

int ExitCode(int status) {
#ifdef _WIN32
    return status;
#else
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
#endif
}

constexpr const char* kServiceNames[] = {
    "OVSJobEngine",   "OVSTapeEngine", "OVSDBEngine", "OVSMsgEngine", "Halvenor Alert Notification Server",
    "OVSDiscoverySvc"};

}  // namespace

bool RunResult::SaysInOneLine(const std::string& text) const {
    return errors.starts_with("kvsetup: ") && errors.find('\n') == errors.size() - 1 &&
           errors.find(text) != errors.npos;
}

void KvsetupRun::SetUp() {
    FreshMachine::SetUp();
    m_medium = fs::canonical(HostProgramFolder() / ".." / "demo" / "medium");
#ifdef _WIN32
    m_scratch = fs::path("C:\\TESTSCRATCH");
    for (const char* service : kServiceNames) CService::RemoveService(service);
    DeleteKeyTree("SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\KorvaultNT");
    fs::remove_all("C:\\Program Files\\Zephranite");
    for (int number = 1; number < 100; ++number)
        fs::remove(std::string("C:\\KVSETUP.") + std::to_string(number) + ".REC");
#else
    m_scratch = World().string() + "-scratch";
#endif
    fs::remove_all(m_scratch);
    fs::create_directories(m_scratch);
    std::ofstream answers(m_scratch / "plain.icf", std::ios::binary);
    std::ifstream original(m_medium / "ANSWERS.ICF");
    for (std::string line; std::getline(original, line);) {
        if (!line.starts_with("System")) answers << line << '\n';
    }
}

void KvsetupRun::TearDown() {
    fs::remove_all(m_scratch);
    FreshMachine::TearDown();
}

std::string KvsetupRun::Answers() const {
#ifdef _WIN32
    return (m_scratch / "plain.icf").string();
#else
    return (m_medium / "ANSWERS.ICF").string();
#endif
}

RunResult KvsetupRun::Run(const std::string& arguments) {
    const fs::path output = m_scratch / "output.txt";
    const fs::path errors = m_scratch / "errors.txt";
#ifdef _WIN32
    // cmd.exe strips the outer quotes.
    const std::string command = "\"\"" + (HostProgramFolder() / "kvsetup.exe").string() + "\" " + arguments + " >\"" +
                                output.string() + "\" 2>\"" + errors.string() + "\" <NUL\"";
#else
    const std::string command = '\'' + (HostProgramFolder() / "kvsetup").string() + "' --machine '" +
                                MachineFolder().string() + "' " + arguments + " >'" + output.string() + "' 2>'" +
                                errors.string() + "' </dev/null";
#endif
    RunResult result;
    result.exitCode = ExitCode(std::system(command.c_str()));
    result.output = ReadAll(output);
    result.errors = ReadAll(errors);
    return result;
}

nlohmann::json KvsetupRun::RunJson(const std::string& arguments) {
    const RunResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    const nlohmann::json data = nlohmann::json::parse(result.output, nullptr, false);
    EXPECT_FALSE(data.is_discarded()) << result.output;
    return data;
}

#ifndef _WIN32
std::string KvsetupRun::QuietCommand(const std::string& arguments) const {
    return '\'' + (HostProgramFolder() / "kvsetup").string() + "' --machine '" + MachineFolder().string() + "' " +
           arguments + " >/dev/null 2>&1 </dev/null";
}

int KvsetupRun::RunQuietly(const std::string& arguments) {
    return ExitCode(std::system(QuietCommand(arguments).c_str()));
}

int KvsetupRun::RunAndSignal(const std::string& arguments, int milliseconds, int signal) {
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sh", "sh", "-c", ("exec " + QuietCommand(arguments)).c_str(), nullptr);
        _exit(127);
    }
    usleep(static_cast<useconds_t>(milliseconds) * 1000);
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    return ExitCode(status);
}
#endif

void KvsetupRun::PlantOldProduct() {
    TestBytes record(49);
    record[9] = 11;     // version 11.0
    record[11] = 0x0F;  // build 3840
    SetRaw("SOFTWARE\\Halvenor\\Products", "ZephraniteCB", REG_BINARY, record);
    SetText(std::string(kOldRoot) + "\\CurrentVersion\\Options\\Tape", "Device", "Tape0");
    SetText(kOldProgram, "RegistryRoot", "SOFTWARE\\Halvenor");
}

void KvsetupRun::CopyMedium() {
    fs::copy(m_medium, m_scratch / "medium", fs::copy_options::recursive);
    m_medium = m_scratch / "medium";
}
