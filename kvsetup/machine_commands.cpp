#include "kvsetup/machine_commands.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "kvsetup/capture.h"
#include "kvsetup/console.h"
#include "kvsetup/host.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/registry.h"

namespace control = embedded::control;
namespace fs = std::filesystem;

namespace {

struct MachineOptions {
    std::string folder;
    std::string file;
    std::string other;
    std::string key = "HKEY_LOCAL_MACHINE\\SOFTWARE";
    std::string letter;
    bool version4 = false;
};

[[noreturn]] void Refuse(const std::string& message) { throw Failure{kBadInput, message}; }

int NewMachine(const MachineOptions& machine) {
    const fs::path folder = fs::absolute(machine.folder).lexically_normal();
    const std::string name = folder.filename().string();
    // NetBIOS names end at 15 characters.
    if (name.empty() || name.size() > 15) Refuse("the folder's name is the computer name: 1 to 15 characters");
    std::error_code error;
    fs::create_directories(folder.parent_path(), error);
    if (fs::exists(folder, error)) Refuse(folder.string() + " exists already");
    if (machine.file.empty()) {
        if (!control::NewMachine(folder.parent_path(), name)) Refuse(folder.string() + " cannot be made");
        std::cout << "Made the machine " << name << " in " << folder.string() << '\n';
        return kDone;
    }
    for (const Json& problem : capture::MakeMachine(folder.string(), machine.file))
        console::Warn("not taken over: " + problem.get<std::string>());
    std::cout << "Made the machine " << name << " in " << folder.string() << " from " << machine.file << '\n';
    return kDone;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file) Refuse(path + " cannot be read");
    return bytes;
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) Refuse(path + " cannot be written");
}

int Import(const MachineOptions& machine) {
    std::string problem;
    if (!control::ImportRegistry(control::MachineFolder(), ReadFile(machine.file), &problem)) {
        Refuse(machine.file + ": " + problem + "; nothing was imported");
    }
    std::cout << "Imported " << machine.file << '\n';
    return kDone;
}

int Export(const MachineOptions& machine) {
    std::string bytes;
    std::string problem;
    const auto version =
        machine.version4 ? control::RegistryTextVersion::Version4 : control::RegistryTextVersion::Version5;
    if (!control::ExportRegistry(control::MachineFolder(), machine.key, version, &bytes, &problem)) Refuse(problem);
    if (machine.file == "-") {
        std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    } else {
        WriteFile(machine.file, bytes);
        std::cout << "Exported " << machine.key << " to " << machine.file << '\n';
    }
    return kDone;
}

int Save(const MachineOptions& machine) {
    std::string problem;
    if (!control::SaveState(control::MachineFolder(), machine.file, &problem)) Refuse(problem);
    std::cout << "Saved the machine's state to " << machine.file << '\n';
    return kDone;
}

Json Describe(const control::Difference& difference) {
    static const char* const kinds[] = {"key", "spelling", "value", "security", "file"};
    static const char* const changes[] = {"added", "gone", "changed"};
    using Difference = control::Difference;
    const bool hasWords = difference.kind != Difference::Kind::Key;
    Json object{
        {"kind", kinds[int(difference.kind)]}, {"change", changes[int(difference.change)]}, {"path", difference.path}};
    if (difference.kind == Difference::Kind::Value) object["name"] = difference.name;
    if (hasWords && difference.change != Difference::Change::Added) object["before"] = difference.before;
    if (hasWords && difference.change != Difference::Change::Gone) object["after"] = difference.after;
    return object;
}

// One argument: from that state or machine to the present machine. Two: from the first to the second.
int Diff(const MachineOptions& machine, bool json) {
    const fs::path after = machine.other.empty() ? control::MachineFolder() : fs::path(machine.other);
    std::vector<control::Difference> differences;
    std::string problem;
    if (!control::Differences(machine.file, after, &differences, &problem)) Refuse(problem);
    if (json) {
        Json objects = Json::array();
        for (const control::Difference& difference : differences) objects.push_back(Describe(difference));
        console::PrintJson(Json{{"differences", objects}});
        return kDone;
    }
    for (const control::Difference& difference : differences)
        std::cout << console::Printable(control::Text(difference)) << '\n';
    if (differences.empty()) std::cout << "No difference.\n";
    return kDone;
}

