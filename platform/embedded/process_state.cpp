#include "platform/embedded/process_state.h"

#include "platform/embedded/code_page.h"
#include "platform/embedded/control_system.h"
#include "platform/embedded/file_state.h"
#include "platform/embedded/token_state.h"

namespace embedded::process {

void ResetForMachine() {
    code_page::Reset();
    ResetEnvironment();
    files::ResetForMachine();
    security::ResetForMachine();
    control::ShowEverything();
}

}  // namespace embedded::process
