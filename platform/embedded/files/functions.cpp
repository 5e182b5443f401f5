// Files by handle.
#include "platform/embedded/api/files.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/disk.h"

using embedded::control::CallKind;
namespace gate = embedded::gate;
namespace files = embedded::files;
namespace handles = embedded::handles;

namespace {

constexpr std::uint64_t Join(DWORD low, DWORD high) { return (std::uint64_t(high) << 32) | low; }

BOOL ThroughLastError(DWORD error) {
    if (error != 0) SetLastError(error);
    return error == 0;
}

// Runs `operation` on the open disk file behind the handle; any other handle is ERROR_INVALID_HANDLE.
template <class Operation>
BOOL OnDiskFile(HANDLE handle, const char* name, Operation operation) {
    if (gate::Refuses(CallKind::File, name)) return FALSE;
    const std::shared_ptr<files::DiskFile> file = handles::Find<files::DiskFile>(handle);
    return ThroughLastError(file ? operation(*file) : DWORD(ERROR_INVALID_HANDLE));
}

// Moves bytes in one direction; the OVERLAPPED's offset counts, its event does not.
template <class Buffer, class Operation>
BOOL Transfer(HANDLE handle, Buffer buffer, DWORD bytes, LPDWORD moved, LPOVERLAPPED overlapped, Operation operation) {
    DWORD done = 0;
    const std::shared_ptr<files::FileObject> file = handles::Find<files::FileObject>(handle);
    DWORD error = ERROR_INVALID_HANDLE;
    if (file && buffer == nullptr && bytes != 0)
        error = ERROR_NOACCESS;
    else if (file) {
        std::optional<std::uint64_t> offset;
        if (overlapped != nullptr) offset = Join(overlapped->Offset, overlapped->OffsetHigh);
        error = ((*file).*operation)(buffer, bytes, offset, &done);
    }
    if (moved != nullptr) *moved = done;
    return ThroughLastError(error);
}

// `\\computer\mailslot\name` in its parts; false for every other name.
bool IsMailslot(const std::u16string& absolute, std::string* computer, std::string* name) {
    const std::optional<embedded::paths::Parsed> parsed = embedded::paths::Parse(absolute);
    if (!parsed || !embedded::paths::EqualNoCase(parsed->share, u"mailslot")) return false;
    *computer = embedded::paths::ToAnsi(parsed->host);
    *name = embedded::paths::ToAnsi(std::u16string_view(absolute).substr(embedded::paths::RootLength(absolute)));
    return true;
}

}  // namespace

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD disposition, DWORD flags,
                   HANDLE) {
    if (gate::Refuses(CallKind::File, "CreateFileA")) return INVALID_HANDLE_VALUE;
    std::shared_ptr<files::FileObject> file;
    DWORD error = ERROR_PATH_NOT_FOUND;
    bool existed = false;
    std::string computer, slot;
    if (IsMailslot(files::AbsoluteName(name), &computer, &slot)) {
        file = files::OpenMailslot(computer, slot, access, share, &error);
    } else {
        file = files::DiskFile::Open(name, {access, share, disposition, flags}, &existed, &error);
        if (file && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS)) {
            SetLastError(existed ? ERROR_ALREADY_EXISTS : NO_ERROR);
        }
    }
    if (file) return handles::Add(std::move(file));
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD bytesRead, LPOVERLAPPED overlapped) {
    if (gate::Refuses(CallKind::File, "ReadFile")) return FALSE;
    return Transfer(file, buffer, bytes, bytesRead, overlapped, &files::FileObject::Read);
}

BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD bytes, LPDWORD bytesWritten, LPOVERLAPPED overlapped) {
    if (gate::Refuses(CallKind::File, "WriteFile")) return FALSE;
    return Transfer(file, buffer, bytes, bytesWritten, overlapped, &files::FileObject::Write);
}

DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method) {
    std::uint64_t position = 0;
    const BOOL moved = OnDiskFile(file, "SetFilePointer", [&](files::DiskFile& disk) -> DWORD {
        if (distanceHigh != nullptr) {
            return disk.Seek(std::int64_t(Join(DWORD(distance), DWORD(*distanceHigh))), method, &position);
        }
        std::uint64_t before = 0;
        disk.Seek(0, FILE_CURRENT, &before);
        const DWORD error = disk.Seek(distance, method, &position);
        if (error != 0 || position <= 0xFFFFFFFFu) return error;
        // Without a place for its upper half the position has to fit into 32 bits.
        disk.Seek(std::int64_t(before), FILE_BEGIN, &position);
        return ERROR_INVALID_PARAMETER;
    });
    if (!moved) return INVALID_SET_FILE_POINTER;
    if (distanceHigh != nullptr) *distanceHigh = LONG(position >> 32);
    if (DWORD(position) == INVALID_SET_FILE_POINTER) SetLastError(NO_ERROR);
    return DWORD(position);
}

BOOL SetEndOfFile(HANDLE file) {
    return OnDiskFile(file, "SetEndOfFile", [](files::DiskFile& disk) { return disk.SetEnd(); });
}

DWORD GetFileSize(HANDLE file, LPDWORD sizeHigh) {
    std::uint64_t size = 0;
    if (!OnDiskFile(file, "GetFileSize", [&](files::DiskFile& disk) { return disk.Size(&size); }))
        return INVALID_FILE_SIZE;
    if (sizeHigh != nullptr) *sizeHigh = DWORD(size >> 32);
    if (DWORD(size) == INVALID_FILE_SIZE) SetLastError(NO_ERROR);
    return DWORD(size);
}

BOOL FlushFileBuffers(HANDLE file) {
    return OnDiskFile(file, "FlushFileBuffers", [](files::DiskFile& disk) { return disk.Flush(); });
}

BOOL LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD bytesLow, DWORD bytesHigh) {
    return OnDiskFile(file, "LockFile", [&](files::DiskFile& disk) {
        return disk.Lock(Join(offsetLow, offsetHigh), Join(bytesLow, bytesHigh));
    });
}

BOOL UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD bytesLow, DWORD bytesHigh) {
    return OnDiskFile(file, "UnlockFile", [&](files::DiskFile& disk) {
        return disk.Unlock(Join(offsetLow, offsetHigh), Join(bytesLow, bytesHigh));
    });
}

BOOL GetFileTime(HANDLE file, LPFILETIME creation, LPFILETIME lastAccess, LPFILETIME lastWrite) {
    return OnDiskFile(file, "GetFileTime",
                      [&](files::DiskFile& disk) { return disk.GetTimes(creation, lastAccess, lastWrite); });
}

BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess, const FILETIME* lastWrite) {
    return OnDiskFile(file, "SetFileTime",
                      [&](files::DiskFile& disk) { return disk.SetTimes(creation, lastAccess, lastWrite); });
}
