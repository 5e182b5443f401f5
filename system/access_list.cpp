#include "system/access_list.h"

namespace {

// Entries with a condition behind the identifier (winnt.h, ACCESS_ALLOWED_CALLBACK_ACE_TYPE and its deny form).
constexpr BYTE kConditionalAllow = 0x9;
constexpr BYTE kConditionalDeny = 0xA;

// The identifier stands right behind the mask.
bool IsPlain(BYTE type) {
    return type == ACCESS_ALLOWED_ACE_TYPE || type == ACCESS_DENIED_ACE_TYPE || type == SYSTEM_AUDIT_ACE_TYPE ||
           type == kConditionalAllow || type == kConditionalDeny;
}

}  // namespace

PSID EntrySid(const ACE_HEADER* entry) {
    // Revision, count and authority of an identifier, before its sub-authorities.
    constexpr DWORD kIdentifierHeader = 8;
    if (!IsPlain(entry->AceType) || entry->AceSize < kEntryOverhead + kIdentifierHeader) return nullptr;
    auto* const bytes = reinterpret_cast<BYTE*>(const_cast<ACE_HEADER*>(entry)) + kEntryOverhead;
    const DWORD length = kIdentifierHeader + DWORD(bytes[1]) * DWORD(sizeof(DWORD));
    return kEntryOverhead + length <= entry->AceSize ? bytes : nullptr;
}

bool IsEntryOf(const ACE_HEADER* entry, PSID sid) {
    PSID const own = EntrySid(entry);
    return own != nullptr && EqualSid(own, sid);
}

HeapBuffer AllocateHeap(SIZE_T bytes) {
    HeapBuffer buffer(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, bytes));
    // HeapAlloc itself promises no last error.
    if (!buffer) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return buffer;
}

LookupStep LookupAccount(const char* system, const char* account, AccountIdentity& identity) {
    DWORD sidSize = 0;
    DWORD domainSize = 0;
    SID_NAME_USE use{};
    if (LookupAccountNameA(system, account, nullptr, &sidSize, nullptr, &domainSize, &use)) {
        SetLastError(ERROR_NONE_MAPPED);  // an identifier without a size is none
        return LookupStep::Lookup;
    }
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return LookupStep::Lookup;
    identity.sid = AllocateHeap(sidSize);
    if (identity.sid) identity.domain = AllocateHeap(domainSize);
    if (!identity.domain) return LookupStep::Allocate;
    const BOOL found = LookupAccountNameA(system, account, identity.sid.Get(), &sidSize,
                                          static_cast<char*>(identity.domain.Get()), &domainSize, &use);
    return found ? LookupStep::Done : LookupStep::Lookup;
}
