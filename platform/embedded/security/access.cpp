#include "platform/embedded/security/access.h"

#include "platform/embedded/control/security.h"
#include "platform/embedded/security/access_check.h"
#include "platform/embedded/security/acl_inherit.h"
#include "platform/embedded/security/private_object.h"
#include "platform/embedded/security/sddl.h"

namespace embedded::security {
namespace {

struct TypeTraits {
    GENERIC_MAPPING mapping;
    const char* descriptor;
};

// The mappings are Windows' own for keys, files, services and their manager; a share's is a file's. Everyone reads, and
// in the case of services asks for their state; administrators and the system have full control.
constexpr TypeTraits kTypes[] = {
    {{0x20019, 0x20006, 0x20019, 0xF003F}, "O:BAG:SYD:(A;CI;KA;;;BA)(A;CI;KA;;;SY)(A;CI;KR;;;WD)"},      // Key
    {{0x120089, 0x120116, 0x1200A0, 0x1F01FF}, "O:BAG:SYD:(A;;FA;;;BA)(A;;FA;;;SY)(A;;0x1200a9;;;WD)"},  // File
    {{0x120089, 0x120116, 0x1200A0, 0x1F01FF},
     "O:BAG:SYD:(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;0x1200a9;;;WD)"},  // Directory
    {{0x2008D, 0x20002, 0x20170, 0xF01FF}, "O:SYG:SYD:(A;;0xf01ff;;;BA)(A;;0xf01ff;;;SY)(A;;0x2008d;;;WD)"},  // Service
    {{0x20014, 0x20022, 0x20009, 0xF003F}, "O:SYG:SYD:(A;;KA;;;BA)(A;;KA;;;SY)(A;;0x20015;;;WD)"},            // Manager
    {{0x120089, 0x120116, 0x1200A0, 0x1F01FF}, "O:BAG:SYD:(A;;FA;;;BA)(A;;FA;;;SY)(A;;0x1200a9;;;WD)"},       // Share
};

const Bytes& DefaultOf(access::ObjectType type) {
    static const std::vector<Bytes>* const defaults = [] {
        auto* const built = new std::vector<Bytes>;  // never destroyed: programs check access until their very end
        for (const TypeTraits& traits : kTypes) built->push_back(ParseSddl(traits.descriptor).descriptor);
        return built;
    }();
    return (*defaults)[std::size_t(type)];
}

bool HasInheritable(ByteView list) {
    EntryReader reader(list);
    for (Entry entry; reader.Next(entry);) {
        if ((entry.flags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE)) != 0) return true;
    }
    return false;
}

}  // namespace

const GENERIC_MAPPING& MappingOf(access::ObjectType type) { return kTypes[std::size_t(type)].mapping; }

}  // namespace embedded::security

namespace embedded::access {

DWORD Check(ObjectType type, const Bytes& descriptor, DWORD desired, DWORD* granted) {
    const std::optional<security::Parts> parts =
        security::Read(descriptor.empty() ? security::DefaultOf(type) : descriptor);
    if (!parts) return ERROR_INVALID_SECURITY_DESCR;
    const GENERIC_MAPPING& mapping = security::MappingOf(type);
    const security::Decision decision =
        security::Decide(*parts, *security::EffectiveToken(), security::MapGeneric(desired, mapping), mapping);
    if (granted != nullptr) *granted = decision.granted;
    return decision.error;
}

Bytes Default(ObjectType type) { return security::DefaultOf(type); }

DWORD RightsToRead(SECURITY_INFORMATION information) {
    constexpr DWORD kPlain = OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    return ((information & kPlain) != 0 ? READ_CONTROL : 0) |
           ((information & SACL_SECURITY_INFORMATION) != 0 ? ACCESS_SYSTEM_SECURITY : 0);
}

DWORD RightsToWrite(SECURITY_INFORMATION information) {
    constexpr DWORD kOwners = OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION;
    return ((information & kOwners) != 0 ? WRITE_OWNER : 0) |
           ((information & DACL_SECURITY_INFORMATION) != 0 ? WRITE_DAC : 0) |
           ((information & SACL_SECURITY_INFORMATION) != 0 ? ACCESS_SYSTEM_SECURITY : 0);
}

Bytes Extract(ObjectType type, const Bytes& descriptor, SECURITY_INFORMATION information) {
    const std::optional<security::Parts> parts = security::Read(descriptor);
    if (!parts) return Extract(type, Default(type), information);
    return security::Write(security::Select(*parts, information));
}

DWORD Modify(ObjectType type, const Bytes& descriptor, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR change,
             Bytes* result) {
    const Bytes old = security::Read(descriptor) ? descriptor : Default(type);
    const std::optional<security::Parts> wanted = security::Read(change);
    if (!wanted) return ERROR_INVALID_SECURITY_DESCR;
    const bool container = type == ObjectType::Key || type == ObjectType::Directory;
    return security::Modify(*security::Read(old), *wanted, information, *security::EffectiveToken(),
                            security::MappingOf(type), container, result);
}

Bytes Inherit(const Bytes& parent, ObjectType type) {
    const std::optional<security::Parts> above = security::Read(parent);
    if (!above) return Default(type);
    security::NewObject object{type == ObjectType::Key || type == ObjectType::Directory, above->owner, above->group,
                               &security::MappingOf(type)};
    security::ListBuilder list;
    if (security::HasInheritable(above->dacl)) {
        security::AddInherited(list, above->dacl, object, INHERITED_ACE);
    } else {
        // Nothing to inherit: the list that a creator's token brings along.
        for (const Bytes& sid : {security::Copy(above->owner), security::well_known::kSystem}) {
            if (!sid.empty()) list.Add(ACCESS_ALLOWED_ACE_TYPE, 0, object.mapping->GenericAll, sid);
        }
    }
    const std::optional<Bytes> built = list.Finish();
    if (!built) return Default(type);
    security::Parts parts;
    parts.control = SE_DACL_AUTO_INHERITED;
    parts.owner = above->owner;
    parts.group = above->group;
    parts.SetDacl(*built);
    return security::Write(parts);
}

}  // namespace embedded::access

DWORD embedded::control::CheckStoredDescriptor(const std::vector<BYTE>& descriptor, DWORD desired, DWORD* granted) {
    return access::Check(access::ObjectType::Key, descriptor, desired, granted);
}
