// Local groups and their members: NetLocalGroup*.
#include <algorithm>

#include "platform/embedded/accounts/authority.h"
#include "platform/embedded/accounts/builtin_names.h"
#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/record_block.h"

using namespace embedded;
using namespace embedded::accounts;
using control::CallKind;
using network::NarrowOf;
using network::RecordBlock;

namespace {

constexpr std::size_t kLongestGroupName = 256;  // GNLEN

// By its name alone, built-in groups in the machine's language.
std::optional<LocalGroup> FindGroup(Machine& machine, LPCWSTR name) {
    const std::string narrow = NarrowOf(name);
    if (narrow.find('\\') != narrow.npos) return std::nullopt;
    const auto wellKnown = WellKnownByName(LanguageOf(machine), narrow);
    if (wellKnown && wellKnown->use == Use::Alias) return LoadGroup(machine, wellKnown->sid);
    const auto rid = RidByName(machine, narrow);
    return rid ? LoadGroup(machine, WithRid(MachineSid(machine), *rid)) : std::nullopt;
}

// The identifiers that a caller lists by identifier (level 0) or by name (level 3).
DWORD ReadMembers(Machine& machine, DWORD level, const BYTE* buffer, DWORD count, std::vector<Account>& members) {
    if (level != 0 && level != 3) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr && count != 0) return ERROR_INVALID_PARAMETER;
    const auto* const byName = reinterpret_cast<const LOCALGROUP_MEMBERS_INFO_3*>(buffer);
    const auto* const bySid = reinterpret_cast<const LOCALGROUP_MEMBERS_INFO_0*>(buffer);
    for (DWORD i = 0; i < count; ++i) {
        const auto member = level == 3 ? ByName(machine, NarrowOf(byName[i].lgrmi3_domainandname))
                                       : BySid(machine, CopyOf(bySid[i].lgrmi0_sid));
        if (!member) return ERROR_NO_SUCH_MEMBER;
        // A group of the machine cannot be in another of its groups, nor can a whole domain.
        if (member->use == Use::Alias || member->use == Use::Domain) return ERROR_INVALID_MEMBER;
        members.push_back(*member);
    }
    return 0;
}

using ChangeMember = DWORD(std::vector<std::string>& list, const std::string& member);

DWORD Insert(std::vector<std::string>& list, const std::string& member) {
    if (std::find(list.begin(), list.end(), member) != list.end()) return ERROR_MEMBER_IN_ALIAS;
    list.push_back(member);
    return 0;
}

DWORD Remove(std::vector<std::string>& list, const std::string& member) {
    return std::erase(list, member) == 0 ? ERROR_MEMBER_NOT_IN_ALIAS : 0;
}

DWORD ChangeMembers(LPCWSTR server, LPCWSTR name, DWORD level, const BYTE* buffer, DWORD count, ChangeMember change) {
    std::shared_ptr<Machine> machine;
    if (const DWORD error = network::AuthorityForChange(server, machine)) return error;
    const Store::Lock lock(machine->Storage());
    auto group = FindGroup(*machine, name);
    if (!group) return NERR_GroupNotFound;
    std::vector<Account> members;
    if (const DWORD error = ReadMembers(*machine, level, buffer, count, members)) return error;
    for (const Account& member : members) {
        if (const DWORD error = change(group->members, SidText(member.sid))) return error;
    }
    return SaveGroup(*machine, *group) ? NERR_Success : ERROR_ACCESS_DENIED;
}

std::string QualifiedName(const Account& account) {
    return account.domain.empty() ? account.name : account.domain + '\\' + account.name;
}

// One member in the record of a level; an identifier that nobody bears any more is told as text.
void Put(RecordBlock<LOCALGROUP_MEMBERS_INFO_0>& block, const Account& account) {
    block.Add({});
    block.Raw(&LOCALGROUP_MEMBERS_INFO_0::lgrmi0_sid, account.sid);
}
void Put(RecordBlock<LOCALGROUP_MEMBERS_INFO_1>& block, const Account& account) {
    block.Add({nullptr, SID_NAME_USE(account.use), nullptr});
    block.Raw(&LOCALGROUP_MEMBERS_INFO_1::lgrmi1_sid, account.sid);
    block.Text(&LOCALGROUP_MEMBERS_INFO_1::lgrmi1_name, account.name);
}
void Put(RecordBlock<LOCALGROUP_MEMBERS_INFO_2>& block, const Account& account) {
    block.Add({nullptr, SID_NAME_USE(account.use), nullptr});
    block.Raw(&LOCALGROUP_MEMBERS_INFO_2::lgrmi2_sid, account.sid);
    block.Text(&LOCALGROUP_MEMBERS_INFO_2::lgrmi2_domainandname, QualifiedName(account));
}
void Put(RecordBlock<LOCALGROUP_MEMBERS_INFO_3>& block, const Account& account) {
    block.Add({});
    block.Text(&LOCALGROUP_MEMBERS_INFO_3::lgrmi3_domainandname, QualifiedName(account));
}

Account MemberOf(Machine& machine, const std::string& text) {
    const Bytes sid = SidFromText(text);
    return BySid(machine, sid).value_or(Account{text, "", sid, Use(SidTypeDeletedAccount)});
}

template <class Record>
DWORD List(Machine& machine, const LocalGroup& group, LPBYTE* buffer, const network::Range<DWORD_PTR>& range) {
    return network::Enumerate<Record>(group.members, buffer, range, [&](auto& block, const std::string& member) {
        Put(block, MemberOf(machine, member));
    });
}

