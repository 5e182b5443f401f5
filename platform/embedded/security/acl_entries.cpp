// Lists by explicit entries: SetEntriesInAclA and GetEffectiveRightsFromAclA.
#include <algorithm>

#include "platform/embedded/accounts/store.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/memory.h"
#include "platform/embedded/security/access_check.h"

using embedded::Bytes;
using embedded::control::CallKind;
namespace accounts = embedded::accounts;
namespace gate = embedded::gate;
namespace security = embedded::security;
namespace world = embedded::world;
using security::ByteView;

namespace {

// The identifier of a trustee; nothing with a Windows error.
std::optional<Bytes> SidOfTrustee(const TRUSTEE_A& trustee, DWORD& error) {
    error = ERROR_INVALID_PARAMETER;
    if (trustee.pMultipleTrustee != nullptr || trustee.MultipleTrusteeOperation != NO_MULTIPLE_TRUSTEE)
        return std::nullopt;
    if (trustee.ptstrName == nullptr) return std::nullopt;
    if (trustee.TrusteeForm == TRUSTEE_IS_SID) {
        const ByteView sid = security::SidOf(trustee.ptstrName);
        error = ERROR_INVALID_SID;
        return sid.empty() ? std::nullopt : std::optional(security::Copy(sid));
    }
    if (trustee.TrusteeForm != TRUSTEE_IS_NAME) return std::nullopt;
    const std::optional<accounts::Account> account = accounts::ByName(*world::Local(), trustee.ptstrName);
    error = ERROR_NONE_MAPPED;
    return account ? std::optional(account->sid) : std::nullopt;
}

// The order of a merged list: what denies first, new before old, inherited entries last, so that the object's own
// decide.
enum class Place { NewDeny, OldDeny, NewAllow, Old, Inherited };

struct Row {
    Place place;
    BYTE type;
    BYTE flags;
    DWORD mask;
    Bytes sid;
    security::Entry original;  // of an entry that is taken over as it stands

    bool IsOwn() const { return place != Place::Inherited && !sid.empty(); }
};

class Merger {
  public:
    explicit Merger(ByteView oldList) {
        security::EntryReader reader(oldList);
        Place own = Place::OldDeny;  // as long as the old list begins with entries that deny
        for (security::Entry entry; reader.Next(entry);) {
            if (!entry.IsInherited() && !entry.Denies()) own = Place::Old;
            const Place place = entry.IsInherited() ? Place::Inherited : own;
            m_rows.push_back({place, entry.type, entry.flags, entry.mask, security::Copy(entry.sid), entry});
        }
    }

    // 0 or a Windows error.
    DWORD Apply(const EXPLICIT_ACCESS_A& wanted) {
        DWORD error = 0;
        const std::optional<Bytes> sid = SidOfTrustee(wanted.Trustee, error);
        if (!sid) return error;
        const BYTE flags = BYTE(wanted.grfInheritance & (VALID_INHERIT_FLAGS & ~INHERITED_ACE));
        const DWORD mask = wanted.grfAccessPermissions;
        switch (wanted.grfAccessMode) {
            case SET_ACCESS:
                Remove(*sid, {ACCESS_ALLOWED_ACE_TYPE, ACCESS_DENIED_ACE_TYPE});
                [[fallthrough]];
            case GRANT_ACCESS:
                return Add({Place::NewAllow, ACCESS_ALLOWED_ACE_TYPE, flags, mask, *sid, {}});
            case DENY_ACCESS:
                return Add({Place::NewDeny, ACCESS_DENIED_ACE_TYPE, flags, mask, *sid, {}});
            case REVOKE_ACCESS:
                return Remove(*sid, {ACCESS_ALLOWED_ACE_TYPE, SYSTEM_AUDIT_ACE_TYPE});
            case SET_AUDIT_SUCCESS:
                return AddAudit(flags | SUCCESSFUL_ACCESS_ACE_FLAG, mask, *sid);
            case SET_AUDIT_FAILURE:
                return AddAudit(flags | FAILED_ACCESS_ACE_FLAG, mask, *sid);
            default:
                return ERROR_INVALID_PARAMETER;
        }
    }

    std::optional<Bytes> Finish() {
        std::stable_sort(m_rows.begin(), m_rows.end(), [](const Row& a, const Row& b) { return a.place < b.place; });
        security::ListBuilder list;
        for (const Row& row : m_rows) {
            if (row.sid.empty()) {
                list.Append(row.original);
            } else {
                list.Add(row.type, row.flags, row.mask, row.sid);
            }
        }
        return list.Finish();
    }

