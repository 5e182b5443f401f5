// `kvsetup medium`: checks and explains the files of a medium.
#ifndef INSTALIB_KVSETUP_MEDIUM_COMMANDS_H
#define INSTALIB_KVSETUP_MEDIUM_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

void AddMediumCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run);

#endif
