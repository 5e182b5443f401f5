// One setup session of the front end: the medium, the answers, the settings that the library made of them, and what was
// found and decided.
#ifndef INSTALIB_KVSETUP_SESSION_H
#define INSTALIB_KVSETUP_SESSION_H

#include <memory>
#include <string>

#include "instalib/settings.h"
#include "kvsetup/console.h"
#include "kvsetup/options.h"

struct Session {
    std::string source;   // the medium's folder with its final backslash; empty for a removal without a medium
    std::string answers;  // the response file; empty without one
    std::string log;
    std::string head;       // the line that begins this run's part of the log
    std::string productId;  // under which the product is registered
    WORD version = 0;       // of the medium, 0 when its version library does not tell
    WORD build = 0;
    bool json = false;
    Watch* watch = nullptr;  // null: nobody follows the setup
    CSettings settings;

    // Appends a line to the log; what cannot be logged is warned about once.
    void Log(const std::string& line);
    bool IsAgent() { return settings.ProductType() == 1027 || settings.ProductType() == 62; }
    bool HasAccount() { return *settings.SystemAccountName() != '\0'; }

  private:
    bool m_logWarned = false;
};

// Opens the medium and the answers, fills the library's record and lets the settings learn the machine. Throws a
// Failure that says what is wrong with the input. `uninstall` opens a session that removes; it needs no medium.
std::unique_ptr<Session> OpenSession(const Options& options, bool uninstall);

// What the machine holds and what the session is going to do, passwords left out.
Json DescribeSession(Session& session);

// Warns about answers that the library reads otherwise than their writer may have meant.
void WarnAboutAnswers(Session& session);

// "11.5" of a version word.
std::string VersionText(WORD version);

#endif
