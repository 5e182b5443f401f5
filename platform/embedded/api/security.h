#ifndef INSTALIB_EMBEDDED_API_SECURITY_H
#define INSTALIB_EMBEDDED_API_SECURITY_H

#include "platform/embedded/api/base.h"

#endif
