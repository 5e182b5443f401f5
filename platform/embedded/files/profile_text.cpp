#include "platform/embedded/files/profile_text.h"

#include <algorithm>
#include <cstdint>

#include "platform/embedded/core/text.h"
#include "platform/embedded/files/path_text.h"

namespace embedded::profile {
namespace {

constexpr std::string_view kMark = "\xff\xfe";
constexpr std::string_view kNarrowBlanks = " \t\v\f";
constexpr std::u16string_view kBlanks = u" \t\v\f";

template <class View>
View TrimmedOf(View text, View blanks) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::u16string_view TrimmedWide(std::u16string_view text) { return TrimmedOf(text, kBlanks); }

// Text ends at a zero character, as it does for everybody who is handed it.
std::u16string_view BeforeZero(std::u16string_view text) { return text.substr(0, text.find(u'\0')); }

bool SameName(std::u16string_view stored, std::string_view name) {
    return paths::EqualNoCase(stored, paths::FromAnsi(Trimmed(name)));
}

std::string LineOf(std::string_view text) { return std::string(text) + "\r\n"; }

std::string_view WithoutLeadingBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(kNarrowBlanks), text.size()));
}

std::string EntryOf(std::string_view key, std::string_view value) {
    return std::string(Trimmed(key)) + '=' + std::string(value);
}

}  // namespace

std::string_view Trimmed(std::string_view text) { return TrimmedOf(text, kNarrowBlanks); }

std::string_view Unquoted(std::string_view value) {
    const bool isQuoted =
        value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.front() == value.back();
    return isQuoted ? value.substr(1, value.size() - 2) : value;
}

Text::Text(std::string bytes) : m_bytes(std::move(bytes)), m_isWide(m_bytes.starts_with(kMark)) {
    // Half a character at the end is none; what is added behind it would be read in wrong halves.
    if (m_isWide && m_bytes.size() % 2 != 0) m_bytes.pop_back();
}

Text::Line Text::LineAt(std::size_t begin) const {
    if (!m_isWide) {
        const std::string_view rest = std::string_view(m_bytes).substr(begin);
        const std::size_t feed = std::min(rest.find('\n'), rest.size());
        const std::size_t end = std::min(rest.substr(0, feed).find('\r'), feed);
        const bool isPair = end + 1 == feed && feed < rest.size();
        return {begin, begin + end, begin + std::min(end + (isPair ? 2 : 1), rest.size())};
    }
    const auto at = [&](std::size_t offset) {
        return offset + 2 > m_bytes.size() || m_bytes[offset + 1] != '\0' ? '\0' : m_bytes[offset];
    };
    std::size_t end = begin;
    while (end + 2 <= m_bytes.size() && at(end) != '\r' && at(end) != '\n') end += 2;
    std::size_t next = std::min(end + 2, m_bytes.size());
    if (at(end) == '\r' && at(next) == '\n') next += 2;
    return {begin, end, next};
}

const std::vector<Text::Line>& Text::Lines() const {
    if (m_isSplit) return m_lines;
    m_lines.clear();
    for (std::size_t begin = m_isWide ? kMark.size() : 0; begin < m_bytes.size(); begin = m_lines.back().next)
        m_lines.push_back(LineAt(begin));
    m_isSplit = true;
    return m_lines;
}

bool Text::MayBear(std::size_t offset, std::string_view name) const {
    if (m_isWide) return true;
    const std::string_view bytes = WithoutLeadingBlanks(std::string_view(m_bytes).substr(offset));
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (i == bytes.size()) return false;
        if (((name[i] | bytes[i]) & 0x80) != 0) return true;
        if (text::Upper(name[i]) != text::Upper(bytes[i])) return false;
    }
    return true;
}

std::optional<Text::Line> Text::HeaderNamed(std::string_view name) const {
    const auto isHeader = [&](const Line& line) {
        const std::optional<std::u16string> found = HeaderOf(line);
        return found && SameName(*found, name);
    };
    if (m_isWide) {
        for (std::size_t begin = kMark.size(); begin < m_bytes.size();) {
            const Line line = LineAt(begin);
            if (isHeader(line)) return line;
            begin = line.next;
        }
        return std::nullopt;
    }
    // From bracket to bracket, of which only those count that begin a line.
    name = Trimmed(name);
    for (std::size_t bracket = m_bytes.find('['); bracket != m_bytes.npos; bracket = m_bytes.find('[', bracket + 1)) {
        if (!MayBear(bracket + 1, name)) continue;
        std::size_t begin = bracket;
        while (begin > 0 && kNarrowBlanks.find(m_bytes[begin - 1]) != kNarrowBlanks.npos) --begin;
        if (begin != 0 && m_bytes[begin - 1] != '\n' && m_bytes[begin - 1] != '\r') continue;
        if (const Line line = LineAt(begin); isHeader(line)) return line;
    }
    return std::nullopt;
}

