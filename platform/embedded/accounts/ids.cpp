#include "platform/embedded/accounts/ids.h"

#include <cstring>

namespace embedded::accounts {
namespace {

constexpr std::size_t kHeader = 8;  // revision, count of the parts, authority

}  // namespace

Bytes WithRid(const Bytes& domain, DWORD rid) {
    Bytes sid = domain;
    const auto* const bytes = reinterpret_cast<const BYTE*>(&rid);
    sid.insert(sid.end(), bytes, bytes + sizeof rid);
    ++sid[1];
    return sid;
}

std::optional<DWORD> RidOf(const Bytes& sid) {
    if (sid.size() <= kHeader) return std::nullopt;
    return security::NumberAt<DWORD>(sid, sid.size() - sizeof(DWORD));
}

Bytes DomainOf(const Bytes& sid) {
    if (sid.size() <= kHeader) return {};
    Bytes domain(sid.begin(), sid.end() - sizeof(DWORD));
    --domain[1];
    return domain;
}

}  // namespace embedded::accounts
