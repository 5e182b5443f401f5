// What an installation and its removal leave of a machine, compared as a whole: registry, services, accounts, shares,
// rights and files.
#include <cstring>
#include <thread>

#include "platform/embedded/control/accounts.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/registry.h"
#include "tests/kvsetup/kvsetup_run.h"

namespace control = embedded::control;

namespace {

using Lines = std::vector<std::string>;

class WholeMachine : public KvsetupRun {
  protected:
    void SetUp() override {
        KvsetupRun::SetUp();
        // The medium's drive belongs to the machine before and after.
        control::MountDrive('D', Medium());
    }
    std::filesystem::path Save(const char* name) {
        const std::filesystem::path state = Scratch() / name;
        std::string problem;
        EXPECT_TRUE(control::SaveState(MachineFolder(), state, &problem)) << problem;
        return state;
    }
    Lines Since(const std::filesystem::path& state) {
        Lines lines;
        std::string problem;
        EXPECT_TRUE(control::Diff(state, MachineFolder(), &lines, &problem)) << problem;
        return lines;
    }
    void InstallAndRemove() {
        const RunResult installed = Run(BatchInstall());
        ASSERT_EQ(installed.exitCode, 0) << installed.output << installed.errors;
        const RunResult removed = Run("uninstall --yes " + Source());
        ASSERT_EQ(removed.exitCode, 0) << removed.output << removed.errors;
    }
};

// What a removal leaves on purpose: the log, "RNNAME" of the environment, the ".asx" key without its value, the rights
// that the backup operators were given, and the number of the account that is never given out again.
bool IsNeverRemoved(const std::string& line) {
    static const char* const kept[] = {"C:\\KVSETUP.LOG", "\"RNNAME\"", "SOFTWARE\\Classes\\.asx]",
                                       "META\\Accounts\\Rights\\S-1-5-32-551]", "META\\Accounts] \"NextRid\""};
    for (const char* text : kept) {
        if (line.find(text) != line.npos) return line[0] != '-';
    }
    return false;
}

Lines Unexpected(const Lines& lines) {
    Lines unexpected;
    for (const std::string& line : lines) {
        if (!IsNeverRemoved(line)) unexpected.push_back(line);
    }
    return unexpected;
}

// One kind of machine on which an installation comes and goes.
struct World {
    const char* name;
    void (*prepare)();
};
void PrintTo(const World& world, std::ostream* stream) { *stream << world.name; }

void SetTextValue(HKEY root, const char* key, const char* name, const char* text) {
    HKEY handle = nullptr;
    ASSERT_EQ(RegCreateKeyExA(root, key, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, nullptr), 0);
    RegSetValueExA(handle, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), DWORD(std::strlen(text) + 1));
    RegCloseKey(handle);
}

void PrepareFresh() {}

void PrepareOtherProduct() {
    SetTextValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\Another Product\\Base", "Kept", "other");
    SetTextValue(HKEY_CURRENT_USER, "SOFTWARE\\Orvanex\\Another Product", "Kept", "other");
    SetTextValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\OV-InstalledITProducts\\Another Product", "DisplayName",
                 "Another");
    SetTextValue(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment", "OTHERPATH",
                 "C:\\O");
    SetTextValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Another", "DisplayName",
                 "Another");
}

void PrepareOtherAgent() {
    const char* const agent = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\DBAgents\\dbaora";
    SetTextValue(HKEY_LOCAL_MACHINE, agent, "dll", "C:\\AGENTS\\ORA\\DBAORA.DLL");
}

