#include "platform/embedded/security/descriptor.h"

namespace embedded::security {
namespace {

constexpr WORD kDaclBits =
    SE_DACL_PRESENT | SE_DACL_DEFAULTED | SE_DACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED | SE_DACL_PROTECTED;
constexpr WORD kSaclBits =
    SE_SACL_PRESENT | SE_SACL_DEFAULTED | SE_SACL_AUTO_INHERIT_REQ | SE_SACL_AUTO_INHERITED | SE_SACL_PROTECTED;

// The parts once their identifiers and lists have been looked at; nothing when one that is named is not valid.
std::optional<Parts> Checked(const Parts& parts, bool hasOwner, bool hasGroup, bool hasSacl, bool hasDacl) {
    if (hasOwner == parts.owner.empty() || hasGroup == parts.group.empty()) return std::nullopt;
    if (hasSacl && !IsValidList(parts.sacl)) return std::nullopt;
    if (hasDacl && !IsValidList(parts.dacl)) return std::nullopt;
    return parts;
}

std::optional<Parts> ReadAbsolute(const SECURITY_DESCRIPTOR& descriptor) {
    Parts parts;
    parts.control = descriptor.Control;
    const PACL sacl = parts.HasSacl() ? descriptor.Sacl : nullptr;
    const PACL dacl = parts.HasDacl() ? descriptor.Dacl : nullptr;
    parts.owner = SidOf(descriptor.Owner);
    parts.group = SidOf(descriptor.Group);
    parts.sacl = ListOf(sacl);
    parts.dacl = ListOf(dacl);
    return Checked(parts, descriptor.Owner != nullptr, descriptor.Group != nullptr, sacl != nullptr, dacl != nullptr);
}

WORD Replace(WORD control, WORD bits, WORD by) { return WORD((control & ~bits) | (by & bits)); }

// What a changed list's "inherited automatically" becomes: it needs the request beside it, which is not kept.
WORD WithoutRequests(WORD control) {
    if ((control & SE_DACL_AUTO_INHERIT_REQ) == 0) control &= WORD(~SE_DACL_AUTO_INHERITED);
    if ((control & SE_SACL_AUTO_INHERIT_REQ) == 0) control &= WORD(~SE_SACL_AUTO_INHERITED);
    return WORD(control & ~(SE_DACL_AUTO_INHERIT_REQ | SE_SACL_AUTO_INHERIT_REQ));
}

void CopyParts(Parts& result, const Parts& from, WORD control, SECURITY_INFORMATION information) {
    if ((information & OWNER_SECURITY_INFORMATION) != 0) {
        result.owner = from.owner;
        result.control = Replace(result.control, SE_OWNER_DEFAULTED, control);
    }
    if ((information & GROUP_SECURITY_INFORMATION) != 0) {
        result.group = from.group;
        result.control = Replace(result.control, SE_GROUP_DEFAULTED, control);
    }
    if ((information & DACL_SECURITY_INFORMATION) != 0) {
        result.dacl = from.dacl;
        result.control = Replace(result.control, kDaclBits, control);
    }
    if ((information & SACL_SECURITY_INFORMATION) != 0) {
        result.sacl = from.sacl;
        result.control = Replace(result.control, kSaclBits, control);
    }
}

}  // namespace

std::optional<Parts> Read(ByteView selfRelative) {
    if (selfRelative.size() < sizeof(SECURITY_DESCRIPTOR_RELATIVE)) return std::nullopt;
    const auto header = NumberAt<SECURITY_DESCRIPTOR_RELATIVE>(selfRelative, 0);
    if (header.Revision != SECURITY_DESCRIPTOR_REVISION || (header.Control & SE_SELF_RELATIVE) == 0)
        return std::nullopt;
    Parts parts;
    parts.control = WORD(header.Control & ~SE_SELF_RELATIVE);
    const DWORD sacl = parts.HasSacl() ? header.Sacl : 0;
    const DWORD dacl = parts.HasDacl() ? header.Dacl : 0;
    if (header.Owner != 0) parts.owner = SidAt(selfRelative, header.Owner);
    if (header.Group != 0) parts.group = SidAt(selfRelative, header.Group);
    if (sacl != 0) parts.sacl = ListAt(selfRelative, sacl);
    if (dacl != 0) parts.dacl = ListAt(selfRelative, dacl);
    return Checked(parts, header.Owner != 0, header.Group != 0, sacl != 0, dacl != 0);
}

std::optional<Parts> Read(PSECURITY_DESCRIPTOR descriptor) {
    if (descriptor == nullptr) return std::nullopt;
    const auto* const header = static_cast<const SECURITY_DESCRIPTOR_RELATIVE*>(descriptor);
    if ((header->Control & SE_SELF_RELATIVE) != 0) {
        return Read(ByteView(static_cast<const BYTE*>(descriptor), kFarthestPart));
    }
    if (header->Revision != SECURITY_DESCRIPTOR_REVISION) return std::nullopt;
    return ReadAbsolute(*static_cast<const SECURITY_DESCRIPTOR*>(descriptor));
}

Bytes Write(const Parts& parts) {
    SECURITY_DESCRIPTOR_RELATIVE header = {};
    header.Revision = SECURITY_DESCRIPTOR_REVISION;
    header.Control = WORD(parts.control | SE_SELF_RELATIVE);
    Bytes bytes(sizeof header);
    const auto put = [&bytes](ByteView part) -> DWORD {
        if (part.empty()) return 0;
        const std::size_t offset = bytes.size();
        bytes.insert(bytes.end(), part.begin(), part.end());
        bytes.resize((bytes.size() + 3) & ~std::size_t(3));
        return DWORD(offset);
    };
    header.Sacl = put(parts.sacl);
    header.Dacl = put(parts.dacl);
    header.Owner = put(parts.owner);
    header.Group = put(parts.group);
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

Parts Select(const Parts& parts, SECURITY_INFORMATION information) {
    Parts result;
    CopyParts(result, parts, parts.control, information);
    return result;
}

Parts Merge(const Parts& old, const Parts& change, SECURITY_INFORMATION information) {
    Parts result = old;
    CopyParts(result, change, WithoutRequests(change.control), information);
    if ((information & PROTECTED_DACL_SECURITY_INFORMATION) != 0) result.control |= SE_DACL_PROTECTED;
    if ((information & PROTECTED_SACL_SECURITY_INFORMATION) != 0) result.control |= SE_SACL_PROTECTED;
    if ((information & UNPROTECTED_DACL_SECURITY_INFORMATION) != 0) result.control &= WORD(~SE_DACL_PROTECTED);
    if ((information & UNPROTECTED_SACL_SECURITY_INFORMATION) != 0) result.control &= WORD(~SE_SACL_PROTECTED);
    return result;
}

}  // namespace embedded::security
