#ifndef INSTALIB_EMBEDDED_API_ACCOUNTS_H
#define INSTALIB_EMBEDDED_API_ACCOUNTS_H

#include "platform/embedded/api/base.h"

#endif
