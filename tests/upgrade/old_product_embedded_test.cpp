// What only the embedded machine can show of an upgrade: calls that fail, other machines, large and deep trees, and the
// messages of a thread that waits.
#include <pthread.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/system.h"
#include "platform/handles.h"
#include "tests/upgrade/upgrade_fixture.h"

namespace {

namespace control = embedded::control;
using testing::HasSubstr;

class OldProductFaults : public UpgradeTest {
  protected:
    void SetUp() override {
        UpgradeTest::SetUp();
        SetEnvironmentVariableA("UPGRADE_INSTALIB", nullptr);
        Make(kUninstall + kCode);
        Install(0x0B01, 4000);
        Rules(std::string("ProductCode01=") + kCode + "\r\nRegRootKey01=" + kOld + "\r\nRegSubKey01=Agent,Sub\\X\r\n");
    }
    static void Plant(const std::string& root) {
        Put(root + "\\Agent\\One\\Deep", "a", "1");
        SetRaw(HKEY_LOCAL_MACHINE, root + "\\Agent\\One", "b", REG_BINARY, TestBytes(300, 7));
        Put(root + "\\Agent", "c", "3");
        Put(root + "\\Sub\\X1", "d", "4");
    }
    static int Save() {
        CString code;
        return KSetBKOldProduct(kMedium, "Agent", code, nullptr);
    }
};

TEST_F(OldProductFaults, RestoreInterruptedAtAnyCallEndsInTheSameStateWhenRepeated) {
    Plant(kBackup);
    Put(kRoot + "\\Agent", "c", "new");
    Put(kRoot + "\\Agent", "mine", "new");
    KSetRSOldProdRegKey();
    const Lines expected = List(kRoot);
    ASSERT_FALSE(Has(kBackup));
    for (const bool persistent : {false, true}) {
        for (unsigned n = 1;; ++n) {
            ASSERT_LT(n, 500u);
            Remove(kRoot + "\\Agent");
            Remove(kRoot + "\\Sub");
            Plant(kBackup);
            Put(kRoot + "\\Agent", "c", "new");
            Put(kRoot + "\\Agent", "mine", "new");
            const Lines whole = List(kBackup);
            control::FailCall(control::CallKind::Registry, n, ERROR_ACCESS_DENIED, persistent);
            KSetRSOldProdRegKey();
            const bool fired = control::FaultFired();
            SCOPED_TRACE(std::to_string(n) + " " + control::FaultedCall());
            control::ClearFault();
            // Nothing is deleted before all of it has arrived.
            if (List(kBackup) != whole) {
                ASSERT_EQ(List(kRoot), expected);
            }
            KSetRSOldProdRegKey();
            ASSERT_EQ(List(kRoot), expected);
            ASSERT_FALSE(Has(kBackup));
            if (!fired) break;
        }
    }
}

TEST_F(OldProductFaults, BackupInterruptedAtAnyCallIsTheSameWhenRepeated) {
    Plant(kOld);
    Put(kOld + "\\Agent", "Version", "dropped");
    ASSERT_EQ(Save(), 1);
    const Lines expected = List(kBackup);
    const Lines source = List(kOld);
    for (unsigned n = 1;; ++n) {
        ASSERT_LT(n, 1000u);
        Remove(kBackup);
        control::FailCall(control::CallKind::Registry, n, ERROR_ACCESS_DENIED);
        const int result = Save();
        const bool fired = control::FaultFired();
        SCOPED_TRACE(std::to_string(n) + " " + control::FaultedCall());
        control::ClearFault();
        CArray<CString, CString> lost;
        const int whole = CUpgradeBackup::HoldsAll(kMedium, "Agent", nullptr, lost);
        // What the comparison calls whole has every line of the source; a dropped value may be left in it.
        const Lines made = List(kBackup);
        if (whole) {
            for (const std::string& line : expected) ASSERT_THAT(made, testing::Contains(line));
        }
        ASSERT_EQ(List(kOld), source);
        ASSERT_EQ(Save(), 1);
        ASSERT_EQ(List(kBackup), expected);
        if (!fired) {
            EXPECT_EQ(result, 1);
            break;
        }
    }
}

TEST_F(OldProductFaults, DeepTreesAreCopiedAndDeletedOnASmallStack) {
    std::string path = kBackup;
    for (int level = 0; level < 500; ++level) path += "\\d";
    const auto makeDeep = [] {
        RegistryKey key;
        ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, kBackup.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                  key.Receive(), nullptr),
                  0);
        for (int level = 0; level < 500; ++level) {
            RegistryKey child;
            ASSERT_EQ(RegCreateKeyExA(key.Get(), "d", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, child.Receive(), nullptr),
                      0);
            key = std::move(child);
        }
        RegSetValueExA(key.Get(), "v", 0, REG_SZ, reinterpret_cast<const BYTE*>("x"), 2);
    };
    makeDeep();
    // On half the stack that a thread of Windows has.
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 512 * 1024);
    pthread_t thread;
    const auto restore = [](void*) -> void* { return KSetRSOldProdRegKey(), nullptr; };
    ASSERT_EQ(pthread_create(&thread, &attributes, restore, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(Get(kRoot + path.substr(kBackup.size()), "v"), "x");
    EXPECT_FALSE(Has(kBackup));
}

TEST_F(OldProductFaults, TimeGrowsWithTheNumberOfKeys) {
    const auto measure = [](int count) {
        RegistryKey key;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, kBackup.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Receive(),
                        nullptr);
        for (int i = 0; i < count; ++i) {
            RegistryKey child;
            RegCreateKeyExA(key.Get(), ('k' + std::to_string(i)).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            child.Receive(), nullptr);
        }
        key.Reset();
        const std::clock_t start = std::clock();  // of this process alone: others may be busy
        KSetRSOldProdRegKey();
        EXPECT_FALSE(Has(kBackup));
        EXPECT_TRUE(Has(kRoot + "\\k" + std::to_string(count - 1)));
        return std::clock() - start;
    };
    const std::clock_t few = measure(5'000), many = measure(50'000);
    EXPECT_LT(many, 40 * few);  // a quadratic copy would need 100 times
}

