// The service control manager as Windows runs it.
#include "tests/support/fresh_machine.h"

namespace {

constexpr char kName[] = "InstalibTest";
constexpr char kOther[] = "InstalibTest2";
const std::string kServiceKey = std::string("SYSTEM\\CurrentControlSet\\Services\\") + kName;

std::string ProgramPath() {
#ifdef _WIN32
    char self[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, self, MAX_PATH);
    const std::string path = self;
    return '"' + path.substr(0, path.rfind('\\')) + "\\product_libs\\test_service.exe\"";
#else
    return "\"C:\\TEST\\test_service.exe\"";
#endif
}

class ServicesTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        m_manager = ServiceHandle(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
        ASSERT_TRUE(m_manager);
        for (const char* name : {kName, kOther}) Remove(name);
    }
    void TearDown() override {
        for (const char* name : {kOther, kName}) Remove(name);
        m_manager.Reset();
        FreshMachine::TearDown();
    }

    SC_HANDLE Manager() const { return m_manager.Get(); }
    ServiceHandle Open(const char* name, DWORD rights = SERVICE_ALL_ACCESS) const {
        return ServiceHandle(OpenServiceA(Manager(), name, rights));
    }
    ServiceHandle Create(const char* name, const char* displayName = nullptr, const char* dependencies = nullptr,
                         const char* account = nullptr) const {
        return ServiceHandle(CreateServiceA(Manager(), name, displayName, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                            SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, ProgramPath().c_str(), "Group",
                                            nullptr, dependencies, account, nullptr));
    }
    void Remove(const char* name) const {
        const ServiceHandle service = Open(name);
        if (!service) return;
        SERVICE_STATUS status{};
        if (ControlService(service.Get(), SERVICE_CONTROL_STOP, &status)) WaitFor(service, SERVICE_STOPPED);
        DeleteService(service.Get());
    }
    static SERVICE_STATUS StatusOf(const ServiceHandle& service) {
        SERVICE_STATUS status{};
        EXPECT_TRUE(QueryServiceStatus(service.Get(), &status)) << GetLastError();
        return status;
    }
    static bool WaitFor(const ServiceHandle& service, DWORD state) {
        for (int i = 0; i < 100 && StatusOf(service).dwCurrentState != state; ++i) Sleep(50);
        return StatusOf(service).dwCurrentState == state;
    }
    static DWORD Send(const ServiceHandle& service, DWORD control) {
        SERVICE_STATUS status{};
        return ControlService(service.Get(), control, &status) ? 0 : GetLastError();
    }
    static DWORD Start(const ServiceHandle& service) {
        return StartServiceA(service.Get(), 0, nullptr) ? 0 : GetLastError();
    }
    static DWORD Rename(const ServiceHandle& service, const char* displayName) {
        return ChangeServiceConfigA(service.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, nullptr, displayName)
                   ? 0
                   : GetLastError();
    }

  private:
    ServiceHandle m_manager;
};

TEST_F(ServicesTest, DatabaseAndNamesAreCheckedBeforeAnyServiceIsLookedFor) {
    EXPECT_TRUE(FailsWith(ERROR_INVALID_NAME, ServiceHandle(OpenSCManagerA(nullptr, "Nonsense", SC_MANAGER_CONNECT))));
    EXPECT_TRUE(FailsWith(ERROR_DATABASE_DOES_NOT_EXIST,
                          ServiceHandle(OpenSCManagerA(nullptr, "ServicesFailed", SC_MANAGER_CONNECT))));
    EXPECT_TRUE(ServiceHandle(OpenSCManagerA("", SERVICES_ACTIVE_DATABASEA, SC_MANAGER_CONNECT)));
    const struct {
        const char* name;
        DWORD error;
    } cases[] = {{"InstalibNobody", ERROR_SERVICE_DOES_NOT_EXIST},
                 {"", ERROR_INVALID_NAME},
                 {"a/b", ERROR_INVALID_NAME},
                 {"a\\b", ERROR_INVALID_NAME},
                 {nullptr, ERROR_INVALID_ADDRESS}};
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name == nullptr ? "null" : one.name);
        EXPECT_TRUE(FailsWith(one.error, Open(one.name)));
    }
    EXPECT_TRUE(FailsWith(ERROR_INVALID_NAME, Create("a/b")));
}

