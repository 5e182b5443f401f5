#include "platform/embedded/system/code_page.h"

#include <iconv.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>

#include "platform/embedded/api/system.h"
#include "platform/embedded/control/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/path_text.h"
#include "platform/embedded/machine/world.h"

namespace gate = embedded::gate;
namespace paths = embedded::paths;
namespace text_of = embedded::text;
using embedded::control::CallKind;

namespace embedded {
namespace code_page {
namespace {

constexpr unsigned kFreshCodePage = 1252;
constexpr char kKey[] = "META\\System";
constexpr char kValue[] = "CodePage";
constexpr char16_t kUnknownWide = u'\xFFFD';

struct ByteRange {
    BYTE first, last;
};

struct CodePage {
    unsigned number;
    const char* host;        // as iconv calls it
    ByteRange lead[2] = {};  // bytes that start a double-byte character; 0 to 0: none
};

constexpr CodePage kCodePages[] = {
    {437, "CP437"},
    {850, "CP850"},
    {932, "CP932", {{0x81, 0x9F}, {0xE0, 0xFC}}},
    {936, "CP936", {{0x81, 0xFE}}},
    {949, "CP949", {{0x81, 0xFE}}},
    {950, "CP950", {{0x81, 0xFE}}},
    {1250, "CP1250"},
    {1251, "CP1251"},
    {1252, "CP1252"},
    {1253, "CP1253"},
    {1254, "CP1254"},
    {1255, "CP1255"},
    {1256, "CP1256"},
    {1257, "CP1257"},
    {1258, "CP1258"},
    {CP_UTF8, "UTF-8"},
};

const CodePage* FindPage(unsigned number) {
    const auto* const found = std::ranges::find(kCodePages, number, &CodePage::number);
    return found == std::end(kCodePages) ? nullptr : found;
}

bool IsLead(const CodePage& page, BYTE byte) {
    return std::ranges::any_of(page.lead, [byte](const ByteRange& range) {
        return range.first != 0 && byte >= range.first && byte <= range.last;
    });
}

// One conversion descriptor per thread and direction: opening one costs far more than a short text.
class Converter {
  public:
    Converter(const char* to, const char* from) : m_handle(iconv_open(to, from)) {}
    ~Converter() {
        if (IsOpen()) iconv_close(m_handle);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool IsOpen() const { return m_handle != iconv_t(-1); }
    // Converts what it can and answers how many bytes of the source were used.
    std::size_t Run(const char* source, std::size_t size, std::string& result) {
        char* input = const_cast<char*>(source);  // iconv's signature; it does not write there
        std::size_t left = size;
        char buffer[512];
        for (;;) {
            char* output = buffer;
            std::size_t room = sizeof buffer;
            const std::size_t status = iconv(m_handle, &input, &left, &output, &room);
            result.append(buffer, sizeof buffer - room);
            if (status != std::size_t(-1) || errno != E2BIG) break;
        }
        return size - left;
    }

  private:
    iconv_t m_handle;
};

Converter& ConverterFor(const CodePage& page, bool toWide) {
    thread_local std::map<std::pair<unsigned, bool>, Converter> converters;
    const char* const to = toWide ? "UTF-16LE" : page.host;
    const char* const from = toWide ? page.host : "UTF-16LE";
    return converters.try_emplace({page.number, toWide}, to, from).first->second;
}

template <class Text>
bool IsAscii(const Text& text) {
    return std::ranges::all_of(text, [](auto unit) { return unit >= 0 && unit < 0x80; });
}

std::u16string FromBytes(const std::string& bytes) {
    std::u16string wide(bytes.size() / 2, u'\0');
    std::memcpy(wide.data(), bytes.data(), wide.size() * 2);
    return wide;
}

// How many bytes of an unconvertible text one replacement stands for.
std::size_t BadLength(const CodePage& page, std::string_view rest) {
    return IsLead(page, BYTE(rest[0])) && rest.size() > 1 ? 2 : 1;
}

// Windows maps the few bytes that a single-byte code page leaves undefined to the control characters of the same
// number, and back.
bool IsUndefinedControl(const CodePage& page, unsigned unit) {
    const bool singleByte = page.number != CP_UTF8 && page.lead[0].first == 0;
    if (!singleByte || unit < 0x80 || unit >= 0xA0) return false;
    const char byte = char(unit);
    std::string ignored;
    return ConverterFor(page, true).Run(&byte, 1, ignored) == 0;
}

// The length of the character that starts the text, in UTF-16 units.
std::size_t CharacterUnits(std::u16string_view rest) {
    const bool pair = rest.size() > 1 && (rest[0] & 0xFC00) == 0xD800 && (rest[1] & 0xFC00) == 0xDC00;
    return pair ? 2 : 1;
}

std::atomic<unsigned> g_active{0};
thread_local bool t_seeding = false;

}  // namespace

bool IsKnown(unsigned codePage) { return FindPage(codePage) != nullptr; }

FreshMachineScope::FreshMachineScope() { t_seeding = true; }
FreshMachineScope::~FreshMachineScope() { t_seeding = false; }

unsigned Active() {
    if (t_seeding) return kFreshCodePage;
    if (const unsigned active = g_active.load(std::memory_order_relaxed)) return active;
    const unsigned stored = world::Local()->Storage().ReadNumber(kKey, kValue, kFreshCodePage);
    const unsigned active = IsKnown(stored) ? stored : kFreshCodePage;
    g_active = active;
    return active;
}

void Reset() { g_active = 0; }

std::u16string Decode(unsigned codePage, std::string_view text, bool& exact) {
    exact = true;
    if (IsAscii(text)) return {text.begin(), text.end()};
    const CodePage* const page = FindPage(codePage);
    Converter& converter = ConverterFor(*page, true);
    std::u16string wide;
    while (!text.empty()) {
        std::string bytes;
        if (converter.IsOpen()) text.remove_prefix(converter.Run(text.data(), text.size(), bytes));
        wide += FromBytes(bytes);
        if (text.empty()) break;
        const bool control = IsUndefinedControl(*page, BYTE(text[0]));
        wide += control ? char16_t(BYTE(text[0])) : codePage == CP_UTF8 ? kUnknownWide : u'?';
        exact = exact && control;
        text.remove_prefix(BadLength(*page, text));
    }
    return wide;
}

std::string Encode(unsigned codePage, std::u16string_view wide, std::string_view replacement, bool& exact) {
    exact = true;
    if (IsAscii(wide)) return {wide.begin(), wide.end()};
    const CodePage* const page = FindPage(codePage);
    Converter& converter = ConverterFor(*page, false);
    std::string text;
    while (!wide.empty()) {
        if (converter.IsOpen()) {
            const char* const source = reinterpret_cast<const char*>(wide.data());
            wide.remove_prefix(converter.Run(source, wide.size() * 2, text) / 2);
        }
        if (wide.empty()) break;
        const bool control = IsUndefinedControl(*page, wide[0]);
        if (control)
            text += char(wide[0]);
        else
            text += replacement;
        exact = exact && control;
        wide.remove_prefix(CharacterUnits(wide));
    }
    return text;
}

}  // namespace code_page

namespace text {

std::string Narrow(std::u16string_view wide) {
    bool exact = true;
    return code_page::Encode(code_page::Active(), wide, "?", exact);
}

std::u16string Widen(std::string_view narrow) {
    bool exact = true;
    return code_page::Decode(code_page::Active(), narrow, exact);
}

}  // namespace text

namespace control {

bool SetCodePage(unsigned codePage) {
    if (!code_page::IsKnown(codePage)) return false;
    code_page::Reset();
    return world::Local()->Storage().WriteNumber(code_page::kKey, code_page::kValue, codePage);
}

}  // namespace control
}  // namespace embedded

namespace code_page = embedded::code_page;

namespace {

// The code page that a caller's number means; 0 for one that is not known.
unsigned Resolve(UINT codePage) {
    constexpr UINT kThreadCodePage = 3;
    if (codePage == CP_ACP || codePage == CP_OEMCP || codePage == kThreadCodePage) return code_page::Active();
    return code_page::IsKnown(codePage) ? codePage : 0;
}

// Fills the caller's buffer as far as it goes, and answers the length or 0 and the error.
template <class Text, class Unit>
int Deliver(const Text& result, Unit* buffer, int size) {
    const int length = int(result.size());
    if (size == 0) return length;
    std::memcpy(buffer, result.data(), std::size_t(std::min(length, size)) * sizeof(Unit));
    if (length <= size) return length;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
}

// Null when the arguments are none that Windows takes. A length of -1 includes the terminator.
template <class Unit>
bool TakeSource(const Unit* source, int length, const void* target, int size, std::basic_string_view<Unit>& text) {
    constexpr std::size_t kMost = 0x3FFFFFFF;  // so that every length of a result is an int
    const bool valid = source != nullptr && length != 0 && length >= -1 && size >= 0 &&
                       (size == 0 || target != nullptr) && static_cast<const void*>(source) != target;
    if (valid)
        text = length < 0 ? std::basic_string_view(source, std::char_traits<Unit>::length(source) + 1)
                          : std::basic_string_view(source, std::size_t(length));
    if (valid && text.size() <= kMost) return true;
    SetLastError(ERROR_INVALID_PARAMETER);
    return false;
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR wide, int size) {
    if (gate::Refuses(CallKind::System, "MultiByteToWideChar")) return 0;
    std::string_view source;
    if (!TakeSource(text, length, wide, size, source)) return 0;
    const unsigned page = Resolve(codePage);
    if (page == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (page == CP_UTF8 && (flags & ~DWORD(MB_ERR_INVALID_CHARS)) != 0) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    bool exact = true;
    const std::u16string result = code_page::Decode(page, source, exact);
    if (!exact && (flags & MB_ERR_INVALID_CHARS) != 0) {
        SetLastError(ERROR_NO_UNICODE_TRANSLATION);
        return 0;
    }
    return Deliver(result, wide, size);
}

int WideCharToMultiByte(UINT codePage, DWORD, LPCWSTR wide, int length, LPSTR text, int size, LPCSTR replacement,
                        LPBOOL replaced) {
    if (gate::Refuses(CallKind::System, "WideCharToMultiByte")) return 0;
    std::u16string_view source;
    if (!TakeSource(wide, length, text, size, source)) return 0;
    const unsigned page = Resolve(codePage);
    const bool wantsReplacement = replacement != nullptr || replaced != nullptr;
    if (page == 0 || (page == CP_UTF8 && wantsReplacement)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    bool exact = true;
    const char* const standIn = page == CP_UTF8 ? "\xEF\xBF\xBD" : replacement != nullptr ? replacement : "?";
    const std::string result = code_page::Encode(page, source, standIn, exact);
    if (replaced != nullptr) *replaced = !exact;
    return Deliver(result, text, size);
}

int LCMapStringA(LCID, DWORD flags, LPCSTR text, int length, LPSTR mapped, int size) {
    if (gate::Refuses(CallKind::System, "LCMapStringA")) return 0;
    std::string_view source;
    if (!TakeSource(text, length, mapped, size, source)) return 0;
    if ((flags & ~DWORD(LOCALE_USE_CP_ACP)) != LCMAP_UPPERCASE) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    return Deliver(text_of::Narrow(paths::Fold(text_of::Widen(source))), mapped, size);
}

UINT GetACP() { return code_page::Active(); }

BOOL IsDBCSLeadByte(BYTE byte) {
    const code_page::CodePage* const page = code_page::FindPage(code_page::Active());
    return code_page::IsLead(*page, byte);
}
