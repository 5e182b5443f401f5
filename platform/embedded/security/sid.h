// The room security/: identifiers, access lists, descriptors, tokens and the access check.
//
// Security identifiers in binary form, read from memory that nobody vouches for.
#ifndef INSTALIB_EMBEDDED_SECURITY_SID_H
#define INSTALIB_EMBEDDED_SECURITY_SID_H

#include <cstring>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/embedded/api/tokens.h"
#include "platform/embedded/store/store.h"

namespace embedded::security {

using ByteView = std::span<const BYTE>;

inline bool Equal(ByteView left, ByteView right) {
    return left.size() == right.size() && std::memcmp(left.data(), right.data(), left.size()) == 0;
}
inline Bytes Copy(ByteView view) { return Bytes(view.begin(), view.end()); }

// A number in memory that may not be aligned; the caller has checked that it is there.
template <class Number>
Number NumberAt(ByteView bytes, std::size_t offset) {
    Number number;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

// The identifier at an offset, without what follows it; empty when no valid one fits there.
ByteView SidAt(ByteView bytes, std::size_t offset);
// The same for a caller's pointer. No more than its own count says is read.
ByteView SidOf(const void* sid);

// S-1-authority-...
Bytes MakeSid(BYTE authority, std::initializer_list<DWORD> subAuthorities);

// S-1-5-32-rid: a group that every machine has. Whoever needs the identifier of one makes it here or has it below.
Bytes BuiltinSid(DWORD rid);

namespace well_known {
extern const Bytes kEveryone;        // S-1-1-0
extern const Bytes kLocal;           // S-1-2-0
extern const Bytes kCreatorOwner;    // S-1-3-0
extern const Bytes kCreatorGroup;    // S-1-3-1
extern const Bytes kOwnerRights;     // S-1-3-4
extern const Bytes kInteractive;     // S-1-5-4
extern const Bytes kAuthenticated;   // S-1-5-11
extern const Bytes kSystem;          // S-1-5-18
extern const Bytes kAdministrators;  // S-1-5-32-544
}  // namespace well_known

// "S-1-5-32-544".
std::string SidText(ByteView sid);
// A two-letter name where there is one ("BA"), otherwise the same; for SDDL.
std::string SidShortText(ByteView sid);
// Both forms, in any letter case; nothing for any other text.
std::optional<Bytes> ParseSid(std::string_view text);

}  // namespace embedded::security

#endif