std::string NameOf(Machine& machine, const LocalGroup& group) {
    if (!group.name.empty()) return group.name;
    const auto account = WellKnownBySid(LanguageOf(machine), group.sid);
    return account ? account->name : SidText(group.sid);
}

template <class Record>
DWORD ListGroups(Machine& machine, LPWSTR Record::*name, LPBYTE* buffer, const network::Range<DWORD_PTR>& range) {
    return network::Enumerate<Record>(AllGroups(machine), buffer, range, [&](auto& block, const LocalGroup& group) {
        block.Add({});
        block.Text(name, NameOf(machine, group));
        if constexpr (std::is_same_v<Record, LOCALGROUP_INFO_1>) block.Text(&Record::lgrpi1_comment, group.comment);
    });
}

}  // namespace

NET_API_STATUS NetLocalGroupEnum(LPCWSTR server, DWORD level, LPBYTE* buffer, DWORD preferredBytes, LPDWORD read,
                                 LPDWORD total, DWORD_PTR* resume) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetLocalGroupEnum")) return error;
    const auto machine = domain::Authority(world::Find(server));
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    if (level > 1) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr || read == nullptr || total == nullptr) return ERROR_INVALID_PARAMETER;
    const network::Range<DWORD_PTR> range{preferredBytes, read, total, resume};
    return level == 0 ? ListGroups(*machine, &LOCALGROUP_INFO_0::lgrpi0_name, buffer, range)
                      : ListGroups(*machine, &LOCALGROUP_INFO_1::lgrpi1_name, buffer, range);
}

NET_API_STATUS NetLocalGroupAdd(LPCWSTR server, DWORD level, LPBYTE buffer, LPDWORD) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetLocalGroupAdd")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = network::AuthorityForChange(server, machine)) return error;
    if (level > 1) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr) return ERROR_INVALID_PARAMETER;
    LocalGroup group;
    group.name = NarrowOf(reinterpret_cast<const LOCALGROUP_INFO_0*>(buffer)->lgrpi0_name);
    if (level == 1) group.comment = NarrowOf(reinterpret_cast<const LOCALGROUP_INFO_1*>(buffer)->lgrpi1_comment);
    if (!IsAccountName(group.name) || group.name.size() > kLongestGroupName) return ERROR_INVALID_PARAMETER;
    const Store::Lock lock(machine->Storage());
    const auto wellKnown = WellKnownByName(LanguageOf(*machine), group.name);
    if (wellKnown && wellKnown->use == Use::Alias) return ERROR_ALIAS_EXISTS;
    if (const auto taken = RidByName(*machine, group.name)) {
        return LoadUser(*machine, *taken) ? NERR_UserExists : ERROR_ALIAS_EXISTS;
    }
    group.sid = NewSid(*machine);
    return SaveGroup(*machine, group) ? NERR_Success : ERROR_ACCESS_DENIED;
}

NET_API_STATUS NetLocalGroupDel(LPCWSTR server, LPCWSTR name) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetLocalGroupDel")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = network::AuthorityForChange(server, machine)) return error;
    const Store::Lock lock(machine->Storage());
    const auto group = FindGroup(*machine, name);
    if (!group) return NERR_GroupNotFound;
    if (group->name.empty()) return ERROR_SPECIAL_ACCOUNT;  // a built-in one
    return DeleteGroup(*machine, *group) ? NERR_Success : ERROR_ACCESS_DENIED;
}

NET_API_STATUS NetLocalGroupAddMembers(LPCWSTR server, LPCWSTR name, DWORD level, LPBYTE buffer, DWORD count) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetLocalGroupAddMembers")) return error;
    return ChangeMembers(server, name, level, buffer, count, &Insert);
}

NET_API_STATUS NetLocalGroupDelMembers(LPCWSTR server, LPCWSTR name, DWORD level, LPBYTE buffer, DWORD count) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetLocalGroupDelMembers")) return error;
    return ChangeMembers(server, name, level, buffer, count, &Remove);
}

NET_API_STATUS NetLocalGroupGetMembers(LPCWSTR server, LPCWSTR name, DWORD level, LPBYTE* buffer, DWORD preferredBytes,
                                       LPDWORD read, LPDWORD total, DWORD_PTR* resume) {
    if (const DWORD error = gate::Enter(CallKind::Account, "NetLocalGroupGetMembers")) return error;
    const auto machine = domain::Authority(world::Find(server));
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    if (buffer == nullptr || read == nullptr || total == nullptr) return ERROR_INVALID_PARAMETER;
    const auto group = FindGroup(*machine, name);
    if (!group) return NERR_GroupNotFound;
    const network::Range<DWORD_PTR> range{preferredBytes, read, total, resume};
    switch (level) {
        case 0:
            return List<LOCALGROUP_MEMBERS_INFO_0>(*machine, *group, buffer, range);
        case 1:
            return List<LOCALGROUP_MEMBERS_INFO_1>(*machine, *group, buffer, range);
        case 2:
            return List<LOCALGROUP_MEMBERS_INFO_2>(*machine, *group, buffer, range);
        case 3:
            return List<LOCALGROUP_MEMBERS_INFO_3>(*machine, *group, buffer, range);
        default:
            return ERROR_INVALID_LEVEL;
    }
}
