// The vendor's tool library and the log, as the registry operations use them.
#ifndef INSTALIB_REGISTRY_TOOL_LIBRARY_H
#define INSTALIB_REGISTRY_TOOL_LIBRARY_H

#include "instalib/string.h"
#include "platform/handles.h"

namespace registry {

// HSTOOL.DLL of the current directory, else by the normal search; empty when neither loads.
LoadedLibrary LoadToolLibrary();

// One line to the setup log; a log that cannot be written changes nothing, the last error included.
void LogLine(const char* file, const char* text);

}  // namespace registry

#endif
