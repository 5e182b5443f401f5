// What the front end shows: facts as aligned lines or JSON, stages, warnings, questions. Results go to the output,
// warnings and errors to the error stream; nothing is coloured, and nothing moves when the output is no terminal.
#ifndef INSTALIB_KVSETUP_CONSOLE_H
#define INSTALIB_KVSETUP_CONSOLE_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

using Json = nlohmann::ordered_json;

// What a command ends with; documented in --help.
enum ExitCode {
    kDone = 0,
    kFailed = 1,       // a stage failed; what was done before it stands in the log
    kUsage = 2,        // the command line is wrong
    kBadInput = 3,     // the medium, the answers or another file cannot be used
    kCancelled = 4,    // the user said no, or nobody was there to ask
    kNotAllowed = 5,   // not an administrator
    kNothingToDo = 6,  // nothing is installed, or the installed product must not be replaced
    kDiffers = 7,      // the machine is not as it was installed, or not as a plan saw it
    kBusy = 8,         // another setup is at work
    kProgramsRun = 9,  // a program of the product runs
    kDamaged = 10,     // the machine has lost something; nothing can be done on it before it is repaired
    kRestart = 11,     // done, and a restart of the machine completes it
};

// An error with its exit code, thrown to main, which prints it as one line.
struct Failure {
    ExitCode code;
    std::string message;
};

namespace console {

// "label   value" lines from an object: nested objects are indented, lists are joined by commas, null is "-".
void PrintFacts(const Json& facts, int indent = 0);
// Rows under their headings, columns as wide as needed.
void PrintTable(const std::vector<std::string>& headings, const std::vector<std::vector<std::string>>& rows);
// With --json standard output is one object, whatever happens: the data of the command, "changed" (whether the machine
// is another one now), "exitCode", and "error" when there was one. Keys are in camel case. PrintJson keeps the data,
// and EndJson, called by main alone, writes all of it.
void PrintJson(const Json& data);
// A command that prints an object a line as things happen: nothing is written at the end.
void PrintJsonLine(const Json& data);
void EndJson(int exitCode, const std::string& error);
// Flushes the output and gives the exit code: data that could not be written is a failure, with its reason, unless
// SetupWasDone was called: a setup has been done whoever reads of it.
int EndOutput(int exitCode, std::string* problem);
void SetupWasDone();

void Warn(const std::string& message);
// A question with a default that an empty answer takes; nothing at the end of the input.
std::optional<std::string> Ask(const std::string& question, const std::string& fallback);
std::optional<bool> AskYesNo(const std::string& question, bool fallback);

// Bytes that are not printable ASCII or valid UTF-8 become "\xNN", so that no product text drives the terminal; the
// result is valid UTF-8.
std::string Printable(const std::string& text);

}  // namespace console

#endif
