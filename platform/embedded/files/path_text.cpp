#include "platform/embedded/files/path_text.h"

#include <algorithm>
#include <cstring>

#include "platform/embedded/core/text.h"

namespace embedded::paths {
namespace {

constexpr std::size_t kMaxName = 255;

template <class Text>
bool IsAscii(const Text& text) {
    return std::all_of(text.begin(), text.end(), [](auto character) { return unsigned(character) < 0x80; });
}

// The root that a name starts with, in its absolute form; `name` loses what was read. A relative name gives the
// directory that it is relative to.
std::u16string TakeRoot(std::u16string_view& name, std::u16string_view directory) {
    if (name.starts_with(u"\\\\")) {
        const std::size_t length = RootLength(name);
        std::u16string root(name.substr(0, length));
        name.remove_prefix(length);
        if (!root.ends_with(u'\\')) root += u'\\';
        return root;
    }
    if (name.size() >= 2 && name[1] == u':') {
        const char16_t drive = Fold(name[0]);
        const bool isRooted = name.size() >= 3 && name[2] == u'\\';
        name.remove_prefix(isRooted ? 3 : 2);
        if (!isRooted && !directory.empty() && Fold(directory[0]) == drive) return std::u16string(directory);
        return {drive, u':', u'\\'};
    }
    if (name.starts_with(u'\\')) return std::u16string(directory.substr(0, RootLength(directory)));
    return std::u16string(directory);
}

std::u16string_view TrimmedEnd(std::u16string_view name, const char16_t* characters) {
    const std::size_t last = name.find_last_not_of(characters);
    return last == name.npos ? std::u16string_view() : name.substr(0, last + 1);
}

// Appends one component to `path`, which ends with a backslash and keeps its root. True when it added a name.
bool AppendComponent(std::u16string& path, std::size_t root, std::u16string_view component, bool isLast) {
    if (component == u"." || component.empty()) return false;
    if (component == u"..") {
        if (path.size() > root) path.erase(path.rfind(u'\\', path.size() - 2) + 1);
        return false;
    }
    // Windows keeps the dots of a name that is nothing else, unless it is the last one.
    const std::u16string_view trimmed = TrimmedEnd(component, isLast ? u". " : u".");
    if (trimmed.empty() && isLast) return false;
    path += trimmed.empty() ? component : trimmed;
    path += u'\\';
    return true;
}

}  // namespace

std::u16string FromAnsi(std::string_view text) {
    return IsAscii(text) ? std::u16string(text.begin(), text.end()) : text::Widen(text);
}

std::string ToAnsi(std::u16string_view text) {
    if (!IsAscii(text)) return text::Narrow(text);
    std::string narrow(text.size(), '\0');
    std::transform(text.begin(), text.end(), narrow.begin(), [](char16_t character) { return char(character); });
    return narrow;
}

std::optional<std::filesystem::path> ToHost(std::u16string_view name) {
    if (IsAscii(name)) return std::filesystem::path(std::string(name.begin(), name.end()));
    try {
        return std::filesystem::path(name);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<std::u16string> FromHost(const std::filesystem::path& name) {
    if (IsAscii(name.native())) return std::u16string(name.native().begin(), name.native().end());
    try {
        return name.u16string();
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

char16_t Fold(char16_t character) {
    struct Range {
        char16_t first, last;
        int distance;
    };
    static constexpr Range kRanges[] = {
        {u'a', u'z', -0x20},        {0xe0, 0xf6, -0x20},   {0xf8, 0xfe, -0x20},
        {0xff, 0xff, 0x178 - 0xff}, {0x3b1, 0x3c1, -0x20}, {0x3c3, 0x3cb, -0x20},
        {0x430, 0x44f, -0x20},      {0x450, 0x45f, -0x50}, {0xff41, 0xff5a, -0x20},
    };
    for (const Range& range : kRanges) {
        if (character >= range.first && character <= range.last) return char16_t(character + range.distance);
    }
    return character;
}

std::u16string Fold(std::u16string_view text) {
    std::u16string folded(text);
    for (char16_t& character : folded) character = Fold(character);
    return folded;
}

bool EqualNoCase(std::u16string_view left, std::u16string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char16_t a, char16_t b) { return a == b || Fold(a) == Fold(b); });
}

std::size_t RootLength(std::u16string_view absolute) {
    if (!absolute.starts_with(u"\\\\")) return std::min<std::size_t>(absolute.size(), 3);
    const std::size_t host = absolute.find(u'\\', 2);
    if (host == absolute.npos) return absolute.size();
    const std::size_t share = absolute.find(u'\\', host + 1);
    return share == absolute.npos ? absolute.size() : share + 1;
}

std::u16string Absolute(std::u16string_view name, std::u16string_view directory) {
    std::u16string slashed(name);
    std::replace(slashed.begin(), slashed.end(), u'/', u'\\');
    if (slashed.starts_with(u"\\\\?\\UNC\\")) slashed.replace(0, 7, u"\\");
    if (slashed.starts_with(u"\\\\?\\")) slashed.erase(0, 4);
    if (slashed.empty()) return {};
    std::u16string_view rest = slashed;
    std::u16string path = TakeRoot(rest, directory);
    const std::size_t root = RootLength(path);
    bool endsWithName = rest.empty() && path.size() > root;
    while (!rest.empty()) {
        const std::size_t end = rest.find(u'\\');
        const bool isLast = end == rest.npos;
        const std::u16string_view component = rest.substr(0, end);
        rest.remove_prefix(isLast ? rest.size() : end + 1);
        const bool added = AppendComponent(path, root, component, isLast);
        // "a\\.." and "a\\." name the directory itself; "a\\" asks for a directory by its separator.
        if (isLast) endsWithName = added || component == u"." || component == u"..";
    }
    if (endsWithName && path.size() > root) path.pop_back();
    return path;
}

std::optional<Parsed> Parse(std::u16string_view absolute) {
    Parsed parsed;
    std::u16string_view rest = absolute;
    rest.remove_prefix(RootLength(absolute));
    if (absolute.starts_with(u"\\\\")) {
        const std::size_t host = absolute.find(u'\\', 2);
        if (host == absolute.npos || host == 2) return std::nullopt;
        parsed.host = absolute.substr(2, host - 2);
        parsed.share = TrimmedEnd(absolute.substr(host + 1, RootLength(absolute) - host - 1), u"\\");
        if (parsed.share.empty()) return std::nullopt;
    } else {
        if (absolute.size() < 3 || absolute[1] != u':') return std::nullopt;
        parsed.drive = absolute[0];
    }
    parsed.endsWithSeparator = rest.empty() || rest.ends_with(u'\\');
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(u'\\'), rest.size());
        if (end != 0) parsed.names.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return parsed;
}

bool IsValidName(std::u16string_view name) {
    constexpr std::u16string_view kForbidden = u"<>:\"|?*/\\";
    return !name.empty() && name.size() <= kMaxName && std::none_of(name.begin(), name.end(), [&](char16_t character) {
        return character < 0x20 || kForbidden.find(character) != kForbidden.npos;
    });
}

DWORD CopyOut(const std::string& text, char* buffer, DWORD size) {
    if (buffer == nullptr || size <= text.size()) return DWORD(text.size() + 1);
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return DWORD(text.size());
}

}  // namespace embedded::paths
