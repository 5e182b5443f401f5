// The drives of a machine.
#ifndef INSTALIB_EMBEDDED_FILES_DRIVE_H
#define INSTALIB_EMBEDDED_FILES_DRIVE_H

#include "platform/embedded/control/files.h"
#include "platform/embedded/machine/world.h"

namespace embedded::drives {

// What the machine's store says of a drive, whether its folder exists or not.
struct Record {
    control::DriveFacts facts;  // of the type DRIVE_NO_ROOT_DIR when the letter is none, or was set so
    bool isMounted = false;     // has a folder of the host elsewhere
    std::filesystem::path folder;
};
Record RecordOf(const Machine& machine, char letter);

// What is kept for the drive, else the defaults; of the type DRIVE_NO_ROOT_DIR when the machine has no such drive.
control::DriveFacts FactsOf(const Machine& machine, char letter);

// C:\Windows, or where the machine's registry says that Windows is; without a final backslash.
std::string WindowsDirectory();

}  // namespace embedded::drives

#endif
