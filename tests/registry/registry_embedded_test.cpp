// What only the embedded machine can show: other machines, calls that fail, keys that may not be deleted, a service's
// state, double-byte paths.
#include <algorithm>

#include "platform/embedded/control/services.h"
#include "platform/embedded/control/system.h"
#include "tests/registry/registry_fixture.h"

namespace {

namespace control = embedded::control;
using control::CallKind;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

class RemoteRegistry : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        AddMachine("OTHER");
        ASSERT_EQ(RegConnectRegistryA("OTHER", HKEY_LOCAL_MACHINE, m_other.Receive()), 0);
        SetText(Other(), kBase + "\\Path", "HOME", "D:\\there");
    }
    void TearDown() override {
        m_other.Reset();
        RegistryTest::TearDown();
    }
    HKEY Other() const { return m_other.Get(); }

    static inline char s_other[] = "other";
    static inline char s_nowhere[] = "NOWHERE";

  private:
    RegistryKey m_other;
};

TEST_F(RemoteRegistry, ReadsGoThereAndWritesStayHere) {
    Put(kAlert, "CurrentBuildNumber", "12");
    SetText(Other(), kAlert, "CurrentBuildNumber", "34");
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, s_other);
    EXPECT_STREQ(object.GetKorvaultHomeDir(), "D:\\there");
    EXPECT_EQ(object.GetAlertBuildNumber(), 34u);
    EXPECT_EQ(object.SetKorvaultHomeDir(), 1);
    EXPECT_EQ(GetText(Other(), kBase + "\\Path", "HOME"), "D:\\there");
    EXPECT_EQ(Get(kBase + "\\Path", "HOME"), "C:\\P");
}

TEST_F(RemoteRegistry, RemotesThirtyTwoBitViewComesFirstWhereThereIsOne) {
    CHalvRegistry object(0, s_other);
    const auto build = [&](const std::string& key, const char* name, WORD number) {
        PlantRecord(Other(), key, name, Record(0x0606, number));
        return *name == 'Q' ? object.GetBuildNumber_QMC(name) : object.GetBuildNumber(name);
    };
    EXPECT_EQ(build(kView32 + "\\Products", "X", 32), 32);
    EXPECT_EQ(build(kProducts, "X", 64), 32);
    EXPECT_EQ(build("SOFTWARE\\Wow6432Node\\Orvanex\\Zephranite Quarion Management Center\\Products", "Q", 33), 33);
    WORD number = 40;  // another each time, since a getter keeps what it found last
    for (const char* former : {"Orvanex\\KorvaultIT", "Halvenor", "Orvanex\\Sarvex",
                               "Halvenor\\DSAgent\\CurrentVersion", "Orvanex\\Zephranite Enterprise Backup"}) {
        ++number;
        EXPECT_EQ(build("SOFTWARE\\Wow6432Node\\" + std::string(former) + "\\Products", former, number), number)
            << former;
    }
    RegistryKey windows;
    ASSERT_EQ(RegOpenKeyExA(Other(), kWindows.c_str(), 0, KEY_ALL_ACCESS, windows.Receive()), 0);
    ASSERT_EQ(RegDeleteValueA(windows.Get(), "ProgramFilesDir (x86)"), 0);
    EXPECT_EQ(object.GetBuildNumber("X"), 64) << "no 32-bit view on a 32-bit machine";
}

TEST_F(RemoteRegistry, UnreachableMachineNeverTurnsIntoThisOne) {
    tagProductStruct record = Record(0x0606, 7);
    for (const char* name : {"X", "ZephraniteCB"}) Halv::RegisterProduct(name, &record);
    Halv::SetKorvaultHomeDir("C:\\here");
    Halv::SetKorvaultServer(1);
    OpenRegistry object(1, s_nowhere);
    OpenRegistry copy(object);
    for (OpenRegistry* each : {&object, &copy}) {
        EXPECT_EQ(each->m_hKey, nullptr);
        EXPECT_STREQ(each->GetKorvaultHomeDir(), "");
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(each->IsKorvaultInstalled() + each->IsProductInstalled("X") + each->IsProductInstalled("X", nullptr) +
                      each->IsKorvaultServerInstalled() + each->IsKorvaultFeatureSponsorInstalled() +
                      each->GetKorvaultBuildNumber() + each->GetBuildNumber("X") +
                      each->GetKorvaultProductInfo().wBuild,
                  0);
    }
}

