#include "system/security_object.h"

#include "foundation/well_known_sid.h"
#include "system/privilege.h"

namespace {

constexpr SECURITY_INFORMATION kBothLists = DACL_SECURITY_INFORMATION | SACL_SECURITY_INFORMATION;

// An empty list that has room for `bytes`; null with the last error set.
HeapBuffer MakeList(DWORD bytes) {
    HeapBuffer list = AllocateHeap(bytes);
    if (list && !InitializeAcl(static_cast<PACL>(list.Get()), bytes, ACL_REVISION)) list.Reset();
    return list;
}

// Appends all entries of `from` but number `skipped` to the list.
bool CopyEntriesBut(PACL from, DWORD skipped, PACL list) {
    for (DWORD index = 0; index < from->AceCount; ++index) {
        void* entry = nullptr;
        if (index == skipped) continue;
        if (!GetAce(from, index, &entry)) return false;
        if (!AddAce(list, ACL_REVISION, MAXDWORD, entry, static_cast<const ACE_HEADER*>(entry)->AceSize)) return false;
    }
    return true;
}

// Null with the last error set when the working descriptor has no list.
PACL ListOf(PSECURITY_DESCRIPTOR descriptor) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL list = nullptr;
    if (!GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted)) return nullptr;
    if (!present || list == nullptr) {
        SetLastError(ERROR_INVALID_ACL);
        return nullptr;
    }
    return list;
}

constexpr DWORD kSkipNone = MAXDWORD;

}  // namespace

CSecurityObject::CSecurityObject() {
    const AllocatedSid everyone = EveryoneSid();
    HeapBuffer list = everyone ? MakeList(sizeof(ACL) + kEntryOverhead + GetLengthSid(everyone.Get())) : HeapBuffer();
    if (!list || !AddAccessAllowedAce(static_cast<PACL>(list.Get()), ACL_REVISION, 0, everyone.Get()) ||
        !Replace(std::move(list))) {
        FailWithLastError();
    }
}

int CSecurityObject::Fail(DWORD error) {
    m_dwLastError = error;
    return FailWith(error);
}

// Builds a descriptor around the list and makes it the working one, once everything has succeeded.
int CSecurityObject::Replace(HeapBuffer list) {
    const PACL acl = static_cast<PACL>(list.Get());
    const DWORD oldLength =
        m_working.descriptor ? GetSecurityDescriptorLength(Descriptor()) : sizeof(SECURITY_DESCRIPTOR);
    HeapBuffer fresh = AllocateHeap(acl->AclSize + oldLength + sizeof(SECURITY_DESCRIPTOR));
    const PSECURITY_DESCRIPTOR descriptor = fresh.Get();
    if (!fresh || !InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION)) return FailWithLastError();
    if (!IsValidAcl(acl)) return Fail(ERROR_INVALID_ACL);
    if (!IsValidSecurityDescriptor(descriptor)) return Fail(ERROR_INVALID_SECURITY_DESCR);
    const auto systemList = static_cast<PACL>(m_working.systemList.Get());
    const bool built = SetSecurityDescriptorDacl(descriptor, TRUE, acl, FALSE) &&
                       (!m_working.owner || SetSecurityDescriptorOwner(descriptor, m_working.owner.Get(), FALSE)) &&
                       (systemList == nullptr || SetSecurityDescriptorSacl(descriptor, TRUE, systemList, FALSE)) &&
                       (!m_working.group || SetSecurityDescriptorGroup(descriptor, m_working.group.Get(), FALSE));
    if (!built) return FailWithLastError();
    m_working.descriptor = std::move(fresh);
    m_working.list = std::move(list);
    return 1;
}

int CSecurityObject::AddAceForSid(PSID sid, DWORD mask, int allow) {
    if (!RefreshSecurity()) return 0;
    if (sid == nullptr || !IsValidSid(sid)) return Fail(ERROR_INVALID_SID);
    const PACL old = ListOf(Descriptor());
    if (old == nullptr) return FailWithLastError();
    HeapBuffer list = MakeList(old->AclSize + GetLengthSid(sid) + kEntryOverhead);
    if (!list) return FailWithLastError();
    const PACL acl = static_cast<PACL>(list.Get());
    const bool built = (allow || AddAccessDeniedAce(acl, ACL_REVISION, mask, sid)) &&
                       CopyEntriesBut(old, kSkipNone, acl) &&
                       (!allow || AddAccessAllowedAce(acl, ACL_REVISION, mask, sid));
    if (!built) return FailWithLastError();
    return Replace(std::move(list)) && ApplySecurity();
}

int CSecurityObject::AddAceForBuiltinAlias(DWORD rid, DWORD mask, int allow) {
    const AllocatedSid alias = BuiltinSid(rid);
    return alias ? AddAceForSid(alias.Get(), mask, allow) : FailWithLastError();
}

int CSecurityObject::AddAceForAccount(const char* system, const char* account, DWORD mask, int allow) {
    AccountIdentity identity;
    return LookupSid(system, account, identity) && AddAceForSid(identity.sid.Get(), mask, allow);
}

