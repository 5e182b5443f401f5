// `kvsetup answers`: writes, checks and explains answer files, and scrambles passwords for them.
#ifndef INSTALIB_KVSETUP_ANSWERS_COMMANDS_H
#define INSTALIB_KVSETUP_ANSWERS_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

void AddAnswersCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run);
// Warns about what `answers check` finds in the machine's file; a clear text in the place of a scrambled password is a
// Failure.
void CheckAnswersOfSetup(const std::string& machineFile);

#endif
