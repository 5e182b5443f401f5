// Answers that stand on the command line, and the file that keeps the answers of a setup for the next machine.
#ifndef INSTALIB_KVSETUP_GIVEN_ANSWERS_H
#define INSTALIB_KVSETUP_GIVEN_ANSWERS_H

#include <CLI/CLI.hpp>
#include <string>

#include "kvsetup/session.h"

namespace given {

// --path, --alert-path, --components, --account, --password-from, --set and --save-answers; a removal takes --set alone.
void AddOptions(CLI::App& command, Options& options, bool isRemoval);

// Reads what --password-from names: a file of the host, or the standard input. Its first line is the password.
void ReadPassword(Options& options);

// What the command line says, over what the answers say. Throws a Failure for a key that no setup reads, a value that
// it does not take, and a password, which does not belong on a command line.
void Apply(const Options& options, Session& session);

// Writes an answer file of what the session is about to do, when that was asked for. The password is scrambled by the
// medium's library; without one it is left out, with a warning.
void Save(const Options& options, Session& session);

}  // namespace given

#endif
