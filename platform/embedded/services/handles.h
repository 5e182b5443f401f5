// What the handles of the service control manager stand for, and what every call on them asks first.
#ifndef INSTALIB_EMBEDDED_SERVICES_HANDLES_H
#define INSTALIB_EMBEDDED_SERVICES_HANDLES_H

#include <memory>
#include <string>

#include "platform/embedded/api/services.h"
#include "platform/embedded/core/handles_table.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/services/locks.h"

namespace embedded::services {

class ManagerObject : public HandleObject {
  public:
    ManagerObject(std::shared_ptr<Machine> onMachine, DWORD rights)
        : HandleObject(ResourceKind::ServiceManager), machine(std::move(onMachine)), granted(rights) {}
    const std::shared_ptr<Machine> machine;
    const DWORD granted;
};

// While one of these is open in any process, a deleted service stays; the last one to go takes it along.
class ServiceObject : public HandleObject {
  public:
    ServiceObject(std::shared_ptr<Machine> machine, std::string name, DWORD granted, std::unique_ptr<Hold> hold);
    ~ServiceObject() override;
    const std::shared_ptr<Machine> machine;
    const std::string name;
    const DWORD granted;

  private:
    std::unique_ptr<Hold> m_hold;
};

// The object when the handle is one of its kind and was granted `right`; null with the last error 6 or 5 otherwise.
std::shared_ptr<ManagerObject> ManagerFor(SC_HANDLE handle, DWORD right);
std::shared_ptr<ServiceObject> ServiceFor(SC_HANDLE handle, DWORD right);

bool IsMarkedForDeletion(Machine& machine, std::string_view name);
// Removes a service that is marked for deletion once it is stopped and nobody has it open.
void RemoveIfAbandoned(Machine& machine, std::string_view name);

}  // namespace embedded::services

#endif
