// The room core/: what every family stands on: the gate, handles and buffers, the clock, text.
//
// The counting gate: every exported function of the embedded machine passes it once, first of all. It counts the calls,
// lets a test fail the n-th one with a chosen error, and costs one relaxed load when nothing is armed.
//
//   MACHINE_API LSTATUS RegOpenKeyExA(...) {
//       if (DWORD error = gate::Enter(CallKind::Registry, "RegOpenKeyExA")) return LSTATUS(error);
//   MACHINE_API HANDLE CreateFileA(...) {
//       if (gate::Refuses(CallKind::File, "CreateFileA")) return INVALID_HANDLE_VALUE;   // last error is set
//
// A closing call that is told to fail still closes, so that leak checks stay honest; it asks the gate last.
#ifndef INSTALIB_EMBEDDED_CORE_GATE_H
#define INSTALIB_EMBEDDED_CORE_GATE_H

#include <atomic>

#include "platform/embedded/api/base.h"
#include "platform/embedded/control/machine.h"

namespace embedded::gate {

using control::CallKind;

// The machine itself is looked at when the first call comes, and again after LookAgain: `check` answers 0 or the error
// with which every call fails as long as the machine cannot be used. Only calls for memory and FormatMessageA, which
// tells the error's text, work without a machine.
void SetMachineCheck(DWORD (*check)());
void LookAgain();

extern std::atomic<bool> armed;
DWORD Ask(CallKind kind, const char* name);

// 0, or the error with which this call is to fail.
inline DWORD Enter(CallKind kind, const char* name) {
    return armed.load(std::memory_order_relaxed) ? Ask(kind, name) : 0;
}

// The same for calls that report through the last error.
inline bool Refuses(CallKind kind, const char* name) {
    const DWORD error = Enter(kind, name);
    if (error != 0) SetLastError(error);
    return error != 0;
}

}  // namespace embedded::gate

#endif
