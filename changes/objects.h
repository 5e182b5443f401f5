// What a setup can change of a machine, as objects with a full name and a state of bytes. An empty state: it is not
// there. How the state of a kind is read and set stands in a table, so that undoing knows no calls, only states.
#ifndef INSTALIB_CHANGES_OBJECTS_H
#define INSTALIB_CHANGES_OBJECTS_H

#include <compare>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace changes {

// The numbers stand in files: never change one.
enum class Kind : DWORD {
    Key = 1,           // part: empty. State: security and values
    Value = 2,         // part: the value's name
    KeySecurity = 3,   // the access list
    Service = 4,       // configuration and description
    ServiceState = 5,  // running or not
    Directory = 6,
    File = 7,  // part: where a deleted file is kept
    Attributes = 8,
    FileSecurity = 9,
    ProfileEntry = 10,  // part: section, zero byte, key
    Account = 11,
    Member = 12,  // part: the member's identifier
    Rights = 13,  // privileges and logon rights, "SERVER\S-1-5-..."
    Share = 14,
    Environment = 15,  // of the process
    Outside = 16,      // what others do for the setup: programs, product libraries, other machines
    Count
};

using State = std::string;

struct Object {
    Kind kind = Kind::Outside;
    std::string
        name;  // in full: "\REGISTRY\MACHINE\...", "C:\...", "SERVER\NAME" with an empty server for this machine
    std::string part;
    bool secret = false;  // its value is a password: neither read nor kept

    auto operator<=>(const Object& other) const = default;
};
using Objects = std::vector<Object>;

struct KindRow {
    const char* name;
    // 0 with the state, empty when there is no such object; or the Windows error.
    DWORD (*read)(const Object& object, State& state);
    // Makes the object `wanted`; `now` is how it is. ERROR_DIR_NOT_EMPTY: it holds what others have put there.
    DWORD (*write)(const Object& object, const State& now, const State& wanted);
    // Whether `now` is still what a change left behind.
    bool (*matches)(const State& now, const State& after);
    // The process's own things end with it: another process has nothing to take back.
    bool lasts;
    // The same where others have changed the object beside what the change touched; null: `write`.
    DWORD (*writePart)(const Object& object, const State& now, const State& wanted) = nullptr;
};

const KindRow& RowOf(Kind kind);

bool SameState(const State& now, const State& after);
bool SamePresence(const State& now, const State& after);
// Whether a text names a password: no value under such a name is read or kept.
bool NamesPassword(std::string_view text);
// Texts without regard to the case of ASCII letters.
bool EqualNoCase(std::string_view left, std::string_view right);

// The families' rows, each in its own source.
extern const KindRow kKeyRow, kValueRow, kKeySecurityRow, kServiceRow, kServiceStateRow, kDirectoryRow, kFileRow,
    kAttributesRow, kFileSecurityRow, kProfileEntryRow, kAccountRow, kMemberRow, kRightsRow, kShareRow, kEnvironmentRow;

}  // namespace changes

#endif
