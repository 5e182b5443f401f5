#include "instalib/system_account.h"

#include <cstdio>
#include <cstring>

#include "changes/changing.h"
#include "foundation/wide_text.h"
#include "foundation/wipe.h"
#include "instalib/exception.h"
#include "platform/handles.h"
#include "platform/lsa_accounts.h"
#include "platform/product_libraries.h"
#include "system/account_limits.h"

namespace {

constexpr DWORD kDomainBufferSize = 80;
constexpr DWORD kSidBufferSize = 1024;
constexpr DWORD kForever = MAXDWORD;  // TIMEQ_FOREVER and USER_MAXSTORAGE_UNLIMITED

// Adds the user; one that exists already is as good.
int AddUser(const WCHAR* server, const char* userName, const char* password) {
    WideText name(userName);
    WideText secret(password);
    if (!AllFit(name, secret)) return 0;
    USER_INFO_2 user{};
    user.usri2_name = name.Get();
    user.usri2_full_name = name.Get();
    user.usri2_password = secret.Get();
    user.usri2_priv = USER_PRIV_USER;
    user.usri2_flags = UF_SCRIPT | UF_NORMAL_ACCOUNT | UF_DONT_EXPIRE_PASSWD;
    user.usri2_acct_expires = kForever;
    user.usri2_max_storage = kForever;
    const NET_API_STATUS status = changing::NetUserAdd(server, 2, reinterpret_cast<BYTE*>(&user), nullptr);
    return status == NERR_Success || status == NERR_UserExists ? 1 : FailWith(status);
}

// The account "DOMAIN\USER" of the server into a buffer of kSidBufferSize bytes.
int FindAccountSid(const WCHAR* server, const char* domain, const char* userName, BYTE* sid) {
    const CString account = CString(domain) + "\\" + userName;
    CString machine;
    if (!ToNarrow(server, machine)) return 0;
    char referencedDomain[kDomainBufferSize] = "";
    DWORD sidSize = kSidBufferSize;
    DWORD domainSize = sizeof referencedDomain;
    SID_NAME_USE use{};
    return LookupAccountNameA(server != nullptr ? static_cast<const char*>(machine) : nullptr, account, sid, &sidSize,
                              referencedDomain, &domainSize, &use);
}

// The texts fit the records that they pass through.
int CheckTexts(const char* computerName, const char* domain, const char* userName, const char* password) {
    const bool fit = account_limits::Fits(computerName, account_limits::kComputer) &&
                     account_limits::Fits(domain, account_limits::kText) &&
                     account_limits::Fits(userName, account_limits::kText) &&
                     account_limits::Fits(password, account_limits::kText);
    return fit ? 1 : FailWith(ERROR_INVALID_PARAMETER);
}

}  // namespace

CSystemAccount::CSystemAccount(const char* computerName, const char* domain, const char* userName, const char* password)
    : m_sComputerName(computerName),
      m_sDomain(domain),
      m_sUserName(userName),
      m_sPassword(password),
      m_pServer(nullptr) {
    m_sComputerName.MakeUpper();
    m_sDomain.MakeUpper();
    m_bLocal = m_sComputerName == m_sDomain;
    if (m_bLocal) return;
    WideText wideDomain(m_sDomain);
    BYTE* server = nullptr;
    if (wideDomain.Fits() && NetGetDCName(nullptr, wideDomain.Get(), &server) == NERR_Success)
        m_pServer = reinterpret_cast<WCHAR*>(server);
}

namespace {

// A copy of the server's name in a network buffer of its own; null when there is none to copy.
WCHAR* CopyServer(const WCHAR* server) {
    if (server == nullptr) return nullptr;
    const auto bytes = static_cast<DWORD>((TextLength(server) + 1) * sizeof(WCHAR));
    void* copy = nullptr;
    // Without the name the copy would work on the local machine instead.
    if (NetApiBufferAllocate(bytes, &copy) != NERR_Success) AfxThrowMemoryException();
    std::memcpy(copy, server, bytes);
    return static_cast<WCHAR*>(copy);
}

}  // namespace

CSystemAccount::CSystemAccount(const CSystemAccount& other)
    : m_sComputerName(other.m_sComputerName),
      m_sDomain(other.m_sDomain),
      m_sUserName(other.m_sUserName),
      m_sPassword(other.m_sPassword),
      m_pServer(CopyServer(other.m_pServer)),
      m_bLocal(other.m_bLocal) {}

CSystemAccount& CSystemAccount::operator=(const CSystemAccount& other) {
    if (this == &other) return *this;
    m_sComputerName = other.m_sComputerName;
    m_sDomain = other.m_sDomain;
    m_sUserName = other.m_sUserName;
    m_sPassword.Wipe();
    m_sPassword = other.m_sPassword;
    m_bLocal = other.m_bLocal;
    WCHAR* const copy = CopyServer(other.m_pServer);
    const NetBuffer replaced(m_pServer);
    m_pServer = copy;
    return *this;
}

