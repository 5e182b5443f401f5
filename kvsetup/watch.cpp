#include "kvsetup/watch.h"

#include <algorithm>
#include <cstdio>
#include <random>

#include "instalib/computer.h"
#include "instalib/mif.h"
#include "instalib/remote_mailslot.h"
#include "kvsetup/host.h"
#include "kvsetup/session.h"

namespace {

constexpr std::size_t kLongestText = 180;  // of a report, so that its component code is not cut off
// The types of the status file's descriptions: STRING(255) and String(128).
constexpr std::size_t kLongestDescription = 255, kLongestShortDescription = 128;

// At most `longest` bytes, no character cut in two: half of one would take what follows for its other half.
std::string Cut(const std::string& text, std::size_t longest) {
    std::size_t length = 0;
    while (length < text.size()) {
        const std::size_t step = host::IsLeadByte(text[length]) ? 2 : 1;
        if (length + step > std::min(longest, text.size())) break;
        length += step;
    }
    return text.substr(0, length);
}

// The status file holds texts as they are: a quotation mark or a line's end would break its lines.
std::string Description(const std::string& text, bool isShort) {
    std::string description = Cut(text, isShort ? kLongestShortDescription : kLongestDescription);
    for (char& character : description) {
        if (character == '"') character = '\'';
        if (static_cast<unsigned char>(character) < ' ') character = ' ';
    }
    return description;
}

}  // namespace

bool Watch::Report(Phase phase, DWORD code, const std::string& text) {
    return !m_host.empty() &&
           CRemoteMailslot::SendStatus(m_host.c_str(), DWORD(phase), code, Cut(text, kLongestText).c_str()) != 0;
}

void Watch::MakeStatusFile() {
    if (m_options.mif.empty()) return;
    // The library writes on the machine; a file of the host gets a copy, from a name that no other setup takes.
    m_isCopied = !host::IsMachinePath(m_options.mif);
    std::string problem, file = m_isCopied ? std::string(1, CComputer::FindFirstHardDrive()) + ":\\KVSETUP-" +
                                                 std::to_string(std::random_device{}()) + ".MIF"
                                           : host::MachinePath(m_options.mif, false, &problem);
    if (file.empty()) throw Failure{kBadInput, problem};
    if (!(IsShort() ? CMIF::Create(file.c_str(), m_isRemoval ? 2 : 1) : CMIF::Create(file.c_str())))
        throw Failure{kBadInput, "the status file " + file + " cannot be made: " + host::ErrorText(host::LastError())};
    m_file = file;
    if (CopyOut()) return;
    DropStatusFile();
    throw Failure{kBadInput, "the status file " + m_options.mif + " cannot be made"};
}

void Watch::DropStatusFile() {
    if (m_isCopied && !m_file.empty()) std::remove(host::HostPath(m_file).c_str());
    m_file.clear();
}

bool Watch::CopyOut() {
    std::string bytes;
    return !m_isCopied || (host::ReadFile(host::HostPath(m_file), bytes) && host::WriteFile(m_options.mif, bytes));
}

void Watch::Begin(Session& session) {
    if (m_begun) return;
    m_begun = true;
    m_host = session.settings.RemoteSetup() ? session.settings.RemoteHostServer() : m_options.drivingHost;
    MakeStatusFile();
    if (m_host.empty()) return;
    std::string what = std::string(m_isRemoval ? "remove " : "install ") + session.productId;
    if (session.version != 0) what += ' ' + VersionText(session.version) + " build " + std::to_string(session.build);
    if (Report(Phase::Begins, 0, what)) return;
    const std::string reason = m_host + " does not listen to this setup: " + host::ErrorText(host::LastError());
    m_host.clear();
    if (!m_options.drivingHost.empty()) throw Failure{kBadInput, reason + "; start kvsetup listen there"};
    console::Warn(reason + "; it goes on unwatched");
}

void Watch::StageBegins(std::size_t number, const std::string& title) {
    Report(Phase::StageBegins, DWORD(number), title);
}

void Watch::StageEnded(bool succeeded, DWORD error, const std::string& text) {
    constexpr DWORD kUnknown = 31;  // ERROR_GEN_FAILURE: a failure is never reported as 0
    Report(Phase::StageEnded, succeeded ? 0 : error != 0 ? error : kUnknown, text);
}

void Watch::End(ExitCode code, const std::string& text) {
    if (!m_begun) m_host = m_options.drivingHost;  // it ended before there was a session
    Report(Phase::Ended, code, text);
    try {
        if (!m_begun) MakeStatusFile();
    } catch (const Failure& failure) {
        console::Warn(failure.message);
    }
    if (m_file.empty()) return;
    const char* const file = m_file.c_str();
    const std::string description = Description(text, IsShort());
    const bool written = IsShort()
                             ? CMIF::WriteStatus(file, description.c_str(), code == kDone) && CMIF::WriteEndOfMIF(file)
                             : CMIF::WriteStatus(file, "", code, description.c_str()) != 0;
    if (!written || !CopyOut())
        console::Warn("the status file " + m_options.mif + " is incomplete: " + host::ErrorText(host::LastError()));
    DropStatusFile();
}

int RunWatched(const Options& options, bool isRemoval, const std::function<int(const Options&)>& setup) {
    if (options.rehearsal != nullptr) return setup(options);
    // A setup that another machine drives runs in a process whose command line says so.
    int handedOn = kDone;
    if (!options.drivingHost.empty() && host::DriveRemotely(options.drivingHost, options.arguments, &handedOn))
        return handedOn;
    Options watched = options;
    Watch watch(options, isRemoval);
    watched.watch = &watch;
    try {
        const int exitCode = setup(watched);
        watch.End(ExitCode(exitCode), isRemoval ? "Removal done" : "Installation done");
        return exitCode;
    } catch (const Failure& failure) {
        watch.End(failure.code, failure.message);
        throw;
    } catch (const std::exception& error) {
        watch.End(kFailed, error.what());
        throw;
    }
}
