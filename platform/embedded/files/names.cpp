// Files and directories by name.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "platform/embedded/api/files.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/files/disk.h"
#include "platform/embedded/files/drive.h"
#include "platform/embedded/files/folder_names.h"
#include "platform/embedded/files/record.h"
#include "platform/embedded/files/state.h"
#include "platform/embedded/machine/process_state.h"

using embedded::control::CallKind;
namespace gate = embedded::gate;
namespace files = embedded::files;
namespace paths = embedded::paths;

namespace {

BOOL ThroughLastError(DWORD error) {
    if (error != 0) SetLastError(error);
    return error == 0;
}

// Opened for deletion, which finds out whether anybody objects; null with an error.
std::shared_ptr<files::DiskFile> OpenToDelete(const files::Place& place, DWORD* error) {
    bool existed = false;
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return files::DiskFile::Open(place, {DELETE, kShareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS}, &existed,
                                 error);
}

bool IsReadOnly(const files::Place& place) { return (files::AttributesOf(place) & FILE_ATTRIBUTE_READONLY) != 0; }

// Windows keeps the current directory open, so that nobody takes it away.
bool IsCurrentDirectory(const files::Place& place) {
    const files::Place current = files::Locate(files::CurrentDirectory());
    return current.exists && current.info.st_ino == place.info.st_ino && current.info.st_dev == place.info.st_dev;
}

DWORD DeleteOneFile(const char* name) {
    std::optional<files::FileGuard> guard;
    const files::Place place = files::LocateForChange(name, guard);
    if (const DWORD error = place.Missing()) return error;
    if (place.IsDirectory() || IsReadOnly(place)) return ERROR_ACCESS_DENIED;
    DWORD error = 0;
    const std::shared_ptr<files::DiskFile> file = OpenToDelete(place, &error);
    if (!file) return error;
    files::folder_names::Change change(place.host);
    if (unlink(place.host.c_str()) != 0) return files::ErrorOfHost(errno);
    change.Removed();
    files::ForgetRecord(place);
    return 0;
}

DWORD MakeOneDirectory(const char* name) {
    std::optional<files::FileGuard> guard;
    files::Place place = files::LocateForChange(name, guard);
    if (place.error != 0) return place.error;
    if (place.exists) return ERROR_ALREADY_EXISTS;
    if (place.isReadOnlyMedium) return ERROR_WRITE_PROTECT;
    if (const DWORD error = files::CheckRights(files::ParentOf(place), FILE_ADD_SUBDIRECTORY)) return error;
    files::folder_names::Change change(place.host);
    if (mkdir(place.host.c_str(), 0777) != 0) return files::ErrorOfHost(errno);
    change.Added();
    files::ForgetRecord(place);
    return 0;
}

DWORD RemoveOneDirectory(const char* name) {
    std::optional<files::FileGuard> guard;
    const files::Place place = files::LocateForChange(name, guard);
    if (const DWORD error = place.Missing()) return error;
    if (!place.IsDirectory()) return ERROR_DIRECTORY;
    if (place.IsRoot() || IsReadOnly(place)) return ERROR_ACCESS_DENIED;
    if (place.isReadOnlyMedium) return ERROR_WRITE_PROTECT;
    if (IsCurrentDirectory(place)) return ERROR_SHARING_VIOLATION;
    DWORD error = 0;
    const std::shared_ptr<files::DiskFile> directory = OpenToDelete(place, &error);
    if (!directory) return error;
    files::folder_names::Change change(place.host);
    if (rmdir(place.host.c_str()) != 0) return files::ErrorOfHost(errno);
    change.Removed();
    files::ForgetRecord(place);
    return 0;
}

DWORD CopyContent(files::DiskFile& from, files::DiskFile& to) {
    std::vector<char> buffer(1 << 16);
    for (;;) {
        DWORD read = 0, written = 0;
        if (const DWORD error = from.Read(buffer.data(), DWORD(buffer.size()), std::nullopt, &read)) return error;
        if (read == 0) return 0;
        if (const DWORD error = to.Write(buffer.data(), read, std::nullopt, &written)) return error;
    }
}

// The copy has the attributes and the time of the last write, not the security, of its origin.
DWORD CopyOneFile(const char* existing, const char* copy, bool failIfExists) {
    DWORD error = 0;
    bool existed = false;
    const auto from = files::DiskFile::Open(
        existing, {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, 0}, &existed, &error);
    if (!from) return error;
    const DWORD attributes = files::AttributesOf(from->Where()) & ~DWORD(FILE_ATTRIBUTE_NORMAL);
    const DWORD disposition = failIfExists ? CREATE_NEW : CREATE_ALWAYS;
    const auto to = files::DiskFile::Open(copy, {GENERIC_WRITE, 0, disposition, attributes}, &existed, &error);
    if (!to) return error;
    error = CopyContent(*from, *to);
    if (error != 0) {
        unlink(to->Where().host.c_str());
        return error;
    }
    to->SetHostMode(from->HostMode());
    FILETIME lastWrite{};
    from->GetTimes(nullptr, nullptr, &lastWrite);
    return to->SetTimes(nullptr, nullptr, &lastWrite);
}

DWORD CheckMoveTarget(const files::Place& from, const files::Place& to, DWORD flags) {
    if (to.error != 0) return to.error;
    if (to.isReadOnlyMedium) return ERROR_WRITE_PROTECT;
    const bool isSame = to.exists && to.info.st_ino == from.info.st_ino && to.info.st_dev == from.info.st_dev;
    if (to.exists && !isSame) {
        if ((flags & MOVEFILE_REPLACE_EXISTING) == 0) return ERROR_ALREADY_EXISTS;
        if (to.IsDirectory() || from.IsDirectory() || IsReadOnly(to)) return ERROR_ACCESS_DENIED;
        DWORD error = 0;
        if (!OpenToDelete(to, &error)) return error;
    }
    const DWORD needed = from.IsDirectory() ? FILE_ADD_SUBDIRECTORY : FILE_ADD_FILE;
    return files::CheckRights(files::ParentOf(to), needed);
}

// A rename; ERROR_NOT_SAME_DEVICE when it would have to be a copy.
DWORD RenameOne(const char* existing, const char* renamed, DWORD flags) {
    std::optional<files::FileGuard> guard;
    const files::Place from = files::LocateForChange(existing, guard);
    if (const DWORD error = from.Missing()) return error;
    if (from.IsRoot()) return ERROR_ACCESS_DENIED;
    files::Place to = files::Locate(renamed);
    DWORD error = 0;
    const std::shared_ptr<files::DiskFile> file = OpenToDelete(from, &error);
    if (!file) return error;
    if (const DWORD refusal = CheckMoveTarget(from, to, flags)) return refusal;
    if (from.machine != to.machine || from.drive != to.drive) return ERROR_NOT_SAME_DEVICE;
    // A name that only changes its case is found as it was; the new spelling is the one asked for.
    const std::u16string asked = files::AbsoluteName(renamed);
    const std::u16string_view last = std::u16string_view(asked).substr(asked.find_last_of(u'\\') + 1);
    if (to.exists && !last.empty()) to.host = to.host.parent_path() / *paths::ToHost(last);
    files::folder_names::Change leaves(from.host), arrives(to.host);
    if (rename(from.host.c_str(), to.host.c_str()) != 0) return files::ErrorOfHost(errno);
    leaves.Removed();
    arrives.Added();
    files::MoveRecord(from, to);
    return 0;
}

// Adds to what Windows would do at its next start.
DWORD MoveAtNextStart(const char* existing, const char* renamed, DWORD flags) {
    constexpr char kKey[] = "HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    constexpr char kValue[] = "PendingFileRenameOperations";
    constexpr DWORD kMultiText = 7;  // REG_MULTI_SZ
    embedded::Store& store = embedded::world::Local()->Storage();
    const embedded::Store::Lock lock(store);
    embedded::Bytes data;
    if (std::optional<embedded::StoredValue> value = store.Read(kKey, kValue)) data = std::move(value->data);
    if (!data.empty() && data.back() == 0) data.pop_back();  // the list's own terminator
    const auto append = [&](const std::string& text) {
        data.insert(data.end(), text.c_str(), text.c_str() + text.size() + 1);
    };
    append("\\??\\" + paths::ToAnsi(files::AbsoluteName(existing)));
    const std::string mark = (flags & MOVEFILE_REPLACE_EXISTING) != 0 ? "!\\??\\" : "\\??\\";
    append(renamed == nullptr ? "" : mark + paths::ToAnsi(files::AbsoluteName(renamed)));
    data.push_back(0);
    return store.Write(kKey, kValue, kMultiText, data) ? 0 : ERROR_WRITE_PROTECT;
}

DWORD Move(const char* existing, const char* renamed, DWORD flags) {
    if ((flags & MOVEFILE_DELAY_UNTIL_REBOOT) != 0) return MoveAtNextStart(existing, renamed, flags);
    const DWORD error = RenameOne(existing, renamed, flags);
    if (error != ERROR_NOT_SAME_DEVICE || (flags & MOVEFILE_COPY_ALLOWED) == 0) return error;
    if (files::Locate(existing).IsDirectory()) return error;
    const bool replaces = (flags & MOVEFILE_REPLACE_EXISTING) != 0;
    if (const DWORD copying = CopyOneFile(existing, renamed, !replaces)) return copying;
    return DeleteOneFile(existing);
}

DWORD SetOneAttributes(const char* name, DWORD attributes) {
    const files::Place place = files::Locate(name);
    if (const DWORD error = place.Missing()) return error;
    if (place.isReadOnlyMedium) return ERROR_WRITE_PROTECT;
    if (const DWORD error = files::CheckRights(place, FILE_WRITE_ATTRIBUTES)) return error;
    return files::SetAttributesOf(place, attributes);
}

DWORD EnterDirectory(const char* name) {
    std::u16string absolute = files::AbsoluteName(name);
    if (absolute.empty()) return ERROR_INVALID_NAME;
    if (!absolute.ends_with(u'\\')) absolute += u'\\';
    // Found without its final backslash: a file of that name is then told from a bad name.
    const bool isRoot = absolute.size() == paths::RootLength(absolute);
    const files::Place place =
        files::Locate(std::u16string_view(absolute).substr(0, absolute.size() - (isRoot ? 0 : 1)));
    if (const DWORD error = place.Missing()) return error;
    if (!place.IsDirectory()) return ERROR_DIRECTORY;
    files::SetCurrentDirectory(absolute);
    return 0;
}

}  // namespace

