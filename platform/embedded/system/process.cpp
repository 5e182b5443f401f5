#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>

#include "platform/embedded/api/system.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/state.h"
#include "platform/embedded/machine/process_state.h"
#include "platform/embedded/modules/search.h"
#include "platform/embedded/system/process_wait.h"

namespace fs = std::filesystem;
namespace gate = embedded::gate;
using embedded::control::CallKind;

namespace embedded::process {
namespace {

// --- A running child ---

class Child {
  public:
    explicit Child(pid_t pid) : m_pid(pid), m_watch(int(syscall(SYS_pidfd_open, pid, 0))) {}
    ~Child() {
        if (m_watch >= 0) close(m_watch);
        // A child that outlives its handles runs on; the host wants it to be waited for once all the same.
        if (!HasEnded()) Orphans(m_pid);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool HasEnded() {
        const std::lock_guard lock(m_mutex);
        if (m_ended) return true;
        int status = 0;
        const pid_t answer = waitpid(m_pid, &status, WNOHANG);
        if (answer == 0) return false;
        m_ended = true;
        if (answer == m_pid && !m_terminated) m_code = CodeOf(status);
        return true;
    }

    DWORD ExitCode() { return HasEnded() ? m_code : DWORD(STILL_ACTIVE); }

    bool Terminate(DWORD code) {
        if (HasEnded()) return false;
        const std::lock_guard lock(m_mutex);
        m_terminated = true;
        m_code = code;
        return kill(m_pid, SIGKILL) == 0;
    }

    // Waits a while for the end: until the host tells of it or the time is over.
    void Watch(int milliseconds) const {
        pollfd watch{m_watch, POLLIN, 0};
        poll(&watch, m_watch >= 0 ? 1 : 0, m_watch >= 0 ? milliseconds : std::min(milliseconds, 5));
    }

    // Children whose handles are all closed; each call collects those that have ended since.
    static void Orphans(pid_t added) {
        static std::mutex mutex;
        static auto* const pids = new std::vector<pid_t>;
        const std::lock_guard lock(mutex);
        if (added != 0) pids->push_back(added);
        std::erase_if(*pids, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
    }

  private:
    // A program that a signal ended left no code of its own: Windows' for the same fault, or its way to tell of an
    // abort.
    static DWORD CodeOf(int status) {
        constexpr DWORD kAccessViolation = 0xC0000005, kAborted = 3;
        if (WIFEXITED(status)) return DWORD(WEXITSTATUS(status));
        const int signal = WTERMSIG(status);
        return signal == SIGSEGV || signal == SIGBUS ? kAccessViolation : kAborted;
    }

    const pid_t m_pid;
    const int m_watch;
    std::mutex m_mutex;
    bool m_ended = false, m_terminated = false;
    DWORD m_code = 0;
};

// A process's handle, and its first thread's: both end together.
class ChildHandle : public Waitable {
  public:
    ChildHandle(ResourceKind kind, std::shared_ptr<Child> child) : Waitable(kind), m_child(std::move(child)) {}
    Child& Process() const { return *m_child; }

    DWORD Wait(DWORD milliseconds) override {
        constexpr DWORD kStep = 1000;
        for (DWORD left = milliseconds;;) {
            if (m_child->HasEnded()) return WAIT_OBJECT_0;
            if (left == 0) return WAIT_TIMEOUT;
            const DWORD step = std::min(left, kStep);
            m_child->Watch(int(step));
            if (milliseconds != INFINITE) left -= step;
        }
    }

  private:
    std::shared_ptr<Child> m_child;
};

// --- Starting one ---

// The program that a command line names and where its name ends. Without quotes every blank may end the name: "C:\A B
// C" is "C:\A.exe", then "C:\A B.exe", then "C:\A B C.exe".
struct Named {
    std::optional<modules::FoundFile> file;
    std::string
        line;  // with the name in quotes when it had blanks and none, so that the child splits it as it was meant
};

std::optional<modules::FoundFile> FindProgram(std::string_view name) {
    return modules::Search(modules::WithExtension(name, ".EXE"), modules::Purpose::Program);
}

Named NamedBy(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (line.starts_with('"')) {
        return {FindProgram(line.substr(1, std::min(line.find('"', 1), line.size()) - 1)), std::string(line)};
    }
    for (std::size_t end = 0; end < line.size(); ++end) {
        const bool hadBlank = end != 0;
        end = std::min(line.find_first_of(" \t", end), line.size());
        const std::string name(line.substr(0, end));
        auto file = FindProgram(name);
        if (!file) continue;
        return {std::move(file), hadBlank ? '"' + name + '"' + std::string(line.substr(end)) : std::string(line)};
    }
    return {};
}

// Splits a command line as the C runtime of Windows does: blanks separate, quotes keep them, 2n backslashes before a
// quote stand for n, one more makes the quote itself part of the argument.
std::vector<std::string> Arguments(std::string_view line) {
    std::vector<std::string> arguments;
    std::string argument;
    bool quoted = false, started = false;
    std::size_t backslashes = 0;
    for (const char character : line) {
        if (character == '\\') {
            ++backslashes;
            started = true;
            continue;
        }
        const bool isQuote = character == '"';
        argument.append(isQuote ? backslashes / 2 : backslashes, '\\');
        const bool isLiteral = isQuote && backslashes % 2 == 1;
        backslashes = 0;
        if (isQuote && !isLiteral) {
            quoted = !quoted;
            started = true;
        } else if (!quoted && (character == ' ' || character == '\t')) {
            if (started) arguments.push_back(std::exchange(argument, {}));
            started = false;
        } else {
            argument += character;
            started = true;
        }
    }
    argument.append(backslashes, '\\');
    if (started) arguments.push_back(std::move(argument));
    return arguments;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

struct Order {
    modules::FoundFile program;
    std::string commandLine;
    std::string directory;  // the machine's, absolute
    DWORD flags = 0;
};

// 0 and the child's number, or the Windows error.
DWORD Spawn(const Order& order, pid_t& pid) {
    std::error_code ignored;
    // Windows has no permission to run a file; the host has, and copying a program over loses it.
    fs::permissions(order.program.host, fs::perms::owner_exec, fs::perm_options::add, ignored);
    std::vector<std::string> arguments = Arguments(order.commandLine);
    if (arguments.empty()) arguments.push_back(order.program.path);
    std::vector<std::string> environment = ChildEnvironment(order.program.path, text::Widen(order.directory));

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addchdir_np(&actions, control::HostPath(order.directory).c_str());
    if ((order.flags & DETACHED_PROCESS) != 0) {
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    const int status = posix_spawn(&pid, order.program.host.c_str(), &actions, &attributes, Pointers(arguments).data(),
                                   Pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return status == 0 ? 0 : status == ENOMEM || status == EAGAIN ? ERROR_NOT_ENOUGH_MEMORY : ERROR_BAD_EXE_FORMAT;
}

// What CreateProcessA's arguments ask for; 0 or the Windows error.
DWORD Prepare(const char* program, const char* commandLine, const char* directory, Order& order) {
    Named named;
    if (program == nullptr)
        named = NamedBy(commandLine);
    else
        named = {modules::FileAt(program), commandLine != nullptr ? commandLine : '"' + std::string(program) + '"'};
    if (!named.file) return ERROR_FILE_NOT_FOUND;
    const modules::FileFormat format = modules::FormatOf(named.file->host);
    if (format != modules::FileFormat::HostBinary && format != modules::FileFormat::HostScript)
        return ERROR_BAD_EXE_FORMAT;
    order.program = *named.file;
    order.commandLine = named.line;
    order.directory = directory == nullptr ? text::Narrow(files::CurrentDirectory()) : modules::FullPath(directory);
    std::error_code error;
    return fs::is_directory(control::HostPath(order.directory), error) ? 0 : ERROR_DIRECTORY;
}

constexpr LONG_PTR kCurrentProcess = -1, kCurrentThread = -2;

bool IsCurrent(HANDLE handle) {
    const LONG_PTR value = reinterpret_cast<LONG_PTR>(handle);
    return value == kCurrentProcess || value == kCurrentThread;
}

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

}  // namespace
}  // namespace embedded::process

namespace process = embedded::process;
namespace handles = embedded::handles;
using embedded::control::ResourceKind;
using process::ChildHandle;
using process::Fail;

HANDLE GetCurrentProcess() { return reinterpret_cast<HANDLE>(process::kCurrentProcess); }
HANDLE GetCurrentThread() { return reinterpret_cast<HANDLE>(process::kCurrentThread); }
DWORD GetCurrentProcessId() { return DWORD(getpid()); }
DWORD GetCurrentThreadId() { return DWORD(gettid()); }

BOOL CreateProcessA(LPCSTR program, LPSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD flags,
                    LPVOID environment, LPCSTR directory, LPSTARTUPINFOA startup, LPPROCESS_INFORMATION information) {
    if (gate::Refuses(CallKind::System, "CreateProcessA")) return FALSE;
    const bool namesProgram = program != nullptr || (commandLine != nullptr && *commandLine != '\0');
    if (!namesProgram || environment != nullptr || startup == nullptr || information == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    process::Child::Orphans(0);
    process::Order order;
    order.flags = flags;
    pid_t pid = 0;
    DWORD error = process::Prepare(program, commandLine, directory, order);
    if (error == 0) error = process::Spawn(order, pid);
    if (error != 0) return Fail(error);
    const auto child = std::make_shared<process::Child>(pid);
    information->hProcess = handles::Add(std::make_shared<ChildHandle>(ResourceKind::Process, child));
    information->hThread = handles::Add(std::make_shared<ChildHandle>(ResourceKind::Thread, child));
    information->dwProcessId = information->dwThreadId = DWORD(pid);
    return TRUE;
}

BOOL GetExitCodeProcess(HANDLE handle, LPDWORD code) {
    if (gate::Refuses(CallKind::System, "GetExitCodeProcess")) return FALSE;
    const auto child = handles::Find<ChildHandle>(handle);
    if (!child && !process::IsCurrent(handle)) return Fail(ERROR_INVALID_HANDLE);
    *code = child ? child->Process().ExitCode() : DWORD(STILL_ACTIVE);
    return TRUE;
}

BOOL TerminateProcess(HANDLE handle, UINT code) {
    if (gate::Refuses(CallKind::System, "TerminateProcess")) return FALSE;
    const auto child = handles::Find<ChildHandle>(handle);
    if (!child) return Fail(ERROR_INVALID_HANDLE);
    return child->Process().Terminate(code) ? TRUE : Fail(ERROR_ACCESS_DENIED);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (gate::Refuses(CallKind::System, "WaitForSingleObject")) return WAIT_FAILED;
    const auto waitable = handles::Find<embedded::Waitable>(handle);
    if (waitable) return waitable->Wait(milliseconds);
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}
