// Access tokens: who a process or thread acts as, with which groups and privileges.
#ifndef INSTALIB_EMBEDDED_SECURITY_TOKEN_H
#define INSTALIB_EMBEDDED_SECURITY_TOKEN_H

#include <memory>
#include <mutex>

#include "platform/embedded/core/handles_table.h"
#include "platform/embedded/security/sid.h"

namespace embedded::security {

// Privileges by number (the low part of their LUID), as bits.
struct PrivilegeBits {
    std::uint64_t held = 0;
    std::uint64_t enabled = 0;
    std::uint64_t byDefault = 0;
};
inline std::uint64_t PrivilegeBit(DWORD number) { return number < 64 ? std::uint64_t(1) << number : 0; }
// The number of "SeBackupPrivilege" in any letter case, 0 for any other text; and back, null for no privilege.
DWORD PrivilegeNumber(std::string_view name);
const char* PrivilegeName(DWORD number);
inline constexpr DWORD kSecurityPrivilege = 8;
inline constexpr DWORD kTakeOwnershipPrivilege = 9;
inline constexpr DWORD kRestorePrivilege = 18;
inline constexpr DWORD kLastPrivilege = 35;

struct TokenGroup {
    Bytes sid;
    DWORD attributes = 0;
};

// Fixed but for its privileges, which any thread may adjust.
class Token {
  public:
    Bytes user;
    std::vector<TokenGroup> groups;
    Bytes owner;  // of what is created
    Bytes primaryGroup;
    TOKEN_TYPE type = TokenPrimary;
    SECURITY_IMPERSONATION_LEVEL level = SecurityAnonymous;

    Token() = default;
    Token(const Token& other);

    PrivilegeBits Privileges() const;
    void SetPrivileges(const PrivilegeBits& privileges);
    bool HasEnabled(DWORD privilege) const { return (Privileges().enabled & PrivilegeBit(privilege)) != 0; }

    // Whether entries for this identifier speak of the token: allowing ones need an enabled group, denying ones count
    // for groups that are there for deny only, too.
    bool IsAllowedBy(ByteView sid) const { return Matches(sid, SE_GROUP_ENABLED); }
    bool IsDeniedBy(ByteView sid) const { return Matches(sid, SE_GROUP_ENABLED | SE_GROUP_USE_FOR_DENY_ONLY); }
    // Whether it may be given as the owner of an object.
    bool MayOwn(ByteView sid) const { return Equal(sid, user) || Matches(sid, SE_GROUP_OWNER); }

  private:
    bool Matches(ByteView sid, DWORD attributes) const;
    mutable std::mutex m_mutex;
    PrivilegeBits m_privileges;
};

// An open token and what its handle may do.
class TokenHandle : public HandleObject {
  public:
    TokenHandle(std::shared_ptr<Token> token, DWORD access)
        : HandleObject(ResourceKind::Token), m_token(std::move(token)), m_access(access) {}
    Token& Target() const { return *m_token; }
    const std::shared_ptr<Token>& Shared() const { return m_token; }
    bool Allows(DWORD rights) const { return (m_access & rights) == rights; }

  private:
    std::shared_ptr<Token> m_token;
    DWORD m_access;
};

// The token behind a handle that allows `rights`; null with ERROR_INVALID_HANDLE or ERROR_ACCESS_DENIED.
std::shared_ptr<TokenHandle> OpenedToken(HANDLE handle, DWORD rights);

std::shared_ptr<Token> ProcessToken();
// What the calling thread impersonates; null when it impersonates nobody.
std::shared_ptr<Token> ThreadToken();
void Impersonate(std::shared_ptr<Token> token);
// What access checks of the calling thread go by: one of the two above.
std::shared_ptr<Token> EffectiveToken();

}  // namespace embedded::security

#endif
