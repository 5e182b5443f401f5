#include "kvsetup/setup_checks.h"

#include <algorithm>
#include <iostream>

#include "instalib/computer.h"
#include "instalib/probes.h"
#include "instalib/system_account.h"
#include "kvsetup/family_services.h"
#include "kvsetup/host.h"

namespace checks {
namespace {

constexpr std::size_t kLongestPath = 200;  // leaves room for the product's own files below 260
constexpr std::size_t kLongestUser = 20;   // LM20_UNLEN
constexpr UINT kFixedDrive = 3;            // DRIVE_FIXED
constexpr DWORD kUserNotFound = 2221;      // NERR_UserNotFound

bool Equal(const std::string& one, const std::string& other) {
    return CString(one.c_str()).CompareNoCase(other.c_str()) == 0;
}
bool IsAtOrBelow(const std::string& path, const std::string& top) {
    return path.size() >= top.size() && Equal(path.substr(0, top.size()), top) &&
           (path.size() == top.size() || path[top.size()] == '\\');
}

bool IsReserved(const std::string& component) {
    const std::string stem = component.substr(0, component.find('.'));
    for (const char* name : {"CON", "PRN", "AUX", "NUL"}) {
        if (Equal(stem, name)) return true;
    }
    const bool isNumbered = stem.size() == 4 && stem[3] >= '1' && stem[3] <= '9';
    return isNumbered && (Equal(stem.substr(0, 3), "COM") || Equal(stem.substr(0, 3), "LPT"));
}

std::string ComponentProblem(const std::string& component) {
    const auto isIllegal = [](char c) {
        return static_cast<unsigned char>(c) < ' ' || std::string_view("<>:\"/|?*").find(c) != std::string_view::npos;
    };
    if (component.empty()) return "has a name without characters";
    // The second byte of a character of two is no character of its own.
    for (std::size_t i = 0; i < component.size(); ++i) {
        if (host::IsLeadByte(component[i])) {
            ++i;
        } else if (isIllegal(component[i])) {
            return std::string("has a character that no name has: ") + component[i];
        }
    }
    if (component.back() == '.' || component.back() == ' ')
        return "has a name with a dot or blank at its end, which Windows drops";
    if (IsReserved(component)) return "has the reserved name " + component;
    return "";
}

// The directory below which the users' profiles stand; "%SystemDrive%" is the drive of Windows.
std::string ProfilesDirectory(const std::string& windows) {
    DWORD type = 0;
    std::string text;
    const char* const key = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
    if (host::ReadValue(key, "ProfilesDirectory", &type, &text) != host::Presence::Present) return "";
    text = text.c_str();  // up to its terminator
    const std::string drive = "%SystemDrive%";
    if (Equal(text.substr(0, drive.size()), drive)) text = windows.substr(0, 2) + text.substr(drive.size());
    return text;
}

// A profile itself and the directory of all of them; what stands deeper is the user's business.
bool IsProfile(const std::string& path, const std::string& profiles) {
    if (profiles.empty() || !IsAtOrBelow(path, profiles)) return false;
    return path.find('\\', profiles.size() + 1) == path.npos;
}

std::string PlaceProblem(const std::string& path) {
    const std::string windows = host::WindowsDirectory();
    if (IsAtOrBelow(path, windows) || IsAtOrBelow(windows, path)) return "is a directory of Windows";
    char programFiles[260] = "";
    DWORD size = sizeof programFiles;
    if (KSetGetProgramFilesPath(programFiles, &size, nullptr) == 0 && IsAtOrBelow(programFiles, path))
        return "is Program Files itself, which other programs are in";
    for (const std::string& profiles : {ProfilesDirectory(windows), windows.substr(0, 2) + "\\Users",
                                        windows.substr(0, 2) + "\\Documents and Settings"}) {
        if (IsProfile(path, profiles)) return "is a user's profile";
    }
    return "";
}

void CheckAccount(Session& session, std::vector<std::string>& problems) {
    CSettings& settings = session.settings;
    const std::string name = settings.SystemAccountName();
    const std::string what = "the system account " + name + ' ';
    if (const std::string problem = AccountNameProblem(name); !problem.empty()) {
        problems.push_back(what + problem);
        return;
    }
    const bool hasPassword = *settings.SystemAccountPassword() != '\0';
    CSystemAccount account(settings.SystemAccountServer(), settings.SystemAccountDomain(), name.c_str(),
                           settings.SystemAccountPassword());
    if (account.Exists()) {
        if (hasPassword && !account.ValidPassword()) problems.push_back(what + "has another password");
    } else if (host::LastError() != kUserNotFound) {
        problems.push_back(what + "cannot be looked up: " + host::ErrorText(host::LastError()));
    } else if (!hasPassword) {
        problems.push_back(what + "is not there, and a new account needs a password");
    }
}

void CheckServices(Session& session, std::vector<std::string>& problems) {
    // Where a product is or was, they are its own.
    if (session.marks.isThere || session.settings.KorvaultExists() || session.settings.AlertExists()) return;
    for (const CService& service : ChosenServices(session.settings)) {
        if (service.Exists())
            problems.push_back(
                std::string("the service ") + service.Name() +
                " is there already, and no installed product has it; remove it (kvsetup services remove)");
    }
}

}  // namespace

std::string PathProblem(const std::string& given) {
    if (given.empty()) return "is empty";
    std::string path = given;
    if (path.ends_with('\\')) path.pop_back();
    const bool isLetter = (path[0] | 0x20) >= 'a' && (path[0] | 0x20) <= 'z';
    if (path.size() < 2 || !isLetter || path[1] != ':' || (path.size() > 2 && path[2] != '\\'))
        return "is not absolute: it begins with a drive, as C:\\Programs does";
    if (path.size() == 2) return "is the root of a drive";
    if (path.size() > kLongestPath) return "is longer than " + std::to_string(kLongestPath) + " characters";
    for (std::size_t begin = 3; begin <= path.size();) {
        const std::size_t end = std::min(path.find('\\', begin), path.size());
        if (const std::string problem = ComponentProblem(path.substr(begin, end - begin)); !problem.empty())
            return problem;
        begin = end + 1;
    }
    if (CComputer::GetDriveTypeA((path.substr(0, 2) + "\\").c_str()) != kFixedDrive) return "is not on a fixed drive";
    return PlaceProblem(path);
}

std::string AccountNameProblem(const std::string& name) {
    if (name.size() > kLongestUser) return "is longer than " + std::to_string(kLongestUser) + " characters";
    for (const char c : name) {
        if (static_cast<unsigned char>(c) < ' ' ||
            std::string_view("\"/\\[]:;|=,+*?<>").find(c) != std::string_view::npos)
            return std::string("has a character that no account has: ") + c;
    }
    if (name.find_first_not_of(". ") == name.npos) return "has only dots and blanks";
    return "";
}

std::vector<std::string> OfInstallation(Session& session) {
    CSettings& settings = session.settings;
    std::vector<std::string> problems;
    const auto checkPath = [&problems](const char* what, const std::string& path) {
        const std::string problem = PathProblem(path);
        if (!problem.empty()) problems.push_back(std::string(what) + ' ' + path + ' ' + problem);
    };
    if (session.IsAgent()) checkPath("the directory of the agent", settings.ClientAgentPath());
    if (session.IsMain()) checkPath("the directory of the product", settings.KorvaultPath());
    if (!session.IsAgent() && settings.InstallAlert())
        checkPath("the directory of the alert component", settings.AlertPath());
    if (session.version == 0 || session.build == 0)
        problems.push_back(session.source + "kvvctl.dll names no version and build of the product");
    if (!session.IsAgent() && session.HasAccount()) CheckAccount(session, problems);
    CheckServices(session, problems);
    return problems;
}

void Require(const Session& session, const std::vector<std::string>& problems) {
    if (problems.empty()) return;
    if (session.json) {
        console::PrintJson(Json{{"problems", problems}});
    } else if (problems.size() > 1) {
        for (const std::string& problem : problems) std::cerr << "kvsetup: " << console::Printable(problem) << '\n';
    }
    throw Failure{kBadInput, problems.size() == 1
                                 ? problems.front()
                                 : std::to_string(problems.size()) + " things are in the way, and nothing was changed"};
}

}  // namespace checks
