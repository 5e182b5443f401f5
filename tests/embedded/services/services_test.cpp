// Services as only the embedded machine can show them: scripted transitions, killed processes, other machines, logons.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "platform/embedded/control/accounts.h"
#include "platform/embedded/control/services.h"
#include "tests/support/fresh_machine.h"

namespace control = embedded::control;

namespace {

constexpr char kName[] = "Engine";

class ServiceMachineTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        control::UseManualClock(true);
        m_manager = ServiceHandle(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
        ASSERT_TRUE(m_manager);
    }
    void TearDown() override {
        m_manager.Reset();
        FreshMachine::TearDown();
    }
    SC_HANDLE Manager() const { return m_manager.Get(); }
    ServiceHandle Create(const char* name = kName, const char* account = nullptr, const char* password = nullptr,
                         const char* dependencies = nullptr) const {
        return ServiceHandle(CreateServiceA(Manager(), name, nullptr, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                            SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, "C:\\ENGINE.EXE", nullptr,
                                            nullptr, dependencies, account, password));
    }
    // A service that has been started by this script.
    ServiceHandle Started(const control::ServiceScript& script) const {
        control::ScriptService(kName, script);
        ServiceHandle service = Create();
        EXPECT_EQ(Start(service), 0u);
        return service;
    }
    bool Exists(const char* name = kName) const {
        return bool(ServiceHandle(OpenServiceA(Manager(), name, SERVICE_QUERY_STATUS)));
    }
    static SERVICE_STATUS StatusOf(const ServiceHandle& service) {
        SERVICE_STATUS status{};
        EXPECT_TRUE(QueryServiceStatus(service.Get(), &status));
        return status;
    }
    // "state/check point/wait hint"
    static std::string Seen(const ServiceHandle& service) {
        const SERVICE_STATUS status = StatusOf(service);
        return std::to_string(status.dwCurrentState) + '/' + std::to_string(status.dwCheckPoint) + '/' +
               std::to_string(status.dwWaitHint);
    }
    static DWORD Start(const ServiceHandle& service) {
        return StartServiceA(service.Get(), 0, nullptr) ? 0 : GetLastError();
    }
    static DWORD Send(const ServiceHandle& service, DWORD control) {
        SERVICE_STATUS status{};
        return ControlService(service.Get(), control, &status) ? 0 : GetLastError();
    }

  private:
    ServiceHandle m_manager;
};

TEST_F(ServiceMachineTest, PendingStepsFollowTheMachinesClock) {
    control::ServiceScript script;
    script.start.steps = {{1, 500, 400}, {2, 900, 600}};
    script.stop.steps = {{7, 2000, 1000}};
    const ServiceHandle service = Started(script);
    EXPECT_EQ(Seen(service), "2/1/500");
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_ALREADY_RUNNING));
    control::AdvanceClock(400);
    EXPECT_EQ(Seen(service), "2/2/900");
    control::AdvanceClock(599);
    EXPECT_EQ(Seen(service), "2/2/900");
    control::AdvanceClock(1);
    EXPECT_EQ(Seen(service), "4/0/0");
    ASSERT_EQ(Send(service, SERVICE_CONTROL_STOP), 0u);
    EXPECT_EQ(Seen(service), "3/7/2000");
    control::AdvanceClock(1000);
    EXPECT_EQ(Seen(service), "1/0/0");
}

TEST_F(ServiceMachineTest, PendingServiceTellsItsStatusButTakesNoControl) {
    control::ServiceScript script;
    script.start.steps = {{3, 500, 400}};
    const ServiceHandle service = Started(script);
    SERVICE_STATUS status{};
    EXPECT_TRUE(FailsWith(ERROR_SERVICE_CANNOT_ACCEPT_CTRL,
                          ControlService(service.Get(), SERVICE_CONTROL_INTERROGATE, &status)));
    EXPECT_EQ(status.dwCurrentState, SERVICE_START_PENDING);
    EXPECT_EQ(status.dwCheckPoint, 3u);
    EXPECT_EQ(Send(service, SERVICE_CONTROL_STOP), DWORD(ERROR_SERVICE_CANNOT_ACCEPT_CTRL));
}

