// Every section and key that the library reads of SETUP.INF.
#ifndef INSTALIB_KVSETUP_MEDIUM_KEYS_H
#define INSTALIB_KVSETUP_MEDIUM_KEYS_H

#include "kvsetup/profile_check.h"

std::span<const profile_check::Key> MediumKeys();

#endif