CSystemAccount::~CSystemAccount() {
    const NetBuffer server(m_pServer);
    m_sPassword.Wipe();
}

int CSystemAccount::Create() { return Create(m_pServer, m_sComputerName, m_sDomain, m_sUserName, m_sPassword); }
int CSystemAccount::AssignGroups() {
    return AssignGroups(m_pServer, m_sComputerName, m_sDomain, m_sUserName, m_sPassword);
}
int CSystemAccount::ValidPassword() {
    return ValidPassword(m_pServer, m_sComputerName, m_sDomain, m_sUserName, m_sPassword);
}
int CSystemAccount::Exists() { return Exists(m_pServer, m_sUserName); }
int CSystemAccount::Delete() { return Delete(m_pServer, m_sUserName); }
int CSystemAccount::Register() { return Register(m_sComputerName, m_sDomain, m_sUserName, m_sPassword); }

int CSystemAccount::Create(const WCHAR* server, const char* computerName, const char* domain, const char* userName,
                           const char* password) {
    if (!CheckTexts(computerName, domain, userName, password)) return 0;
    return AddUser(server, userName, password) && AssignGroups(server, computerName, domain, userName, password);
}

int CSystemAccount::AssignGroups(const WCHAR* server, const char* computerName, const char* domain,
                                 const char* userName, const char* password) {
    if (!CheckTexts(computerName, domain, userName, password)) return 0;
    alignas(DWORD) BYTE sid[kSidBufferSize] = {};
    return FindAccountSid(server, domain, userName, sid) && AddMemberToGroup(DOMAIN_ALIAS_RID_ADMINS, server, sid) &&
           AddMemberToGroup(DOMAIN_ALIAS_RID_BACKUP_OPS, server, sid) && AddKorvaultUserPrivileges(server);
}

int CSystemAccount::ValidPassword(const WCHAR*, const char*, const char* domain, const char* userName,
                                  const char* password) {
    WideText wideDomain(domain);
    WideText wideUser(userName);
    WideText secret(password);
    if (!AllFit(wideDomain, wideUser, secret)) return 1;
    const NET_API_STATUS status = NetUserChangePassword(wideDomain.Get(), wideUser.Get(), secret.Get(), secret.Get());
    return status == ERROR_INVALID_PASSWORD ? FailWith(status) : 1;
}

int CSystemAccount::Exists(const WCHAR* server, const char* userName) {
    WideText wideUser(userName);
    if (!wideUser.Fits()) return 0;
    NetBuffer information;
    const NET_API_STATUS status =
        NetUserGetInfo(server, wideUser.Get(), 2, reinterpret_cast<BYTE**>(information.Receive()));
    return status == NERR_Success ? 1 : FailWith(status);
}

int CSystemAccount::Delete(const WCHAR* server, const char* userName) {
    WideText wideUser(userName);
    if (!wideUser.Fits()) return 0;
    const NET_API_STATUS status = changing::NetUserDel(server, wideUser.Get());
    return status == NERR_Success ? 1 : FailWith(status);
}

int CSystemAccount::Register(const char* computerName, const char* domain, const char* userName, const char* password) {
    if (!CheckTexts(computerName, domain, userName, password)) return 0;
    char module[MAX_PATH + 1] = "";
    char drive[_MAX_DRIVE] = "";
    char directory[_MAX_DIR] = "";
    const DWORD length = GetModuleFileNameA(nullptr, module, MAX_PATH);
    if (length == 0) return 0;
    if (length >= MAX_PATH) return FailWith(ERROR_FILENAME_EXCED_RANGE);  // cut: another directory's path
    _splitpath(module, drive, directory, nullptr, nullptr);
    const CString path = CString(drive) + directory + product::kToolLibrary;
    const LoadedLibrary library(LoadLibraryA(path));
    const auto setAccount = product::EntryPoint<product::SetUserAccount>(library.Get(), "HstSetUserAccountA");
    if (setAccount == nullptr || !changing::Announce("HSTOOL.DLL, HstSetUserAccountA")) return 0;

    char computer[account_limits::kComputer + 1] = "";
    product::UserAccount account{};
    account_limits::Copy(computer, computerName);
    account_limits::Copy(account.domain, domain);
    account_limits::Copy(account.userName, userName);
    account_limits::Copy(account.password, password);
    const DWORD answer = setAccount(computer, &account);
    WipeMemory(&account, sizeof account);
    return LOWORD(answer) != 0 ? 1 : 0;
}
