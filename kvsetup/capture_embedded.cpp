// An embedded machine from a capture.
#include <algorithm>
#include <filesystem>
#include <set>

#include "instalib/registry.h"
#include "kvsetup/capture.h"
#include "kvsetup/host.h"
#include "platform/embedded/api/accounts.h"
#include "platform/embedded/api/files.h"
#include "platform/embedded/api/registry.h"
#include "platform/embedded/api/services.h"
#include "platform/embedded/control/accounts.h"
#include "platform/embedded/control/files.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/system.h"

namespace control = embedded::control;
namespace fs = std::filesystem;

namespace capture {
namespace {

[[noreturn]] void Refuse(const std::string& what) { throw Failure{kBadInput, "the capture " + what}; }

std::string Text(const Json& utf8) {
    std::string text;
    if (!FromUtf8(utf8.get<std::string>(), text)) Refuse("has a text that its code page does not have");
    return text;
}

// --- Registry ---

HKEY RootOf(const Branch& branch) { return branch.IsUsers() ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }

void DeleteTree(HKEY root, const std::string& path) {
    CHalvRegistry::DeleteSubKeys(root, path.c_str());
    RegDeleteKeyA(root, path.c_str());
}

// An open key, with all its values taken away.
class EmptiedKey {
  public:
    EmptiedKey(HKEY root, const std::string& path) {
        if (RegCreateKeyExA(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_key, nullptr) != 0)
            Refuse("has the key " + console::Printable(path) + ", which cannot be made");
        char name[16384];
        for (DWORD size = sizeof name; RegEnumValueA(m_key, 0, name, &size, nullptr, nullptr, nullptr, nullptr) == 0 &&
                                       RegDeleteValueA(m_key, name) == 0;)
            size = sizeof name;
    }
    ~EmptiedKey() { RegCloseKey(m_key); }
    EmptiedKey(const EmptiedKey&) = delete;
    EmptiedKey& operator=(const EmptiedKey&) = delete;

    // What was withheld stays away.
    void Put(const Json& value) const {
        if (value.contains("withheld")) return;
        std::string data;
        if (value.contains("text")) {
            data = Text(value["text"]) + '\0';
        } else if (!checked_file::FromHex(value.at("bytes").get<std::string>(), data)) {
            Refuse("has a value without bytes");
        }
        const std::string name = Text(value.at("name"));
        if (RegSetValueExA(m_key, name.c_str(), 0, value.at("type").get<DWORD>(),
                           reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size())) != 0)
            Refuse("has the value " + console::Printable(name) + ", which cannot be set");
    }

  private:
    HKEY m_key = nullptr;
};

std::vector<std::string> Subkeys(HKEY root, const std::string& path) {
    std::vector<std::string> names;
    HKEY key = nullptr;
    if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key) != 0) return names;
    char name[256];
    DWORD size = sizeof name;
    for (DWORD i = 0; RegEnumKeyExA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) == 0; ++i) {
        names.emplace_back(name, size);
        size = sizeof name;
    }
    RegCloseKey(key);
    return names;
}

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return text;
}

void TakeBranch(const Branch& branch, const Json& captured) {
    if (captured.at("branch") != branch.Name()) Refuse("is one of another version of kvsetup");
    if (!captured.at("isRead").get<bool>()) return;
    const HKEY root = RootOf(branch);
    if (captured.at("keys").empty()) {
        const auto missing = captured.at("missing").get<std::string>();
        if (!(branch.path + '\\').starts_with(missing + '\\')) Refuse("has a branch that is elsewhere");
        DeleteTree(root, missing);
    } else if (branch.depth == Depth::Whole) {
        DeleteTree(root, branch.path);
    }
    std::set<std::string> kept;
    for (const Json& entry : captured.at("keys")) {
        const std::string below = Text(entry.at("key"));
        kept.insert(Upper(below));
        const EmptiedKey key(root, below.empty() ? branch.path : branch.path + '\\' + below);
        for (const Json& value : entry.at("values")) key.Put(value);
    }
    if (branch.depth != Depth::Children) return;
    for (const std::string& name : Subkeys(root, branch.path)) {
        if (!kept.contains(Upper(name))) DeleteTree(root, branch.path + '\\' + name);
    }
}

