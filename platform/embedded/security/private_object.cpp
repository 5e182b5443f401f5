#include "platform/embedded/security/private_object.h"

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/security/access_check.h"
#include "platform/embedded/security/acl_inherit.h"

namespace embedded::security {
namespace {

bool MayName(const Token& token, ByteView owner) {
    return !owner.empty() && (token.MayOwn(owner) || token.HasEnabled(kRestorePrivilege));
}

// A list as it is kept for an object; a null list stays one. Nothing when it has grown too long.
std::optional<Bytes> Kept(ByteView list, const NewObject& object) {
    if (list.empty()) return Bytes();
    ListBuilder built;
    AddGiven(built, list, object, false);
    return built.Finish();
}

// A new private object's descriptor while it is put together.
class Creation {
  public:
    Creation(const Parts& parent, const Parts& creator, ULONG flags, const Token& token, const NewObject& object)
        : m_parent(parent), m_creator(creator), m_flags(flags), m_token(token), m_object(object) {}

    // 0 and the self-relative descriptor, or a Windows error.
    DWORD Run(Bytes* result) {
        if (const DWORD error = ChooseOwners()) return error;
        if (m_creator.HasSacl() && (m_flags & SEF_AVOID_PRIVILEGE_CHECK) == 0 &&
            !m_token.HasEnabled(kSecurityPrivilege)) {
            return ERROR_PRIVILEGE_NOT_HELD;
        }
        const std::optional<Bytes> dacl = ChooseDacl(), sacl = Kept(m_creator.sacl, m_object);
        if (!dacl || !sacl) return ERROR_INVALID_ACL;
        m_result.SetDacl(*dacl);
        if (m_creator.HasSacl()) m_result.control |= SE_SACL_PRESENT;
        m_result.sacl = *sacl;
        *result = Write(m_result);
        return 0;
    }

  private:
    bool Has(ULONG flag) const { return (m_flags & flag) != 0; }

    DWORD ChooseOwners() {
        const ByteView parentsOwner = Has(SEF_DEFAULT_OWNER_FROM_PARENT) ? m_parent.owner : ByteView();
        const ByteView parentsGroup = Has(SEF_DEFAULT_GROUP_FROM_PARENT) ? m_parent.group : ByteView();
        m_result.owner = !m_creator.owner.empty() ? m_creator.owner
                         : !parentsOwner.empty()  ? parentsOwner
                                                  : m_token.owner;
        m_result.group = !m_creator.group.empty() ? m_creator.group
                         : !parentsGroup.empty()  ? parentsGroup
                                                  : ByteView(m_token.primaryGroup);
        m_object.owner = m_result.owner;
        m_object.group = m_result.group;
        const bool check = !m_creator.owner.empty() && !Has(SEF_AVOID_OWNER_CHECK);
        return check && !MayName(m_token, m_result.owner) ? ERROR_INVALID_OWNER : 0;
    }

    // An explicit list of the creator's, else what the parent passes on, else the creator's default, else the token's.
    // With automatic inheritance the parent's entries follow an explicit list that is not protected.
    std::optional<Bytes> ChooseDacl() {
        const bool automatic = Has(SEF_DACL_AUTO_INHERIT);
        const bool isExplicit = m_creator.HasDacl() && (m_creator.control & SE_DACL_DEFAULTED) == 0;
        if (automatic) m_result.control |= SE_DACL_AUTO_INHERITED;
        m_result.control |= m_creator.control & SE_DACL_PROTECTED;
        if (isExplicit && m_creator.dacl.empty()) return Bytes();
        ListBuilder list;
        if (isExplicit) AddGiven(list, m_creator.dacl, m_object, automatic && !m_creator.IsProtected());
        if (isExplicit && (!automatic || m_creator.IsProtected())) return list.Finish();
        AddInherited(list, m_parent.dacl, m_object, automatic ? INHERITED_ACE : BYTE(0));
        if (isExplicit || list.Count() != 0) return list.Finish();
        if (m_creator.HasDacl()) return Kept(m_creator.dacl, m_object);
        list.Add(ACCESS_ALLOWED_ACE_TYPE, 0, m_object.mapping->GenericAll, m_token.owner);
        list.Add(ACCESS_ALLOWED_ACE_TYPE, 0, m_object.mapping->GenericAll, well_known::kSystem);
        return list.Finish();
    }