  private:
    // Joins an own entry of the same kind for the same trustee, otherwise a new row.
    DWORD Add(Row added) {
        for (Row& row : m_rows) {
            if (!row.IsOwn() || row.type != added.type || row.flags != added.flags || row.sid != added.sid) continue;
            row.mask |= added.mask;
            return 0;
        }
        m_rows.push_back(std::move(added));
        return 0;
    }

    DWORD AddAudit(int flags, DWORD mask, const Bytes& sid) {
        return Add({Place::NewAllow, SYSTEM_AUDIT_ACE_TYPE, BYTE(flags), mask, sid, {}});
    }

    DWORD Remove(const Bytes& sid, std::initializer_list<BYTE> types) {
        std::erase_if(m_rows, [&](const Row& row) {
            return row.IsOwn() && row.sid == sid && std::find(types.begin(), types.end(), row.type) != types.end();
        });
        return 0;
    }

    std::vector<Row> m_rows;
};

// The identifiers that speak of a trustee: its own, its groups', everyone's.
std::vector<Bytes> SidsOf(const Bytes& trustee) {
    std::vector<Bytes> sids = accounts::GroupsOf(*world::Local(), trustee);
    sids.push_back(trustee);
    sids.push_back(security::well_known::kEveryone);
    return sids;
}

DWORD RightsOf(ByteView list, const std::vector<Bytes>& sids) {
    const auto matches = [&sids](ByteView entry) {
        return std::any_of(sids.begin(), sids.end(), [entry](const Bytes& own) { return security::Equal(own, entry); });
    };
    // There is no object to say what generic bits mean; they stay.
    constexpr GENERIC_MAPPING kUnmapped = {GENERIC_READ, GENERIC_WRITE, GENERIC_EXECUTE, GENERIC_ALL};
    return security::MaximumOf(list, kUnmapped, matches, matches);
}

}  // namespace

void BuildTrusteeWithSidA(PTRUSTEE_A trustee, PSID sid) {
    if (trustee == nullptr) return;
    *trustee = {nullptr, NO_MULTIPLE_TRUSTEE, TRUSTEE_IS_SID, TRUSTEE_IS_UNKNOWN, static_cast<LPSTR>(sid)};
}

DWORD SetEntriesInAclA(ULONG count, PEXPLICIT_ACCESS_A entries, PACL oldList, PACL* newList) {
    if (const DWORD error = gate::Enter(CallKind::Security, "SetEntriesInAclA")) return error;
    if (newList == nullptr || (count != 0 && entries == nullptr)) return ERROR_INVALID_PARAMETER;
    *newList = nullptr;
    if (count == 0 && oldList == nullptr) return ERROR_SUCCESS;
    return security::Guarded([=]() -> DWORD {
        const ByteView old = security::ListOf(oldList);
        if (oldList != nullptr && !security::IsValidList(old)) return ERROR_INVALID_ACL;
        Merger merger(old);
        for (ULONG i = 0; i < count; ++i) {
            if (const DWORD error = merger.Apply(entries[i])) return error;
        }
        const std::optional<Bytes> built = merger.Finish();
        if (!built) return ERROR_INVALID_ACL;
        *newList = static_cast<PACL>(security::CopyOut(*built));
        return *newList == nullptr ? ERROR_NOT_ENOUGH_MEMORY : ERROR_SUCCESS;
    });
}

DWORD GetEffectiveRightsFromAclA(PACL list, PTRUSTEE_A trustee, PACCESS_MASK rights) {
    if (const DWORD error = gate::Enter(CallKind::Security, "GetEffectiveRightsFromAclA")) return error;
    if (trustee == nullptr || rights == nullptr) return ERROR_INVALID_PARAMETER;
    return security::Guarded([=]() -> DWORD {
        DWORD error = 0;
        const std::optional<Bytes> sid = SidOfTrustee(*trustee, error);
        if (!sid) return error;
        const ByteView whole = security::ListOf(list);
        if (list != nullptr && !security::IsValidList(whole)) return ERROR_INVALID_ACL;
        *rights = list == nullptr ? STANDARD_RIGHTS_ALL | SPECIFIC_RIGHTS_ALL : RightsOf(whole, SidsOf(*sid));
        return ERROR_SUCCESS;
    });
}
