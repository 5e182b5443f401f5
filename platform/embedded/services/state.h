// What services are doing: volatile in Windows, kept below META\Services here so that all processes of a machine see
// it.
#ifndef INSTALIB_EMBEDDED_SERVICES_STATE_H
#define INSTALIB_EMBEDDED_SERVICES_STATE_H

#include <string>
#include <string_view>

#include "platform/embedded/api/services.h"
#include "platform/embedded/control/services.h"
#include "platform/embedded/machine/world.h"

namespace embedded::services {

// The service's status at this moment of the machine's clock; stopped and never started for one that nobody started.
SERVICE_STATUS StatusOf(Machine& machine, std::string_view name);
inline bool IsStopped(const SERVICE_STATUS& status) { return status.dwCurrentState == SERVICE_STOPPED; }

// Begin a transition from now on, or refuse it as the service's script says: 0 or the error.
DWORD BeginStart(Machine& machine, std::string_view name);
DWORD BeginStop(Machine& machine, std::string_view name);
// Pause and continue happen at once.
void SetRunning(Machine& machine, std::string_view name, DWORD state);
// Writes down how a transition has ended, so that a new script tells of the next one only.
void Settle(Machine& machine, std::string_view name);
void Forget(Machine& machine, std::string_view name);

control::ServiceScript ScriptOf(Machine& machine, std::string_view name);

}  // namespace embedded::services

#endif