TEST_F(ServiceMachineTest, HungServiceStandsForEver) {
    control::ServiceScript script;
    script.start.steps = {{1, 100, 100}, {2, 100, 100}};
    script.start.hangs = true;
    const ServiceHandle service = Started(script);
    control::AdvanceClock(100'000'000);
    EXPECT_EQ(Seen(service), "2/2/100");
}

TEST_F(ServiceMachineTest, ScriptedFailuresAreTheCallsOwnErrors) {
    control::ServiceScript script;
    script.start.error = ERROR_SERVICE_REQUEST_TIMEOUT;
    control::ScriptService(kName, script);
    const ServiceHandle service = Create();
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_REQUEST_TIMEOUT));
    EXPECT_EQ(StatusOf(service).dwCurrentState, SERVICE_STOPPED);

    script = {};
    script.start.exitCode = ERROR_SERVICE_SPECIFIC_ERROR;
    control::ScriptService(kName, script);
    EXPECT_EQ(Start(service), 0u);
    EXPECT_EQ(StatusOf(service).dwCurrentState, SERVICE_STOPPED);
    EXPECT_EQ(StatusOf(service).dwWin32ExitCode, DWORD(ERROR_SERVICE_SPECIFIC_ERROR));

    script = {};
    script.controlsAccepted = 0;
    script.interrogateError = ERROR_SERVICE_REQUEST_TIMEOUT;
    control::ScriptService(kName, script);
    EXPECT_EQ(Start(service), 0u);
    EXPECT_EQ(Send(service, SERVICE_CONTROL_STOP), DWORD(ERROR_INVALID_SERVICE_CONTROL));
    EXPECT_EQ(Send(service, SERVICE_CONTROL_INTERROGATE), DWORD(ERROR_SERVICE_REQUEST_TIMEOUT));
    EXPECT_EQ(control::ServiceState(kName), SERVICE_RUNNING);
}

TEST_F(ServiceMachineTest, DeletedRunningServiceGoesOnceItHasStopped) {
    ServiceHandle service = Create();
    ASSERT_EQ(Start(service), 0u);
    ASSERT_TRUE(DeleteService(service.Get()));
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_MARKED_FOR_DELETE));
    service.Reset();
    ASSERT_TRUE(Exists());
    service = ServiceHandle(OpenServiceA(Manager(), kName, SERVICE_STOP));
    ASSERT_EQ(Send(service, SERVICE_CONTROL_STOP), 0u);
    service.Reset();
    EXPECT_FALSE(Exists());
}

// Runs `body` in a process that is killed while it holds what it took.
template <class Body>
void InKilledProcess(Body body) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        const bool done = body();
        const ssize_t written = write(ready[1], done ? "1" : "0", 1);
        static_cast<void>(written);
        pause();
        _exit(1);
    }
    char done = '0';
    ASSERT_EQ(read(ready[0], &done, 1), 1);
    close(ready[0]);
    close(ready[1]);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(done, '1');
}

TEST_F(ServiceMachineTest, LockTellsItsOwnerAndGoesWithAKilledProcess) {
    ASSERT_TRUE(Create());
    InKilledProcess([&] {
        const SC_HANDLE service = OpenServiceA(Manager(), kName, SERVICE_ALL_ACCESS);
        return service != nullptr && DeleteService(service) && LockServiceDatabase(Manager()) != nullptr;
    });
    EXPECT_TRUE(FailsWith(ERROR_SERVICE_DOES_NOT_EXIST, Exists()));
    EXPECT_TRUE(ServiceDatabaseLock(LockServiceDatabase(Manager())));
    const ServiceDatabaseLock lock(LockServiceDatabase(Manager()));
    control::AdvanceClock(5000);
    alignas(QUERY_SERVICE_LOCK_STATUSA) BYTE buffer[128] = {};
    auto* const status = reinterpret_cast<LPQUERY_SERVICE_LOCK_STATUSA>(buffer);
    DWORD needed = 0;
    EXPECT_TRUE(
        FailsWith(ERROR_INSUFFICIENT_BUFFER, QueryServiceLockStatusA(Manager(), status, sizeof *status, &needed)));
    ASSERT_TRUE(QueryServiceLockStatusA(Manager(), status, needed, &needed));
    EXPECT_EQ(status->fIsLocked, 1u);
    EXPECT_STREQ(status->lpLockOwner, "Administrator");
    EXPECT_EQ(status->dwLockDuration, 5u);
}

