// Runs the front end as a user does, against the demo medium, on the test's own machine.
#ifndef INSTALIB_TESTS_KVSETUP_RUN_H
#define INSTALIB_TESTS_KVSETUP_RUN_H

#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/fresh_machine.h"

struct RunResult {
    int exitCode = -1;
    std::string output;
    std::string errors;

    // The error stream is one line that starts with the program's name and holds `text`.
    bool SaysInOneLine(const std::string& text) const;
};

class KvsetupRun : public FreshMachine {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The command line behind the program's name and, on the embedded machine, --machine. Arguments with blanks are
    // quoted by the caller; the input is empty.
    RunResult Run(const std::string& arguments);
    // The same, and the output read as JSON; a failure of either fails the test.
    nlohmann::json RunJson(const std::string& arguments);
#ifndef _WIN32
    // The exit code alone, without the output's files, so that several may run at once; and a run that gets a signal
    // meanwhile.
    int RunQuietly(const std::string& arguments);
    int RunAndSignal(const std::string& arguments, int milliseconds, int signal);
    void RunAndKill(const std::string& arguments, int milliseconds) { RunAndSignal(arguments, milliseconds, 9); }
#endif
    // "--source MEDIUM", of the demo's medium or of a copy of it that the test may spoil (CopyMedium).
    std::string Source() const { return "--source \"" + m_medium.string() + "\""; }
    // The demo's answers, without the system account where the system cannot look new users up.
    std::string Answers() const;
    std::string BatchInstall() const { return "install " + Source() + " --answers \"" + Answers() + "\"" + Pieces(); }
    // Where there are no shares an installation never ends well: what it did until then is kept.
    static std::string Pieces() {
#ifdef _WIN32
        return " --keep";
#else
        return "";
#endif
    }
    void CopyMedium();
    // The product of the generation before, which the medium's upgrade rule covers, with a setting. Its uninstaller is
    // the demo's.
    static void PlantOldProduct();
    static constexpr char kOldRoot[] = "SOFTWARE\\Halvenor\\Korvault";
    static constexpr char kOldProgram[] =
        "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{2C6A1B0E-93D4-4F1C-8C55-0E1F5B7A9D10}";
    std::string Upgrade(const std::string& more = "") const {
        return "upgrade " + Source() + " --answers \"" + Answers() + "\" " + more;
    }
    std::filesystem::path Medium() const { return m_medium; }
    std::filesystem::path Scratch() const { return m_scratch; }

  private:
#ifndef _WIN32
    std::string QuietCommand(const std::string& arguments) const;
#endif
    std::filesystem::path m_medium;
    std::filesystem::path m_scratch;  // a folder of the host, removed with the test
};

#endif
