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

// The setup program stands on its medium: product libraries that are looked for beside it are found there. On Windows
// the program stands where it stands, and nothing happens.
void RunFromMedium(const std::string& folder);

// The library learns the machine that drives a remote setup from its process's command line (-r:NAME). On Windows the
// front end starts itself again with that switch, waits and hands on the exit code; elsewhere *exitCode stays and false
// says: go on.
bool DriveRemotely(const std::string& hostName, const std::vector<std::string>& arguments, int* exitCode);

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

// One setup at a time works on a machine: the second waits for the first, at most `seconds`. Held() is false when that
// was not enough; a setup that died lets go by itself.
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

// Overwrites the text's memory.
void Wipe(std::string& text);

}  // namespace host

#endif
