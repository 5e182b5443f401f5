// The rules of a service's configuration, the same for CreateServiceA and ChangeServiceConfigA.
#ifndef INSTALIB_EMBEDDED_SERVICES_SETTINGS_H
#define INSTALIB_EMBEDDED_SERVICES_SETTINGS_H

#include "platform/embedded/services/records.h"

namespace embedded::services {

// What a caller asks for; null and SERVICE_NO_CHANGE leave an item as it is.
struct Settings {
    DWORD type, startType, errorControl;
    const char* path;
    const char* group;
    DWORD* tag;
    const char* dependencies;  // terminated texts, an empty one at the end
    const char* account;
    const char* password;
    const char* displayName;
};

// Puts the settings into `config`, the service's configuration so far (empty for a new one): 0, or the error of the
// first rule that they break.
DWORD Apply(Machine& machine, std::string_view name, const Settings& settings, Config& config);
// Keeps what a later start needs to log the service on, when the settings bring an account or a password.
void KeepLogon(Machine& machine, std::string_view name, const Config& config, const Settings& settings);
// 0, or ERROR_SERVICE_LOGON_FAILED when the account lacks the right to log on as a service or has another password by
// now.
DWORD CheckLogon(Machine& machine, std::string_view name, const Config& config);

// The services that need `name`, directly or through others; one that needs another of them stands before it.
std::vector<std::string> Dependents(Machine& machine, std::string_view name);

}  // namespace embedded::services

#endif