TEST_F(ServiceMachineTest, ServiceLogsOnWithItsAccountsPasswordOfToday) {
    std::u16string name = u"engine", password = u"secret";
    USER_INFO_1 user{};
    user.usri1_name = name.data();
    user.usri1_password = password.data();
    user.usri1_priv = USER_PRIV_USER;
    ASSERT_EQ(NetUserAdd(nullptr, 1, reinterpret_cast<LPBYTE>(&user), nullptr), 0u);
    const ServiceHandle service = Create(kName, ".\\engine", "secret");
    ASSERT_TRUE(service) << GetLastError();
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_LOGON_FAILED)) << "the right to log on as a service is missing";

    std::u16string member = u"TESTPC\\engine", group = u"Backup Operators";
    LOCALGROUP_MEMBERS_INFO_3 entry{member.data()};
    ASSERT_EQ(NetLocalGroupAddMembers(nullptr, group.data(), 3, reinterpret_cast<LPBYTE>(&entry), 1), 0u);
    LSA_OBJECT_ATTRIBUTES attributes{};
    PolicyHandle policy, account;
    ASSERT_EQ(LsaOpenPolicy(nullptr, &attributes, POLICY_ALL_ACCESS, policy.Receive()), 0);
    BYTE operators[] = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x27, 2, 0, 0};
    ASSERT_EQ(LsaOpenAccount(policy.Get(), operators, MAXIMUM_ALLOWED, account.Receive()), 0);
    ASSERT_EQ(LsaSetSystemAccessAccount(account.Get(), 23), 0);
    EXPECT_EQ(Start(service), 0u);
    EXPECT_EQ(Send(service, SERVICE_CONTROL_STOP), 0u);

    std::u16string changed = u"changed";
    ASSERT_EQ(NetUserChangePassword(nullptr, name.data(), password.data(), changed.data()), 0u);
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_LOGON_FAILED));
    ASSERT_TRUE(ChangeServiceConfigA(service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, nullptr,
                                     nullptr, nullptr, nullptr, ".\\engine", "changed", nullptr));
    EXPECT_EQ(Start(service), 0u);
}

TEST_F(ServiceMachineTest, RegistryChangesShowAtTheNextQueryAndACircleDoesNotStart) {
    const ServiceHandle service = Create();
    const std::string key = std::string("SYSTEM\\CurrentControlSet\\Services\\") + kName;
    SetNumber(key, "Start", SERVICE_DISABLED);
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_DISABLED));
    // A key that is no service is none; one that somebody wrote as a service is.
    MakeKey("SYSTEM\\CurrentControlSet\\Services\\Other");
    EXPECT_FALSE(Exists("Other"));
    SetNumber("SYSTEM\\CurrentControlSet\\Services\\Other", "Type", SERVICE_WIN32_OWN_PROCESS);
    EXPECT_TRUE(Exists("other"));
    const ServiceHandle first = Create("First"), second = Create("Second");
    const std::string services = "SYSTEM\\CurrentControlSet\\Services\\";
    const auto require = [&](const char* name, std::string_view needed) {
        TestBytes list(needed.begin(), needed.end());
        list.insert(list.end(), 2, 0);
        SetRaw(services + name, "DependOnService", 7, list);
    };
    require("First", "Second");
    require("Second", "First");
    EXPECT_EQ(Start(first), DWORD(ERROR_SERVICE_DEPENDENCY_FAIL));
    EXPECT_EQ(Send(second, SERVICE_CONTROL_STOP), DWORD(ERROR_SERVICE_NOT_ACTIVE));
}

