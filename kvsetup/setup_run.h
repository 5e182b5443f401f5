// What every setup run does around its stages: may it run, what is asked, what is said at its end.
#ifndef INSTALIB_KVSETUP_SETUP_RUN_H
#define INSTALIB_KVSETUP_SETUP_RUN_H

#include <optional>
#include <string>

#include "kvsetup/host.h"
#include "kvsetup/session.h"

// What ends the setup stands in its log, also when nothing was begun.
template <class Setup>
int Logged(Session& session, Setup setup) {
    try {
        return setup();
    } catch (const Failure& failure) {
        session.Log("Error: " + failure.message + " (exit code " + std::to_string(failure.code) + ")");
        throw;
    }
}

// Each throws a Failure that says what is missing.
void RequireAdministrator();
void RequireHeld(const host::SetupLock& lock);
std::string Require(const std::optional<std::string>& answer);
bool Require(const std::optional<bool>& answer);

void WarnAboutSpace(Session& session);
// Asks unless the setup is unattended; a no is a Failure.
void Confirm(const Options& options, Session& session, const char* question);
// The session as data, printed unless data is asked for.
Json Describe(Session& session);
// Logs and prints the end; the exit code of a success, a Failure otherwise.
int Finish(Session& session, Json& report, bool succeeded, const char* what);

#endif
