// `kvsetup recover` and `kvsetup undo`: taking back what a crash left, and what a setup has finished.
#ifndef INSTALIB_KVSETUP_RECORD_COMMANDS_H
#define INSTALIB_KVSETUP_RECORD_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

void AddRecordCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run);
// Before a command that changes nothing: says when an interrupted setup was found.
void WarnAboutUnfinished();

#endif