TEST_F(RemoteRegistry, EveryCopyHasAConnectionOfItsOwnAndEndsItOnce) {
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
    control::StartCounting();
    {
        const CHalvRegistry local(0, nullptr);
        const CHalvRegistry remote(0, s_other);
        const CHalvRegistry unreachable(0, s_nowhere);
        SetLastError(0xdeadbeef);
    }
    EXPECT_EQ(GetLastError(), 0xdeadbeef) << "an object's end leaves the last error alone";
    EXPECT_THAT(control::StopCounting(), Contains(Pair("WNetCancelConnection2A", 2u)));
}

tagProductStruct s_record{};
BYTE s_data[32];

struct Operation {
    const char* name;
    int (*run)();
    const char* ignored = "";  // a call whose failure the operation's rules ignore
    bool search = false;       // goes on to other places, so the last one's error is left
    CallKind kind = CallKind::Registry;
};

class RegistryFaults : public RegistryTest, public testing::WithParamInterface<Operation> {
  public:
    static int ReadAlertHome() {
        DWORD size = sizeof s_data;
        char* const text = reinterpret_cast<char*>(s_data);
        const int result = Halv::GetAlertHomeDir(text, &size, nullptr);
        EXPECT_EQ(result, *text != '\0') << "a failure leaves an empty buffer";
        return result;
    }
    static int AccessRights() {
        RegistryKey key;
        DWORD mask = 0;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kScratch.c_str(), 0, KEY_ALL_ACCESS, key.Receive()) != 0) return 0;
        return Halv::AddAccessPermissionOnRegistryKey(key.Get(), 0) &&
               Halv::GetBuiltinDomainAccessMaskOnKey(key.Get(), 544, mask);
    }

  protected:
    static void Prepare() {
        Make(kScratch + "\\a\\b");
        Remove(kSnmpAgents);
        for (const char* number : {"1", "2"}) Put(kSnmpAgents, number, "A");
        Halv::SetAlertHomeDir("C:\\A");
        Halv::SetEnvironmentVariableA("CATPATH", "x");
        SetNumber(kWindows + "SharedDLLs", "x", 3);
        Halv::AddKorvaultKey("Sub");
    }
};

// Ignored: a flush only hastens what Windows does anyway; a list that does not open lists no agent; a key that does not
// open has nothing below it, and its deletion then tells.
const Operation kOperations[] = {
    {"RegisterProduct", [] { return CHalvRegistry::RegisterProduct("X", &s_record); }},
    {"WriteText", [] { return CHalvRegistry::SetKorvaultHomeDir("C:\\P"); }},
    {"WriteNumber", [] { return CHalvRegistry::SetPruningDays(3); }},
    {"ReadText", &RegistryFaults::ReadAlertHome, "", true},
    {"EventSource", [] { return CHalvRegistry::SetEventLogApplication("TestSource", "x", 7); }},
    {"DeleteEnvironment", [] { return CHalvRegistry::DeleteEnvironmentVariable("CATPATH"); }},
    {"UninstallEntry", [] { return CHalvRegistry::CreateUninstallKey("KorvaultNT", "n", "c"); }},
    {"AnnounceAgent", [] { return CHalvRegistry::SetSNMPRegistry("B"); }, "RegFlushKey"},
    {"WithdrawAgent", [] { return CHalvRegistry::DeleteSNMPRegistry("A"); }, "RegOpenKeyExA"},
    {"CountUp", [] { return CHalvRegistry::IncrementSharedDLLCount("x", 0); }},
    // Its result says by contract only that the file is in use; the error is what tells.
    {"CountDown",
     [] { return CHalvRegistry::DecrementSharedDLLCount("x") == 2 && GetLastError() == 0xdeadbeef ? 1 : 0; }},
    {"AddKey", [] { return CHalvRegistry::AddKorvaultKey("Sub"); }},
    {"SetKeyValue", [] { return CHalvRegistry::SetKorvaultKeyValue("Sub", "v", REG_BINARY, s_data, 3); }},
    {"Empty", [] { return CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch.c_str()); }, "RegOpenKeyExA"},
    {"RightsBySecurityCall", &RegistryFaults::AccessRights, "", false, CallKind::Security},
    {"RightsByMemoryCall", &RegistryFaults::AccessRights, "", false, CallKind::Memory},
};

