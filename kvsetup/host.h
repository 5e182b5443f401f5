// What the front end needs of the system it runs on and the library does not offer: which machine, paths, the last
// error in words, terminals. host.cpp is what both targets do alike; host_windows.cpp and host_embedded.cpp hold the
// rest.
#ifndef INSTALIB_KVSETUP_HOST_H
#define INSTALIB_KVSETUP_HOST_H

#include <functional>
#include <string>
#include <vector>

#include "instalib/windows_types.h"

namespace host {

// Runs everything that follows on the machine in `folder`. False with a reason; on Windows there is only one machine.
bool SelectMachine(const std::string& folder, std::string* problem);

// False with a reason when the present machine has lost something and nothing can be done on it.
bool IsMachineSound(std::string* problem);

// The path as the library understands it, from the path as the user wrote it. On the embedded machine a folder of the
// host becomes a drive of the machine. Folders (`isFolder`) get a final backslash. Empty with a reason when that cannot
// be done.
std::string MachinePath(const std::string& path, bool isFolder, std::string* problem);

// The path that a relative one means now. Elsewhere than on Windows the current folder stays what it is, and so does
// the path.
std::string FromHere(const std::string& path);

// Loads a product library and looks for its entry points, "#N" by ordinal. 0, or why it does not load.
DWORD MissingEntryPoints(const std::string& library, const std::vector<std::string>& names,
                         std::vector<std::string>* missing);

// The setup program stands on its medium: product libraries that are looked for beside it are found there. On Windows
// the program stands where it stands, and nothing happens.
void RunFromMedium(const std::string& folder);

// The library learns the machine that drives a remote setup from its process's command line (-r:NAME). On Windows the
// front end starts itself again with that switch, waits and hands on the exit code; elsewhere *exitCode stays and false
// says: go on.
bool DriveRemotely(const std::string& hostName, const std::vector<std::string>& arguments, int* exitCode);

// A copy of the machine, with all machines of its world, on which this process runs for as long as the object lives:
// what a setup does there is a rehearsal. The second one of a setup runs at another time, and its new accounts get
// other identifiers. Problem() tells why there can be none, on Windows always.
class ScratchMachine {
  public:
    explicit ScratchMachine(bool isSecond);
    ~ScratchMachine();
    ScratchMachine(const ScratchMachine&) = delete;
    ScratchMachine& operator=(const ScratchMachine&) = delete;
    const std::string& Problem() const { return m_problem; }

  private:
    std::string m_original;
    std::string m_world;
    std::string m_problem;
};

// Whether a path is one of the machine, not of the host; on Windows every path is.
bool IsMachinePath(const std::string& path);
// The host's path of a file or folder of the machine.
std::string HostPath(const std::string& machinePath);
// False when a file, by its host path, cannot be read whole.
bool ReadFile(const std::string& hostPath, std::string& bytes);
// Writes it beside and puts it in its place, so that there is never half of it.
bool WriteFile(const std::string& hostPath, const std::string& bytes);

enum class Stream { Input, Output };
bool IsTerminal(Stream stream);
// Reads a line without showing it, for passwords.
std::string ReadHiddenLine();

DWORD LastError();
void SetLastError(DWORD error);
// "Access is denied (5)"
std::string ErrorText(DWORD error);

// Calls `use` with the key of the local machine open for its access rights; 0 with a last error when it does not open.
int WithKey(const std::string& path, const std::function<int(HKEY)>& use);

// Whether a key of the local machine, or a value in it, is there. Unknown leaves the reason in the last error.
enum class Presence { Absent, Present, Unknown };
Presence LookForKey(const std::string& path);
Presence LookForValue(const std::string& path, const std::string& name);
// The same, with the number of keys and values that it holds.
Presence LookIntoKey(const std::string& path, DWORD* keys, DWORD* values);
// Absent also for a key that holds anything.
Presence LookForEmptyKey(const std::string& path);
// The same, with the value's type and bytes as they are stored.
Presence ReadValue(const std::string& path, const std::string& name, DWORD* type, std::string* data);
// Whether a directory of the machine is there, by its path without a final backslash. Anything else of that name is
// Unknown.
Presence LookForDirectory(const std::string& path);

// One setup at a time works on a machine: the second says so at once and waits for the first, at most `seconds`. Held()
// is false when that was not enough; a setup that died lets go by itself.
class SetupLock {
  public:
    explicit SetupLock(unsigned seconds);
    ~SetupLock();
    SetupLock(const SetupLock&) = delete;
    SetupLock& operator=(const SetupLock&) = delete;
    bool Held() const { return m_held; }

  private:
    HANDLE m_mutex;
    bool m_held;
};

// The mailslot that setups on other machines report to. At most one on a machine is open.
class StatusMailslot {
  public:
    StatusMailslot();
    ~StatusMailslot();
    StatusMailslot(const StatusMailslot&) = delete;
    StatusMailslot& operator=(const StatusMailslot&) = delete;
    bool IsOpen() const { return m_mailslot != nullptr; }
    // False when nothing came for a fifth of a second.
    bool Read(std::string& message);

  private:
    HANDLE m_mailslot;
};

// Without a final backslash.
std::string WindowsDirectory();

// Whether the byte is the first of two of a character in the machine's code page.
bool IsLeadByte(char byte);

// Overwrites the text's memory.
void Wipe(std::string& text);

}  // namespace host

#endif