class RemoteUpgrade : public UpgradeTest {
  protected:
    void SetUp() override {
        UpgradeTest::SetUp();
        AddMachine("OTHER");
        ASSERT_EQ(RegConnectRegistryA("\\\\OTHER", HKEY_LOCAL_MACHINE, m_other.Receive()), 0);
    }
    void TearDown() override {
        m_other.Reset();
        UpgradeTest::TearDown();
    }
    RegistryKey m_other;
};

TEST_F(RemoteUpgrade, AgentsOnASixtyFourBitMachineHaveRulesOfTheirOwn) {
    const struct {
        const char* title;
        const char* rules;
        WORD version, build;
        int answer;
    } cases[] = {
        {"no rules", "", 0x0B01, 4000, 1},
        {"both hold", "64VersionRange=11.0,11.4\r\n64BuildRange=3500,4100\r\n", 0x0B01, 4000, 0},
        {"no builds", "64VersionRange=11.0,11.4\r\n", 0x0B01, 4000, 1},
        {"equal version", "64VersionRange=11.5\r\n64BuildRange=4100\r\n", 0x0B05, 4000, 0},
        {"newer", "64VersionRange=0.0,255.0\r\n64BuildRange=0,9000\r\n", 0x0C00, 4000, 1},
        {"build must grow", "64VersionRange=0.0,255.0\r\n64BuildRange=0,9000\r\n", 0x0B01, 4200, 1},
        {"nineteen characters", "64VersionRange=11.0,11.4\r\n64BuildRange=000000000000003500,4100\r\n", 0x0B01, 4000,
         1},
        {"same build", "", 0x0B05, 4200, 3},
    };
    for (const char* agent : {"ClientAgentNT", "VSSAgent"}) {
        for (const auto& each : cases) {
            SCOPED_TRACE(each.title);
            Rules(each.rules);
            Install(each.version, each.build, 1, m_other.Get(), agent);
            for (const char* name : {"OTHER", "other"}) {
                DWORD word = 0;
                EXPECT_EQ(Ask(&word, agent, name), each.answer);
                EXPECT_EQ(word, DWORD(each.build) << 16 | each.version);
            }
            DWORD word = 4711;
            EXPECT_EQ(Ask(&word, agent, nullptr), 2) << "this machine has none";
            EXPECT_EQ(word, 4711u);
        }
    }
    ClearTrace();
    Rules("64VersionRange=11.0,11.6\r\n64BuildRange=3500,4100\r\n");
    Install(0x0B01, 4000, 1, m_other.Get(), "VSSAgent");
    EXPECT_EQ(Ask(nullptr, "VSSAgent", "OTHER"), 0);
    EXPECT_THAT(Trace(), HasSubstr("IsRemote_64Bit_Products(OTHER) = TRUE and ProductDescriptor is VSSAgent\r\n"
                                   "IsAllowProductUpgradeOnRemote64(OTHER,VSSAgent," +
                                   File() +
                                   ") ->\r\n"
                                   "IsAllowProductUpgradeOnRemote64() -> old product: 11.1,4000\r\n"
                                   "IsAllowProductUpgradeOnRemote64() -> VersionRange: 11.0,11.6\r\n"
                                   "IsAllowProductUpgradeOnRemote64() -> BuildRange: 3500,4100\r\n"
                                   "IsAllowProductUpgradeOnRemote64() <- 0\r\n"));
}

