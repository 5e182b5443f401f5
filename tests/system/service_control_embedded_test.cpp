// The waits of start and stop on the machine's own clock, dependents, failing calls and the service programs' switches.
#include "instalib/service.h"
#include "platform/embedded/control/files.h"
#include "platform/embedded/control/services.h"
#include "platform/embedded/control/system.h"
#include "tests/support/faults.h"

namespace control = embedded::control;

namespace {

constexpr char kServices[] = "SYSTEM\\CurrentControlSet\\Services\\";
enum State : DWORD { kStopped = 1, kStartPending, kStopPending, kRunning };

class ServiceControl : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        control::UseManualClock(true);
        Install("Main", nullptr);
    }
    static void Install(const char* name, const char* dependencies) {
        ASSERT_NE(CService::InstallService(name, name, "C:\\S.EXE", 0x10, 3, "", dependencies, nullptr, nullptr), 0)
            << GetLastError();
    }
    static void ScriptStart(const control::TransitionScript& start, DWORD interrogateError = 0) {
        control::ServiceScript script;
        script.start = start;
        script.interrogateError = interrogateError;
        control::ScriptService("Main", script);
    }
    static void ScriptStop(const control::TransitionScript& stop) {
        control::ServiceScript script;
        script.stop = stop;
        control::ScriptService("Main", script);
    }
    static control::TransitionScript Pending(const std::vector<control::PendingStep>& steps, bool hangs = false) {
        control::TransitionScript transition;
        transition.steps = steps;
        transition.hangs = hangs;
        return transition;
    }
    static control::TransitionScript Failing(DWORD error) {
        control::TransitionScript transition;
        transition.error = error;
        return transition;
    }
    static std::uint64_t Slept() { return control::SleptMilliseconds(); }
};

TEST_F(ServiceControl, StartWithoutWaitIsDoneOnceTheManagerHasTakenIt) {
    ScriptStart(Pending({{1, 5000, 60000}}));
    EXPECT_NE(CService::StartServiceA("Main", 0), 0);
    EXPECT_EQ(Slept(), 0u);
    EXPECT_EQ(control::ServiceState("Main"), kStartPending);
    EXPECT_NE(CService::StartServiceA("Main", 1), 0) << "already running counts as started";
}

TEST_F(ServiceControl, WaitingStartSleepsOneHintPerCheckPoint) {
    ScriptStart(Pending({{1, 2000, 1500}, {2, 3000, 2500}}));
    EXPECT_NE(CService::StartServiceA("Main", 1), 0) << GetLastError();
    EXPECT_EQ(control::ServiceState("Main"), kRunning);
    EXPECT_EQ(Slept(), 5000u);
}

TEST_F(ServiceControl, WaitingStartEndsWhenTheCheckPointStands) {
    ScriptStart(Pending({{7, 4000, 1}}, true));
    EXPECT_NE(CService::StartServiceA("Main", 1), 0) << "still starting is success";
    EXPECT_EQ(Slept(), 4000u);
}

TEST_F(ServiceControl, AStartThatFailsTellsWhyAndOneThatIsNotInterrogatedIsQueried) {
    control::TransitionScript start = Pending({{1, 1000, 500}});
    start.exitCode = 1067;
    ScriptStart(start);
    EXPECT_TRUE(FailsWith(1067u, CService::StartServiceA("Main", 1)));
    ScriptStart(Failing(1053));
    EXPECT_TRUE(FailsWith(1053u, CService::StartServiceA("Main", 1)));
    ScriptStart(Pending({}), 1061);
    EXPECT_NE(CService::StartServiceA("Main", 1), 0) << GetLastError();
}

TEST_F(ServiceControl, StopWaitsAtMostItsHintInSecondsAndOneMore) {
    const struct {
        DWORD hint;
        std::uint64_t slept;
    } cases[] = {{0, 2000}, {999, 2000}, {3999, 4000}};
    for (const auto& expected : cases) {
        // A service that hangs never goes away again, so each case has its own.
        const std::string name = "Hanging" + std::to_string(expected.hint);
        SCOPED_TRACE(name);
        Install(name.c_str(), nullptr);
        control::ServiceScript script;
        script.stop = Pending({{1, expected.hint, 1}}, true);
        control::ScriptService(name, script);
        ASSERT_NE(CService::StartServiceA(name.c_str(), 1), 0);
        const std::uint64_t before = Slept();
        EXPECT_TRUE(FailsWith(ERROR_SERVICE_REQUEST_TIMEOUT, CService::StopService(name.c_str(), 1, 0)));
        EXPECT_EQ(Slept() - before, expected.slept);
        EXPECT_NE(CService::StopService(name.c_str(), 1, 0), 0) << "one that is stopping already is success at once";
        EXPECT_EQ(Slept() - before, expected.slept);
    }
}

