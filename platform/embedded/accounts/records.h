// Users and groups as records below META\Accounts of the machine that keeps them:
//   Names\<name>        Rid: the user or local group of that name
//   Users\<rid>         one user
//   Groups\<identifier> one local or built-in group and its members
//   Rights\<identifier> the privileges and logon rights of an account
// Passwords are kept as salted hashes only.
#ifndef INSTALIB_EMBEDDED_ACCOUNTS_RECORDS_H
#define INSTALIB_EMBEDDED_ACCOUNTS_RECORDS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/machine/world.h"

namespace embedded::accounts {

inline constexpr char kAccountsKey[] = "META\\Accounts";

struct User {
    DWORD rid = 0;
    std::string name;
    std::string fullName, comment, userComment, homeDirectory, scriptPath, parameters, workstations;
    DWORD flags = 0;             // UF_*
    DWORD expires = 0xFFFFFFFF;  // seconds since 1970, all bits set: never
    DWORD maxStorage = 0xFFFFFFFF;
    DWORD countryCode = 0;
    DWORD codePage = 0;
};

struct LocalGroup {
    Bytes sid;
    std::string name;  // empty for a built-in group: its name depends on the machine's language
    std::string comment;
    std::vector<std::string> members;  // identifiers as text
};

// Passes over the identifiers of the next new users and groups.
bool SkipRids(Machine& machine, unsigned count);
std::optional<DWORD> RidByName(Machine& machine, std::string_view name);
std::optional<User> LoadUser(Machine& machine, DWORD rid);
// Writes the record and its name. A user with a relative identifier of 0 gets the next free one.
bool SaveUser(Machine& machine, User& user);
// By name.
std::vector<User> AllUsers(Machine& machine);
// Takes the user out of its groups and rights as well.
bool DeleteUser(Machine& machine, const User& user);

std::optional<LocalGroup> LoadGroup(Machine& machine, const Bytes& sid);
bool SaveGroup(Machine& machine, const LocalGroup& group);
bool DeleteGroup(Machine& machine, const LocalGroup& group);
std::vector<LocalGroup> AllGroups(Machine& machine);
Bytes NewSid(Machine& machine);  // the next free one of the machine's own

struct Rights {
    std::vector<std::string> privileges;
    DWORD systemAccess = 0;  // logon rights as bits: interactive 1, network 2, batch 4, service 16, ...
};
// Nothing for an account that was never given a right (accounts/rights.cpp).
std::optional<Rights> LoadRights(Machine& machine, const Bytes& sid);
bool SaveRights(Machine& machine, const Bytes& sid, const Rights& rights);
// Privileges, then logon rights, by name; and back.
std::vector<std::string> NamesOf(const Rights& rights);
Rights RightsOf(const std::vector<std::string>& names);

// Characters that no user's or group's name may have; a name of dots and blanks is none either.
bool IsAccountName(std::string_view name);

// --- Passwords (accounts/passwords.cpp) ---

// Null stands for the empty password.
bool SetPassword(Machine& machine, DWORD rid, const char16_t* password);
bool PasswordMatches(Machine& machine, DWORD rid, const char16_t* password);
// The hash of `password` with the salt of the user's present one: equal to PasswordHash while the user has this
// password. So a service's password is kept without keeping it.
std::string HashLike(Machine& machine, DWORD rid, const char16_t* password);
std::string PasswordHash(Machine& machine, DWORD rid);

}  // namespace embedded::accounts

#endif
