#include "platform/embedded/core/gate.h"

#include "platform/embedded/core/handles_table.h"
#include "tests/support/fresh_machine.h"

namespace {

namespace control = embedded::control;
using control::CallKind;
using control::ResourceKind;

class Gate : public FreshMachine {
  protected:
    // Which of six calls fail: a read of a variable counts as a system call, an allocation as one for memory.
    static std::string Outcome() {
        std::string outcome;
        for (int i = 0; i < 3; ++i) {
            char name[32];
            DWORD size = sizeof name;
            outcome += GetComputerNameA(name, &size) ? '.' : 'S';
            const LocalBuffer memory(LocalAlloc(LPTR, 1));
            outcome += memory ? '.' : 'M';
        }
        return outcome;
    }
};

TEST_F(Gate, FailsTheNthCallThatIsNotExemptOnceOrFromThenOn) {
    EXPECT_EQ(Outcome(), "......");
    control::FailCall(CallKind::System, 2, ERROR_NOT_READY);
    EXPECT_EQ(Outcome(), "..S...");
    control::FailCall(CallKind::Any, 4, ERROR_NOT_READY, true);
    EXPECT_EQ(Outcome(), "...MSM");
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NOT_READY));
    EXPECT_TRUE(control::FaultFired());
    EXPECT_EQ(control::FaultedCall(), "LocalAlloc");
    control::ClearFault();
    EXPECT_EQ(Outcome(), "......");
    control::FailCall(CallKind::System, 4, ERROR_NOT_READY);
    EXPECT_EQ(Outcome(), "......");
    EXPECT_FALSE(control::FaultFired());
    EXPECT_EQ(control::FaultedCall(), "");
    control::ExemptCall("GetComputerNameA");
    control::FailCall(CallKind::Any, 2, ERROR_NOT_READY);
    EXPECT_EQ(Outcome(), "...M..");
}

TEST_F(Gate, CountsCallsInOrderOfFirstUse) {
    control::StartCounting();
    Outcome();
    const std::vector<std::pair<std::string, unsigned>> expected = {{"GetComputerNameA", 3}, {"LocalAlloc", 3}};
    EXPECT_EQ(control::StopCounting(), expected);
    control::StartCounting();
    EXPECT_TRUE(control::StopCounting().empty());
}

TEST_F(Gate, OpenHandlesAreReportedByKindAndAFailingCloserClosesAllTheSame) {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    control::FailCall(CallKind::System, 1, ERROR_INVALID_HANDLE);
    EXPECT_FALSE(CloseHandle(mutex));
    EXPECT_EQ(control::OpenCount(ResourceKind::Mutex), 0u);
    const KernelHandle first(CreateMutexA(nullptr, FALSE, nullptr)), second(CreateMutexA(nullptr, FALSE, nullptr));
    const LocalBuffer memory(LocalAlloc(LPTR, 8));
    const LoadedLibrary once(LoadLibraryA("msi.dll")), twice(LoadLibraryA("msi.dll"));
    EXPECT_EQ(control::OpenReport(), "Module 2, Mutex 2, LocalMemory 1");
    EXPECT_EQ(control::OpenCount(), 5u);
}

TEST_F(Gate, StaleAndForeignHandlesAreErrorsAndNeverReused) {
    KernelHandle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    const HANDLE stale = mutex.Get();
    mutex.Reset();
    EXPECT_TRUE(FailsWith(ERROR_INVALID_HANDLE, CloseHandle(stale)));
    const KernelHandle next(CreateMutexA(nullptr, FALSE, nullptr));
    EXPECT_NE(next.Get(), stale);
    EXPECT_FALSE(ReleaseMutex(stale));
    EXPECT_FALSE(FindClose(next.Get())) << "a handle of another kind";
    int local = 0;
    EXPECT_EQ(LocalFree(&local), &local) << "memory that was not handed out";
    HeapBuffer heap(HeapAlloc(GetProcessHeap(), 0, 4));
    EXPECT_EQ(LocalFree(heap.Get()), heap.Get()) << "memory of another kind";
}

TEST_F(Gate, AbsurdAllocationFails) { EXPECT_TRUE(FailsWith(ERROR_NOT_ENOUGH_MEMORY, LocalAlloc(LPTR, SIZE_T(-1)))); }

}  // namespace
