// The security identifiers that are the same on every Windows, of any language.
#ifndef INSTALIB_FOUNDATION_WELL_KNOWN_SID_H
#define INSTALIB_FOUNDATION_WELL_KNOWN_SID_H

#include "platform/handles.h"

// S-1-1-0, everyone. Null with the call's last error when there is no memory, like the one below.
AllocatedSid EveryoneSid() noexcept;
// S-1-5-32-`rid`, a built-in group: DOMAIN_ALIAS_RID_ADMINS, ...
AllocatedSid BuiltinSid(DWORD rid) noexcept;

#endif
