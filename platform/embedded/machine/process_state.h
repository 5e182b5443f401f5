// What belongs to this process rather than to its machine: the program it runs as, its command line and its
// environment. All of it starts afresh when the process changes its machine.
#ifndef INSTALIB_EMBEDDED_MACHINE_PROCESS_STATE_H
#define INSTALIB_EMBEDDED_MACHINE_PROCESS_STATE_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/core/text.h"
#include "platform/embedded/machine/world.h"

namespace embedded {

struct NoCaseLess {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const {
        return text::CompareNoCase(left, right) < 0;
    }
};

namespace process {

// The machine's path of the program: what RunAs or INSTALIB_PROGRAM said, the host program's own place when that is on
// a drive of the machine, C:\SETUP\<NAME>.EXE otherwise.
std::string Program();
// The folder of the program without a final backslash, except for a root.
std::string ProgramFolder();
std::string CommandLine();
// The store's path of the hive of the user that programs of the machine run as: "HKU\\S-1-5-21-...-500".
std::string UserHive(Machine& machine);

std::optional<std::string> Variable(std::string_view name);
// Nothing removes the variable.
void SetVariable(std::string_view name, const std::optional<std::string>& value);
// "NAME=value" for a child process on the host: the host's own environment, this process's changes and what the child
// needs to find its machine and its place there (`directory` is absolute).
std::vector<std::string> ChildEnvironment(const std::string& program, const std::u16string& directory);

// Starts all of it, the current directory and the tokens afresh on another machine (system/process_state.cpp).
void ResetForMachine();
// Forgets variables, program and command line (system/environment.cpp).
void ResetEnvironment();

}  // namespace process
}  // namespace embedded

#endif
