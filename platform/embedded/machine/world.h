// The room machine/: the machines of the world, what a fresh one holds, the difference of two.
//
// The machines of the world as the embedded machine's own code sees them.
#ifndef INSTALIB_EMBEDDED_MACHINE_WORLD_H
#define INSTALIB_EMBEDDED_MACHINE_WORLD_H

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/embedded/core/kept_lock.h"
#include "platform/embedded/store/store.h"

namespace embedded {

class Machine {
  public:
    // Opens the store in the folder; throws std::runtime_error when it cannot be used.
    Machine(std::string name, std::filesystem::path folder);
    Machine(std::string name, std::filesystem::path folder, std::shared_ptr<Store> store);

    const std::string& Name() const { return m_name; }  // the computer name, upper case
    const std::filesystem::path& Folder() const { return m_folder; }
    Store& Storage() const { return *m_store; }
    // Held while files are opened, renamed and deleted (files/place.h).
    KeptLock& FilesLock() const { return *m_filesLock; }
    // The host folder behind a drive letter (drives/C, or what was mounted); empty when the machine has no such drive.
    std::filesystem::path Drive(char letter) const;

  private:
    std::string m_name;
    std::filesystem::path m_folder;
    std::shared_ptr<Store> m_store;
    std::shared_ptr<KeptLock> m_filesLock;
};

namespace world {

// The machine that this process runs on. One whose store cannot be used is there, too, with an empty store that takes
// nothing; the gate then lets no call in.
std::shared_ptr<Machine> Local();
// A machine of the local one's world by computer name, with or without leading backslashes, in any letter case; null
// when there is none, or none whose store can be used. Null, empty and the local name give the local machine.
std::shared_ptr<Machine> Find(const char* name);
std::shared_ptr<Machine> Find(const WCHAR* name);

}  // namespace world

// Fills a new machine's store and drives (machine/seed.cpp). Without `sid` its identifier is a new one.
void SeedMachine(Machine& machine, const std::string& sid);

}  // namespace embedded

#endif
