// What only the embedded machine can show: other machines, other processes, calls that fail, keys that may not be
// deleted, a service's state, double-byte paths.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "instalib/log.h"
#include "platform/embedded/control/services.h"
#include "platform/embedded/control/system.h"
#include "tests/registry/registry_fixture.h"
#include "tests/support/faults.h"
#include "tests/support/sddl.h"

namespace {

namespace control = embedded::control;
using control::CallKind;
using testing::Contains;
using testing::Pair;

class RemoteRegistry : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        AddMachine("OTHER");
        ASSERT_EQ(RegConnectRegistryA("OTHER", HKEY_LOCAL_MACHINE, m_other.Receive()), 0);
        RegistryKey mine;
        ASSERT_EQ(RegConnectRegistryA("OTHER", HKEY_CURRENT_USER, mine.Receive()), ERROR_INVALID_HANDLE);
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
    EXPECT_EQ(Told(object.GetKorvaultHomeDir(), object.GetAlertBuildNumber()), "D:\\there|34");
    EXPECT_EQ(object.SetKorvaultHomeDir(), 1);
    EXPECT_EQ(Told(GetText(Other(), kBase + "\\Path", "HOME"), Get(kBase + "\\Path", "HOME")), "D:\\there|C:\\P");
}

TEST_F(RemoteRegistry, RemotesThirtyTwoBitViewComesFirstWhereThereIsOne) {
    CHalvRegistry object(0, s_other);
    const auto build = [&](const std::string& key, const char* name, WORD number) {
        PlantRecord(key, name, Record(0x0606, number), Other());
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
        SetNumber(kSharedDlls, "x", 3);
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

TEST_P(RegistryFaults, FailedCallIsReportedAndNothingStaysOpen) {
    const Operation& operation = GetParam();
    const auto prepare = [&] {
        Prepare();
        control::ExemptCall(operation.ignored);
        control::ExemptCall("RegCloseKey");  // a close that fails has still closed
    };
    const auto check = [&](int result, DWORD error, const std::string& call) {
        EXPECT_EQ(result, call.empty());
        if (call.empty() || (operation.search && error != 0xdeadbeef)) return;
        EXPECT_EQ(error, DWORD(ERROR_NOT_ENOUGH_MEMORY));
    };
    ForEachFault(operation.kind, ERROR_NOT_ENOUGH_MEMORY, operation.run, check, false, prepare);
}

INSTANTIATE_TEST_SUITE_P(, RegistryFaults, testing::ValuesIn(kOperations), kCaseName);

// A whole operation with one of its registry calls failing, the n-th once or all from the n-th on.
class WholeProductFaults : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        Make(kSnmpAgents);
        m_settings.UninstallKorvault(1);
    }
    void Write() { EXPECT_EQ(Writer(m_settings).Write(), 1); }
    void ForEachCall(int (Halv::*run)(), bool persistent, const auto& prepare, const auto& check) {
        CHalvRegistry object = Writer(m_settings);
        ForEachFault(
            CallKind::Registry, ERROR_NOT_ENOUGH_MEMORY, [&] { return (object.*run)(); }, check, persistent,
            [&] { Make(kSnmpAgents), prepare(), control::ExemptCall("RegCloseKey"); });
    }

  private:
    CSettings m_settings = ServerSettings();
};

TEST_F(WholeProductFaults, WriteLosesNoMoreThanTheStepThatFailed) {
    Write();
    const std::size_t whole = List(kBase).size();
    const auto check = [&](int result, DWORD error, const std::string& call) {
        EXPECT_EQ(error, result == 0 ? DWORD(ERROR_NOT_ENOUGH_MEMORY) : error);
        EXPECT_GE(List(kBase).size() + 2, whole) << "one value, and its key when it is the only one there";
        EXPECT_TRUE(!call.empty() || result == 1);
    };
    ForEachCall(
        &Halv::Write, false, [] { Remove(kBase); }, check);
}

