#include "kvsetup/taken_away.h"

#include <algorithm>
#include <cstring>

#include "kvsetup/family_services.h"
#include "kvsetup/setup_directories.h"

namespace {

constexpr DWORD kStillThere = 183;  // ERROR_ALREADY_EXISTS

bool IsChosen(const std::vector<CService>& chosen, const CService& service) {
    return std::any_of(chosen.begin(), chosen.end(),
                       [&service](const CService& one) { return std::strcmp(one.Name(), service.Name()) == 0; });
}

// Those of the main server that are there and not chosen; the alert server only where no other product has it.
std::vector<CService> Superfluous(Session& session) {
    const std::vector<CService> chosen = ChosenServices(session.settings);
    const std::string alert = CService(CService::AlertServer).Name();
    std::vector<CService> superfluous;
    for (const CService& service : AllFamilyServices()) {
        const bool isOthers = service.Name() == alert && session.IsAlertShared();
        if (!isOthers && !IsChosen(chosen, service) && service.Exists()) superfluous.push_back(service);
    }
    return superfluous;
}

bool DropsAlert(Session& session) { return !session.settings.InstallAlert() && !session.marks.alertDirectory.empty(); }

}  // namespace

bool IsGone(host::Presence presence, const std::string& what, std::string& note) {
    if (presence == host::Presence::Absent) return true;
    if (presence == host::Presence::Present) host::SetLastError(kStillThere);
    note += (note.empty() ? "" : ", ") + what;
    return false;
}
bool IsKeyGone(const std::string& path, std::string& note) { return IsGone(host::LookForKey(path), path, note); }

bool RemoveServices(const std::vector<CService>& services, std::string& note) {
    bool allRemoved = true;
    DWORD error = 0;
    for (auto service = services.rbegin(); service != services.rend(); ++service) {
        if (service->RemoveService()) continue;
        if (allRemoved) error = host::LastError();
        allRemoved = false;
        note += (note.empty() ? "" : ", ") + std::string(service->Name());
    }
    host::SetLastError(error);
    return allRemoved;
}

bool TakeAlertValuesAway(CHalvRegistry& registry, std::string& note) {
    registry.DeleteAlertBranch();
    return IsKeyGone(static_cast<const char*>(CHalvRegistry::m_sAlertKey), note);
}

bool TakesAway(StageContext& context) {
    Session& session = context.session;
    // Only of an installation of our own: what stands there without one is somebody else's.
    if (!session.IsMain() || !session.marks.isThere) return false;
    return DropsAlert(session) || (!session.settings.InstallServer() && !Superfluous(session).empty());
}

bool TakeAway(StageContext& context, std::string& note) {
    Session& session = context.session;
    const std::vector<CService> services = Superfluous(session);
    if (!RemoveServices(services, note)) return false;
    const bool hadServer =
        !session.settings.InstallServer() && std::any_of(services.begin(), services.end(), [](const CService& service) {
            return std::strcmp(service.Name(), CService(CService::AlertServer).Name()) != 0;
        });
    if (hadServer && (!context.registry.DeleteKorvaultShellExtension() || !context.registry.DeleteKorvaultSNMPKey())) {
        note = "shell extension and SNMP agent";
        return false;
    }
    note = std::to_string(services.size()) + " services";
    if (!DropsAlert(session) || session.IsAlertShared()) return true;
    std::string left;
    const bool isGone = TakeAlertValuesAway(context.registry, left) &&
                        directories::RemoveMade(session, session.marks.alertDirectory, left);
    if (!left.empty()) note = left;
    return isGone;
}
