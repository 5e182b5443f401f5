// `kvsetup answers`: writes, checks and explains answer files, and scrambles passwords for them.
#ifndef INSTALIB_KVSETUP_ANSWERS_COMMANDS_H
#define INSTALIB_KVSETUP_ANSWERS_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "kvsetup/options.h"

void AddAnswersCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run);
// The password as the library of the medium scrambles it, which is in the current folder; empty with a reason when that
// cannot be done.
std::string ScramblePassword(const char* password, std::string* problem);
// Warns about what `answers check` finds in the machine's file; a clear text in the place of a scrambled password is a
// Failure.
void CheckAnswersOfSetup(const std::string& machineFile);

#endif
