#include "instalib/file_security.h"

#include <cstdio>

#include "changes/changing.h"
#include "platform/product_libraries.h"
#include "system/access_list.h"
#include "system/privilege.h"

namespace {

// Writes the failed step's line; the last error stays that of the step.
int Report(const char* message) {
    const DWORD error = GetLastError();
    std::printf(message, static_cast<int>(error));
    std::fflush(stdout);
    return FailWith(error);
}

int FindAccount(const char* system, const char* account, AccountIdentity& identity) {
    switch (LookupAccount(system, account, identity)) {
        case LookupStep::Lookup:
            return Report("LookupAccountName() failed. Error %d\n");
        case LookupStep::Allocate:
            return Report("HeapAlloc() failed. Error %d\n");
        case LookupStep::Done:
            break;
    }
    return 1;
}

int ReadDescriptor(const char* path, HeapBuffer& descriptor) {
    DWORD size = 0;
    if (GetFileSecurityA(path, DACL_SECURITY_INFORMATION, nullptr, 0, &size)) {
        SetLastError(ERROR_INVALID_SECURITY_DESCR);  // a descriptor without a size is none
        return Report("GetFileSecurity() failed. Error %d\n");
    }
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return Report("GetFileSecurity() failed. Error %d\n");
    descriptor = AllocateHeap(size);
    if (!descriptor) return Report("HeapAlloc() failed. Error %d\n");
    if (!GetFileSecurityA(path, DACL_SECURITY_INFORMATION, descriptor.Get(), size, &size)) {
        return Report("GetFileSecurity() failed. Error %d\n");
    }
    return 1;
}

// The old list and its figures; a missing list is an empty one.
struct OldList {
    PACL list = nullptr;
    DWORD count = 0;
    DWORD bytes = sizeof(ACL);
};

int ReadList(PSECURITY_DESCRIPTOR descriptor, OldList& old) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    if (!GetSecurityDescriptorDacl(descriptor, &present, &old.list, &defaulted)) {
        return Report("GetSecurityDescriptorDacl() failed. Error %d\n");
    }
    if (!present) old.list = nullptr;
    if (old.list == nullptr) return 1;
    ACL_SIZE_INFORMATION information{};
    if (!GetAclInformation(old.list, &information, sizeof information, AclSizeInformation)) {
        return Report("GetAclInformation() failed. Error %d\n");
    }
    old.count = information.AceCount;
    old.bytes = information.AclBytesInUse;
    return 1;
}

// Copies the entries of others from `index` on, up to the first inherited one when `stopAtInherited`; `index` moves
// along.
int CopyEntries(const OldList& old, PSID account, bool stopAtInherited, DWORD& index, PACL list) {
    for (; index < old.count; ++index) {
        void* entry = nullptr;
        if (!GetAce(old.list, index, &entry)) return Report("GetAce() failed. Error %d\n");
        const auto* const header = static_cast<const ACE_HEADER*>(entry);
        if (stopAtInherited && (header->AceFlags & INHERITED_ACE)) return 1;
        if (IsEntryOf(header, account)) continue;
        if (!AddAce(list, ACL_REVISION, MAXDWORD, entry, header->AceSize)) return Report("AddAce() failed. Error %d\n");
    }
    return 1;
}

int BuildList(const OldList& old, PSID account, DWORD mask, HeapBuffer& list) {
    const DWORD size = old.bytes + GetLengthSid(account) + kEntryOverhead;
    list = AllocateHeap(size);
    if (!list) return Report("HeapAlloc() failed. Error %d\n");
    const PACL acl = static_cast<PACL>(list.Get());
    if (!InitializeAcl(acl, size, ACL_REVISION)) return Report("InitializeAcl() failed. Error %d\n");
    DWORD index = 0;
    if (!CopyEntries(old, account, true, index, acl)) return 0;
    if (!AddAccessAllowedAce(acl, ACL_REVISION, mask, account))
        return Report("AddAccessAllowedAce() failed. Error %d\n");
    return CopyEntries(old, account, false, index, acl);
}

// Keeps the inheritance state of the old list, where the system can say so.
int KeepInheritance(PSECURITY_DESCRIPTOR old, PSECURITY_DESCRIPTOR fresh) {
    using SetControl = BOOL WINAPI(PSECURITY_DESCRIPTOR, SECURITY_DESCRIPTOR_CONTROL, SECURITY_DESCRIPTOR_CONTROL);
    const LoadedLibrary library(LoadLibraryA("advapi32.dll"));
    const auto setControl = product::EntryPoint<SetControl>(library.Get(), "SetSecurityDescriptorControl");
    if (setControl == nullptr) return 1;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    if (!GetSecurityDescriptorControl(old, &control, &revision))
        return Report("GetSecurityDescriptorControl() failed.Error %d\n");
    constexpr SECURITY_DESCRIPTOR_CONTROL kInheriting = SE_DACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED;
    const SECURITY_DESCRIPTOR_CONTROL kept =
        (control & SE_DACL_AUTO_INHERITED) ? kInheriting
                                           : static_cast<SECURITY_DESCRIPTOR_CONTROL>(control & SE_DACL_PROTECTED);
    if (kept != 0 && !setControl(fresh, kept, kept)) return Report("SetSecurityDescriptorControl() failed.Error %d\n");
    return 1;
}

}  // namespace

int AdjustAccessRights(const char* system, const char*, const char*, const char* path, const char* account,
                       DWORD mask) {
    EnablePrivilege(SE_SECURITY_NAME, 1);
    AccountIdentity identity;
    HeapBuffer oldDescriptor;
    if (!FindAccount(system, account, identity) || !ReadDescriptor(path, oldDescriptor)) return 0;
    SECURITY_DESCRIPTOR descriptor{};
    if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION)) {
        return Report("InitializeSecurityDescriptor() failed.Error %d\n");
    }
    OldList old;
    HeapBuffer list;
    if (!ReadList(oldDescriptor.Get(), old) || !BuildList(old, identity.sid.Get(), mask, list)) return 0;
    if (!SetSecurityDescriptorDacl(&descriptor, TRUE, static_cast<PACL>(list.Get()), FALSE)) {
        return Report("SetSecurityDescriptorDacl() failed. Error %d\n");
    }
    if (!KeepInheritance(oldDescriptor.Get(), &descriptor)) return 0;
    if (!changing::SetFileSecurityA(path, DACL_SECURITY_INFORMATION, &descriptor))
        return Report("SetFileSecurity() failed. Error %d\n");
    EnablePrivilege(SE_SECURITY_NAME, 0);
    return 1;
}