BOOL DeleteFileA(LPCSTR name) {
    return !gate::Refuses(CallKind::File, "DeleteFileA") && ThroughLastError(DeleteOneFile(name));
}

BOOL MoveFileA(LPCSTR existing, LPCSTR renamed) {
    return !gate::Refuses(CallKind::File, "MoveFileA") &&
           ThroughLastError(Move(existing, renamed, MOVEFILE_COPY_ALLOWED));
}

BOOL MoveFileExA(LPCSTR existing, LPCSTR renamed, DWORD flags) {
    return !gate::Refuses(CallKind::File, "MoveFileExA") && ThroughLastError(Move(existing, renamed, flags));
}

BOOL CopyFileA(LPCSTR existing, LPCSTR copy, BOOL failIfExists) {
    return !gate::Refuses(CallKind::File, "CopyFileA") &&
           ThroughLastError(CopyOneFile(existing, copy, failIfExists != FALSE));
}

BOOL CreateDirectoryA(LPCSTR path, LPSECURITY_ATTRIBUTES) {
    return !gate::Refuses(CallKind::File, "CreateDirectoryA") && ThroughLastError(MakeOneDirectory(path));
}

BOOL RemoveDirectoryA(LPCSTR path) {
    return !gate::Refuses(CallKind::File, "RemoveDirectoryA") && ThroughLastError(RemoveOneDirectory(path));
}

