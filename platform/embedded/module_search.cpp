#include "platform/embedded/module_search.h"

#include <algorithm>
#include <fstream>

#include "platform/embedded/control.h"
#include "platform/embedded/file_state.h"
#include "platform/embedded/process_state.h"
#include "platform/embedded/text.h"
#include "platform/embedded/version_resource.h"
#include "platform/embedded/world.h"

namespace fs = std::filesystem;

namespace embedded::modules {
namespace {

bool IsSeparator(char character) { return character == '\\' || character == '/'; }

std::string WindowsDirectory() {
    constexpr char kKey[] = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    return world::Local()->Storage().ReadText(kKey, "SystemRoot", "C:\\Windows");
}

// The current directory of the given drive; of the process's own when that is the drive, else its root.
std::string DriveDirectory(char letter) {
    const std::string current = text::Narrow(files::CurrentDirectory());
    const bool isCurrent = !current.empty() && text::Upper(current[0]) == text::Upper(letter);
    return isCurrent ? current : std::string(1, letter) + ":\\";
}

// Puts the base that a path lacks before it: a drive, a directory or both.
std::string Absolute(std::string_view path) {
    if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) return std::string(path);
    if (path.size() >= 2 && path[1] == ':') {
        if (path.size() > 2 && IsSeparator(path[2])) return std::string(path);
        return DriveDirectory(path[0]) + '\\' + std::string(path.substr(2));
    }
    const std::string current = text::Narrow(files::CurrentDirectory());
    if (!path.empty() && IsSeparator(path[0])) return current.substr(0, 2) + std::string(path);
    return current + '\\' + std::string(path);
}

// Splits at separators; a double-byte character's second byte may be a backslash, so the split is made in UTF-16.
std::vector<std::u16string> Components(std::u16string_view path) {
    std::vector<std::u16string> parts;
    std::u16string part;
    for (const char16_t unit : path) {
        if (unit != u'\\' && unit != u'/') {
            part += unit;
            continue;
        }
        if (!part.empty()) parts.push_back(std::move(part));
        part.clear();
    }
    if (!part.empty()) parts.push_back(std::move(part));
    return parts;
}

std::vector<std::string> SearchFolders(Purpose purpose) {
    const std::string windows = WindowsDirectory();
    std::vector<std::string> folders = {process::ProgramFolder(), windows + "\\System32", windows};
    const auto place = purpose == Purpose::Program ? folders.begin() + 1 : folders.end();
    folders.insert(place, text::Narrow(files::CurrentDirectory()));
    std::string path = process::Variable("Path").value_or("");
    for (std::size_t start = 0; start < path.size();) {
        const std::size_t end = std::min(path.find(';', start), path.size());
        if (end != start) folders.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return folders;
}

}  // namespace

std::string_view BaseName(std::string_view path) {
    const std::size_t last = path.find_last_of("\\/:");
    return last == path.npos ? path : path.substr(last + 1);
}

bool HasFolder(std::string_view path) { return path.find_first_of("\\/:") != path.npos; }

std::string WithExtension(std::string_view name, std::string_view extension) {
    if (name.ends_with('.')) return std::string(name.substr(0, name.size() - 1));
    if (BaseName(name).find('.') != name.npos) return std::string(name);
    return std::string(name).append(extension);
}

std::string FullPath(std::string_view path) {
    const std::u16string absolute = text::Widen(Absolute(path));
    const bool isNetwork = absolute.starts_with(u"\\\\") || absolute.starts_with(u"//");
    std::vector<std::u16string> kept;
    for (std::u16string& part : Components(absolute)) {
        if (part == u".") continue;
        if (part != u"..") kept.push_back(std::move(part));
        else if (kept.size() > (isNetwork ? 2u : 1u)) kept.pop_back();
    }
    std::u16string result = isNetwork ? u"\\" : u"";
    for (const std::u16string& part : kept) result += (result.empty() ? u"" : u"\\") + part;
    if (kept.size() == 1 && !isNetwork) result += u'\\';
    return text::Narrow(result);
}

std::string SystemDirectory() { return WindowsDirectory() + "\\System32"; }

std::optional<FoundFile> FileAt(std::string_view path) {
    FoundFile found;
    found.path = FullPath(path);
    std::error_code error;
    found.host = fs::canonical(control::HostPath(found.path), error);
    if (error || !fs::is_regular_file(found.host, error)) return std::nullopt;
    return found;
}

std::optional<FoundFile> Search(std::string_view name, Purpose purpose) {
    if (name.empty()) return std::nullopt;
    if (HasFolder(name)) return FileAt(name);
    for (const std::string& folder : SearchFolders(purpose)) {
        if (folder.empty()) continue;
        if (auto found = FileAt(folder + '\\' + std::string(name))) return found;
    }
    return std::nullopt;
}

FileFormat FormatOf(const fs::path& host) {
    char head[4] = {};
    std::ifstream file(host, std::ios::binary);
    file.read(head, sizeof head);
    const std::string_view start(head, std::size_t(file.gcount()));
    if (start == std::string_view("\x7F" "ELF", 4)) return FileFormat::HostBinary;
    if (start.starts_with("#!")) return FileFormat::HostScript;
    return version_resource::IsImage(host) ? FileFormat::Windows : FileFormat::Unknown;
}

}  // namespace embedded::modules
