#include "platform/embedded/files/record.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/embedded/api/files.h"
#include "platform/embedded/files/file_security.h"

namespace embedded::files {
namespace {

constexpr DWORD kSettable = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                            FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_TEMPORARY;
constexpr char kFilesKey[] = "META\\Files";
constexpr DWORD kQword = 11;                               // REG_QWORD
constexpr std::uint64_t kUnixEpoch = 116444736000000000u;  // 1970 in steps of 100 ns since 1601

// What the host's file says by itself.
DWORD ToldAttributes(const Place& place) {
    if (place.IsDirectory()) return 0;
    const bool isReadOnly = (place.info.st_mode & S_IWUSR) == 0;
    return FILE_ATTRIBUTE_ARCHIVE | (isReadOnly ? FILE_ATTRIBUTE_READONLY : 0);
}

// Keys that hold nothing any more are not kept, this one and those above it.
void Prune(Store& store, std::string key) {
    const Store::Lock lock(store);
    while (std::count(key.begin(), key.end(), '\\') > 0) {
        if (!store.KeyExists(key)) return;
        if (!store.Values(key).empty() || !store.Security(key).empty() || !store.Subkeys(key).empty()) return;
        store.DeleteTree(key);
        key.resize(key.rfind('\\'));
    }
}

void EraseValue(const Place& place, const char* name) {
    Store& store = place.machine->Storage();
    if (store.Erase(place.Key(), name)) Prune(store, place.Key());
}

// What the directory of a key has, by itself or through those above it; empty when none of them has any.
Bytes FromDirectories(Store& store, const std::string& key) {
    const std::size_t last = key.rfind('\\');
    if (last == std::strlen(kFilesKey)) return {};  // the drive's root stood here
    const std::string directory = key.substr(0, last);
    if (Bytes own = store.Security(directory); !own.empty()) return own;
    const Bytes above = FromDirectories(store, directory);
    return above.empty() ? above : access::Inherit(above, access::ObjectType::Directory);
}

void CopyRecord(Store& from, const std::string& source, Store& to, const std::string& target) {
    for (const StoredValue& value : from.Values(source)) to.Write(target, value.name, value.type, value.data);
    if (const Bytes descriptor = from.Security(source); !descriptor.empty()) {
        to.CreateKey(target);
        to.SetSecurity(target, descriptor);
    }
    for (const std::string& name : from.Subkeys(source))
        CopyRecord(from, source + '\\' + name, to, target + '\\' + name);
}

}  // namespace

DWORD AttributesOf(const Place& place) {
    const DWORD kept = place.machine->Storage().ReadNumber(place.Key(), "Attributes", ToldAttributes(place));
    const DWORD attributes = (kept & kSettable) | (place.IsDirectory() ? FILE_ATTRIBUTE_DIRECTORY : 0);
    return attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes;
}

DWORD SetAttributesOf(const Place& place, DWORD attributes) {
    attributes &= kSettable;
    if ((AttributesOf(place) & kSettable) == attributes) return 0;
    if (attributes == ToldAttributes(place)) {
        EraseValue(place, "Attributes");
        return 0;
    }
    return place.machine->Storage().WriteNumber(place.Key(), "Attributes", attributes) ? 0 : ERROR_WRITE_PROTECT;
}

FILETIME TimeOf(const timespec& time) {
    const std::uint64_t steps =
        kUnixEpoch + std::uint64_t(time.tv_sec) * 10000000u + std::uint64_t(time.tv_nsec) / 100u;
    return {DWORD(steps), DWORD(steps >> 32)};
}

timespec HostTimeOf(const FILETIME& time) {
    const std::int64_t steps =
        std::int64_t((std::uint64_t(time.dwHighDateTime) << 32) | time.dwLowDateTime) - std::int64_t(kUnixEpoch);
    const std::int64_t part = ((steps % 10000000) + 10000000) % 10000000;
    return {time_t((steps - part) / 10000000), long(part * 100)};
}

FILETIME CreationOf(const Place& place) {
    FILETIME creation = TimeOf(place.info.st_mtim);
    struct statx born;
    if (statx(AT_FDCWD, place.host.c_str(), 0, STATX_BTIME, &born) == 0 && (born.stx_mask & STATX_BTIME) != 0) {
        creation = TimeOf({time_t(born.stx_btime.tv_sec), long(born.stx_btime.tv_nsec)});
    }
    const std::optional<StoredValue> kept = place.machine->Storage().Read(place.Key(), "Creation");
    if (kept && kept->data.size() == sizeof creation) std::memcpy(&creation, kept->data.data(), sizeof creation);
    return creation;
}

void SetCreationOf(const Place& place, const FILETIME& time) {
    Bytes data(sizeof time);
    std::memcpy(data.data(), &time, sizeof time);
    place.machine->Storage().Write(place.Key(), "Creation", kQword, data);
}

access::ObjectType TypeOf(const Place& place) {
    return place.IsDirectory() ? access::ObjectType::Directory : access::ObjectType::File;
}

Bytes EffectiveDescriptor(const Place& place) {
    Store& store = place.machine->Storage();
    // On most drives nothing has a descriptor of its own.
    if (!store.KeyExists(std::string(kFilesKey) + '\\' + place.drive)) return {};
    const std::string key = place.Key();
    if (Bytes own = store.Security(key); !own.empty()) return own;
    const Bytes above = FromDirectories(store, key);
    return above.empty() ? above : access::Inherit(above, TypeOf(place));
}

DWORD CheckRights(const Place& place, DWORD desired) {
    DWORD granted = 0;
    return access::Check(TypeOf(place), EffectiveDescriptor(place), desired, &granted);
}

DWORD CheckDeletion(const Place& place) {
    if (CheckRights(place, DELETE) == 0) return 0;
    return CheckRights(ParentOf(place), FILE_DELETE_CHILD);
}

void ForgetRecord(const Place& place) {
    Store& store = place.machine->Storage();
    const std::string key = place.Key();
    if (!store.KeyExists(key)) return;
    const Store::Lock lock(store);
    store.DeleteTree(key);
    Prune(store, key.substr(0, key.rfind('\\')));
}

void MoveRecord(const Place& from, const Place& to) {
    if (paths::EqualNoCase(from.below, to.below) && from.drive == to.drive) return;  // only the case has changed
    Store& source = from.machine->Storage();
    Store& target = to.machine->Storage();
    ForgetRecord(to);
    if (!source.KeyExists(from.Key())) return;
    const Store::Lock lock(source);
    CopyRecord(source, from.Key(), target, to.Key());
    source.DeleteTree(from.Key());
}

FileSecurity DescriptorOf(const char* path) {
    const Place place = Locate(path);
    FileSecurity result;
    result.error = place.Missing();
    if (result.error != 0) return result;
    result.type = TypeOf(place);
    result.descriptor = EffectiveDescriptor(place);
    if (result.descriptor.empty()) result.descriptor = access::Default(result.type);
    return result;
}

DWORD SetDescriptor(const char* path, const Bytes& descriptor) {
    const Place place = Locate(path);
    if (const DWORD error = place.Missing()) return error;
    Store& store = place.machine->Storage();
    return store.CreateKey(place.Key()) && store.SetSecurity(place.Key(), descriptor) ? 0 : ERROR_WRITE_PROTECT;
}

}  // namespace embedded::files