TEST_F(ServiceMachineTest, OtherMachinesHaveServicesOfTheirOwn) {
    AddMachine("FARPC");
    const ServiceHandle far(OpenSCManagerA("\\\\farpc", nullptr, SC_MANAGER_ALL_ACCESS));
    ASSERT_TRUE(far);
    ASSERT_TRUE(ServiceHandle(CreateServiceA(far.Get(), kName, nullptr, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                             SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, "C:\\X.EXE", nullptr, nullptr,
                                             nullptr, nullptr, nullptr)));
    EXPECT_FALSE(Exists());
    EXPECT_TRUE(
        FailsWith(RPC_S_SERVER_UNAVAILABLE, ServiceHandle(OpenSCManagerA("NOPC", nullptr, SC_MANAGER_CONNECT))));
}

TEST_F(ServiceMachineTest, EnumerationDeliversInPartsWhatDoesNotFit) {
    DWORD needed = 0, returned = 0, resume = 0;
    EXPECT_TRUE(FailsWith(ERROR_MORE_DATA, EnumServicesStatusA(Manager(), SERVICE_WIN32, SERVICE_STATE_ALL, nullptr, 0,
                                                               &needed, &returned, &resume)));
    const DWORD all = needed;
    std::vector<std::string> names;
    alignas(ENUM_SERVICE_STATUSA) BYTE buffer[256];
    for (bool more = true; more;) {
        more = !EnumServicesStatusA(Manager(), SERVICE_WIN32, SERVICE_STATE_ALL,
                                    reinterpret_cast<LPENUM_SERVICE_STATUSA>(buffer), sizeof buffer, &needed, &returned,
                                    &resume);
        ASSERT_TRUE(!more || GetLastError() == ERROR_MORE_DATA);
        ASSERT_TRUE(!more || returned != 0);
        EXPECT_TRUE(!more || needed < all) << "what the rest needs";
        for (DWORD i = 0; i < returned; ++i)
            names.emplace_back(reinterpret_cast<LPENUM_SERVICE_STATUSA>(buffer)[i].lpServiceName);
    }
    EXPECT_THAT(names, testing::IsSupersetOf({"EventLog", "LanmanServer", "RpcSs", "Spooler"}));
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end(), [](const auto& left, const auto& right) {
        return strcasecmp(left.c_str(), right.c_str()) < 0;
    }));
    EXPECT_THAT(names, testing::Not(testing::Contains("Tcpip"))) << "a driver";
}

TEST_F(ServiceMachineTest, DependentsAreToldBeforeWhatTheyNeed) {
    const ServiceHandle base = Create("Base"), middle = Create("Middle", nullptr, nullptr, "Base\0"),
                        top = Create("Top", nullptr, nullptr, "Middle\0");
    ASSERT_EQ(Start(top), 0u);
    alignas(ENUM_SERVICE_STATUSA) BYTE buffer[1024];
    const auto* const records = reinterpret_cast<LPENUM_SERVICE_STATUSA>(buffer);
    DWORD needed = 0, returned = 0;
    ASSERT_TRUE(EnumDependentServicesA(base.Get(), SERVICE_ACTIVE, reinterpret_cast<LPENUM_SERVICE_STATUSA>(buffer),
                                       sizeof buffer, &needed, &returned));
    ASSERT_EQ(returned, 2u);
    EXPECT_STREQ(records[0].lpServiceName, "Top");
    EXPECT_STREQ(records[1].lpServiceName, "Middle");
}

TEST_F(ServiceMachineTest, UserWhoIsNoAdministratorMayOnlyLook) {
    ASSERT_TRUE(Create());
    std::u16string name = u"plain";
    USER_INFO_1 user{};
    user.usri1_name = name.data();
    user.usri1_priv = USER_PRIV_USER;
    ASSERT_EQ(NetUserAdd(nullptr, 1, reinterpret_cast<LPBYTE>(&user), nullptr), 0u);
    ASSERT_TRUE(control::SetCurrentUser("plain"));
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, ServiceHandle(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS))));
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
    ASSERT_TRUE(manager);
    EXPECT_TRUE(ServiceHandle(OpenServiceA(manager.Get(), kName, SERVICE_QUERY_STATUS)));
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, ServiceHandle(OpenServiceA(manager.Get(), kName, SERVICE_ALL_ACCESS))));
}

}  // namespace
