// What must be right before a setup changes anything.
#ifndef INSTALIB_KVSETUP_SETUP_CHECKS_H
#define INSTALIB_KVSETUP_SETUP_CHECKS_H

#include <string>
#include <vector>

#include "kvsetup/session.h"

namespace checks {

// Why the product cannot go into the directory, in words that follow on its name; empty when it can: it is absolute, on
// a fixed drive, of at most 200 characters and legal names, and no place that rights are never granted on (a drive's
// root, Windows, Program Files itself, a user's profile).
std::string PathProblem(const std::string& path);
// Likewise of an account's name without its domain.
std::string AccountNameProblem(const std::string& name);

// All that is in the way of the installation that the session is about to do; it has changed nothing then.
std::vector<std::string> OfInstallation(Session& session);
// Throws a Failure when there is anything; several things are printed line by line, or reported as "problems".
void Require(const Session& session, const std::vector<std::string>& problems);

}  // namespace checks

#endif