void PrepareProfiles() {
    for (const char* profile : {"S-1-5-21-1-2-3-1001", "S-1-5-21-1-2-3-1002"}) {
        const std::string key = std::string("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\") + profile;
        SetTextValue(HKEY_LOCAL_MACHINE, key.c_str(), "ProfileImagePath", "C:\\Users\\Someone");
        SetTextValue(HKEY_LOCAL_MACHINE, (key + "\\SOFTWARE\\Orvanex\\Another Product").c_str(), "Kept", "other");
    }
}

void PrepareGenerations() {
    for (const char* root : {"SOFTWARE\\Orvanex\\KorvaultIT", "SOFTWARE\\Halvenor\\Korvault\\CurrentVersion",
                             "SOFTWARE\\Orvanex\\Sarvex", "SOFTWARE\\Orvanex\\Zephranite Enterprise Backup"}) {
        const std::string base = std::string(root) + "\\Base\\Path";
        SetTextValue(HKEY_LOCAL_MACHINE, base.c_str(), "HOME", "C:\\OLD");
        SetTextValue(HKEY_LOCAL_MACHINE, (std::string(root) + "\\Products").c_str(), "Note", "no record");
    }
    SetTextValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor\\Korvault\\CurrentVersion\\SNMP", "Pathname",
                 "C:\\OLD\\tasnmp.dll");
}

class RemovalOn : public WholeMachine, public testing::WithParamInterface<World> {};

