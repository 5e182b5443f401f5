#include "kvsetup/given_answers.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "kvsetup/answer_keys.h"
#include "kvsetup/answers_commands.h"
#include "kvsetup/host.h"

namespace given {
namespace {

constexpr std::size_t kLongestPassword = 47;  // what is kept of a password

// What a setup does with an answer. The first row of each kind is the one that is saved; `get` is null for the others.
struct Choice {
    const char* section;
    const char* key;
    bool ofRemoval;
    void (*apply)(CSettings& settings, const std::string& value);
    std::string (*get)(CSettings& settings);
};

template <void (CSettings::*Set)(const char*)>
void SetText(CSettings& settings, const std::string& value) {
    (settings.*Set)(value.c_str());
}
template <const char* (CSettings::*Get)()>
std::string GetText(CSettings& settings) {
    return (settings.*Get)();
}
template <void (CSettings::*Set)(int)>
void SetFlag(CSettings& settings, const std::string& value) {
    (settings.*Set)(value == "1" ? 1 : 0);
}
template <int (CSettings::*Get)()>
std::string GetFlag(CSettings& settings) {
    return (settings.*Get)() ? "1" : "0";
}
void SetDatabase(CSettings& settings, const std::string& value) {
    settings.InstallSQL(value == "1");
    settings.InstallRAIMA(value != "1");
}
void SetSubType(CSettings& settings, const std::string& value) { settings.ProductSubType(std::stoi(value)); }

constexpr Choice kChoices[] = {
    {"UserInfo", "FullName", false, SetText<&CSettings::RegisteredUser>, GetText<&CSettings::RegisteredUser>},
    {"UserInfo", "CompanyName", false, SetText<&CSettings::RegisteredCompany>, GetText<&CSettings::RegisteredCompany>},
    {"KorvaultInstall", "InstallPath", false, SetText<&CSettings::KorvaultPath>, GetText<&CSettings::KorvaultPath>},
    {"InstallPath", "ProductPath", false, SetText<&CSettings::KorvaultPath>, nullptr},
    {"Base", "ProductPath", false, SetText<&CSettings::KorvaultPath>, nullptr},
    {"KorvaultInstall", "AlertPath", false, SetText<&CSettings::AlertPath>, GetText<&CSettings::AlertPath>},
    {"InstallPath", "AlertPath", false, SetText<&CSettings::AlertPath>, nullptr},
    {"Base", "AlertPath", false, SetText<&CSettings::AlertPath>, nullptr},
    {"InstallPath", "AgentPath", false, SetText<&CSettings::ClientAgentPath>, GetText<&CSettings::ClientAgentPath>},
    {"ClientAgent", "AgentPath", false, SetText<&CSettings::ClientAgentPath>, nullptr},
    // The server brings the admin tool, so it comes before it.
    {"Base", "ManagerFeature", false, SetFlag<&CSettings::InstallManager>, GetFlag<&CSettings::InstallManager>},
    {"Base", "SeverFeature", false, SetFlag<&CSettings::InstallServer>, GetFlag<&CSettings::InstallServer>},
    {"Base", "AdminFeature", false, SetFlag<&CSettings::InstallAdmin>, GetFlag<&CSettings::InstallAdmin>},
    {"Base", "AlertFeature", false, SetFlag<&CSettings::InstallAlert>, GetFlag<&CSettings::InstallAlert>},
    {"Base", "AVFeature", false, SetFlag<&CSettings::InstallAV>, GetFlag<&CSettings::InstallAV>},
    {"Install", "ManagerFeature", false, SetFlag<&CSettings::InstallManager>, nullptr},
    {"Install", "SeverFeature", false, SetFlag<&CSettings::InstallServer>, nullptr},
    {"Install", "AdminFeature", false, SetFlag<&CSettings::InstallAdmin>, nullptr},
    {"Install", "AlertFeature", false, SetFlag<&CSettings::InstallAlert>, nullptr},
    {"Install", "DataMigration", false, SetFlag<&CSettings::InstallHSM>, GetFlag<&CSettings::InstallHSM>},
    {"Install", "OverwriteDB", false, SetFlag<&CSettings::OverwriteDB>, GetFlag<&CSettings::OverwriteDB>},
    {"Install", "OverwriteJobQueue", false, SetFlag<&CSettings::DeleteQueue>, GetFlag<&CSettings::DeleteQueue>},
    {"Install", "ProdSubType", false, SetSubType, nullptr},
    {"DatabaseOption", "SQL", false, SetDatabase, GetFlag<&CSettings::InstallSQL>},
    {"Base", "SQL", false, SetDatabase, nullptr},
    {"Base", "SystemDomainName", false, SetText<&CSettings::SystemAccountDomain>,
     GetText<&CSettings::SystemAccountDomain>},
    {"SystemAccount", "SystemDomainName", false, SetText<&CSettings::SystemAccountDomain>, nullptr},
    {"System Account", "SystemDomainName", false, SetText<&CSettings::SystemAccountDomain>, nullptr},
    {"Base", "SystemUserName", false, SetText<&CSettings::SystemAccountName>, GetText<&CSettings::SystemAccountName>},
    {"SystemAccount", "SystemUserName", false, SetText<&CSettings::SystemAccountName>, nullptr},
    {"System Account", "SystemUserName", false, SetText<&CSettings::SystemAccountName>, nullptr},
    {"Uninstall", "SeverFeature", true, SetFlag<&CSettings::UninstallKorvault>, nullptr},
    {"Uninstall", "AlertFeature", true, SetFlag<&CSettings::UninstallAlert>, nullptr},
};

template <class Row>
bool IsOf(const Row& row, const std::string& section, const std::string& key) {
    return CString(row.section).CompareNoCase(section.c_str()) == 0 && CString(row.key).CompareNoCase(key.c_str()) == 0;
}

bool IsAllowed(const profile_check::Key& key, const std::string& value) {
    if (value.find_first_of("\r\n") != value.npos) return false;
    switch (key.kind) {
        case profile_check::Kind::Flag:
            return value == "0" || value == "1";
        case profile_check::Kind::Number:
            return !value.empty() && value.size() <= 9 && value.find_first_not_of("0123456789") == value.npos &&
                   std::stoi(value) <= key.limit;
        default:
            return value.size() <= static_cast<std::size_t>(key.limit);
    }
}

void SetAnswer(CSettings& settings, const std::string& given) {
    const std::size_t dot = given.find('.'), equal = given.find('=');
    if (dot == given.npos || equal == given.npos || equal < dot)
        throw Failure{kUsage, "--set takes SECTION.KEY=VALUE, not " + given};
    const std::string section = given.substr(0, dot), key = given.substr(dot + 1, equal - dot - 1),
                      value = given.substr(equal + 1), name = section + '.' + key;
    const std::span<const profile_check::Key> keys = AnswerKeys();
    const auto known = std::find_if(keys.begin(), keys.end(), [&](const auto& row) { return IsOf(row, section, key); });
    if (known == keys.end())
        throw Failure{kUsage, "there is no answer " + name + "; kvsetup answers new writes a file with all of them"};
    if (known->kind == profile_check::Kind::PlainPassword || known->kind == profile_check::Kind::ScrambledPassword)
        throw Failure{kUsage, name + " is a password; give it with --password-from"};
    const auto choice = std::find_if(std::begin(kChoices), std::end(kChoices), [&](const Choice& row) {
        return IsOf(row, section, key) && row.ofRemoval == (settings.Uninstall() != 0);
    });
    if (choice == std::end(kChoices)) throw Failure{kUsage, "this setup does not ask for " + name};
    if (!IsAllowed(*known, value))
        throw Failure{kUsage, name + " cannot be " + value + ": " + profile_check::AllowedValues(*known)};
    choice->apply(settings, value);
}

void SetComponents(CSettings& settings, const std::string& list) {
    struct {
        const char* name;
        void (CSettings::*set)(int);
        bool isChosen = false;
    } components[] = {{"manager", &CSettings::InstallManager},
                      {"server", &CSettings::InstallServer},
                      {"admin", &CSettings::InstallAdmin},
                      {"alert", &CSettings::InstallAlert}};
    std::stringstream names(list);
    for (std::string name; std::getline(names, name, ',');) {
        const auto row = std::find_if(std::begin(components), std::end(components),
                                      [&name](const auto& component) { return name == component.name; });
        if (row == std::end(components))
            throw Failure{kUsage, "there is no component " + name + "; they are manager, server, admin and alert"};
        row->isChosen = true;
    }
    for (const auto& component : components) (settings.*component.set)(component.isChosen ? 1 : 0);
}

void SetAccount(CSettings& settings, const std::string& account) {
    const std::size_t separator = account.find('\\');
    settings.SystemAccountDomain(separator == account.npos ? "" : account.substr(0, separator).c_str());
    // "-" is nobody: the product then runs without an account of its own.
    const std::string name = separator == account.npos ? account : account.substr(separator + 1);
    settings.SystemAccountName(name == "-" ? "" : name.c_str());
    settings.SystemAccountPassword("");
}

}  // namespace

void AddOptions(CLI::App& command, Options& options, bool isRemoval) {
    command.add_option("--set", options.set, "an answer, SECTION.KEY=VALUE, over that of the file; may be repeated")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    if (isRemoval) return;
    command.add_option("--path", options.path, "directory of the product");
    command.add_option("--alert-path", options.alertPath, "directory of the alert component");
    command.add_option("--components", options.components, "which are installed: manager,server,admin,alert");
    command.add_option("--account", options.account, "the system account, [DOMAIN\\]USER; - for none");
    command.add_option("--password-from", options.passwordFrom,
                       "file whose first line is the account's password; - for the standard input");
    command.add_option("--save-answers", options.saveAnswers, "write the answers of this setup to a new file");
}

void ReadPassword(Options& options) {
    if (options.passwordFrom.empty()) return;
    std::ifstream file;
    if (options.passwordFrom != "-") {
        file.open(options.passwordFrom, std::ios::binary);
        if (!file) throw Failure{kBadInput, options.passwordFrom + " cannot be read"};
    }
    std::istream& stream = options.passwordFrom == "-" ? std::cin : file;
    options.password.reserve(256);  // it stands in one place, which is wiped
    for (int c = stream.get(); c != EOF && c != '\n' && options.password.size() < 256; c = stream.get())
        options.password += static_cast<char>(c);
    if (options.password.ends_with('\r')) options.password.pop_back();
    if (options.password.empty()) throw Failure{kBadInput, "there is no password in " + options.passwordFrom};
    if (options.password.size() > kLongestPassword)
        throw Failure{kBadInput, "the password is longer than the 47 characters that are kept of it"};
}

void Apply(const Options& options, Session& session) {
    CSettings& settings = session.settings;
    for (const std::string& answer : options.set) SetAnswer(settings, answer);
    if (settings.Uninstall()) return;
    if (!options.path.empty()) {
        session.IsAgent() ? settings.ClientAgentPath(options.path.c_str())
                          : settings.KorvaultPath(options.path.c_str());
    }
    if (!options.alertPath.empty()) settings.AlertPath(options.alertPath.c_str());
    if (!options.components.empty()) SetComponents(settings, options.components);
    if (!options.account.empty()) SetAccount(settings, options.account);
    if (!options.password.empty()) settings.SystemAccountPassword(options.password.c_str());
}

void Save(const Options& options, Session& session) {
    if (options.saveAnswers.empty() || options.rehearsal != nullptr) return;
    CSettings& settings = session.settings;
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::symlink_status(options.saveAnswers, error)))
        throw Failure{kBadInput, options.saveAnswers + " exists already"};
    std::string text = "; The answers of a setup of " + session.productId + ".\n", section;
    for (const char* const name : {"UserInfo", "KorvaultInstall", "InstallPath", "Install", "DatabaseOption", "Base"}) {
        text += std::string("\n[") + name + "]\n";
        for (const Choice& choice : kChoices) {
            if (std::string(choice.section) != name || choice.get == nullptr) continue;
            const std::string value = choice.get(settings);
            if (!value.empty()) text += std::string(choice.key) + '=' + value + '\n';
        }
    }
    if (*settings.SystemAccountPassword() != '\0') {
        std::string problem;
        const std::string scrambled = ScramblePassword(settings.SystemAccountPassword(), &problem);
        if (scrambled.empty()) console::Warn("the answers are kept without the password: " + problem);
        if (!scrambled.empty()) text += "SystemPassword=" + scrambled + '\n';
    }
    if (!host::WriteFile(options.saveAnswers, text))
        throw Failure{kBadInput, options.saveAnswers + " cannot be written"};
}

}  // namespace given
