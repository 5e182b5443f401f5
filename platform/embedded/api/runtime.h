#ifndef INSTALIB_EMBEDDED_API_RUNTIME_H
#define INSTALIB_EMBEDDED_API_RUNTIME_H

#include "platform/embedded/api/base.h"

#endif
