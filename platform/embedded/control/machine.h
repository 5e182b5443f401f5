// The room control/: what tests and tools may do to a machine and no Windows call does.
//
// All that a test or a tool may do to an embedded machine and no Windows call does. Part of the embedded machine's
// exported interface; the library itself never includes it. Paths given here as std::filesystem::path are the host's.
#ifndef INSTALIB_EMBEDDED_CONTROL_MACHINE_H
#define INSTALIB_EMBEDDED_CONTROL_MACHINE_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/embedded/api/base.h"

#define MACHINE_CONTROL __attribute__((visibility("default")))

namespace embedded::control {

// --- Machines ---

// Creates `world`/`name` as a plausible fresh 64-bit Windows: the keys, directories, accounts, groups and services that
// Windows itself brings. False when the folder exists already or cannot be made. `name` is the computer name, upper
// case. Its identifier is a new one unless `sid` says one ("S-1-5-21-1-2-3").
MACHINE_CONTROL bool NewMachine(const std::filesystem::path& world, const std::string& name,
                                const std::string& sid = "");
// From now on this process runs on the machine in `folder` (as INSTALIB_MACHINE does for a process from its start, and
// child processes inherit it). Per-process state starts afresh: current directory C:\, tokens, environment changes of
// the machine, code page. False when the folder is no machine. One whose registry cannot be used is a machine on which
// every call fails; MachineProblem says why.
MACHINE_CONTROL bool UseMachine(const std::filesystem::path& folder);
// The folder of the local machine: INSTALIB_MACHINE, or the default one in the user's state directory, created on first
// use.
MACHINE_CONTROL std::filesystem::path MachineFolder();
// One line that says what is wrong with the local machine's registry and in which file; empty when nothing is.
MACHINE_CONTROL std::string MachineProblem();
// Looks a machine's registry through without changing anything. What there is and what is wrong, in lines for a person.
// True when nothing is wrong.
MACHINE_CONTROL bool CheckMachine(const std::filesystem::path& folder, std::vector<std::string>* lines);
// Saves the file of a damaged registry beside it, as it is, and makes one of all that is whole in it. What was kept and
// what was lost, in lines. False when nothing could be saved; the file is then as it was. Processes that run on the
// machine meanwhile have to be started again.
MACHINE_CONTROL bool RepairMachine(const std::filesystem::path& folder, std::vector<std::string>* lines);
// The host's path of a file of the local machine, existing or not: "C:\\x\\y" gives FOLDER/drives/C/x/y, an existing
// name found in whatever case it has.
MACHINE_CONTROL std::filesystem::path HostPath(const std::string& machinePath);
// From now on the folder `host` is seen as the drive `letter` of the local machine (a medium in D:). Kept with the
// machine.
MACHINE_CONTROL bool MountDrive(char letter, const std::filesystem::path& host);
// As which program of the machine this process runs, for example "C:\\SETUP\\SETUP.EXE". Kept for the process;
// inherited by children as INSTALIB_PROGRAM.
MACHINE_CONTROL void RunAs(const std::string& program);
// What GetCommandLineA answers; empty: the host's own arguments.
MACHINE_CONTROL void SetCommandLine(const std::string& line);

// --- Time ---

// With a manual clock, Sleep returns at once and moves the clock on by what it was asked for. Off by default.
MACHINE_CONTROL void UseManualClock(bool manual);
// Milliseconds slept so far on this process's manual clock.
MACHINE_CONTROL std::uint64_t SleptMilliseconds();
MACHINE_CONTROL void AdvanceClock(std::uint64_t milliseconds);

// --- Calls, faults, leaks ---

enum class CallKind { Memory, Registry, File, Profile, Module, System, Security, Account, Network, Service, Any };

// What can be open or handed out. Key to FindHandle are handles; the rest are buffers, by the function that frees them.
enum class ResourceKind {
    Key,
    File,
    Find,
    Module,
    Token,
    Process,
    Thread,
    Mutex,
    ServiceManager,
    Service,
    ServiceLock,
    Policy,
    LocalMemory,
    HeapMemory,
    NetBuffer,
    Sid,
    LsaMemory,
    PrivateObject,
    Count
};

// Fails the n-th call (1 is the next one) of a kind with `error`, once or from then on. Only one fault is armed at a
// time.
MACHINE_CONTROL void FailCall(CallKind kind, unsigned n, DWORD error, bool persistent = false);
// Ends the process at once, as a kill does, at the n-th call (1 is the next one) of any kind: before it does anything.
MACHINE_CONTROL void ExitAtCall(unsigned n, int exitCode);
// A named function is never failed and not counted until the next ClearFault ("CloseHandle" and other closers by
// default).
MACHINE_CONTROL void ExemptCall(const std::string& name);
MACHINE_CONTROL void ClearFault();
MACHINE_CONTROL bool FaultFired();
// The name of the call that the fault hit, empty when it did not fire.
MACHINE_CONTROL std::string FaultedCall();
// Counts calls between Start and Stop by name, in order of first use: for budgets of a call ("opens no key twice").
MACHINE_CONTROL void StartCounting();
MACHINE_CONTROL std::vector<std::pair<std::string, unsigned>> StopCounting();

// How many handles or buffers of a kind this process has open; of all kinds without one.
MACHINE_CONTROL std::size_t OpenCount(ResourceKind kind);
MACHINE_CONTROL std::size_t OpenCount();
// "Key 2, Find 1" for a test's message; empty when nothing is open.
MACHINE_CONTROL std::string OpenReport();

// What each family adds stands in its own header: control/files.h, control/system.h, control/accounts.h,
// control/services.h, control/registry.h.

}  // namespace embedded::control

#endif
