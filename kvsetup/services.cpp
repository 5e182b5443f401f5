#include <iostream>

#include "kvsetup/console.h"
#include "kvsetup/family_services.h"
#include "kvsetup/host.h"
#include "kvsetup/options.h"
#include "kvsetup/record_commands.h"

namespace {

constexpr DWORD kServiceDoesNotExist = 1060;  // ERROR_SERVICE_DOES_NOT_EXIST

std::string State(const CService& service) {
    host::SetLastError(0);
    if (service.Exists()) return service.IsStarted() ? "started" : "stopped";
    return host::LastError() == kServiceDoesNotExist ? "not installed" : "may not be seen";
}

// The family's installed services, or the one that the user named.
std::vector<CService> Named(const Options& options) {
    if (!options.serviceName.empty()) {
        const CService service(options.serviceName.c_str(), "", nullptr, 0, nullptr);
        if (!service.Exists()) throw Failure{kNothingToDo, "there is no service " + options.serviceName};
        return {service};
    }
    std::vector<CService> services;
    for (const CService& service : AllFamilyServices()) {
        if (service.Exists()) services.push_back(service);
    }
    if (services.empty()) throw Failure{kNothingToDo, "none of the family's services is installed"};
    return services;
}

template <class Action>
int ForEach(const std::vector<CService>& services, const char* done, Action action) {
    bool allSucceeded = true;
    for (const CService& service : services) {
        host::SetLastError(0);
        const bool succeeded = action(service) != 0;
        const DWORD error = host::LastError();
        allSucceeded = allSucceeded && succeeded;
        std::cout << console::Printable(service.Name()) << ": "
                  << (succeeded ? std::string(done) : "failed: " + host::ErrorText(error)) << std::endl;
    }
    return allSucceeded ? kDone : kFailed;
}

}  // namespace

int ServicesListCommand(const Options& options) {
    WarnAboutUnfinished();
    Json data = Json::array();
    std::vector<std::vector<std::string>> rows;
    bool isSeen = true;
    for (const CService& service : AllFamilyServices()) {
        const std::string state = State(service);
        data.push_back({{"service", service.Name()}, {"state", state}});
        rows.push_back({service.Name(), state});
        isSeen = isSeen && state != "may not be seen";
    }
    if (options.json) {
        console::PrintJson({{"services", data}});
    } else {
        console::PrintTable({"SERVICE", "STATE"}, rows);
    }
    if (!isSeen) throw Failure{kNotAllowed, "not all services may be seen; run it as an administrator"};
    return kDone;
}

int ServicesStartCommand(const Options& options) {
    return ForEach(Named(options), "started", [](const CService& service) { return service.StartServiceA(1); });
}

int ServicesStopCommand(const Options& options) {
    std::vector<CService> services = Named(options);
    return ForEach({services.rbegin(), services.rend()}, "stopped",
                   [](const CService& service) { return service.StopService(1, 1); });
}

int ServicesRemoveCommand(const Options& options) {
    std::vector<CService> services = Named(options);
    return ForEach({services.rbegin(), services.rend()}, "removed",
                   [](const CService& service) { return service.RemoveService(); });
}
