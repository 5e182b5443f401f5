#include "kvsetup/remote_commands.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iostream>

#include "instalib/combo_box.h"
#include "instalib/remote.h"
#include "kvsetup/host.h"
#include "kvsetup/interruption.h"
#include "kvsetup/record_commands.h"
#include "kvsetup/setup_run.h"
#include "kvsetup/watch.h"

namespace {

struct RemoteOptions {
    std::string host;
    std::string account = "Administrator";
    std::string passwordFrom;
    unsigned timeout = 0;  // seconds without a report; 0: for ever
    unsigned count = 1;    // setups whose end is waited for
};

// A report as it came: the fields that every sender sends, and what stands between and behind them.
struct Message {
    std::string sender;
    std::optional<long> phase, code, component;
    std::string text;
};

std::optional<long> NumberOf(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, 10);
    return text.empty() || *end != '\0' || errno != 0 ? std::nullopt : std::optional(number);
}

// The second byte of a character of the machine's code page is no separator.
std::vector<std::string> FieldsOf(const std::string& bytes) {
    std::vector<std::string> fields(1);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '\\') {
            fields.emplace_back();
            continue;
        }
        fields.back() += bytes[i];
        if (host::IsLeadByte(bytes[i]) && i + 1 < bytes.size()) fields.back() += bytes[++i];
    }
    return fields;
}

// Texts may hold backslashes, so what is not one of the first three fields or the component at the end is the text; the
// form with two numbers has no component.
Message Parse(const std::string& bytes) {
    std::vector<std::string> fields = FieldsOf(bytes);
    const std::size_t count = fields.size();
    Message message;
    message.sender = fields[0];
    if (count > 1) message.phase = NumberOf(fields[1]);
    if (count > 2) message.code = NumberOf(fields[2]);
    const bool hasNumbers = count >= 7 && fields[count - 3] == "Reserved String";
    if (count > 3 && !hasNumbers) message.component = NumberOf(fields.back());
    if (message.component) fields.pop_back();
    for (std::size_t i = 3; i < fields.size(); ++i) message.text += (i == 3 ? "" : "\\") + fields[i];
    return message;
}

std::string Now() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    char text[16] = "";
    std::strftime(text, sizeof text, "%H:%M:%S", std::localtime(&now));
    return text;
}

std::string Column(const std::string& text, std::size_t width) {
    std::string column = console::Printable(text);
    column.resize(std::max(column.size(), width), ' ');
    return column + "  ";
}

Json NumberOrNull(const std::optional<long>& number) { return number ? Json(*number) : Json(); }

void Show(const Message& message, bool json) {
    if (json) {
        console::PrintJsonLine({{"time", Now()},
                                {"sender", console::Printable(message.sender)},
                                {"phase", NumberOrNull(message.phase)},
                                {"code", NumberOrNull(message.code)},
                                {"component", NumberOrNull(message.component)},
                                {"text", console::Printable(message.text)}});
        return;
    }
    const char* const phases[] = {"", "setup begins", "stage", "stage ended", "setup ended"};
    const auto number = [](const std::optional<long>& value) { return value ? std::to_string(*value) : "-"; };
    const bool isKnown = message.phase && *message.phase >= 1 && *message.phase <= 4;
    std::cout << Now() << "  " << Column(message.sender, 15)
              << Column(isKnown ? phases[*message.phase] : number(message.phase), 12) << Column(number(message.code), 5)
              << Column(number(message.component), 9) << console::Printable(message.text) << std::endl;
}

int ListenCommand(const Options& options, const RemoteOptions& remote) {
    WarnAboutUnfinished();
    host::StatusMailslot mailslot;
    if (!mailslot.IsOpen())
        throw Failure{kBusy, "nothing can be received here: " + host::ErrorText(host::LastError()) +
                                 "; another kvsetup listen may be at work"};
    interruption::Note();
    if (options.json) {
        console::PrintJsonLine({{"listening", true}});
    } else {
        std::cout << Column("TIME", 8) << Column("SENDER", 15) << Column("PHASE", 12) << Column("CODE", 5)
                  << Column("COMPONENT", 9) << "TEXT" << std::endl;
    }
    using Clock = std::chrono::steady_clock;
    auto last = Clock::now();
    unsigned ended = 0, failed = 0;
    while (ended < remote.count) {
        if (interruption::Requested()) throw Failure{kCancelled, "cancelled"};
        std::string bytes;
        if (!mailslot.Read(bytes)) {
            constexpr DWORD kNothingCame = 121;  // ERROR_SEM_TIMEOUT
            if (const DWORD error = host::LastError(); error != kNothingCame)
                throw Failure{kFailed, "reports cannot be received any more: " + host::ErrorText(error)};
            if (remote.timeout != 0 && Clock::now() - last >= std::chrono::seconds(remote.timeout))
                throw Failure{kCancelled, "nothing was reported for " + std::to_string(remote.timeout) + " seconds"};
            continue;
        }
        last = Clock::now();
        const Message message = Parse(bytes);
        Show(message, options.json);
        if (message.phase != long(Phase::Ended)) continue;
        ++ended;
        failed += message.code == 0 ? 0u : 1u;
    }
    if (!options.json) std::cout << (failed == 0 ? "The setup has succeeded.\n" : "The setup has failed.\n");
    return failed == 0 ? kDone : kFailed;
}

