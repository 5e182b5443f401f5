#ifndef INSTALIB_EMBEDDED_API_SERVICES_H
#define INSTALIB_EMBEDDED_API_SERVICES_H

#include "platform/embedded/api/base.h"

#endif
