// `kvsetup listen`: what setups on other machines report; `kvsetup connect`: whether an account is good on another
// machine, and which drives it has.
#ifndef INSTALIB_KVSETUP_REMOTE_COMMANDS_H
#define INSTALIB_KVSETUP_REMOTE_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

void AddRemoteCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run);

#endif
