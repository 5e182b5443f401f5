// The exported functions on tokens.
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/security/token.h"

using embedded::Bytes;
using embedded::ResourceKind;
using embedded::control::CallKind;
namespace gate = embedded::gate;
namespace handles = embedded::handles;
namespace security = embedded::security;
using security::Fail;
using security::PrivilegeBit;
using security::PrivilegeBits;
using security::Token;
using security::TokenHandle;

namespace {

// GetCurrentProcess and GetCurrentThread.
const HANDLE kThisProcess = reinterpret_cast<HANDLE>(LONG_PTR(-1));
const HANDLE kThisThread = reinterpret_cast<HANDLE>(LONG_PTR(-2));

// The token's own security lets its user do everything with it.
DWORD GrantedOn(DWORD desired) {
    constexpr DWORD kGenericAndMaximum = GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL | MAXIMUM_ALLOWED;
    DWORD granted = desired & ~kGenericAndMaximum;
    if ((desired & GENERIC_READ) != 0) granted |= TOKEN_READ;
    if ((desired & GENERIC_WRITE) != 0) granted |= TOKEN_WRITE;
    if ((desired & GENERIC_EXECUTE) != 0) granted |= TOKEN_EXECUTE;
    if ((desired & (GENERIC_ALL | MAXIMUM_ALLOWED)) != 0) granted |= TOKEN_ALL_ACCESS;
    return granted;
}

BOOL HandOutToken(std::shared_ptr<Token> token, DWORD desired, PHANDLE handle) {
    *handle = handles::Add(std::make_shared<TokenHandle>(std::move(token), GrantedOn(desired)));
    return TRUE;
}

std::shared_ptr<Token> ImpersonationCopy(const Token& token, SECURITY_IMPERSONATION_LEVEL level) {
    auto copy = std::make_shared<Token>(token);
    copy->type = TokenImpersonation;
    copy->level = level;
    return copy;
}

bool IsLevel(SECURITY_IMPERSONATION_LEVEL level) { return level >= SecurityAnonymous && level <= SecurityDelegation; }

// --- GetTokenInformation ---

// An answer whose records hold pointers to the identifiers behind them, laid out for the buffer at `base`.
class Answer {
  public:
    Answer(const void* base, std::size_t fixed) : m_base(static_cast<const BYTE*>(base)), m_bytes(fixed) {}
    template <class Value>
    void Put(std::size_t offset, const Value& value) {
        std::memcpy(m_bytes.data() + offset, &value, sizeof value);
    }
    PSID AddSid(const Bytes& sid) {
        const std::size_t offset = m_bytes.size();
        m_bytes.insert(m_bytes.end(), sid.begin(), sid.end());
        return const_cast<BYTE*>(m_base) + offset;
    }
    const Bytes& All() const { return m_bytes; }

