// The room services/: the service control manager.
//
// Services as the registry keeps them, below HKLM\SYSTEM\CurrentControlSet\Services: the service control manager's
// functions are views over these keys, so that what a registry call changes is what the next query answers.
#ifndef INSTALIB_EMBEDDED_SERVICES_RECORDS_H
#define INSTALIB_EMBEDDED_SERVICES_RECORDS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/machine/world.h"

namespace embedded::services {

inline constexpr char kServicesKey[] = "HKLM\\SYSTEM\\CurrentControlSet\\Services";

struct Config {
    DWORD type = 0;
    DWORD startType = 0;
    DWORD errorControl = 0;
    std::string path;
    std::string group;
    DWORD tag = 0;                          // 0: none
    std::vector<std::string> dependencies;  // services, and load order groups marked with '+'
    std::string account;
    std::string displayName;
};

std::string KeyOf(std::string_view name);
// Nothing unless the key exists and has a Type value that makes it a service or driver.
std::optional<Config> Load(Machine& machine, std::string_view name);
// Whether each item is written as CreateServiceA does: empty texts and lists leave no value.
bool Save(Machine& machine, std::string_view name, const Config& config);
// The name as the registry has it, in whatever case the caller wrote it; as it was written when there is none.
std::string StoredName(Machine& machine, std::string_view name);
// The names of the services, sorted, that have a value of this name.
std::vector<std::string> NamesWith(Machine& machine, std::string_view value);
// The names of all services, sorted.
std::vector<std::string> Names(Machine& machine);
// The name of the service that bears a display name or service name, without regard to case; empty when there is none.
std::string NameByDisplayName(Machine& machine, std::string_view displayName);

// At most 256 characters, neither empty nor with a slash in it.
bool IsServiceName(std::string_view name);

}  // namespace embedded::services

#endif
