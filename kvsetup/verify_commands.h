// `kvsetup verify` and `kvsetup repair`: is everything as the setups have set it, and setting it so again.
#ifndef INSTALIB_KVSETUP_VERIFY_COMMANDS_H
#define INSTALIB_KVSETUP_VERIFY_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

void AddVerifyCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run);

#endif
