// Where a machine is, whether it is a 64-bit one and where its system directory is; shared by the registry and upgrade
// subsystems. A machine is named by its computer name; null and an empty name mean the one this process runs on.
//
// A machine is 64-bit when its registry knows a second Program Files directory. Is_Local_64Bit_System answers for the
// local machine alone and IsRemote_64Bit_System for others alone: who wants to know it of any machine asks both.
#ifndef INSTALIB_MACHINE_PLATFORM_PROBES_H
#define INSTALIB_MACHINE_PLATFORM_PROBES_H

#include "instalib/probes.h"
#include "instalib/string.h"

// 1 when the machine is the local one and 64-bit. Says what it found in the upgrade log.
int Is_Local_64Bit_System(const char* machine);
// 1 when the machine is another one, can be reached and is 64-bit. For the local machine no registry is touched.
int IsRemote_64Bit_System(const char* machine);
// 1 when the name is another machine's than the local one's. Says so in the upgrade log, except for null and an empty
// name.
int Is_Remote_Machine(const char* machine);
// The other machine's system directory through its administrative share, for example "\\HOST\C$\WINDOWS\System32\";
// empty when the machine cannot be asked.
CString GetRemoteSystem32Path(const char* machine);

#endif
