// What a test may do to the security of this process. Who runs it is chosen in control/accounts.h.
#ifndef INSTALIB_EMBEDDED_CONTROL_SECURITY_H
#define INSTALIB_EMBEDDED_CONTROL_SECURITY_H

#include <string>
#include <vector>

#include "platform/embedded/control/machine.h"

namespace embedded::control {

enum class GroupUse { Enabled, Disabled, DenyOnly };

// From now on the process's token holds the group, given as "S-1-5-32-544" or "BA", in this way. False when the token
// has no such group. Tokens that threads impersonate already stay as they are; so do descriptors.
MACHINE_CONTROL bool SetTokenGroup(const std::string& sid, GroupUse use);
// From now on the process's token lacks the privilege, as if its user had never been given it. False when it lacked it.
MACHINE_CONTROL bool DropPrivilege(const std::string& name);

// What the machine answers on a descriptor as it may find it in its store, whole or damaged: 0 or an error code, and
// the mask granted to this thread's token on a registry key.
MACHINE_CONTROL DWORD CheckStoredDescriptor(const std::vector<BYTE>& descriptor, DWORD desired, DWORD* granted);

}  // namespace embedded::control

#endif
