#include "kvsetup/interruption.h"

#include <csignal>

namespace interruption {
namespace {

volatile std::sig_atomic_t requested = 0;

void Handle(int signal) {
    requested = 1;
    std::signal(signal, Handle);  // some systems forget it when it was called
}

}  // namespace

void Note() {
    std::signal(SIGINT, Handle);
    std::signal(SIGTERM, Handle);
#ifdef SIGBREAK
    std::signal(SIGBREAK, Handle);  // a console window that is closed
#endif
#ifdef SIGHUP
    std::signal(SIGHUP, Handle);
#endif
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

bool Requested() { return requested != 0; }

}  // namespace interruption
