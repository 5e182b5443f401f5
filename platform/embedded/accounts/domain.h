// Roles of machines, and the domains and workgroups that they stand in.
#ifndef INSTALIB_EMBEDDED_ACCOUNTS_DOMAIN_H
#define INSTALIB_EMBEDDED_ACCOUNTS_DOMAIN_H

#include <memory>
#include <string>
#include <vector>

#include "platform/embedded/control/accounts.h"
#include "platform/embedded/machine/world.h"

namespace embedded::domain {

using Role = control::MachineRole;

Role RoleOf(Machine& machine);
bool SetRole(Machine& machine, Role role);
bool IsController(Machine& machine);
// The domain that the machine belongs to; empty in a workgroup.
std::string Name(Machine& machine);
// The domain or the workgroup.
std::string LanGroup(Machine& machine);
// What the machine's own accounts are called by: its domain's name on a controller, else its own.
std::string AccountDomainName(Machine& machine);
// The primary controller of a domain of the world; null when there is none.
std::shared_ptr<Machine> Controller(std::string_view name);
// The machine that keeps the accounts which `machine` calls its own: a backup controller asks its primary one.
std::shared_ptr<Machine> Authority(const std::shared_ptr<Machine>& machine);
// The names of the domains that the machine trusts, oldest first.
std::vector<std::string> TrustsOf(Machine& machine);
// The primary controllers of all domains of the world.
std::vector<std::shared_ptr<Machine>> Controllers();

}  // namespace embedded::domain

#endif
