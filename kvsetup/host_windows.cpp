#include <conio.h>
#include <process.h>

#include <csignal>
#include <cstdio>

#include "kvsetup/host.h"

namespace host {
namespace {

// An argument as the C runtime splits it again.
std::string Quoted(const std::string& argument) {
    std::string quoted = "\"";
    for (std::size_t i = 0; i < argument.size(); ++i) {
        std::size_t backslashes = 0;
        for (; i < argument.size() && argument[i] == '\\'; ++i) ++backslashes;
        const bool beforeQuote = i == argument.size() || argument[i] == '"';
        quoted.append(beforeQuote ? backslashes * 2 : backslashes, '\\');
        if (i == argument.size()) break;
        if (argument[i] == '"') quoted += '\\';
        quoted += argument[i];
    }
    return quoted + '"';
}

}  // namespace

bool SelectMachine(const std::string&, std::string* problem) {
    *problem = "--machine works on the embedded machine only; here the machine is this computer";
    return false;
}

bool IsMachineSound(std::string*) { return true; }

std::string FromHere(const std::string& path) {
    char full[MAX_PATH] = "";
    const DWORD length = GetFullPathNameA(path.c_str(), MAX_PATH, full, nullptr);
    return length == 0 || length >= MAX_PATH ? path : full;  // what is too long is refused where it is used
}

std::string MachinePath(const std::string& path, bool isFolder, std::string* problem) {
    char full[MAX_PATH] = "";
    const DWORD length = GetFullPathNameA(path.c_str(), MAX_PATH, full, nullptr);
    if (length == 0 || length + 2 > MAX_PATH) {
        *problem = path + " is no usable path";
        return "";
    }
    std::string result = full;
    if (isFolder && !result.ends_with('\\')) result += '\\';
    return result;
}

ScratchMachine::ScratchMachine(bool)
    : m_problem("a plan is made on a copy of the machine, and this computer has none; make it on an embedded machine") {
}
ScratchMachine::~ScratchMachine() = default;

bool IsMachinePath(const std::string&) { return true; }

std::string HostPath(const std::string& machinePath) { return machinePath; }

void RunFromMedium(const std::string&) {}

bool DriveRemotely(const std::string& hostName, const std::vector<std::string>& arguments, int* exitCode) {
    const std::string wanted = "-r:" + hostName;
    for (const std::string& argument : arguments) {
        if (argument == wanted) return false;
    }
    char program[MAX_PATH] = "";
    if (GetModuleFileNameA(nullptr, program, MAX_PATH) == 0) return false;
    std::vector<std::string> words{Quoted(program)};
    for (const std::string& argument : arguments) words.push_back(Quoted(argument));
    // The library splits at blanks and knows no quotes, so the switch goes last, by itself.
    words.push_back(wanted);
    std::vector<const char*> pointers;
    for (const std::string& word : words) pointers.push_back(word.c_str());
    pointers.push_back(nullptr);
    const intptr_t result = _spawnv(_P_WAIT, program, pointers.data());
    if (result == -1) return false;
    *exitCode = static_cast<int>(result);
    return true;
}

// A console has a mode; the null device, which the C runtime takes for a terminal too, has none.
bool IsTerminal(Stream stream) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(stream == Stream::Input ? STD_INPUT_HANDLE : STD_OUTPUT_HANDLE), &mode) != 0;
}

std::string ReadHiddenLine() {
    constexpr int kControlC = 3;
    std::string line;
    for (;;) {
        const int character = _getch();
        if (character == '\r' || character == '\n' || character == EOF) return line;
        if (character == kControlC) std::raise(SIGINT);  // it arrives as a character here
        if (character == '\b') {
            if (!line.empty()) line.pop_back();
        } else {
            line += static_cast<char>(character);
        }
    }
}

}  // namespace host
