// What WaitForSingleObject can wait for.
#ifndef INSTALIB_EMBEDDED_SYSTEM_PROCESS_WAIT_H
#define INSTALIB_EMBEDDED_SYSTEM_PROCESS_WAIT_H

#include "platform/embedded/core/handles_table.h"

namespace embedded {

class Waitable : public HandleObject {
  public:
    using HandleObject::HandleObject;
    // WAIT_OBJECT_0, WAIT_TIMEOUT, WAIT_ABANDONED, or WAIT_FAILED with the last error. INFINITE waits without bound.
    virtual DWORD Wait(DWORD milliseconds) = 0;
};

}  // namespace embedded

#endif
