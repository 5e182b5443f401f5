// Time as the machine tells it: the host's, or what a test's manual clock has been moved on to.
#ifndef INSTALIB_EMBEDDED_CORE_CLOCK_H
#define INSTALIB_EMBEDDED_CORE_CLOCK_H

#include <cstdint>

namespace embedded::clock {

bool IsManual();
// 100-nanosecond steps since 1601-01-01 UTC.
std::uint64_t Now();
// Milliseconds since some moment before the process began.
std::uint64_t Ticks();
// Waits, or moves the manual clock on.
void Wait(std::uint64_t milliseconds);

}  // namespace embedded::clock

#endif
