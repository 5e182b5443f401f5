// The product's hidden home share.
#include "changes/changing.h"
#include "foundation/well_known_sid.h"
#include "foundation/wide_text.h"
#include "instalib/computer.h"
#include "instalib/registry.h"
#include "platform/handles.h"
#include "system/directory_text.h"
#include "system/security_object.h"

namespace {

constexpr char kRemark[] = "Zephranite System Directory";
constexpr char kEveryone[] = "Everyone";
constexpr DWORD kReadWriteExecuteDelete = 0x1301BF;
constexpr int kLongestPath = 255;

// "PRODUCT$"; an object is built first when no product id has been chosen yet, so that the name is never "$" alone.
CString ShareName() {
    if (*CHalvRegistry::GetZephraniteProdName() == '\0') const CHalvRegistry roots(1, nullptr);
    return CString(CHalvRegistry::GetZephraniteProdName()) + "$";
}

bool IsSharedAs(WideText& name, const CString& path) {
    NetBuffer information;
    const NET_API_STATUS status =
        NetShareGetInfo(nullptr, name.Get(), 2, reinterpret_cast<BYTE**>(information.Receive()));
    if (status != NERR_Success) return false;
    const auto* const share = static_cast<const SHARE_INFO_2*>(information.Get());
    CString sharedPath;
    return ToNarrow(share->shi2_path, sharedPath) && _stricmp(sharedPath, path) == 0;
}

// Takes everyone's entry away, found by the group's English name or, where Windows speaks another language, by its
// identifier S-1-1-0.
int RemoveEveryone(CShareSecurity& security, const char* system) {
    AccountIdentity identity;
    if (security.LookupSid(system, kEveryone, identity)) return security.RemoveAceForSid(identity.sid.Get());
    const AllocatedSid everyone = EveryoneSid();
    return everyone ? security.RemoveAceForSid(everyone.Get()) : 0;
}

// The account's entry when there is one, then the groups'; "Everyone" goes. Every step runs; 0 when one failed, with
// the first one's error.
int GrantAccess(CShareSecurity& security, const char* system, const char* account) {
    DWORD firstError = ERROR_SUCCESS;
    const auto check = [&](int succeeded) {
        if (!succeeded && firstError == ERROR_SUCCESS) firstError = security.LastError();
    };
    if (account != nullptr && *account != '\0') check(security.AddAceForAccount(system, account, FILE_ALL_ACCESS, 1));
    check(RemoveEveryone(security, system));
    check(security.AddAceForBuiltinAlias(DOMAIN_ALIAS_RID_ADMINS, FILE_ALL_ACCESS, 1));
    check(security.AddAceForBuiltinAlias(DOMAIN_ALIAS_RID_BACKUP_OPS, kReadWriteExecuteDelete, 1));
    return firstError == ERROR_SUCCESS ? 1 : FailWith(firstError);
}

}  // namespace

int CComputer::CreateKorvaultHomeShare(const char* path, const char* accountSystem, const char* account) {
    if (path == nullptr || *path == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    CString directory = path;
    if (EndsInBackSlash(directory)) directory = directory.Left(directory.GetLength() - 1);
    if (directory.GetLength() > kLongestPath) return FailWith(ERROR_FILENAME_EXCED_RANGE);

    WideText name(ShareName());
    WideText widePath(directory);
    WideText remark(kRemark);
    if (!AllFit(name, widePath, remark)) return 0;
    CShareSecurity security;
    if (IsSharedAs(name, directory)) return 1;
    // The old share goes only when there is a descriptor for the new one.
    if (security.LastError() != ERROR_SUCCESS) return FailWith(security.LastError());
    changing::NetShareDel(nullptr, name.Get(), 0);
    if (!security.CreateShare(name.Get(), widePath.Get(), remark.Get(), nullptr, 0))
        return FailWith(security.LastError());
    // An old share that would not go is still there, with its own path.
    if (!IsSharedAs(name, directory)) return FailWith(NERR_DuplicateShare);
    if (!GrantAccess(security, accountSystem, account)) return 0;
    const int applied = security.ApplyToShare(nullptr, 0);
    SetLastError(applied ? ERROR_SUCCESS : security.LastError());
    return 1;
}

int CComputer::DeleteKorvaultHomeShare() {
    const CHalvRegistry registry(1, nullptr);
    WideText name(ShareName());
    if (!name.Fits()) return static_cast<int>(GetLastError());
    return static_cast<int>(changing::NetShareDel(nullptr, name.Get(), 0));
}
