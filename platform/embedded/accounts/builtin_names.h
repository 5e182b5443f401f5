// Names that Windows itself gives: well-known identifiers, built-in groups and the users and groups of every account
// domain, in the language of the machine.
#ifndef INSTALIB_EMBEDDED_ACCOUNTS_BUILTIN_NAMES_H
#define INSTALIB_EMBEDDED_ACCOUNTS_BUILTIN_NAMES_H

#include "platform/embedded/accounts/store.h"

namespace embedded::accounts {

enum class Language { English, German, French };

std::optional<Language> LanguageByName(std::string_view name);  // "en", "de", "fr"
Language LanguageOf(Machine& machine);

// Well-known identifiers and built-in groups; `name` as in ByName, with or without the domain that they stand in.
std::optional<Account> WellKnownByName(Language language, std::string_view name);
std::optional<Account> WellKnownBySid(Language language, const Bytes& sid);
// The relative identifiers of the built-in groups.
std::vector<DWORD> BuiltinGroups();
// What Windows calls the user or group with this relative identifier in every account domain; empty for any other. A
// machine that is no controller has the group 513 under the name "None".
std::string StandardName(Language language, DWORD rid, bool controller);

}  // namespace embedded::accounts

#endif
