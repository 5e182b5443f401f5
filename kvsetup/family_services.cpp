#include "kvsetup/family_services.h"

namespace {

// The discovery service and the message engine serve the others, so they come first.
constexpr CService::ServiceType kServerServices[] = {CService::DiscoveryService, CService::MessageEngine,
                                                     CService::DatabaseEngine, CService::TapeEngine,
                                                     CService::JobEngine};

}  // namespace

std::vector<CService> AllFamilyServices() {
    std::vector<CService> services(std::begin(kServerServices), std::end(kServerServices));
    services.emplace_back(CService::AlertServer);
    return services;
}

std::vector<CService> ChosenServices(CSettings& settings) {
    const bool removes = settings.Uninstall() != 0;
    const bool isAgent = settings.ProductType() == 1027 || settings.ProductType() == 62;
    std::vector<CService> services;
    if (isAgent) return services;
    if (removes ? settings.UninstallKorvault() : settings.InstallServer()) {
        services.assign(std::begin(kServerServices), std::end(kServerServices));
    }
    if (removes ? settings.UninstallAlert() : settings.InstallAlert()) services.emplace_back(CService::AlertServer);
    return services;
}
