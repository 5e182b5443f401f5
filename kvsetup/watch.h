// Whoever follows a setup from outside: the machine that drives it, by reports to its mailslot, and a software
// distribution system, by a status file. Both learn how it ended, whatever way it ends.
#ifndef INSTALIB_KVSETUP_WATCH_H
#define INSTALIB_KVSETUP_WATCH_H

#include <functional>
#include <string>

#include "instalib/windows_types.h"
#include "kvsetup/console.h"
#include "kvsetup/options.h"

struct Session;

// The first code of a report; the second is, in this order: how many stages there are or 0, the stage's number, its
// Windows error or 0, the exit code. The text tells which setup, which stage, how it ended.
enum class Phase : DWORD { Begins = 1, StageBegins = 2, StageEnded = 3, Ended = 4 };

class Watch {
  public:
    // `isRemoval` chooses the group of the status file's short layout.
    Watch(const Options& options, bool isRemoval) : m_options(options), m_isRemoval(isRemoval) {}

    // When the session is open and nothing is changed yet. Throws a Failure when the host that was named does not
    // listen or the status file cannot be made; a host that the marker file names is only warned about.
    void Begin(Session& session);
    void StageBegins(std::size_t number, const std::string& title);
    void StageEnded(bool succeeded, DWORD error, const std::string& text);
    // Also of a setup that has not begun: the host that was named and the status file learn why.
    void End(ExitCode code, const std::string& text);

  private:
    bool Report(Phase phase, DWORD code, const std::string& text);
    void MakeStatusFile();
    bool CopyOut();
    void DropStatusFile();
    bool IsShort() const { return m_options.mifLayout == "short"; }

    const Options& m_options;
    bool m_isRemoval;
    bool m_begun = false;
    std::string m_host;  // empty: nobody drives the setup
    std::string m_file;  // empty: no status file
    bool m_isCopied = false;
};

// Runs a setup under a watch of its own.
int RunWatched(const Options& options, bool isRemoval, const std::function<int(const Options&)>& setup);

#endif
