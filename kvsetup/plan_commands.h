// Plans: what a setup would change, and setups that do exactly that.
#ifndef INSTALIB_KVSETUP_PLAN_COMMANDS_H
#define INSTALIB_KVSETUP_PLAN_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

// "apply", and the option of `plan`, whose subcommands are the setups: each is rehearsed instead of run.
void AddPlanCommands(CLI::App& app, CLI::App& plan, Options& options, std::function<int(const Options&)>& run);

#endif
