#include "platform/embedded/security/sddl.h"

#include <charconv>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/core/text.h"

namespace embedded::security {
namespace {

struct NamedBits {
    const char* text;
    DWORD value;
};

// sddl.h of the Windows SDK. Within a table texts are written in this order; the first whole match of a mask wins.
constexpr NamedBits kEntryTypes[] = {
    {"A", ACCESS_ALLOWED_ACE_TYPE}, {"D", ACCESS_DENIED_ACE_TYPE}, {"AU", SYSTEM_AUDIT_ACE_TYPE}, {"ML", 0x11}};
constexpr NamedBits kEntryFlags[] = {
    {"OI", OBJECT_INHERIT_ACE},    {"CI", CONTAINER_INHERIT_ACE}, {"NP", NO_PROPAGATE_INHERIT_ACE},
    {"IO", INHERIT_ONLY_ACE},      {"ID", INHERITED_ACE},         {"SA", SUCCESSFUL_ACCESS_ACE_FLAG},
    {"FA", FAILED_ACCESS_ACE_FLAG}};
constexpr NamedBits kWholeMasks[] = {{"FA", 0x1F01FF}, {"FR", 0x120089}, {"FW", 0x120116}, {"FX", 0x1200A0},
                                     {"KA", 0xF003F},  {"KR", 0x20019},  {"KW", 0x20006},  {"KX", 0x20019}};
constexpr NamedBits kMaskBits[] = {
    {"CC", 0x1},           {"DC", 0x2},         {"LC", 0x4},         {"SW", 0x8},         {"RP", 0x10},
    {"WP", 0x20},          {"DT", 0x40},        {"LO", 0x80},        {"CR", 0x100},       {"SD", DELETE},
    {"RC", READ_CONTROL},  {"WD", WRITE_DAC},   {"WO", WRITE_OWNER}, {"GA", GENERIC_ALL}, {"GX", GENERIC_EXECUTE},
    {"GW", GENERIC_WRITE}, {"GR", GENERIC_READ}};
constexpr NamedBits kDaclFlags[] = {
    {"P", SE_DACL_PROTECTED}, {"AR", SE_DACL_AUTO_INHERIT_REQ}, {"AI", SE_DACL_AUTO_INHERITED}};
constexpr NamedBits kSaclFlags[] = {
    {"P", SE_SACL_PROTECTED}, {"AR", SE_SACL_AUTO_INHERIT_REQ}, {"AI", SE_SACL_AUTO_INHERITED}};
constexpr std::string_view kNullList = "NO_ACCESS_CONTROL";

using Table = std::span<const NamedBits>;

std::string WriteBits(Table table, DWORD value) {
    std::string text;
    for (const NamedBits& row : table) {
        if ((value & row.value) != 0) text += row.text;
    }
    return text;
}

std::string WriteHex(DWORD value) {
    char digits[16];
    return "0x" + std::string(digits, std::to_chars(digits, digits + sizeof digits, value, 16).ptr);
}

std::string WriteMask(DWORD mask) {
    for (const NamedBits& row : kWholeMasks) {
        if (row.value == mask) return row.text;
    }
    DWORD named = 0;
    for (const NamedBits& row : kMaskBits) named |= row.value;
    return (mask & ~named) == 0 ? WriteBits(kMaskBits, mask) : WriteHex(mask);
}

std::string WriteEntry(const Entry& entry) {
    std::string type = WriteHex(entry.type);
    for (const NamedBits& row : kEntryTypes) {
        if (row.value == entry.type) type = row.text;
    }
    const std::string who = entry.sid.empty() ? std::string() : SidShortText(entry.sid);
    return '(' + type + ';' + WriteBits(kEntryFlags, entry.flags) + ';' + WriteMask(entry.mask) + ";;;" + who + ')';
}

std::string WriteList(const char* name, Table flags, WORD control, ByteView list) {
    std::string text = name + WriteBits(flags, control);
    if (list.empty()) return text.append(kNullList);
    EntryReader reader(list);
    for (Entry entry; reader.Next(entry);) text += WriteEntry(entry);
    return text;
}

// --- Reading ---

// Takes the longest row's text off the front of `text`.
const NamedBits* Take(Table table, std::string_view& text) {
    const NamedBits* best = nullptr;
    for (const NamedBits& row : table) {
        const std::size_t length = std::strlen(row.text);
        if (length > text.size() || !text::EqualNoCase(text.substr(0, length), row.text)) continue;
        if (best == nullptr || length > std::strlen(best->text)) best = &row;
    }
    if (best != nullptr) text.remove_prefix(std::strlen(best->text));
    return best;
}

// Takes rows off the front as long as there are any; the sum of their values.
DWORD TakeAll(Table table, std::string_view& text) {
    DWORD value = 0;
    while (const NamedBits* const row = Take(table, text)) value |= row->value;
    return value;
}

std::optional<DWORD> ParseMask(std::string_view text) {
    if (!text.empty() && text.front() >= '0' && text.front() <= '9') {
        const bool hex = text.starts_with("0x") || text.starts_with("0X");
        if (hex) text.remove_prefix(2);
        DWORD mask = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mask, hex ? 16 : 10);
        if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
        return mask;
    }
    DWORD mask = 0;
    while (!text.empty()) {
        const NamedBits* row = Take(kMaskBits, text);
        if (row == nullptr) row = Take(kWholeMasks, text);
        if (row == nullptr) return std::nullopt;
        mask |= row->value;
    }
    return mask;
}

std::string_view TakeField(std::string_view& text, char end) {
    const std::size_t length = std::min(text.find(end), text.size());
    const std::string_view field = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    return field;
}

// "A;OICI;FA;;;BA", the inside of the parentheses.
DWORD ParseEntry(std::string_view text, ListBuilder& list) {
    std::string_view type = TakeField(text, ';'), flags = TakeField(text, ';');
    const std::string_view mask = TakeField(text, ';'), object = TakeField(text, ';'), inherited = TakeField(text, ';');
    const NamedBits* const kind = Take(kEntryTypes, type);
    if (kind == nullptr || !type.empty()) return ERROR_INVALID_ACL;
    const DWORD flagBits = TakeAll(kEntryFlags, flags);
    const std::optional<DWORD> bits = ParseMask(mask);
    if (!flags.empty() || !bits || !object.empty() || !inherited.empty()) return ERROR_INVALID_ACL;
    const std::optional<Bytes> sid = ParseSid(text);
    if (!sid) return ERROR_INVALID_SID;
    list.Add(BYTE(kind->value), BYTE(flagBits), *bits, *sid);
    return 0;
}

struct Draft {
    WORD control = 0;
    Bytes owner, group, sacl, dacl;
};

// The flags and entries behind "D:" or "S:", taken off the front of `text`.
DWORD TakeList(std::string_view& text, Table flags, WORD present, WORD& control, Bytes& result) {
    control |= present;
    bool isNull = false;
    for (bool more = true; more;) {
        const DWORD bits = TakeAll(flags, text);
        control |= WORD(bits);
        const bool null = text.starts_with(kNullList);
        if (null) text.remove_prefix(kNullList.size());
        isNull |= null;
        more = bits != 0 || null;
    }
    ListBuilder list;
    while (text.starts_with('(')) {
        text.remove_prefix(1);
        if (text.find(')') == text.npos) return ERROR_INVALID_ACL;
        if (const DWORD error = ParseEntry(TakeField(text, ')'), list)) return error;
    }
    std::optional<Bytes> bytes = list.Finish();
    if (!bytes || (isNull && list.Count() != 0)) return ERROR_INVALID_ACL;
    if (!isNull) result = std::move(*bytes);
    return 0;
}

// The identifier behind "O:" or "G:", taken off the front: it ends where the next "X:" begins.
DWORD TakeSid(std::string_view& text, Bytes& result) {
    const std::size_t colon = text.find(':');
    const std::size_t length = colon == text.npos ? text.size() : colon == 0 ? 0 : colon - 1;
    std::optional<Bytes> sid = ParseSid(text.substr(0, length));
    if (!sid) return ERROR_INVALID_SID;
    result = std::move(*sid);
    text.remove_prefix(length);
    return 0;
}

DWORD TakeComponent(std::string_view& text, Draft& draft) {
    if (text.size() < 2 || text[1] != ':') return ERROR_INVALID_PARAMETER;
    const char name = text::Upper(text[0]);
    text.remove_prefix(2);
    switch (name) {
        case 'O':
            return TakeSid(text, draft.owner);
        case 'G':
            return TakeSid(text, draft.group);
        case 'D':
            return TakeList(text, kDaclFlags, SE_DACL_PRESENT, draft.control, draft.dacl);
        case 'S':
            return TakeList(text, kSaclFlags, SE_SACL_PRESENT, draft.control, draft.sacl);
        default:
            return ERROR_INVALID_PARAMETER;
    }
}

}  // namespace

