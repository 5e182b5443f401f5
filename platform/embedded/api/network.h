#ifndef INSTALIB_EMBEDDED_API_NETWORK_H
#define INSTALIB_EMBEDDED_API_NETWORK_H

#include "platform/embedded/api/base.h"

#endif
