// The commands' options as the command line gave them.
#ifndef INSTALIB_KVSETUP_OPTIONS_H
#define INSTALIB_KVSETUP_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

namespace records {
struct Rehearsal;
struct Following;
}  // namespace records
class Watch;

inline constexpr char kVersion[] = "kvsetup 1.0.0";

struct Options {
    std::string machine;      // empty: the machine of the environment
    std::string source;       // as the user wrote it
    std::string answers;      // empty: none
    std::optional<int> type;  // else from the medium
    bool express = false;
    // Over the answers, as given_answers.h describes them. The password is wiped at the program's end.
    std::vector<std::string> set;
    std::string path, alertPath, components, account, passwordFrom, password, saveAnswers;
    std::string log;          // empty: the default beside Program Files
    std::string drivingHost;  // empty: a local setup
    bool yes = false;
    unsigned wait = 120;  // seconds to wait for another setup
    bool json = false;
    bool quiet = false;         // only warnings and errors are printed
    bool verbose = false;       // every change is printed
    bool progressJson = false;  // a line of JSON a stage on the error stream
    bool keep = false;          // a setup that fails leaves what it has done
    bool resume = false;        // goes on with the setup that was interrupted, or with the backup of an upgrade
    std::string serviceName;
    std::string product;       // the installed product's registration name; empty: the medium's
    std::string target;        // the machine that is asked; empty: this one
    std::string uninstaller;   // a whole command line; empty: the Windows Installer
    bool discard = false;      // the backup of an upgrade that did not come to its end
    bool acceptLoss = false;   // remove the old product although its backup is not complete
    bool needsMachine = true;  // the command works on the present machine
    bool removeAdded = false;  // a repair also removes what was added
    std::string mif;           // status file for a distribution system; empty: none
    std::string mifLayout = "standard";
    bool closePrograms = false;               // the product's programs that still run are asked to close
    unsigned closeTimeout = 30;               // seconds until those that do not are given up
    Watch* watch = nullptr;                   // who follows the setup from outside
    std::string file;                         // a plan's, a report's
    std::string page;                         // a report's
    records::Rehearsal* rehearsal = nullptr;  // the setup runs on a copy of the machine
    records::Following* plan = nullptr;       // the setup does what a plan has
    std::vector<std::string> arguments;       // the whole command line without the program's name
};

// The commands. Each returns an exit code or throws a Failure.
int InstallCommand(const Options& options);
int UninstallCommand(const Options& options);
int UpgradeCheckCommand(const Options& options);
int UpgradeCommand(const Options& options);
int StatusCommand(const Options& options);
int ServicesListCommand(const Options& options);
int ServicesStartCommand(const Options& options);
int ServicesStopCommand(const Options& options);
int ServicesRemoveCommand(const Options& options);

#endif
