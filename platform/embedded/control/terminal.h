// The terminal of the process on the embedded target, for front ends: the machine itself has no windows and no console.
#ifndef INSTALIB_EMBEDDED_CONTROL_TERMINAL_H
#define INSTALIB_EMBEDDED_CONTROL_TERMINAL_H

#include <string>

#include "platform/embedded/control/machine.h"

namespace embedded::control {

MACHINE_CONTROL bool InputIsTerminal();
MACHINE_CONTROL bool OutputIsTerminal();
// Reads a line of the input without its line end; a terminal does not show it meanwhile.
MACHINE_CONTROL std::string ReadHiddenLine();

}  // namespace embedded::control

#endif
