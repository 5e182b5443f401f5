#include "platform/embedded/core/gate.h"

#include <unistd.h>

#include <map>
#include <mutex>
#include <set>
#include <string>

namespace embedded {
namespace gate {

std::atomic<bool> armed{true};

namespace {

struct State {
    std::mutex mutex;
    bool faulting = false;
    CallKind kind = CallKind::Any;
    unsigned remaining = 0;
    int exitCode = -1;  // not negative: the fault ends the process
    DWORD error = 0;
    bool persistent = false;
    bool fired = false;
    std::string faulted;
    std::set<std::string, std::less<>> exempt;
    bool counting = false;
    std::vector<std::pair<std::string, unsigned>> counts;
};

State& TheState() {
    static State state;
    return state;
}

std::atomic<DWORD (*)()> machineCheck{nullptr};
std::atomic<unsigned> looksWanted{1}, looksDone{0};

// With the state's lock.
void Arm(const State& state) { armed = state.faulting || state.counting || looksWanted != looksDone; }

DWORD LookAtMachine(CallKind kind, std::string_view name) {
    if (looksWanted == looksDone || kind == CallKind::Memory || name == "FormatMessageA") return 0;
    DWORD (*const check)() = machineCheck;
    const unsigned wanted = looksWanted;
    const DWORD error = check == nullptr ? 0 : check();
    if (error != 0) return error;
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    looksDone = wanted;
    Arm(state);
    return 0;
}

void Count(State& state, const char* name) {
    for (auto& [counted, number] : state.counts) {
        if (counted == name) {
            ++number;
            return;
        }
    }
    state.counts.emplace_back(name, 1u);
}

}  // namespace

void SetMachineCheck(DWORD (*check)()) { machineCheck = check; }

void LookAgain() {
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    ++looksWanted;
    armed = true;
}

DWORD Ask(CallKind kind, const char* name) {
    if (const DWORD error = LookAtMachine(kind, name)) return error;
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    if (state.counting) Count(state, name);
    if (!state.faulting || (state.kind != CallKind::Any && state.kind != kind)) return 0;
    if (state.exempt.contains(std::string_view(name))) return 0;
    if (state.fired) return state.persistent ? state.error : 0;
    if (--state.remaining != 0) return 0;
    if (state.exitCode >= 0) _exit(state.exitCode);
    state.fired = true;
    state.faulted = name;
    return state.error;
}

}  // namespace gate

namespace control {

void FailCall(CallKind kind, unsigned n, DWORD error, bool persistent) {
    gate::State& state = gate::TheState();
    const std::lock_guard lock(state.mutex);
    state.faulting = n != 0;
    state.kind = kind;
    state.remaining = n;
    state.error = error;
    state.persistent = persistent;
    state.exitCode = -1;
    state.fired = false;
    state.faulted.clear();
    gate::Arm(state);
}

void ExitAtCall(unsigned n, int exitCode) {
    FailCall(CallKind::Any, n, 0);
    gate::State& state = gate::TheState();
    const std::lock_guard lock(state.mutex);
    state.exitCode = exitCode;
}

void ExemptCall(const std::string& name) {
    gate::State& state = gate::TheState();
    const std::lock_guard lock(state.mutex);
    state.exempt.insert(name);
}

void ClearFault() {
    gate::State& state = gate::TheState();
    const std::lock_guard lock(state.mutex);
    state.faulting = false;
    state.exempt.clear();
    gate::Arm(state);
}

bool FaultFired() {
    gate::State& state = gate::TheState();
    const std::lock_guard lock(state.mutex);
    return state.fired;
}

std::string FaultedCall() {
    gate::State& state = gate::TheState();
    const std::lock_guard lock(state.mutex);
    return state.faulted;
}

void StartCounting() {
    gate::State& state = gate::TheState();
    const std::lock_guard lock(state.mutex);
    state.counts.clear();
    state.counting = true;
    gate::armed = true;
}

std::vector<std::pair<std::string, unsigned>> StopCounting() {
    gate::State& state = gate::TheState();
    const std::lock_guard lock(state.mutex);
    state.counting = false;
    gate::Arm(state);
    return std::move(state.counts);
}

}  // namespace control
}  // namespace embedded
