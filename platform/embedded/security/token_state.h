// The tokens' part of the per-process state.
#ifndef INSTALIB_EMBEDDED_SECURITY_TOKEN_STATE_H
#define INSTALIB_EMBEDDED_SECURITY_TOKEN_STATE_H

namespace embedded::security {

// Forgets the process's token and every thread's impersonation; the next use builds the token of the current user of
// the local machine. For a change of machine or of user.
void ResetForMachine();

}  // namespace embedded::security

#endif
