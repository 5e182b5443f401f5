// Security identifiers in binary form, as the machine's own code handles them.
#ifndef INSTALIB_EMBEDDED_ACCOUNTS_IDS_H
#define INSTALIB_EMBEDDED_ACCOUNTS_IDS_H

#include "platform/embedded/security/sid.h"

namespace embedded::accounts {

inline constexpr DWORD kAdministrators = 544;
inline constexpr DWORD kUsers = 545;
inline constexpr DWORD kGuests = 546;
inline constexpr DWORD kBackupOperators = 551;
inline constexpr DWORD kAdministratorUser = 500;
inline constexpr DWORD kGuestUser = 501;
inline constexpr DWORD kDomainAdmins = 512;
inline constexpr DWORD kDomainUsers = 513;
inline constexpr DWORD kDomainGuests = 514;

using security::BuiltinSid;
using security::MakeSid;
using security::SidText;

Bytes WithRid(const Bytes& domain, DWORD rid);
// The last part and what stands before it; nothing for an identifier without parts.
std::optional<DWORD> RidOf(const Bytes& sid);
Bytes DomainOf(const Bytes& sid);
// Whether the bytes are one whole identifier.
inline bool IsSid(const Bytes& bytes) { return !bytes.empty() && security::SidAt(bytes, 0).size() == bytes.size(); }
// A copy of a caller's identifier; empty when it is null or none.
inline Bytes CopyOf(const void* sid) { return security::Copy(security::SidOf(sid)); }
// Empty when the text is no identifier.
inline Bytes SidFromText(std::string_view text) { return security::ParseSid(text).value_or(Bytes()); }

}  // namespace embedded::accounts

#endif
