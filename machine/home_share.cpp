// The product's hidden home share.
#include "instalib/computer.h"
#include "instalib/registry.h"
#include "platform/handles.h"
#include "system/directory_text.h"
#include "system/security_object.h"
#include "system/wide_text.h"

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
    return _stricmp(NarrowText(share->shi2_path), path) == 0;
}

// The account's entry when there is one, then the groups'; "Everyone" goes. Every step runs; 0 when one failed, with
// the first one's error.
int GrantAccess(CShareSecurity& security, const char* system, const char* account) {
    DWORD firstError = ERROR_SUCCESS;
    const auto check = [&](int succeeded) {
        if (!succeeded && firstError == ERROR_SUCCESS) firstError = security.LastError();
    };
    if (account != nullptr && *account != '\0') check(security.AddAceForAccount(system, account, FILE_ALL_ACCESS, 1));
    check(security.RemoveAceForAccount(system, kEveryone));
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
    CShareSecurity security;
    if (IsSharedAs(name, directory)) return 1;
    NetShareDel(nullptr, name.Get(), 0);
    WideText widePath(directory);
    WideText remark(kRemark);
    if (!security.CreateShare(name.Get(), widePath.Get(), remark.Get(), nullptr, 0))
        return FailWith(security.LastError());
    if (!GrantAccess(security, accountSystem, account)) return 0;
    const int applied = security.ApplyToShare(nullptr, 0);
    SetLastError(applied ? ERROR_SUCCESS : security.LastError());
    return 1;
}

int CComputer::DeleteKorvaultHomeShare() {
    const CHalvRegistry registry(1, nullptr);
    WideText name(ShareName());
    return static_cast<int>(NetShareDel(nullptr, name.Get(), 0));
}