TEST_F(ServiceControl, StopWaitsUntilTheServiceHasStopped) {
    ScriptStop(Pending({{1, 9000, 2500}}));
    ASSERT_NE(CService::StartServiceA("Main", 1), 0);
    EXPECT_NE(CService::StopService("Main", 1, 0), 0) << GetLastError();
    EXPECT_EQ(Slept(), 3000u);
    EXPECT_NE(CService::IsStopped("Main"), 0);
}

TEST_F(ServiceControl, StopKeepsTheErrorOfAQueryThatFails) {
    ScriptStop(Pending({{1, 9000, 2500}}));
    ASSERT_NE(CService::StartServiceA("Main", 1), 0);
    control::FailCall(control::CallKind::Service, 5, ERROR_ACCESS_DENIED);
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, CService::StopService("Main", 1, 0)));
    EXPECT_EQ(control::FaultedCall(), "QueryServiceStatus");
    EXPECT_EQ(Slept(), 1000u);
}

TEST_F(ServiceControl, StopWithoutWaitNeedsTheControlsAnswerToSayStopped) {
    Install("Prompt", nullptr);
    ASSERT_NE(CService::StartServiceA("Prompt", 1), 0);
    EXPECT_NE(CService::StopService("Prompt", 0, 0), 0) << "it stopped at once";
    ScriptStop(Pending({{1, 9000, 2500}}));
    ASSERT_NE(CService::StartServiceA("Main", 1), 0);
    EXPECT_EQ(CService::StopService("Main", 0, 0), 0);
    EXPECT_EQ(control::ServiceState("Main"), kStopPending);
    EXPECT_NE(CService::IsStarted("Main"), 0) << "anything but stopped counts as started";
}

TEST_F(ServiceControl, RunningDependentsRefuseTheStopUnlessTheyMayBeStopped) {
    Install("Child", "Main\0");
    ASSERT_NE(CService::StartServiceA("Main", 1), 0);
    ASSERT_NE(CService::StartServiceA("Child", 1), 0);
    EXPECT_TRUE(FailsWith(ERROR_DEPENDENT_SERVICES_RUNNING, CService::StopService("Main", 1, 0)));
    EXPECT_EQ(control::ServiceState("Child"), kRunning);
    EXPECT_NE(CService::StopService("Main", 1, 1), 0) << GetLastError();
    EXPECT_EQ(control::ServiceState("Child"), kStopped);
}

TEST_F(ServiceControl, OnlyExactDirectDependentsAreHandled) {
    const struct {
        const char* name;
        std::string list;
        DWORD state;
    } cases[] = {
        {"Listed", std::string("Other\0Main\0\0", 12), kRunning},
        {"OtherCase", std::string("MAIN\0\0", 6), kStopped},
        {"Grandchild", std::string("Listed\0\0", 8), kStopped},
        {"Unterminated", std::string("x\0Main", 6), kRunning},
        {"Fits", std::string(249, 'y') + std::string("\0Main\0\0", 7), kRunning},
        {"TooLong", std::string(250, 'y') + std::string("\0Main\0\0", 7), kStopped},
        {"Prefix", std::string("Main2\0\0", 7), kStopped},
        {"Ended", std::string("x\0\0Main\0\0", 9), kStopped},
    };
    for (const auto& service : cases) {
        Install(service.name, nullptr);
        SetRaw(std::string(kServices) + service.name, "DependOnService", REG_MULTI_SZ,
               TestBytes(service.list.begin(), service.list.end()));
    }
    // What the lists name beside the service need not exist for the walk; the manager starts a service only with them.
    Install("Other", nullptr);
    Install("x", nullptr);
    Install(std::string(249, 'y').c_str(), nullptr);
    ASSERT_NE(CService::StartDependentServices("Main", 1), 0) << GetLastError();
    for (const auto& service : cases) EXPECT_EQ(control::ServiceState(service.name), service.state) << service.name;
}

