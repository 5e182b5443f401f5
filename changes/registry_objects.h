// Keys by their full names.
#ifndef INSTALIB_CHANGES_REGISTRY_OBJECTS_H
#define INSTALIB_CHANGES_REGISTRY_OBJECTS_H

#include <string>
#include <vector>

#include "changes/objects.h"

namespace changes {

// The full name of an open key or root; empty when it has none here: a wrong handle, or a key of another machine.
std::string NameOfKey(HKEY key);
// The full name of a path below a key, and how many names at its end do not exist yet.
struct KeyPath {
    std::string name;
    std::size_t missing = 0;
};
DWORD FindKey(HKEY key, const char* subkey, REGSAM view, KeyPath& path);
// The full names of the keys right below a key, and the names of its values. None for a key that is not there.
DWORD ContentsOf(const std::string& key, std::vector<std::string>& subkeys, std::vector<std::string>& values);

}  // namespace changes

#endif
