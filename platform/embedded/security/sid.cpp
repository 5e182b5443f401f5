#include "platform/embedded/security/sid.h"

#include <charconv>

#include "platform/embedded/accounts/store.h"
#include "platform/embedded/core/text.h"

namespace embedded::security {
namespace {

constexpr std::size_t kHeader = 8;
constexpr BYTE kNt = 5;
constexpr DWORD kBuiltin = SECURITY_BUILTIN_DOMAIN_RID;

struct ShortName {
    char name[3];
    BYTE authority;
    DWORD first;
    DWORD second;  // below the built-in domain
};

// sddl.h of the Windows SDK.
constexpr ShortName kShortNames[] = {
    {"WD", 1, 0, 0},
    {"CO", 3, 0, 0},
    {"CG", 3, 1, 0},
    {"OW", 3, 4, 0},
    {"NU", kNt, 2, 0},
    {"IU", kNt, 4, 0},
    {"SU", kNt, 6, 0},
    {"AN", kNt, 7, 0},
    {"ED", kNt, 9, 0},
    {"PS", kNt, 10, 0},
    {"AU", kNt, 11, 0},
    {"RC", kNt, 12, 0},
    {"SY", kNt, 18, 0},
    {"LS", kNt, 19, 0},
    {"NS", kNt, 20, 0},
    {"WR", kNt, 33, 0},
    {"BA", kNt, kBuiltin, 544},
    {"BU", kNt, kBuiltin, 545},
    {"BG", kNt, kBuiltin, 546},
    {"PU", kNt, kBuiltin, 547},
    {"AO", kNt, kBuiltin, 548},
    {"SO", kNt, kBuiltin, 549},
    {"PO", kNt, kBuiltin, 550},
    {"BO", kNt, kBuiltin, 551},
    {"RE", kNt, kBuiltin, 552},
    {"RU", kNt, kBuiltin, 554},
    {"RD", kNt, kBuiltin, 555},
    {"NO", kNt, kBuiltin, 556},
    {"MU", kNt, kBuiltin, 558},
    {"LU", kNt, kBuiltin, 559},
    {"IS", kNt, kBuiltin, 568},
    {"CY", kNt, kBuiltin, 569},
    {"ER", kNt, kBuiltin, 573},
    {"CD", kNt, kBuiltin, 574},
};

// Names below the machine's own domain.
struct MachineName {
    char name[3];
    DWORD relative;
};
constexpr MachineName kMachineNames[] = {{"LA", DOMAIN_USER_RID_ADMIN}, {"LG", DOMAIN_USER_RID_GUEST}};

Bytes SidOfName(const ShortName& row) {
    return row.second == 0 ? MakeSid(row.authority, {row.first}) : MakeSid(row.authority, {row.first, row.second});
}

Bytes Below(Bytes domain, DWORD relative) {
    if (SidAt(domain, 0).empty() || domain[1] >= SID_MAX_SUB_AUTHORITIES) return {};
    ++domain[1];
    const auto* bytes = reinterpret_cast<const BYTE*>(&relative);
    domain.insert(domain.end(), bytes, bytes + sizeof relative);
    return domain;
}

// A decimal or hexadecimal number up to `limit` at the front of `text`, which is shortened by it and a following '-'.
bool TakeNumber(std::string_view& text, std::uint64_t limit, std::uint64_t& number) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || number > limit) return false;
    text.remove_prefix(std::size_t(end - text.data()));
    if (text.empty()) return true;
    if (text.front() != '-' || text.size() == 1) return false;
    text.remove_prefix(1);
    return true;
}

std::optional<Bytes> ParseNumericSid(std::string_view text) {
    std::uint64_t authority = 0;
    if (!TakeNumber(text, (std::uint64_t(1) << 48) - 1, authority) || text.empty()) return std::nullopt;
    Bytes sid = {SID_REVISION, 0};
    for (int shift = 40; shift >= 0; shift -= 8) sid.push_back(BYTE(authority >> shift));
    while (!text.empty()) {
        std::uint64_t number = 0;
        if (!TakeNumber(text, 0xFFFFFFFFu, number)) return std::nullopt;
        sid = Below(std::move(sid), DWORD(number));
        if (sid.empty()) return std::nullopt;
    }
    return sid;
}

}  // namespace

