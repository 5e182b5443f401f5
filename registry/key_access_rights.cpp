// The access list of a registry key that the caller has opened.
#include "changes/changing.h"
#include "foundation/well_known_sid.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

struct Grant {
    DWORD builtinGroup;  // 0: everyone
    DWORD rights;
};

constexpr Grant kGrants[] = {
    {0, KEY_READ},
    {DOMAIN_ALIAS_RID_BACKUP_OPS, KEY_ALL_ACCESS},
    {DOMAIN_ALIAS_RID_ADMINS, KEY_ALL_ACCESS},
};
constexpr DWORD kInherited = 3;  // OBJECT_INHERIT_ACE and CONTAINER_INHERIT_ACE (winnt.h)

TRUSTEE_A TrusteeOf(const AllocatedSid& sid, TRUSTEE_TYPE type) {
    TRUSTEE_A trustee{};
    trustee.TrusteeForm = TRUSTEE_IS_SID;
    trustee.TrusteeType = type;
    trustee.ptstrName = static_cast<char*>(sid.Get());
    return trustee;
}

}  // namespace

int CHalvRegistry::AddAccessPermissionOnRegistryKey(HKEY key, int view32) {
    if (key == nullptr) return FailWith(ERROR_INVALID_HANDLE);
    AllocatedSid sids[std::size(kGrants)];
    EXPLICIT_ACCESS_A entries[std::size(kGrants)] = {};
    for (std::size_t i = 0; i < std::size(kGrants); ++i) {
        const Grant& grant = kGrants[i];
        sids[i] = grant.builtinGroup == 0 ? EveryoneSid() : BuiltinSid(grant.builtinGroup);
        if (!sids[i]) return 0;
        entries[i].grfAccessPermissions = grant.rights;
        entries[i].grfAccessMode = GRANT_ACCESS;
        entries[i].grfInheritance = kInherited;
        entries[i].Trustee =
            TrusteeOf(sids[i], grant.builtinGroup == 0 ? TRUSTEE_IS_WELL_KNOWN_GROUP : TRUSTEE_IS_GROUP);
    }
    PACL list = nullptr;
    if (!Outcome(LSTATUS(SetEntriesInAclA(ULONG(std::size(entries)), entries, nullptr, &list)))) return 0;
    const LocalBuffer owner(list);
    return Outcome(LSTATUS(changing::SetSecurityInfo(key, view32 != 0 ? SE_REGISTRY_WOW64_32KEY : SE_REGISTRY_KEY,
                                                     DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                                     nullptr, nullptr, list, nullptr)));
}

int CHalvRegistry::GetBuiltinDomainAccessMaskOnKey(HKEY key, DWORD rid, DWORD& mask) {
    if (key == nullptr) return FailWith(ERROR_INVALID_HANDLE);
    mask = 0;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!Outcome(LSTATUS(GetSecurityInfo(key, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                         nullptr, &descriptor)))) {
        return 0;
    }
    const LocalBuffer owner(descriptor);
    const AllocatedSid sid = BuiltinSid(rid);
    if (!sid) return 0;
    TRUSTEE_A trustee = TrusteeOf(sid, TRUSTEE_IS_GROUP);
    ACCESS_MASK rights = 0;
    if (!Outcome(LSTATUS(GetEffectiveRightsFromAclA(list, &trustee, &rights)))) return 0;
    mask = rights;
    return 1;
}
