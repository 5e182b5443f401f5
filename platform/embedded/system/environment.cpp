#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>

#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/store.h"
#include "platform/embedded/api/system.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/machine/process_state.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/system/code_page.h"

namespace fs = std::filesystem;
namespace gate = embedded::gate;
using embedded::control::CallKind;

namespace embedded {
namespace process {
namespace {

constexpr char kProgramVariable[] = "INSTALIB_PROGRAM";
// The changes that a parent made to its environment: "NAME=value" each, a removal without '='.
constexpr char kChangesVariable[] = "INSTALIB_ENVIRONMENT";
constexpr char kChangesSeparator = '\x1f';

using Variables = std::map<std::string, std::string, NoCaseLess>;
using Changes = std::map<std::string, std::optional<std::string>, NoCaseLess>;

struct State {
    std::mutex mutex;
    bool read = false;
    bool inherits = true;  // until the process changes its machine
    Variables machine;     // as the registry had them when the process first looked
    Changes changes;
    std::optional<std::string> program, commandLine;
};

State& TheState() {
    static State* const state = new State;
    return *state;
}

std::string HostVariable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        if (end != 0) parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

void ReadInherited(Changes& changes) {
    for (const std::string& change : Split(HostVariable(kChangesVariable), kChangesSeparator)) {
        const std::size_t equals = change.find('=', 1);
        if (equals == change.npos)
            changes[change] = std::nullopt;
        else
            changes[change.substr(0, equals)] = change.substr(equals + 1);
    }
}

// "%NAME%" by what is known already; an unknown name stays as it is.
std::string Expand(const Variables& known, std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t open = text.find('%');
        const std::size_t close = open == text.npos ? open : text.find('%', open + 1);
        if (close == text.npos) break;
        const auto found = known.find(text.substr(open + 1, close - open - 1));
        if (found == known.end()) {
            result += text.substr(0, close);
            text.remove_prefix(close);
            continue;
        }
        result.append(text.substr(0, open)).append(found->second);
        text.remove_prefix(close + 1);
    }
    return result.append(text);
}

// A user's Path is added to the machine's; any other variable of the user replaces the machine's.
void AddVariables(Machine& machine, const std::string& key, Variables& variables) {
    constexpr DWORD kTypes[] = {1, 2};  // REG_SZ, REG_EXPAND_SZ
    for (const StoredValue& value : machine.Storage().Values(key)) {
        if (std::ranges::find(kTypes, value.type) == std::end(kTypes)) continue;
        const std::string text = Expand(variables, machine.Storage().ReadText(key, value.name));
        std::string& variable = variables[value.name];
        variable = text::EqualNoCase(value.name, "Path") && !variable.empty() ? variable + ';' + text : text;
    }
}

Variables ReadMachine(Machine& machine) {
    constexpr char kWindowsKey[] = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    constexpr char kFolderKey[] = "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
    Store& store = machine.Storage();
    const std::string windows = store.ReadText(kWindowsKey, "SystemRoot", "C:\\Windows");
    Variables variables = {
        {"SystemRoot", windows}, {"SystemDrive", windows.substr(0, 2)}, {"COMPUTERNAME", machine.Name()}};
    constexpr std::pair<const char*, const char*> kFolders[] = {{"ProgramFiles", "ProgramFilesDir"},
                                                                {"ProgramFiles(x86)", "ProgramFilesDir (x86)"},
                                                                {"CommonProgramFiles", "CommonFilesDir"}};
    for (const auto& [variable, value] : kFolders) {
        variables[variable] = Expand(variables, store.ReadText(kFolderKey, value));
    }
    AddVariables(machine, "HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment", variables);
    const std::string user = accounts::CurrentUser(machine).name;
    variables.insert({{"USERNAME", user}, {"USERPROFILE", windows.substr(0, 2) + "\\Users\\" + user}});
    AddVariables(machine, UserHive(machine) + "\\Environment", variables);
    std::erase_if(variables, [](const auto& variable) { return variable.second.empty(); });
    return variables;
}

State& Ready(const std::lock_guard<std::mutex>&) {
    State& state = TheState();
    if (!state.read) {
        state.machine = ReadMachine(*world::Local());
        if (state.inherits) ReadInherited(state.changes);
        state.read = true;
    }
    return state;
}

std::optional<std::string> FromHost(std::string_view name) {
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const std::size_t equals = text.find('=');
        if (equals != text.npos && text::EqualNoCase(text.substr(0, equals), name))
            return std::string(text.substr(equals + 1));
    }
    return std::nullopt;
}

fs::path HostProgram() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error);
}

// The machine's name of a host file below one of its drives; empty when it is on none.
std::string OnDrive(const fs::path& host) {
    const std::shared_ptr<Machine> machine = world::Local();
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        std::error_code error;
        const fs::path drive = machine->Drive(letter);
        if (drive.empty()) continue;
        const fs::path relative = host.lexically_relative(fs::canonical(drive, error));
        if (error || relative.empty() || *relative.begin() == "..") continue;
        bool exact = true;  // the host's names are UTF-8
        std::string path = text::Narrow(code_page::Decode(CP_UTF8, relative.string(), exact));
        std::ranges::replace(path, '/', '\\');
        return std::string(1, letter) + ":\\" + path;
    }
    return {};
}

