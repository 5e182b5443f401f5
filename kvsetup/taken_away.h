// What a removal takes away, and what an installation does that has fewer components than the one before.
#ifndef INSTALIB_KVSETUP_TAKEN_AWAY_H
#define INSTALIB_KVSETUP_TAKEN_AWAY_H

#include <string>

#include "instalib/service.h"
#include "kvsetup/host.h"
#include "kvsetup/stages.h"

// The library's removals have no result: what is there afterwards was not removed. `what` goes into the note.
bool IsGone(host::Presence presence, const std::string& what, std::string& note);
bool IsKeyGone(const std::string& path, std::string& note);

// Stops and removes the services, the last first. Names those that stay; says so when one goes with the next restart.
bool RemoveServices(const std::vector<CService>& services, bool& needsRestart, std::string& note);
bool TakeAlertValuesAway(CHalvRegistry& registry, std::string& note);

// The stage of an installation: services, values and directories of components that were installed and are no longer
// chosen.
bool TakesAway(StageContext& context);
bool TakeAway(StageContext& context, std::string& note);

#endif
