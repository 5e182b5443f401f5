#include "kvsetup/setup_directories.h"

#include <algorithm>

#include "instalib/computer.h"
#include "kvsetup/host.h"

namespace directories {
namespace {

constexpr DWORD kFileNotFound = 2, kPathNotFound = 3, kDirectoryNotEmpty = 145;  // winerror.h

// "C:\A\B" and the levels above it below the drive, the outermost first.
std::vector<std::string> Levels(std::string path) {
    while (path.ends_with('\\')) path.pop_back();
    std::vector<std::string> levels;
    for (std::size_t at = path.find('\\', 3); at != path.npos; at = path.find('\\', at + 1))
        levels.push_back(path.substr(0, at));
    if (path.size() > 3) levels.push_back(path);
    return levels;
}

bool IsAtOrBelow(const std::string& path, std::string top) {
    if (!top.ends_with('\\')) top += '\\';
    const std::string whole = path + '\\';
    return whole.size() >= top.size() && CString(whole.substr(0, top.size()).c_str()).CompareNoCase(top.c_str()) == 0;
}

bool IsIn(const std::vector<std::string>& paths, const std::string& path) {
    return std::any_of(paths.begin(), paths.end(), [&path](const std::string& other) {
        return CString(other.c_str()).CompareNoCase(path.c_str()) == 0;
    });
}

// The other product that has a directory at or below the path, or the path in a directory that it shares with this
// one; null when there is none.
std::pair<marks::Kind, marks::Marks>* UserOf(Session& session, const std::string& path) {
    const std::vector<std::string> own = {session.marks.directory, session.marks.alertDirectory};
    for (auto& other : session.others) {
        for (const std::string& used : {other.second.directory, other.second.alertDirectory}) {
            if (used.empty()) continue;
            if (IsAtOrBelow(used, path) || (IsIn(own, used) && IsAtOrBelow(path, used))) return &other;
        }
    }
    return nullptr;
}

}  // namespace

bool Make(Session& session, const std::vector<std::string>& wanted) {
    marks::Marks& marks = session.marks;
    for (const std::string& directory : wanted) {
        for (const std::string& level : Levels(directory)) {
            const host::Presence presence = host::LookForDirectory(level);
            if (presence == host::Presence::Unknown) return false;
            if (presence == host::Presence::Absent && !IsIn(marks.made, level)) marks.made.push_back(level);
        }
    }
    if (!marks::Write(session.kind, marks)) return false;
    return std::all_of(wanted.begin(), wanted.end(),
                       [](const std::string& directory) { return CComputer::CreateDirectoryA(directory.c_str()); });
}

bool RemoveMade(Session& session, const std::string& top, std::string& note) {
    std::vector<std::string>& made = session.marks.made;
    std::vector<std::string> innermost = made;
    std::sort(innermost.begin(), innermost.end(), [](const std::string& a, const std::string& b) { return b < a; });
    for (const std::string& directory : innermost) {
        if (!top.empty() && !IsAtOrBelow(directory, top)) continue;
        if (auto* const user = UserOf(session, directory)) {
            // Nobody else would remove it when that product goes.
            if (!IsIn(user->second.made, directory)) user->second.made.insert(user->second.made.begin(), directory);
            if (!marks::Write(user->first, user->second)) return note = directory, false;
            std::erase(made, directory);
            continue;
        }
        if (!CComputer::RemoveDirectoryA(directory.c_str())) {
            const DWORD error = host::LastError();
            if (error == kDirectoryNotEmpty) {
                note += (note.empty() ? "" : ", ") + directory + " holds files and stays";
                continue;
            }
            if (error != kFileNotFound && error != kPathNotFound) return note = directory, false;
        }
        std::erase(made, directory);
    }
    return true;
}

}  // namespace directories
