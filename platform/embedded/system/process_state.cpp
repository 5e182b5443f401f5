#include "platform/embedded/machine/process_state.h"

#include "platform/embedded/control/system.h"
#include "platform/embedded/files/state.h"
#include "platform/embedded/security/token_state.h"
#include "platform/embedded/system/code_page.h"

namespace embedded::process {

void ResetForMachine() {
    code_page::Reset();
    ResetEnvironment();
    files::ResetForMachine();
    security::ResetForMachine();
    control::ShowEverything();
}

}  // namespace embedded::process