std::string SddlText(const Parts& parts, SECURITY_INFORMATION information) {
    std::string text;
    if ((information & OWNER_SECURITY_INFORMATION) != 0 && !parts.owner.empty())
        text += "O:" + SidShortText(parts.owner);
    if ((information & GROUP_SECURITY_INFORMATION) != 0 && !parts.group.empty())
        text += "G:" + SidShortText(parts.group);
    if ((information & DACL_SECURITY_INFORMATION) != 0 && parts.HasDacl()) {
        text += WriteList("D:", kDaclFlags, parts.control, parts.dacl);
    }
    if ((information & SACL_SECURITY_INFORMATION) != 0 && parts.HasSacl()) {
        text += WriteList("S:", kSaclFlags, parts.control, parts.sacl);
    }
    return text;
}

ParsedSddl ParseSddl(std::string_view text) {
    Draft draft;
    while (!text.empty()) {
        if (const DWORD error = TakeComponent(text, draft)) return {error, {}};
    }
    return {0, Write(Parts{draft.control, draft.owner, draft.group, draft.sacl, draft.dacl})};
}

}  // namespace embedded::security

namespace gate = embedded::gate;
namespace security = embedded::security;
using embedded::control::CallKind;
using security::Fail;

BOOL ConvertSecurityDescriptorToStringSecurityDescriptorA(PSECURITY_DESCRIPTOR descriptor, DWORD revision,
                                                          SECURITY_INFORMATION information, LPSTR* text,
                                                          PULONG length) {
    if (gate::Refuses(CallKind::Security, "ConvertSecurityDescriptorToStringSecurityDescriptorA")) return FALSE;
    if (text == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (revision != SDDL_REVISION_1) return Fail(ERROR_UNKNOWN_REVISION);
    const std::optional<security::Parts> parts = security::Read(descriptor);
    if (!parts) return Fail(ERROR_INVALID_SECURITY_DESCR);
    std::string result;  // the names of the machine's own accounts come from its store
    const DWORD error = security::Guarded([&]() -> DWORD {
        result = security::SddlText(*parts, information);
        return 0;
    });
    if (error != 0) return Fail(error);
    if (length != nullptr) *length = ULONG(result.size() + 1);
    return security::HandOutText(result, text);
}

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorA(LPCSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor,
                                                          PULONG size) {
    if (gate::Refuses(CallKind::Security, "ConvertStringSecurityDescriptorToSecurityDescriptorA")) return FALSE;
    if (text == nullptr || descriptor == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (revision != SDDL_REVISION_1) return Fail(ERROR_UNKNOWN_REVISION);
    security::ParsedSddl parsed;
    const DWORD error = security::Guarded([&]() -> DWORD {
        parsed = security::ParseSddl(text);
        return parsed.error;
    });
    if (error != 0) return Fail(error);
    if (size != nullptr) *size = ULONG(parsed.descriptor.size());
    return security::HandOut(parsed.descriptor, descriptor);
}