TEST_F(WholeProductFaults, RemovalNeverTakesWhatBelongsToOthers) {
    for (const HKEY hive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) MakeKey(hive, kVendor + "\\Neighbour\\x");
    for (const std::string& key :
         {kProfile + "\\" + kVendor + "\\Neighbour", kFormer + "\\Korvault", kRoot + "\\dbaora",
          kListOfProducts + "\\Other", kSnmpAgents, kEnvironment, kAlert, kProducts, kWindows + "Uninstall\\Other",
          kWindows + "Shell Extensions\\Approved", kSharedDlls}) {
        Put(key, "7", "another product's");
    }
    SetText(HKEY_CLASSES_ROOT, "Drive\\shellex\\ContextMenuHandlers\\{other}", "", "x");
    const auto machine = [] {
        std::multiset<std::string> lines;
        for (const Lines& more : {List("SOFTWARE"), List("SYSTEM"), List("SOFTWARE", HKEY_CURRENT_USER)})
            lines.insert(more.begin(), more.end());
        return lines;
    };
    const auto before = machine();
    const auto check = [&](int result, DWORD, const std::string&) {
        const auto after = machine();
        Lines lost;
        std::set_difference(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(lost));
        EXPECT_EQ(result, 1);
        EXPECT_THAT(lost, testing::IsEmpty());
    };
    const auto prepare = [&] {
        Write();
        for (const char* name : {"\\Base\\Admin\\x", "\\OldProducts", "\\Reactivon\\y"}) Make(kRoot + name);
    };
    for (const bool persistent : {false, true})
        for (const auto remove : {&Halv::Delete, &Halv::DeleteDynamicKey})
            ForEachCall(remove, persistent, prepare, check);
}

using RegistryOnMachine = RegistryTest;

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
    EXPECT_EQ(Writer(settings).SetClientAgentHomeDir(), 1);
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
        ASSERT_EQ(RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, Sddl("D:P(A;;KR;;;WD)").Get()), 0);
    }
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch.c_str())));
    EXPECT_THAT(List(kScratch), testing::ElementsAre("[b]", "[c]")) << "what comes behind is not tried";
}

// So many processes at once, each taking the step 50 times; in how many of them every one succeeded.
int InProcesses(int count, int (*step)()) {
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i) {
        if (children.emplace_back(fork()) != 0) continue;
        int done = 0;
        for (int n = 0; n < 50; ++n) done += step() != 0;
        _exit(done == 50 ? 0 : 1);
    }
    return int(std::count_if(children.begin(), children.end(), [](pid_t child) {
        int status = 0;
        return waitpid(child, &status, 0) == child && status == 0;
    }));
}

TEST_F(RegistryOnMachine, CountsAndLogLinesOfManyProcessesAreAllThere) {
    EXPECT_EQ(InProcesses(4, [] { return Halv::IncrementSharedDLLCount("x", 0); }), 4);
    EXPECT_EQ(GetNumber(kSharedDlls, "x"), 200);
    const auto write = [] {
        char format[] = "line";
        return CLog::Write("C:\\TEST\\crowd.log", format);
    };
    EXPECT_EQ(InProcesses(8, write), 8);
    const std::string text = ReadBytes("C:\\TEST\\crowd.log");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 400);
}

TEST_F(RegistryOnMachine, SharedFileIsInUseWhenItsCountCannotBeLoweredOrRead) {
    SetNumber(kSharedDlls, "x", 3);
    for (const auto& [call, left] : {std::pair{3u, 2u}, {2u, 1u}}) {  // open, read, write
        control::FailCall(CallKind::Registry, call, ERROR_ACCESS_DENIED);
        EXPECT_EQ(Halv::DecrementSharedDLLCount("x"), left) << control::FaultedCall();
        EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED)) << control::FaultedCall();
    }
    control::ClearFault();
    EXPECT_EQ(GetNumber(kSharedDlls, "x"), 3);
}

