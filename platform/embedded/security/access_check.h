// The decision that every access check comes down to.
#ifndef INSTALIB_EMBEDDED_SECURITY_ACCESS_CHECK_H
#define INSTALIB_EMBEDDED_SECURITY_ACCESS_CHECK_H

#include "platform/embedded/security/access.h"
#include "platform/embedded/security/descriptor.h"
#include "platform/embedded/security/token.h"

namespace embedded::security {

// Replaces generic bits by what they mean for a kind of object.
DWORD MapGeneric(DWORD mask, const GENERIC_MAPPING& mapping);
const GENERIC_MAPPING& MappingOf(access::ObjectType type);

struct Decision {
    DWORD error = ERROR_ACCESS_DENIED;  // 0 when access is granted
    DWORD granted = 0;
    std::uint64_t usedPrivileges = 0;
};

// `desired` has no generic bits. Those in the entries are mapped: a descriptor may come from a store that kept them.
Decision Decide(const Parts& parts, const Token& token, DWORD desired, const GENERIC_MAPPING& mapping);

// Everything the entries of a list give to whom `isAllowed` and `isDenied` speak of, in the order of the list.
template <class IsAllowed, class IsDenied>
DWORD MaximumOf(ByteView list, const GENERIC_MAPPING& mapping, IsAllowed isAllowed, IsDenied isDenied) {
    DWORD granted = 0, denied = 0;
    EntryReader reader(list);
    for (Entry entry; reader.Next(entry);) {
        if (!entry.IsEffective()) continue;
        const DWORD mask = MapGeneric(entry.mask, mapping);
        if (entry.Allows() && isAllowed(entry.sid)) granted |= mask & ~denied;
        if (entry.Denies() && isDenied(entry.sid)) denied |= mask & ~granted;
    }
    return granted;
}

}  // namespace embedded::security

#endif
