// The exported functions on access lists.
#include <algorithm>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/security/acl.h"

using embedded::control::CallKind;
namespace gate = embedded::gate;
namespace security = embedded::security;
using security::ByteView;
using security::Fail;

namespace {

constexpr DWORD kLongest = 0xFFFF;

// The offset behind the last entry; nothing for a list whose entries leave it.
std::optional<std::size_t> FirstFree(ByteView list) {
    security::EntryReader reader(list);
    security::Entry entry;
    while (reader.Next(entry)) continue;
    if (list.empty() || reader.IsBroken()) return std::nullopt;
    return reader.Offset();
}

bool IsKnownRevision(DWORD revision) { return revision >= MIN_ACL_REVISION && revision <= MAX_ACL_REVISION; }

// Makes room at `offset`, copies `bytes` there and counts them as `count` entries. The caller knows that they fit.
void Insert(PACL list, std::size_t end, std::size_t offset, ByteView bytes, WORD count) {
    auto* const base = reinterpret_cast<BYTE*>(list);
    std::copy_backward(base + offset, base + end, base + end + bytes.size());
    std::copy(bytes.begin(), bytes.end(), base + offset);
    list->AceCount = WORD(list->AceCount + count);
}

BOOL AddSimple(PACL list, DWORD revision, DWORD flags, DWORD mask, PSID sid, BYTE type) {
    const ByteView who = security::SidOf(sid);
    if (who.empty()) return Fail(ERROR_INVALID_SID);
    if (!IsKnownRevision(revision)) return Fail(ERROR_REVISION_MISMATCH);
    if ((flags & ~DWORD(VALID_INHERIT_FLAGS)) != 0) return Fail(ERROR_INVALID_PARAMETER);
    const ByteView whole = security::ListOf(list);
    const std::optional<std::size_t> end = FirstFree(whole);
    if (!end) return Fail(ERROR_INVALID_ACL);
    security::ListBuilder builder;
    builder.Add(type, BYTE(flags), mask, who);
    const embedded::Bytes built = *builder.Finish();
    const ByteView entry = ByteView(built).subspan(sizeof(ACL));
    if (entry.size() > whole.size() - *end) return Fail(ERROR_ALLOTTED_SPACE_EXCEEDED);
    Insert(list, *end, *end, entry, 1);
    list->AclRevision = std::max(list->AclRevision, BYTE(revision));
    return TRUE;
}

// The offset of an entry by index, the end for the index behind the last one; nothing when there is none.
std::optional<std::size_t> OffsetOf(ByteView list, DWORD index, security::Entry& entry) {
    security::EntryReader reader(list);
    std::size_t offset = reader.Offset();
    for (DWORD i = 0; reader.Next(entry); ++i) {
        if (i == index) return offset;
        offset = reader.Offset();
    }
    return std::nullopt;
}

// How many whole entries a caller's run of bytes holds; nothing when it does not end with one.
std::optional<WORD> CountEntries(ByteView run) {
    std::size_t count = 0;
    while (!run.empty()) {
        if (run.size() < sizeof(ACE_HEADER)) return std::nullopt;
        const std::size_t size = security::NumberAt<ACE_HEADER>(run, 0).AceSize;
        if (size < sizeof(ACE_HEADER) || size > run.size()) return std::nullopt;
        run = run.subspan(size);
        ++count;
    }
    return count <= kLongest ? std::optional<WORD>(WORD(count)) : std::nullopt;
}

}  // namespace

BOOL InitializeAcl(PACL list, DWORD size, DWORD revision) {
    if (gate::Refuses(CallKind::Security, "InitializeAcl")) return FALSE;
    if (size < sizeof(ACL)) return Fail(ERROR_INSUFFICIENT_BUFFER);
    if (list == nullptr || !IsKnownRevision(revision) || size > kLongest) return Fail(ERROR_INVALID_PARAMETER);
    *list = ACL{BYTE(revision), 0, WORD(size & ~3u), 0, 0};
    return TRUE;
}

BOOL IsValidAcl(PACL list) {
    if (gate::Refuses(CallKind::Security, "IsValidAcl")) return FALSE;
    return security::IsValidList(security::ListOf(list));
}

