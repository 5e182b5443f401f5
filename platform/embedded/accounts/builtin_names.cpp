#include "platform/embedded/accounts/builtin_names.h"

#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/core/text.h"

namespace embedded::accounts {
namespace {

constexpr std::size_t kLanguages = 3;
using Names = const char16_t* [kLanguages];  // in the order of Language

enum Place { kNowhere, kAuthority, kBuiltin };

constexpr Names kPlaceNames[] = {
    {u"", u"", u""},
    {u"NT AUTHORITY", u"NT-AUTORITÄT", u"AUTORITE NT"},
    {u"BUILTIN", u"VORDEFINIERT", u"BUILTIN"},
};

struct WellKnown {
    const char* sid;
    Use use;
    Place place;
    Names names;
};

constexpr WellKnown kWellKnown[] = {
    {"S-1-1-0", Use::WellKnownGroup, kNowhere, {u"Everyone", u"Jeder", u"Tout le monde"}},
    {"S-1-2-0", Use::WellKnownGroup, kNowhere, {u"LOCAL", u"LOKAL", u"LOCAL"}},
    {"S-1-3-0", Use::WellKnownGroup, kNowhere, {u"CREATOR OWNER", u"ERSTELLER-BESITZER", u"CREATEUR PROPRIETAIRE"}},
    {"S-1-3-1", Use::WellKnownGroup, kNowhere, {u"CREATOR GROUP", u"ERSTELLERGRUPPE", u"GROUPE CREATEUR"}},
    {"S-1-5-2", Use::WellKnownGroup, kAuthority, {u"NETWORK", u"NETZWERK", u"RESEAU"}},
    {"S-1-5-3", Use::WellKnownGroup, kAuthority, {u"BATCH", u"BATCH", u"TACHE"}},
    {"S-1-5-4", Use::WellKnownGroup, kAuthority, {u"INTERACTIVE", u"INTERAKTIV", u"INTERACTIF"}},
    {"S-1-5-6", Use::WellKnownGroup, kAuthority, {u"SERVICE", u"DIENST", u"SERVICE"}},
    {"S-1-5-7", Use::WellKnownGroup, kAuthority, {u"ANONYMOUS LOGON", u"ANONYMOUS-ANMELDUNG", u"ANONYMOUS LOGON"}},
    {"S-1-5-10", Use::WellKnownGroup, kAuthority, {u"SELF", u"SELBST", u"SELF"}},
    {"S-1-5-11",
     Use::WellKnownGroup,
     kAuthority,
     {u"Authenticated Users", u"Authentifizierte Benutzer", u"Utilisateurs authentifiés"}},
    {"S-1-5-18", Use::WellKnownGroup, kAuthority, {u"SYSTEM", u"SYSTEM", u"Système"}},
    {"S-1-5-19", Use::WellKnownGroup, kAuthority, {u"LOCAL SERVICE", u"LOKALER DIENST", u"SERVICE LOCAL"}},
    {"S-1-5-20", Use::WellKnownGroup, kAuthority, {u"NETWORK SERVICE", u"NETZWERKDIENST", u"SERVICE RÉSEAU"}},
    {"S-1-5-32", Use::Domain, kBuiltin, {u"BUILTIN", u"VORDEFINIERT", u"BUILTIN"}},
    {"S-1-5-32-544", Use::Alias, kBuiltin, {u"Administrators", u"Administratoren", u"Administrateurs"}},
    {"S-1-5-32-545", Use::Alias, kBuiltin, {u"Users", u"Benutzer", u"Utilisateurs"}},
    {"S-1-5-32-546", Use::Alias, kBuiltin, {u"Guests", u"Gäste", u"Invités"}},
    {"S-1-5-32-547", Use::Alias, kBuiltin, {u"Power Users", u"Hauptbenutzer", u"Utilisateurs avec pouvoir"}},
    {"S-1-5-32-551",
     Use::Alias,
     kBuiltin,
     {u"Backup Operators", u"Sicherungs-Operatoren", u"Opérateurs de sauvegarde"}},
    {"S-1-5-32-552", Use::Alias, kBuiltin, {u"Replicator", u"Replikations-Operator", u"Duplicateurs"}},
    {"S-1-5-32-555",
     Use::Alias,
     kBuiltin,
     {u"Remote Desktop Users", u"Remotedesktopbenutzer", u"Utilisateurs du Bureau à distance"}},
};

struct Standard {
    DWORD rid;
    bool onControllers;
    bool elsewhere;
    Names names;
};

constexpr Standard kStandard[] = {
    {kAdministratorUser, true, true, {u"Administrator", u"Administrator", u"Administrateur"}},
    {kGuestUser, true, true, {u"Guest", u"Gast", u"Invité"}},
    {kDomainAdmins, true, false, {u"Domain Admins", u"Domänen-Admins", u"Admins du domaine"}},
    {kDomainUsers, true, false, {u"Domain Users", u"Domänen-Benutzer", u"Utilisateurs du domaine"}},
    {kDomainUsers, false, true, {u"None", u"Kein", u"Aucun"}},
    {kDomainGuests, true, false, {u"Domain Guests", u"Domänen-Gäste", u"Invités du domaine"}},
};

std::string Text(const Names& names, Language language) { return text::Narrow(names[std::size_t(language)]); }

Account AccountOf(const WellKnown& row, Language language) {
    return {Text(row.names, language), Text(kPlaceNames[row.place], language), SidFromText(row.sid), row.use};
}

}  // namespace

std::optional<Language> LanguageByName(std::string_view name) {
    constexpr std::string_view kNames[kLanguages] = {"en", "de", "fr"};
    for (std::size_t i = 0; i < kLanguages; ++i) {
        if (text::EqualNoCase(name, kNames[i])) return Language(i);
    }
    return std::nullopt;
}

Language LanguageOf(Machine& machine) {
    return LanguageByName(machine.Storage().ReadText("META\\Accounts", "Language")).value_or(Language::English);
}

std::optional<Account> WellKnownByName(Language language, std::string_view name) {
    const std::size_t separator = name.find('\\');
    const bool qualified = separator != name.npos;
    const std::string_view bare = qualified ? name.substr(separator + 1) : name;
    for (const WellKnown& row : kWellKnown) {
        if (!text::EqualNoCase(bare, Text(row.names, language))) continue;
        if (!qualified || text::EqualNoCase(name.substr(0, separator), Text(kPlaceNames[row.place], language))) {
            return AccountOf(row, language);
        }
    }
    return std::nullopt;
}

std::optional<Account> WellKnownBySid(Language language, const Bytes& sid) {
    const std::string wanted = SidText(sid);
    for (const WellKnown& row : kWellKnown) {
        if (wanted == row.sid) return AccountOf(row, language);
    }
    return std::nullopt;
}

std::vector<DWORD> BuiltinGroups() {
    std::vector<DWORD> groups;
    for (const WellKnown& row : kWellKnown) {
        if (row.use == Use::Alias) groups.push_back(*RidOf(SidFromText(row.sid)));
    }
    return groups;
}

std::string StandardName(Language language, DWORD rid, bool controller) {
    for (const Standard& row : kStandard) {
        if (row.rid == rid && (controller ? row.onControllers : row.elsewhere)) return Text(row.names, language);
    }
    return {};
}

}  // namespace embedded::accounts
