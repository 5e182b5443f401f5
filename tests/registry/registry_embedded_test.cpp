// What only the embedded machine can show: other machines, calls that fail, keys that may not be deleted, a service's
// state, and the whole machine before and after.
#include <algorithm>

#include "instalib/setup_inf.h"
#include "platform/embedded/control_services.h"
#include "platform/embedded/control_system.h"
#include "platform/handles.h"
#include "tests/registry/registry_fixture.h"

namespace {

namespace control = embedded::control;
using control::CallKind;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

constexpr char kScratch[] = "SOFTWARE\\InstalibTest";
constexpr char kView32[] = "SOFTWARE\\Wow6432Node\\Orvanex\\Zephranite Korvault Backup\\Products";

// --- Another machine
// --------------------------------------------------------------------------------------------------

class RemoteRegistry : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        AddMachine("OTHER");
        ASSERT_EQ(RegConnectRegistryA("OTHER", HKEY_LOCAL_MACHINE, m_other.Receive()), 0);
    }
    void TearDown() override {
        m_other.Reset();
        RegistryTest::TearDown();
    }
    HKEY Other() const { return m_other.Get(); }

    static inline char s_other[] = "other";

  private:
    RegistryKey m_other;
};

TEST_F(RemoteRegistry, ReadsGoThereAndWritesStayHere) {
    SetText(Other(), std::string(kBase) + "\\Path", "HOME", "D:\\there");
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\ALERT\\CurrentVersion", "CurrentBuildNumber", "12");
    SetText(Other(), "SOFTWARE\\Orvanex\\ALERT\\CurrentVersion", "CurrentBuildNumber", "34");
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, s_other);
    EXPECT_STREQ(object.GetKorvaultHomeDir(), "D:\\there");
    EXPECT_EQ(object.GetAlertBuildNumber(), 34u);
    EXPECT_EQ(object.SetKorvaultHomeDir(), 1);
    EXPECT_EQ(GetText(Other(), std::string(kBase) + "\\Path", "HOME"), "D:\\there");
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, std::string(kBase) + "\\Path", "HOME"), "C:\\P");
}

TEST_F(RemoteRegistry, RemotesThirtyTwoBitViewComesFirstWhereThereIsOne) {
    CHalvRegistry object(0, s_other);
    PlantRecord(Other(), kView32, "X", Record(0x0606, 32));
    EXPECT_EQ(object.GetBuildNumber("X"), 32);
    PlantRecord(Other(), kProducts, "X", Record(0x0606, 64));
    EXPECT_EQ(object.GetBuildNumber("X"), 32);
    PlantRecord(Other(), "SOFTWARE\\Wow6432Node\\Orvanex\\Zephranite Quarion Management Center\\Products", "Q",
                Record(0x0606, 33));
    EXPECT_EQ(object.GetBuildNumber_QMC("Q"), 33);
    DeleteKeyTree(Other(), kView32);
    EXPECT_EQ(object.GetBuildNumber("X"), 64);
    PlantRecord(Other(), kView32, "Y", Record(0x0606, 1));
    RegistryKey windows;
    ASSERT_EQ(
        RegOpenKeyExA(Other(), "SOFTWARE\\Microsoft\\Windows\\CurrentVersion", 0, KEY_ALL_ACCESS, windows.Receive()),
        0);
    ASSERT_EQ(RegDeleteValueA(windows.Get(), "ProgramFilesDir (x86)"), 0);
    EXPECT_EQ(object.IsProductInstalled("Y"), 0) << "no 32-bit view on a 32-bit machine";
}

TEST_F(RemoteRegistry, UnreachableMachineNeverTurnsIntoThisOne) {
    tagProductStruct record = Record(0x0606, 7);
    CHalvRegistry::RegisterProduct("X", &record);
    CHalvRegistry::RegisterProduct("ZephraniteCB", &record);
    CHalvRegistry::SetKorvaultHomeDir("C:\\here");
    CHalvRegistry::SetKorvaultServer(1);
    char nowhere[] = "NOWHERE";
    OpenRegistry object(1, nowhere);
    EXPECT_EQ(object.m_hKey, nullptr);
    OpenRegistry copy(object);
    for (OpenRegistry* each : {&object, &copy}) {
        EXPECT_STREQ(each->GetKorvaultHomeDir(), "");
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(each->IsKorvaultInstalled() + each->IsProductInstalled("X") + each->IsProductInstalled("X", nullptr),
                  0);
        EXPECT_EQ(each->IsKorvaultServerInstalled() + each->IsKorvaultFeatureSponsorInstalled(), 0);
        EXPECT_EQ(each->GetKorvaultBuildNumber() + each->GetBuildNumber("X"), 0);
        EXPECT_EQ(each->GetKorvaultProductInfo().wBuild, 0);
    }
}