BOOL GetAclInformation(PACL list, LPVOID information, DWORD size, ACL_INFORMATION_CLASS informationClass) {
    if (gate::Refuses(CallKind::Security, "GetAclInformation")) return FALSE;
    const ByteView whole = security::ListOf(list);
    if (whole.empty() || information == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    if (informationClass == AclRevisionInformation) {
        if (size < sizeof(ACL_REVISION_INFORMATION)) return Fail(ERROR_INSUFFICIENT_BUFFER);
        static_cast<PACL_REVISION_INFORMATION>(information)->AclRevision = list->AclRevision;
        return TRUE;
    }
    if (informationClass != AclSizeInformation) return Fail(ERROR_INVALID_PARAMETER);
    if (size < sizeof(ACL_SIZE_INFORMATION)) return Fail(ERROR_INSUFFICIENT_BUFFER);
    const std::size_t used = FirstFree(whole).value_or(whole.size());
    *static_cast<PACL_SIZE_INFORMATION>(information) = {list->AceCount, DWORD(used), DWORD(whole.size() - used)};
    return TRUE;
}

BOOL GetAce(PACL list, DWORD index, LPVOID* entry) {
    if (gate::Refuses(CallKind::Security, "GetAce")) return FALSE;
    security::Entry found;
    const std::optional<std::size_t> offset = OffsetOf(security::ListOf(list), index, found);
    if (!offset || entry == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    *entry = reinterpret_cast<BYTE*>(list) + *offset;
    return TRUE;
}

BOOL AddAce(PACL list, DWORD revision, DWORD index, LPVOID entries, DWORD size) {
    if (gate::Refuses(CallKind::Security, "AddAce")) return FALSE;
    const ByteView whole = security::ListOf(list);
    const std::optional<std::size_t> end = FirstFree(whole);
    if (!end || entries == nullptr || !IsKnownRevision(revision)) return Fail(ERROR_INVALID_PARAMETER);
    const ByteView run(static_cast<const BYTE*>(entries), size);
    const std::optional<WORD> count = CountEntries(run);
    if (!count || *count > kLongest - list->AceCount) return Fail(ERROR_INVALID_PARAMETER);
    if (size > whole.size() - *end) return Fail(ERROR_INSUFFICIENT_BUFFER);
    security::Entry ignored;
    const embedded::Bytes copy = security::Copy(run);  // the caller's run may lie in the list itself
    Insert(list, *end, OffsetOf(whole, index, ignored).value_or(*end), copy, *count);
    list->AclRevision = std::max(list->AclRevision, BYTE(revision));
    return TRUE;
}

BOOL DeleteAce(PACL list, DWORD index) {
    if (gate::Refuses(CallKind::Security, "DeleteAce")) return FALSE;
    const ByteView whole = security::ListOf(list);
    security::Entry entry;
    const std::optional<std::size_t> offset = OffsetOf(whole, index, entry);
    const std::optional<std::size_t> end = FirstFree(whole);
    if (!offset || !end) return Fail(ERROR_INVALID_PARAMETER);
    auto* const base = reinterpret_cast<BYTE*>(list);
    std::copy(base + *offset + entry.bytes.size(), base + *end, base + *offset);
    std::fill(base + *end - entry.bytes.size(), base + *end, BYTE(0));
    --list->AceCount;
    return TRUE;
}

BOOL AddAccessAllowedAce(PACL list, DWORD revision, DWORD mask, PSID sid) {
    if (gate::Refuses(CallKind::Security, "AddAccessAllowedAce")) return FALSE;
    return AddSimple(list, revision, 0, mask, sid, ACCESS_ALLOWED_ACE_TYPE);
}

BOOL AddAccessAllowedAceEx(PACL list, DWORD revision, DWORD flags, DWORD mask, PSID sid) {
    if (gate::Refuses(CallKind::Security, "AddAccessAllowedAceEx")) return FALSE;
    return AddSimple(list, revision, flags, mask, sid, ACCESS_ALLOWED_ACE_TYPE);
}

BOOL AddAccessDeniedAce(PACL list, DWORD revision, DWORD mask, PSID sid) {
    if (gate::Refuses(CallKind::Security, "AddAccessDeniedAce")) return FALSE;
    return AddSimple(list, revision, 0, mask, sid, ACCESS_DENIED_ACE_TYPE);
}

BOOL AddAccessDeniedAceEx(PACL list, DWORD revision, DWORD flags, DWORD mask, PSID sid) {
    if (gate::Refuses(CallKind::Security, "AddAccessDeniedAceEx")) return FALSE;
    return AddSimple(list, revision, flags, mask, sid, ACCESS_DENIED_ACE_TYPE);
}
