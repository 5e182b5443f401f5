// One setup session of the front end: the medium, the answers, the settings that the library made of them, and what was
// found and decided.
#ifndef INSTALIB_KVSETUP_SESSION_H
#define INSTALIB_KVSETUP_SESSION_H

#include <memory>
#include <string>

#include "instalib/settings.h"
#include "kvsetup/console.h"
#include "kvsetup/options.h"
#include "kvsetup/setup_marks.h"

struct Session {
    std::string source;   // the medium's folder with its final backslash; empty for a removal without a medium
    std::string answers;  // the response file; empty without one
    std::string log;
    std::string head;       // the line that begins this run's part of the log
    std::string productId;  // under which the product is registered
    WORD version = 0;       // of the medium, 0 when its version library does not tell
    WORD build = 0;
    bool json = false;
    bool prints = true;  // what happens is told on the output, in words
    bool verbose = false;
    bool progressJson = false;
    bool needsRestart = false;  // what was done is complete after the next restart of the machine
    Watch* watch = nullptr;     // null: nobody follows the setup
    marks::Kind kind = marks::Kind::Main;
    marks::Marks marks;                                        // as they are on the machine, and as they become
    std::vector<std::pair<marks::Kind, marks::Marks>> others;  // the other installed products'
    CSettings settings;

    // Appends a line to the log; what cannot be logged is warned about once.
    void Log(const std::string& line);
    bool IsMain() const { return kind == marks::Kind::Main; }
    bool IsAgent() const { return kind == marks::Kind::Agent; }
    // Whether another installed product uses the alert component.
    bool IsAlertShared() const;
    bool HasAccount() { return *settings.SystemAccountName() != '\0'; }

  private:
    bool m_logWarned = false;
};

// "ZephraniteCB (main server, type 133)"
std::string ProductText(marks::Kind kind, const marks::Marks& marks);

// Opens the medium and the answers, fills the library's record and lets the settings learn the machine. Throws a
// Failure that says what is wrong with the input. `uninstall` opens a session that removes; it needs no medium: without
// one and without a type it is about the product that is installed, and a Failure names them when there are several.
std::unique_ptr<Session> OpenSession(const Options& options, bool uninstall);

// What the machine holds and what the session is going to do, passwords left out.
Json DescribeSession(Session& session);

// Warns about answers that the library reads otherwise than their writer may have meant.
void WarnAboutAnswers(Session& session);

// "11.5" of a version word.
std::string VersionText(WORD version);

#endif
