#include "platform/embedded/modules/search.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "platform/embedded/core/text.h"
#include "platform/embedded/files/place.h"
#include "platform/embedded/files/state.h"
#include "platform/embedded/machine/process_state.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/modules/version_resource.h"

namespace fs = std::filesystem;

namespace embedded::modules {
namespace {

std::string WindowsDirectory() {
    constexpr char kKey[] = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    return world::Local()->Storage().ReadText(kKey, "SystemRoot", "C:\\Windows");
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

// Whether a piece of a file, as its headers have it, is inside.
bool Holds(std::uint64_t fileSize, std::uint64_t offset, std::uint64_t size) {
    return offset <= fileSize && size <= fileSize - offset;
}

// Whether a binary of the host has all that its headers speak of: both tables, and what is loaded.
bool IsWholeHostBinary(std::ifstream& file) {
    file.clear();
    file.seekg(0, std::ios::end);
    const auto size = std::uint64_t(file.tellg());
    Elf64_Ehdr header;
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(&header), sizeof header)) return false;
    if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_phentsize != sizeof(Elf64_Phdr)) return false;
    const std::uint64_t sections = std::uint64_t(header.e_shnum) * header.e_shentsize;
    if (header.e_shoff != 0 && !Holds(size, header.e_shoff, sections)) return false;
    if (!Holds(size, header.e_phoff, std::uint64_t(header.e_phnum) * sizeof(Elf64_Phdr))) return false;
    file.seekg(std::streamoff(header.e_phoff));
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment;
        if (!file.read(reinterpret_cast<char*>(&segment), sizeof segment)) return false;
        if (segment.p_type == PT_LOAD && !Holds(size, segment.p_offset, segment.p_filesz)) return false;
    }
    return true;
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

std::string FullPath(std::string_view path) { return text::Narrow(files::AbsoluteName(std::string(path).c_str())); }

std::string SystemDirectory() { return WindowsDirectory() + "\\System32"; }

std::optional<FoundFile> FileAt(std::string_view path) {
    const files::Place place = files::Locate(std::string(path).c_str());
    std::error_code error;
    FoundFile found{FullPath(path), fs::canonical(place.host, error)};
    if (!place.exists || place.IsDirectory() || error) return std::nullopt;
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
    constexpr char kHostMark[] = {0x7F, 'E', 'L', 'F'};
    if (start == std::string_view(kHostMark, sizeof kHostMark)) {
        return IsWholeHostBinary(file) ? FileFormat::HostBinary : FileFormat::Unknown;
    }
    if (start.starts_with("#!")) return FileFormat::HostScript;
    switch (version_resource::KindOf(host)) {
        case version_resource::ImageKind::Own:
            return FileFormat::Windows;
        case version_resource::ImageKind::Foreign:
            return FileFormat::WindowsForeign;
        case version_resource::ImageKind::None:
            break;
    }
    return FileFormat::Unknown;
}

}  // namespace embedded::modules
