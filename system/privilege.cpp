#include "system/privilege.h"

#include "platform/handles.h"

int EnablePrivilege(const char* name, int enable) {
    KernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Receive())) return 0;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = enable ? SE_PRIVILEGE_ENABLED : 0;
    if (!LookupPrivilegeValueA(nullptr, name, &privileges.Privileges[0].Luid)) return 0;
    // The adjustment succeeds even when the token lacks the privilege; only the last error tells.
    return AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr) &&
           GetLastError() == ERROR_SUCCESS;
}
