#include "platform/embedded/security/token.h"

#include <algorithm>
#include <atomic>

#include "platform/embedded/accounts/store.h"
#include "platform/embedded/control/security.h"
#include "platform/embedded/security/token_state.h"

namespace embedded::security {
namespace {

struct State {
    std::mutex mutex;
    std::shared_ptr<Token> process;
    std::atomic<unsigned> generation{0};  // of machines and users; tokens of an earlier one are forgotten
};

State& TheState() {
    static State* const state = new State;
    return *state;
}

struct Impersonation {
    std::shared_ptr<Token> token;
    unsigned generation = 0;
};
thread_local Impersonation t_impersonation;

// What Windows gives these groups on a fresh machine; what the machine's store assigns comes on top.
struct GroupPrivileges {
    Bytes group;
    std::initializer_list<const char*> names;
};
const std::initializer_list<const char*> kOfAdministrators = {SE_INCREASE_QUOTA_NAME,
                                                              SE_SECURITY_NAME,
                                                              SE_TAKE_OWNERSHIP_NAME,
                                                              SE_LOAD_DRIVER_NAME,
                                                              SE_SYSTEM_PROFILE_NAME,
                                                              SE_SYSTEMTIME_NAME,
                                                              SE_PROF_SINGLE_PROCESS_NAME,
                                                              SE_INC_BASE_PRIORITY_NAME,
                                                              SE_CREATE_PAGEFILE_NAME,
                                                              SE_BACKUP_NAME,
                                                              SE_RESTORE_NAME,
                                                              SE_SHUTDOWN_NAME,
                                                              SE_DEBUG_NAME,
                                                              SE_SYSTEM_ENVIRONMENT_NAME,
                                                              SE_CHANGE_NOTIFY_NAME,
                                                              SE_REMOTE_SHUTDOWN_NAME,
                                                              SE_UNDOCK_NAME,
                                                              SE_MANAGE_VOLUME_NAME,
                                                              SE_IMPERSONATE_NAME,
                                                              SE_CREATE_GLOBAL_NAME,
                                                              SE_INC_WORKING_SET_NAME,
                                                              SE_TIME_ZONE_NAME,
                                                              SE_CREATE_SYMBOLIC_LINK_NAME};
const std::initializer_list<const char*> kOfEveryone = {SE_CHANGE_NOTIFY_NAME};
const std::initializer_list<const char*> kOfSystem = {SE_TCB_NAME, SE_ASSIGNPRIMARYTOKEN_NAME, SE_AUDIT_NAME};

constexpr DWORD kGroupAttributes = SE_GROUP_MANDATORY | SE_GROUP_ENABLED_BY_DEFAULT | SE_GROUP_ENABLED;

void Hold(PrivilegeBits& bits, std::string_view name) { bits.held |= PrivilegeBit(PrivilegeNumber(name)); }

PrivilegeBits PrivilegesFor(Machine& machine, const std::vector<Bytes>& sids) {
    PrivilegeBits bits;
    for (const std::string& name : accounts::PrivilegesOf(machine, sids)) {
        if (PrivilegeNumber(name) != 0) Hold(bits, name);  // the rest are logon rights
    }
    const GroupPrivileges given[] = {{well_known::kAdministrators, kOfAdministrators},
                                     {well_known::kEveryone, kOfEveryone},
                                     {well_known::kSystem, kOfSystem}};
    for (const GroupPrivileges& row : given) {
        if (std::find(sids.begin(), sids.end(), row.group) == sids.end()) continue;
        for (const char* const name : row.names) Hold(bits, name);
    }
    PrivilegeBits onFromTheStart;
    for (const char* const name : {SE_CHANGE_NOTIFY_NAME, SE_IMPERSONATE_NAME, SE_CREATE_GLOBAL_NAME}) {
        Hold(onFromTheStart, name);
    }
    bits.byDefault = bits.enabled = bits.held & onFromTheStart.held;
    return bits;
}

std::shared_ptr<Token> LogOn(Machine& machine) {
    auto token = std::make_shared<Token>();
    token->user = accounts::CurrentUser(machine).sid;
    std::vector<Bytes> sids = accounts::GroupsOf(machine, token->user);
    token->owner = token->user;
    for (const Bytes& sid : sids) {
        const bool owns = sid == well_known::kAdministrators;  // what an administrator creates belongs to all of them
        token->groups.push_back({sid, kGroupAttributes | (owns ? SE_GROUP_OWNER : 0)});
        if (owns) token->owner = sid;
    }
    sids.push_back(token->user);
    // The primary group of local users is the machine's own "None", 513.
    const std::string domain = SidText(token->user);
    const std::optional<Bytes> none = ParseSid(domain.substr(0, domain.rfind('-')) + "-513");
    token->primaryGroup = domain.starts_with("S-1-5-21-") && none ? *none : token->user;
    token->SetPrivileges(PrivilegesFor(machine, sids));
    return token;
}

// Replaces the process's token by a copy that `change` has altered; false leaves it as it was.
template <class Change>
bool AlterProcessToken(Change change) {
    const auto copy = std::make_shared<Token>(*ProcessToken());
    if (!change(*copy)) return false;
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    state.process = copy;
    return true;
}

}  // namespace

Token::Token(const Token& other)
    : user(other.user),
      groups(other.groups),
      owner(other.owner),
      primaryGroup(other.primaryGroup),
      type(other.type),
      level(other.level),
      m_privileges(other.Privileges()) {}

PrivilegeBits Token::Privileges() const {
    const std::lock_guard lock(m_mutex);
    return m_privileges;
}

void Token::SetPrivileges(const PrivilegeBits& privileges) {
    const std::lock_guard lock(m_mutex);
    m_privileges = privileges;
}

bool Token::Matches(ByteView sid, DWORD attributes) const {
    if (Equal(sid, user)) return true;
    for (const TokenGroup& group : groups) {
        if (Equal(sid, group.sid)) return (group.attributes & attributes) != 0;
    }
    return false;
}

std::shared_ptr<Token> ProcessToken() {
    State& state = TheState();
    const unsigned generation = state.generation;
    {
        const std::lock_guard lock(state.mutex);
        if (state.process) return state.process;
    }
    // Built without the lock: it reads the store, whose users may be waiting for an access check.
    std::shared_ptr<Token> token = LogOn(*world::Local());
    const std::lock_guard lock(state.mutex);
    if (!state.process && state.generation == generation) state.process = token;
    return state.process ? state.process : token;
}

std::shared_ptr<Token> ThreadToken() {
    return t_impersonation.generation == TheState().generation ? t_impersonation.token : nullptr;
}

void Impersonate(std::shared_ptr<Token> token) { t_impersonation = {std::move(token), TheState().generation}; }

std::shared_ptr<Token> EffectiveToken() {
    std::shared_ptr<Token> token = ThreadToken();
    return token ? token : ProcessToken();
}

void ResetForMachine() {
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    ++state.generation;
    state.process = nullptr;
}

}  // namespace embedded::security

namespace embedded::control {

bool SetTokenGroup(const std::string& sid, GroupUse use) {
    const std::optional<Bytes> wanted = security::ParseSid(sid);
    return wanted && security::AlterProcessToken([&](security::Token& token) {
               for (security::TokenGroup& group : token.groups) {
                   if (group.sid != *wanted) continue;
                   group.attributes &= ~(SE_GROUP_MANDATORY | SE_GROUP_ENABLED | SE_GROUP_USE_FOR_DENY_ONLY);
                   if (use == GroupUse::Enabled) group.attributes |= SE_GROUP_ENABLED;
                   if (use == GroupUse::DenyOnly) group.attributes |= SE_GROUP_USE_FOR_DENY_ONLY;
                   return true;
               }
               return false;
           });
}

bool DropPrivilege(const std::string& name) {
    const std::uint64_t bit = security::PrivilegeBit(security::PrivilegeNumber(name));
    return security::AlterProcessToken([bit](security::Token& token) {
        security::PrivilegeBits bits = token.Privileges();
        if ((bits.held & bit) == 0) return false;
        bits = {bits.held & ~bit, bits.enabled & ~bit, bits.byDefault & ~bit};
        token.SetPrivileges(bits);
        return true;
    });
}

}  // namespace embedded::control
