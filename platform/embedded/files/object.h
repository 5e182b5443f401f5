// What a handle of CreateFileA stands for: a file on a drive, or what another family opens under a name of its own.
#ifndef INSTALIB_EMBEDDED_FILES_OBJECT_H
#define INSTALIB_EMBEDDED_FILES_OBJECT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/embedded/core/handles_table.h"

namespace embedded::files {

// Read and Write answer 0 or a Windows error and store how many bytes they moved. Without an offset they go on from the
// object's own position.
class FileObject : public HandleObject {
  public:
    FileObject() : HandleObject(ResourceKind::File) {}
    virtual DWORD Read(void* buffer, DWORD bytes, std::optional<std::uint64_t> offset, DWORD* done) = 0;
    virtual DWORD Write(const void* buffer, DWORD bytes, std::optional<std::uint64_t> offset, DWORD* done) = 0;
};

// Opens the writing end of the mailslot `\\computer\mailslot\name` ("." is the local machine). Null with a Windows
// error in `error`.
std::shared_ptr<FileObject> OpenMailslot(const std::string& computer, const std::string& name, DWORD access,
                                         DWORD share, DWORD* error);

}  // namespace embedded::files

#endif
