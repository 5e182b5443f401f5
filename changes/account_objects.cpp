// Accounts, members of local groups, rights of accounts, and shares.
#include <algorithm>
#include <vector>

#include "changes/bytes.h"
#include "changes/descriptors.h"
#include "changes/names.h"
#include "changes/objects.h"
#include "platform/handles.h"
#include "platform/lsa_accounts.h"

namespace changes {
namespace {

// "SERVER\NAME" in its two parts, wide; the server is null for this machine.
class ServerName {
  public:
    explicit ServerName(const std::string& name) {
        const std::size_t end = std::min(name.find('\\'), name.size());
        m_server = names::Wide(name.substr(0, end));
        m_name = names::Wide(name.substr(std::min(end + 1, name.size())));
    }
    WCHAR* Server() { return m_server.size() > 1 ? m_server.data() : nullptr; }
    WCHAR* Name() { return m_name.data(); }

  private:
    std::vector<WCHAR> m_server, m_name;
};

DWORD ReadAccount(const Object& object, State& state) {
    state.clear();
    ServerName name(object.name);
    NetBuffer buffer;
    const NET_API_STATUS status =
        NetUserGetInfo(name.Server(), name.Name(), 1, reinterpret_cast<BYTE**>(buffer.Receive()));
    if (status == NERR_UserNotFound) return 0;
    if (status != NERR_Success) return status;
    const auto& user = *static_cast<const USER_INFO_1*>(buffer.Get());
    state = Writer().Number(user.usri1_priv).Number(user.usri1_flags).Text(names::Narrow(user.usri1_comment)).Bytes();
    return 0;
}

// An account that is gone is gone: neither its identifier nor its password come back.
DWORD WriteAccount(const Object& object, const State&, const State& wanted) {
    ServerName name(object.name);
    return wanted.empty() ? ::NetUserDel(name.Server(), name.Name()) : ERROR_NOT_SUPPORTED;
}

DWORD ReadMember(const Object& object, State& state) {
    state.clear();
    ServerName name(object.name);
    NetBuffer buffer;
    DWORD read = 0, total = 0;
    const NET_API_STATUS status =
        NetLocalGroupGetMembers(name.Server(), name.Name(), 0, reinterpret_cast<BYTE**>(buffer.Receive()),
                                MAX_PREFERRED_LENGTH, &read, &total, nullptr);
    if (status != NERR_Success) return status;
    const auto* const members = static_cast<const LOCALGROUP_MEMBERS_INFO_0*>(buffer.Get());
    for (DWORD i = 0; i < read; ++i) {
        if (names::SidText(members[i].lgrmi0_sid) == object.part) state = "member";
    }
    return 0;
}

DWORD WriteMember(const Object& object, const State&, const State& wanted) {
    ServerName name(object.name);
    std::string sid = names::SidBytes(object.part);
    if (sid.empty()) return ERROR_INVALID_SID;
    LOCALGROUP_MEMBERS_INFO_0 member{sid.data()};
    const auto change = wanted.empty() ? &::NetLocalGroupDelMembers : &::NetLocalGroupAddMembers;
    return change(name.Server(), name.Name(), 0, reinterpret_cast<BYTE*>(&member), 1);
}

constexpr NTSTATUS kNoSuchAccount = NTSTATUS(0xC0000034);  // STATUS_OBJECT_NAME_NOT_FOUND
constexpr ACCESS_MASK kAccountAccess = STANDARD_RIGHTS_REQUIRED | 0xF;

NTSTATUS OpenPolicy(const std::string& server, ACCESS_MASK access, PolicyHandle& policy) {
    std::vector<WCHAR> wide = names::Wide(server);
    LSA_UNICODE_STRING system{USHORT((wide.size() - 1) * sizeof(WCHAR)), USHORT(wide.size() * sizeof(WCHAR)),
                              wide.data()};
    LSA_OBJECT_ATTRIBUTES attributes{};
    return LsaOpenPolicy(server.empty() ? nullptr : &system, &attributes, access, policy.Receive());
}

// "SERVER\S-1-5-..."
struct Account {
    std::string server, sid;
    explicit Account(const std::string& name)
        : server(name.substr(0, name.find('\\'))), sid(names::SidBytes(name.substr(server.size() + 1))) {}
};

DWORD ReadRights(const Object& object, State& state) {
    state.clear();
    const auto [server, sid] = Account(object.name);
    PolicyHandle policy, account;
    NTSTATUS status = OpenPolicy(server, POLICY_LOOKUP_NAMES | POLICY_VIEW_LOCAL_INFORMATION, policy);
    if (status == 0)
        status = LsaOpenAccount(policy.Get(), const_cast<char*>(sid.data()), kAccountAccess, account.Receive());
    if (status == kNoSuchAccount) return 0;
    ULONG access = 0;
    if (status == 0) status = LsaGetSystemAccessAccount(account.Get(), &access);
    LsaBuffer buffer;
    if (status == 0) {
        status = LsaEnumeratePrivilegesOfAccount(account.Get(), reinterpret_cast<PPRIVILEGE_SET*>(buffer.Receive()));
    }
    if (status != 0) return LsaNtStatusToWinError(status);
    const auto& set = *static_cast<const PRIVILEGE_SET*>(buffer.Get());
    std::vector<DWORD> privileges;
    for (DWORD i = 0; i < set.PrivilegeCount; ++i) privileges.push_back(set.Privilege[i].Luid.LowPart);
    std::sort(privileges.begin(), privileges.end());
    Writer writer;
    writer.Number(access).Number(DWORD(privileges.size()));
    for (const DWORD privilege : privileges) writer.Number(privilege);
    state = writer.Bytes();
    return 0;
}

// The privileges that `from` has and `without` has not, as Windows wants them.
std::vector<DWORD> SetOf(const State& from, const State& without) {
    const auto list = [](const State& state) {
        Reader reader(state);
        reader.Number();
        std::vector<DWORD> privileges;
        for (DWORD count = reader.Number(); count > 0 && reader.Good(); --count) privileges.push_back(reader.Number());
        return privileges;
    };
    const std::vector<DWORD> excluded = list(without);
    std::vector<DWORD> set{0, 0};
    for (const DWORD privilege : list(from)) {
        if (std::find(excluded.begin(), excluded.end(), privilege) != excluded.end()) continue;
        set.insert(set.end(), {privilege, 0, 0});
        ++set[0];
    }
    static_assert(sizeof(LUID_AND_ATTRIBUTES) == 12 && sizeof(PRIVILEGE_SET) == 20);
    return set;
}

DWORD WriteRights(const Object& object, const State& now, const State& wanted) {
    const auto [server, sid] = Account(object.name);
    PolicyHandle policy, account;
    NTSTATUS status = OpenPolicy(server, POLICY_ALL_ACCESS, policy);
    if (status == 0) {
        const auto open = now.empty() ? &::LsaCreateAccount : &::LsaOpenAccount;
        status = open(policy.Get(), const_cast<char*>(sid.data()), kAccountAccess, account.Receive());
    }
    if (status == 0) status = ::LsaSetSystemAccessAccount(account.Get(), Reader(wanted).Number());
    std::vector<DWORD> lost = SetOf(now, wanted), gained = SetOf(wanted, now);
    if (status == 0 && lost[0] != 0) {
        status = ::LsaRemovePrivilegesFromAccount(account.Get(), FALSE, reinterpret_cast<PPRIVILEGE_SET>(lost.data()));
    }
    if (status == 0 && gained[0] != 0) {
        status = ::LsaAddPrivilegesToAccount(account.Get(), reinterpret_cast<PPRIVILEGE_SET>(gained.data()));
    }
    return status == 0 ? 0 : LsaNtStatusToWinError(status);
}

DWORD ReadShare(const Object& object, State& state) {
    state.clear();
    ServerName name(object.name);
    NetBuffer buffer;
    const NET_API_STATUS status =
        NetShareGetInfo(name.Server(), name.Name(), 502, reinterpret_cast<BYTE**>(buffer.Receive()));
    if (status == NERR_NetNameNotFound) return 0;
    if (status != NERR_Success) return status;
    const auto& share = *static_cast<const SHARE_INFO_502*>(buffer.Get());
    state = Writer()
                .Number(share.shi502_type)
                .Number(share.shi502_permissions)
                .Number(share.shi502_max_uses)
                .Text(names::Narrow(share.shi502_remark))
                .Text(names::Narrow(share.shi502_path))
                .Text(descriptors::Copy(share.shi502_security_descriptor))
                .Bytes();
    return 0;
}

DWORD WriteShare(const Object& object, const State& now, const State& wanted) {
    ServerName name(object.name);
    if (wanted.empty()) return ::NetShareDel(name.Server(), name.Name(), 0);
    Reader reader(wanted);
    SHARE_INFO_502 share{};
    share.shi502_netname = name.Name();
    share.shi502_type = reader.Number();
    share.shi502_permissions = reader.Number();
    share.shi502_max_uses = reader.Number();
    std::vector<WCHAR> remark = names::Wide(reader.Text());
    std::vector<WCHAR> path = names::Wide(reader.Text());
    std::string security = reader.Text();
    share.shi502_remark = remark.data();
    share.shi502_path = path.data();
    if (!security.empty()) share.shi502_security_descriptor = security.data();
    BYTE* const bytes = reinterpret_cast<BYTE*>(&share);
    return now.empty() ? ::NetShareAdd(name.Server(), 502, bytes, nullptr)
                       : ::NetShareSetInfo(name.Server(), name.Name(), 502, bytes, nullptr);
}

}  // namespace

const KindRow kAccountRow = {"account", ReadAccount, WriteAccount, SamePresence, true, nullptr};
const KindRow kMemberRow = {"member", ReadMember, WriteMember, SameState, true, nullptr};
const KindRow kRightsRow = {"rights", ReadRights, WriteRights, SameState, true, nullptr};
const KindRow kShareRow = {"share", ReadShare, WriteShare, SameState, true, nullptr};

}  // namespace changes
