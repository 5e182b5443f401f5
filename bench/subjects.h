// The rows, by subject.
#ifndef INSTALIB_BENCH_SUBJECTS_H
#define INSTALIB_BENCH_SUBJECTS_H

#include "bench/runner.h"

namespace bench {

void StartRows(Runner& runner);     // a process's start on machines of several sizes, its memory
void ValueRows(Runner& runner);     // single changes and look-ups
void TreeRows(Runner& runner);      // branches copied and removed
void ExchangeRows(Runner& runner);  // .reg text
void FileRows(Runner& runner);      // response files, logs, large folders
void ServiceRows(Runner& runner);   // the service control manager
void LoadRows(Runner& runner, const std::string& windowsFolder);  // loading the libraries, their sizes
void SetupRows(Runner& runner);                                   // the front end as a whole
void RecordRows(Runner& runner);                                  // changes on record

int ImportChild(const std::vector<std::string>& arguments);
int ExportChild(const std::vector<std::string>& arguments);
int LogChild(const std::vector<std::string>& arguments);
int LogPeerChild(const std::vector<std::string>& arguments);

inline constexpr ChildEntry kChildren[] = {
    {"import", ImportChild},
    {"export", ExportChild},
    {"log", LogChild},
    {"log-peer", LogPeerChild},
};

}  // namespace bench

#endif