TEST_F(RemoteRegistry, EveryCopyHasAConnectionOfItsOwnAndEndsItOnce) {
    SetText(Other(), std::string(kBase) + "\\Path", "HOME", "D:\\there");
    const std::size_t before = control::OpenCount(control::ResourceKind::Key);
    const auto connections = [&] { return control::OpenCount(control::ResourceKind::Key) - before; };
    CHalvRegistry assigned(0, nullptr);
    {
        const CHalvRegistry original(0, s_other);
        CHalvRegistry copy(original);
        EXPECT_EQ(connections(), 2u);
        assigned = copy;
        assigned = assigned;
        EXPECT_EQ(connections(), 3u);
    }
    EXPECT_EQ(connections(), 1u);
    EXPECT_STREQ(assigned.GetKorvaultHomeDir(), "D:\\there");
    assigned = CHalvRegistry(0, nullptr);
    EXPECT_EQ(connections(), 0u);
}

TEST_F(RemoteRegistry, EndOfAnObjectCancelsTheIpcConnectionOfAnotherMachineOnly) {
    char nowhere[] = "NOWHERE";
    control::StartCounting();
    {
        const CHalvRegistry local(0, nullptr);
        const CHalvRegistry remote(0, s_other);
        const CHalvRegistry unreachable(0, nowhere);
        SetLastError(0xdeadbeef);
    }
    EXPECT_EQ(GetLastError(), 0xdeadbeef) << "an object's end leaves the last error alone";
    EXPECT_THAT(control::StopCounting(), Contains(Pair("WNetCancelConnection2A", 2u)));
}

// --- Failing calls
// ----------------------------------------------------------------------------------------------------

struct Operation {
    const char* title;
    void (*prepare)();
    int (*run)();
    const char* ignored = nullptr;  // a call whose failure the operation's rules ignore
    bool search = false;            // goes on to other places, so the last one's error is left
};

tagProductStruct s_record{};
char s_buffer[32];

int ReadAlertHome() {
    std::strcpy(s_buffer, "old");
    DWORD size = sizeof s_buffer;
    const int result = CHalvRegistry::GetAlertHomeDir(s_buffer, &size, nullptr);
    EXPECT_EQ(result, s_buffer[0] != '\0') << "a failure leaves an empty buffer";
    return result;
}

int ReplaceList() {
    RegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kScratch, 0, KEY_ALL_ACCESS, key.Receive()) != 0) return 0;
    return CHalvRegistry::AddAccessPermissionOnRegistryKey(key.Get(), 0);
}

int AskRights() {
    RegistryKey key;
    DWORD mask = 0;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kScratch, 0, KEY_ALL_ACCESS, key.Receive()) != 0) return 0;
    return CHalvRegistry::GetBuiltinDomainAccessMaskOnKey(key.Get(), 544, mask);
}

class RegistryFaults : public RegistryTest, public testing::WithParamInterface<Operation> {
  public:
    static void Nothing() {}
    static void Tree() { MakeKey(HKEY_LOCAL_MACHINE, std::string(kScratch) + "\\a\\b"); }
    static void Agents() {
        DeleteKeyTree(HKEY_LOCAL_MACHINE, kSnmpAgents);
        SetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "1", "A");
    }
    static void Home() { CHalvRegistry::SetAlertHomeDir("C:\\A"); }
    static void Catalog() { CHalvRegistry::SetEnvironmentVariableA("CATPATH", "x"); }
    static void Shared() { SetNumber(HKEY_LOCAL_MACHINE, kSharedDlls, "x", 3); }
    static void Sub() { CHalvRegistry::AddKorvaultKey("Sub"); }
};

