// The room network/: shares, connections, and what a server tells of itself.
//
// A machine's shares. Those that somebody made stand where Windows keeps them, below the registry key of the service
// LanmanServer: Shares, with their descriptors in its key Security. The administrative ones (C$, ADMIN$, IPC$) are
// there by themselves.
#ifndef INSTALIB_EMBEDDED_NETWORK_SHARES_H
#define INSTALIB_EMBEDDED_NETWORK_SHARES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/machine/world.h"

namespace embedded::network {

struct Share {
    std::string name;
    DWORD type = 0;  // STYPE_*
    std::string remark;
    DWORD permissions = 0;
    DWORD maxUses = 0xFFFFFFFF;
    std::string path;  // on the machine, without a final backslash but for a drive's root
    bool administrative = false;
};

// In any letter case, without leading backslashes.
std::optional<Share> FindShare(Machine& machine, std::string_view name);
// Sorted by name, the administrative ones among them.
std::vector<Share> AllShares(Machine& machine);
bool SaveShare(Machine& machine, const Share& share);
// With its descriptor.
bool DeleteShare(Machine& machine, const Share& share);
// Self-relative; empty when the share was given none.
Bytes ShareDescriptor(Machine& machine, const Share& share);
bool SetShareDescriptor(Machine& machine, const Share& share, const Bytes& descriptor);

// Whether `path` is an existing directory of the machine. Only absolute paths of a drive are.
bool IsDirectoryOf(const Machine& machine, std::string_view path);

}  // namespace embedded::network

#endif
