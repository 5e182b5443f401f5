#ifndef INSTALIB_EMBEDDED_API_FILES_H
#define INSTALIB_EMBEDDED_API_FILES_H

#include "platform/embedded/api/base.h"

#endif