const Operation kOperations[] = {
    {"RegisterProduct", &RegistryFaults::Nothing, [] { return CHalvRegistry::RegisterProduct("X", &s_record); }},
    {"WriteText", &RegistryFaults::Nothing, [] { return CHalvRegistry::SetKorvaultHomeDir("C:\\P"); }},
    {"WriteNumber", &RegistryFaults::Nothing, [] { return CHalvRegistry::SetPruningDays(3); }},
    {"ReadText", &RegistryFaults::Home, &ReadAlertHome, nullptr, true},
    {"EventSource", &RegistryFaults::Nothing,
     [] { return CHalvRegistry::SetEventLogApplication("TestSource", "x", 7); }},
    {"SetEnvironment", &RegistryFaults::Nothing, [] { return CHalvRegistry::SetEnvironmentVariableA("CATPATH", "x"); }},
    {"DeleteEnvironment", &RegistryFaults::Catalog, [] { return CHalvRegistry::DeleteEnvironmentVariable("CATPATH"); }},
    {"UninstallEntry", &RegistryFaults::Nothing,
     [] { return CHalvRegistry::CreateUninstallKey("KorvaultNT", "n", "c"); }},
    // The list's flush only hastens what Windows does anyway.
    {"AnnounceAgent", &RegistryFaults::Agents, [] { return CHalvRegistry::SetSNMPRegistry("B"); }, "RegFlushKey"},
    // A list that does not open counts as a list without the agent.
    {"WithdrawAgent", &RegistryFaults::Agents, [] { return CHalvRegistry::DeleteSNMPRegistry("A"); }, "RegOpenKeyExA"},
    {"CountUp", &RegistryFaults::Shared, [] { return CHalvRegistry::IncrementSharedDLLCount("x", 0); }},
    {"CountDown", &RegistryFaults::Shared, [] { return CHalvRegistry::DecrementSharedDLLCount("x") == 2 ? 1 : 0; }},
    {"AddKey", &RegistryFaults::Nothing, [] { return CHalvRegistry::AddKorvaultKey("Sub"); }},
    {"SetKeyValue", &RegistryFaults::Sub,
     [] { return CHalvRegistry::SetKorvaultKeyValue("Sub", "v", REG_BINARY, reinterpret_cast<BYTE*>(s_buffer), 3); }},
    // A key that does not open counts as one with nothing below it; its deletion then tells.
    {"DeleteSubKeys", &RegistryFaults::Tree, [] { return CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch); },
     "RegOpenKeyExA"},
};

// Runs the operation until its n-th call of the kind does not come any more.
void FailEveryCall(const Operation& operation, CallKind kind) {
    for (unsigned n = 1; n < 100; ++n) {
        operation.prepare();
        if (operation.ignored != nullptr) control::ExemptCall(operation.ignored);
        control::ExemptCall("RegCloseKey");  // a close that fails has still closed
        const std::size_t open = control::OpenCount();
        control::FailCall(kind, n, ERROR_NOT_ENOUGH_MEMORY);
        SetLastError(0xdeadbeef);
        const int result = operation.run();
        const DWORD error = GetLastError();
        const bool fired = control::FaultFired();
        SCOPED_TRACE(control::FaultedCall());
        control::ClearFault();
        EXPECT_EQ(control::OpenCount(), open);
        EXPECT_EQ(result, fired ? 0 : 1);
        if (!fired) return;
        if (operation.search) {
            EXPECT_NE(error, 0xdeadbeef);
        } else {
            EXPECT_EQ(error, DWORD(ERROR_NOT_ENOUGH_MEMORY));
        }
    }
    FAIL() << "the operation never ran to its end";
}

TEST_P(RegistryFaults, FailedCallIsReportedAndNothingStaysOpen) { FailEveryCall(GetParam(), CallKind::Registry); }
INSTANTIATE_TEST_SUITE_P(, RegistryFaults, testing::ValuesIn(kOperations), kTitle);

TEST_F(RegistryFaults, FailedCallOfTheAccessRightsIsReported) {
    for (const CallKind kind : {CallKind::Security, CallKind::Memory}) {
        FailEveryCall({"AddAccessPermission", &RegistryFaults::Tree, &ReplaceList}, kind);
        FailEveryCall({"EffectiveRights", &RegistryFaults::Tree, &AskRights}, kind);
    }
}

TEST_F(RegistryFaults, WholeWriteLosesNoMoreThanTheStepThatFailed) {
    CSettings settings = ServerSettings();
    const auto write = [&] {
        DeleteKeyTree(HKEY_LOCAL_MACHINE, kBase);
        MakeKey(HKEY_LOCAL_MACHINE, kSnmpAgents);
        CHalvRegistry object(settings, 0, nullptr);
        SetLastError(0xdeadbeef);
        return object;
    };
    ASSERT_EQ(write().Write(), 1);
    const std::size_t whole = Listing(HKEY_LOCAL_MACHINE, kBase).size();
    unsigned n = 1;
    for (bool fired = true; fired; ++n) {
        ASSERT_LT(n, 500u);
        CHalvRegistry object = write();
        control::ExemptCall("RegCloseKey");
        control::FailCall(CallKind::Registry, n, ERROR_NOT_ENOUGH_MEMORY);
        const int result = object.Write();
        const DWORD error = GetLastError();
        fired = control::FaultFired();
        SCOPED_TRACE(control::FaultedCall());
        control::ClearFault();
        EXPECT_EQ(control::OpenReport(), "");
        EXPECT_EQ(error, result == 0 ? DWORD(ERROR_NOT_ENOUGH_MEMORY) : error);
        // One value, and its key when it is the only one there.
        EXPECT_GE(Listing(HKEY_LOCAL_MACHINE, kBase).size() + 2, whole);
        EXPECT_TRUE(fired || result == 1);
    }
}