int CSecurityObject::LookupSid(const char* system, const char* account, AccountIdentity& identity) {
    const char* const machine = system != nullptr && *system != '\0' ? system : nullptr;
    if (LookupAccount(machine, account, identity) != LookupStep::Done) return FailWithLastError();
    return IsValidSid(identity.sid.Get()) ? 1 : Fail(ERROR_INVALID_SID);
}

int CSecurityObject::RemoveAceForAccount(const char* system, const char* account) {
    AccountIdentity identity;
    return LookupSid(system, account, identity) && RemoveAceForSid(identity.sid.Get());
}

int CSecurityObject::RemoveAceForSid(PSID sid) {
    if (!RefreshSecurity()) return 0;
    const PACL old = ListOf(Descriptor());
    if (old == nullptr) return FailWithLastError();
    for (DWORD index = 0; index < old->AceCount; ++index) {
        void* entry = nullptr;
        if (!GetAce(old, index, &entry)) return FailWithLastError();
        const auto* const header = static_cast<const ACE_HEADER*>(entry);
        if (!IsEntryOf(header, sid)) continue;
        HeapBuffer list = MakeList(DWORD(old->AclSize) - header->AceSize);
        if (!list || !CopyEntriesBut(old, index, static_cast<PACL>(list.Get()))) return FailWithLastError();
        return Replace(std::move(list)) && ApplySecurity();
    }
    return Fail(ERROR_PRIVILEGE_NOT_HELD);
}

CPrivateObjectSecurity::CPrivateObjectSecurity() : m_mapping{0x1200A9, 0x1301BF, 0x20000, 0x1F01FF} {
    if (m_dwLastError != ERROR_SUCCESS) return;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_READ, m_hToken.Receive())) {
        FailWithLastError();
        return;
    }
    if (!EnablePrivilege(SE_SECURITY_NAME, 1)) FailWithLastError();
    if (!CreatePrivateObjectSecurity(nullptr, Descriptor(), m_private.Receive(), FALSE, m_hToken.Get(), &m_mapping)) {
        FailWithLastError();
    }
    EnablePrivilege(SE_SECURITY_NAME, 0);
}

DWORD CPrivateObjectSecurity::MapGenericAccess(DWORD mask) {
    MapGenericMask(&mask, &m_mapping);
    return mask;
}

int CPrivateObjectSecurity::SetPrivateSecurity() {
    if (!m_private) return Fail(m_dwLastError != ERROR_SUCCESS ? m_dwLastError : ERROR_INVALID_SECURITY_DESCR);
    // The call may put another descriptor into the pointer's place, so the owner lends it and takes back what comes.
    PSECURITY_DESCRIPTOR descriptor = m_private.Release();
    const BOOL set = SetPrivateObjectSecurity(kBothLists, Descriptor(), &descriptor, &m_mapping, m_hToken.Get());
    const DWORD error = GetLastError();
    m_private.Reset(descriptor);
    return set ? 1 : Fail(error);
}

namespace {

// Turns a self-relative descriptor into an absolute one with parts of its own.
bool MakeAbsolute(PSECURITY_DESCRIPTOR relative, WorkingDescriptor& result) {
    DWORD sizes[5] = {};
    MakeAbsoluteSD(relative, nullptr, &sizes[0], nullptr, &sizes[1], nullptr, &sizes[2], nullptr, &sizes[3], nullptr,
                   &sizes[4]);
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return false;
    HeapBuffer* const parts[] = {&result.descriptor, &result.list, &result.systemList, &result.owner, &result.group};
    for (int part = 0; part < 5; ++part) {
        if (sizes[part] == 0) continue;
        *parts[part] = AllocateHeap(sizes[part]);
        if (!*parts[part]) return false;
    }
    return MakeAbsoluteSD(relative, result.descriptor.Get(), &sizes[0], static_cast<PACL>(result.list.Get()), &sizes[1],
                          static_cast<PACL>(result.systemList.Get()), &sizes[2], result.owner.Get(), &sizes[3],
                          result.group.Get(), &sizes[4]);
}

}  // namespace

int CPrivateObjectSecurity::GetPrivateSecurity() {
    if (!m_private) return Fail(m_dwLastError != ERROR_SUCCESS ? m_dwLastError : ERROR_INVALID_SECURITY_DESCR);
    DWORD size = 0;
    if (GetPrivateObjectSecurity(m_private.Get(), kBothLists, nullptr, 0, &size))
        return Fail(ERROR_INVALID_SECURITY_DESCR);
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return FailWithLastError();
    const HeapBuffer relative = AllocateHeap(size);
    WorkingDescriptor fresh;
    if (!relative || !GetPrivateObjectSecurity(m_private.Get(), kBothLists, relative.Get(), size, &size) ||
        !MakeAbsolute(relative.Get(), fresh)) {
        return FailWithLastError();
    }
    m_working = std::move(fresh);
    return 1;
}
