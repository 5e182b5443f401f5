// `kvsetup manual` and `kvsetup completions`: the man page and what shells complete, made from the same definitions as
// the help texts.
#ifndef INSTALIB_KVSETUP_MANUAL_COMMANDS_H
#define INSTALIB_KVSETUP_MANUAL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

// To be called when all other commands are there.
void AddManualCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run);

#endif
