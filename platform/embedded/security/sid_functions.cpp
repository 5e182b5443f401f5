// The exported functions on identifiers. Those that cannot fail do not ask the gate.
#include <algorithm>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/security/sid.h"

using embedded::ResourceKind;
using embedded::control::CallKind;
namespace buffers = embedded::buffers;
namespace gate = embedded::gate;
namespace security = embedded::security;
using security::Fail;

static constexpr BYTE kMostAllocated = 8;

BOOL AllocateAndInitializeSid(PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD subAuthority0, DWORD subAuthority1,
                              DWORD subAuthority2, DWORD subAuthority3, DWORD subAuthority4, DWORD subAuthority5,
                              DWORD subAuthority6, DWORD subAuthority7, PSID* sid) {
    if (gate::Refuses(CallKind::Security, "AllocateAndInitializeSid")) return FALSE;
    if (authority == nullptr || sid == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (count > kMostAllocated) return Fail(ERROR_INVALID_SID);
    void* const memory = buffers::Allocate(ResourceKind::Sid, GetSidLengthRequired(count));
    if (memory == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    auto* const result = static_cast<SID*>(memory);
    result->Revision = SID_REVISION;
    result->SubAuthorityCount = count;
    result->IdentifierAuthority = *authority;
    const DWORD numbers[kMostAllocated] = {subAuthority0, subAuthority1, subAuthority2, subAuthority3,
                                           subAuthority4, subAuthority5, subAuthority6, subAuthority7};
    std::copy_n(numbers, count, result->SubAuthority);
    *sid = result;
    return TRUE;
}

PVOID FreeSid(PSID sid) { return sid == nullptr || buffers::Free(ResourceKind::Sid, sid) ? nullptr : sid; }

BOOL InitializeSid(PSID sid, PSID_IDENTIFIER_AUTHORITY authority, BYTE count) {
    if (gate::Refuses(CallKind::Security, "InitializeSid")) return FALSE;
    if (sid == nullptr || authority == nullptr || count > SID_MAX_SUB_AUTHORITIES) return Fail(ERROR_INVALID_PARAMETER);
    auto* const result = static_cast<SID*>(sid);
    result->Revision = SID_REVISION;
    result->SubAuthorityCount = count;
    result->IdentifierAuthority = *authority;
    return TRUE;
}

BOOL IsValidSid(PSID sid) {
    if (gate::Refuses(CallKind::Security, "IsValidSid")) return FALSE;
    return !security::SidOf(sid).empty();
}

BOOL EqualSid(PSID first, PSID second) {
    const security::ByteView left = security::SidOf(first), right = security::SidOf(second);
    if (left.empty() || right.empty()) return Fail(ERROR_INVALID_SID);
    SetLastError(ERROR_SUCCESS);  // tells "different" from "invalid"
    return security::Equal(left, right);
}

DWORD GetLengthSid(PSID sid) {
    return sid == nullptr ? 0 : GetSidLengthRequired(static_cast<SID*>(sid)->SubAuthorityCount);
}

DWORD GetSidLengthRequired(UCHAR count) { return DWORD(8 + 4 * count); }

PSID_IDENTIFIER_AUTHORITY GetSidIdentifierAuthority(PSID sid) {
    SetLastError(ERROR_SUCCESS);
    return sid == nullptr ? nullptr : &static_cast<SID*>(sid)->IdentifierAuthority;
}

PUCHAR GetSidSubAuthorityCount(PSID sid) {
    SetLastError(ERROR_SUCCESS);
    return sid == nullptr ? nullptr : &static_cast<SID*>(sid)->SubAuthorityCount;
}

PDWORD GetSidSubAuthority(PSID sid, DWORD index) {
    SetLastError(ERROR_SUCCESS);
    return sid == nullptr ? nullptr : static_cast<SID*>(sid)->SubAuthority + index;
}

BOOL CopySid(DWORD size, PSID destination, PSID source) {
    if (gate::Refuses(CallKind::Security, "CopySid")) return FALSE;
    const security::ByteView sid = security::SidOf(source);
    if (sid.empty()) return Fail(ERROR_INVALID_SID);
    if (destination == nullptr || size < sid.size()) return Fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy(sid.begin(), sid.end(), static_cast<BYTE*>(destination));
    return TRUE;
}

BOOL ConvertSidToStringSidA(PSID sid, LPSTR* text) {
    if (gate::Refuses(CallKind::Security, "ConvertSidToStringSidA")) return FALSE;
    if (sid == nullptr || text == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const security::ByteView view = security::SidOf(sid);
    if (view.empty()) return Fail(ERROR_INVALID_SID);
    return security::HandOutText(security::SidText(view), text);
}

BOOL ConvertStringSidToSidA(LPCSTR text, PSID* sid) {
    if (gate::Refuses(CallKind::Security, "ConvertStringSidToSidA")) return FALSE;
    if (text == nullptr || sid == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const std::optional<embedded::Bytes> parsed = security::ParseSid(text);
    if (!parsed) return Fail(ERROR_INVALID_SID);
    return security::HandOut(*parsed, sid);
}
