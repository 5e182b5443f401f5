#include "platform/embedded/security/access_check.h"

#include <bit>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"

namespace embedded::security {
namespace {

constexpr DWORD kOwnersImplicitRights = READ_CONTROL | WRITE_DAC;

// What the list gives without regard to privileges; a null list gives everything.
DWORD Available(const Parts& parts, const Token& token, const GENERIC_MAPPING& mapping) {
    if (parts.dacl.empty()) return mapping.GenericAll | STANDARD_RIGHTS_ALL | SPECIFIC_RIGHTS_ALL;
    const bool owns = token.IsAllowedBy(parts.owner);
    bool ownerRights = false;  // an entry for "owner rights" takes the place of what owners have anyway
    const auto speaksOf = [&](ByteView sid, bool matches) {
        const bool isOwnerRights = Equal(sid, well_known::kOwnerRights);
        ownerRights |= isOwnerRights;
        return matches || (owns && isOwnerRights);
    };
    const DWORD granted = MaximumOf(
        parts.dacl, mapping, [&](ByteView sid) { return speaksOf(sid, token.IsAllowedBy(sid)); },
        [&](ByteView sid) { return speaksOf(sid, token.IsDeniedBy(sid)); });
    return owns && !ownerRights ? granted | kOwnersImplicitRights : granted;
}

}  // namespace

DWORD MapGeneric(DWORD mask, const GENERIC_MAPPING& mapping) {
    DWORD mapped = mask & ~(GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL);
    if ((mask & GENERIC_READ) != 0) mapped |= mapping.GenericRead;
    if ((mask & GENERIC_WRITE) != 0) mapped |= mapping.GenericWrite;
    if ((mask & GENERIC_EXECUTE) != 0) mapped |= mapping.GenericExecute;
    if ((mask & GENERIC_ALL) != 0) mapped |= mapping.GenericAll;
    return mapped;
}

Decision Decide(const Parts& parts, const Token& token, DWORD desired, const GENERIC_MAPPING& mapping) {
    Decision decision;
    const auto take = [&](DWORD right, DWORD privilege) {
        decision.granted |= right;
        decision.usedPrivileges |= PrivilegeBit(privilege);
        desired &= ~right;
    };
    if ((desired & ACCESS_SYSTEM_SECURITY) != 0) {
        if (!token.HasEnabled(kSecurityPrivilege)) return {ERROR_PRIVILEGE_NOT_HELD, 0, 0};
        take(ACCESS_SYSTEM_SECURITY, kSecurityPrivilege);
    }
    if ((desired & WRITE_OWNER) != 0 && token.HasEnabled(kTakeOwnershipPrivilege))
        take(WRITE_OWNER, kTakeOwnershipPrivilege);
    const DWORD available = Available(parts, token, mapping);
    const DWORD named = desired & ~MAXIMUM_ALLOWED;
    if ((named & ~available) != 0) return {};
    const DWORD maximum = parts.dacl.empty() ? mapping.GenericAll | named : available;
    decision.granted |= (desired & MAXIMUM_ALLOWED) != 0 ? maximum : named;
    if (decision.granted == 0) return {};  // asking for nothing is refused as Windows does
    decision.error = 0;
    return decision;
}

}  // namespace embedded::security

namespace gate = embedded::gate;
namespace security = embedded::security;
using embedded::control::CallKind;
using security::Fail;

namespace {

// Bytes of a privilege set that lists these privileges; Windows never asks for less than room for one.
std::size_t SizeOfSet(DWORD count) {
    return offsetof(PRIVILEGE_SET, Privilege) + std::max<std::size_t>(count, 1) * sizeof(LUID_AND_ATTRIBUTES);
}

void FillSet(PRIVILEGE_SET& set, std::uint64_t used) {
    set.PrivilegeCount = 0;
    set.Control = 0;
    for (DWORD number = 0; number <= security::kLastPrivilege; ++number) {
        if ((used & security::PrivilegeBit(number)) == 0) continue;
        set.Privilege[set.PrivilegeCount++] = {{number, 0}, SE_PRIVILEGE_USED_FOR_ACCESS};
    }
}

// Why the arguments of AccessCheck are not worth a decision; 0 when they are.
DWORD Refusal(const std::optional<security::Parts>& parts, const security::Token& token, DWORD desired) {
    if (token.type != TokenImpersonation) return ERROR_NO_IMPERSONATION_TOKEN;
    if (token.level < SecurityIdentification) return ERROR_BAD_IMPERSONATION_LEVEL;
    if ((desired & (GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL)) != 0)
        return ERROR_GENERIC_NOT_MAPPED;
    if (!parts || parts->owner.empty() || parts->group.empty()) return ERROR_INVALID_SECURITY_DESCR;
    return 0;
}

}  // namespace

void MapGenericMask(PDWORD mask, PGENERIC_MAPPING mapping) {
    if (mask != nullptr && mapping != nullptr) *mask = security::MapGeneric(*mask, *mapping);
}

BOOL AccessCheck(PSECURITY_DESCRIPTOR descriptor, HANDLE token, DWORD desired, PGENERIC_MAPPING mapping,
                 PPRIVILEGE_SET privileges, LPDWORD privilegesSize, LPDWORD granted, LPBOOL status) {
    if (gate::Refuses(CallKind::Security, "AccessCheck")) return FALSE;
    const std::shared_ptr<security::TokenHandle> opened = security::OpenedToken(token, TOKEN_QUERY);
    if (!opened) return FALSE;
    if (!mapping || !privilegesSize || !granted || !status) return Fail(ERROR_INVALID_PARAMETER);
    const std::optional<security::Parts> parts = security::Read(descriptor);
    if (const DWORD error = Refusal(parts, opened->Target(), desired)) return Fail(error);
    const security::Decision decision = security::Decide(*parts, opened->Target(), desired, *mapping);
    const std::size_t size = SizeOfSet(DWORD(std::popcount(decision.usedPrivileges)));
    if (privileges == nullptr || *privilegesSize < size) {
        *privilegesSize = DWORD(size);
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    FillSet(*privileges, decision.usedPrivileges);
    *granted = decision.granted;
    *status = decision.error == 0;
    if (decision.error != 0) SetLastError(decision.error);
    return TRUE;
}