    const Parts m_parent;
    const Parts m_creator;
    ULONG m_flags;
    const Token& m_token;
    NewObject m_object;
    Parts m_result;
};

// The token behind a handle that may be null, which stands for the caller's own; null with the last error set.
std::shared_ptr<Token> TokenOrOwn(HANDLE handle) {
    std::shared_ptr<Token> own;
    if (handle == nullptr) {
        const DWORD error = Guarded([&own]() -> DWORD {
            own = EffectiveToken();
            return 0;
        });
        if (error != 0) SetLastError(error);
        return own;
    }
    const std::shared_ptr<TokenHandle> opened = OpenedToken(handle, TOKEN_QUERY);
    return opened ? opened->Shared() : nullptr;
}

BOOL Create(PSECURITY_DESCRIPTOR parent, PSECURITY_DESCRIPTOR creator, PSECURITY_DESCRIPTOR* descriptor,
            BOOL isContainer, ULONG flags, HANDLE handle, PGENERIC_MAPPING mapping) {
    if (descriptor == nullptr || mapping == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const std::shared_ptr<Token> token = TokenOrOwn(handle);
    if (!token) return FALSE;
    const std::optional<Parts> above = parent == nullptr ? Parts{} : Read(parent);
    const std::optional<Parts> given = creator == nullptr ? Parts{} : Read(creator);
    if (!above || !given) return Fail(ERROR_INVALID_SECURITY_DESCR);
    Bytes built;
    const NewObject object{isContainer != FALSE, {}, {}, mapping};
    if (const DWORD error = Creation(*above, *given, flags, *token, object).Run(&built)) return Fail(error);
    return HandOut(built, descriptor, ResourceKind::PrivateObject);
}

}  // namespace

DWORD Modify(const Parts& old, const Parts& change, SECURITY_INFORMATION information, const Token& token,
             const GENERIC_MAPPING& mapping, bool isContainer, Bytes* result) {
    const bool newOwner = (information & OWNER_SECURITY_INFORMATION) != 0;
    if (newOwner && !MayName(token, change.owner)) return ERROR_INVALID_OWNER;
    Parts merged = Merge(old, change, information);
    const NewObject object{isContainer, merged.owner, merged.group, &mapping};
    const std::optional<Bytes> dacl = Kept(merged.dacl, object), sacl = Kept(merged.sacl, object);
    if (!dacl || !sacl) return ERROR_INVALID_ACL;
    merged.dacl = *dacl;
    merged.sacl = *sacl;
    *result = Write(merged);
    return 0;
}

}  // namespace embedded::security

namespace buffers = embedded::buffers;
namespace gate = embedded::gate;
namespace security = embedded::security;
using embedded::ResourceKind;
using embedded::control::CallKind;
using security::Fail;
using security::Parts;

BOOL CreatePrivateObjectSecurity(PSECURITY_DESCRIPTOR parent, PSECURITY_DESCRIPTOR creator,
                                 PSECURITY_DESCRIPTOR* descriptor, BOOL isDirectory, HANDLE token,
                                 PGENERIC_MAPPING mapping) {
    if (gate::Refuses(CallKind::Security, "CreatePrivateObjectSecurity")) return FALSE;
    return security::Create(parent, creator, descriptor, isDirectory, 0, token, mapping);
}

BOOL CreatePrivateObjectSecurityEx(PSECURITY_DESCRIPTOR parent, PSECURITY_DESCRIPTOR creator,
                                   PSECURITY_DESCRIPTOR* descriptor, GUID*, BOOL isContainer, ULONG autoInheritFlags,
                                   HANDLE token, PGENERIC_MAPPING mapping) {
    if (gate::Refuses(CallKind::Security, "CreatePrivateObjectSecurityEx")) return FALSE;
    return security::Create(parent, creator, descriptor, isContainer, autoInheritFlags, token, mapping);
}

BOOL SetPrivateObjectSecurity(SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR modification,
                              PSECURITY_DESCRIPTOR* descriptor, PGENERIC_MAPPING mapping, HANDLE token) {
    if (gate::Refuses(CallKind::Security, "SetPrivateObjectSecurity")) return FALSE;
    if (descriptor == nullptr || mapping == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const std::shared_ptr<security::Token> caller = security::TokenOrOwn(token);
    if (!caller) return FALSE;
    const std::optional<Parts> old = security::Read(*descriptor), change = security::Read(modification);
    if (!old || !change) return Fail(ERROR_INVALID_SECURITY_DESCR);
    embedded::Bytes built;
    if (const DWORD error = security::Modify(*old, *change, information, *caller, *mapping, false, &built)) {
        return Fail(error);
    }
    void* const replacement = security::CopyOut(built, ResourceKind::PrivateObject);
    if (replacement == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    if (!buffers::Free(ResourceKind::PrivateObject, *descriptor)) {
        buffers::Free(ResourceKind::PrivateObject, replacement);
        return Fail(ERROR_INVALID_SECURITY_DESCR);  // not a private object's
    }
    *descriptor = replacement;
    return TRUE;
}

BOOL GetPrivateObjectSecurity(PSECURITY_DESCRIPTOR descriptor, SECURITY_INFORMATION information,
                              PSECURITY_DESCRIPTOR result, DWORD size, PDWORD needed) {
    if (gate::Refuses(CallKind::Security, "GetPrivateObjectSecurity")) return FALSE;
    const std::optional<Parts> parts = security::Read(descriptor);
    if (!parts) return Fail(ERROR_INVALID_SECURITY_DESCR);
    if (needed == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    return security::FillBuffer(security::Write(security::Select(*parts, information)), result, size, needed);
}

BOOL DestroyPrivateObjectSecurity(PSECURITY_DESCRIPTOR* descriptor) {
    const bool freed = descriptor != nullptr && buffers::Free(ResourceKind::PrivateObject, *descriptor);
    if (gate::Refuses(CallKind::Security, "DestroyPrivateObjectSecurity")) return FALSE;
    return freed ? TRUE : Fail(ERROR_INVALID_SECURITY_DESCR);
}
