// Security descriptors of files and directories, for the security family (GetFileSecurityA, SetFileSecurityA) and for
// the checks that file calls make. Descriptors are self-relative; they live under META\Files\<drive>\<path> in the
// store of the machine that holds the file, and move and go with it.
#ifndef INSTALIB_EMBEDDED_FILES_FILE_SECURITY_H
#define INSTALIB_EMBEDDED_FILES_FILE_SECURITY_H

#include "platform/embedded/security/access.h"

namespace embedded::files {

struct FileSecurity {
    DWORD error = 0;  // 0, or why the name leads to no file (ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ...)
    access::ObjectType type = access::ObjectType::File;
    Bytes descriptor;  // never empty on success: the file's own, else inherited from the nearest ancestor, else the
                       // default
};

// What a path of the machine (code page, relative or absolute, drive or UNC) has as its descriptor. Checks no rights.
FileSecurity DescriptorOf(const char* path);

// Gives the file or directory a descriptor of its own. 0 or a Windows error. Checks no rights.
DWORD SetDescriptor(const char* path, const Bytes& descriptor);

}  // namespace embedded::files

#endif