// Runs the operation until its n-th call of the kind does not come any more.
TEST_P(RegistryFaults, FailedCallIsReportedAndNothingStaysOpen) {
    const Operation& operation = GetParam();
    for (unsigned n = 1; n < 100; ++n) {
        Prepare();
        control::ExemptCall(operation.ignored);
        control::ExemptCall("RegCloseKey");  // a close that fails has still closed
        const std::size_t open = control::OpenCount();
        control::FailCall(operation.kind, n, ERROR_NOT_ENOUGH_MEMORY);
        SetLastError(0xdeadbeef);
        const int result = operation.run();
        const DWORD error = GetLastError();
        const bool fired = control::FaultFired();
        SCOPED_TRACE(control::FaultedCall());
        control::ClearFault();
        EXPECT_EQ(control::OpenCount(), open);
        EXPECT_EQ(result, fired ? 0 : 1);
        if (!fired) return;
        EXPECT_EQ(error, operation.search && error != 0xdeadbeef ? error : DWORD(ERROR_NOT_ENOUGH_MEMORY));
    }
    FAIL() << "the operation never ran to its end";
}

INSTANTIATE_TEST_SUITE_P(, RegistryFaults, testing::ValuesIn(kOperations), kCaseName);

// A whole operation with one of its registry calls failing, the n-th once or all from the n-th on.
class WholeProductFaults : public RegistryTest {
  protected:
    static void ForEachFault(bool persistent, const auto& prepare, const auto& run, const auto& check) {
        for (unsigned n = 1;; ++n) {
            ASSERT_LT(n, 500u);
            Make(kSnmpAgents);
            CSettings settings = ServerSettings();
            settings.UninstallKorvault(1);
            prepare(settings);
            CHalvRegistry object(settings, 0, nullptr);
            control::ExemptCall("RegCloseKey");
            control::FailCall(CallKind::Registry, n, ERROR_NOT_ENOUGH_MEMORY, persistent);
            const int result = run(object);
            const DWORD error = GetLastError();
            const bool fired = control::FaultFired();
            SCOPED_TRACE(control::FaultedCall() + " " + std::to_string(n));
            control::ClearFault();
            EXPECT_EQ(control::OpenReport(), "");
            check(result, error, fired);
            if (!fired) return;
        }
    }
};

TEST_F(WholeProductFaults, WriteLosesNoMoreThanTheStepThatFailed) {
    std::size_t whole = 0;
    const auto write = [](CHalvRegistry& object) { return object.Write(); };
    const auto prepare = [&](CSettings& settings) {
        EXPECT_EQ(whole == 0 ? CHalvRegistry(settings, 0, nullptr).Write() : 1, 1);
        whole = std::max(whole, List(kBase).size());
        Remove(kBase);
    };
    ForEachFault(false, prepare, write, [&](int result, DWORD error, bool fired) {
        EXPECT_EQ(error, result == 0 ? DWORD(ERROR_NOT_ENOUGH_MEMORY) : error);
        EXPECT_GE(List(kBase).size() + 2, whole) << "one value, and its key when it is the only one there";
        EXPECT_TRUE(fired || result == 1);
    });
}

TEST_F(WholeProductFaults, RemovalNeverTakesWhatBelongsToOthers) {
    for (const HKEY hive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) MakeKey(hive, kVendor + "\\Neighbour\\x");
    for (const std::string& key :
         {kProfile + "\\" + kVendor + "\\Neighbour", kFormer + "\\Korvault", kRoot + "\\dbaora",
          kListOfProducts + "\\Other", kSnmpAgents, kEnvironment, kAlert, kProducts, kWindows + "Uninstall\\Other",
          kWindows + "Shell Extensions\\Approved", kWindows + "SharedDLLs"}) {
        Put(key, "7", "another product's");
    }
    SetText(HKEY_CLASSES_ROOT, "Drive\\shellex\\ContextMenuHandlers\\{other}", "", "x");
    const auto machine = [] {
        Lines lines = List("SOFTWARE");
        for (const Lines& more : {List("SYSTEM"), List("SOFTWARE", HKEY_CURRENT_USER)})
            lines.insert(lines.end(), more.begin(), more.end());
        std::sort(lines.begin(), lines.end());
        return lines;
    };
    const Lines before = machine();
    const auto write = [](CSettings& settings) {
        EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).Write(), 1);
        for (const char* name : {"\\Base\\Admin\\x", "\\OldProducts", "\\Reactivon\\y"}) Make(kRoot + name);
    };
    for (const bool persistent : {false, true}) {
        for (int (CHalvRegistry::*remove)() : {&CHalvRegistry::Delete, &CHalvRegistry::DeleteDynamicKey}) {
            ForEachFault(
                persistent, write, [&](CHalvRegistry& object) { return (object.*remove)(); },
                [&](int result, DWORD, bool) {
                    const Lines after = machine();
                    Lines lost;
                    std::set_difference(before.begin(), before.end(), after.begin(), after.end(),
                                        std::back_inserter(lost));
                    EXPECT_EQ(result, 1);
                    EXPECT_THAT(lost, testing::IsEmpty());
                });
        }
    }
}