TEST_F(RegistryOnMachine, ToolLibraryGetsWholeNamesOrNone) {
    ASSERT_TRUE(control::SetCodePage(932));
    PlaceLibrary("HSTOOL_ACCOUNT.DLL", Folder() + "\\HSTOOL.DLL");
    CSettings settings = ServerSettings();
    settings.SystemAccountDomain("X");
    const auto hand = [&](const std::string& name) {
        Remove(kScratch);
        settings.SystemAccountName(name.c_str());
        EXPECT_EQ(Writer(settings).SetKorvaultUser(), 1);
        return Told(Get(kScratch, "domain"), Get(kScratch, "name"));
    };
    EXPECT_EQ(hand("\x83\x5Cname"), "X|\x83\x5Cname") << "the second byte of a character is no separator";
    EXPECT_EQ(hand("D\x83\x5C\\u"), "D\x83\x5C|u");
    EXPECT_EQ(hand(std::string(63, 'n')), "X|" + std::string(63, 'n'));
    EXPECT_EQ(hand(std::string(64, 'n')), "<none>|<none>");
    EXPECT_THAT(ReadBytes(Folder() + "\\setup.log"), testing::HasSubstr("longer than 63 bytes"));
}

TEST_F(RegistryOnMachine, ValueThatIsTooLongEverywhereTellsWhatItNeeds) {
    const std::string older = std::string(Halv::m_sOldKorvaultBaseKey) + "\\Path";
    SetRaw(kBase + "\\Path", "HOME", REG_SZ, {'C', ':', '\\', 'L', 'O', 'N', 'G'});
    Put(older, "HOME", "C:\\VERYLONG");
    char home[8];
    DWORD size = 4;
    EXPECT_TRUE(FailsWith(ERROR_MORE_DATA, Halv::GetKorvaultHomeDir(home, &size, nullptr)));
    EXPECT_EQ(size, 8u) << "stored without its terminator";
    EXPECT_EQ(Halv::GetKorvaultHomeDir(home, &size, nullptr), 1);
    EXPECT_STREQ(home, "C:\\LONG");
    Put(older, "HOME", "C:");
    const auto read = [](char* buffer, DWORD* room) { return Halv::GetKorvaultHomeDir(buffer, room, nullptr); };
    EXPECT_EQ(Filled(read, 4), "1|C:") << "the search goes on";
}

TEST_F(RegistryOnMachine, AgentsNamesHaveNoCaseInAnyAlphabet) {
    Put(kRoot + "\\DBA\xC4GENT2", "dll", "C:\\A\\x.dll");
    EXPECT_EQ(AgentsDirectory("dba\xE4gent", 1), "1|C:\\A");
}

// Each operation with its call of this name failing, and all after it.
TEST_F(RegistryOnMachine, UnknownVersionOrNameOfTheMachineIsAFailure) {
    const auto fails = [](const std::string& name, auto operation) {
        bool made = false;
        const auto check = [&](int result, DWORD, const std::string& call) {
            if (call == name) {
                EXPECT_EQ(result, 0);
            }
            made = made || call == name;
        };
        ForEachFault(CallKind::System, ERROR_NOT_ENOUGH_MEMORY, operation, check, true);
        EXPECT_TRUE(made) << name;
    };
    fails("GetVersionExA", [] { return Halv::CreateUninstallKey("X", "x", "y"); });
    fails("GetVersionExA", [] { return Halv::SetKorvaultShellExtension("C:\\P"); });
    EXPECT_EQ(Halv::SetKorvaultShellExtension(static_cast<const char*>(nullptr)), 0);
    fails("GetComputerNameA", [] {
        Put(kEnvironment, "RNNAME", "KEPT");
        return Writer().SetKorvaultEnvironmentVariables() != 0 || Get(kEnvironment, "RNNAME") != "KEPT";
    });
}

}  // namespace
