#include "platform/embedded/registry/reg_text.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/embedded/api/registry.h"
#include "platform/embedded/core/text.h"

namespace embedded::reg_text {
namespace {

constexpr std::string_view kHeader4 = "REGEDIT4";
constexpr std::string_view kHeader5 = "Windows Registry Editor Version 5.00";
constexpr std::size_t kLineWidth = 80;

// Why a file cannot be read; Parse adds the line.
struct Problem {
    const char* reason;
};

bool IsBlank(char character) { return character == ' ' || character == '\t'; }

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

bool IsTextType(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

std::u16string Units(std::string_view bytes, bool bigEndian) {
    std::u16string units(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
        const BYTE first = BYTE(bytes[2 * i]), second = BYTE(bytes[2 * i + 1]);
        units[i] = char16_t(bigEndian ? first << 8 | second : second << 8 | first);
    }
    return units;
}

// The file in the machine's code page, in `text` when it is not there already. A zero unit would end the text early for
// Windows' own tool, too.
std::string_view Decode(std::string_view bytes, std::string* text) {
    const bool isLittle = bytes.starts_with("\xFF\xFE"), isBig = bytes.starts_with("\xFE\xFF");
    if (!isLittle && !isBig) return bytes;
    return *text = text::Narrow(Units(bytes.substr(2), isBig));
}

int HexDigit(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    const char upper = text::Upper(character);
    return upper >= 'A' && upper <= 'F' ? upper - 'A' + 10 : -1;
}

// Walks through the text; lines end with CR, LF or both.
class Reader {
  public:
    explicit Reader(std::string_view text) : m_rest(text) {}
    bool AtEnd() const { return m_rest.empty(); }
    std::size_t Line() const { return m_line; }
    char Peek() const { return m_rest.empty() ? '\n' : m_rest.front(); }
    bool AtLineEnd() const { return Peek() == '\n' || Peek() == '\r'; }
    char Take() {
        const char character = m_rest.front();
        m_rest.remove_prefix(1);
        if (character == '\n' || (character == '\r' && Peek() != '\n')) ++m_line;
        return character;
    }
    void SkipBlanks() {
        while (!AtEnd() && IsBlank(Peek())) Take();
    }
    std::string_view TakeLine() {
        const std::string_view line = m_rest.substr(0, m_rest.find_first_of("\r\n"));
        m_rest.remove_prefix(line.size());
        SkipLineEnd();
        return line;
    }
    void SkipLineEnd() {
        if (!AtEnd() && Peek() == '\r')
            Take();
        else if (AtEnd() || Peek() != '\n')
            return;
        else {
            Take();
            return;
        }
        if (!AtEnd() && Peek() == '\n') Take();
    }
    bool TakeWord(std::string_view word) {
        if (!text::EqualNoCase(m_rest.substr(0, word.size()), word)) return false;
        m_rest.remove_prefix(word.size());
        return true;
    }
    // Characters that mean nothing in a quoted text.
    std::string_view TakePlain() {
        const std::string_view plain = m_rest.substr(0, m_rest.find_first_of(std::string_view("\"\\\r\n\0", 5)));
        m_rest.remove_prefix(plain.size());
        return plain;
    }
    // The usual form of a byte in data: two digits and a comma.
    bool TakePair(BYTE* byte) {
        if (m_rest.size() < 3 || m_rest[2] != ',') return false;
        const int high = HexDigit(m_rest[0]), low = HexDigit(m_rest[1]);
        if (high < 0 || low < 0) return false;
        *byte = BYTE(high << 4 | low);
        m_rest.remove_prefix(3);
        return true;
    }
    // Nothing but blanks and a comment may follow.
    void ExpectLineEnd() {
        SkipBlanks();
        if (!AtEnd() && Peek() == ';') m_rest.remove_prefix(std::min(m_rest.find_first_of("\r\n"), m_rest.size()));
        if (!AtLineEnd()) throw Problem{"more than a value stands on the line"};
        SkipLineEnd();
    }

  private:
    std::string_view m_rest;
    std::size_t m_line = 1;
};

// Text in quotation marks may hold line ends: the tool writes them as they are.
std::string TakeQuoted(Reader& reader) {
    reader.Take();
    std::string text;
    for (;;) {
        text += reader.TakePlain();
        if (reader.AtEnd()) break;
        char character = reader.Take();
        if (character == '"') return text;
        if (character == '\\') {
            if (reader.AtEnd()) break;
            character = reader.Take();
            if (character != '\\' && character != '"') text += '\\';
        }
        if (character == '\0') throw Problem{"a zero character in a text"};
        text += character;
    }
    throw Problem{"no closing quotation mark"};
}

// One to `most` hexadecimal digits.
DWORD TakeHex(Reader& reader, unsigned most, const char* reason) {
    DWORD number = 0;
    unsigned digits = 0;
    for (; !reader.AtEnd() && HexDigit(reader.Peek()) >= 0; ++digits) {
        if (digits == most) throw Problem{reason};
        number = number << 4 | DWORD(HexDigit(reader.Take()));
    }
    if (digits == 0) throw Problem{reason};
    return number;
}

void SkipBlanksAndContinuation(Reader& reader) {
    for (;;) {
        reader.SkipBlanks();
        if (reader.AtEnd() || reader.Peek() != '\\') return;
        reader.Take();
        reader.SkipBlanks();
        if (!reader.AtLineEnd()) throw Problem{"a backslash that does not end the line"};
        reader.SkipLineEnd();
    }
}

// "0a,ff,\" and so on. Empty data is allowed.
Bytes TakeBytes(Reader& reader) {
    Bytes data;
    SkipBlanksAndContinuation(reader);
    for (;;) {
        for (BYTE byte = 0; reader.TakePair(&byte);) data.push_back(byte);
        SkipBlanksAndContinuation(reader);
        if (reader.AtLineEnd() || reader.Peek() == ';') break;
        data.push_back(BYTE(TakeHex(reader, 2, "a byte that is not two hexadecimal digits")));
        SkipBlanksAndContinuation(reader);
        if (reader.AtLineEnd() || reader.Peek() == ';') break;
        if (reader.Take() != ',') throw Problem{"bytes are separated by commas"};
        SkipBlanksAndContinuation(reader);
    }
    return data;
}

Bytes NarrowBytes(const Bytes& data) {
    const std::string_view bytes(reinterpret_cast<const char*>(data.data()), data.size());
    const std::string narrow = text::Narrow(Units(bytes, false));
    return Bytes(narrow.begin(), narrow.end());
}

void TakeHexData(Reader& reader, bool version5, StoredValue* value) {
    value->type = REG_BINARY;
    if (reader.TakeWord("(")) {
        value->type = TakeHex(reader, 8, "no type of data");
        if (!reader.TakeWord(")")) throw Problem{"no closing parenthesis"};
    }
    if (!reader.TakeWord(":")) throw Problem{"no colon after the kind of data"};
    value->data = TakeBytes(reader);
    if (version5 && IsTextType(value->type)) value->data = NarrowBytes(value->data);
}

void TakeData(Reader& reader, bool version5, StoredValue* value) {
    if (reader.Peek() == '"') {
        const std::string text = TakeQuoted(reader);
        value->type = REG_SZ;
        value->data.assign(text.begin(), text.end());
        value->data.push_back(0);
    } else if (reader.TakeWord("dword:")) {
        reader.SkipBlanks();
        const DWORD number = TakeHex(reader, 8, "a dword has one to eight hexadecimal digits");
        value->type = REG_DWORD;
        value->data.resize(sizeof number);
        std::memcpy(value->data.data(), &number, sizeof number);
    } else if (reader.TakeWord("hex")) {
        TakeHexData(reader, version5, value);
    } else {
        throw Problem{"data of an unknown form"};
    }
}

// "name"=data, @=data, and a hyphen for data that is to go. False for the hyphen.
bool TakeValue(Reader& reader, bool version5, StoredValue* value) {
    if (reader.Peek() == '"')
        value->name = TakeQuoted(reader);
    else if (reader.Peek() == '@')
        reader.Take();
    else
        throw Problem{"neither a key nor a value"};
    if (value->name.size() > 16383) throw Problem{"the name of a value is too long"};
    reader.SkipBlanks();
    if (!reader.TakeWord("=")) throw Problem{"no equals sign after the name of a value"};
    reader.SkipBlanks();
    const bool sets = reader.Peek() != '-';
    if (sets)
        TakeData(reader, version5, value);
    else
        reader.Take();
    reader.ExpectLineEnd();
    return sets;
}

Step::Kind TakeKey(std::string_view line, std::string* name) {
    const std::size_t end = line.rfind(']');
    if (end == line.npos) throw Problem{"no closing bracket after a key"};
    std::string_view key = line.substr(1, end - 1);
    const bool isDeleted = key.starts_with('-');
    if (isDeleted) key.remove_prefix(1);
    if (key.empty() || key.find('\0') != key.npos) throw Problem{"a key without a name"};
    for (std::size_t from = 0; from < key.size();) {
        const std::size_t to = std::min(key.find('\\', from), key.size());
        if (to - from > 255) throw Problem{"the name of a key is too long"};
        from = to + 1;
    }
    *name = key;
    return isDeleted ? Step::Kind::DeleteKey : Step::Kind::MakeKey;
}

bool TakeHeader(Reader& reader) {
    while (!reader.AtEnd()) {
        const std::string_view line = Trim(reader.TakeLine());
        if (line.empty()) continue;
        if (line == kHeader5) return true;
        if (line == kHeader4) return false;
        break;
    }
    throw Problem{"the file begins with neither \"REGEDIT4\" nor \"Windows Registry Editor Version 5.00\""};
}

void Hand(const Step& step, const Sink& sink) {
    if (const char* const reason = sink(step)) throw Problem{reason};
}

void ParseLines(Reader& reader, bool version5, std::size_t* line, const Sink& sink) {
    Step step;
    bool isBelowKey = false, isDeleted = false;
    while (!reader.AtEnd()) {
        *line = reader.Line();
        reader.SkipBlanks();
        if (reader.AtLineEnd() || reader.Peek() == ';') {
            reader.TakeLine();
            continue;
        }
        step.line = *line;
        if (reader.Peek() == '[') {
            step.kind = TakeKey(reader.TakeLine(), &step.key);
            isBelowKey = true;
            isDeleted = step.kind == Step::Kind::DeleteKey;
            Hand(step, sink);
            continue;
        }
        step.value.name.clear();
        step.kind = TakeValue(reader, version5, &step.value) ? Step::Kind::SetValue : Step::Kind::EraseValue;
        if (!isBelowKey) throw Problem{"a value before the first key"};
        // Below a key that is deleted, values are read and left at that.
        if (!isDeleted) Hand(step, sink);
    }
}

void AppendQuoted(std::string_view text, std::string* out) {
    *out += '"';
    for (const char character : text) {
        if (character == '\\' || character == '"') *out += '\\';
        *out += character;
    }
    *out += '"';
}

std::string_view AsText(const Bytes& data) { return {reinterpret_cast<const char*>(data.data()), data.size()}; }

// A text of which the quoted form gives back every byte.
bool IsPlainText(const StoredValue& value) {
    if (value.type != REG_SZ || value.data.empty() || value.data.back() != 0) return false;
    const std::string_view text = AsText(value.data).substr(0, value.data.size() - 1);
    if (std::any_of(text.begin(), text.end(), [](char each) { return BYTE(each) < 0x20; })) return false;
    return text::Narrow(text::Widen(text)) == text;
}

Bytes WideBytes(const Bytes& data) {
    Bytes bytes;
    for (const char16_t unit : text::Widen(AsText(data))) {
        bytes.push_back(BYTE(unit));
        bytes.push_back(BYTE(unit >> 8));
    }
    return bytes;
}

void AppendHex(std::uint32_t number, unsigned digits, std::string* out) {
    while (digits-- > 0) *out += "0123456789abcdef"[number >> 4 * digits & 15];
}

// `line` is where the line that the bytes go on began.
void AppendBytes(const Bytes& data, bool wrapped, std::size_t line, std::string* out) {
    for (std::size_t i = 0; i < data.size(); ++i) {
        AppendHex(data[i], 2, out);
        if (i + 1 == data.size()) return;
        *out += ',';
        if (wrapped && out->size() - line + 4 > kLineWidth) {
            *out += "\\\r\n";
            line = out->size();
            *out += "  ";
        }
    }
}

}  // namespace

bool Parse(std::string_view bytes, const Sink& sink, std::string* problem) {
    std::string decoded;
    Reader reader(Decode(bytes, &decoded));
    std::size_t line = 1;
    try {
        const bool version5 = TakeHeader(reader);
        ParseLines(reader, version5, &line, sink);
        return true;
    } catch (const Problem& found) {
        *problem = "line " + std::to_string(line) + ": " + found.reason;
        return false;
    }
}

void AppendValue(const StoredValue& value, bool version5, bool wrapped, std::string* text) {
    const std::size_t line = text->size();
    if (value.name.empty())
        *text += '@';
    else
        AppendQuoted(value.name, text);
    *text += '=';
    if (IsPlainText(value)) {
        AppendQuoted(AsText(value.data).substr(0, value.data.size() - 1), text);
    } else if (DWORD number = 0; value.type == REG_DWORD && value.data.size() == sizeof number) {
        std::memcpy(&number, value.data.data(), sizeof number);
        *text += "dword:";
        AppendHex(number, 8, text);
    } else {
        *text += "hex";
        if (value.type != REG_BINARY) {
            const unsigned digits = (unsigned(std::bit_width(value.type | 1)) + 3) / 4;
            *text += '(';
            AppendHex(value.type, digits, text);
            *text += ')';
        }
        *text += ':';
        const bool isWide = version5 && IsTextType(value.type);
        AppendBytes(isWide ? WideBytes(value.data) : value.data, wrapped, line, text);
    }
}

bool ParseValueLine(const std::string& line, StoredValue* value) {
    try {
        Reader reader(line);
        return TakeValue(reader, false, value) && reader.AtEnd();
    } catch (const Problem&) {
        return false;
    }
}

}  // namespace embedded::reg_text
