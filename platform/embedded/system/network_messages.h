// What netmsg.dll holds of the codes from 2100 to 2999 (lmerr.h), in the order of the codes.
#ifndef INSTALIB_PLATFORM_EMBEDDED_SYSTEM_NETWORK_MESSAGES_H
#define INSTALIB_PLATFORM_EMBEDDED_SYSTEM_NETWORK_MESSAGES_H

#include <span>

#include "platform/embedded/api/base.h"

namespace embedded::messages {

struct Message {
    DWORD code;
    const char* text;
};

std::span<const Message> OfTheNetwork();

}  // namespace embedded::messages

#endif
