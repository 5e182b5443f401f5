// One privilege of the current process's token.
#ifndef INSTALIB_SYSTEM_PRIVILEGE_H
#define INSTALIB_SYSTEM_PRIVILEGE_H

// Enables or disables it. Nonzero on success; a privilege that the token does not hold fails with
// ERROR_NOT_ALL_ASSIGNED (1300).
int EnablePrivilege(const char* name, int enable);

#endif
