// What the handles of the local security authority stand for.
#ifndef INSTALIB_EMBEDDED_ACCOUNTS_LSA_HANDLES_H
#define INSTALIB_EMBEDDED_ACCOUNTS_LSA_HANDLES_H

#include "platform/embedded/api/accounts.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/handles_table.h"
#include "platform/embedded/machine/world.h"

namespace embedded::lsa {

class PolicyObject : public HandleObject {
  public:
    PolicyObject(std::shared_ptr<Machine> onMachine, DWORD rights)
        : HandleObject(ResourceKind::Policy), machine(std::move(onMachine)), granted(rights) {}
    const std::shared_ptr<Machine> machine;
    const DWORD granted;
};

class AccountObject : public HandleObject {
  public:
    AccountObject(std::shared_ptr<Machine> onMachine, Bytes account, DWORD rights)
        : HandleObject(ResourceKind::Policy), machine(std::move(onMachine)), sid(std::move(account)), granted(rights) {}
    const std::shared_ptr<Machine> machine;
    const Bytes sid;
    const DWORD granted;
};

// Rights of an account object (ntlsa.h).
inline constexpr DWORD kAccountView = 0x1;
inline constexpr DWORD kAccountAdjustPrivileges = 0x2;
inline constexpr DWORD kAccountAdjustSystemAccess = 0x8;
inline constexpr DWORD kAccountAll = STANDARD_RIGHTS_REQUIRED | 0xF;

// The mask that generic bits and MAXIMUM_ALLOWED come to: everything, for those who may have everything.
DWORD Granted(DWORD desired, DWORD all);

// STATUS_SUCCESS and the object, STATUS_INVALID_HANDLE, or STATUS_ACCESS_DENIED when the handle lacks the right.
template <class Object>
NTSTATUS ObjectFor(LSA_HANDLE handle, DWORD right, std::shared_ptr<Object>& object) {
    object = handles::Find<Object>(handle);
    if (object == nullptr) return STATUS_INVALID_HANDLE;
    return (object->granted & right) == right ? STATUS_SUCCESS : STATUS_ACCESS_DENIED;
}

// The gate for calls that answer a status: the status that becomes the chosen error, or success.
NTSTATUS Enter(const char* name);

}  // namespace embedded::lsa

#endif
