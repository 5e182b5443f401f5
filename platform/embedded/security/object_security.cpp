// GetSecurityInfo, SetSecurityInfo and their named forms; GetFileSecurityA and SetFileSecurityA.
#include "platform/embedded/security/object_security.h"

#include "platform/embedded/api/registry.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/security/access_check.h"
#include "platform/embedded/security/acl_inherit.h"

namespace embedded::security {

std::optional<Bytes> Reinherit(const Bytes& own, const Bytes& parent, access::ObjectType type) {
    const std::optional<Parts> parts = Read(own), above = Read(parent);
    const bool isNull = !parts || (parts->HasDacl() && parts->dacl.empty());
    if (isNull || !above || parts->IsProtected()) return std::nullopt;  // nothing inherited would count
    const bool container = type == access::ObjectType::Key || type == access::ObjectType::Directory;
    const NewObject object{container, parts->owner, parts->group, &MappingOf(type)};
    ListBuilder list;
    AddGiven(list, parts->dacl, object, true);
    AddInherited(list, above->dacl, object, INHERITED_ACE);
    const std::optional<Bytes> built = list.Finish();
    if (!built) return std::nullopt;
    Parts changed = *parts;
    changed.SetDacl(*built);
    changed.control |= SE_DACL_AUTO_INHERITED;
    return Write(changed);
}

namespace {

// The frame of every call on an object: the gate first, and nothing thrown gets out.
template <class Body>
DWORD Call(const char* name, Body body) noexcept {
    if (const DWORD error = gate::Enter(control::CallKind::Security, name)) return error;
    return Guarded([&] {
        DWORD error = 0;
        return body(&error);
    });
}

struct SecurityPointers {
    PSID* owner;
    PSID* group;
    PACL* dacl;
    PACL* sacl;
    PSECURITY_DESCRIPTOR* descriptor;

    bool AnyPart() const { return owner != nullptr || group != nullptr || dacl != nullptr || sacl != nullptr; }
};

// Points a caller's pointer at a part of the descriptor that it receives; null when there is no such part.
template <class Pointer>
void PointAt(Pointer* pointer, ByteView part, const Bytes& whole, void* copy) {
    if (pointer == nullptr) return;
    BYTE* const base = static_cast<BYTE*>(copy);
    *pointer = part.empty() ? nullptr : static_cast<Pointer>(static_cast<void*>(base + (part.data() - whole.data())));
}

DWORD Answer(SecuredObject& object, SECURITY_INFORMATION information, const SecurityPointers& pointers) {
    if (pointers.descriptor == nullptr) return ERROR_INVALID_PARAMETER;
    Bytes bytes;
    if (const DWORD error = object.Read(information, &bytes)) return error;
    const std::optional<Parts> parts = Read(bytes);
    if (!parts) return ERROR_INVALID_SECURITY_DESCR;
    void* const copy = CopyOut(bytes);
    if (copy == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    *pointers.descriptor = copy;
    PointAt(pointers.owner, parts->owner, bytes, copy);
    PointAt(pointers.group, parts->group, bytes, copy);
    PointAt(pointers.dacl, parts->dacl, bytes, copy);
    PointAt(pointers.sacl, parts->sacl, bytes, copy);
    return 0;
}

// What a caller hands to the calls that set; a null list with its bit in `information` is one that grants everything.
struct Wanted {
    PSID owner;
    PSID group;
    PACL dacl;
    PACL sacl;
};

DWORD PartsOf(const Wanted& wanted, SECURITY_INFORMATION information, Parts& parts) {
    parts.owner = SidOf(wanted.owner);
    parts.group = SidOf(wanted.group);
    if ((information & OWNER_SECURITY_INFORMATION) != 0 && parts.owner.empty()) return ERROR_INVALID_OWNER;
    if ((information & GROUP_SECURITY_INFORMATION) != 0 && parts.group.empty()) return ERROR_INVALID_PRIMARY_GROUP;
    const ByteView dacl = ListOf(wanted.dacl), sacl = ListOf(wanted.sacl);
    if ((wanted.dacl != nullptr && !IsValidList(dacl)) || (wanted.sacl != nullptr && !IsValidList(sacl))) {
        return ERROR_INVALID_ACL;
    }
    if ((information & DACL_SECURITY_INFORMATION) != 0) parts.SetDacl(dacl);
    if ((information & SACL_SECURITY_INFORMATION) != 0) parts.control |= SE_SACL_PRESENT;
    parts.sacl = sacl;
    // As these calls do, a list that they set counts as inherited automatically.
    parts.control |= SE_DACL_AUTO_INHERITED | SE_DACL_AUTO_INHERIT_REQ;
    if ((information & PROTECTED_DACL_SECURITY_INFORMATION) != 0) parts.control |= SE_DACL_PROTECTED;
    return 0;
}

DWORD Apply(SecuredObject& object, SECURITY_INFORMATION information, const Wanted& wanted) {
    Parts parts;
    if (const DWORD error = PartsOf(wanted, information, parts)) return error;
    Bytes change = Write(parts);
    const bool listChanges = (information & DACL_SECURITY_INFORMATION) != 0;
    const Bytes parent = listChanges && !parts.IsProtected() ? object.Parent() : Bytes();
    if (!parent.empty()) change = Reinherit(change, parent, object.Type()).value_or(change);
    return object.Write(information, change);
}

std::unique_ptr<SecuredObject> OpenByHandle(HANDLE handle, SE_OBJECT_TYPE type, DWORD* error) {
    *error = ERROR_INVALID_HANDLE;
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return nullptr;
    switch (type) {
        case SE_REGISTRY_KEY:
        case SE_REGISTRY_WOW64_32KEY:
            return MakeKeyObject(static_cast<HKEY>(handle));
        case SE_FILE_OBJECT:
            return MakeFileObject(handle);
        default:
            *error = ERROR_NOT_SUPPORTED;
            return nullptr;
    }
}

std::unique_ptr<SecuredObject> OpenByName(const char* name, SE_OBJECT_TYPE type, DWORD rights, DWORD* error) {
    *error = ERROR_INVALID_PARAMETER;
    if (name == nullptr) return nullptr;
    switch (type) {
        case SE_FILE_OBJECT:
            return MakeFileObject(name, false);
        case SE_REGISTRY_KEY:
            return OpenKeyObject(name, rights, error);
        case SE_REGISTRY_WOW64_32KEY:
            return OpenKeyObject(name, rights | KEY_WOW64_32KEY, error);
        default:
            *error = ERROR_NOT_SUPPORTED;
            return nullptr;
    }
}

}  // namespace
}  // namespace embedded::security

namespace security = embedded::security;
using embedded::Bytes;
using security::Fail;

DWORD GetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID* owner, PSID* group,
                      PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor) {
    return security::Call("GetSecurityInfo", [&](DWORD* error) {
        const auto object = security::OpenByHandle(handle, type, error);
        return object ? security::Answer(*object, information, {owner, group, dacl, sacl, descriptor}) : *error;
    });
}

