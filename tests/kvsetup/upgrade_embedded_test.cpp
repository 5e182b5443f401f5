// An upgrade as an administrator runs it: from the demo's old product, whose uninstaller is a program of the machine,
// to the medium's.
#include "platform/embedded/control/machine.h"
#include "tests/kvsetup/kvsetup_run.h"

namespace {

using testing::HasSubstr;

const std::string kNewRoot = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup";
const std::string kBackup = kNewRoot + "(BACKUP)";

class KvsetupUpgrade : public KvsetupRun {
  protected:
    void SetUp() override {
        KvsetupRun::SetUp();
        PlantOldProduct();
        SetText(HKEY_LOCAL_MACHINE, std::string(kOldRoot) + "\\CurrentVersion\\Options", "InstallPath", "C:\\OLD");
    }
    static std::string Device() {
        return GetText(HKEY_LOCAL_MACHINE, kNewRoot + "\\CurrentVersion\\Options\\Tape", "Device");
    }
    static bool IsOldThere() { return KeyExists(HKEY_LOCAL_MACHINE, kOldRoot); }
    static bool HasBackup() { return KeyExists(HKEY_LOCAL_MACHINE, kBackup); }
};

TEST_F(KvsetupUpgrade, TheQuestionAloneSaysWhichRuleDecided) {
    const nlohmann::json answer = RunJson("upgrade-check --product ZephraniteCB --json " + Source());
    EXPECT_EQ(answer["result"], 0);
    EXPECT_EQ(answer["installed"], "11.0 build 3840");
    EXPECT_EQ(answer["new"], "11.5 build 4231");
    EXPECT_THAT(answer["decidedBy"].get<std::string>(), HasSubstr("rule 01"));
    EXPECT_EQ(Run("upgrade-check --product Nothing " + Source()).exitCode, 6);
    AddMachine("OTHER");
    const RunResult other = Run("upgrade-check --product ZephraniteCB --target other " + Source());
    EXPECT_EQ(other.exitCode, 6);
    EXPECT_THAT(other.output, HasSubstr("the product is not installed"));
    EXPECT_EQ(Run("upgrade-check --product X").exitCode, 2);
    EXPECT_TRUE(IsOldThere());
}

TEST_F(KvsetupUpgrade, SettingsComeBackAndTheOldProductIsGone) {
    const RunResult result = Run(Upgrade());
    EXPECT_EQ(result.exitCode, 0) << result.output << result.errors;
    EXPECT_THAT(result.output, HasSubstr("Removing the old product"));
    EXPECT_EQ(Device(), "Tape0");
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kNewRoot + "\\CurrentVersion\\Options", "InstallPath"), "<none>");
    EXPECT_FALSE(IsOldThere());
    EXPECT_FALSE(HasBackup());
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kOldProgram));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, kNewRoot + "\\Base"));
    EXPECT_EQ(Run(Upgrade()).exitCode, 6) << "the same build is there now";
}

TEST_F(KvsetupUpgrade, ARemovalThatFailsStopsAndCanBeResumedOrDiscarded) {
    const std::string failing = "--uninstaller \"C:\\MISSING.EXE\"";
    const RunResult failed = Run(Upgrade(failing));
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.SaysInOneLine("still installed")) << failed.errors;
    EXPECT_THAT(failed.errors, HasSubstr("--resume"));
    EXPECT_TRUE(IsOldThere());
    EXPECT_TRUE(HasBackup());
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kNewRoot + "\\Base"));
    const RunResult stale = Run(Upgrade());
    EXPECT_EQ(stale.exitCode, 4);
    EXPECT_TRUE(stale.SaysInOneLine(kBackup)) << stale.errors;
    EXPECT_EQ(Run(Upgrade("--resume --discard")).exitCode, 2);
    SetText(HKEY_LOCAL_MACHINE, kBackup, "Stale", "x");
    EXPECT_EQ(Run(Upgrade("--discard " + failing)).exitCode, 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kBackup, "Stale"), "<none>");
    EXPECT_EQ(Run(Upgrade("--resume")).exitCode, 0);
    EXPECT_EQ(Device(), "Tape0");
    EXPECT_FALSE(HasBackup());
}

TEST_F(KvsetupUpgrade, AnInstallationThatFailedIsResumedWhenTheOldProductIsGone) {
    SetText(HKEY_LOCAL_MACHINE, kBackup + "\\CurrentVersion\\Options\\Tape", "Device", "Saved");
    DeleteKeyTree(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor");
    const RunResult resumed = Run(Upgrade("--resume"));
    EXPECT_EQ(resumed.exitCode, 0) << resumed.output << resumed.errors;
    EXPECT_EQ(Device(), "Saved");
    EXPECT_FALSE(HasBackup());
}

TEST_F(KvsetupUpgrade, NothingIsRemovedWhenASettingWouldBeLost) {
    SetText(HKEY_LOCAL_MACHINE, std::string(kOldRoot) + "\\CurrentVersion\\Options", std::string(200, 'n').c_str(),
            "x");
    const RunResult refused = Run(Upgrade());
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.errors, HasSubstr("Nothing was removed"));
    EXPECT_TRUE(IsOldThere());
    EXPECT_FALSE(HasBackup()) << "what was saved is taken back, too";
    EXPECT_EQ(Run(Upgrade("--accept-loss")).exitCode, 0);
    EXPECT_EQ(Device(), "Tape0");
}

}  // namespace
