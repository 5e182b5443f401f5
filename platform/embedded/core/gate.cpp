#include "platform/embedded/core/gate.h"

#include <map>
#include <mutex>
#include <set>
#include <string>

namespace embedded {
namespace gate {

std::atomic<bool> armed{false};

namespace {

struct State {
    std::mutex mutex;
    bool faulting = false;
    CallKind kind = CallKind::Any;
    unsigned remaining = 0;
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

DWORD Ask(CallKind kind, const char* name) {
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    if (state.counting) Count(state, name);
    if (!state.faulting || (state.kind != CallKind::Any && state.kind != kind)) return 0;
    if (state.exempt.contains(std::string_view(name))) return 0;
    if (state.fired) return state.persistent ? state.error : 0;
    if (--state.remaining != 0) return 0;
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
    state.fired = false;
    state.faulted.clear();
    gate::armed = state.faulting || state.counting;
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
    gate::armed = state.counting;
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
    gate::armed = state.faulting;
    return std::move(state.counts);
}

}  // namespace control
}  // namespace embedded