std::string RegistryText(const char* path, const char* name) {
    char text[512] = "";
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != 0) return "";
    DWORD size = sizeof text - 1;
    if (RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) != 0) text[0] = '\0';
    RegCloseKey(key);
    return text;
}

// --- The rest ---

void TakeFacts(const Json& captured) {
    const Json& windows = captured.at("windows");
    control::WindowsVersion version;
    version.major = windows.at("major").get<DWORD>();
    version.minor = windows.at("minor").get<DWORD>();
    version.build = windows.at("build").get<DWORD>();
    version.platform = windows.at("platform").get<DWORD>();
    version.servicePack = windows.at("servicePack").get<std::string>();
    control::SetWindowsVersion(version);
    const auto codePage = captured.at("codePage").get<unsigned>();
    if (!control::SetCodePage(codePage))
        Refuse("has the code page " + std::to_string(codePage) + ", which an embedded machine does not know");
}

void TakeDrives(const Json& captured) {
    for (const Json& drive : captured.at("drives")) {
        const std::string letter = drive.at("letter").get<std::string>();
        control::DriveFacts facts;
        facts.type = drive.at("type").get<DWORD>();
        facts.ready = drive.at("ready").get<bool>();
        if (facts.ready) {
            facts.totalBytes = drive.at("totalBytes").get<std::uint64_t>();
            facts.freeBytes = drive.at("freeBytes").get<std::uint64_t>();
            facts.bytesPerSector = drive.at("bytesPerSector").get<DWORD>();
            facts.sectorsPerCluster = drive.at("sectorsPerCluster").get<DWORD>();
        }
        // The first two letters are those of floppy disks, which the machine does not have.
        if (letter < "C") continue;
        if (letter.size() != 1 || !control::SetDrive(letter[0], facts)) Refuse("has the drive " + letter);
    }
}