// --- Rights, services, the whole machine
// --------------------------------------------------------------------------------

class RegistryOnMachine : public RegistryTest {
  protected:
    static void LeaveOnlyReading(const std::string& path) {
        RegistryKey key;
        ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, key.Receive()), 0);
        SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
        AllocatedSid everyone;
        ASSERT_TRUE(AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, everyone.Receive()));
        EXPLICIT_ACCESS_A entry{};
        entry.grfAccessPermissions = KEY_READ;
        entry.grfAccessMode = GRANT_ACCESS;
        entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        entry.Trustee.ptstrName = static_cast<char*>(everyone.Get());
        PACL list = nullptr;
        ASSERT_EQ(SetEntriesInAclA(1, &entry, nullptr, &list), 0u);
        const LocalBuffer owner(list);
        ASSERT_EQ(
            SetSecurityInfo(key.Get(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                            nullptr, nullptr, list, nullptr),
            0u);
    }
    static void CreateSnmpService() {
        const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
        const ServiceHandle service(CreateServiceA(
            manager.Get(), "SNMP", "SNMP", SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
            SERVICE_ERROR_NORMAL, "C:\\snmp.exe", nullptr, nullptr, nullptr, nullptr, nullptr));
        ASSERT_TRUE(service);
    }
};

TEST_F(RegistryOnMachine, EmptyingStopsAtTheFirstKeyThatMayNotGo) {
    for (const char* name : {"a\\x", "b", "c"}) MakeKey(HKEY_LOCAL_MACHINE, std::string(kScratch) + "\\" + name);
    LeaveOnlyReading(std::string(kScratch) + "\\b");
    EXPECT_EQ(CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kScratch), ElementsAre("[b]", "[c]"));
}

TEST_F(RegistryOnMachine, SnmpServiceIsStartedAfterItsListHasChangedAndOnlyThen) {
    SetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "1", "A");
    CreateSnmpService();
    EXPECT_EQ(CHalvRegistry::DeleteSNMPRegistry("B"), 1);
    EXPECT_EQ(control::ServiceState("SNMP"), DWORD(SERVICE_STOPPED)) << "nothing to withdraw";
    EXPECT_EQ(CHalvRegistry::DeleteSNMPRegistry("A"), 1);
    EXPECT_EQ(control::ServiceState("SNMP"), DWORD(SERVICE_RUNNING));
    SetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "1", "A");
    control::StartCounting();
    EXPECT_EQ(CHalvRegistry::DeleteSNMPRegistry("A"), 1);
    EXPECT_THAT(control::StopCounting(),
                testing::AllOf(Contains(Pair("ControlService", 1u)), Contains(Pair("StartServiceA", 1u))));
    EXPECT_EQ(control::ServiceState("SNMP"), DWORD(SERVICE_RUNNING));
    control::ServiceScript refusing;
    refusing.controlsAccepted = 0;
    control::ScriptService("SNMP", refusing);
    SetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "1", "A");
    control::StartCounting();
    EXPECT_EQ(CHalvRegistry::DeleteSNMPRegistry("A"), 1) << "a service that does not stop keeps nothing alive";
    EXPECT_THAT(control::StopCounting(), testing::Not(Contains(Pair("StartServiceA", testing::_))));
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "1"), "<none>");
}

TEST_F(RegistryOnMachine, SponsorFeatureMayBeKnownToTheWindowsInstallerOnly) {
    control::SetProductState("{6EC61024-C69A-40C4-BFC9-FA5DB78C88AD}", 5);
    EXPECT_EQ(CHalvRegistry::IsKorvaultFeatureSponsorInstalled(HKEY_LOCAL_MACHINE), 1);
    EXPECT_EQ(CHalvRegistry::IsKorvaultFeatureSponsorInstalled(HKEY_CURRENT_USER), 0)
        << "asked of the local machine only";
}

}  // namespace
