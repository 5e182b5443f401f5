#ifndef INSTALIB_EMBEDDED_API_MODULES_H
#define INSTALIB_EMBEDDED_API_MODULES_H

#include "platform/embedded/api/base.h"

#endif
