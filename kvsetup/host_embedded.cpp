#include <cstdlib>
#include <filesystem>

#include "kvsetup/host.h"
#include "platform/embedded/control/accounts.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/terminal.h"

namespace control = embedded::control;
namespace fs = std::filesystem;

namespace host {

bool IsMachinePath(const std::string& path) { return (path.size() >= 2 && path[1] == ':') || path.starts_with("\\"); }

namespace {

// The machine's name of a host folder: inside a drive that shows it already, else as the next free drive letter.
std::string DriveFor(const fs::path& folder) {
    for (char letter = 'C'; letter <= 'Z'; ++letter) {
        const fs::path drive = control::HostPath(std::string(1, letter) + ":\\");
        if (drive.empty() || !fs::exists(drive)) {
            if (letter == 'C' || !control::MountDrive(letter, folder)) continue;
            return std::string(1, letter) + ":\\";
        }
        const std::string inside = fs::relative(folder, drive).generic_string();
        if (inside == ".") return std::string(1, letter) + ":\\";
        if (inside.empty() || inside.starts_with("..")) continue;
        std::string path = std::string(1, letter) + ":\\" + inside + "\\";
        for (char& character : path) character = character == '/' ? '\\' : character;
        return path;
    }
    return "";
}

}  // namespace

bool SelectMachine(const std::string& folder, std::string* problem) {
    if (control::UseMachine(folder)) return true;
    *problem = folder + " is no machine; make one with: kvsetup machine new " + folder;
    return false;
}

bool IsMachineSound(std::string* problem) {
    const std::string found = control::MachineProblem();
    if (found.empty()) return true;
    const std::string folder = control::MachineFolder().string();
    *problem = found + "; see kvsetup machine check " + folder + ", and kvsetup machine repair " + folder;
    return false;
}

std::string FromHere(const std::string& path) { return path; }

std::string MachinePath(const std::string& path, bool isFolder, std::string* problem) {
    if (IsMachinePath(path)) return isFolder && !path.ends_with('\\') ? path + "\\" : path;
    std::error_code error;
    const fs::path full = fs::weakly_canonical(fs::absolute(path, error), error);
    const fs::path folder = isFolder ? full : full.parent_path();
    if (error || !fs::is_directory(folder, error)) {
        *problem = path + " is no folder of this computer and no path of the machine";
        return "";
    }
    const std::string drive = DriveFor(folder);
    if (drive.empty()) *problem = "the machine has no drive letter left for " + folder.string();
    return isFolder || drive.empty() ? drive : drive + full.filename().string();
}

ScratchMachine::ScratchMachine(bool isSecond) : m_original(control::MachineFolder().string()) {
    constexpr std::uint64_t kLater = 90'061'000;  // milliseconds: a day, an hour, a minute and a second
    const fs::path world = fs::path(m_original).parent_path();
    std::error_code error;
    std::string folder = (fs::temp_directory_path(error) / "kvsetup-plan-XXXXXX").string();
    if (error || mkdtemp(folder.data()) == nullptr) {
        m_problem = "there is no place for a copy of the machine";
        return;
    }
    m_world = folder;
    for (const fs::directory_entry& entry : fs::directory_iterator(world, error)) {
        if (error || !fs::exists(entry.path() / "registry", error)) continue;
        fs::copy(entry.path(), m_world / entry.path().filename(),
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
        if (error) break;
    }
    if (error || !control::UseMachine(m_world / fs::path(m_original).filename())) {
        m_problem = "the machine cannot be copied to " + m_world + (error ? ": " + error.message() : "");
        return;
    }
    control::UseManualClock(true);
    if (!isSecond) return;
    control::AdvanceClock(kLater);
    control::SkipIdentifiers("", 7);
}

ScratchMachine::~ScratchMachine() {
    control::UseManualClock(false);
    control::UseMachine(m_original);
    std::error_code error;
    if (!m_world.empty()) fs::remove_all(m_world, error);
}

std::string HostPath(const std::string& machinePath) { return control::HostPath(machinePath).string(); }

void RunFromMedium(const std::string& folder) { control::RunAs(folder + "KVSETUP.EXE"); }

bool DriveRemotely(const std::string& hostName, const std::vector<std::string>&, int*) {
    control::SetCommandLine("KVSETUP.EXE -r:" + hostName);
    return false;
}

bool IsTerminal(Stream stream) {
    return stream == Stream::Input ? control::InputIsTerminal() : control::OutputIsTerminal();
}

std::string ReadHiddenLine() { return control::ReadHiddenLine(); }

}  // namespace host
