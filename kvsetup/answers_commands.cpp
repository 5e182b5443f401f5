#include "kvsetup/answers_commands.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include "instalib/computer.h"
#include "instalib/scrambling.h"
#include "kvsetup/answer_keys.h"
#include "kvsetup/host.h"

namespace {

struct AnswersOptions {
    std::string file;
    bool force = false;
    bool markdown = false;
};

constexpr std::size_t kPasswordLength = 47;  // what is kept of a password

int New(const AnswersOptions& given, const Options&) {
    const std::string text = profile_check::CommentedFile(AnswerKeys());
    if (given.file.empty()) {
        std::cout << text << std::flush;
        if (!std::cout) throw Failure{kFailed, "the output cannot be written"};
        return kDone;
    }
    std::error_code error;
    if (!given.force && std::filesystem::exists(std::filesystem::symlink_status(given.file, error)))
        throw Failure{kBadInput, given.file + " exists already; --force overwrites it"};
    std::ofstream file(given.file, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) throw Failure{kBadInput, given.file + " cannot be written"};
    std::cout << "Wrote " << console::Printable(given.file) << '\n';
    return kDone;
}

int Check(const AnswersOptions& given, const Options& options) {
    return profile_check::Report(given.file, profile_check::Check(profile_check::ReadFile(given.file), AnswerKeys()),
                                 options.json);
}

int Keys(const AnswersOptions&, const Options&) {
    std::cout << profile_check::Markdown(AnswerKeys());
    return kDone;
}

// Texts that are wiped when they go.
struct Secret : std::string {
    using std::string::string;
    ~Secret() { host::Wipe(*this); }
};

void ReadPassword(const char* prompt, Secret& password) {
    if (host::IsTerminal(host::Stream::Input)) {
        std::cerr << prompt << std::flush;
        std::string line = host::ReadHiddenLine();
        std::cerr << '\n';
        password.assign(line);
        host::Wipe(line);
        return;
    }
    password.reserve(256);
    for (int c = std::cin.get(); c != EOF && c != '\n' && password.size() < 256; c = std::cin.get())
        password += static_cast<char>(c);
    if (password.ends_with('\r')) password.pop_back();
}

int Scramble(const AnswersOptions&, const Options& options) {
    if (!options.source.empty()) {
        std::string problem;
        const std::string medium = host::MachinePath(options.source, true, &problem);
        if (medium.empty()) throw Failure{kBadInput, problem};
        host::RunFromMedium(medium);
        CComputer::ChangeDirectory(medium.c_str());
    }
    Secret password;
    ReadPassword("Password: ", password);
    if (password.empty()) throw Failure{kBadInput, "there is no password to scramble"};
    if (password.size() > kPasswordLength)
        throw Failure{kBadInput, "the password is longer than the 47 characters that are kept of it"};
    if (host::IsTerminal(host::Stream::Input)) {
        Secret again;
        ReadPassword("Once more: ", again);
        if (again != password) throw Failure{kBadInput, "the two passwords differ"};
    }
    std::string problem;
    const std::string text = ScramblePassword(password.c_str(), &problem);
    if (text.empty()) throw Failure{kBadInput, problem};
    std::cout << text << '\n';
    return kDone;
}

}  // namespace

std::string ScramblePassword(const char* password, std::string* problem) {
    constexpr DWORD kCapacity = 780;  // bytes; the text has two characters for each
    std::string text(2 * kCapacity + 1, '\0');
    DWORD length = kCapacity;
    Secret clear(password);
    DWORD status = KSET_ZKBEncrypt_NUMSTR(clear.data(), DWORD(clear.size()), text.data(), &length);
    if (status == KSET_ZKB_UNAVAILABLE) {
        *problem = "there is no KVDCEN.DLL to scramble with; give the folder of the medium with --source";
        return "";
    }
    if (status != 0) {
        *problem = "the password cannot be scrambled: " + host::ErrorText(status);
        return "";
    }
    text.resize(length);
    Secret back(260, '\0');
    DWORD backLength = DWORD(back.size());
    status = KSET_ZKBDecrypt_NUMSTR(text.data(), length, reinterpret_cast<BYTE*>(back.data()), &backLength);
    if (status == 0 && back.compare(0, backLength, clear) == 0) return text;
    *problem = "the medium's library does not give the scrambled password back";
    return "";
}

void AddAnswersCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    const auto answers = std::make_shared<AnswersOptions>();
    CLI::App* const group = app.add_subcommand("answers", "answer files of unattended setups");
    group->require_subcommand(1);
    const auto add = [&](const char* name, const char* help, int (*command)(const AnswersOptions&, const Options&),
                         bool needsMachine) {
        CLI::App* const sub = group->add_subcommand(name, help);
        sub->callback([&run, &options, answers, command, needsMachine] {
            options.needsMachine = needsMachine;
            run = [answers, command](const Options& given) { return command(*answers, given); };
        });
        return sub;
    };
    CLI::App* const fresh = add("new", "write a commented answer file with every key that is read", New, false);
    fresh->add_option("file", answers->file, "the file to write; the output without it");
    fresh->add_flag("--force", answers->force, "overwrite a file that is there");
    CLI::App* const check = add("check", "look an answer file through", Check, false);
    check->add_option("file", answers->file, "the answer file")->required();
    check->add_flag("--json", options.json, "print data as JSON");
    add("scramble", "scramble a password of the terminal or the standard input", Scramble, true)
        ->add_option("--source", options.source, "folder of the installation medium, which has the scrambling library");
    // For the documentation, which has the table too.
    CLI::App* const keys = add("keys", "print the table of keys", Keys, false)->group("");
    keys->add_flag("--markdown", answers->markdown, "as Markdown, which it is in any case");
}

void CheckAnswersOfSetup(const std::string& machineFile) {
    const std::string file = host::HostPath(machineFile);
    for (const profile_check::Finding& finding : profile_check::Check(profile_check::ReadFile(file), AnswerKeys())) {
        const std::string text = machineFile + ':' + std::to_string(finding.line) + ": " + finding.message;
        if (finding.isPassword) throw Failure{kBadInput, text};
        console::Warn(text);
    }
}
