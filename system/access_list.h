// What the editors of access lists share: whose entry it is, and copying entries.
#ifndef INSTALIB_SYSTEM_ACCESS_LIST_H
#define INSTALIB_SYSTEM_ACCESS_LIST_H

#include "platform/handles.h"

// Bytes of an allow or deny entry beside its identifier: header and mask.
inline constexpr DWORD kEntryOverhead = sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD);
static_assert(kEntryOverhead == 8);

// The identifier of an entry to allow, deny or audit, with a condition or without; null for any other kind or for one
// that does not hold a whole identifier.
PSID EntrySid(const ACE_HEADER* entry);

// The entry belongs to this identifier.
bool IsEntryOf(const ACE_HEADER* entry, PSID sid);

// Zeroed memory of the process heap; null with the last error set.
HeapBuffer AllocateHeap(SIZE_T bytes);

// An account's identifier and domain in heap buffers that a first look-up sized.
struct AccountIdentity {
    HeapBuffer sid;
    HeapBuffer domain;
};
// Which step of the look-up failed, for the caller's message.
enum class LookupStep { Done, Lookup, Allocate };
LookupStep LookupAccount(const char* system, const char* account, AccountIdentity& identity);

#endif
