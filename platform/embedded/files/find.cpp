// Searches: FindFirstFileA, FindNextFileA, FindClose.
#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

#include "platform/embedded/api/files.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/handles_table.h"
#include "platform/embedded/files/find_pattern.h"
#include "platform/embedded/files/record.h"

namespace embedded::find {
namespace {

// The names that matched when the search began; what each is now is looked up when it is handed out.
class Search : public HandleObject {
  public:
    Search(std::u16string directory, std::vector<std::u16string> names)
        : HandleObject(ResourceKind::Find), m_directory(std::move(directory)), m_names(std::move(names)) {}

    // False when there is nothing more.
    bool Next(WIN32_FIND_DATAA* data);

  private:
    std::mutex m_mutex;
    std::u16string m_directory;  // absolute, with a final backslash
    std::vector<std::u16string> m_names;
    std::size_t m_next = 0;
};

void Fill(const files::Place& place, const std::u16string& name, WIN32_FIND_DATAA* data) {
    *data = {};
    data->dwFileAttributes = files::AttributesOf(place);
    data->ftCreationTime = files::CreationOf(place);
    data->ftLastAccessTime = files::TimeOf(place.info.st_atim);
    data->ftLastWriteTime = files::TimeOf(place.info.st_mtim);
    const std::uint64_t size = place.IsDirectory() ? 0 : std::uint64_t(place.info.st_size);
    data->nFileSizeHigh = DWORD(size >> 32);
    data->nFileSizeLow = DWORD(size);
    // A host's name has at most 255 bytes of UTF-8 and is never longer in a code page.
    const std::string narrow = paths::ToAnsi(name);
    std::memcpy(data->cFileName, narrow.c_str(), std::min(narrow.size(), sizeof data->cFileName - 1));
}

bool Search::Next(WIN32_FIND_DATAA* data) {
    const std::lock_guard lock(m_mutex);
    while (m_next < m_names.size()) {
        const std::u16string& name = m_names[m_next++];
        const files::Place place = files::Locate(paths::Absolute(name, m_directory));
        if (place.Missing() != 0) continue;  // gone meanwhile, or nothing that a machine's name can reach
        Fill(place, name, data);
        return true;
    }
    return false;
}

std::vector<std::u16string> NamesIn(const files::Place& directory) {
    std::vector<std::u16string> names;
    DIR* const entries = opendir(directory.host.c_str());
    if (entries == nullptr) return names;
    while (const dirent* const entry = readdir(entries)) {
        std::optional<std::u16string> name = paths::FromHost(entry->d_name);
        const bool isReachable = name && (*name == u"." || *name == u".." || paths::IsValidName(*name));
        if (isReachable && !(directory.IsRoot() && name->find_first_not_of(u'.') == name->npos)) {
            names.push_back(std::move(*name));
        }
    }
    closedir(entries);
    return names;
}

// In the order of the file system of Windows; "." and ".." come first.
void Sort(std::vector<std::u16string>& names) {
    const auto rank = [](const std::u16string& name) { return name == u"." ? 0 : name == u".." ? 1 : 2; };
    std::sort(names.begin(), names.end(), [&](const std::u16string& left, const std::u16string& right) {
        if (rank(left) != rank(right)) return rank(left) < rank(right);
        return paths::Fold(left) < paths::Fold(right);
    });
}

bool IsValidPattern(std::u16string_view pattern) {
    std::u16string name(pattern);
    std::replace_if(
        name.begin(), name.end(), [](char16_t character) { return character == u'*' || character == u'?'; }, u'x');
    return paths::IsValidName(name);
}

// Begins a search in `directory` (absolute, final backslash). Null with an error.
std::shared_ptr<Search> Begin(const std::u16string& directory, std::u16string_view pattern, DWORD* error) {
    const files::Place place = files::Locate(directory);
    *error = place.Missing();
    if (*error == ERROR_FILE_NOT_FOUND) *error = ERROR_PATH_NOT_FOUND;
    if (*error == ERROR_INVALID_NAME && place.exists)
        *error = ERROR_DIRECTORY;  // a file stands in the directory's place
    if (*error == 0 && pattern.empty()) *error = ERROR_FILE_NOT_FOUND;
    if (*error == 0 && !IsValidPattern(pattern)) *error = ERROR_INVALID_NAME;
    if (*error == 0) *error = files::CheckRights(place, FILE_LIST_DIRECTORY);
    if (*error != 0) return nullptr;
    std::vector<std::u16string> names;
    if (HasWildcard(pattern)) {
        names = NamesIn(place);
        std::erase_if(names, [&](const std::u16string& name) { return !Matches(name, pattern); });
        Sort(names);
    } else {
        const files::Place file = files::Locate(directory + std::u16string(pattern));
        if (file.exists) names.push_back(file.below.substr(file.below.rfind(u'\\') + 1));
    }
    return std::make_shared<Search>(directory, std::move(names));
}

// Splits a pattern's name into its directory, absolute with a final backslash, and the pattern as it was written.
std::shared_ptr<Search> Begin(const char* name, DWORD* error) {
    const std::u16string absolute = files::AbsoluteName(name);
    const std::size_t end = absolute.rfind(u'\\');
    *error = ERROR_PATH_NOT_FOUND;
    if (end == absolute.npos) return nullptr;
    std::u16string pattern = absolute.substr(end + 1);
    // A final dot is lost in the absolute name and still has a meaning after a wildcard.
    const bool endsWithDot = name[std::strlen(name) - 1] == '.';
    if (endsWithDot && pattern.ends_with(u'*')) pattern += u'.';
    return Begin(absolute.substr(0, end + 1), pattern, error);
}

}  // namespace
}  // namespace embedded::find

using embedded::control::CallKind;
namespace find = embedded::find;
namespace gate = embedded::gate;
namespace handles = embedded::handles;

HANDLE FindFirstFileA(LPCSTR pattern, LPWIN32_FIND_DATAA data) {
    if (gate::Refuses(CallKind::File, "FindFirstFileA")) return INVALID_HANDLE_VALUE;
    DWORD error = ERROR_FILE_NOT_FOUND;
    std::shared_ptr<find::Search> search = find::Begin(pattern, &error);
    if (search && search->Next(data)) return handles::Add(std::move(search));
    SetLastError(error != 0 ? error : DWORD(ERROR_FILE_NOT_FOUND));
    return INVALID_HANDLE_VALUE;
}

BOOL FindNextFileA(HANDLE handle, LPWIN32_FIND_DATAA data) {
    if (gate::Refuses(CallKind::File, "FindNextFileA")) return FALSE;
    const std::shared_ptr<find::Search> search = handles::Find<find::Search>(handle);
    if (search && search->Next(data)) return TRUE;
    SetLastError(search ? ERROR_NO_MORE_FILES : ERROR_INVALID_HANDLE);
    return FALSE;
}

BOOL FindClose(HANDLE handle) {
    if (handles::Close(handle, embedded::ResourceKind::Find)) return !gate::Refuses(CallKind::File, "FindClose");
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}