TEST_F(RemoteUpgrade, OtherProductsFollowTheRulesWithTheOtherMachinesPrograms) {
    Rules(std::string("ProductCode01=") + kCode + "\r\n64VersionRange=0.0,255.0\r\n64BuildRange=0,9000\r\n");
    Install(0x0B01, 4000, 1, m_other.Get());
    EXPECT_EQ(Ask(nullptr, "Agent", "OTHER"), 1);
    MakeKey(m_other.Get(), kUninstall + kCode);
    EXPECT_EQ(Ask(nullptr, "Agent", "OTHER"), 0);
    Install(0x0B01, 4000, 1, m_other.Get(), "vssagent");
    EXPECT_EQ(Ask(nullptr, "vssagent", "OTHER"), 0) << "another name: the agents' rules are for exact names";
    EXPECT_EQ(Ask(nullptr, "Agent", "NOWHERE"), 2);
}

TEST_F(RemoteUpgrade, WindowsInstallerIsAskedForThisMachineAlone) {
    Rules(std::string("ProductCode01=") + kCode + "\r\n");
    Install(0x0B01, 4000);
    Install(0x0B01, 4000, 1, m_other.Get());
    EXPECT_EQ(Ask(), 1);
    control::SetProductState(kCode, 5);
    EXPECT_EQ(Ask(), 0);
    EXPECT_EQ(Ask(nullptr, "Agent", "testpc"), 0) << "its own name, in any case";
    EXPECT_EQ(Ask(nullptr, "Agent", "OTHER"), 1);
    control::SetProductState(kCode, 1);
    EXPECT_EQ(Ask(), 1);
}

// --- The wait for the uninstaller ---

int s_timers = 0;
void WINAPI CountTimer(HWND, UINT, UINT_PTR, DWORD) { ++s_timers; }

class Removal : public UpgradeTest {
  protected:
    void SetUp() override {
        UpgradeTest::SetUp();
        PlaceLibrary("REPORTER.EXE", "C:\\TEST\\REPORTER.EXE");
        PlaceLibrary("REPORTER.EXE", "C:\\Windows\\System32\\MSIEXEC.EXE");
        control::UseManualClock(true);
        s_timers = 0;
    }
};

TEST_F(Removal, MessagesArriveWhileTheUninstallerRuns) {
    MSG message;
    PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE);  // makes the queue
    const DWORD thread = GetCurrentThreadId();
    const LONG_PTR procedure = reinterpret_cast<LONG_PTR>(&CountTimer);
    PostThreadMessageA(thread, WM_TIMER, 1, procedure);
    PostQuitMessage(7);
    std::thread other([&] {
        for (int i = 0; i < 3; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            PostThreadMessageA(thread, WM_TIMER, 1, procedure);
        }
    });
    EXPECT_EQ(KSetUninstallOldProd("C:\\TEST\\REPORTER.EXE C:\\TEST\\report.txt 5 400", 1, "C:\\Windows"), 1);
    other.join();
    EXPECT_EQ(s_timers, 4);
    EXPECT_THAT(ReadBytes("C:\\TEST\\report.txt"), HasSubstr("directory=C:\\Windows\n"));
    EXPECT_EQ(control::SleptMilliseconds(), 20'000u) << "a command gets its aftermath";
    ASSERT_TRUE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) << "the end of the caller's own loop is not lost";
    EXPECT_EQ(message.message, WM_QUIT);
    EXPECT_EQ(message.wParam, 7u);
}

TEST_F(Removal, ProductCodeGoesToTheWindowsInstaller) {
    EXPECT_EQ(KSetUninstallOldProd("{X}", 0, ""), 1);
    EXPECT_EQ(control::SleptMilliseconds(), 0u);
    EXPECT_THAT(Trace(), HasSubstr("szCommandLine is MSIEXEC /x {X} /qn\r\nKSetUninstallOldProd() - End\r\n"));
    // A failed wait for messages still waits for the process; one that ended with 259 has ended.
    control::FailCall(control::CallKind::System, 3, ERROR_ACCESS_DENIED);
    EXPECT_EQ(KSetUninstallOldProd("C:\\TEST\\REPORTER.EXE C:\\TEST\\second.txt 3 100", 1, nullptr), 1);
    control::ClearFault();
    EXPECT_TRUE(FileExists("C:\\TEST\\second.txt"));
}

}  // namespace