int CheckOrRepair(const MachineOptions& machine, bool (*work)(const fs::path&, std::vector<std::string>*)) {
    const fs::path folder = machine.folder.empty() ? control::MachineFolder() : fs::path(machine.folder);
    std::error_code error;
    if (!fs::is_directory(folder, error)) Refuse(folder.string() + " is no machine");
    std::vector<std::string> lines;
    const bool good = work(fs::absolute(folder).lexically_normal(), &lines);
    for (const std::string& line : lines) (good ? std::cout : std::cerr) << console::Printable(line) << '\n';
    return good ? kDone : kFailed;
}

int Check(const MachineOptions& machine) { return CheckOrRepair(machine, control::CheckMachine); }

int Repair(const MachineOptions& machine) { return CheckOrRepair(machine, control::RepairMachine); }

int Mount(const MachineOptions& machine) {
    std::error_code error;
    if (!fs::is_directory(machine.file, error)) Refuse(machine.file + " is no folder");
    const std::string given =
        machine.letter.ends_with(':') ? machine.letter.substr(0, machine.letter.size() - 1) : machine.letter;
    const char letter = given.size() == 1 ? static_cast<char>(given[0] & ~0x20) : '\0';
    if (letter < 'A' || letter > 'Z') Refuse(machine.letter + " is no drive letter");
    // A folder of the host in the place of the system drive would hide the whole machine.
    if (letter == host::WindowsDirectory()[0]) Refuse(given + ": is the drive that Windows is on; take another letter");
    if (!control::MountDrive(letter, fs::canonical(machine.file))) Refuse(machine.letter + " is no drive letter");
    std::cout << "Drive " << letter << ": is " << machine.file << '\n';
    return kDone;
}

}  // namespace

void AddMachineCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    const auto machine = std::make_shared<MachineOptions>();
    CLI::App* const group = app.add_subcommand("machine", "the embedded machine as a whole");
    group->require_subcommand(1);
    const auto add = [&](const char* name, const char* help, int (*command)(const MachineOptions&), bool needs = true) {
        CLI::App* const sub = group->add_subcommand(name, help);
        sub->callback([&run, &options, machine, command, needs] {
            options.needsMachine = needs;
            run = [machine, command](const Options&) { return command(*machine); };
        });
        return sub;
    };
    CLI::App* const made = add("new", "make a fresh machine", NewMachine, false);
    made->add_option("folder", machine->folder, "its folder; the last name is the computer name")->required();
    made->add_option("--from", machine->file, "a file of kvsetup capture: the machine is like the captured one");
    add("import", "read .reg text into the machine's registry", Import)
        ->add_option("file", machine->file, ".reg file of version 4 or 5")
        ->required();
    CLI::App* const exported = add("export", "write a key with everything below it as .reg text", Export);
    exported->add_option("file", machine->file, "the file to write, or - for the output")->required();
    exported->add_option("--key", machine->key, "the key, from its root on")->capture_default_str();
    exported->add_flag("--v4", machine->version4, "the 8-bit form REGEDIT4");
    add("save", "write the machine's whole state to a file, for a later diff", Save)
        ->add_option("file", machine->file, "the file to write")
        ->required();
    add("check", "look the machine's registry through, changing nothing", Check, false)
        ->add_option("folder", machine->folder, "the machine's folder; the present machine without it");
    add("repair", "save a damaged registry beside, and keep all that is whole in it", Repair, false)
        ->add_option("folder", machine->folder, "the machine's folder; the present machine without it");
    CLI::App* const mount = add("mount", "show a folder of this computer as a drive of the machine", Mount);
    mount->add_option("letter", machine->letter, "D to Z")->required();
    mount->add_option("folder", machine->file, "the folder")->required();
    CLI::App* const diff = group->add_subcommand("diff", "what differs between machines or saved states");
    diff->add_option("from", machine->file, "a machine's folder or a saved state")->required();
    diff->add_option("to", machine->other, "the same; the present machine without it");
    diff->add_flag("--json", options.json, "print data as JSON");
    diff->callback([&run, &options, machine] {
        options.needsMachine = machine->other.empty();
        run = [machine](const Options& given) { return Diff(*machine, given.json); };
    });
}
