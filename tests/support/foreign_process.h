// Another process, started on the test's machine: see tests/product_libs/foreign_program.cpp for what it can do.
#ifndef INSTALIB_TESTS_FOREIGN_PROCESS_H
#define INSTALIB_TESTS_FOREIGN_PROCESS_H

#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

class ForeignProcess {
  public:
    // Starts it with these arguments and waits until it is set up; FOREIGN.EXE stands in `folder` already.
    ForeignProcess(const std::string& folder, const std::string& arguments, bool waits = true) {
        const std::string ready = folder + "\\READY.TXT";
        DeleteFileA(ready.c_str());
        std::string line = folder + "\\FOREIGN.EXE " + ready + " " + arguments;
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION information{};
        EXPECT_TRUE(
            CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &information))
            << GetLastError();
        m_process.Reset(information.hProcess);
        const KernelHandle thread(information.hThread);
        for (int i = 0; waits && i < 1500; ++i) {
            if (GetFileAttributesA(ready.c_str()) != INVALID_FILE_ATTRIBUTES) return;
            Sleep(20);
        }
        EXPECT_FALSE(waits) << "it is not set up";
    }
    ~ForeignProcess() { Kill(); }
    ForeignProcess(const ForeignProcess&) = delete;
    ForeignProcess& operator=(const ForeignProcess&) = delete;

    bool IsRunning() const { return WaitForSingleObject(m_process.Get(), 0) == WAIT_TIMEOUT; }
    // Whether it has ended by itself within half a minute.
    bool Ends() const { return WaitForSingleObject(m_process.Get(), 30'000) == WAIT_OBJECT_0; }
    void Kill() {
        TerminateProcess(m_process.Get(), 1);
        WaitForSingleObject(m_process.Get(), 10'000);
    }

  private:
    KernelHandle m_process;
};

#endif