std::string DefaultProgram() {
    if (const std::string chosen = HostVariable(kProgramVariable); !chosen.empty()) return chosen;
    const fs::path host = HostProgram();
    const std::string own = OnDrive(host);
    return own.empty() ? "C:\\SETUP\\" + text::Upper(host.stem().string()) + ".EXE" : own;
}

// Quotes an argument so that Windows' splitting rules give it back.
std::string Quoted(const std::string& argument) {
    if (!argument.empty() && argument.find_first_of(" \t\"") == argument.npos) return argument;
    std::string quoted = "\"";
    std::size_t backslashes = 0;
    for (const char character : argument) {
        if (character == '"') quoted.append(backslashes + 1, '\\');
        backslashes = character == '\\' ? backslashes + 1 : 0;
        quoted += character;
    }
    return quoted.append(backslashes, '\\') + '"';
}

std::string HostCommandLine() {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::string line = '"' + Program() + '"';
    std::size_t start = bytes.find('\0');
    while (start != bytes.npos && start + 1 < bytes.size()) {
        const std::size_t end = bytes.find('\0', start + 1);
        line += ' ' + Quoted(bytes.substr(start + 1, end - start - 1));
        start = end;
    }
    return line;
}

}  // namespace

std::string UserHive(Machine& machine) { return "HKU\\" + accounts::SidText(accounts::CurrentUser(machine).sid); }

std::string Program() {
    State& state = TheState();
    {
        const std::lock_guard lock(state.mutex);
        if (state.program) return *state.program;
    }
    const std::string program = DefaultProgram();
    const std::lock_guard lock(state.mutex);
    if (!state.program) state.program = program;
    return *state.program;
}

std::string ProgramFolder() {
    const std::string program = Program();
    const std::size_t slash = program.rfind('\\');
    return slash == program.npos ? "" : slash == 2 ? program.substr(0, 3) : program.substr(0, slash);
}

std::string CommandLine() {
    State& state = TheState();
    {
        const std::lock_guard lock(state.mutex);
        if (state.commandLine && !state.commandLine->empty()) return *state.commandLine;
    }
    return HostCommandLine();
}

std::optional<std::string> Variable(std::string_view name) {
    const std::lock_guard lock(TheState().mutex);
    const State& state = Ready(lock);
    if (const auto change = state.changes.find(name); change != state.changes.end()) return change->second;
    if (const auto found = state.machine.find(name); found != state.machine.end()) return found->second;
    return FromHost(name);
}

void SetVariable(std::string_view name, const std::optional<std::string>& value) {
    const std::lock_guard lock(TheState().mutex);
    Ready(lock).changes.insert_or_assign(std::string(name), value);
}

std::vector<std::string> ChildEnvironment(const std::string& program, const std::u16string& directory) {
    bool exact = true;
    const std::lock_guard lock(TheState().mutex);
    const State& state = Ready(lock);
    std::string changes;
    for (const auto& [name, value] : state.changes) {
        if (!changes.empty()) changes += kChangesSeparator;
        changes += value ? name + '=' + *value : name;
    }
    const Variables own = {{kProgramVariable, program},
                           {kChangesVariable, changes},
                           {"INSTALIB_DIRECTORY", code_page::Encode(CP_UTF8, directory, "?", exact)},
                           {"INSTALIB_MACHINE", world::Local()->Folder().string()}};
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        if (!own.contains(text.substr(0, text.find('=')))) environment.emplace_back(text);
    }
    for (const auto& [name, value] : own) environment.push_back(name + '=' + value);
    return environment;
}

void ResetEnvironment() {
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.read = false;
    state.inherits = false;
    state.machine.clear();
    state.changes.clear();
    state.program.reset();
    state.commandLine.reset();
}

}  // namespace process

namespace control {

void RunAs(const std::string& program) {
    process::State& state = process::TheState();
    const std::lock_guard lock(state.mutex);
    state.program = program;
}

void SetCommandLine(const std::string& line) {
    process::State& state = process::TheState();
    const std::lock_guard lock(state.mutex);
    state.commandLine = line;
}

}  // namespace control
}  // namespace embedded

namespace process = embedded::process;

DWORD GetEnvironmentVariableA(LPCSTR name, LPSTR value, DWORD size) {
    if (gate::Refuses(CallKind::System, "GetEnvironmentVariableA")) return 0;
    const std::optional<std::string> found = process::Variable(name == nullptr ? "" : name);
    if (!found) {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
    if (found->size() >= size) return DWORD(found->size() + 1);
    std::copy_n(found->c_str(), found->size() + 1, value);
    if (found->empty()) SetLastError(0);
    return DWORD(found->size());
}

BOOL SetEnvironmentVariableA(LPCSTR name, LPCSTR value) {
    if (gate::Refuses(CallKind::System, "SetEnvironmentVariableA")) return FALSE;
    // A '=' may start a name (the directories of drives are kept so) and stands nowhere else in it.
    if (name == nullptr || *name == '\0' || std::string_view(name).find('=', 1) != std::string_view::npos) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (value == nullptr && !process::Variable(name)) {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return FALSE;
    }
    process::SetVariable(name, value == nullptr ? std::nullopt : std::optional<std::string>(value));
    return TRUE;
}

LPSTR GetCommandLineA() {
    // Windows keeps the text as long as the process lives, so every line ever answered stays where it is.
    static std::mutex mutex;
    static auto* const lines = new std::map<std::string, std::string>;
    const std::string line = process::CommandLine();
    const std::lock_guard lock(mutex);
    return lines->try_emplace(line, line).first->second.data();
}
