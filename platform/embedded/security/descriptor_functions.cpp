// The exported functions on security descriptors.
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/security/descriptor.h"

using embedded::control::CallKind;
namespace gate = embedded::gate;
namespace security = embedded::security;
using security::ByteView;
using security::Fail;
using security::Parts;

namespace {

constexpr WORD kInheritanceBits = SE_DACL_AUTO_INHERIT_REQ | SE_SACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED |
                                  SE_SACL_AUTO_INHERITED | SE_DACL_PROTECTED | SE_SACL_PROTECTED;

// The descriptor behind a caller's pointer, if it is one of a known revision; the last error is set otherwise.
SECURITY_DESCRIPTOR* Known(PSECURITY_DESCRIPTOR descriptor) {
    auto* const known = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    if (known != nullptr && known->Revision == SECURITY_DESCRIPTOR_REVISION) return known;
    SetLastError(known == nullptr ? ERROR_INVALID_PARAMETER : ERROR_UNKNOWN_REVISION);
    return nullptr;
}

// The same for setters: they keep pointers, which only the absolute form can.
SECURITY_DESCRIPTOR* KnownAbsolute(PSECURITY_DESCRIPTOR descriptor) {
    SECURITY_DESCRIPTOR* const known = Known(descriptor);
    if (known == nullptr || (known->Control & SE_SELF_RELATIVE) == 0) return known;
    SetLastError(ERROR_INVALID_SECURITY_DESCR);
    return nullptr;
}

enum class Part { Owner, Group, Sacl, Dacl };

// Where a part of a known descriptor stands, as its two forms keep it; null when there is none. Nothing is looked at,
// as the caller may be about to check it.
void* Locate(SECURITY_DESCRIPTOR& descriptor, Part part) {
    if ((descriptor.Control & SE_SELF_RELATIVE) == 0) {
        void* const parts[] = {descriptor.Owner, descriptor.Group, descriptor.Sacl, descriptor.Dacl};
        return parts[int(part)];
    }
    auto* const base = reinterpret_cast<BYTE*>(&descriptor);
    const auto header =
        security::NumberAt<SECURITY_DESCRIPTOR_RELATIVE>({base, sizeof(SECURITY_DESCRIPTOR_RELATIVE)}, 0);
    const DWORD offsets[] = {header.Owner, header.Group, header.Sacl, header.Dacl};
    const DWORD offset = offsets[int(part)];
    return offset == 0 || offset >= security::kFarthestPart ? nullptr : base + offset;
}

void PutBit(WORD& control, WORD bit, BOOL on) { control = WORD(on != FALSE ? control | bit : control & ~bit); }

BOOL GetList(PSECURITY_DESCRIPTOR descriptor, Part part, WORD presentBit, WORD defaultedBit, LPBOOL present, PACL* list,
             LPBOOL defaulted) {
    SECURITY_DESCRIPTOR* const known = Known(descriptor);
    if (known == nullptr) return FALSE;
    if (present == nullptr || list == nullptr || defaulted == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    *present = (known->Control & presentBit) != 0;
    if (*present == FALSE) return TRUE;  // Windows leaves the other two alone
    *list = static_cast<PACL>(Locate(*known, part));
    *defaulted = (known->Control & defaultedBit) != 0;
    return TRUE;
}

BOOL SetList(PSECURITY_DESCRIPTOR descriptor, PACL SECURITY_DESCRIPTOR::*field, WORD presentBit, WORD defaultedBit,
             BOOL present, PACL list, BOOL defaulted) {
    SECURITY_DESCRIPTOR* const known = KnownAbsolute(descriptor);
    if (known == nullptr) return FALSE;
    PutBit(known->Control, presentBit, present);
    if (present == FALSE) return TRUE;  // the other two arguments count for nothing
    PutBit(known->Control, defaultedBit, defaulted);
    known->*field = list;
    return TRUE;
}

BOOL GetSid(PSECURITY_DESCRIPTOR descriptor, Part part, WORD defaultedBit, PSID* sid, LPBOOL defaulted) {
    SECURITY_DESCRIPTOR* const known = Known(descriptor);
    if (known == nullptr) return FALSE;
    if (sid == nullptr || defaulted == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    *sid = Locate(*known, part);
    *defaulted = (known->Control & defaultedBit) != 0;
    return TRUE;
}

BOOL SetSid(PSECURITY_DESCRIPTOR descriptor, PSID SECURITY_DESCRIPTOR::*field, WORD defaultedBit, PSID sid,
            BOOL defaulted) {
    SECURITY_DESCRIPTOR* const known = KnownAbsolute(descriptor);
    if (known == nullptr) return FALSE;
    known->*field = sid;
    PutBit(known->Control, defaultedBit, defaulted);
    return TRUE;
}

// One part of MakeAbsoluteSD: stores the size that it needs and answers whether the caller's room does.
bool HasRoom(std::size_t needed, const void* buffer, LPDWORD size) {
    const bool fits = needed == 0 || (buffer != nullptr && *size >= needed);
    *size = DWORD(needed);
    return fits;
}

template <class Pointer>
Pointer PutPart(ByteView part, Pointer buffer) {
    if (part.empty()) return nullptr;
    std::copy(part.begin(), part.end(), reinterpret_cast<BYTE*>(buffer));
    return buffer;
}

}  // namespace

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
    if (gate::Refuses(CallKind::Security, "InitializeSecurityDescriptor")) return FALSE;
    if (descriptor == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (revision != SECURITY_DESCRIPTOR_REVISION) return Fail(ERROR_UNKNOWN_REVISION);
    *static_cast<SECURITY_DESCRIPTOR*>(descriptor) = {
        SECURITY_DESCRIPTOR_REVISION, 0, 0, nullptr, nullptr, nullptr, nullptr};
    return TRUE;
}

BOOL IsValidSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor) {
    if (gate::Refuses(CallKind::Security, "IsValidSecurityDescriptor")) return FALSE;
    return security::Read(descriptor) ? TRUE : Fail(ERROR_INVALID_SECURITY_DESCR);
}

DWORD GetSecurityDescriptorLength(PSECURITY_DESCRIPTOR descriptor) {
    if (descriptor == nullptr) return 0;
    const std::optional<Parts> parts = security::Read(descriptor);
    if (!parts) return 0;
    const DWORD whole = DWORD(security::Write(*parts).size());
    const bool absolute = (static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Control & SE_SELF_RELATIVE) == 0;
    return absolute ? whole + DWORD(sizeof(SECURITY_DESCRIPTOR) - sizeof(SECURITY_DESCRIPTOR_RELATIVE)) : whole;
}

BOOL GetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor, PSECURITY_DESCRIPTOR_CONTROL control,
                                  LPDWORD revision) {
    if (gate::Refuses(CallKind::Security, "GetSecurityDescriptorControl")) return FALSE;
    if (descriptor == nullptr || control == nullptr || revision == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    *revision = static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Revision;
    if (Known(descriptor) == nullptr) return FALSE;
    *control = static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Control;
    return TRUE;
}

BOOL SetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor, SECURITY_DESCRIPTOR_CONTROL bitsOfInterest,
                                  SECURITY_DESCRIPTOR_CONTROL bitsToSet) {
    if (gate::Refuses(CallKind::Security, "SetSecurityDescriptorControl")) return FALSE;
    SECURITY_DESCRIPTOR* const known = Known(descriptor);
    if (known == nullptr) return FALSE;
    if ((bitsOfInterest & ~kInheritanceBits) != 0 || (bitsToSet & ~bitsOfInterest) != 0) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    known->Control = WORD((known->Control & ~bitsOfInterest) | bitsToSet);
    return TRUE;
}

