// Security as text (SDDL): "O:BAG:SYD:P(A;CI;KA;;;BA)". The machine's own defaults are written so, too.
#ifndef INSTALIB_EMBEDDED_SECURITY_SDDL_H
#define INSTALIB_EMBEDDED_SECURITY_SDDL_H

#include "platform/embedded/security/descriptor.h"

namespace embedded::security {

// The parts that `information` names.
std::string SddlText(const Parts& parts, SECURITY_INFORMATION information);

// A self-relative descriptor, or the Windows error of the text.
struct ParsedSddl {
    DWORD error = 0;
    Bytes descriptor;
};
ParsedSddl ParseSddl(std::string_view text);

}  // namespace embedded::security

#endif
