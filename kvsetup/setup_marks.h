// What the front end itself remembers of every installed product below the family's root, so that a removal takes back
// what the installation of that product made, and nothing else: the keys "Setup\Main", "Setup\Alert", "Setup\Agent".
// They go last. What the removed product made and another one still needs is handed over to that one.
#ifndef INSTALIB_KVSETUP_SETUP_MARKS_H
#define INSTALIB_KVSETUP_SETUP_MARKS_H

#include <optional>
#include <string>
#include <vector>

#include "instalib/windows_types.h"

namespace marks {

enum class Kind { Main, Alert, Agent };
inline constexpr Kind kKinds[] = {Kind::Main, Kind::Alert, Kind::Agent};

// Nothing for a type that no product has.
std::optional<Kind> KindOf(LONG productType);
const char* NameOf(Kind kind);  // "main server"
// The type that stands for the kind where only the kind is known.
LONG TypeOf(Kind kind);

struct Marks {
    bool isThere = false;        // the product is installed, or an installation of it has begun
    std::string product;         // under which it is registered
    LONG type = 0;               // of the medium that it came from
    std::string directory;       // that it uses, with its final backslash; empty: none
    std::string alertDirectory;  // likewise
    std::string account;         // "DOMAIN\user" that has rights on its directory; empty: none
    std::string createdAccount;  // the user that was made for it
    // Directories that were made for it, the outermost first, without a final backslash.
    std::vector<std::string> made;
};

// Throws a Failure when they cannot be read: what is not known must not pass for not there.
Marks Read(Kind kind);
// False with the last error.
bool Write(Kind kind, const Marks& marks);
void Remove(Kind kind);
// Those of the products of other kinds that are there.
std::vector<std::pair<Kind, Marks>> Others(Kind kind);

// Where they stand, below HKEY_LOCAL_MACHINE; without a kind the key above.
std::string KeyOf(Kind kind);
std::string RootKey();

}  // namespace marks

#endif