BOOL GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* list, LPBOOL defaulted) {
    if (gate::Refuses(CallKind::Security, "GetSecurityDescriptorDacl")) return FALSE;
    return GetList(descriptor, Part::Dacl, SE_DACL_PRESENT, SE_DACL_DEFAULTED, present, list, defaulted);
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list, BOOL defaulted) {
    if (gate::Refuses(CallKind::Security, "SetSecurityDescriptorDacl")) return FALSE;
    return SetList(descriptor, &SECURITY_DESCRIPTOR::Dacl, SE_DACL_PRESENT, SE_DACL_DEFAULTED, present, list,
                   defaulted);
}

BOOL GetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* list, LPBOOL defaulted) {
    if (gate::Refuses(CallKind::Security, "GetSecurityDescriptorSacl")) return FALSE;
    return GetList(descriptor, Part::Sacl, SE_SACL_PRESENT, SE_SACL_DEFAULTED, present, list, defaulted);
}

BOOL SetSecurityDescriptorSacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list, BOOL defaulted) {
    if (gate::Refuses(CallKind::Security, "SetSecurityDescriptorSacl")) return FALSE;
    return SetList(descriptor, &SECURITY_DESCRIPTOR::Sacl, SE_SACL_PRESENT, SE_SACL_DEFAULTED, present, list,
                   defaulted);
}

