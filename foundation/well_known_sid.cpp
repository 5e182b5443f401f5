#include "foundation/well_known_sid.h"

namespace {

AllocatedSid Make(SID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD first, DWORD second) noexcept {
    AllocatedSid sid;
    if (!AllocateAndInitializeSid(&authority, count, first, second, 0, 0, 0, 0, 0, 0, sid.Receive())) {
        return AllocatedSid();
    }
    return sid;
}

}  // namespace

AllocatedSid EveryoneSid() noexcept { return Make(SECURITY_WORLD_SID_AUTHORITY, 1, SECURITY_WORLD_RID, 0); }

AllocatedSid BuiltinSid(DWORD rid) noexcept {
    return Make(SECURITY_NT_AUTHORITY, 2, SECURITY_BUILTIN_DOMAIN_RID, rid);
}
