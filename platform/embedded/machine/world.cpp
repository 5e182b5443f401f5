#include "platform/embedded/machine/world.h"

#include <cstdlib>
#include <map>
#include <mutex>

#include "platform/embedded/control/machine.h"
#include "platform/embedded/core/attempt.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/machine/process_state.h"
#include "platform/embedded/store/salvage.h"

namespace fs = std::filesystem;

namespace embedded {
namespace {

struct World {
    std::mutex mutex;
    std::shared_ptr<Machine> local;
    std::map<fs::path, std::shared_ptr<Machine>> machines;  // by folder
};

// While a machine is being made, its maker stands on it: seeding asks for code pages and names like any other code.
thread_local std::shared_ptr<Machine> t_inTheMaking;

World& TheWorld() {
    static World* const world = new World;
    return *world;
}

bool IsMachineFolder(const fs::path& folder) {
    std::error_code error;
    // One that has lost its registry is a damaged machine, and none to make anew.
    return fs::is_directory(folder / "registry", error) || fs::is_directory(folder / "drives", error);
}

fs::path DefaultFolder() {
    const char* const state = std::getenv("XDG_STATE_HOME");
    const char* const home = std::getenv("HOME");
    fs::path base = state != nullptr && *state != '\0' ? fs::path(state)
                    : home != nullptr && *home != '\0' ? fs::path(home) / ".local/state"
                                                       : fs::temp_directory_path();
    return base / "instalib" / "MACHINE";
}

// Throws std::runtime_error when its store cannot be used.
std::shared_ptr<Machine> Open(World& world, const fs::path& folder) {
    const fs::path key = fs::weakly_canonical(folder);
    std::shared_ptr<Machine>& machine = world.machines[key];
    if (!machine) machine = std::make_shared<Machine>(text::Upper(key.filename().string()), key);
    return machine;
}

std::shared_ptr<Machine> OpenLocal(World& world, const fs::path& folder) {
    try {
        return Open(world, folder);
    } catch (const std::runtime_error& error) {
        const fs::path full = fs::absolute(folder);
        return std::make_shared<Machine>(text::Upper(full.filename().string()), full, Store::Unusable(error.what()));
    }
}

// The folder of a further machine by name; a name that could leave the world's folder names no machine.
fs::path FolderOf(const Machine& local, std::string_view name) {
    while (name.starts_with('\\')) name.remove_prefix(1);
    if (name.empty() || name.starts_with('.') || name.find_first_of("/\\") != name.npos) return {};
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(local.Folder().parent_path(), error)) {
        if (text::EqualNoCase(entry.path().filename().string(), name)) return entry.path();
    }
    return {};
}

// Every call of a process passes the gate, which asks this first.
DWORD CheckMachine() { return world::Local()->Storage().Problem().empty() ? 0 : ERROR_BADDB; }
[[maybe_unused]] const bool g_asked = (gate::SetMachineCheck(CheckMachine), true);

}  // namespace

Machine::Machine(std::string name, fs::path folder)
    : m_name(std::move(name)),
      m_folder(std::move(folder)),
      m_store(Store::Open(m_folder / "registry")),
      m_filesLock(std::make_shared<KeptLock>(m_folder / "files.lock")) {}

Machine::Machine(std::string name, fs::path folder, std::shared_ptr<Store> store)
    : m_name(std::move(name)), m_folder(std::move(folder)), m_store(std::move(store)) {}

fs::path Machine::Drive(char letter) const {
    const std::string name(1, text::Upper(letter));
    const std::string mounted = m_store->ReadText("META\\Drives\\" + name, "Folder");
    if (!mounted.empty()) return mounted;
    fs::path folder = m_folder / "drives" / name;
    std::error_code error;
    return fs::is_directory(folder, error) ? folder : fs::path();
}

namespace world {

std::shared_ptr<Machine> Local() {
    if (t_inTheMaking) return t_inTheMaking;
    World& state = TheWorld();
    {
        const std::lock_guard lock(state.mutex);
        if (state.local) return state.local;
    }
    const char* const chosen = std::getenv("INSTALIB_MACHINE");
    const fs::path folder = chosen != nullptr && *chosen != '\0' ? fs::path(chosen) : DefaultFolder();
    if (!IsMachineFolder(folder)) control::NewMachine(folder.parent_path(), folder.filename().string());
    const std::lock_guard lock(state.mutex);
    if (!state.local) state.local = OpenLocal(state, folder);
    return state.local;
}

std::shared_ptr<Machine> Find(const char* name) {
    const std::shared_ptr<Machine> local = Local();
    std::string_view wanted = name == nullptr ? "" : name;
    if (wanted.starts_with("\\\\")) wanted.remove_prefix(2);
    if (wanted.empty() || text::EqualNoCase(wanted, local->Name())) return local;
    const fs::path folder = FolderOf(*local, wanted);
    if (folder.empty() || !IsMachineFolder(folder)) return nullptr;
    World& state = TheWorld();
    const std::lock_guard lock(state.mutex);
    try {
        const std::shared_ptr<Machine> machine = Open(state, folder);
        return machine->Storage().Problem().empty() ? machine : nullptr;
    } catch (const std::runtime_error&) {
        return nullptr;  // a computer that does not answer
    }
}

std::shared_ptr<Machine> Find(const WCHAR* name) {
    return name == nullptr ? Local() : Find(text::Narrow(name).c_str());
}

}  // namespace world

namespace control {

bool NewMachine(const fs::path& world, const std::string& name, const std::string& sid) {
    std::error_code error;
    const fs::path folder = fs::absolute(world / name);
    if (fs::exists(folder, error)) return false;
    // Built under another name and moved into place: another process sees a whole machine or none.
    const fs::path building = fs::absolute(world / ("." + name + ".new"));
    fs::remove_all(building, error);
    fs::create_directories(building / "drives" / "C", error);
    if (error) return false;
    const std::shared_ptr<Machine> outer = t_inTheMaking;
    t_inTheMaking = std::make_shared<Machine>(text::Upper(name), building, Store::Make(building / "registry"));
    SeedMachine(*t_inTheMaking, sid);
    t_inTheMaking = outer;
    fs::rename(building, folder, error);
    return !error;
}

bool UseMachine(const fs::path& folder) {
    if (!IsMachineFolder(folder)) return false;
    setenv("INSTALIB_MACHINE", fs::absolute(folder).c_str(), 1);
    {
        World& state = TheWorld();
        const std::lock_guard lock(state.mutex);
        state.machines.clear();
        state.local = OpenLocal(state, fs::absolute(folder));
    }
    gate::LookAgain();
    process::ResetForMachine();
    return true;
}

std::string MachineProblem() { return world::Local()->Storage().Problem(); }

bool CheckMachine(const fs::path& folder, std::vector<std::string>* lines) {
    return CheckStore(folder / "registry", lines);
}

bool RepairMachine(const fs::path& folder, std::vector<std::string>* lines) {
    std::string problem;
    const bool repaired = Attempt(&problem, [&](std::string*) { return RepairStore(folder / "registry", lines); });
    if (!problem.empty()) lines->push_back(problem);
    return repaired;
}

fs::path MachineFolder() { return world::Local()->Folder(); }

bool MountDrive(char letter, const fs::path& host) {
    const std::string key = std::string("META\\Drives\\") + text::Upper(letter);
    return world::Local()->Storage().WriteText(key, "Folder", fs::absolute(host).string());
}

}  // namespace control
}  // namespace embedded
