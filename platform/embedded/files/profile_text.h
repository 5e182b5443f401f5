// The text of a profile (INI) file, taken apart where it stands: nothing is copied that is not asked for, and an edit
// changes the bytes it is about and no other.
#ifndef INSTALIB_EMBEDDED_FILES_PROFILE_TEXT_H
#define INSTALIB_EMBEDDED_FILES_PROFILE_TEXT_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace embedded::profile {

// Lines end with CR, LF or both; blank ones and those that start with ';' say nothing. "[name]" begins a section, the
// last
// ']' of the line ends its name. White space around names and values does not count. Of sections and keys that come
// twice the first one holds. Text is in the code page, or in UTF-16 when the file begins with FF FE.
class Text {
  public:
    explicit Text(std::string bytes);

    const std::string& Bytes() const { return m_bytes; }

    std::vector<std::string> SectionNames() const;
    // Nothing when there is no such section. Keys are those of lines with '='.
    std::optional<std::vector<std::string>> Keys(std::string_view section) const;
    // "key=value", and lines without '=' as they are; comments left out, quotes kept.
    std::optional<std::vector<std::string>> Entries(std::string_view section) const;
    // The value with its quotes. Looks at no more of the text than it has to.
    std::optional<std::string> Value(std::string_view section, std::string_view key) const;

    // Each answers whether it changed anything.
    bool SetValue(std::string_view section, std::string_view key, std::string_view value);
    bool EraseKey(std::string_view section, std::string_view key);
    bool EraseSection(std::string_view section);
    // Replaces the lines of a section, comments included, by these.
    void SetEntries(std::string_view section, const std::vector<std::string>& entries);

  private:
    struct Line {
        std::size_t begin, end, next;  // bytes; [end, next) is the line's end
    };
    struct Section {
        std::size_t header;       // line index
        std::size_t first, last;  // lines of its body: [first, last)
    };

    const std::vector<Line>& Lines() const;  // taken apart when first asked for
    Line LineAt(std::size_t begin) const;
    // The line of the first section header of this name from the start on.
    std::optional<Line> HeaderNamed(std::string_view name) const;
    // False when the bytes from an offset on, without blanks, rule out that a trimmed name stands there. Only an answer
    // of true costs a conversion.
    bool MayBear(std::size_t offset, std::string_view name) const;
    std::u16string Decoded(const Line& line) const;  // trimmed
    std::string Encoded(std::string_view text) const;
    std::optional<std::u16string> HeaderOf(const Line& line) const;
    std::optional<Section> FindSection(std::string_view name) const;
    bool BearsKey(const Line& line, std::string_view key) const;
    std::optional<std::string> ValueOf(const Line& line) const;
    std::optional<std::size_t> FindKey(const Section& section, std::string_view key) const;
    std::size_t ValueOffset(const Line& line) const;
    void Replace(std::size_t begin, std::size_t end, const std::string& bytes);
    // Adds lines after the section's last line that is not blank.
    void AppendTo(const Section& section, const std::string& lines);
    void AppendSection(std::string_view name, const std::string& lines);

    std::string m_bytes;
    bool m_isWide;
    mutable std::vector<Line> m_lines;
    mutable bool m_isSplit = false;
};

// Without the one pair of quotes, of either kind, that may surround a value.
std::string_view Unquoted(std::string_view value);
std::string_view Trimmed(std::string_view text);

}  // namespace embedded::profile

#endif
