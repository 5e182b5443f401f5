// The commands' options as the command line gave them.
#ifndef INSTALIB_KVSETUP_OPTIONS_H
#define INSTALIB_KVSETUP_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

struct Options {
    std::string machine;      // empty: the machine of the environment
    std::string source;       // as the user wrote it
    std::string answers;      // empty: none
    std::optional<int> type;  // else from the medium
    bool express = false;
    std::string log;          // empty: the default beside Program Files
    std::string drivingHost;  // empty: a local setup
    bool yes = false;
    bool json = false;
    std::string serviceName;
    bool needsMachine = true;            // the command works on the present machine
    std::vector<std::string> arguments;  // the whole command line without the program's name
};

// The commands. Each returns an exit code or throws a Failure.
int InstallCommand(const Options& options);
int UninstallCommand(const Options& options);
int StatusCommand(const Options& options);
int ServicesListCommand(const Options& options);
int ServicesStartCommand(const Options& options);
int ServicesStopCommand(const Options& options);
int ServicesRemoveCommand(const Options& options);

#endif
