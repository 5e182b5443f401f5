// The room files/: drives, names, opened files and their locks, finds, profile (INI) files.
//
// Where a name of the machine leads: the machine, the drive and the file of the host.
#ifndef INSTALIB_EMBEDDED_FILES_PLACE_H
#define INSTALIB_EMBEDDED_FILES_PLACE_H

#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/embedded/files/path_text.h"
#include "platform/embedded/machine/world.h"

namespace embedded::files {

struct Place {
    // Why the name leads nowhere: a bad name, no such drive or machine, a directory on the way that is missing. 0 when
    // only the last name may be missing.
    DWORD error = 0;
    std::shared_ptr<Machine> machine;  // null when not even the machine is known
    char drive = 0;
    bool isRemote = false;          // named by \\host\share
    bool isReadOnlyMedium = false;  // nothing can be changed on the drive
    bool isMounted = false;         // the drive is a folder of the host elsewhere
    std::filesystem::path root;     // of the drive, on the host
    // On the host, existing or where it would be made, also below missing directories; empty when a name cannot exist
    // there or a link leads off the drive.
    std::filesystem::path host;
    std::u16string below;  // below the drive's root, existing names in their own case; empty: the root
    bool endsWithSeparator = false;
    bool exists = false;
    struct stat info {};  // of an existing file

    bool IsDirectory() const { return exists && S_ISDIR(info.st_mode); }
    bool IsRoot() const { return below.empty(); }
    // 0, or the error of a call that needs the file to exist.
    DWORD Missing() const { return error != 0 ? error : exists ? 0 : DWORD(ERROR_FILE_NOT_FOUND); }
    // Where the machine's store keeps what the host's file cannot tell.
    std::string Key() const;
};

// Holds the files of a machine against every other process and thread, so that opening, renaming and deleting are
// decided in one step. Not to be nested.
class FileGuard {
  public:
    explicit FileGuard(const Machine& machine);
    ~FileGuard();
    FileGuard(const FileGuard&) = delete;
    FileGuard& operator=(const FileGuard&) = delete;

  private:
    KeptLock& m_lock;
};

// A name in the code page (null counts as empty), relative to the current directory.
std::u16string AbsoluteName(const char* name);
Place Locate(const char* name);
Place Locate(std::u16string_view absolute);
// The same with the machine's files held before the drive is looked at.
Place LocateForChange(const char* name, std::optional<FileGuard>& guard);
// The directory that holds the place; the root's is itself.
Place ParentOf(const Place& place);

// The Windows error for errno of a failed host call on a file.
DWORD ErrorOfHost(int error);

}  // namespace embedded::files

#endif
