// The state of a whole machine as a value that can be written as text, read again and compared.
#ifndef INSTALIB_EMBEDDED_MACHINE_DIFFERENCE_H
#define INSTALIB_EMBEDDED_MACHINE_DIFFERENCE_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/embedded/control/registry.h"
#include "platform/embedded/store/keys.h"

namespace embedded::machine_diff {

struct KeyState {
    std::string path;                 // from the hive on, in the case it was created with
    std::vector<StoredValue> values;  // in order of creation
    Bytes security;                   // empty: inherited
};

struct MachineState {
    std::map<std::string, KeyState, NameLess> keys;      // by path
    std::map<std::string, std::string, NameLess> files;  // "C:\\x\\y": "12 bytes, hash 0123456789abcdef" or "directory"
};

// Of a machine's folder, or of a file that WriteState's text was saved to. Throws std::runtime_error with a reason.
MachineState ReadState(const std::filesystem::path& place);
// A file in the form of a .reg file: keys by hive, then their descriptors and the files under names of their own.
std::string WriteState(const MachineState& state);
// Ordered by key and file.
std::vector<control::Difference> Compare(const MachineState& before, const MachineState& after);

}  // namespace embedded::machine_diff

#endif