class RegistryOnMachine : public RegistryTest {};

TEST_F(RegistryOnMachine, SnmpServiceIsStartedAfterItsListHasChangedAndOnlyThen) {
    const ServiceHandle manager(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    ASSERT_TRUE(ServiceHandle(CreateServiceA(manager.Get(), "SNMP", "SNMP", SERVICE_ALL_ACCESS,
                                             SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                             "C:\\snmp.exe", nullptr, nullptr, nullptr, nullptr, nullptr)));
    const auto callsOf = [](const char* agent) {
        Put(kSnmpAgents, "1", "A");
        control::StartCounting();
        EXPECT_EQ(Halv::DeleteSNMPRegistry(agent), 1);
        EXPECT_EQ(Get(kSnmpAgents, "1"), *agent == 'A' ? "<none>" : "A");
        return control::StopCounting();
    };
    EXPECT_THAT(callsOf("B"), testing::Not(Contains(Pair("StartServiceA", testing::_)))) << "nothing to withdraw";
    EXPECT_THAT(callsOf("A"), Contains(Pair("StartServiceA", 1u)));
    EXPECT_EQ(control::ServiceState("SNMP"), DWORD(SERVICE_RUNNING));
    EXPECT_THAT(callsOf("A"),
                testing::AllOf(Contains(Pair("ControlService", 1u)), Contains(Pair("StartServiceA", 1u))));
    EXPECT_EQ(control::ServiceState("SNMP"), DWORD(SERVICE_RUNNING));
    control::ServiceScript refusing;
    refusing.controlsAccepted = 0;
    control::ScriptService("SNMP", refusing);
    EXPECT_THAT(callsOf("A"), testing::Not(Contains(Pair("StartServiceA", testing::_)))) << "it did not stop";
}

TEST_F(RegistryOnMachine, SponsorFeatureMayBeKnownToTheWindowsInstallerOnly) {
    control::SetProductState("{6EC61024-C69A-40C4-BFC9-FA5DB78C88AD}", 5);
    EXPECT_EQ(Halv::IsKorvaultFeatureSponsorInstalled(HKEY_LOCAL_MACHINE), 1);
    EXPECT_EQ(Halv::IsKorvaultFeatureSponsorInstalled(HKEY_CURRENT_USER), 0) << "asked of the local machine only";
}

// In Japan's code page "\x83\x5C" is one character, whose second byte looks like a backslash.
TEST_F(RegistryOnMachine, SecondByteOfACharacterIsNoBackslash) {
    ASSERT_TRUE(control::SetCodePage(932));
    CSettings settings = ServerSettings();
    settings.ClientAgentPath("C:\\\x83\x5C");
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetClientAgentHomeDir(), 1);
    EXPECT_EQ(Get(kRoot + "\\ClientAgent\\Common", "Path"), "C:\\\x83\x5C");
    EXPECT_EQ(Halv::SetKorvaultShellExtension("C:\\\x83\x5C"), 1);
    EXPECT_EQ(GetText(HKEY_CLASSES_ROOT, "CLSID\\" + kClsid + "\\InProcServer32", ""), "C:\\\x83\x5C\\KSHELL.DLL");
    CString dir;
    Put(kRoot + "\\Agents\\dbaora", "dll", "C:\\D\\\x83\x5C.dll");
    EXPECT_EQ(Halv::ExistOther_DBAgents("Agents\\dbaexch", 1, dir), 1);
    EXPECT_STREQ(dir, "C:\\D");
}

// Asking for the first subkey each time, the walk ends at the first one that cannot be removed.
TEST_F(RegistryTest, EmptyingStopsAtTheFirstKeyThatMayNotGo) {
    for (const char* name : {"\\a\\deep", "\\b", "\\c"}) Make(kScratch + name);
    {
        RegistryKey key;
        ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, (kScratch + "\\b").c_str(), 0, KEY_ALL_ACCESS, key.Receive()), 0);
        PSECURITY_DESCRIPTOR readOnly = nullptr;
        ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA("D:P(A;;KR;;;WD)", 1, &readOnly, nullptr));
        const LocalBuffer owner(readOnly);
        ASSERT_EQ(RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, readOnly), 0);
    }
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch.c_str())));
    EXPECT_FALSE(Has(kScratch + "\\a"));
    EXPECT_TRUE(Has(kScratch + "\\b"));
    EXPECT_TRUE(Has(kScratch + "\\c")) << "what comes behind is not tried";
}

}  // namespace
