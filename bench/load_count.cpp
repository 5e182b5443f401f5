// Preloaded into a program on the embedded machine: writes how often it made each platform call to the file that
// INSTALIB_BENCH_CALLS names, a line "COUNT NAME" each.
#include <cstdio>
#include <cstdlib>

#include "platform/embedded/control/machine.h"

namespace {

const struct Counter {
    Counter() { embedded::control::StartCounting(); }
    ~Counter() {
        const char* const name = std::getenv("INSTALIB_BENCH_CALLS");
        std::FILE* const file = name == nullptr ? nullptr : std::fopen(name, "a");
        if (file == nullptr) return;
        for (const auto& [call, count] : embedded::control::StopCounting()) {
            std::fprintf(file, "%u %s\n", count, call.c_str());
        }
        std::fclose(file);
    }
} counter;

}  // namespace
