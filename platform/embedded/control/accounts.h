// What a test or a tool may do to the accounts, domains and roles of a machine. A machine is named as in world::Find;
// an empty name is the local one. Every function answers false when the machine or what it names does not exist.
#ifndef INSTALIB_EMBEDDED_CONTROL_ACCOUNTS_H
#define INSTALIB_EMBEDDED_CONTROL_ACCOUNTS_H

#include <string>
#include <vector>

#include "platform/embedded/control/machine.h"

namespace embedded::control {

// Workstation is what a fresh machine is. The role shows in the server's type bits and in the product type of the
// registry ("WinNT", "ServerNT", "LanmanNT").
enum class MachineRole { Workstation, Server, PrimaryController, BackupController };
MACHINE_CONTROL bool SetMachineRole(const std::string& machine, MachineRole role);

// The workgroup a machine stands in ("WORKGROUP" on a fresh one); leaves its domain.
MACHINE_CONTROL bool SetWorkgroup(const std::string& machine, const std::string& name);
// Makes `controller` the primary controller of a new domain; its users and groups are the domain's from now on.
MACHINE_CONTROL bool AddDomain(const std::string& name, const std::string& controller);
// Makes a machine a member of a domain of the world; a machine whose role is BackupController becomes one of its
// controllers.
MACHINE_CONTROL bool JoinDomain(const std::string& machine, const std::string& domain);
// Adds `trusted` to the domains that the machine (a controller, as a rule) trusts, in the order of the calls.
MACHINE_CONTROL bool AddTrust(const std::string& machine, const std::string& trusted);

// As whom processes run on the local machine from now on: a user of the machine, DOMAIN\user, or "SYSTEM". Kept with
// the machine. Tokens that are open already stay as they are.
MACHINE_CONTROL bool SetCurrentUser(const std::string& name);
// Names of the built-in groups, users and well-known identifiers as a Windows of that language has them: "en", "de" or
// "fr".
MACHINE_CONTROL bool SetBuiltinNames(const std::string& machine, const std::string& language);

// Accounts as another machine has them. Rights are privileges and logon rights by name, identifiers texts.
struct KnownUser {
    DWORD rid = 0;
    std::string name, fullName, comment, homeDirectory;
    DWORD flags = 0;  // UF_*
    std::vector<std::string> rights;
};
struct KnownGroup {
    std::string sid;
    std::string name;  // of no meaning for a built-in group, which bears the name of the machine's language
    std::string comment;
    std::vector<std::string> members, rights;
};
// From now on the machine has these users and groups and no others; nobody knows the passwords of the users. False
// when one of them cannot be one, and what was taken until then stays.
MACHINE_CONTROL bool TakeAccounts(const std::string& machine, const std::vector<KnownUser>& users,
                                  const std::vector<KnownGroup>& groups);

// The identifiers of the next `count` new users and groups are passed over, as if others had been made and removed.
MACHINE_CONTROL bool SkipIdentifiers(const std::string& machine, unsigned count);

}  // namespace embedded::control

#endif
