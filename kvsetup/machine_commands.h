// `kvsetup machine`: what can be done to an embedded machine as a whole. On Windows there are no such commands.
#ifndef INSTALIB_KVSETUP_MACHINE_COMMANDS_H
#define INSTALIB_KVSETUP_MACHINE_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

void AddMachineCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run);

#endif
