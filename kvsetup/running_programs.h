// The family's desktop programs that still run while a setup wants to replace them.
#ifndef INSTALIB_KVSETUP_RUNNING_PROGRAMS_H
#define INSTALIB_KVSETUP_RUNNING_PROGRAMS_H

#include "kvsetup/session.h"

// Before anything is changed: names those that run, and closes them when that was asked for (--close-programs, or a yes
// of the user). Throws a Failure that names those which still run: also when a window ignores the request for longer
// than --close-timeout says.
void CloseRunningPrograms(const Options& options, bool mayAsk, Session& session);

#endif