TEST_P(RemovalOn, LeavesTheMachineAsItWas) {
    GetParam().prepare();
    const std::filesystem::path before = Save("before.txt");
    InstallAndRemove();
    EXPECT_THAT(Unexpected(Since(before)), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Machines, RemovalOn,
                         testing::Values(World{"Fresh", PrepareFresh}, World{"OtherProduct", PrepareOtherProduct},
                                         World{"OtherAgent", PrepareOtherAgent}, World{"Profiles", PrepareProfiles},
                                         World{"Generations", PrepareGenerations}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(WholeMachine, TheSecondInstallationChangesNothing) {
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    const std::filesystem::path first = Save("first.txt");
    const RunResult again = Run(BatchInstall());
    EXPECT_EQ(again.exitCode, 0) << again.errors;
    EXPECT_THAT(again.output, testing::HasSubstr("mode                  reconfiguration"));
    Lines changed = Since(first);
    std::erase_if(changed, [](const std::string& line) {
        return line.find("C\\KVSETUP.2.REC") != line.npos || line.find("C:\\KVSETUP.") != line.npos;
    });
    EXPECT_THAT(changed, testing::IsEmpty());
}

TEST_F(WholeMachine, TwoInstallationsAtOnceBothSucceed) {
    const std::string install = BatchInstall();
    int first = -1;
    std::thread other([&] { first = RunQuietly(install); });
    const int second = RunQuietly(install);
    other.join();
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(Run("uninstall --yes " + Source()).exitCode, 0);
    EXPECT_FALSE(KeyExists("SOFTWARE\\Orvanex"));
}

// Killed at some moment, the front end leaves a machine that a further run completes and a removal cleans.
TEST_F(WholeMachine, AKilledInstallationIsCompletedByTheNextOrRemoved) {
    const std::filesystem::path before = Save("before.txt");
    for (const int milliseconds : {5, 15, 30, 50, 80}) {
        SCOPED_TRACE(milliseconds);
        RunAndKill(BatchInstall(), milliseconds);
        const RunResult completed = Run(BatchInstall());
        EXPECT_EQ(completed.exitCode, 0) << completed.output << completed.errors;
        RunAndKill(BatchInstall(), milliseconds);
        const RunResult removed = Run("uninstall --yes " + Source());
        EXPECT_EQ(removed.exitCode, 0) << removed.output << removed.errors;
        EXPECT_THAT(Unexpected(Since(before)), testing::IsEmpty());
    }
}

TEST_F(WholeMachine, AStandardUserIsToldToBeAnAdministrator) {
    const std::filesystem::path before = Save("before.txt");
    ASSERT_TRUE(control::SetCurrentUser("Guest"));
    const RunResult result = Run(BatchInstall());
    ASSERT_TRUE(control::SetCurrentUser("Administrator"));
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_TRUE(result.SaysInOneLine("administrator")) << result.errors;
}

TEST_F(WholeMachine, AWrongPasswordOfAnExistingAccountStopsTheInstallation) {
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    ASSERT_EQ(Run("uninstall --yes " + Source()).exitCode, 0);
    USER_INFO_1 user{};
    char16_t name[] = u"kvsystem";
    char16_t password[] = u"another";
    user.usri1_name = name;
    user.usri1_password = password;
    user.usri1_priv = USER_PRIV_USER;
    ASSERT_EQ(NetUserAdd(nullptr, 1, reinterpret_cast<BYTE*>(&user), nullptr), 0u);
    const RunResult result = Run(BatchInstall());
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(result.SaysInOneLine("kvsystem has another password")) << result.errors;
    EXPECT_EQ(Run("uninstall --yes " + Source()).exitCode, 6) << "nothing was begun";
    EXPECT_EQ(NetUserDel(nullptr, name), 0u) << "an account that was there before stays";
}

TEST_F(WholeMachine, OutputThatNobodyTakesIsAnErrorAndNeverHalfASetup) {
    for (const char* command : {"services list", "machine export -", "answers new", "medium keys"})
        EXPECT_EQ(Run(std::string(command) + " >/dev/full #").exitCode, 1) << command;
    EXPECT_EQ(Run(BatchInstall() + " | head -n 1 #").exitCode, 0);
    EXPECT_EQ(Run("verify").exitCode, 0) << "it was done whole";
    EXPECT_EQ(Run("uninstall --yes >/dev/full #").exitCode, 0);
}

TEST_F(WholeMachine, DrivesAreMountedUnderLettersAndNeverOverTheSystem) {
    const std::string folder = " '" + Scratch().string() + "'";
    for (const char* letter : {"1", "AB", "''", "C", "c:", "."})
        EXPECT_EQ(Run(std::string("machine mount ") + letter + folder).exitCode, 3) << letter;
    EXPECT_EQ(Run("machine mount q:" + folder).exitCode, 0);
    EXPECT_TRUE(FileExists("Q:\\"));
}

TEST_F(WholeMachine, ADamagedOneIsNamedCheckedAndRepaired) {
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    EXPECT_EQ(Run("machine check").exitCode, 0);
    const std::filesystem::path file = MachineFolder() / "registry" / "store";
    const std::uintmax_t size = std::filesystem::file_size(file) - 1;
    std::filesystem::resize_file(file, size);
    for (const char* command : {"status", "services list", "uninstall --yes", "machine export -"}) {
        const RunResult refused = Run(command);
        EXPECT_EQ(refused.exitCode, 10) << command;
        EXPECT_TRUE(refused.SaysInOneLine(file.string() + " is damaged: it ends at byte")) << refused.errors;
        EXPECT_THAT(refused.errors, testing::HasSubstr("kvsetup machine repair"));
    }
    const RunResult checked = Run("machine check \"" + MachineFolder().string() + '"');
    EXPECT_EQ(checked.exitCode, 1);
    EXPECT_THAT(checked.errors, testing::AllOf(testing::HasSubstr("store is damaged: "),
                                               testing::HasSubstr("whole frames up to byte")));
    EXPECT_EQ(std::filesystem::file_size(file), size);
    const RunResult repaired = Run("machine repair");
    EXPECT_EQ(repaired.exitCode, 0) << repaired.errors;
    EXPECT_THAT(repaired.output, testing::ContainsRegex("saved the damaged file as .*store.damaged"));
    EXPECT_THAT(repaired.output, testing::HasSubstr("lost the bytes"));
    EXPECT_EQ(std::filesystem::file_size(file.string() + ".damaged"), size);
    EXPECT_EQ(Run("status").exitCode, 0);
    EXPECT_THAT(Run("machine repair").output, testing::HasSubstr("is sound"));
}

}  // namespace