TEST_F(ServicesTest, CreationRefusesSettingsThatNoServiceHas) {
    const std::string path = ProgramPath();
    const struct {
        const char* what;
        DWORD type, startType;
        const char* path;
        DWORD error;
    } cases[] = {{"no type", 0, SERVICE_DEMAND_START, path.c_str(), ERROR_INVALID_PARAMETER},
                 {"unknown start", SERVICE_WIN32_OWN_PROCESS, 9, path.c_str(), ERROR_INVALID_PARAMETER},
                 {"empty path", SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, "", ERROR_INVALID_PARAMETER},
                 {"no path", SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, nullptr, ERROR_INVALID_ADDRESS}};
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        const ServiceHandle service(CreateServiceA(Manager(), kName, nullptr, SERVICE_ALL_ACCESS, one.type,
                                                   one.startType, SERVICE_ERROR_NORMAL, one.path, nullptr, nullptr,
                                                   nullptr, nullptr, nullptr));
        EXPECT_FALSE(service);
        EXPECT_EQ(GetLastError(), one.error);
    }
    EXPECT_FALSE(Open(kName));
}

TEST_F(ServicesTest, ConfigurationTellsTheSizeItNeeds) {
    const ServiceHandle service = Create(kName, "Instalib test");
    ASSERT_TRUE(service);
    DWORD needed = 0;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, QueryServiceConfigA(service.Get(), nullptr, 0, &needed)));
    ASSERT_GT(needed, sizeof(QUERY_SERVICE_CONFIGA));
    std::vector<std::max_align_t> buffer(needed / sizeof(std::max_align_t) + 1);
    auto* const config = reinterpret_cast<LPQUERY_SERVICE_CONFIGA>(buffer.data());
    EXPECT_TRUE(
        FailsWith(ERROR_INSUFFICIENT_BUFFER, QueryServiceConfigA(service.Get(), config, sizeof *config, &needed)));
    ASSERT_TRUE(QueryServiceConfigA(service.Get(), config, needed, &needed)) << GetLastError();
    EXPECT_EQ(config->dwServiceType, SERVICE_WIN32_OWN_PROCESS);
    EXPECT_EQ(config->dwStartType, SERVICE_DEMAND_START);
    EXPECT_EQ(config->lpBinaryPathName, ProgramPath());
    EXPECT_STREQ(config->lpLoadOrderGroup, "Group");
    EXPECT_STREQ(config->lpServiceStartName, "LocalSystem");
    EXPECT_STREQ(config->lpDisplayName, "Instalib test");
}

TEST_F(ServicesTest, ServiceStartsAnswersAndStopsUnlessItIsDisabled) {
    const ServiceHandle service = Create(kName);
    ASSERT_TRUE(service);
    EXPECT_EQ(StatusOf(service).dwCurrentState, SERVICE_STOPPED);
    EXPECT_EQ(StatusOf(service).dwWin32ExitCode, DWORD(ERROR_SERVICE_NEVER_STARTED));
    EXPECT_EQ(Send(service, SERVICE_CONTROL_STOP), DWORD(ERROR_SERVICE_NOT_ACTIVE));
    EXPECT_EQ(Send(service, SERVICE_CONTROL_INTERROGATE), DWORD(ERROR_SERVICE_NOT_ACTIVE));
    EXPECT_EQ(Send(service, 99999), DWORD(ERROR_INVALID_PARAMETER));

    ASSERT_EQ(Start(service), 0u);
    ASSERT_TRUE(WaitFor(service, SERVICE_RUNNING));
    EXPECT_EQ(StatusOf(service).dwControlsAccepted, SERVICE_ACCEPT_STOP);
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_ALREADY_RUNNING));
    EXPECT_EQ(Send(service, SERVICE_CONTROL_INTERROGATE), 0u);
    EXPECT_EQ(Send(service, SERVICE_CONTROL_PAUSE), DWORD(ERROR_INVALID_SERVICE_CONTROL));
    const ServiceHandle stopper = Open(kName, SERVICE_STOP);
    EXPECT_EQ(Send(stopper, SERVICE_CONTROL_PAUSE), DWORD(ERROR_ACCESS_DENIED));

    ASSERT_EQ(Send(service, SERVICE_CONTROL_STOP), 0u);
    ASSERT_TRUE(WaitFor(service, SERVICE_STOPPED));
    EXPECT_EQ(StatusOf(service).dwWin32ExitCode, 0u);
    SERVICE_STATUS status{};
    EXPECT_FALSE(ControlService(service.Get(), SERVICE_CONTROL_STOP, &status));
    EXPECT_EQ(status.dwCurrentState, SERVICE_STOPPED);
    ASSERT_TRUE(ChangeServiceConfigA(service.Get(), SERVICE_NO_CHANGE, SERVICE_DISABLED, SERVICE_NO_CHANGE, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_DISABLED));
}

