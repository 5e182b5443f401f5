#include "kvsetup/setup_run.h"

#include <iostream>

#include "instalib/computer.h"
#include "instalib/current_user.h"

void RequireAdministrator() {
    if (!CCurrentUser::IsAdministrator()) {
        throw Failure{kNotAllowed, "a setup needs administrator rights; run it as an administrator"};
    }
}

void RequireHeld(const host::SetupLock& lock) {
    if (!lock.Held())
        throw Failure{kBusy, "another setup is still working on this machine; run this one when it has ended"};
}

std::string Require(const std::optional<std::string>& answer) {
    if (!answer)
        throw Failure{kCancelled, "cancelled: the input has ended; run with --yes or --answers to be asked nothing"};
    return *answer;
}

bool Require(const std::optional<bool>& answer) {
    return Require(answer ? std::optional<std::string>("") : std::nullopt), *answer;
}

void WarnAboutSpace(Session& session) {
    CSettings& settings = session.settings;
    const char* const path = session.IsAgent()  ? settings.ClientAgentPath()
                             : session.IsMain() ? settings.KorvaultPath()
                                                : settings.AlertPath();
    // The library tells free space modulo 4 GiB, so a small figure is a hint and no verdict.
    const DWORD freeKilobytes = CComputer::DriveFreeSpaceBytes(path) / 1024;
    if (freeKilobytes < settings.DiskSpaceNeeded()) {
        console::Warn("the drive of " + std::string(path) + std::string(" may be too full: ") +
                      std::to_string(settings.DiskSpaceNeeded()) + " KB are needed");
    }
}

void Confirm(const Options& options, Session& session, const char* question) {
    if (options.yes || session.settings.BatchOperation()) return;
    if (!Require(console::AskYesNo(question, !session.settings.Uninstall()))) throw Failure{kCancelled, "cancelled"};
}

Json Describe(Session& session) {
    Json report = DescribeSession(session);
    if (session.prints) console::PrintFacts(report);
    return report;
}

int Finish(Session& session, Json& report, bool succeeded, const char* what) {
    session.Log(std::string(what) + (succeeded ? " ended" : " failed"));
    console::SetupWasDone();
    if (session.json) {
        report["succeeded"] = succeeded;
        report["log"] = session.log;
        report["changed"] = true;
        console::PrintJson(report);
    } else if (succeeded && session.prints) {
        std::cout << what << " done. Log: " << console::Printable(session.log) << '\n';
    }
    if (succeeded && session.needsRestart) {
        console::Warn("a restart of this machine completes it");
        session.Log("A restart of this machine completes it");
        return kRestart;
    }
    if (succeeded) return kDone;
    throw Failure{kFailed, std::string(what) + " is not complete; what was done is in " + session.log};
}
