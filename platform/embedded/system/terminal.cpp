#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <iterator>

#include "platform/embedded/control/terminal.h"

namespace embedded::control {
namespace {

constexpr int kEnding[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// Hides what is typed for as long as it lives. Whoever ends the process meanwhile finds the terminal as it was.
class Hidden {
  public:
    Hidden() : m_hidden(tcgetattr(STDIN_FILENO, &before) == 0) {
        if (!m_hidden) return;
        struct sigaction restore = {};
        restore.sa_handler = Restore;
        for (std::size_t i = 0; i < std::size(kEnding); ++i) sigaction(kEnding[i], &restore, &m_handlers[i]);
        termios quiet = before;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    ~Hidden() {
        if (!m_hidden) return;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
        for (std::size_t i = 0; i < std::size(kEnding); ++i) sigaction(kEnding[i], &m_handlers[i], nullptr);
    }
    Hidden(const Hidden&) = delete;
    Hidden& operator=(const Hidden&) = delete;

  private:
    static void Restore(int signal) {
        tcsetattr(STDIN_FILENO, TCSANOW, &before);
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }

    static inline termios before{};  // for the handler, which has no object
    bool m_hidden;
    struct sigaction m_handlers[std::size(kEnding)] = {};
};

}  // namespace

bool InputIsTerminal() { return isatty(STDIN_FILENO) == 1; }
bool OutputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

std::string ReadHiddenLine() {
    const Hidden hidden;
    std::string line;
    std::getline(std::cin, line);
    return line;
}

}  // namespace embedded::control
