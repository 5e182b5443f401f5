// Failing calls of the embedded machine, one after the other.
#ifndef INSTALIB_TESTS_FAULTS_H
#define INSTALIB_TESTS_FAULTS_H

#include "platform/embedded/control/machine.h"
#include "tests/support/fresh_machine.h"

// Runs an operation with its first call of the kind failing, then its second and so on (`persistent`: all from that one
// on), until it has run through; `prepare` comes before each. Nothing may stay open. `check` gets each result, the last
// error and the name of the call that failed, empty at the run without one.
constexpr auto kNothingToPrepare = [] {};
template <class Run, class Check, class Prepare = decltype(kNothingToPrepare)>
void ForEachFault(embedded::control::CallKind kind, DWORD error, Run run, Check check, bool persistent = false,
                  Prepare prepare = {}) {
    for (unsigned n = 1; n < 10000; ++n) {
        prepare();
        embedded::control::FailCall(kind, n, error, persistent);
        SetLastError(0xdeadbeef);
        const int result = run();
        const DWORD left = GetLastError();
        const bool fired = embedded::control::FaultFired();
        const std::string call = embedded::control::FaultedCall();
        embedded::control::ClearFault();
        SCOPED_TRACE(call + " " + std::to_string(n));
        EXPECT_EQ(embedded::control::OpenReport(), "");
        check(result, left, call);
        if (!fired) return;
    }
    FAIL() << "the operation never ran to its end";
}

#endif