  private:
    const BYTE* m_base;
    Bytes m_bytes;
};

Bytes GroupsAnswer(const Token& token, const void* base) {
    constexpr std::size_t kFirst = offsetof(TOKEN_GROUPS, Groups);
    Answer answer(base, kFirst + token.groups.size() * sizeof(SID_AND_ATTRIBUTES));
    answer.Put(0, DWORD(token.groups.size()));
    for (std::size_t i = 0; i < token.groups.size(); ++i) {
        SID_AND_ATTRIBUTES row = {};
        row.Sid = answer.AddSid(token.groups[i].sid);
        row.Attributes = token.groups[i].attributes;
        answer.Put(kFirst + i * sizeof row, row);
    }
    return answer.All();
}

DWORD AttributesOf(const PrivilegeBits& bits, DWORD number) {
    const std::uint64_t bit = PrivilegeBit(number);
    return ((bits.byDefault & bit) != 0 ? SE_PRIVILEGE_ENABLED_BY_DEFAULT : 0) |
           ((bits.enabled & bit) != 0 ? SE_PRIVILEGE_ENABLED : 0);
}

// TOKEN_PRIVILEGES of the privileges in `which`, with their attributes in `bits`.
Bytes PrivilegesAnswer(const PrivilegeBits& bits, std::uint64_t which) {
    Bytes bytes(sizeof(DWORD));
    DWORD count = 0;
    for (DWORD number = 0; number <= security::kLastPrivilege; ++number) {
        if ((which & PrivilegeBit(number)) == 0) continue;
        const LUID_AND_ATTRIBUTES row = {{number, 0}, AttributesOf(bits, number)};
        const auto* const raw = reinterpret_cast<const BYTE*>(&row);
        bytes.insert(bytes.end(), raw, raw + sizeof row);
        ++count;
    }
    std::memcpy(bytes.data(), &count, sizeof count);
    return bytes;
}

template <class Record>
Bytes SidAnswer(const Bytes& sid, const void* base) {
    Answer answer(base, sizeof(Record));
    answer.Put(0, answer.AddSid(sid));
    return answer.All();
}

template <class Value>
Bytes PlainAnswer(Value value) {
    const auto* const raw = reinterpret_cast<const BYTE*>(&value);
    return Bytes(raw, raw + sizeof value);
}

// Empty for a class that is not known or that the token does not have.
Bytes AnswerTo(TOKEN_INFORMATION_CLASS informationClass, const Token& token, const void* base) {
    switch (informationClass) {
        case TokenUser:
            return SidAnswer<TOKEN_USER>(token.user, base);
        case TokenGroups:
            return GroupsAnswer(token, base);
        case TokenPrivileges:
            return PrivilegesAnswer(token.Privileges(), token.Privileges().held);
        case TokenOwner:
            return SidAnswer<TOKEN_OWNER>(token.owner, base);
        case TokenPrimaryGroup:
            return SidAnswer<TOKEN_PRIMARY_GROUP>(token.primaryGroup, base);
        case TokenType:
            return PlainAnswer(token.type);
        case TokenImpersonationLevel:
            return token.type == TokenImpersonation ? PlainAnswer(token.level) : Bytes();
    }
    return {};
}

// --- AdjustTokenPrivileges ---

struct Adjustment {
    PrivilegeBits bits;
    bool all = true;  // the token holds every privilege that was named
};

Adjustment Adjust(PrivilegeBits bits, const TOKEN_PRIVILEGES& wanted) {
    Adjustment result{bits, true};
    for (DWORD i = 0; i < wanted.PrivilegeCount; ++i) {
        const LUID_AND_ATTRIBUTES& row = wanted.Privileges[i];
        const std::uint64_t bit = row.Luid.HighPart == 0 ? PrivilegeBit(row.Luid.LowPart) & result.bits.held : 0;
        result.all &= bit != 0;
        const bool remove = (row.Attributes & SE_PRIVILEGE_REMOVED) != 0;
        const bool enable = !remove && (row.Attributes & SE_PRIVILEGE_ENABLED) != 0;
        result.bits.enabled = enable ? result.bits.enabled | bit : result.bits.enabled & ~bit;
        if (remove) result.bits.held &= ~bit;
    }
    return result;
}

}  // namespace

std::shared_ptr<TokenHandle> security::OpenedToken(HANDLE handle, DWORD rights) {
    std::shared_ptr<TokenHandle> token = handles::Find<TokenHandle>(handle);
    if (token && token->Allows(rights)) return token;
    SetLastError(token ? ERROR_ACCESS_DENIED : ERROR_INVALID_HANDLE);
    return nullptr;
}

