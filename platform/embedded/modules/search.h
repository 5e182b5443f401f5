// Where the file of a module or program stands: Windows' search for names without a path.
#ifndef INSTALIB_EMBEDDED_MODULES_SEARCH_H
#define INSTALIB_EMBEDDED_MODULES_SEARCH_H

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace embedded::modules {

struct FoundFile {
    std::string path;            // the machine's, absolute
    std::filesystem::path host;  // canonical
};

// The part behind the last backslash, slash or colon.
std::string_view BaseName(std::string_view path);
bool HasFolder(std::string_view path);
// "A" gives "A.DLL" for the extension ".DLL"; "A." gives "A"; "A.OCX" stays.
std::string WithExtension(std::string_view name, std::string_view extension);
// Absolute, with backslashes and without "." and "..": "..\\A.DLL" in C:\X\Y gives "C:\\X\\A.DLL".
std::string FullPath(std::string_view path);
std::string SystemDirectory();

// A name with a folder is taken as it stands; a bare one is searched in the program's folder, the system directory, the
// Windows directory, the current directory and the folders of Path. Programs look in the current directory second.
enum class Purpose { Module, Program };
std::optional<FoundFile> Search(std::string_view name, Purpose purpose);
// A file of the machine by path; nothing when there is none or it is a folder.
std::optional<FoundFile> FileAt(std::string_view path);

// What a file's headers say. A file that is shorter than they say it is (a download that was cut off) is Unknown: the
// host's loader would be killed at the first missing page.
// A module of Windows for another processor can be read and not run.
enum class FileFormat { HostBinary, HostScript, Windows, WindowsForeign, Unknown };
FileFormat FormatOf(const std::filesystem::path& host);

}  // namespace embedded::modules

#endif
