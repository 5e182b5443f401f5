#include "platform/embedded/services/state.h"

#include <cstring>

#include "platform/embedded/core/clock.h"
#include "platform/embedded/services/records.h"

namespace embedded::services {
namespace {

using control::PendingStep;
using control::ServiceScript;
using control::TransitionScript;

enum Transition : DWORD { kNone, kStarting, kStopping };

constexpr DWORD kBinary = 3;  // REG_BINARY
constexpr std::uint64_t kClockStepsPerMillisecond = 10000;

std::string StateKey(std::string_view name) { return "META\\Services\\" + std::string(name); }

template <class Number>
Number ReadRecord(Store& store, const std::string& key, const char* name) {
    Number number{};
    const auto value = store.Read(key, name);
    if (value && value->data.size() == sizeof number) std::memcpy(&number, value->data.data(), sizeof number);
    return number;
}

std::uint64_t MillisecondsSince(std::uint64_t moment) {
    const std::uint64_t now = clock::Now();
    return now <= moment ? 0 : (now - moment) / kClockStepsPerMillisecond;
}

// The step in which a transition stands after so long, null when it is complete.
const PendingStep* StepAfter(const TransitionScript& script, std::uint64_t milliseconds) {
    for (const PendingStep& step : script.steps) {
        const bool standsForEver = script.hangs && &step == &script.steps.back();
        if (standsForEver || milliseconds < step.milliseconds) return &step;
        milliseconds -= step.milliseconds;
    }
    return nullptr;
}

void BeginTransition(Machine& machine, std::string_view name, Transition transition) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    const std::uint64_t now = clock::Now();
    const auto* const bytes = reinterpret_cast<const BYTE*>(&now);
    const std::string key = StateKey(name);
    store.Write(key, "Since", kBinary, Bytes(bytes, bytes + sizeof now));
    store.WriteNumber(key, "Transition", transition);
}

void ShowPending(SERVICE_STATUS& status, DWORD state, const PendingStep& step) {
    status.dwCurrentState = state;
    status.dwCheckPoint = step.checkPoint;
    status.dwWaitHint = step.waitHint;
}

void ShowEnd(SERVICE_STATUS& status, Transition transition, const ServiceScript& script) {
    const TransitionScript& finished = transition == kStarting ? script.start : script.stop;
    status.dwWin32ExitCode = finished.exitCode;
    const bool runs = transition == kStarting && finished.exitCode == 0;
    status.dwCurrentState = runs ? SERVICE_RUNNING : SERVICE_STOPPED;
    if (runs) status.dwControlsAccepted = script.controlsAccepted;
}

}  // namespace

SERVICE_STATUS StatusOf(Machine& machine, std::string_view name) {
    Store& store = machine.Storage();
    const std::string key = StateKey(name);
    SERVICE_STATUS status{};
    status.dwServiceType = store.ReadNumber(KeyOf(name), "Type");
    const ServiceScript script = ScriptOf(machine, name);
    const auto transition = Transition(store.ReadNumber(key, "Transition"));
    if (transition == kNone) {
        status.dwCurrentState = store.ReadNumber(key, "State", SERVICE_STOPPED);
        const bool stopped = status.dwCurrentState == SERVICE_STOPPED;
        if (stopped) status.dwWin32ExitCode = store.ReadNumber(key, "ExitCode", ERROR_SERVICE_NEVER_STARTED);
        if (!stopped) status.dwControlsAccepted = script.controlsAccepted;
        return status;
    }
    const TransitionScript& running = transition == kStarting ? script.start : script.stop;
    const auto since = ReadRecord<std::uint64_t>(store, key, "Since");
    if (const PendingStep* const step = StepAfter(running, MillisecondsSince(since))) {
        ShowPending(status, transition == kStarting ? SERVICE_START_PENDING : SERVICE_STOP_PENDING, *step);
    } else {
        ShowEnd(status, transition, script);
    }
    return status;
}

DWORD BeginStart(Machine& machine, std::string_view name) {
    const DWORD error = ScriptOf(machine, name).start.error;
    if (error == 0) BeginTransition(machine, name, kStarting);
    return error;
}

DWORD BeginStop(Machine& machine, std::string_view name) {
    const DWORD error = ScriptOf(machine, name).stop.error;
    if (error == 0) BeginTransition(machine, name, kStopping);
    return error;
}

void SetRunning(Machine& machine, std::string_view name, DWORD state) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    store.WriteNumber(StateKey(name), "State", state);
    store.WriteNumber(StateKey(name), "Transition", kNone);
}

void Settle(Machine& machine, std::string_view name) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    const SERVICE_STATUS status = StatusOf(machine, name);
    const bool pending =
        status.dwCurrentState == SERVICE_START_PENDING || status.dwCurrentState == SERVICE_STOP_PENDING;
    if (pending || store.ReadNumber(StateKey(name), "Transition") == kNone) return;
    store.WriteNumber(StateKey(name), "ExitCode", status.dwWin32ExitCode);
    SetRunning(machine, name, status.dwCurrentState);
}

void Forget(Machine& machine, std::string_view name) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    for (const char* const value : {"State", "Transition", "Since", "ExitCode", "LogonHash"})
        store.Erase(StateKey(name), value);
}

}  // namespace embedded::services
