// How services of the local machine behave when they are started and stopped. Kept with the machine, for all its
// processes.
#ifndef INSTALIB_EMBEDDED_CONTROL_SERVICES_H
#define INSTALIB_EMBEDDED_CONTROL_SERVICES_H

#include "platform/embedded/control/machine.h"

namespace embedded::control {

// What a pending service reports, and for how long on the machine's clock (see UseManualClock).
struct PendingStep {
    DWORD checkPoint = 0;
    DWORD waitHint = 0;      // milliseconds, as the service claims
    DWORD milliseconds = 0;  // until the next step, or the end
};

// One transition. Without steps and error it is complete at once, as for a service without a script.
struct TransitionScript {
    std::vector<PendingStep> steps;
    DWORD error = 0;     // the call itself fails with this and nothing changes
    bool hangs = false;  // the last step stands for ever
    DWORD exitCode = 0;  // start: not 0, the service ends stopped with this exit code. Stop: what it leaves behind
};

struct ServiceScript {
    TransitionScript start;
    TransitionScript stop;
    DWORD interrogateError = 0;    // what an interrogation fails with, for a service that answers nothing
    DWORD controlsAccepted = 0x1;  // SERVICE_ACCEPT_STOP; 0: a running service refuses to stop (1052)
};

// The service need not exist yet. A script with default values takes the script away. A
// transition that is pending goes on by the new script; one that has ended stays as it ended.
MACHINE_CONTROL void ScriptService(const std::string& name, const ServiceScript& script);
// The state of a service now: SERVICE_RUNNING, ..., 0 when there is none.
MACHINE_CONTROL DWORD ServiceState(const std::string& name);

}  // namespace embedded::control

#endif