DWORD SetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID owner, PSID group,
                      PACL dacl, PACL sacl) {
    return security::Call("SetSecurityInfo", [&](DWORD* error) {
        const auto object = security::OpenByHandle(handle, type, error);
        return object ? security::Apply(*object, information, {owner, group, dacl, sacl}) : *error;
    });
}

DWORD GetNamedSecurityInfoA(LPCSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID* owner,
                            PSID* group, PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor) {
    return security::Call("GetNamedSecurityInfoA", [&](DWORD* error) {
        const auto object = security::OpenByName(name, type, embedded::access::RightsToRead(information), error);
        return object ? security::Answer(*object, information, {owner, group, dacl, sacl, descriptor}) : *error;
    });
}

DWORD SetNamedSecurityInfoA(LPSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID owner, PSID group,
                            PACL dacl, PACL sacl) {
    return security::Call("SetNamedSecurityInfoA", [&](DWORD* error) {
        const auto object = security::OpenByName(name, type, embedded::access::RightsToWrite(information), error);
        return object ? security::Apply(*object, information, {owner, group, dacl, sacl}) : *error;
    });
}

BOOL GetFileSecurityA(LPCSTR path, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor, DWORD size,
                      LPDWORD needed) {
    Bytes bytes;
    const DWORD error = security::Call("GetFileSecurityA", [&](DWORD*) -> DWORD {
        if (path == nullptr || needed == nullptr) return ERROR_INVALID_PARAMETER;
        return security::MakeFileObject(path, false)->Read(information, &bytes);
    });
    return error == 0 ? security::FillBuffer(bytes, descriptor, size, needed) : Fail(error);
}

BOOL SetFileSecurityA(LPCSTR path, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor) {
    const DWORD error = security::Call("SetFileSecurityA", [&](DWORD*) -> DWORD {
        if (path == nullptr) return ERROR_INVALID_PARAMETER;
        if (descriptor == nullptr) return ERROR_NOACCESS;
        const std::optional<security::Parts> parts = security::Read(descriptor);
        if (!parts) return ERROR_INVALID_SECURITY_DESCR;
        return security::MakeFileObject(path, true)->Write(information, security::Write(*parts));
    });
    return security::ThroughLastError(error);
}