std::u16string Text::Decoded(const Line& line) const {
    const std::string_view bytes = std::string_view(m_bytes).substr(line.begin, line.end - line.begin);
    if (!m_isWide) return paths::FromAnsi(Trimmed(bytes));
    std::u16string text(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = char16_t((unsigned(std::uint8_t(bytes[2 * i + 1])) << 8) | std::uint8_t(bytes[2 * i]));
    }
    return std::u16string(TrimmedWide(text));
}

std::string Text::Encoded(std::string_view text) const {
    if (!m_isWide) return std::string(text);
    std::string bytes;
    for (const char16_t character : paths::FromAnsi(text)) {
        bytes += char(character & 0xff);
        bytes += char(character >> 8);
    }
    return bytes;
}

std::optional<std::u16string> Text::HeaderOf(const Line& line) const {
    const std::size_t first = m_bytes.find_first_not_of(kNarrowBlanks, line.begin);
    if (first >= line.end || (m_bytes[first] != '[' && !m_isWide)) return std::nullopt;
    const std::u16string text = Decoded(line);
    const std::size_t close = text.rfind(u']');
    if (!text.starts_with(u'[') || close == text.npos) return std::nullopt;
    return std::u16string(BeforeZero(TrimmedWide(std::u16string_view(text).substr(1, close - 1))));
}

std::optional<Text::Section> Text::FindSection(std::string_view name) const {
    for (std::size_t header = 0; header < Lines().size(); ++header) {
        const std::optional<std::u16string> found = HeaderOf(Lines()[header]);
        if (!found || !SameName(*found, name)) continue;
        std::size_t last = header + 1;
        while (last < Lines().size() && !HeaderOf(Lines()[last])) ++last;
        return Section{header, header + 1, last};
    }
    return std::nullopt;
}

// The offset of what stands behind the first '=' of a line and the blanks that follow it; the line's end without '='.
std::size_t Text::ValueOffset(const Line& line) const {
    const std::size_t step = m_isWide ? 2 : 1;
    const auto isAt = [&](std::size_t offset, std::string_view characters) {
        return offset + step <= line.end && characters.find(m_bytes[offset]) != characters.npos &&
               (!m_isWide || m_bytes[offset + 1] == '\0');
    };
    std::size_t offset = line.begin;
    while (offset < line.end && !isAt(offset, "=")) offset += step;
    if (offset >= line.end) return line.end;
    offset += step;
    while (isAt(offset, kNarrowBlanks)) offset += step;
    return offset;
}

std::vector<std::string> Text::SectionNames() const {
    std::vector<std::string> names;
    for (const Line& line : Lines()) {
        const std::optional<std::u16string> name = HeaderOf(line);
        if (name && !name->empty()) names.push_back(paths::ToAnsi(*name));
    }
    return names;
}

std::optional<std::vector<std::string>> Text::Keys(std::string_view section) const {
    const std::optional<Section> found = FindSection(section);
    if (!found) return std::nullopt;
    std::vector<std::string> keys;
    for (std::size_t index = found->first; index < found->last; ++index) {
        const std::u16string line = Decoded(Lines()[index]);
        const std::size_t equals = line.find(u'=');
        if (line.starts_with(u';') || equals == line.npos) continue;
        const std::u16string_view key = BeforeZero(TrimmedWide(std::u16string_view(line).substr(0, equals)));
        if (!key.empty()) keys.push_back(paths::ToAnsi(key));
    }
    return keys;
}

std::optional<std::vector<std::string>> Text::Entries(std::string_view section) const {
    const std::optional<Section> found = FindSection(section);
    if (!found) return std::nullopt;
    std::vector<std::string> entries;
    for (std::size_t index = found->first; index < found->last; ++index) {
        const std::u16string line = Decoded(Lines()[index]);
        const std::size_t equals = line.find(u'=');
        std::u16string entry(BeforeZero(line));
        if (equals != line.npos) {
            entry = BeforeZero(TrimmedWide(std::u16string_view(line).substr(0, equals)));
            entry += u'=';
            entry += BeforeZero(TrimmedWide(std::u16string_view(line).substr(equals + 1)));
        }
        if (!entry.empty() && !line.starts_with(u';')) entries.push_back(paths::ToAnsi(entry));
    }
    return entries;
}

