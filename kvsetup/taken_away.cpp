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

// The directories' key goes as a whole and is written anew, unless it holds something else than these.
bool DropPaths(const std::string& base, std::string& note) {
    const std::string paths = base + "\\Path";
    DWORD keys = 0, values = 0, own = 0;
    const host::Presence presence = host::LookIntoKey(paths, &keys, &values);
    if (presence != host::Presence::Present) return presence == host::Presence::Absent;
    for (const char* name : {"HOME", "DATABASE", "LOG", "TEMP"}) {
        const host::Presence value = host::LookForValue(paths, name);
        if (value == host::Presence::Unknown) return note = paths, false;
        own += value == host::Presence::Present;
    }
    if (keys != 0 || values != own) return note = paths + " holds more and stays", true;
    CHalvRegistry::DeleteKorvaultKey("Base\\Path");
    return IsKeyGone(paths, note);
}

bool DropServerValues(CHalvRegistry& registry, std::string& note) {
    if (!registry.DeleteKorvaultShellExtension() || !registry.DeleteKorvaultSNMPKey()) {
        note = "shell extension and SNMP agent";
        return false;
    }
    const std::string base = static_cast<const char*>(CHalvRegistry::GetKorvaultBaseKey());
    for (const char* key : {"Database", "SNMP"}) {
        CHalvRegistry::DeleteKorvaultKey((std::string("Base\\") + key).c_str());
        if (!IsKeyGone(base + '\\' + key, note)) return false;
    }
    CHalvRegistry::DeleteEnvironmentVariable("CATPATH");
    const std::string environment = static_cast<const char*>(CHalvRegistry::m_sEnvironmentKey);
    return IsGone(host::LookForValue(environment, "CATPATH"), "CATPATH", note) && DropPaths(base, note);
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

bool RemoveServices(const std::vector<CService>& services, bool& needsRestart, std::string& note) {
    bool allRemoved = true;
    DWORD error = 0;
    for (auto service = services.rbegin(); service != services.rend(); ++service) {
        // One that somebody still holds goes with the next restart.
        if (service->RemoveService()) {
            if (service->Exists()) needsRestart = true;
            continue;
        }
        if (allRemoved) error = host::LastError();
        allRemoved = false;
        note += (note.empty() ? "" : ", ") + std::string(service->Name());
    }
    host::SetLastError(error);
    return allRemoved;
}

bool TakeAlertValuesAway(CHalvRegistry& registry, std::string& note) {
    registry.DeleteAlertBranch();
    const std::string key = static_cast<const char*>(CHalvRegistry::m_sAlertKey),
                      above = key.substr(0, key.rfind('\\'));
    return IsKeyGone(key, note) && IsGone(host::LookForEmptyKey(above), above, note);
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
    if (!RemoveServices(services, context.session.needsRestart, note)) return false;
    const std::string count = std::to_string(services.size()) + " services";
    if (!session.settings.InstallServer() && !DropServerValues(context.registry, note)) return false;
    note = count + (note.empty() ? "" : ", ") + note;
    if (!DropsAlert(session) || session.IsAlertShared()) return true;
    std::string left;
    const bool isGone = TakeAlertValuesAway(context.registry, left) &&
                        directories::RemoveMade(session, session.marks.alertDirectory, left);
    if (!left.empty()) note = left;
    return isGone;
}
