// What a test or a tool may do to a machine's drives, beyond control/machine.h (mounting stands there).
#ifndef INSTALIB_EMBEDDED_CONTROL_FILES_H
#define INSTALIB_EMBEDDED_CONTROL_FILES_H

#include "platform/embedded/control/machine.h"

namespace embedded::control {

// A drive as GetDriveTypeA and GetDiskFreeSpaceA tell it.
struct DriveFacts {
    DWORD type = 3;  // DRIVE_REMOVABLE 2, DRIVE_FIXED 3, DRIVE_REMOTE 4, DRIVE_CDROM 5; DRIVE_NO_ROOT_DIR 1: not there
    std::uint64_t totalBytes = std::uint64_t(64) << 30;
    std::uint64_t freeBytes = std::uint64_t(31) << 30;  // no multiple of 4 GiB, which a 32-bit figure shows as nothing
    DWORD bytesPerSector = 512;
    DWORD sectorsPerCluster = 8;
    // A drive without its medium: it has a type, and everything else on it fails with ERROR_NOT_READY.
    bool ready = true;
};

// Kept with the local machine. A drive that was never set is fixed (C:) or, when a folder is mounted, a CD-ROM; a drive
// set here that has neither a folder nor a mount gets an empty folder. False when the letter is none or nothing can be
// written.
MACHINE_CONTROL bool SetDrive(char letter, const DriveFacts& facts);

}  // namespace embedded::control

#endif
