// The directories of a product: made, remembered level by level, and removed again while they are empty and nobody else
// needs them.
#ifndef INSTALIB_KVSETUP_SETUP_DIRECTORIES_H
#define INSTALIB_KVSETUP_SETUP_DIRECTORIES_H

#include <string>
#include <vector>

#include "kvsetup/session.h"

namespace directories {

// Makes each with the levels above it. What is not there yet is entered in the session's marks, and they are written,
// before anything is made: a removal finds it even when the installation ends here. False with the last error.
bool Make(Session& session, const std::vector<std::string>& wanted);

// Removes what the marks say was made, at or below `top` (empty: all of it), the innermost first. What holds anything
// stays and is named in `note`; what another product is in or below stays and is entered in that one's marks. The
// session's marks keep what has stayed. False, with the last error and the directory in `note`, for one that could not
// be removed for another reason.
bool RemoveMade(Session& session, const std::string& top, std::string& note);

}  // namespace directories

#endif
