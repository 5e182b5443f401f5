#include "instalib/current_user.h"

#include <cstring>

#include "foundation/well_known_sid.h"
#include "instalib/exception.h"
#include "platform/handles.h"
#include "platform/platform.h"

namespace {

constexpr DWORD kNameCapacity = 48;
constexpr int kCause = 2;
constexpr DWORD kFullControl = 0x10000000;  // GENERIC_ALL
// The mapping of file objects.
constexpr GENERIC_MAPPING kMapping = {0x120089, 0x120116, 0x1200A0, 0x1F01FF};

void Require(BOOL succeeded, const char* failure) {
    if (!succeeded) AfxThrowSetupException(kCause, GetLastError(), failure);
}

KernelHandle ProcessToken() {
    KernelHandle token;
    Require(OpenProcessToken(GetCurrentProcess(), TOKEN_READ, token.Receive()), "OpenProcessToken() failed");
    return token;
}

AllocatedSid AdministratorsGroup() {
    AllocatedSid group = BuiltinSid(DOMAIN_ALIAS_RID_ADMINS);
    Require(group ? TRUE : FALSE, "AllocateAndInitializeSid() failed");
    return group;
}

// A descriptor that grants everything to Administrators and nothing to anyone else.
PrivateDescriptor AdministratorsOnly(HANDLE token) {
    SECURITY_DESCRIPTOR descriptor;
    Require(InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION),
            "InitializeSecurityDescriptor() failed");
    alignas(ACL) BYTE room[4096];
    ACL* list = reinterpret_cast<ACL*>(room);
    Require(InitializeAcl(list, sizeof room, ACL_REVISION), "InitializeAcl() failed");
    const AllocatedSid group = AdministratorsGroup();
    Require(AddAccessAllowedAce(list, ACL_REVISION, kFullControl, group.Get()), "AddAccessAllowedAce() failed");
    Require(SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE), "SetSecurityDescriptorDacl failed()");
    PrivateDescriptor result;
    GENERIC_MAPPING mapping = kMapping;
    Require(CreatePrivateObjectSecurity(nullptr, &descriptor, result.Receive(), FALSE, token, &mapping),
            "CreatePrivateObjectSecurity() failed");
    return result;
}

// The thread takes the process's own context as an impersonation, which the access check wants, until this goes.
class SelfImpersonation {
  public:
    SelfImpersonation() { Require(ImpersonateSelf(SecurityImpersonation), "OpenThreadToken() failed"); }
    ~SelfImpersonation() { RevertToSelf(); }
    SelfImpersonation(const SelfImpersonation&) = delete;
    SelfImpersonation& operator=(const SelfImpersonation&) = delete;
};

void CheckAdministrator() {
    const KernelHandle process = ProcessToken();
    const PrivateDescriptor descriptor = AdministratorsOnly(process.Get());
    const SelfImpersonation impersonation;
    KernelHandle thread;
    Require(OpenThreadToken(GetCurrentThread(), TOKEN_READ, TRUE, thread.Receive()), "OpenThreadToken() failed");

    GENERIC_MAPPING mapping = kMapping;
    DWORD desired = kFullControl;
    MapGenericMask(&desired, &mapping);
    alignas(PRIVILEGE_SET) BYTE privileges[1024];
    DWORD size = sizeof privileges;
    DWORD granted = 0;
    BOOL allowed = FALSE;
    Require(AccessCheck(descriptor.Get(), thread.Get(), desired, &mapping, reinterpret_cast<PRIVILEGE_SET*>(privileges),
                        &size, &granted, &allowed),
            "AccessCheck() failed");
    if (!allowed) AfxThrowSetupException(kCause, 0, "AccessCheck() failed - not an administrator");
}

}  // namespace

CCurrentUser::CCurrentUser() {
    char name[kNameCapacity] = "";
    DWORD size = kNameCapacity;
    if (GetUser(name, &size)) m_sUser = name;
    size = kNameCapacity;
    if (GetDomain(name, &size)) m_sDomain = name;
}

CCurrentUser::CCurrentUser(const CCurrentUser& other) = default;
CCurrentUser& CCurrentUser::operator=(const CCurrentUser& other) = default;
CCurrentUser::~CCurrentUser() = default;

const char* CCurrentUser::GetUser() { return m_sUser; }
const char* CCurrentUser::GetDomain() { return m_sDomain; }

int CCurrentUser::GetUser(char* buffer, DWORD* size) {
    if (buffer == nullptr || size == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    return GetUserNameA(buffer, size);
}

int CCurrentUser::GetDomain(char* buffer, DWORD* size) {
    if (buffer == nullptr || size == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    alignas(TOKEN_USER) BYTE information[1000];
    {
        KernelHandle token;
        DWORD needed = 0;
        if (!OpenProcessToken(GetCurrentProcess(), TOKEN_READ, token.Receive())) return 0;
        if (!GetTokenInformation(token.Get(), TokenUser, information, sizeof information, &needed)) return 0;
    }
    char account[200] = "";
    DWORD accountSize = sizeof account;
    SID_NAME_USE use;
    PSID sid = reinterpret_cast<TOKEN_USER*>(information)->User.Sid;
    if (!LookupAccountSidA(nullptr, sid, account, &accountSize, buffer, size, &use)) return 0;
    *size = DWORD(std::strlen(buffer));  // not every system leaves the terminator out
    return 1;
}

int CCurrentUser::IsAdministrator() {
    try {
        CheckAdministrator();
        return 1;
    } catch (CSetupException* failure) {
        const DWORD error = failure->m_dwError;
        failure->Delete();
        SetLastError(error);
    } catch (CException* failure) {  // out of memory
        failure->Delete();
    }
    return 0;
}
