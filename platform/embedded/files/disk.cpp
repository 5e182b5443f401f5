#include "platform/embedded/files/disk.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/embedded/api/files.h"
#include "platform/embedded/files/folder_names.h"
#include "platform/embedded/files/record.h"

namespace embedded::files {
namespace {

constexpr std::uint64_t kLargest = 0x7FFFFFFFFFFFFF00u;
constexpr DWORD kReading =
    GENERIC_READ | GENERIC_EXECUTE | GENERIC_ALL | MAXIMUM_ALLOWED | FILE_READ_DATA | FILE_EXECUTE;
constexpr DWORD kAppending = FILE_APPEND_DATA;
constexpr DWORD kWriting = GENERIC_WRITE | GENERIC_ALL | MAXIMUM_ALLOWED | FILE_WRITE_DATA;

unsigned RightsOf(const OpenRequest& request) {
    const DWORD access = request.access;
    const bool deletes = (access & (DELETE | GENERIC_ALL)) != 0 || (request.flags & FILE_FLAG_DELETE_ON_CLOSE) != 0;
    return ((access & kReading) != 0 ? kShareRead : 0u) | ((access & (kWriting | kAppending)) != 0 ? kShareWrite : 0u) |
           (deletes ? kShareDelete : 0u);
}

bool Truncates(const OpenRequest& request) {
    return request.disposition == CREATE_ALWAYS || request.disposition == TRUNCATE_EXISTING;
}

DWORD RefusalOfNew(const Place& place, const OpenRequest& request) {
    if (request.disposition == OPEN_EXISTING || request.disposition == TRUNCATE_EXISTING) return ERROR_FILE_NOT_FOUND;
    if (place.endsWithSeparator) return ERROR_INVALID_NAME;
    if (place.isReadOnlyMedium) return ERROR_WRITE_PROTECT;
    return CheckRights(ParentOf(place), FILE_ADD_FILE);
}

DWORD RefusalOfAttributes(const Place& place, const OpenRequest& request, bool writes) {
    const DWORD attributes = AttributesOf(place);
    const bool deletes = (request.flags & FILE_FLAG_DELETE_ON_CLOSE) != 0;
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0 && (writes || deletes)) return ERROR_ACCESS_DENIED;
    // Overwriting must not make a hidden file visible by accident: the request has to name these attributes.
    const DWORD guarded = attributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    return request.disposition == CREATE_ALWAYS && (guarded & ~request.flags) != 0 ? ERROR_ACCESS_DENIED : 0;
}

DWORD RefusalOfExisting(const Place& place, const OpenRequest& request, unsigned rights) {
    if (request.disposition == CREATE_NEW) return ERROR_FILE_EXISTS;
    if (place.IsDirectory()) {
        if (Truncates(request) || (request.flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) return ERROR_ACCESS_DENIED;
    } else {
        const bool writes = (rights & kShareWrite) != 0 || Truncates(request);
        if (place.isReadOnlyMedium && (writes || (rights & kShareDelete) != 0)) return ERROR_WRITE_PROTECT;
        if (const DWORD error = RefusalOfAttributes(place, request, writes)) return error;
    }
    if ((rights & kShareDelete) != 0) {
        if (const DWORD error = CheckDeletion(place)) return error;
    }
    const DWORD desired = (request.access & ~DELETE) | (Truncates(request) ? FILE_WRITE_DATA : 0);
    return desired == 0 ? 0 : CheckRights(place, desired);
}

DWORD Refusal(const Place& place, const OpenRequest& request, unsigned rights) {
    if (request.disposition < CREATE_NEW || request.disposition > TRUNCATE_EXISTING) return ERROR_INVALID_PARAMETER;
    if (request.disposition == TRUNCATE_EXISTING && (request.access & kWriting) == 0) return ERROR_INVALID_PARAMETER;
    if (place.error != 0) return place.error;
    return place.exists ? RefusalOfExisting(place, request, rights) : RefusalOfNew(place, request);
}

// Shared locks need reading whatever the handle may do; writing is not asked for in vain, since a program that is
// running cannot be opened so.
bool OpensForWriting(const Place& place, const OpenRequest& request, unsigned rights) {
    if (!place.exists) return true;
    return !place.IsDirectory() && ((rights & kShareWrite) != 0 || Truncates(request));
}

int OpenHost(const Place& place, const OpenRequest& request, unsigned rights) {
    int flags = O_CLOEXEC | O_NOFOLLOW | (OpensForWriting(place, request, rights) ? O_RDWR : O_RDONLY);
    if (place.IsDirectory()) flags |= O_DIRECTORY;
    // Programs on the drives are started as programs of the host, so every file may be one.
    if (!place.exists) flags |= O_CREAT | O_EXCL;
    return open(place.host.c_str(), flags, 0777);
}

}  // namespace

DiskFile::DiskFile(Place place, int descriptor, unsigned rights, const OpenRequest& request)
    : m_place(std::move(place)),
      m_descriptor(descriptor),
      m_rights(rights),
      m_appendsOnly((request.access & kAppending) != 0 && (request.access & kWriting) == 0),
      m_deletesOnClose(false),
      m_locks(descriptor, OpensForWriting(m_place, request, rights)) {}

std::shared_ptr<DiskFile> DiskFile::Open(Place place, const OpenRequest& request, bool* existed, DWORD* error) {
    const unsigned rights = RightsOf(request);
    *existed = place.exists;
    *error = Refusal(place, request, rights);
    if (*error != 0) return nullptr;
    std::optional<folder_names::Change> change;
    if (!place.exists) change.emplace(place.host);
    const int descriptor = OpenHost(place, request, rights);
    if (descriptor < 0) {
        *error = errno == EEXIST ? DWORD(ERROR_FILE_EXISTS) : ErrorOfHost(errno);
        return nullptr;
    }
    const std::shared_ptr<DiskFile> file(new DiskFile(std::move(place), descriptor, rights, request));
    if (!file->m_locks.Share(rights, request.share)) {
        *error = ERROR_SHARING_VIOLATION;
        return nullptr;
    }
    if (!*existed) {
        file->m_place.exists = true;
        change->Added();
        ForgetRecord(file->m_place);
    } else if (Truncates(request) && ftruncate(descriptor, 0) != 0) {
        *error = ErrorOfHost(errno);
        return nullptr;
    }
    if (!*existed || Truncates(request)) fstat(descriptor, &file->m_place.info);
    const bool isNewContent = !*existed || request.disposition == CREATE_ALWAYS;
    if (isNewContent) *error = SetAttributesOf(file->m_place, (request.flags & 0xFFFFu) | FILE_ATTRIBUTE_ARCHIVE);
    file->m_isMarkedChanged = isNewContent;
    file->m_deletesOnClose = (request.flags & FILE_FLAG_DELETE_ON_CLOSE) != 0;
    return *error == 0 ? file : nullptr;
}

std::shared_ptr<DiskFile> DiskFile::Open(const char* name, const OpenRequest& request, bool* existed, DWORD* error) {
    std::optional<FileGuard> guard;
    Place place = LocateForChange(name, guard);
    return Open(std::move(place), request, existed, error);
}

std::optional<std::string> DiskFile::ReadWhole(const char* name, DWORD* error) {
    Place place = Locate(name);
    const OpenRequest request{GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL};
    *error = Refusal(place, request, kShareRead);
    if (*error != 0) return std::nullopt;
    const int descriptor = OpenHost(place, request, kShareRead);
    bool existed = false;
    std::shared_ptr<DiskFile> file;
    if (descriptor >= 0) {
        file.reset(new DiskFile(std::move(place), descriptor, kShareRead, request));
        if (!file->m_locks.ShareWholeRead()) file.reset();
    }
    if (!file) {
        // Whoever is in the way may be about to go: the guard waits for that, and tells the reason when it stays.
        file = Open(name, request, &existed, error);
        if (!file) return std::nullopt;
        file->HoldWhole(false);
    }
    std::string bytes;
    *error = file->ReadAll(&bytes);
    return *error == 0 ? std::optional(std::move(bytes)) : std::nullopt;
}

DWORD DiskFile::ReadAll(std::string* bytes) {
    constexpr std::size_t kBlock = 1 << 16;
    const std::size_t expected = std::size_t(m_place.info.st_size);
    if (!m_locks.HoldsWholeRead() && m_locks.IsLockedByOthers(0, UINT64_MAX)) return ERROR_LOCK_VIOLATION;
    std::size_t end = 0;
    // Less than there was room for, up to where the file is known to end, is all of it.
    for (std::size_t room = std::min(expected, kBlock) + 1;; room = kBlock) {
        bytes->resize(end + room);
        const ssize_t count = pread(m_descriptor, bytes->data() + end, room, off_t(end));
        const int failure = count < 0 ? errno : 0;
        end += std::size_t(std::max<ssize_t>(count, 0));
        bytes->resize(end);
        if (failure == EINTR) continue;
        if (failure != 0) return ErrorOfHost(failure);
        if (count == 0 || (end == expected && std::size_t(count) < room)) return 0;
    }
}

DiskFile::~DiskFile() {
    if (m_deletesOnClose) {
        const FileGuard guard(*m_place.machine);
        struct stat now {};
        const bool isSame = stat(m_place.host.c_str(), &now) == 0 && now.st_ino == m_place.info.st_ino;
        folder_names::Change change(m_place.host);
        if (isSame && unlink(m_place.host.c_str()) == 0) {
            change.Removed();
            ForgetRecord(m_place);
        }
    }
    close(m_descriptor);
}

DWORD DiskFile::Read(void* buffer, DWORD bytes, std::optional<std::uint64_t> offset, DWORD* done) {
    const std::lock_guard lock(m_mutex);
    *done = 0;
    if ((m_rights & kShareRead) == 0 || m_place.IsDirectory()) return ERROR_ACCESS_DENIED;
    const std::uint64_t start = offset.value_or(m_position);
    if (bytes != 0 && m_locks.IsLockedByOthers(start, bytes)) return ERROR_LOCK_VIOLATION;
    while (*done < bytes && start + *done < kLargest) {
        const ssize_t count =
            pread(m_descriptor, static_cast<char*>(buffer) + *done, bytes - *done, off_t(start + *done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return ErrorOfHost(errno);
        if (count == 0) break;
        *done += DWORD(count);
    }
    m_position = start + *done;
    return offset && bytes != 0 && *done == 0 ? ERROR_HANDLE_EOF : 0;
}

DWORD DiskFile::Write(const void* buffer, DWORD bytes, std::optional<std::uint64_t> offset, DWORD* done) {
    const std::lock_guard lock(m_mutex);
    *done = 0;
    if ((m_rights & kShareWrite) == 0 || m_place.IsDirectory()) return ERROR_ACCESS_DENIED;
    std::uint64_t start = offset.value_or(m_position);
    if (m_appendsOnly) {
        if (const DWORD error = Size(&start)) return error;
    }
    if (bytes == 0) return 0;
    if (start > kLargest - bytes) return ERROR_DISK_FULL;
    if (m_locks.IsLockedByOthers(start, bytes)) return ERROR_LOCK_VIOLATION;
    while (*done < bytes) {
        const ssize_t count =
            pwrite(m_descriptor, static_cast<const char*>(buffer) + *done, bytes - *done, off_t(start + *done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return ErrorOfHost(errno);
        *done += DWORD(count);
    }
    m_position = start + *done;
    return MarkChanged();
}

DWORD DiskFile::MarkChanged() {
    if (m_isMarkedChanged) return 0;
    m_isMarkedChanged = true;
    const DWORD attributes = AttributesOf(m_place);
    if ((attributes & FILE_ATTRIBUTE_ARCHIVE) != 0) return 0;
    return SetAttributesOf(m_place, attributes | FILE_ATTRIBUTE_ARCHIVE);
}

DWORD DiskFile::Seek(std::int64_t distance, DWORD method, std::uint64_t* position) {
    const std::lock_guard lock(m_mutex);
    std::uint64_t base = 0;
    if (method == FILE_CURRENT) base = m_position;
    if (method == FILE_END) {
        if (const DWORD error = Size(&base)) return error;
    }
    if (method > FILE_END) return ERROR_INVALID_PARAMETER;
    std::int64_t sum = 0;
    if (__builtin_add_overflow(std::int64_t(base), distance, &sum)) return ERROR_INVALID_PARAMETER;
    if (sum < 0) return ERROR_NEGATIVE_SEEK;
    m_position = *position = std::uint64_t(sum);
    return 0;
}

DWORD DiskFile::SetEnd(std::optional<std::uint64_t> end) {
    const std::lock_guard lock(m_mutex);
    if ((m_rights & kShareWrite) == 0 || m_place.IsDirectory()) return ERROR_ACCESS_DENIED;
    const std::uint64_t target = end.value_or(m_position);
    std::uint64_t size = 0;
    if (const DWORD error = Size(&size)) return error;
    if (target > kLargest) return ERROR_DISK_FULL;
    if (target < size && m_locks.IsLockedByOthers(target, size - target)) return ERROR_LOCK_VIOLATION;
    if (ftruncate(m_descriptor, off_t(target)) != 0) return ErrorOfHost(errno);
    return MarkChanged();
}

DWORD DiskFile::Size(std::uint64_t* size) {
    struct stat now {};
    if (fstat(m_descriptor, &now) != 0) return ErrorOfHost(errno);
    *size = std::uint64_t(now.st_size);
    return 0;
}

DWORD DiskFile::Flush() {
    if ((m_rights & kShareWrite) == 0) return ERROR_ACCESS_DENIED;
    return fdatasync(m_descriptor) == 0 ? 0 : ErrorOfHost(errno);
}

DWORD DiskFile::Lock(std::uint64_t offset, std::uint64_t length) {
    const std::lock_guard lock(m_mutex);
    if ((m_rights & (kShareRead | kShareWrite)) == 0 || m_place.IsDirectory()) return ERROR_ACCESS_DENIED;
    if (length != 0 && offset + (length - 1) < offset) return ERROR_INVALID_PARAMETER;
    return m_locks.Lock(offset, length);
}

DWORD DiskFile::Unlock(std::uint64_t offset, std::uint64_t length) {
    const std::lock_guard lock(m_mutex);
    return m_locks.Unlock(offset, length);
}

DWORD DiskFile::GetTimes(FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite) {
    struct stat now {};
    if (fstat(m_descriptor, &now) != 0) return ErrorOfHost(errno);
    if (creation != nullptr) *creation = CreationOf(m_place);
    if (lastAccess != nullptr) *lastAccess = TimeOf(now.st_atim);
    if (lastWrite != nullptr) *lastWrite = TimeOf(now.st_mtim);
    return 0;
}

DWORD DiskFile::SetTimes(const FILETIME* creation, const FILETIME* lastAccess, const FILETIME* lastWrite) {
    if ((m_rights & kShareWrite) == 0) return ERROR_ACCESS_DENIED;
    timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    if (lastAccess != nullptr) times[0] = HostTimeOf(*lastAccess);
    if (lastWrite != nullptr) times[1] = HostTimeOf(*lastWrite);
    if (futimens(m_descriptor, times) != 0) return ErrorOfHost(errno);
    if (creation != nullptr) SetCreationOf(m_place, *creation);
    return 0;
}

void DiskFile::SetHostMode(mode_t mode) { fchmod(m_descriptor, mode & 0777); }

}  // namespace embedded::files
