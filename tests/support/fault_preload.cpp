// Loaded before the front end by tests alone: arms the machine's gate when the process starts. INSTALIB_TEST_FAULT is
// "fail N" or "exit N" for the N-th call, or "count FILE": the number of calls is written there at the end.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/embedded/control/machine.h"

namespace control = embedded::control;

namespace {

constexpr DWORD kAccessDenied = 5;  // ERROR_ACCESS_DENIED
std::string countFile;

void WriteCount() {
    unsigned total = 0;
    for (const auto& [name, count] : control::StopCounting()) total += count;
    std::ofstream(countFile) << total;
}

struct Arm {
    Arm() {
        const char* const fault = std::getenv("INSTALIB_TEST_FAULT");
        if (fault == nullptr) return;
        std::istringstream text(fault);
        std::string what;
        text >> what;
        if (what == "count") {
            text >> countFile;
            control::StartCounting();
            std::atexit(WriteCount);
            return;
        }
        unsigned number = 0;
        text >> number;
        if (what == "exit") control::ExitAtCall(number, 99);
        if (what == "fail") control::FailCall(control::CallKind::Any, number, kAccessDenied);
    }
} arm;

}  // namespace
