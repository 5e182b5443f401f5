#include "platform/embedded/core/clock.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

#include "platform/embedded/api/base.h"
#include "platform/embedded/control/machine.h"

namespace embedded {
namespace clock {
namespace {

constexpr std::uint64_t kStepsPerSecond = 10'000'000;
constexpr std::uint64_t kStepsPerMillisecond = 10'000;
constexpr std::uint64_t kSecondsTo1970 = 11'644'473'600;

std::atomic<bool> g_manual{false};
std::atomic<std::uint64_t> g_slept{0};     // milliseconds, on the manual clock
std::atomic<std::uint64_t> g_advanced{0};  // milliseconds that the machine's clock is ahead of the host's

}  // namespace

bool IsManual() { return g_manual; }

std::uint64_t Now() {
    using Steps = std::chrono::duration<std::uint64_t, std::ratio<1, 10'000'000>>;
    const auto since1970 = std::chrono::duration_cast<Steps>(std::chrono::system_clock::now().time_since_epoch());
    return since1970.count() + kSecondsTo1970 * kStepsPerSecond + g_advanced * kStepsPerMillisecond;
}

std::uint64_t Ticks() {
    const auto host = std::chrono::steady_clock::now().time_since_epoch();
    return std::uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(host).count()) + g_advanced;
}

void Wait(std::uint64_t milliseconds) {
    if (!IsManual()) return std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    g_slept += milliseconds;
    g_advanced += milliseconds;
}

}  // namespace clock

namespace control {

void UseManualClock(bool manual) {
    clock::g_manual = manual;
    clock::g_slept = 0;
    clock::g_advanced = 0;
}

std::uint64_t SleptMilliseconds() { return clock::g_slept; }
void AdvanceClock(std::uint64_t milliseconds) { clock::g_advanced += milliseconds; }

}  // namespace control
}  // namespace embedded

namespace {

namespace clock = embedded::clock;
using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr std::uint64_t kStepsPerDay = 86'400 * clock::kStepsPerSecond;
constexpr sys_days kEpoch = std::chrono::year(1601) / 1 / 1;

std::uint64_t StepsOf(const FILETIME& time) { return std::uint64_t(time.dwHighDateTime) << 32 | time.dwLowDateTime; }
FILETIME TimeOf(std::uint64_t steps) { return {DWORD(steps), DWORD(steps >> 32)}; }

// Seconds that local time is ahead of universal time now: Windows applies today's difference to every date.
std::int64_t LocalDifference() {
    const std::time_t now = std::time_t(clock::Now() / clock::kStepsPerSecond - clock::kSecondsTo1970);
    std::tm local{};
    localtime_r(&now, &local);
    return local.tm_gmtoff;
}

BOOL Fail() {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

}  // namespace

void Sleep(DWORD milliseconds) { clock::Wait(milliseconds); }
DWORD GetTickCount() { return DWORD(clock::Ticks()); }
void GetSystemTimeAsFileTime(LPFILETIME time) { *time = TimeOf(clock::Now()); }

void GetLocalTime(LPSYSTEMTIME time) {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    FileTimeToLocalFileTime(&now, &now);
    FileTimeToSystemTime(&now, time);
}

BOOL FileTimeToLocalFileTime(const FILETIME* time, LPFILETIME local) {
    *local = TimeOf(StepsOf(*time) + std::uint64_t(LocalDifference()) * clock::kStepsPerSecond);
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* time, LPSYSTEMTIME result) {
    const std::uint64_t steps = StepsOf(*time);
    if (steps >> 63 != 0) return Fail();
    const sys_days day = kEpoch + days(steps / kStepsPerDay);
    const year_month_day date = day;
    const std::uint64_t milliseconds = steps % kStepsPerDay / clock::kStepsPerMillisecond;
    result->wYear = WORD(int(date.year()));
    result->wMonth = WORD(unsigned(date.month()));
    result->wDayOfWeek = WORD(std::chrono::weekday(day).c_encoding());
    result->wDay = WORD(unsigned(date.day()));
    result->wHour = WORD(milliseconds / 3'600'000);
    result->wMinute = WORD(milliseconds / 60'000 % 60);
    result->wSecond = WORD(milliseconds / 1'000 % 60);
    result->wMilliseconds = WORD(milliseconds % 1'000);
    return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* time, LPFILETIME result) {
    const year_month_day date = std::chrono::year(time->wYear) / time->wMonth / time->wDay;
    const bool valid = time->wYear >= 1601 && time->wYear <= 30827 && date.ok() && time->wHour < 24 &&
                       time->wMinute < 60 && time->wSecond < 60 && time->wMilliseconds < 1000;
    if (!valid) return Fail();
    const std::uint64_t day = std::uint64_t((sys_days(date) - kEpoch).count());
    const std::uint64_t milliseconds =
        ((time->wHour * 60u + time->wMinute) * 60u + time->wSecond) * std::uint64_t(1000) + time->wMilliseconds;
    *result = TimeOf(day * kStepsPerDay + milliseconds * clock::kStepsPerMillisecond);
    return TRUE;
}
