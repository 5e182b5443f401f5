// Buffers of the network functions, information on workstations, servers and domain controllers.
#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/control/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/record_block.h"
#include "platform/embedded/security/token.h"

using namespace embedded;
using control::CallKind;
using network::NarrowOf;
using network::RecordBlock;

namespace {

// As the machine's own GetVersionExA tells it.
control::WindowsVersion VersionOf(Machine& machine) {
    control::WindowsVersion version;
    version.major = machine.Storage().ReadNumber("META\\System", "MajorVersion", version.major);
    version.minor = machine.Storage().ReadNumber("META\\System", "MinorVersion", version.minor);
    return version;
}

DWORD ServerType(Machine& machine) {
    const domain::Role role = domain::RoleOf(machine);
    DWORD type = SV_TYPE_WORKSTATION | SV_TYPE_SERVER | SV_TYPE_NT;
    if (role == domain::Role::PrimaryController) return type | SV_TYPE_DOMAIN_CTRL;
    if (role == domain::Role::BackupController) return type | SV_TYPE_DOMAIN_BAKCTRL;
    if (role == domain::Role::Server) type |= SV_TYPE_SERVER_NT;
    return domain::Name(machine).empty() ? type : type | SV_TYPE_DOMAIN_MEMBER;
}

}  // namespace

NET_API_STATUS NetApiBufferAllocate(DWORD bytes, LPVOID* buffer) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetApiBufferAllocate")) return error;
    if (buffer == nullptr) return ERROR_INVALID_PARAMETER;
    *buffer = buffers::Allocate(ResourceKind::NetBuffer, bytes);
    return *buffer == nullptr ? ERROR_NOT_ENOUGH_MEMORY : NERR_Success;
}

NET_API_STATUS NetApiBufferFree(LPVOID buffer) {
    if (buffer != nullptr && !buffers::Free(ResourceKind::NetBuffer, buffer)) return ERROR_INVALID_PARAMETER;
    return gate::Enter(CallKind::Network, "NetApiBufferFree");
}

NET_API_STATUS NetWkstaGetInfo(LMSTR server, DWORD level, LPBYTE* buffer) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetWkstaGetInfo")) return error;
    const auto machine = world::Find(server);
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    if (level != 100) return ERROR_INVALID_LEVEL;
    const auto version = VersionOf(*machine);
    RecordBlock<WKSTA_INFO_100> block;
    block.Add({PLATFORM_ID_NT, nullptr, nullptr, version.major, version.minor});
    block.Text(&WKSTA_INFO_100::wki100_computername, machine->Name());
    block.Text(&WKSTA_INFO_100::wki100_langroup, domain::LanGroup(*machine));
    return block.HandOut(buffer);
}

NET_API_STATUS NetServerGetInfo(LMSTR server, DWORD level, LPBYTE* buffer) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetServerGetInfo")) return error;
    const auto machine = world::Find(server);
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    if (level != 101) return ERROR_INVALID_LEVEL;
    const auto version = VersionOf(*machine);
    RecordBlock<SERVER_INFO_101> block;
    block.Add({PLATFORM_ID_NT, nullptr, version.major, version.minor, ServerType(*machine), nullptr});
    block.Text(&SERVER_INFO_101::sv101_name, machine->Name());
    block.Text(&SERVER_INFO_101::sv101_comment, "");
    return block.HandOut(buffer);
}

NET_API_STATUS NetGetDCName(LPCWSTR server, LPCWSTR domainName, LPBYTE* buffer) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetGetDCName")) return error;
    const auto machine = world::Find(server);
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    const std::string wanted = NarrowOf(domainName);
    const auto controller = domain::Controller(wanted.empty() ? domain::Name(*machine) : wanted);
    if (controller == nullptr) return NERR_DCNotFound;
    const std::u16string name = text::Widen("\\\\" + controller->Name());
    const std::size_t size = (name.size() + 1) * sizeof(char16_t);
    *buffer = static_cast<LPBYTE>(buffers::Allocate(ResourceKind::NetBuffer, size));
    if (*buffer == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    std::memcpy(*buffer, name.c_str(), size);
    return NERR_Success;
}