TEST_F(ServicesTest, ServiceIsKeptInTheRegistryItsNamesTakenOnceAndAChangeLeavesTheRest) {
    const ServiceHandle service = Create(kName, "Instalib test");
    ASSERT_TRUE(service) << GetLastError();
    EXPECT_EQ(GetNumber(kServiceKey, "Type"), SERVICE_WIN32_OWN_PROCESS);
    EXPECT_EQ(GetNumber(kServiceKey, "Start"), SERVICE_DEMAND_START);
    EXPECT_EQ(GetNumber(kServiceKey, "ErrorControl"), SERVICE_ERROR_NORMAL);
    EXPECT_EQ(GetText(kServiceKey, "ImagePath"), ProgramPath());
    EXPECT_EQ(GetText(kServiceKey, "DisplayName"), "Instalib test");
    EXPECT_EQ(GetText(kServiceKey, "Group"), "Group");
    EXPECT_EQ(GetText(kServiceKey, "ObjectName"), "LocalSystem");
    EXPECT_TRUE(FailsWith(ERROR_SERVICE_EXISTS, Create("INSTALIBTEST")));
    EXPECT_TRUE(FailsWith(ERROR_DUPLICATE_SERVICE_NAME, Create(kOther, "instalib TEST")));
    ASSERT_EQ(Rename(service, "Another name"), 0u) << GetLastError();
    EXPECT_EQ(GetText(kServiceKey, "DisplayName"), "Another name");
    EXPECT_EQ(GetText(kServiceKey, "ImagePath"), ProgramPath());
    EXPECT_EQ(GetText(kServiceKey, "Group"), "Group");
    EXPECT_EQ(GetNumber(kServiceKey, "Start"), SERVICE_DEMAND_START);
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER,
                          ChangeServiceConfigA(service.Get(), SERVICE_NO_CHANGE, 77, SERVICE_NO_CHANGE, nullptr,
                                               nullptr, nullptr, nullptr, nullptr, nullptr, nullptr)));
    SKIP_UNDER_WINE("ImagePath is written as REG_SZ");
    EXPECT_EQ(GetRaw(kServiceKey, "ImagePath")->type, DWORD(REG_EXPAND_SZ));
}

TEST_F(ServicesTest, DescriptionIsKeptUntilAnEmptyOneComes) {
    const ServiceHandle service = Create(kName);
    char text[] = "What it does";
    char none[] = "";
    const auto describe = [&](char* description) {
        SERVICE_DESCRIPTIONA info{description};
        return ChangeServiceConfig2A(service.Get(), SERVICE_CONFIG_DESCRIPTION, &info);
    };
    const auto description = [&]() -> std::string {
        alignas(SERVICE_DESCRIPTIONA) BYTE buffer[256] = {};
        DWORD needed = 0;
        EXPECT_TRUE(QueryServiceConfig2A(service.Get(), SERVICE_CONFIG_DESCRIPTION, buffer, sizeof buffer, &needed));
        const char* const found = reinterpret_cast<SERVICE_DESCRIPTIONA*>(buffer)->lpDescription;
        return found == nullptr ? "<none>" : found;
    };
    EXPECT_TRUE(describe(text));
    EXPECT_EQ(description(), "What it does");
    EXPECT_EQ(GetText(kServiceKey, "Description"), "What it does");
    EXPECT_TRUE(describe(nullptr));
    EXPECT_EQ(description(), "What it does");
    EXPECT_TRUE(describe(none));
    EXPECT_EQ(description(), "<none>");
}

TEST_F(ServicesTest, DeletedServiceStaysUntilItsLastHandleCloses) {
    ServiceHandle service = Create(kName);
    ASSERT_TRUE(DeleteService(service.Get()));
    EXPECT_TRUE(FailsWith(ERROR_SERVICE_MARKED_FOR_DELETE, DeleteService(service.Get())));
    EXPECT_TRUE(FailsWith(ERROR_SERVICE_MARKED_FOR_DELETE, Create(kName)));
    EXPECT_EQ(Rename(service, "Another name"), DWORD(ERROR_SERVICE_MARKED_FOR_DELETE));
    ServiceHandle second = Open(kName, SERVICE_QUERY_STATUS);
    EXPECT_TRUE(second);
    service.Reset();
    EXPECT_TRUE(KeyExists(kServiceKey));
    second.Reset();
#ifdef _WIN32
    // Wine's manager drops the record a moment after the last handle.
    for (int i = 0; i < 100 && Open(kName, SERVICE_QUERY_STATUS); ++i) Sleep(50);
#endif
    EXPECT_TRUE(FailsWith(ERROR_SERVICE_DOES_NOT_EXIST, Open(kName)));
    EXPECT_FALSE(KeyExists(kServiceKey));
}

