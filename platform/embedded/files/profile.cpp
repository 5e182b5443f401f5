// The profile functions.
#include <algorithm>
#include <cstring>

#include "platform/embedded/api/files.h"
#include "platform/embedded/api/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/disk.h"
#include "platform/embedded/files/drive.h"
#include "platform/embedded/files/profile_text.h"

using embedded::control::CallKind;
using embedded::profile::Text;
namespace files = embedded::files;
namespace gate = embedded::gate;
namespace paths = embedded::paths;
namespace profile = embedded::profile;

namespace {

// A name without any path stands for a file of the Windows directory, no name at all for Windows' own profile.
std::string PathOf(const char* file) {
    const std::string name = file == nullptr ? "win.ini" : file;
    const bool hasPath = paths::FromAnsi(name).find_first_of(u"\\/:") != std::u16string::npos;
    return hasPath ? name : embedded::drives::WindowsDirectory() + '\\' + name;
}

// Opens the file for a change, holds it alone and reads it whole.
std::shared_ptr<files::DiskFile> Load(const char* name, DWORD disposition, std::string* bytes, DWORD* error) {
    bool existed = false;
    constexpr DWORD kAccess = GENERIC_READ | GENERIC_WRITE, kShare = FILE_SHARE_READ | FILE_SHARE_WRITE;
    auto file = files::DiskFile::Open(PathOf(name).c_str(), {kAccess, kShare, disposition, FILE_ATTRIBUTE_NORMAL},
                                      &existed, error);
    if (!file) return nullptr;
    file->HoldWhole(true);
    *error = file->ReadAll(bytes);
    return *error == 0 ? file : nullptr;
}

// Nothing with the last error set when the file cannot be read.
std::optional<Text> Read(const char* name) {
    DWORD error = 0;
    std::optional<std::string> bytes = files::DiskFile::ReadWhole(PathOf(name).c_str(), &error);
    if (bytes) return Text(std::move(*bytes));
    SetLastError(error);
    return std::nullopt;
}

// From the first byte that differs, in one write: other processes see the old file or the new one.
DWORD Store(files::DiskFile& file, const std::string& before, const std::string& after) {
    const auto [difference, ignored] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    const std::size_t start = std::size_t(difference - before.begin());
    DWORD written = 0;
    const DWORD error = file.Write(after.data() + start, DWORD(after.size() - start), start, &written);
    return error == 0 && after.size() < before.size() ? file.SetEnd(after.size()) : error;
}

// `edit` changes the text and answers whether it did. A file is made only to put something in.
template <class Edit>
BOOL Change(const char* name, bool creates, Edit edit) {
    std::string bytes;
    DWORD error = 0;
    const auto file = Load(name, creates ? OPEN_ALWAYS : OPEN_EXISTING, &bytes, &error);
    if (file) {
        Text text(bytes);
        if (edit(text)) error = Store(*file, bytes, text.Bytes());
    } else if (!creates && error == ERROR_FILE_NOT_FOUND) {
        return TRUE;  // what is to be deleted is not there
    }
    if (error != 0) SetLastError(error);
    return error == 0;
}

// At most `limit` bytes of the text, no double-byte character cut in two.
std::size_t WholeCharacters(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) return text.size();
    std::size_t end = 0;
    for (std::size_t next = 0; next <= limit; next += IsDBCSLeadByte(BYTE(text[next])) ? 2 : 1) end = next;
    return end;
}

DWORD CopyText(std::string_view text, DWORD found, LPSTR buffer, DWORD size) {
    if (buffer == nullptr || size == 0) return 0;
    const std::size_t count = WholeCharacters(text, size - 1);
    std::memcpy(buffer, text.data(), count);
    buffer[count] = '\0';
    SetLastError(count < text.size() ? DWORD(ERROR_MORE_DATA) : found);
    return DWORD(count);
}

// Without the trailing blanks that the functions take off a default.
DWORD CopyDefault(LPCSTR fallback, DWORD error, LPSTR buffer, DWORD size) {
    std::string_view text = fallback == nullptr ? "" : fallback;
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    return CopyText(text, error, buffer, size);
}

// Each text with its terminator and one more at the end; a list that is cut keeps both.
DWORD CopyList(const std::vector<std::string>& texts, LPSTR buffer, DWORD size) {
    if (buffer == nullptr || size == 0) return 0;
    std::string list;
    for (const std::string& text : texts) list.append(text).push_back('\0');
    const bool fits = list.size() < size;
    const std::size_t room = size < 2 ? 0 : size - 2;
    const std::size_t count = fits ? list.size() : WholeCharacters(list, room);
    std::memcpy(buffer, list.data(), count);
    const std::size_t terminators = fits && count != 0 ? 1 : 2;
    std::fill(buffer + count, buffer + std::min<std::size_t>(count + terminators, size), '\0');
    SetLastError(fits ? NO_ERROR : ERROR_MORE_DATA);
    return DWORD(count);
}