TEST_F(ServiceControl, AFailingDependentDoesNotKeepTheOthersFromStarting) {
    Install("A", "Main\0");
    Install("B", "Main\0");
    control::ServiceScript refusing;
    refusing.start = Failing(1053);
    control::ScriptService("A", refusing);
    EXPECT_TRUE(FailsWith(1053u, CService::StartDependentServices("Main", 1)));
    EXPECT_EQ(control::ServiceState("B"), kRunning);
}

TEST_F(ServiceControl, AMarkedServiceCountsAsRemoved) {
    {
        const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
        const ServiceHandle open(OpenServiceA(manager.Get(), "Main", SERVICE_QUERY_STATUS));
        ASSERT_NE(CService::StartServiceA("Main", 1), 0);
        EXPECT_NE(CService::RemoveService("Main"), 0);
        EXPECT_NE(CService::RemoveService("Main"), 0) << GetLastError();
        EXPECT_EQ(control::ServiceState("Main"), kStopped);
    }
    EXPECT_EQ(CService::ServiceExists("Main"), 0);
}

TEST_F(ServiceControl, ASystemWithoutDescriptionsSkipsThemAndATrailByteIsNoBackslash) {
    control::HideEntryPoint("advapi32.dll", "ChangeServiceConfig2A");
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_LOCK));
    EXPECT_NE(ChangeServiceInfo(manager.Get(), "Main", "Renamed", "text"), 0) << GetLastError();
    EXPECT_EQ(GetText(std::string(kServices) + "Main", "Description"), "<none>");
    ASSERT_TRUE(control::SetCodePage(932));
    const CService service("Double", "S.EXE", nullptr, 0x10, nullptr);
    ASSERT_NE(service.InstallService("C:\\\x95\\", 2, nullptr, nullptr), 0) << GetLastError();
    EXPECT_EQ(GetText(std::string(kServices) + "Double", "ImagePath"), "\"C:\\\x95\\\\S.EXE\"");
}

// Every call fails once: the operation says so with that error, and nothing stays open.
TEST_F(ServiceControl, EveryFailingCallIsReportedAndLeavesNothingOpen) {
    const struct {
        const char* name;
        int (*run)();
    } operations[] = {
        {"InstallService",
         [] { return CService::InstallService("New", "New", "C:\\N.EXE", 16, 3, "", nullptr, nullptr, nullptr); }},
        {"ChangeService",
         [] { return CService::ChangeService("Main", "M", nullptr, 16, 3, "", nullptr, nullptr, nullptr); }},
        {"StartServiceA", [] { return CService::StartServiceA("Main", 0); }},
    };
    for (const auto& operation : operations) {
        SCOPED_TRACE(operation.name);
        const auto check = [](int result, DWORD error, const std::string& call) {
            const bool isCloser = call.starts_with("Close");
            EXPECT_EQ(result != 0, call.empty() || isCloser);
            EXPECT_TRUE(call.empty() || isCloser || error == ERROR_ACCESS_DENIED) << error;
            CService::StopService("Main", 0, 0);
            CService::RemoveService("New");
        };
        ForEachFault(control::CallKind::Service, ERROR_ACCESS_DENIED, operation.run, check);
    }
}

TEST_F(ServiceControl, AProgramIsRunWithItsSwitch) {
    const std::string program = Folder() + "\\SERVICE.EXE";
    WriteBytes(program, "#!/bin/sh\nprintf '%s' \"$1\" > \"$0.out.new\" && mv \"$0.out.new\" \"$0.out\"\n");
    std::filesystem::permissions(control::HostPath(program), std::filesystem::perms::owner_all);
    const struct {
        int (*run)(const char*);
        const char* option;
    } cases[] = {{InstallServiceByCmdLine, "-install"},
                 {RemoveServiceByCmdLine, "-remove"},
                 {StartServiceByCmdLine, "-start"},
                 {StopServiceByCmdLine, "-stop"}};
    control::UseManualClock(false);
    for (const auto& expected : cases) {
        std::filesystem::remove(control::HostPath(program + ".out"));
        EXPECT_NE(expected.run(program.c_str()), 0) << GetLastError();
        for (int i = 0; i < 500 && !FileExists(program + ".out"); ++i) Sleep(10);
        EXPECT_EQ(ReadBytes(program + ".out"), expected.option);
    }
    EXPECT_TRUE(FailsWith(ERROR_FILENAME_EXCED_RANGE, InstallServiceByCmdLine(std::string(261, 'x').c_str())));
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND, InstallServiceByCmdLine("C:\\MISSING.EXE")));
}

}  // namespace
