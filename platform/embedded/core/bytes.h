// Bytes as the machine keeps and hands them on.
#ifndef INSTALIB_EMBEDDED_CORE_BYTES_H
#define INSTALIB_EMBEDDED_CORE_BYTES_H

#include <vector>

#include "platform/embedded/api/base.h"

namespace embedded {

using Bytes = std::vector<BYTE>;

}  // namespace embedded

#endif
