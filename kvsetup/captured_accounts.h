// The users and local groups of a machine as data, for captures.
#ifndef INSTALIB_KVSETUP_CAPTURED_ACCOUNTS_H
#define INSTALIB_KVSETUP_CAPTURED_ACCOUNTS_H

#include "kvsetup/console.h"

namespace capture {

// "sid" of the machine, "currentUser", "lanGroup", "users" and "groups". A list that Windows does not give is null, and
// `problems` gets a line. No passwords, nor anything made from them.
Json CaptureAccounts(Json& problems);

}  // namespace capture

#endif
