// The access list of a registry key that the caller has opened.
#include "registry/family_keys.h"

using namespace registry;

namespace {

struct Grant {
    SID_IDENTIFIER_AUTHORITY authority;
    BYTE depth;
    DWORD first;
    DWORD second;
    TRUSTEE_TYPE type;
    DWORD rights;
};

constexpr Grant kGrants[] = {
    {SECURITY_WORLD_SID_AUTHORITY, 1, SECURITY_WORLD_RID, 0, TRUSTEE_IS_WELL_KNOWN_GROUP, KEY_READ},
    {SECURITY_NT_AUTHORITY, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_BACKUP_OPS, TRUSTEE_IS_GROUP,
     KEY_ALL_ACCESS},
    {SECURITY_NT_AUTHORITY, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, TRUSTEE_IS_GROUP, KEY_ALL_ACCESS},
};
constexpr DWORD kInherited = 3;  // OBJECT_INHERIT_ACE and CONTAINER_INHERIT_ACE (winnt.h)

bool MakeSid(SID_IDENTIFIER_AUTHORITY authority, BYTE depth, DWORD first, DWORD second, AllocatedSid& sid) {
    return AllocateAndInitializeSid(&authority, depth, first, second, 0, 0, 0, 0, 0, 0, sid.Receive()) != 0;
}

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
        if (!MakeSid(grant.authority, grant.depth, grant.first, grant.second, sids[i])) return 0;
        entries[i].grfAccessPermissions = grant.rights;
        entries[i].grfAccessMode = GRANT_ACCESS;
        entries[i].grfInheritance = kInherited;
        entries[i].Trustee = TrusteeOf(sids[i], grant.type);
    }
    PACL list = nullptr;
    if (!Report(LSTATUS(SetEntriesInAclA(ULONG(std::size(entries)), entries, nullptr, &list)))) return 0;
    const LocalBuffer owner(list);
    return Report(LSTATUS(SetSecurityInfo(key, view32 != 0 ? SE_REGISTRY_WOW64_32KEY : SE_REGISTRY_KEY,
                                          DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, nullptr,
                                          nullptr, list, nullptr)));
}

int CHalvRegistry::GetBuiltinDomainAccessMaskOnKey(HKEY key, DWORD rid, DWORD& mask) {
    if (key == nullptr) return FailWith(ERROR_INVALID_HANDLE);
    mask = 0;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!Report(LSTATUS(GetSecurityInfo(key, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                        nullptr, &descriptor)))) {
        return 0;
    }
    const LocalBuffer owner(descriptor);
    AllocatedSid sid;
    if (!MakeSid(SECURITY_NT_AUTHORITY, 2, SECURITY_BUILTIN_DOMAIN_RID, rid, sid)) return 0;
    TRUSTEE_A trustee = TrusteeOf(sid, TRUSTEE_IS_GROUP);
    ACCESS_MASK rights = 0;
    if (!Report(LSTATUS(GetEffectiveRightsFromAclA(list, &trustee, &rights)))) return 0;
    mask = rights;
    return 1;
}
