#ifndef INSTALIB_EMBEDDED_API_REGISTRY_H
#define INSTALIB_EMBEDDED_API_REGISTRY_H

#include "platform/embedded/api/base.h"

#endif
