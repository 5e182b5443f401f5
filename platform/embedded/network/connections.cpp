// Connections to other machines: who logged on where. They belong to the machine's user, not to a process, and stand
// below META\Connections: a value per remote name, its text the user.
#include <string.h>

#include <algorithm>

#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/records.h"
#include "platform/embedded/accounts/store.h"
#include "platform/embedded/api/accounts.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/network/shares.h"

using namespace embedded;
using control::CallKind;

namespace {

constexpr char kKey[] = "META\\Connections";

DWORD Answer(DWORD error) {
    if (error != 0) SetLastError(error);
    return error;
}

// \\HOST or \\HOST\share.
struct RemoteName {
    std::string host;
    std::string share;  // empty: the machine itself
};

std::optional<RemoteName> Parse(LPCSTR name) {
    std::string_view rest = name == nullptr ? "" : name;
    if (!rest.starts_with("\\\\")) return std::nullopt;
    rest.remove_prefix(2);
    const std::size_t separator = rest.find('\\');
    RemoteName remote{std::string(rest.substr(0, separator)), ""};
    if (separator != rest.npos) remote.share = rest.substr(separator + 1);
    const bool valid = !remote.host.empty() && remote.share.find('\\') == std::string::npos;
    return valid ? std::optional(remote) : std::nullopt;
}

std::string_view HostOf(std::string_view connection) {
    connection.remove_prefix(2);
    return connection.substr(0, connection.find('\\'));
}

// A bare name is a user of the machine that is logged on to.
std::optional<accounts::Account> FindUser(Machine& remote, LPCSTR user) {
    const std::string name = user == nullptr ? accounts::CurrentUser(*world::Local()).name : user;
    auto account = accounts::ByName(remote, name);
    return account && account->use == accounts::Use::User ? account : std::nullopt;
}

std::shared_ptr<Machine> KeeperOf(const std::shared_ptr<Machine>& remote, const accounts::Account& user) {
    auto own = domain::Authority(remote);
    return accounts::DomainOf(user.sid) == accounts::MachineSid(*own) ? own : domain::Controller(user.domain);
}

// Without a user's name the logon of this machine's user counts, without a password as well.
DWORD LogOn(const std::shared_ptr<Machine>& remote, const accounts::Account& user, LPCSTR password,
            bool asCurrentUser) {
    const auto keeper = KeeperOf(remote, user);
    const DWORD rid = accounts::RidOf(user.sid).value_or(0);
    const auto record = keeper == nullptr ? std::nullopt : accounts::LoadUser(*keeper, rid);
    if (!record) return ERROR_LOGON_FAILURE;
    if (!asCurrentUser || password != nullptr) {
        std::u16string wide = text::Widen(password == nullptr ? "" : password);
        const bool matches = accounts::PasswordMatches(*keeper, rid, wide.c_str());
        explicit_bzero(wide.data(), wide.size() * sizeof wide[0]);
        if (!matches) return ERROR_LOGON_FAILURE;
    }
    return (record->flags & UF_ACCOUNTDISABLE) != 0 ? ERROR_ACCOUNT_DISABLED : 0;
}

bool IsAdministratorOf(Machine& remote, const Bytes& user) {
    const auto groups = accounts::GroupsOf(remote, user);
    return std::find(groups.begin(), groups.end(), security::well_known::kAdministrators) != groups.end();
}

DWORD CheckShare(Machine& remote, const std::string& name, const Bytes& user) {
    if (name.empty()) return 0;
    const auto share = network::FindShare(remote, name);
    if (!share) return ERROR_BAD_NET_NAME;
    const bool forAdministrators = share->administrative && share->type != (STYPE_IPC | STYPE_SPECIAL);
    return forAdministrators && !IsAdministratorOf(remote, user) ? ERROR_ACCESS_DENIED : 0;
}

// Windows lets nobody be two users on one machine at a time.
DWORD CheckOthers(Store& store, const std::string& host, const std::string& user) {
    for (const StoredValue& connection : store.Values(kKey)) {
        if (!connection.name.starts_with("\\\\") || !text::EqualNoCase(HostOf(connection.name), host)) continue;
        if (!text::EqualNoCase(store.ReadText(kKey, connection.name), user)) return ERROR_SESSION_CREDENTIAL_CONFLICT;
    }
    return 0;
}

DWORD Connect(const NETRESOURCEA& resource, LPCSTR password, LPCSTR userName) {
    if (resource.lpLocalName != nullptr && *resource.lpLocalName != '\0') return ERROR_BAD_DEVICE;
    const auto name = Parse(resource.lpRemoteName);
    if (!name) return ERROR_BAD_NET_NAME;
    const auto remote = world::Find(name->host.c_str());
    if (remote == nullptr) return ERROR_BAD_NETPATH;
    const auto user = FindUser(*remote, userName);
    if (!user) return ERROR_LOGON_FAILURE;
    if (const DWORD error = LogOn(remote, *user, password, userName == nullptr)) return error;
    if (const DWORD error = CheckShare(*remote, name->share, user->sid)) return error;
    Store& store = world::Local()->Storage();
    const Store::Lock lock(store);
    const std::string fullName = user->domain + '\\' + user->name;
    if (const DWORD error = CheckOthers(store, name->host, fullName)) return error;
    return store.WriteText(kKey, resource.lpRemoteName, fullName) ? NO_ERROR : DWORD(ERROR_ACCESS_DENIED);
}

}  // namespace

DWORD WNetAddConnection2A(LPNETRESOURCEA resource, LPCSTR password, LPCSTR user, DWORD) {
    if (const DWORD error = gate::Enter(CallKind::Network, "WNetAddConnection2A")) return Answer(error);
    return Answer(resource == nullptr ? DWORD(ERROR_INVALID_PARAMETER) : Connect(*resource, password, user));
}

DWORD WNetCancelConnection2A(LPCSTR name, DWORD, BOOL) {
    if (const DWORD error = gate::Enter(CallKind::Network, "WNetCancelConnection2A")) return Answer(error);
    const bool erased = name != nullptr && world::Local()->Storage().Erase(kKey, name);
    return Answer(erased ? NO_ERROR : DWORD(ERROR_NOT_CONNECTED));
}
