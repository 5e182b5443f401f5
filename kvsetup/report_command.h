// `kvsetup report`: a plan, a verification or a record as one page.
#ifndef INSTALIB_KVSETUP_REPORT_COMMAND_H
#define INSTALIB_KVSETUP_REPORT_COMMAND_H

#include <CLI/CLI.hpp>
#include <functional>

#include "kvsetup/options.h"

void AddReportCommand(CLI::App& app, Options& options, std::function<int(const Options&)>& run);

#endif
