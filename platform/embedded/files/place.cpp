#include "platform/embedded/files/place.h"

#include <algorithm>
#include <cerrno>

#include "platform/embedded/api/files.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/drive.h"
#include "platform/embedded/files/folder_names.h"
#include "platform/embedded/files/state.h"

namespace fs = std::filesystem;

namespace embedded::files {
namespace {

constexpr char kSharesKey[] = "HKLM\\SYSTEM\\CurrentControlSet\\Services\\LanmanServer\\Shares";

// The machine's path behind a share, empty when it shares nothing of that name: c$ is the drive's root, ADMIN$ Windows'
// own directory, everything else stands in the registry.
std::string PathOfShare(const Machine& machine, const std::string& share) {
    if (share.size() == 2 && share[1] == '$') return {share[0], ':', '\\'};
    if (text::EqualNoCase(share, "ADMIN$")) return drives::WindowsDirectory();
    for (const std::string& entry : machine.Storage().ReadList(kSharesKey, share)) {
        if (text::EqualNoCase(std::string_view(entry).substr(0, 5), "Path=")) return entry.substr(5);
    }
    return {};
}

// Turns \\host\share\a\b into what it is on that machine: drive and names.
DWORD FollowShare(paths::Parsed& parsed, Place& place) {
    place.isRemote = true;
    const std::string host = paths::ToAnsi(parsed.host);
    place.machine = world::Find(host == "." ? nullptr : host.c_str());
    if (!place.machine) return ERROR_BAD_NETPATH;
    const std::u16string path = paths::FromAnsi(PathOfShare(*place.machine, paths::ToAnsi(parsed.share)));
    std::optional<paths::Parsed> shared = paths::Parse(paths::Absolute(path, u"C:\\"));
    if (path.empty() || !shared || shared->drive == 0) return ERROR_BAD_NET_NAME;
    std::move(parsed.names.begin(), parsed.names.end(), std::back_inserter(shared->names));
    shared->endsWithSeparator = parsed.endsWithSeparator;
    parsed = std::move(*shared);
    return 0;
}

// Looks at the drive's own folder.
DWORD EnterFolder(Place& place) {
    place.exists = stat(place.root.c_str(), &place.info) == 0;
    if (place.IsDirectory()) return 0;
    if (!place.isMounted) {
        place.root.clear();
        place.host.clear();
    }
    return place.isMounted || !place.isRemote ? ERROR_PATH_NOT_FOUND : ERROR_BAD_NET_NAME;
}

DWORD EnterDrive(const paths::Parsed& parsed, Place& place) {
    place.drive = parsed.drive < 0x80 ? text::Upper(char(parsed.drive)) : '?';
    place.endsWithSeparator = parsed.endsWithSeparator;
    drives::Record record = drives::RecordOf(*place.machine, place.drive);
    if (record.facts.type == DRIVE_NO_ROOT_DIR) return place.isRemote ? ERROR_BAD_NET_NAME : ERROR_PATH_NOT_FOUND;
    place.isMounted = record.isMounted;
    place.root = place.host = std::move(record.folder);
    place.isReadOnlyMedium = record.facts.type == DRIVE_CDROM;
    if (parsed.names.empty() || !record.facts.ready) {
        const DWORD error = EnterFolder(place);
        if (record.facts.ready || !(place.isMounted || place.exists)) return error;
        place.exists = false;
        return ERROR_NOT_READY;
    }
    // The first name that is found below it tells as much.
    place.exists = true;
    place.info.st_mode = S_IFDIR;
    return 0;
}

// A link may be followed within its drive only.
DWORD FollowLink(Place& place) {
    std::error_code error;
    const fs::path target = fs::canonical(place.host, error);
    const fs::path root = fs::canonical(place.root, error);
    const auto [end, ignored] = std::mismatch(root.begin(), root.end(), target.begin(), target.end());
    if (error || end != root.end() || stat(target.c_str(), &place.info) != 0) return ERROR_ACCESS_DENIED;
    place.host = target;
    return 0;
}

// One name further. The place exists afterwards or not; an error is one that ends the way.
DWORD Step(Place& place, const std::u16string& name, const fs::path& entry) {
    if (!paths::IsValidName(name)) return ERROR_INVALID_NAME;
    place.host /= entry;
    place.exists = lstat(place.host.c_str(), &place.info) == 0;
    fs::path found;
    if (!place.exists) {
        const int failure = errno;
        if (place.below.empty()) {
            Place drive = place;
            if (const DWORD error = EnterFolder(drive)) {
                if (drive.host.empty()) place.host.clear();
                return error;
            }
        }
        if (failure != ENOENT) return ErrorOfHost(failure);
        found = folder_names::Find(place.host.parent_path(), name);
        if (!found.empty()) {
            place.host.replace_filename(found);
            place.exists = lstat(place.host.c_str(), &place.info) == 0;
        }
    }
    if (!place.below.empty()) place.below += u'\\';
    place.below += place.exists && !found.empty() ? paths::FromHost(found).value_or(name) : name;
    if (!place.exists) return 0;
    if (S_ISLNK(place.info.st_mode)) return FollowLink(place);
    // Pipes and devices of the host are no files of the machine, and opening one could wait for ever.
    return S_ISDIR(place.info.st_mode) || S_ISREG(place.info.st_mode) ? 0 : ERROR_ACCESS_DENIED;
}

void Walk(Place& place, const std::vector<std::u16string>& names) {
    for (const std::u16string& name : names) {
        const std::optional<fs::path> entry = paths::ToHost(name);
        if (place.error == 0 && !place.IsDirectory()) place.error = ERROR_PATH_NOT_FOUND;
        if (place.error == 0) {
            place.error = entry ? Step(place, name, *entry) : ERROR_INVALID_NAME;
        } else if (entry && !place.host.empty()) {
            place.host /= *entry;
        }
        if (place.error == 0) continue;
        place.exists = false;
        if (!entry || place.error == ERROR_ACCESS_DENIED) place.host.clear();
    }
    if (place.error == 0 && place.exists && place.endsWithSeparator && !place.IsDirectory()) {
        place.error = ERROR_INVALID_NAME;
    }
}

Place EnterRoot(std::u16string_view absolute, std::vector<std::u16string>& names) {
    Place place;
    if (absolute.size() >= MAX_PATH) {
        place.error = ERROR_FILENAME_EXCED_RANGE;
        return place;
    }
    std::optional<paths::Parsed> parsed = paths::Parse(absolute);
    if (!parsed) {
        place.error = absolute.starts_with(u"\\\\") ? ERROR_BAD_NET_NAME : ERROR_PATH_NOT_FOUND;
        return place;
    }
    if (parsed->drive != 0)
        place.machine = world::Local();
    else
        place.error = FollowShare(*parsed, place);
    if (place.error == 0) place.error = EnterDrive(*parsed, place);
    names = std::move(parsed->names);
    return place;
}

}  // namespace

std::string Place::Key() const {
    std::string key = std::string("META\\Files\\") + drive;
    if (!below.empty()) key += '\\' + paths::ToHost(below).value_or("?").string();
    return key;
}

FileGuard::FileGuard(const Machine& machine) : m_lock(machine.FilesLock()) { m_lock.Take(); }
FileGuard::~FileGuard() { m_lock.Release(); }

std::u16string AbsoluteName(const char* name) {
    return paths::Absolute(paths::FromAnsi(name == nullptr ? "" : name), CurrentDirectory());
}

Place Locate(const char* name) { return Locate(AbsoluteName(name)); }

Place Locate(std::u16string_view absolute) {
    std::vector<std::u16string> names;
    Place place = EnterRoot(absolute, names);
    Walk(place, names);
    return place;
}

Place LocateForChange(const char* name, std::optional<FileGuard>& guard) {
    std::vector<std::u16string> names;
    Place place = EnterRoot(AbsoluteName(name), names);
    if (place.machine) guard.emplace(*place.machine);
    Walk(place, names);
    return place;
}

Place ParentOf(const Place& place) {
    if (place.IsRoot()) return place;
    Place parent = place;
    const std::size_t separator = place.below.rfind(u'\\');
    parent.below = separator == place.below.npos ? u"" : place.below.substr(0, separator);
    parent.host = place.host.parent_path();
    parent.exists = stat(parent.host.c_str(), &parent.info) == 0;
    return parent;
}

DWORD ErrorOfHost(int error) {
    struct Row {
        int host;
        DWORD windows;
    };
    static constexpr Row kRows[] = {
        {ENOENT, ERROR_FILE_NOT_FOUND},
        {ENOTDIR, ERROR_PATH_NOT_FOUND},
        {EACCES, ERROR_ACCESS_DENIED},
        {EPERM, ERROR_ACCESS_DENIED},
        {EISDIR, ERROR_ACCESS_DENIED},
        {ELOOP, ERROR_ACCESS_DENIED},
        {EEXIST, ERROR_ALREADY_EXISTS},
        {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
        {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
        {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
        {ENOSPC, ERROR_DISK_FULL},
        {EDQUOT, ERROR_DISK_FULL},
        {EFBIG, ERROR_DISK_FULL},
        {EROFS, ERROR_WRITE_PROTECT},
        {ETXTBSY, ERROR_SHARING_VIOLATION},
        {EBUSY, ERROR_SHARING_VIOLATION},
        {EXDEV, ERROR_NOT_SAME_DEVICE},
        {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
        {EINVAL, ERROR_INVALID_PARAMETER},
        {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    };
    for (const Row& row : kRows) {
        if (row.host == error) return row.windows;
    }
    return ERROR_GEN_FAILURE;
}

}  // namespace embedded::files