// Keeps the lines that the library would show in a window.
class Lines : public CComboBox {
  public:
    Lines() : CComboBox(reinterpret_cast<HWND>(1)) {}
    int AddString(const char* text) override {
        lines.emplace_back(text);
        return static_cast<int>(lines.size()) - 1;
    }
    std::vector<std::string> lines;
};

std::string ReadPassword(const RemoteOptions& remote) {
    if (remote.passwordFrom.empty()) {
        if (!host::IsTerminal(host::Stream::Input))
            throw Failure{kCancelled, "there is no terminal to ask for the password on; give --password-from"};
        std::cout << "Password of " << console::Printable(remote.account) << ": " << std::flush;
        std::string password = host::ReadHiddenLine();
        std::cout << '\n';
        return password;
    }
    std::string bytes;
    if (remote.passwordFrom == "-") {
        if (!std::getline(std::cin, bytes))
            throw Failure{kCancelled, "cancelled: the input has ended before the password"};
    } else if (!host::ReadFile(remote.passwordFrom, bytes)) {
        throw Failure{kBadInput, "the password's file " + remote.passwordFrom + " cannot be read"};
    }
    std::string password = bytes.substr(0, bytes.find_first_of("\r\n"));
    host::Wipe(bytes);
    return password;
}

void RequireFits(const std::string& text, std::size_t longest, const char* what) {
    if (text.empty()) throw Failure{kUsage, std::string(what) + " is empty"};
    if (text.size() <= longest) return;
    throw Failure{kBadInput, std::string(what) + " is longer than " + std::to_string(longest) + " characters"};
}

int ConnectCommand(const Options& options, const RemoteOptions& remote) {
    WarnAboutUnfinished();
    RequireFits(remote.host, 15, "the machine's name");
    RequireFits(remote.account, 259, "the account");
    std::string password = ReadPassword(remote);
    if (password.size() > 27) {
        host::Wipe(password);
        throw Failure{kBadInput, "the password is longer than 27 characters"};
    }
    CKVRemote session(remote.host.c_str(), remote.account.c_str(), password.c_str());
    host::Wipe(password);
    // A session with this machine itself would be left connected, so its account is tested only.
    if (const DWORD error = session.Connect("ipc$", !session.IsRemoteMachine())) {
        constexpr DWORD kUnreachable[] = {51, 53, 64, 67, 1203, 1222, 1231};  // the network's, winerror.h
        if (std::find(std::begin(kUnreachable), std::end(kUnreachable), error) != std::end(kUnreachable))
            throw Failure{kFailed, remote.host + " cannot be reached: " + host::ErrorText(error)};
        throw Failure{kNotAllowed,
                      remote.host + " does not let " + remote.account + " log on: " + host::ErrorText(error)};
    }
    Lines drives;
    host::SetLastError(0);
    const bool listed = session.EnumerateShares(&drives) != 0;
    const DWORD error = host::LastError();
    Json report{{"machine", remote.host}, {"account", remote.account}, {"drives", drives.lines}};
    options.json ? console::PrintJson(report) : console::PrintFacts(report);
    if (!listed && session.GetShareCount() == 0 && error != 0)
        throw Failure{kFailed, "the drives of " + remote.host + " cannot be listed: " + host::ErrorText(error)};
    return kDone;
}

}  // namespace

void AddRemoteCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    const auto remote = std::make_shared<RemoteOptions>();
    CLI::App* const listen = app.add_subcommand("listen", "show what setups on other machines report to this one");
    listen->add_option("--timeout", remote->timeout, "give up after so many seconds without a report (0: never)");
    listen->add_option("--count", remote->count, "end after so many setups have ended")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    listen->add_flag("--json", options.json,
                     "print each report as a line of JSON, behind one that says that it listens");
    listen->callback(
        [&run, remote] { run = [remote](const Options& given) { return ListenCommand(given, *remote); }; });
    CLI::App* const connect = app.add_subcommand("connect", "test an account on another machine, and list its drives");
    connect->add_option("host", remote->host, "the machine's name")->required();
    connect->add_option("--account", remote->account, "the account, also DOMAIN\\NAME")->capture_default_str();
    connect->add_option("--password-from", remote->passwordFrom,
                        "file whose first line is the password, or - for the input");
    connect->add_flag("--json", options.json, "print data as JSON");
    connect->callback(
        [&run, remote] { run = [remote](const Options& given) { return ConnectCommand(given, *remote); }; });
}