BOOL OpenProcessToken(HANDLE process, DWORD desired, PHANDLE token) {
    if (gate::Refuses(CallKind::Security, "OpenProcessToken")) return FALSE;
    if (token == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const auto object = process == kThisProcess ? nullptr : handles::Find(process);
    // A child runs as the one who started it.
    if (process != kThisProcess && (!object || object->Kind() != ResourceKind::Process))
        return Fail(ERROR_INVALID_HANDLE);
    return security::ThroughLastError(security::Guarded([&]() -> DWORD {
        HandOutToken(security::ProcessToken(), desired, token);
        return 0;
    }));
}

BOOL OpenThreadToken(HANDLE thread, DWORD desired, BOOL openAsSelf, PHANDLE token) {
    if (gate::Refuses(CallKind::Security, "OpenThreadToken")) return FALSE;
    if (token == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (thread != kThisThread) return Fail(ERROR_INVALID_HANDLE);
    std::shared_ptr<Token> impersonated = security::ThreadToken();
    if (!impersonated) return Fail(ERROR_NO_TOKEN);
    if (impersonated->level == SecurityAnonymous) return Fail(ERROR_CANT_OPEN_ANONYMOUS);
    // Who only identifies may not open things under that identity, its own token included.
    if (openAsSelf == FALSE && impersonated->level < SecurityImpersonation) return Fail(ERROR_BAD_IMPERSONATION_LEVEL);
    return HandOutToken(std::move(impersonated), desired, token);
}

BOOL GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS informationClass, LPVOID information, DWORD size,
                         PDWORD needed) {
    if (gate::Refuses(CallKind::Security, "GetTokenInformation")) return FALSE;
    const std::shared_ptr<TokenHandle> opened = security::OpenedToken(token, TOKEN_QUERY);
    if (!opened) return FALSE;
    const Bytes answer = AnswerTo(informationClass, opened->Target(), information);
    if (needed == nullptr || answer.empty()) return Fail(ERROR_INVALID_PARAMETER);
    return security::FillBuffer(answer, information, size, needed);
}

BOOL AdjustTokenPrivileges(HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES newState, DWORD size,
                           PTOKEN_PRIVILEGES previousState, PDWORD needed) {
    if (gate::Refuses(CallKind::Security, "AdjustTokenPrivileges")) return FALSE;
    const std::shared_ptr<TokenHandle> opened =
        security::OpenedToken(token, TOKEN_ADJUST_PRIVILEGES | (previousState != nullptr ? TOKEN_QUERY : 0));
    if (!opened) return FALSE;
    if ((disableAll == FALSE && newState == nullptr) || (previousState != nullptr && needed == nullptr)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const PrivilegeBits before = opened->Target().Privileges();
    const Adjustment after =
        disableAll != FALSE ? Adjustment{{before.held, 0, before.byDefault}, true} : Adjust(before, *newState);
    if (previousState != nullptr) {
        const std::uint64_t changed = (before.enabled ^ after.bits.enabled) | (before.held ^ after.bits.held);
        if (!security::FillBuffer(PrivilegesAnswer(before, changed), previousState, size, needed)) return FALSE;
    }
    opened->Target().SetPrivileges(after.bits);
    SetLastError(after.all ? ERROR_SUCCESS : ERROR_NOT_ALL_ASSIGNED);
    return TRUE;
}

BOOL PrivilegeCheck(HANDLE token, PPRIVILEGE_SET required, LPBOOL result) {
    if (gate::Refuses(CallKind::Security, "PrivilegeCheck")) return FALSE;
    const std::shared_ptr<TokenHandle> opened = security::OpenedToken(token, TOKEN_QUERY);
    if (!opened) return FALSE;
    if (required == nullptr || result == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const Token& target = opened->Target();
    if (target.type == TokenImpersonation && target.level < SecurityIdentification) {
        return Fail(ERROR_BAD_IMPERSONATION_LEVEL);
    }
    const bool all = (required->Control & PRIVILEGE_SET_ALL_NECESSARY) != 0;
    DWORD enabled = 0;
    for (DWORD i = 0; i < required->PrivilegeCount; ++i) {
        LUID_AND_ATTRIBUTES& row = required->Privilege[i];
        if (row.Luid.HighPart != 0 || !target.HasEnabled(row.Luid.LowPart)) continue;
        row.Attributes |= SE_PRIVILEGE_USED_FOR_ACCESS;
        ++enabled;
    }
    *result = all ? enabled == required->PrivilegeCount : enabled != 0;
    return TRUE;
}

BOOL ImpersonateSelf(SECURITY_IMPERSONATION_LEVEL level) {
    if (gate::Refuses(CallKind::Security, "ImpersonateSelf")) return FALSE;
    if (!IsLevel(level)) return Fail(ERROR_INVALID_PARAMETER);
    return security::ThroughLastError(security::Guarded([level]() -> DWORD {
        security::Impersonate(ImpersonationCopy(*security::ProcessToken(), level));
        return 0;
    }));
}

BOOL RevertToSelf() {
    security::Impersonate(nullptr);
    return !gate::Refuses(CallKind::Security, "RevertToSelf");
}

BOOL DuplicateToken(HANDLE token, SECURITY_IMPERSONATION_LEVEL level, PHANDLE duplicate) {
    if (gate::Refuses(CallKind::Security, "DuplicateToken")) return FALSE;
    const std::shared_ptr<TokenHandle> opened = security::OpenedToken(token, TOKEN_DUPLICATE);
    if (!opened) return FALSE;
    if (duplicate == nullptr || !IsLevel(level)) return Fail(ERROR_INVALID_PARAMETER);
    const Token& source = opened->Target();
    if (source.type == TokenImpersonation && level > source.level) return Fail(ERROR_BAD_IMPERSONATION_LEVEL);
    return HandOutToken(ImpersonationCopy(source, level), TOKEN_QUERY | TOKEN_IMPERSONATE, duplicate);
}