BOOL GetSecurityDescriptorOwner(PSECURITY_DESCRIPTOR descriptor, PSID* owner, LPBOOL defaulted) {
    if (gate::Refuses(CallKind::Security, "GetSecurityDescriptorOwner")) return FALSE;
    return GetSid(descriptor, Part::Owner, SE_OWNER_DEFAULTED, owner, defaulted);
}

BOOL SetSecurityDescriptorOwner(PSECURITY_DESCRIPTOR descriptor, PSID owner, BOOL defaulted) {
    if (gate::Refuses(CallKind::Security, "SetSecurityDescriptorOwner")) return FALSE;
    return SetSid(descriptor, &SECURITY_DESCRIPTOR::Owner, SE_OWNER_DEFAULTED, owner, defaulted);
}

BOOL GetSecurityDescriptorGroup(PSECURITY_DESCRIPTOR descriptor, PSID* group, LPBOOL defaulted) {
    if (gate::Refuses(CallKind::Security, "GetSecurityDescriptorGroup")) return FALSE;
    return GetSid(descriptor, Part::Group, SE_GROUP_DEFAULTED, group, defaulted);
}

BOOL SetSecurityDescriptorGroup(PSECURITY_DESCRIPTOR descriptor, PSID group, BOOL defaulted) {
    if (gate::Refuses(CallKind::Security, "SetSecurityDescriptorGroup")) return FALSE;
    return SetSid(descriptor, &SECURITY_DESCRIPTOR::Group, SE_GROUP_DEFAULTED, group, defaulted);
}

BOOL MakeAbsoluteSD(PSECURITY_DESCRIPTOR selfRelative, PSECURITY_DESCRIPTOR absolute, LPDWORD absoluteSize, PACL dacl,
                    LPDWORD daclSize, PACL sacl, LPDWORD saclSize, PSID owner, LPDWORD ownerSize, PSID group,
                    LPDWORD groupSize) {
    if (gate::Refuses(CallKind::Security, "MakeAbsoluteSD")) return FALSE;
    const SECURITY_DESCRIPTOR* const known = Known(selfRelative);
    if (known == nullptr) return FALSE;
    if ((known->Control & SE_SELF_RELATIVE) == 0) return Fail(ERROR_BAD_DESCRIPTOR_FORMAT);
    if (!absoluteSize || !daclSize || !saclSize || !ownerSize || !groupSize) return Fail(ERROR_INVALID_PARAMETER);
    const std::optional<Parts> parts = security::Read(selfRelative);
    if (!parts) return Fail(ERROR_INVALID_SECURITY_DESCR);
    bool fits = HasRoom(sizeof(SECURITY_DESCRIPTOR), absolute, absoluteSize);
    fits &= HasRoom(parts->dacl.size(), dacl, daclSize);
    fits &= HasRoom(parts->sacl.size(), sacl, saclSize);
    fits &= HasRoom(parts->owner.size(), owner, ownerSize);
    fits &= HasRoom(parts->group.size(), group, groupSize);
    if (!fits) return Fail(ERROR_INSUFFICIENT_BUFFER);
    *static_cast<SECURITY_DESCRIPTOR*>(absolute) = {SECURITY_DESCRIPTOR_REVISION,
                                                    0,
                                                    parts->control,
                                                    PutPart(parts->owner, owner),
                                                    PutPart(parts->group, group),
                                                    PutPart(parts->sacl, sacl),
                                                    PutPart(parts->dacl, dacl)};
    return TRUE;
}

BOOL MakeSelfRelativeSD(PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR selfRelative, LPDWORD size) {
    if (gate::Refuses(CallKind::Security, "MakeSelfRelativeSD")) return FALSE;
    const SECURITY_DESCRIPTOR* const known = Known(absolute);
    if (known == nullptr) return FALSE;
    if (size == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if ((known->Control & SE_SELF_RELATIVE) != 0) return Fail(ERROR_BAD_DESCRIPTOR_FORMAT);
    const std::optional<Parts> parts = security::Read(absolute);
    if (!parts) return Fail(ERROR_INVALID_SECURITY_DESCR);
    return security::FillBuffer(security::Write(*parts), selfRelative, *size, size);
}