// Folders that Windows itself has, wherever this one keeps them; a level at a time.
void MakeFolders(const Json& captured) {
    constexpr char kWindows[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
    std::vector<std::string> folders;
    for (const Json& folder : captured.at("directories")) folders.push_back(Text(folder));
    for (const char* const value :
         {"ProgramFilesDir", "ProgramFilesDir (x86)", "CommonFilesDir", "CommonFilesDir (x86)"})
        folders.push_back(RegistryText(kWindows, value));
    for (const std::string& folder : folders) {
        for (std::size_t end = folder.find('\\', 3); !folder.empty(); end = folder.find('\\', end + 1)) {
            CreateDirectoryA(folder.substr(0, end).c_str(), nullptr);
            if (end == folder.npos) break;
        }
    }
}

template <class Known>
Known TakeNames(const Json& entry) {
    Known known;
    known.name = Text(entry.at("name"));
    known.comment = Text(entry.at("comment"));
    known.rights = entry.at("rights").get<std::vector<std::string>>();
    return known;
}

// Built-in groups bear the names of the machine's language, which is the one in which the administrators are so called.
void TakeLanguage(const Json& groups, Json& problems) {
    std::string administrators;
    for (const Json& group : groups) {
        if (group.at("sid") == "S-1-5-32-544") administrators = Text(group.at("name"));
    }
    for (const char* const language : {"en", "de", "fr"}) {
        BYTE sid[68];  // the longest there is
        char domain[256];
        DWORD sidSize = sizeof sid, domainSize = sizeof domain;
        SID_NAME_USE use{};
        control::SetBuiltinNames("", language);
        if (LookupAccountNameA(nullptr, administrators.c_str(), sid, &sidSize, domain, &domainSize, &use)) return;
    }
    control::SetBuiltinNames("", "en");
    problems.push_back("the names of the built-in groups, whose language is not known: they are English");
}

void TakeAccounts(const Json& accounts, Json& problems) {
    if (accounts.at("users").is_null() || accounts.at("groups").is_null()) return;
    TakeLanguage(accounts.at("groups"), problems);
    std::vector<control::KnownUser> users;
    for (const Json& entry : accounts.at("users")) {
        auto& user = users.emplace_back(TakeNames<control::KnownUser>(entry));
        user.rid = entry.at("rid").get<DWORD>();
        user.fullName = Text(entry.at("fullName"));
        user.homeDirectory = Text(entry.at("homeDirectory"));
        user.flags = entry.at("flags").get<DWORD>();
    }
    std::vector<control::KnownGroup> groups;
    for (const Json& entry : accounts.at("groups")) {
        auto& group = groups.emplace_back(TakeNames<control::KnownGroup>(entry));
        group.sid = entry.at("sid").get<std::string>();
        group.members = entry.at("members").get<std::vector<std::string>>();
    }
    if (!control::TakeAccounts("", users, groups)) Refuse("has users or groups that cannot be any");
}

void TakeRole(const Json& accounts, Json& problems) {
    constexpr char kOptions[] = "SYSTEM\\CurrentControlSet\\Control\\ProductOptions";
    const std::string type = RegistryText(kOptions, "ProductType");
    if (type == "ServerNT") control::SetMachineRole("", control::MachineRole::Server);
    if (type == "LanmanNT") problems.push_back("that it is a domain's controller: its accounts are here its own");
    control::SetWorkgroup("", Text(accounts.at("lanGroup")));
    const std::string user = Text(accounts.at("currentUser"));
    if (!accounts.at("users").is_null() && !user.empty() && !control::SetCurrentUser(user))
        problems.push_back("the user " + console::Printable(user) + ": setups run as the administrator");
}

// Services are in the state that they were in, as far as a machine without their programs and passwords lets them.
void TakeStates(const Json& captured, Json& problems) {
    std::set<std::string> running;
    for (const Json& name : captured.at("running")) running.insert(Upper(name.get<std::string>()));
    const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT);
    for (const std::string& name : Subkeys(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services")) {
        const SC_HANDLE service =
            OpenServiceA(manager, name.c_str(), SERVICE_QUERY_STATUS | SERVICE_START | SERVICE_STOP);
        SERVICE_STATUS status{};
        if (service == nullptr) continue;  // a driver, or a key that is no service
        QueryServiceStatus(service, &status);
        const bool runs = status.dwCurrentState == SERVICE_RUNNING;
        const bool shall = running.contains(Upper(name));
        const BOOL done = runs == shall ? TRUE
                          : shall       ? StartServiceA(service, 0, nullptr)
                                        : ControlService(service, SERVICE_CONTROL_STOP, &status);
        if (!done && host::LastError() != ERROR_SERVICE_ALREADY_RUNNING)
            problems.push_back("that " + console::Printable(name) + (shall ? " runs: " : " is stopped: ") +
                               host::ErrorText(host::LastError()));
        CloseServiceHandle(service);
    }
    CloseServiceHandle(manager);
}

Json Fill(const Json& captured) {
    Json problems = captured.at("problems");
    TakeFacts(captured);
    TakeDrives(captured);
    TakeAccounts(captured.at("accounts"), problems);
    const Json& branches = captured.at("registry");
    if (branches.size() != CapturedBranches().size()) Refuse("is one of another version of kvsetup");
    for (std::size_t i = 0; i < branches.size(); ++i) TakeBranch(CapturedBranches()[i], branches[i]);
    MakeFolders(captured);
    TakeRole(captured.at("accounts"), problems);
    TakeStates(captured, problems);
    return problems;
}

}  // namespace

Json MakeMachine(const std::string& folder, const std::string& file) {
    const Json captured = checked_file::Read(file, kFile);
    const fs::path place(folder);
    const fs::path building = place.parent_path() / ("." + place.filename().string() + ".capture");
    std::error_code error;
    fs::remove_all(building, error);
    fs::create_directories(building, error);
    Json problems;
    try {
        const auto computer = captured.at("computer").get<std::string>();
        if (Upper(place.filename().string()) != Upper(computer))
            Refuse(file + " is one of the machine " + console::Printable(computer) +
                   ": its folder must bear that name");
        const fs::path machine = building / place.filename();
        const auto sid = captured.at("accounts").at("sid").get<std::string>();
        if (!control::NewMachine(building, place.filename().string(), sid) || !control::UseMachine(machine))
            throw Failure{kFailed, folder + " cannot be made"};
        problems = Fill(captured);
        fs::rename(machine, place, error);
        if (error) throw Failure{kFailed, folder + " cannot be made: " + error.message()};
    } catch (const Json::exception&) {
        fs::remove_all(building, error);
        Refuse(file + " is incomplete");
    } catch (const Failure&) {
        fs::remove_all(building, error);
        throw;
    }
    fs::remove_all(building, error);
    return problems;
}

}  // namespace capture
