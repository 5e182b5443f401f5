#include "changes/descriptors.h"

#include "platform/handles.h"

namespace changes::descriptors {
namespace {

constexpr SECURITY_INFORMATION kParts =
    OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

PSECURITY_DESCRIPTOR Pointer(const std::string& bytes) { return const_cast<char*>(bytes.data()); }

// Bytes of a record are looked at before Windows walks along their offsets.
bool IsWhole(const std::string& bytes) {
    return bytes.size() >= SECURITY_DESCRIPTOR_MIN_LENGTH / 2 && IsValidSecurityDescriptor(Pointer(bytes)) &&
           GetSecurityDescriptorLength(Pointer(bytes)) <= bytes.size();
}

bool ListOf(const std::string& bytes, PACL& list, SECURITY_INFORMATION& information) {
    BOOL present = FALSE, defaulted = FALSE;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    list = nullptr;
    if (!IsWhole(bytes) || !GetSecurityDescriptorDacl(Pointer(bytes), &present, &list, &defaulted) ||
        !GetSecurityDescriptorControl(Pointer(bytes), &control, &revision)) {
        return false;
    }
    information =
        DACL_SECURITY_INFORMATION | ((control & SE_DACL_PROTECTED) != 0 ? PROTECTED_DACL_SECURITY_INFORMATION
                                                                        : UNPROTECTED_DACL_SECURITY_INFORMATION);
    return true;
}

}  // namespace

DWORD OfKey(HKEY key, std::string& descriptor) {
    DWORD size = 256;
    for (;;) {
        descriptor.assign(size, '\0');
        const LSTATUS status = RegGetKeySecurity(key, kParts, descriptor.data(), &size);
        if (status == ERROR_INSUFFICIENT_BUFFER && size > descriptor.size()) continue;
        descriptor.resize(status == 0 ? GetSecurityDescriptorLength(descriptor.data()) : 0);
        return DWORD(status);
    }
}

DWORD OfFile(const char* path, std::string& descriptor) {
    DWORD size = 256;
    for (;;) {
        descriptor.assign(size, '\0');
        DWORD needed = 0;
        if (GetFileSecurityA(path, kParts, descriptor.data(), size, &needed)) {
            descriptor.resize(GetSecurityDescriptorLength(descriptor.data()));
            return 0;
        }
        const DWORD error = GetLastError();
        if (error == ERROR_INSUFFICIENT_BUFFER && needed > size) {
            size = needed;
            continue;
        }
        descriptor.clear();
        return error;
    }
}

DWORD RestoreKey(HKEY key, const std::string& wanted) {
    std::string now;
    if (const DWORD error = OfKey(key, now)) return error;
    if (now == wanted) return 0;
    PACL list = nullptr;
    SECURITY_INFORMATION information = 0;
    if (!ListOf(wanted, list, information)) return ERROR_INVALID_SECURITY_DESCR;
    return ::SetSecurityInfo(key, SE_REGISTRY_KEY, information, nullptr, nullptr, list, nullptr);
}

DWORD RestoreFile(const char* path, const std::string& wanted) {
    std::string now;
    if (const DWORD error = OfFile(path, now)) return error;
    if (now == wanted) return 0;
    PACL list = nullptr;
    SECURITY_INFORMATION information = 0;
    if (!ListOf(wanted, list, information)) return ERROR_INVALID_SECURITY_DESCR;
    return ::SetFileSecurityA(path, information, Pointer(wanted)) ? 0 : GetLastError();
}

std::string Copy(PSECURITY_DESCRIPTOR descriptor) {
    if (descriptor == nullptr || !IsValidSecurityDescriptor(descriptor)) return {};
    DWORD size = 0;
    MakeSelfRelativeSD(descriptor, nullptr, &size);
    std::string bytes(size, '\0');
    if (size != 0 && MakeSelfRelativeSD(descriptor, bytes.data(), &size)) return bytes;
    // It is self-relative already.
    return {static_cast<const char*>(descriptor), GetSecurityDescriptorLength(descriptor)};
}

PSECURITY_DESCRIPTOR ForAdministrators() {
    alignas(DWORD) static BYTE listBytes[256];
    static SECURITY_DESCRIPTOR descriptor;
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    AllocatedSid administrators, system;
    const PACL list = reinterpret_cast<PACL>(listBytes);
    const BYTE inherited = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;
    const bool made =
        AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                 administrators.Receive()) &&
        AllocateAndInitializeSid(&authority, 1, SECURITY_LOCAL_SYSTEM_RID, 0, 0, 0, 0, 0, 0, 0, system.Receive()) &&
        InitializeAcl(list, sizeof listBytes, ACL_REVISION) &&
        AddAccessAllowedAceEx(list, ACL_REVISION, inherited, FILE_ALL_ACCESS, administrators.Get()) &&
        AddAccessAllowedAceEx(list, ACL_REVISION, inherited, FILE_ALL_ACCESS, system.Get()) &&
        InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) &&
        SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE) &&
        SetSecurityDescriptorControl(&descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED);
    return made ? &descriptor : nullptr;
}

}  // namespace changes::descriptors
