#include <termios.h>
#include <unistd.h>

#include <iostream>

#include "platform/embedded/control/terminal.h"

namespace embedded::control {
namespace {

// Hides what is typed for as long as it lives.
class Hidden {
  public:
    Hidden() : m_hidden(tcgetattr(STDIN_FILENO, &m_before) == 0) {
        if (!m_hidden) return;
        termios quiet = m_before;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        m_hidden = tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
    }
    ~Hidden() {
        if (m_hidden) tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
    }
    Hidden(const Hidden&) = delete;
    Hidden& operator=(const Hidden&) = delete;

  private:
    termios m_before{};
    bool m_hidden;
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
