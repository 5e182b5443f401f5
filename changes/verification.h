// What of a finished setup is no longer as it was set.
#ifndef INSTALIB_CHANGES_VERIFICATION_H
#define INSTALIB_CHANGES_VERIFICATION_H

#include <string>
#include <vector>

#include "changes/record_file.h"

namespace changes {

struct Difference {
    Object object;
    State expected;   // empty: it was added since, in a key that the setup has made
    State now;        // empty: it is gone
    DWORD error = 0;  // it could not be looked at; `now` then tells nothing
    std::string stage;
};

// The setups' records, the oldest first. Not compared are what comes and goes (whether a service runs, the process's
// environment, deleted files), what others did, and passwords.
std::vector<Difference> Verify(const std::vector<Record>& records);

}  // namespace changes

#endif