TEST_F(ServicesTest, HandleAllowsOnlyWhatItWasOpenedFor) {
    ASSERT_TRUE(Create(kName));
    const ServiceHandle service = Open(kName, SERVICE_QUERY_STATUS);
    DWORD needed = 0;
    EXPECT_EQ(Start(service), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(Send(service, SERVICE_CONTROL_STOP), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(Rename(service, "x"), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, QueryServiceConfigA(service.Get(), nullptr, 0, &needed)));
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, DeleteService(service.Get())));
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
    EXPECT_TRUE(
        FailsWith(ERROR_ACCESS_DENIED,
                  ServiceHandle(CreateServiceA(manager.Get(), kOther, nullptr, SERVICE_ALL_ACCESS,
                                               SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                               "x", nullptr, nullptr, nullptr, nullptr, nullptr))));
    SERVICE_STATUS status{};
    EXPECT_TRUE(FailsWith(ERROR_INVALID_HANDLE, QueryServiceStatus(manager.Get(), &status)));
}

TEST_F(ServicesTest, RunningDependentsKeepAServiceFromStopping) {
    SKIP_UNDER_WINE("dependencies of services are not stored");
    const ServiceHandle needed = Create(kName);
    const ServiceHandle dependent = Create(kOther, nullptr, "instalibtest\0");
    // What a service needs is started with it.
    ASSERT_EQ(Start(dependent), 0u);
    EXPECT_EQ(StatusOf(needed).dwCurrentState, SERVICE_RUNNING);
    EXPECT_EQ(Send(needed, SERVICE_CONTROL_STOP), DWORD(ERROR_DEPENDENT_SERVICES_RUNNING));
    EXPECT_EQ(StatusOf(needed).dwCurrentState, SERVICE_RUNNING);
    EXPECT_EQ(Send(dependent, SERVICE_CONTROL_STOP), 0u);
    EXPECT_EQ(Send(needed, SERVICE_CONTROL_STOP), 0u);
}

TEST_F(ServicesTest, MissingOrFailingDependencyKeepsAServiceFromStarting) {
    SKIP_UNDER_WINE("dependencies of services are not stored");
    const ServiceHandle orphan = Create(kOther, nullptr, "InstalibTest\0");
    EXPECT_EQ(Start(orphan), DWORD(ERROR_SERVICE_DEPENDENCY_DELETED));
    const ServiceHandle needed = Create(kName);
    ASSERT_TRUE(ChangeServiceConfigA(needed.Get(), SERVICE_NO_CHANGE, SERVICE_DISABLED, SERVICE_NO_CHANGE, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(Start(orphan), DWORD(ERROR_SERVICE_DEPENDENCY_FAIL));
    // A circle is refused when it would come about.
    EXPECT_TRUE(
        FailsWith(ERROR_CIRCULAR_DEPENDENCY,
                  ChangeServiceConfigA(needed.Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, nullptr,
                                       nullptr, nullptr, "InstalibTest2\0", nullptr, nullptr, nullptr)));
}

TEST_F(ServicesTest, DatabaseLockIsHeldOnceAndKeepsServicesFromStarting) {
    SKIP_UNDER_WINE("LockServiceDatabase answers a constant and locks nothing");
    const ServiceHandle service = Create(kName);
    ServiceDatabaseLock lock(LockServiceDatabase(Manager()));
    ASSERT_TRUE(lock);
    EXPECT_TRUE(FailsWith(ERROR_SERVICE_DATABASE_LOCKED, LockServiceDatabase(Manager())));
    EXPECT_EQ(Start(service), DWORD(ERROR_SERVICE_DATABASE_LOCKED));
    EXPECT_EQ(Rename(service, "Renamed while locked"), 0u);
    const SC_LOCK stale = lock.Get();
    lock.Reset();
    EXPECT_EQ(Start(service), 0u);
    EXPECT_TRUE(FailsWith(ERROR_INVALID_SERVICE_LOCK, UnlockServiceDatabase(stale)));
    const ServiceHandle connected(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, LockServiceDatabase(connected.Get())));
}

TEST_F(ServicesTest, UnknownAccountMakesNoService) {
    SKIP_UNDER_WINE("the account of a new service is not checked");
    for (const char* account : {".\\InstalibNobody", "NODOMAIN\\user", "InstalibNobody"}) {
        EXPECT_FALSE(Create(kName, nullptr, nullptr, account)) << account;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_SERVICE_ACCOUNT) << account;
    }
    EXPECT_FALSE(Open(kName));
}

}  // namespace
