#include "platform/embedded/services/settings.h"

#include <algorithm>
#include <cstring>

#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/accounts/store.h"
#include "platform/embedded/api/services.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/services/state.h"

namespace embedded::services {
namespace {

constexpr DWORD kDriverTypes[] = {SERVICE_KERNEL_DRIVER, SERVICE_FILE_SYSTEM_DRIVER, SERVICE_ADAPTER,
                                  SERVICE_RECOGNIZER_DRIVER};
constexpr DWORD kProcessTypes[] = {SERVICE_WIN32_OWN_PROCESS, SERVICE_WIN32_SHARE_PROCESS};
// Accounts of Windows itself that need no password.
constexpr const char* kSystemAccounts[] = {"LocalSystem", ".\\LocalSystem", "NT AUTHORITY\\LocalService",
                                           "NT AUTHORITY\\NetworkService"};
constexpr char kLogonHash[] = "LogonHash";
constexpr char kDependencies[] = "DependOnService";

template <std::size_t Count>
bool IsOneOf(DWORD value, const DWORD (&values)[Count]) {
    return std::find(std::begin(values), std::end(values), value) != std::end(values);
}

bool IsDriver(DWORD type) { return IsOneOf(type, kDriverTypes); }

bool IsSystemAccount(std::string_view account) {
    return std::any_of(std::begin(kSystemAccounts), std::end(kSystemAccounts),
                       [&](const char* name) { return text::EqualNoCase(account, name); });
}

bool RunsAsLocalSystem(std::string_view account) {
    return text::EqualNoCase(account, kSystemAccounts[0]) || text::EqualNoCase(account, kSystemAccounts[1]);
}

void Change(DWORD& item, DWORD wanted) {
    if (wanted != SERVICE_NO_CHANGE) item = wanted;
}
void Change(std::string& item, const char* wanted) {
    if (wanted != nullptr) item = wanted;
}

std::vector<std::string> Split(const char* texts) {
    std::vector<std::string> list;
    for (; *texts != '\0'; texts += std::strlen(texts) + 1) list.emplace_back(texts);
    return list;
}

DWORD CheckNumbers(const Config& config) {
    const bool driver = IsDriver(config.type);
    const DWORD processType = config.type & ~SERVICE_INTERACTIVE_PROCESS;
    if (!driver && !IsOneOf(processType, kProcessTypes)) return ERROR_INVALID_PARAMETER;
    // Only the system's own account reaches the desktop.
    if (!driver && processType != config.type && !RunsAsLocalSystem(config.account)) return ERROR_INVALID_PARAMETER;
    if (config.startType > SERVICE_DISABLED || (!driver && config.startType < SERVICE_AUTO_START) ||
        config.errorControl > SERVICE_ERROR_CRITICAL || config.path.empty()) {
        return ERROR_INVALID_PARAMETER;
    }
    return 0;
}

// ".\\user" is a user of the service's own machine.
std::string FullAccountName(Machine& machine, const std::string& account) {
    return account.starts_with(".\\") ? machine.Name() + account.substr(1) : account;
}

std::optional<accounts::Account> UserOf(Machine& machine, const std::string& account) {
    if (account.find('\\') == account.npos) return std::nullopt;
    auto found = accounts::ByName(machine, FullAccountName(machine, account));
    return found && found->use == accounts::Use::User ? found : std::nullopt;
}

// The machine that knows the user's password.
std::shared_ptr<Machine> KeeperOf(Machine& machine, const accounts::Account& user) {
    if (accounts::DomainOf(user.sid) == accounts::MachineSid(machine)) return world::Find(machine.Name().c_str());
    return domain::Controller(user.domain);
}

DWORD CheckAccount(Machine& machine, const Config& config) {
    if (IsDriver(config.type) || IsSystemAccount(config.account) || UserOf(machine, config.account)) return 0;
    return ERROR_INVALID_SERVICE_ACCOUNT;
}

DWORD CheckDisplayName(Machine& machine, std::string_view name, const std::string& displayName) {
    const std::string owner = NameByDisplayName(machine, displayName);
    return owner.empty() || text::EqualNoCase(owner, name) ? 0 : ERROR_DUPLICATE_SERVICE_NAME;
}

// Whether one of these, or what they need in turn, needs `name`.
bool Leads(Machine& machine, const std::vector<std::string>& from, std::string_view name,
           std::vector<std::string>& seen) {
    for (const std::string& next : from) {
        if (text::EqualNoCase(next, name)) return true;
        if (std::find(seen.begin(), seen.end(), text::Upper(next)) != seen.end()) continue;
        seen.push_back(text::Upper(next));
        const auto config = Load(machine, next);
        if (config && Leads(machine, config->dependencies, name, seen)) return true;
    }
    return false;
}

DWORD AssignTag(Machine& machine, Config& config, DWORD* tag) {
    if (tag == nullptr) return 0;
    if (config.group.empty()) return ERROR_INVALID_PARAMETER;
    DWORD highest = 0;
    for (const std::string& name : Names(machine)) {
        const auto other = Load(machine, name);
        if (other && text::EqualNoCase(other->group, config.group)) highest = std::max(highest, other->tag);
    }
    *tag = config.tag = highest + 1;
    return 0;
}

// A service and the services that it needs.
struct Needing {
    std::string name;
    std::vector<std::string> needed;
};

void AddDependents(std::string_view name, const std::vector<Needing>& all, std::vector<std::string>& visited,
                   std::vector<std::string>& result) {
    for (const Needing& service : all) {
        const bool needs = std::any_of(service.needed.begin(), service.needed.end(),
                                       [&](const std::string& entry) { return text::EqualNoCase(entry, name); });
        if (!needs || std::find(visited.begin(), visited.end(), service.name) != visited.end()) continue;
        visited.push_back(service.name);
        AddDependents(service.name, all, visited, result);
        result.push_back(service.name);
    }
}

}  // namespace

DWORD Apply(Machine& machine, std::string_view name, const Settings& settings, Config& config) {
    Change(config.type, settings.type);
    Change(config.startType, settings.startType);
    Change(config.errorControl, settings.errorControl);
    Change(config.path, settings.path);
    Change(config.group, settings.group);
    Change(config.account, settings.account);
    Change(config.displayName, settings.displayName);
    if (config.account.empty() && !IsDriver(config.type)) config.account = kSystemAccounts[0];
    if (settings.path != nullptr && *settings.path == '\0') return ERROR_INVALID_PARAMETER;
    if (const DWORD error = CheckNumbers(config)) return error;
    if (settings.dependencies != nullptr) {
        config.dependencies = Split(settings.dependencies);
        std::vector<std::string> seen;
        if (Leads(machine, config.dependencies, name, seen)) return ERROR_CIRCULAR_DEPENDENCY;
    }
    if (const DWORD error = settings.displayName ? CheckDisplayName(machine, name, config.displayName) : 0)
        return error;
    if (const DWORD error = CheckAccount(machine, config)) return error;
    return AssignTag(machine, config, settings.tag);
}

void KeepLogon(Machine& machine, std::string_view name, const Config& config, const Settings& settings) {
    if (settings.account == nullptr && settings.password == nullptr) return;
    Store& store = machine.Storage();
    const std::string key = "META\\Services\\" + std::string(name);
    store.Erase(key, kLogonHash);
    const auto user = UserOf(machine, config.account);
    const auto keeper = user ? KeeperOf(machine, *user) : nullptr;
    if (keeper == nullptr) return;
    std::u16string password = text::Widen(settings.password == nullptr ? "" : settings.password);
    store.WriteText(key, kLogonHash, accounts::HashLike(*keeper, *accounts::RidOf(user->sid), password.c_str()));
    explicit_bzero(password.data(), password.size() * sizeof password[0]);
}

DWORD CheckLogon(Machine& machine, std::string_view name, const Config& config) {
    if (IsDriver(config.type) || IsSystemAccount(config.account)) return 0;
    const auto user = UserOf(machine, config.account);
    const auto keeper = user ? KeeperOf(machine, *user) : nullptr;
    if (keeper == nullptr) return ERROR_SERVICE_LOGON_FAILED;
    const std::string kept = machine.Storage().ReadText("META\\Services\\" + std::string(name), kLogonHash);
    if (kept.empty() || kept != accounts::PasswordHash(*keeper, *accounts::RidOf(user->sid))) {
        return ERROR_SERVICE_LOGON_FAILED;
    }
    std::vector<Bytes> identifiers = accounts::GroupsOf(machine, user->sid);
    identifiers.push_back(user->sid);
    const auto rights = accounts::PrivilegesOf(machine, identifiers);
    const bool maySignOn = std::find(rights.begin(), rights.end(), "SeServiceLogonRight") != rights.end();
    return maySignOn ? 0 : ERROR_SERVICE_LOGON_FAILED;
}

std::vector<std::string> Dependents(Machine& machine, std::string_view name) {
    std::vector<std::string> visited = {std::string(name)};
    std::vector<std::string> result;
    std::vector<Needing> all;
    for (const std::string& service : NamesWith(machine, kDependencies)) {
        all.push_back({service, machine.Storage().ReadList(KeyOf(service), kDependencies)});
    }
    AddDependents(name, all, visited, result);
    return result;
}

}  // namespace embedded::services
