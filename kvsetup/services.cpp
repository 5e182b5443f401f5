#include <iostream>

#include "kvsetup/console.h"
#include "kvsetup/family_services.h"
#include "kvsetup/host.h"
#include "kvsetup/options.h"
#include "kvsetup/record_commands.h"

namespace {

std::string State(const CService& service) {
    if (!service.Exists()) return "not installed";
    return service.IsStarted() ? "started" : "stopped";
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
    for (const CService& service : AllFamilyServices()) {
        data.push_back({{"service", service.Name()}, {"state", State(service)}});
        rows.push_back({service.Name(), State(service)});
    }
    if (options.json) {
        console::PrintJson({{"services", data}});
    } else {
        console::PrintTable({"SERVICE", "STATE"}, rows);
    }
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