bool Text::BearsKey(const Line& line, std::string_view key) const {
    const std::u16string text = Decoded(line);
    return !text.empty() &&
           SameName(BeforeZero(TrimmedWide(std::u16string_view(text).substr(0, text.find(u'=')))), key);
}

std::optional<std::size_t> Text::FindKey(const Section& section, std::string_view key) const {
    for (std::size_t index = section.first; index < section.last; ++index) {
        if (BearsKey(Lines()[index], key)) return index;
    }
    return std::nullopt;
}

std::optional<std::string> Text::Value(std::string_view section, std::string_view key) const {
    const std::optional<Line> header = HeaderNamed(section);
    if (!header) return std::nullopt;
    for (std::size_t begin = header->next; begin < m_bytes.size();) {
        const Line line = LineAt(begin);
        begin = line.next;
        if (HeaderOf(line)) break;
        if (MayBear(line.begin, Trimmed(key)) && BearsKey(line, key)) return ValueOf(line);
    }
    return std::nullopt;
}

std::optional<std::string> Text::ValueOf(const Line& line) const {
    const std::u16string text = Decoded(line);
    const std::size_t equals = text.find(u'=');
    if (equals == text.npos) return std::nullopt;
    if (m_isWide) return paths::ToAnsi(BeforeZero(TrimmedWide(std::u16string_view(text).substr(equals + 1))));
    // Bytes of the code page are handed out as they stand, also those that form no character.
    const std::size_t begin = ValueOffset(line);
    const std::string_view value = std::string_view(m_bytes).substr(begin, line.end - begin);
    return std::string(Trimmed(value.substr(0, value.find('\0'))));
}

void Text::Replace(std::size_t begin, std::size_t end, const std::string& bytes) {
    m_bytes.replace(begin, end - begin, bytes);
    m_isSplit = false;
}

void Text::AppendTo(const Section& section, const std::string& lines) {
    std::size_t last = section.last - 1;
    while (last > section.header && Decoded(Lines()[last]).empty()) --last;
    const Line& line = Lines()[last];
    const std::string separator = line.next == line.end ? "\r\n" : "";
    Replace(line.next, line.next, Encoded(separator + lines));
}

void Text::AppendSection(std::string_view name, const std::string& lines) {
    const bool isOpen = !Lines().empty() && Lines().back().next == Lines().back().end;
    m_bytes += Encoded((isOpen ? "\r\n" : "") + LineOf('[' + std::string(Trimmed(name)) + ']') + lines);
    m_isSplit = false;
}

bool Text::SetValue(std::string_view section, std::string_view key, std::string_view value) {
    value = WithoutLeadingBlanks(value);
    const std::optional<Section> found = FindSection(section);
    if (!found) {
        AppendSection(section, LineOf(EntryOf(key, value)));
        return true;
    }
    const std::optional<std::size_t> index = FindKey(*found, key);
    if (!index) {
        AppendTo(*found, LineOf(EntryOf(key, value)));
        return true;
    }
    const Line line = Lines()[*index];
    const std::size_t begin = ValueOffset(line);
    const bool hasEquals = Decoded(line).find(u'=') != std::u16string::npos;
    const std::string bytes = Encoded(std::string(hasEquals ? "" : "=").append(value));
    if (std::string_view(m_bytes).substr(begin, line.end - begin) == bytes) return false;
    Replace(begin, line.end, bytes);
    return true;
}

bool Text::EraseKey(std::string_view section, std::string_view key) {
    const std::optional<Section> found = FindSection(section);
    const std::optional<std::size_t> index = found ? FindKey(*found, key) : std::nullopt;
    if (index) Replace(Lines()[*index].begin, Lines()[*index].next, {});
    return index.has_value();
}

bool Text::EraseSection(std::string_view section) {
    const std::optional<Section> found = FindSection(section);
    if (found) Replace(Lines()[found->header].begin, Lines()[found->last - 1].next, {});
    return found.has_value();
}

void Text::SetEntries(std::string_view section, const std::vector<std::string>& entries) {
    std::string lines;
    for (const std::string& entry : entries) lines += LineOf(entry);
    const std::optional<Section> found = FindSection(section);
    if (!found) {
        AppendSection(section, lines);
        return;
    }
    // The blank lines that part it from the next section are not the section's.
    std::size_t last = found->last;
    while (last > found->first && Decoded(Lines()[last - 1]).empty()) --last;
    const Line& header = Lines()[found->header];
    const std::string separator = header.next == header.end ? "\r\n" : "";
    Replace(header.next, Lines()[last - 1].next, Encoded(separator + lines));
}

}  // namespace embedded::profile
