// The pieces of a fresh machine that their own families bring.
#ifndef INSTALIB_EMBEDDED_MACHINE_SEED_H
#define INSTALIB_EMBEDDED_MACHINE_SEED_H

#include "platform/embedded/machine/world.h"

namespace embedded {

// Users, groups, their rights; the machine's own identifier, a new one unless it is given ("S-1-5-21-1-2-3").
void SeedAccounts(Machine& machine, const std::string& sid);
// The services that Windows itself brings.
void SeedServices(Machine& machine);

}  // namespace embedded

#endif
