// The stages of an installation and of a removal, in the order in which a failure can be explained.
#ifndef INSTALIB_KVSETUP_STAGES_H
#define INSTALIB_KVSETUP_STAGES_H

#include <functional>
#include <vector>

#include "instalib/registry.h"
#include "instalib/setup_record.h"
#include "kvsetup/session.h"

struct StageContext {
    Session& session;
    CHalvRegistry& registry;         // built from the session's settings, able to write
    CSetupRecord* record = nullptr;  // where each stage is marked; null: nothing is on record
    // Titles of stages that an earlier run has finished: they are not run again.
    std::vector<std::string> finished = {};
    bool cancelled = false;  // somebody asked for the end, between two stages
};

struct Stage {
    const char* title;
    std::function<bool(StageContext& context)> applies;
    // True when it succeeded; a failure leaves the Windows error in the last-error value. `note` may say more.
    std::function<bool(StageContext& context, std::string& note)> run;
};

const std::vector<Stage>& InstallStages();
const std::vector<Stage>& UninstallStages();

// Runs the stages that apply, reports and logs each. An installation stops at the first failure; a removal goes on, so
// that as much as possible goes (`keepGoing`). Adds what happened to `report`.
bool RunStages(const std::vector<Stage>& stages, StageContext& context, bool keepGoing, Json& report);

#endif
