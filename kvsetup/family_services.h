// Which of the family's services belong to which components.
#ifndef INSTALIB_KVSETUP_FAMILY_SERVICES_H
#define INSTALIB_KVSETUP_FAMILY_SERVICES_H

#include <vector>

#include "instalib/service.h"
#include "instalib/settings.h"

// All services of the family, in the order in which they are started.
std::vector<CService> AllFamilyServices();
// Those that the settings install, or remove in uninstall mode.
std::vector<CService> ChosenServices(CSettings& settings);

#endif
