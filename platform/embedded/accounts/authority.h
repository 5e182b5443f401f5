// Who may change a machine's accounts and shares, and which machine keeps them.
#ifndef INSTALIB_EMBEDDED_ACCOUNTS_AUTHORITY_H
#define INSTALIB_EMBEDDED_ACCOUNTS_AUTHORITY_H

#include <memory>

#include "platform/embedded/machine/world.h"

namespace embedded::network {

// Whether the caller is an administrator, as changes to accounts and shares demand.
bool IsAdministrator();
// The machine that keeps the server's accounts, for a caller who changes them: 0, ERROR_BAD_NETPATH or
// ERROR_ACCESS_DENIED.
DWORD AuthorityForChange(LPCWSTR server, std::shared_ptr<Machine>& machine);

}  // namespace embedded::network

#endif
