// The room accounts/: users, groups and their rights, domains, the local security authority.
//
// Accounts as the machine keeps them in its store: who has which identifier, who belongs to which group, who holds
// which right. The security and network families look here.
#ifndef INSTALIB_EMBEDDED_ACCOUNTS_STORE_H
#define INSTALIB_EMBEDDED_ACCOUNTS_STORE_H

#include <optional>
#include <string>
#include <vector>

#include "platform/embedded/machine/world.h"

namespace embedded::accounts {

enum class Use { User = 1, Group = 2, Domain = 3, Alias = 4, WellKnownGroup = 5 };  // SID_NAME_USE (winnt.h)

struct Account {
    std::string name;
    std::string domain;  // the machine's name, a domain's, "BUILTIN", "NT AUTHORITY" or empty (Everyone)
    Bytes sid;           // binary form
    Use use = Use::User;
};

// "name", "DOMAIN\\name" or "MACHINE\\name", without regard to case. A name alone is looked for in the machine, its own
// domain and the domains that these trust, as Windows does; "DOMAIN" may be any domain of the world.
std::optional<Account> ByName(Machine& machine, std::string_view name);
// In the same domains as a name alone.
std::optional<Account> BySid(Machine& machine, const Bytes& sid);
// S-1-5-21-a-b-c of the machine's own accounts; a user's identifier is this and its relative identifier.
Bytes MachineSid(Machine& machine);
// The identifiers of all groups that the account is in, nested ones and the well-known ones of a local logon included.
std::vector<Bytes> GroupsOf(Machine& machine, const Bytes& sid);
// The privileges and logon rights ("SeBackupPrivilege", ...) assigned to any of these identifiers.
std::vector<std::string> PrivilegesOf(Machine& machine, const std::vector<Bytes>& sids);
// The account of the user that this process runs as: Administrator unless control chose another.
Account CurrentUser(Machine& machine);

}  // namespace embedded::accounts

#endif