DWORD GetFileAttributesA(LPCSTR name) {
    if (gate::Refuses(CallKind::File, "GetFileAttributesA")) return INVALID_FILE_ATTRIBUTES;
    const files::Place place = files::Locate(name);
    return ThroughLastError(place.Missing()) ? files::AttributesOf(place) : INVALID_FILE_ATTRIBUTES;
}

BOOL SetFileAttributesA(LPCSTR name, DWORD attributes) {
    return !gate::Refuses(CallKind::File, "SetFileAttributesA") && ThroughLastError(SetOneAttributes(name, attributes));
}

BOOL SetCurrentDirectoryA(LPCSTR path) {
    return !gate::Refuses(CallKind::File, "SetCurrentDirectoryA") && ThroughLastError(EnterDirectory(path));
}

DWORD GetCurrentDirectoryA(DWORD size, LPSTR buffer) {
    if (gate::Refuses(CallKind::File, "GetCurrentDirectoryA")) return 0;
    std::u16string directory = files::CurrentDirectory();
    if (directory.size() > paths::RootLength(directory)) directory.pop_back();
    return paths::CopyOut(paths::ToAnsi(directory), buffer, size);
}

DWORD GetFullPathNameA(LPCSTR name, DWORD size, LPSTR buffer, LPSTR* filePart) {
    if (gate::Refuses(CallKind::File, "GetFullPathNameA")) return 0;
    if (filePart != nullptr) *filePart = nullptr;
    const std::u16string absolute = files::AbsoluteName(name);
    if (absolute.empty()) return DWORD(FALSE & ThroughLastError(ERROR_INVALID_NAME));
    const std::string path = paths::ToAnsi(absolute);
    const DWORD length = paths::CopyOut(path, buffer, size);
    if (filePart != nullptr && length == path.size() && !absolute.ends_with(u'\\')) {
        *filePart = buffer + paths::ToAnsi(absolute.substr(0, absolute.rfind(u'\\') + 1)).size();
    }
    return length;
}

DWORD GetTempPathA(DWORD size, LPSTR buffer) {
    if (gate::Refuses(CallKind::File, "GetTempPathA")) return 0;
    std::string path = embedded::drives::WindowsDirectory();
    for (const char* const name : {"USERPROFILE", "TEMP", "TMP"}) {
        if (const std::optional<std::string> value = embedded::process::Variable(name); value && !value->empty())
            path = *value;
    }
    std::u16string absolute = files::AbsoluteName(path.c_str());
    if (!absolute.ends_with(u'\\')) absolute += u'\\';
    return paths::CopyOut(paths::ToAnsi(absolute), buffer, size);
}

namespace embedded::control {

std::filesystem::path HostPath(const std::string& machinePath) { return files::Locate(machinePath.c_str()).host; }

}  // namespace embedded::control