Bytes BuiltinSid(DWORD rid) { return MakeSid(kNt, {kBuiltin, rid}); }

namespace well_known {
const Bytes kEveryone = MakeSid(1, {SECURITY_WORLD_RID});
const Bytes kLocal = MakeSid(2, {0});
const Bytes kCreatorOwner = MakeSid(3, {SECURITY_CREATOR_OWNER_RID});
const Bytes kCreatorGroup = MakeSid(3, {SECURITY_CREATOR_GROUP_RID});
const Bytes kOwnerRights = MakeSid(3, {SECURITY_CREATOR_OWNER_RIGHTS_RID});
const Bytes kInteractive = MakeSid(kNt, {4});
const Bytes kAuthenticated = MakeSid(kNt, {SECURITY_AUTHENTICATED_USER_RID});
const Bytes kSystem = MakeSid(kNt, {SECURITY_LOCAL_SYSTEM_RID});
const Bytes kAdministrators = BuiltinSid(DOMAIN_ALIAS_RID_ADMINS);
}  // namespace well_known

ByteView SidAt(ByteView bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < kHeader) return {};
    const ByteView rest = bytes.subspan(offset);
    if (rest[0] != SID_REVISION || rest[1] > SID_MAX_SUB_AUTHORITIES) return {};
    const std::size_t length = kHeader + 4 * std::size_t(rest[1]);
    return length <= rest.size() ? rest.first(length) : ByteView();
}

ByteView SidOf(const void* sid) {
    if (sid == nullptr) return {};
    return SidAt({static_cast<const BYTE*>(sid), SECURITY_MAX_SID_SIZE}, 0);
}

Bytes MakeSid(BYTE authority, std::initializer_list<DWORD> subAuthorities) {
    Bytes sid = {SID_REVISION, 0, 0, 0, 0, 0, 0, authority};
    for (const DWORD number : subAuthorities) sid = Below(std::move(sid), number);
    return sid;
}

std::string SidText(ByteView sid) {
    // What is no identifier has no text.
    if (sid.size() < kHeader || sid.size() < kHeader + sid[1] * sizeof(DWORD)) return {};
    if (sid.size() < kHeader) return {};
    std::uint64_t authority = 0;
    for (std::size_t i = 2; i < kHeader; ++i) authority = authority << 8 | sid[i];
    std::string text = "S-1-" + std::to_string(authority);  // Windows writes large authorities in hexadecimal
    if (authority > 0xFFFFFFFFu) {
        char digits[32];
        const auto end = std::to_chars(digits, digits + sizeof digits, authority, 16).ptr;
        text = "S-1-0x" + text::Upper(std::string_view(digits, std::size_t(end - digits)));
    }
    for (std::size_t offset = kHeader; offset < sid.size(); offset += 4) {
        text += '-' + std::to_string(NumberAt<DWORD>(sid, offset));
    }
    return text;
}

std::string SidShortText(ByteView sid) {
    for (const ShortName& row : kShortNames) {
        if (Equal(SidOfName(row), sid)) return row.name;
    }
    if (sid.size() == 28 && sid[7] == kNt) {
        const Bytes domain = accounts::MachineSid(*world::Local());
        for (const MachineName& row : kMachineNames) {
            if (Equal(Below(domain, row.relative), sid)) return row.name;
        }
    }
    return SidText(sid);
}

std::optional<Bytes> ParseSid(std::string_view text) {
    if (text.size() > 4 && text::EqualNoCase(text.substr(0, 4), "S-1-")) return ParseNumericSid(text.substr(4));
    for (const ShortName& row : kShortNames) {
        if (text::EqualNoCase(text, row.name)) return SidOfName(row);
    }
    for (const MachineName& row : kMachineNames) {
        if (text::EqualNoCase(text, row.name)) return Below(accounts::MachineSid(*world::Local()), row.relative);
    }
    return std::nullopt;
}

}  // namespace embedded::security
