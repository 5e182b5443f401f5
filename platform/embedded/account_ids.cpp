#include "platform/embedded/account_ids.h"

#include <charconv>
#include <cstring>

namespace embedded::accounts {
namespace {

constexpr BYTE kRevision = 1;
constexpr std::size_t kMostParts = 15;
constexpr std::size_t kHeader = 8;  // revision, count, six bytes of authority with the highest first

DWORD PartAt(const Bytes& sid, std::size_t index) {
    DWORD part = 0;
    std::memcpy(&part, sid.data() + kHeader + index * sizeof part, sizeof part);
    return part;
}

void Append(Bytes& sid, DWORD part) {
    const auto* const bytes = reinterpret_cast<const BYTE*>(&part);
    sid.insert(sid.end(), bytes, bytes + sizeof part);
    ++sid[1];
}

// Reads a decimal number that ends at a hyphen or the end, and steps over the hyphen.
bool TakeNumber(std::string_view& text, DWORD& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return false;
    text.remove_prefix(std::size_t(end - text.data()));
    if (text.empty()) return true;
    if (text.front() != '-') return false;
    text.remove_prefix(1);
    return !text.empty();
}

}  // namespace

Bytes MakeSid(BYTE authority, std::initializer_list<DWORD> parts) {
    Bytes sid = {kRevision, 0, 0, 0, 0, 0, 0, authority};
    for (const DWORD part : parts) Append(sid, part);
    return sid;
}

Bytes BuiltinSid(DWORD rid) { return MakeSid(5, {32, rid}); }

Bytes WithRid(const Bytes& domain, DWORD rid) {
    Bytes sid = domain;
    Append(sid, rid);
    return sid;
}

std::optional<DWORD> RidOf(const Bytes& sid) {
    if (sid.size() <= kHeader) return std::nullopt;
    return PartAt(sid, std::size_t(sid[1]) - 1);
}

Bytes DomainOf(const Bytes& sid) {
    if (sid.size() <= kHeader) return {};
    Bytes domain(sid.begin(), sid.end() - sizeof(DWORD));
    --domain[1];
    return domain;
}

bool IsSid(const Bytes& bytes) {
    return bytes.size() >= kHeader && bytes[0] == kRevision && bytes[1] <= kMostParts &&
           bytes.size() == kHeader + std::size_t(bytes[1]) * sizeof(DWORD);
}

Bytes CopyOf(const void* sid) {
    const auto* const bytes = static_cast<const BYTE*>(sid);
    if (bytes == nullptr || bytes[0] != kRevision || bytes[1] > kMostParts) return {};
    return Bytes(bytes, bytes + kHeader + std::size_t(bytes[1]) * sizeof(DWORD));
}

std::string SidText(const Bytes& sid) {
    if (sid.size() < kHeader) return {};
    unsigned long long authority = 0;
    for (std::size_t i = 2; i < kHeader; ++i) authority = authority << 8 | sid[i];
    std::string text = "S-1-" + std::to_string(authority);
    for (std::size_t i = 0; i < sid[1]; ++i) text += '-' + std::to_string(PartAt(sid, i));
    return text;
}

Bytes SidFromText(std::string_view text) {
    if (!text.starts_with("S-1-")) return {};
    text.remove_prefix(4);
    DWORD number = 0;
    if (!TakeNumber(text, number)) return {};
    Bytes sid = {kRevision, 0, 0, 0, BYTE(number >> 24), BYTE(number >> 16), BYTE(number >> 8), BYTE(number)};
    while (!text.empty()) {
        if (sid[1] == kMostParts || !TakeNumber(text, number)) return {};
        Append(sid, number);
    }
    return sid;
}

}  // namespace embedded::accounts
