#include "kvsetup/machine_commands.h"

void AddMachineCommands(CLI::App&, Options&, std::function<int(const Options&)>&) {}
