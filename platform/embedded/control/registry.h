// What a test or a tool may do to a machine's registry and no Windows call does: .reg text in and out, the whole state
// of a machine as text, and the difference between two machines. Only the exchange forms of Windows' own tool are read:
// REGEDIT4 and "Windows Registry Editor Version 5.00", 8-bit or UTF-16, with either line end.
#ifndef INSTALIB_EMBEDDED_CONTROL_REGISTRY_H
#define INSTALIB_EMBEDDED_CONTROL_REGISTRY_H

#include <filesystem>
#include <string>
#include <vector>

#include "platform/embedded/control/machine.h"

namespace embedded::control {

// Reads .reg text into the machine in `folder`: all of it or, when a line cannot be understood, nothing. False then,
// and `problem` says the line and the reason ("line 12: no closing quotation mark").
MACHINE_CONTROL bool ImportRegistry(const std::filesystem::path& folder, const std::string& bytes,
                                    std::string* problem);

enum class RegistryTextVersion { Version4, Version5 };  // 8-bit REGEDIT4, or UTF-16LE with a byte order mark

// The key ("HKEY_LOCAL_MACHINE\\SOFTWARE\\X") with everything below it as the bytes of a .reg file with CRLF line ends.
// False, with a reason, when the key does not exist.
MACHINE_CONTROL bool ExportRegistry(const std::filesystem::path& folder, const std::string& key,
                                    RegistryTextVersion version, std::string* bytes, std::string* problem);

// The whole state of the machine as text of one line a fact in a stable order: every key, value and descriptor of every
// hive, the hidden META included, and the files of its drives with size, attributes and hash. Written to `file`; false
// with a reason when that fails.
MACHINE_CONTROL bool SaveState(const std::filesystem::path& folder, const std::filesystem::path& file,
                               std::string* problem);

// One thing that differs. `before` is nothing for what was added, `after` for what is gone; a key has neither in words.
struct Difference {
    enum class Kind { Key, Spelling, Value, Security, File };
    enum class Change { Added, Gone, Changed };
    Kind kind;
    Change change;
    std::string path;  // of the key, hive first, or of the file
    std::string name;  // of a value; empty: the key's own
    std::string before, after;
};
// The line for a person: "+ [HKLM\\SOFTWARE\\X] \"Path\" = \"C:\\X\"".
MACHINE_CONTROL std::string Text(const Difference& difference);

// What differs from one machine to another as lines for a person, in a stable order, empty when nothing does. Either
// side is a machine's folder or a file that SaveState wrote. False with a reason when one of them cannot be read.
MACHINE_CONTROL bool Diff(const std::filesystem::path& before, const std::filesystem::path& after,
                          std::vector<std::string>* lines, std::string* problem);
MACHINE_CONTROL bool Differences(const std::filesystem::path& before, const std::filesystem::path& after,
                                 std::vector<Difference>* differences, std::string* problem);

}  // namespace embedded::control

#endif
