#ifndef INSTALIB_REGISTRY_ALERT_LIBRARY_H
#define INSTALIB_REGISTRY_ALERT_LIBRARY_H

#include "instalib/string.h"

namespace registry {

// The build number text that ALERTVER.DLL of the directory (with its final backslash) tells; empty without the library
// or its entry point.
CString InstalledAlertBuild(const char* directory);

}  // namespace registry

#endif
