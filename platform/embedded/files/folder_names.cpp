#include "platform/embedded/files/folder_names.h"

#include <dirent.h>
#include <sys/stat.h>
#include <time.h>

#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <unordered_map>

#include "platform/embedded/files/path_text.h"

namespace fs = std::filesystem;

namespace embedded::files::folder_names {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t kSecond = 1'000'000'000;
// The coarsest time stamps of a host's file system.
constexpr std::int64_t kCoarsest = 2 * kSecond;
// A folder that was carried on by Added and Removed is read again after this time: a program of the host that knows
// nothing of FileGuard may have changed it in the same moment.
constexpr std::chrono::seconds kCarriedOn{1};
constexpr std::size_t kFolders = 32;  // kept at once

std::int64_t Nanoseconds(const timespec& time) { return std::int64_t(time.tv_sec) * kSecond + time.tv_nsec; }

// What changes whenever the folder does.
struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    std::int64_t written = 0;
    std::int64_t changed = 0;
    bool operator==(const Stamp&) const = default;
};

bool Take(const fs::path& folder, Stamp* stamp) {
    struct stat info {};
    if (stat(folder.c_str(), &info) != 0) return false;
    *stamp = {info.st_dev, info.st_ino, Nanoseconds(info.st_mtim), Nanoseconds(info.st_ctim)};
    return true;
}

struct Folder {
    Stamp stamp;
    bool isSure = false;
    bool hasTwins = false;  // names that differ in case only
    Clock::time_point read;
    std::unordered_map<std::u16string, std::string> names;  // as they stand, by their folded form
};

struct Kept {
    std::mutex mutex;
    std::map<std::string, Folder, std::less<>> folders;
    std::set<dev_t> fine;  // file systems that give each change a stamp of its own when the one before was looked at
};

Kept& TheKept() {
    static Kept* const kept = new Kept;
    return *kept;
}

// Whether a change from now on is sure to give the folder another stamp: the old one lies behind by more than the
// coarsest of stamps, or the file system's are fine enough. A stamp ahead of the system's coarse clock proves that.
bool IsSure(Kept& kept, const Stamp& stamp) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    const std::int64_t age = Nanoseconds(now) - stamp.changed;
    if (age < 0 && age > -kSecond) kept.fine.insert(stamp.device);
    return age > kCoarsest || kept.fine.contains(stamp.device);
}

bool ReadFolder(Kept& kept, const fs::path& path, Folder* folder) {
    *folder = {};
    folder->read = Clock::now();
    if (!Take(path, &folder->stamp)) return false;
    folder->isSure = IsSure(kept, folder->stamp);
    DIR* const entries = opendir(path.c_str());
    if (entries == nullptr) return false;
    while (const dirent* const entry = readdir(entries)) {
        const std::optional<std::u16string> name = paths::FromHost(entry->d_name);
        if (name && !folder->names.try_emplace(paths::Fold(*name), entry->d_name).second) folder->hasTwins = true;
    }
    closedir(entries);
    return true;
}

// What is kept of the entry's folder, with the stamp that it has after a change; null when it has to be read again.
Folder* AfterChange(Kept& kept, const fs::path& entry) {
    const auto found = kept.folders.find(entry.parent_path().native());
    if (found == kept.folders.end()) return nullptr;
    Folder& folder = found->second;
    if (Take(entry.parent_path(), &folder.stamp) && IsSure(kept, folder.stamp)) return &folder;
    kept.folders.erase(found);
    return nullptr;
}

}  // namespace

fs::path Find(const fs::path& path, const std::u16string& name) {
    Kept& kept = TheKept();
    const std::lock_guard lock(kept.mutex);
    if (kept.folders.size() >= kFolders && !kept.folders.contains(path.native())) kept.folders.clear();
    Folder& folder = kept.folders[path.native()];
    Stamp now;
    const bool stands = folder.isSure && Take(path, &now) && now == folder.stamp;
    if (!stands && !ReadFolder(kept, path, &folder)) {
        kept.folders.erase(path.native());
        return {};
    }
    const auto found = folder.names.find(paths::Fold(name));
    return found == folder.names.end() ? fs::path() : fs::path(found->second);
}

Change::Change(const fs::path& entry) : m_entry(entry), m_isKnown(false) {
    Kept& kept = TheKept();
    const std::lock_guard lock(kept.mutex);
    const auto found = kept.folders.find(entry.parent_path().native());
    if (found == kept.folders.end()) return;
    const Folder& folder = found->second;
    Stamp now;
    m_isKnown = folder.isSure && !folder.hasTwins && Clock::now() - folder.read < kCarriedOn &&
                Take(entry.parent_path(), &now) && now == folder.stamp;
}

void Change::Added() {
    Kept& kept = TheKept();
    const std::lock_guard lock(kept.mutex);
    Folder* const folder = m_isKnown ? AfterChange(kept, m_entry) : nullptr;
    const std::optional<std::u16string> name = paths::FromHost(m_entry.filename());
    if (folder == nullptr || !name) return;
    const std::string& stands =
        folder->names.try_emplace(paths::Fold(*name), m_entry.filename().native()).first->second;
    folder->hasTwins |= stands != m_entry.filename().native();
}

void Change::Removed() {
    Kept& kept = TheKept();
    const std::lock_guard lock(kept.mutex);
    Folder* const folder = m_isKnown ? AfterChange(kept, m_entry) : nullptr;
    const std::optional<std::u16string> name = paths::FromHost(m_entry.filename());
    if (folder != nullptr && name) folder->names.erase(paths::Fold(*name));
}

}  // namespace embedded::files::folder_names
