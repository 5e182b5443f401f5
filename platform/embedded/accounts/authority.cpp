#include "platform/embedded/accounts/authority.h"

#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/security/token.h"

namespace embedded::network {

bool IsAdministrator() { return security::EffectiveToken()->IsAllowedBy(security::well_known::kAdministrators); }

DWORD AuthorityForChange(LPCWSTR server, std::shared_ptr<Machine>& machine) {
    machine = domain::Authority(world::Find(server));
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    return IsAdministrator() ? 0 : ERROR_ACCESS_DENIED;
}

}  // namespace embedded::network
