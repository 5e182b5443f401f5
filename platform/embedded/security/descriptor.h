// Security descriptors, absolute and self-relative, read from memory that nobody vouches for.
#ifndef INSTALIB_EMBEDDED_SECURITY_DESCRIPTOR_H
#define INSTALIB_EMBEDDED_SECURITY_DESCRIPTOR_H

#include "platform/embedded/security/acl.h"

namespace embedded::security {

// The parts of a descriptor, as views of where they stand. An empty identifier is none. A list that is empty although
// its bit in `control` is set is a null list: it grants everything, while a list without entries grants nothing.
struct Parts {
    WORD control = 0;  // without SE_SELF_RELATIVE
    ByteView owner;
    ByteView group;
    ByteView sacl;
    ByteView dacl;

    bool HasDacl() const { return (control & SE_DACL_PRESENT) != 0; }
    bool HasSacl() const { return (control & SE_SACL_PRESENT) != 0; }
    bool IsProtected() const { return (control & SE_DACL_PROTECTED) != 0; }
    void SetDacl(ByteView list) {
        dacl = list;
        control |= SE_DACL_PRESENT;
    }
};

// The parts of a self-relative descriptor of known length; nothing when any of them is damaged or lies outside.
std::optional<Parts> Read(ByteView selfRelative);
// The parts of a caller's descriptor in either form. A self-relative one has no length of its own: its parts are looked
// for within kFarthestPart bytes, further than any real descriptor reaches.
std::optional<Parts> Read(PSECURITY_DESCRIPTOR descriptor);
inline constexpr std::size_t kFarthestPart = 0x40000;

// The self-relative form, which is what the store keeps.
Bytes Write(const Parts& parts);

// Only the parts that `information` names, as the calls that read security answer.
Parts Select(const Parts& parts, SECURITY_INFORMATION information);
// `old` with the parts that `information` names taken from `change`, PROTECTED_ and UNPROTECTED_ bits heeded. A list
// that is new counts as inherited automatically only when `change` asks for that, too (SE_DACL_AUTO_INHERIT_REQ).
Parts Merge(const Parts& old, const Parts& change, SECURITY_INFORMATION information);

}  // namespace embedded::security

#endif
