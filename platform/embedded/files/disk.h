// A file on a drive of a machine, opened.
#ifndef INSTALIB_EMBEDDED_FILES_DISK_H
#define INSTALIB_EMBEDDED_FILES_DISK_H

#include <mutex>

#include "platform/embedded/files/locks.h"
#include "platform/embedded/files/object.h"
#include "platform/embedded/files/place.h"

namespace embedded::files {

struct OpenRequest {
    DWORD access = 0;
    DWORD share = 0;
    DWORD disposition = 0;
    DWORD flags = 0;  // flags and attributes of CreateFileA
};

class DiskFile : public FileObject {
  public:
    // What `request` says of a located place, decided while its machine's FileGuard is held. `existed`: it opened what
    // was there. Null with a Windows error in `error`.
    static std::shared_ptr<DiskFile> Open(Place place, const OpenRequest& request, bool* existed, DWORD* error);
    // The same by name, with the guard.
    static std::shared_ptr<DiskFile> Open(const char* name, const OpenRequest& request, bool* existed, DWORD* error);
    // The content of a file by name, read at once: no other handle writes it as a whole meanwhile, and none that denies
    // reading has it open. Nothing with an error otherwise.
    static std::optional<std::string> ReadWhole(const char* name, DWORD* error);
    ~DiskFile() override;

    DWORD Read(void* buffer, DWORD bytes, std::optional<std::uint64_t> offset, DWORD* done) override;
    DWORD ReadAll(std::string* bytes);  // from the start; the position stays
    DWORD Write(const void* buffer, DWORD bytes, std::optional<std::uint64_t> offset, DWORD* done) override;
    // The position may lie behind the end, not before the start (ERROR_NEGATIVE_SEEK).
    DWORD Seek(std::int64_t distance, DWORD method, std::uint64_t* position);
    DWORD SetEnd(std::optional<std::uint64_t> end = std::nullopt);  // at the position when none is given
    DWORD Size(std::uint64_t* size);
    DWORD Flush();
    DWORD Lock(std::uint64_t offset, std::uint64_t length);
    DWORD Unlock(std::uint64_t offset, std::uint64_t length);
    DWORD GetTimes(FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite);
    DWORD SetTimes(const FILETIME* creation, const FILETIME* lastAccess, const FILETIME* lastWrite);
    bool HoldWhole(bool forWriting) { return m_locks.HoldWhole(forWriting); }
    // The file's permissions on the host, to be given to a copy: they tell what can be started as a program.
    mode_t HostMode() const { return m_place.info.st_mode; }
    void SetHostMode(mode_t mode);
    const Place& Where() const { return m_place; }

  private:
    DiskFile(Place place, int descriptor, unsigned rights, const OpenRequest& request);
    DWORD MarkChanged();

    std::mutex m_mutex;
    Place m_place;
    int m_descriptor;
    unsigned m_rights;  // ShareBits of what the handle may do
    bool m_appendsOnly;
    bool m_deletesOnClose;
    bool m_isMarkedChanged = false;
    std::uint64_t m_position = 0;
    FileLocks m_locks;
};

}  // namespace embedded::files

#endif
