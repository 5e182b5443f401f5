// How the descriptor of an object changes, for private objects and for the machine's own.
#ifndef INSTALIB_EMBEDDED_SECURITY_PRIVATE_OBJECT_H
#define INSTALIB_EMBEDDED_SECURITY_PRIVATE_OBJECT_H

#include "platform/embedded/security/descriptor.h"
#include "platform/embedded/security/token.h"

namespace embedded::security {

// `old` with the parts that `information` names taken from `change`, as access::Modify describes it.
DWORD Modify(const Parts& old, const Parts& change, SECURITY_INFORMATION information, const Token& token,
             const GENERIC_MAPPING& mapping, bool isContainer, Bytes* result);

}  // namespace embedded::security

#endif