// The number at a text's start as Windows reads it: a sign, a prefix 0x, 0o or 0b, digits up to the first other
// character, modulo 2^32; 0 without digits.
UINT NumberOf(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) text.remove_prefix(1);
    unsigned base = 10;
    if (text.starts_with("0x")) base = 16;
    if (text.starts_with("0o")) base = 8;
    if (text.starts_with("0b")) base = 2;
    if (base != 10) text.remove_prefix(2);
    UINT number = 0;
    for (const char character : text) {
        const std::size_t digit = std::string_view("0123456789ABCDEF").find(embedded::text::Upper(character));
        if (digit >= base) break;
        number = number * base + UINT(digit);
    }
    return isNegative ? 0 - number : number;
}

}  // namespace

DWORD GetPrivateProfileStringA(LPCSTR section, LPCSTR key, LPCSTR fallback, LPSTR buffer, DWORD size, LPCSTR file) {
    if (const DWORD error = gate::Enter(CallKind::Profile, "GetPrivateProfileStringA")) {
        return CopyDefault(fallback, error, buffer, size);
    }
    const std::optional<Text> text = Read(file);
    if (!text) return CopyDefault(section == nullptr ? "" : fallback, GetLastError(), buffer, size);
    if (section == nullptr) return CopyList(text->SectionNames(), buffer, size);
    if (key == nullptr) {
        const std::optional<std::vector<std::string>> keys = text->Keys(section);
        if (keys && !keys->empty()) return CopyList(*keys, buffer, size);
    } else if (const std::optional<std::string> value = text->Value(section, key)) {
        return CopyText(profile::Unquoted(*value), NO_ERROR, buffer, size);
    }
    return CopyDefault(fallback, ERROR_FILE_NOT_FOUND, buffer, size);
}

UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR key, INT fallback, LPCSTR file) {
    if (gate::Refuses(CallKind::Profile, "GetPrivateProfileIntA")) return UINT(fallback);
    const std::optional<Text> text = Read(file);
    if (!text) return UINT(fallback);
    const bool isNamed = section != nullptr && key != nullptr;
    const std::optional<std::string> value = isNamed ? text->Value(section, key) : std::nullopt;
    SetLastError(value ? NO_ERROR : ERROR_FILE_NOT_FOUND);
    return value ? NumberOf(profile::Unquoted(*value)) : UINT(fallback);
}

DWORD GetPrivateProfileSectionA(LPCSTR section, LPSTR buffer, DWORD size, LPCSTR file) {
    if (gate::Refuses(CallKind::Profile, "GetPrivateProfileSectionA")) return 0;
    if (section == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::optional<Text> text = Read(file);
    DWORD error = text ? DWORD(NO_ERROR) : GetLastError();
    const std::optional<std::vector<std::string>> entries = text ? text->Entries(section) : std::nullopt;
    if (text && !entries) error = ERROR_FILE_NOT_FOUND;
    const DWORD length = CopyList(entries.value_or(std::vector<std::string>()), buffer, size);
    if (error != 0) SetLastError(error);
    return length;
}

DWORD GetPrivateProfileSectionNamesA(LPSTR buffer, DWORD size, LPCSTR file) {
    if (gate::Refuses(CallKind::Profile, "GetPrivateProfileSectionNamesA")) return 0;
    const std::optional<Text> text = Read(file);
    const DWORD error = text ? DWORD(NO_ERROR) : GetLastError();
    const DWORD length = CopyList(text ? text->SectionNames() : std::vector<std::string>(), buffer, size);
    if (error != 0) SetLastError(error);
    return length;
}

BOOL WritePrivateProfileStringA(LPCSTR section, LPCSTR key, LPCSTR value, LPCSTR file) {
    if (gate::Refuses(CallKind::Profile, "WritePrivateProfileStringA")) return FALSE;
    if (section == nullptr) {
        // All three null ask to write back what is cached, which fails as there is never anything.
        SetLastError(key == nullptr && value == nullptr ? NO_ERROR : ERROR_FILE_NOT_FOUND);
        return FALSE;
    }
    return Change(file, key != nullptr && value != nullptr, [&](Text& text) {
        if (key == nullptr) return text.EraseSection(section);
        return value == nullptr ? text.EraseKey(section, key) : text.SetValue(section, key, value);
    });
}

BOOL WritePrivateProfileSectionA(LPCSTR section, LPCSTR entries, LPCSTR file) {
    if (gate::Refuses(CallKind::Profile, "WritePrivateProfileSectionA")) return FALSE;
    if (section == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    std::vector<std::string> lines;
    for (LPCSTR next = entries; next != nullptr && *next != '\0'; next += std::strlen(next) + 1)
        lines.emplace_back(next);
    return Change(file, entries != nullptr, [&](Text& text) {
        if (entries == nullptr) return text.EraseSection(section);
        text.SetEntries(section, lines);
        return true;
    });
}
