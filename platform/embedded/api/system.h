#ifndef INSTALIB_EMBEDDED_API_SYSTEM_H
#define INSTALIB_EMBEDDED_API_SYSTEM_H

#include "platform/embedded/api/base.h"

#endif
