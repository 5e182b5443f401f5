// States as people read them.
#ifndef INSTALIB_CHANGES_DESCRIBE_H
#define INSTALIB_CHANGES_DESCRIBE_H

#include <string>

#include "changes/objects.h"

namespace changes {

// "[section] key" of a profile entry; otherwise the part as it is, for a deleted file nothing.
std::string PartText(const Object& object);
// "REG_SZ text", "type 16, start 2, \"C:\...\"", "running"; "present" for what has no more to tell, empty for nothing.
std::string StateText(const Object& object, const State& state);

}  // namespace changes

#endif
