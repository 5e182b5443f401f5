// The decision: rule by rule, and all combinations against an oracle written from the decision's table.
#include "tests/upgrade/upgrade_fixture.h"

namespace {

class Decision : public UpgradeTest {
  protected:
    void SetUp() override {
        UpgradeTest::SetUp();
        Make(kUninstall + kCode);
    }
    static std::string Rule(const std::string& more = "") {
        return std::string("ProductCode01=") + kCode + "\r\n" + more;
    }
};

TEST_F(Decision, AnswersAndTheWordThatGoesWithThem) {
    const struct {
        const char* title;
        WORD version, build;
        int subType;
        std::string rules;
        int answer;
    } cases[] = {
        {"same build", 0x0B05, 4200, 1, "", 3},
        {"no rule", 0x0B01, 4000, 1, "", 1},
        {"covered", 0x0B01, 4000, 1, Rule(), 0},
        {"the build must grow", 0x0B01, 4200, 1, Rule(), 1},
        {"in both ranges", 0x0B01, 4000, 1, Rule("VersionRange01=11.0,11.4\r\nBuildRange01=3500,4100\r\n"), 0},
        {"outside the builds", 0x0B01, 4000, 1, Rule("VersionRange01=11.0,11.4\r\nBuildRange01=4100,5000\r\n"), 1},
        {"outside the versions", 0x0A01, 4000, 1, Rule("VersionRange01=11.0,11.4\r\n"), 1},
        {"newer", 0x0C00, 10, 1, Rule(), 1},
        {"subtype as a substring", 0x0B01, 4000, 1, Rule("ProdSubType01=12,13\r\n"), 0},
        {"signed subtype", 0x0B01, 4000, -3, Rule("ProdSubType01=-3\r\n"), 0},
        {"other subtype", 0x0B01, 4000, 4, Rule("ProdSubType01=12,13\r\n"), 1},
        {"second rule", 0x0B01, 4000, 1, std::string("ProductCode01={none}\r\nProductCode02=") + kCode + "\r\n", 0},
        {"behind a gap", 0x0B01, 4000, 1, std::string("ProductCode01={none}\r\nProductCode03=") + kCode + "\r\n", 1},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.title);
        Rules(each.rules);
        Install(each.version, each.build, each.subType);
        DWORD word = 0;
        EXPECT_EQ(Ask(&word), each.answer);
        EXPECT_EQ(word, DWORD(each.build) << 16 | each.version);
        EXPECT_EQ(Ask(nullptr), each.answer);
        CUpgradeCheck check(kMedium, "Agent", nullptr);
        EXPECT_EQ(check.GetResult(), each.answer);
        EXPECT_STRNE(check.GetReason(), "");
    }
}

TEST_F(Decision, ProductThatIsNotRegisteredLeavesTheWordAlone) {
    DWORD word = 4711;
    EXPECT_EQ(Ask(&word, "Unknown"), 2);
    EXPECT_EQ(Ask(&word, nullptr), 2);
    EXPECT_EQ(word, 4711u);
}

TEST_F(Decision, MissingFileRefusesOrFindsTheSameNothing) {
    DWORD word = 0;
    Install(0x0B01, 4000);
    EXPECT_EQ(KSetIsAllowUpgrade("C:\\TEST\\none", "Agent", &word, nullptr), 1);
    EXPECT_EQ(word, 4000u << 16 | 0x0B01);
    Install(0, 0);
    EXPECT_EQ(KSetIsAllowUpgrade("C:\\TEST\\none", "Agent", &word, nullptr), 3);
}

// The decision's table, read from top to bottom; no word of the code's.
int Oracle(int vo, int bo, int vn, int bn, bool versionsGiven, int v1, int v2, bool buildsGiven, int b1, int b2) {
    if (vn == vo && bn == bo) return 3;
    const bool buildsHold = bn > bo && (!buildsGiven || (b1 <= bo && bo <= b2));
    if (vn < vo) return 1;
    if (vn == vo) return buildsHold ? 0 : 1;
    if (versionsGiven && (vo < v1 || vo > v2)) return 1;
    return buildsHold ? 0 : 1;
}

TEST_F(Decision, AgreesWithTheTableOnEveryCombination) {
    struct Ends {
        const char* text;
        int lower, upper;
    };
    const Ends versions[] = {
        {"", 0, 0}, {"9.0,11.1", 0x0900, 0x0B01}, {"11.5", 0, 0x0B05}, {"11.5,9.0", 0x0B05, 0x0900}};
    const Ends builds[] = {{"", 0, 0}, {"100,200", 100, 200}, {"150", 0, 150}};
    SetEnvironmentVariableA("UPGRADE_INSTALIB", nullptr);
    int allowed = 0;
    for (const Ends& version : versions) {
        for (const Ends& build : builds) {
            Rules(Rule(std::string("VersionRange01=") + version.text + "\r\nBuildRange01=" + build.text + "\r\n"));
            for (const int vo : {0x0500, 0x0900, 0x0A05, 0x0B01, 0x0B05, 0x0C00}) {
                for (const int bo : {99, 100, 150, 200, 201}) {
                    Install(WORD(vo), WORD(bo));
                    for (const auto& [vn, bn] : {std::pair{0x0B05, 150}, {0x0B05, 300}, {0x0900, 201}}) {
                        New((std::to_string(vn >> 8) + "." + std::to_string(vn & 255)).c_str(),
                            std::to_string(bn).c_str());
                        const int expected = Oracle(vo, bo, vn, bn, *version.text != 0, version.lower, version.upper,
                                                    *build.text != 0, build.lower, build.upper);
                        ASSERT_EQ(Ask(), expected)
                            << vo << ' ' << bo << ' ' << vn << ' ' << bn << ' ' << version.text << ' ' << build.text;
                        allowed += expected == 0;
                    }
                }
            }
        }
    }
    EXPECT_GT(allowed, 50);
}

TEST_F(Decision, IsTracedLineByLine) {
    Rules(Rule("ProdSubType01=12\r\n"));
    Install(0x0B01, 4000);
    const Lines fresh = {"ProductCode is {NEW}",   "ProductSubType is 7",           "ProductDescriptor is Agent",
                         "UpgradeMsgID is 1201",   "InvalidUpgradeMsgID is 1202",   "RegBKRootKey is " + kBackup,
                         "RegRootKey is " + kRoot, "newproduct getBuildNo is 4200", "newproduct getVersionNo is 11.5"};
    ClearTrace();
    { const CProduct rule(File().c_str(), 1, nullptr); }
    const std::string rule = Trace();
    const std::string path = File();
    ClearTrace();
    EXPECT_EQ(KSetIsAllowUpgrade("C:\\TEST\\medium\\\\", "Agent", nullptr, nullptr), 0);
    EXPECT_EQ(
        Trace(),
        Traced({"KSetIsAllowUpgrade() - Start", "GetInfFileName() - Start ", "GetInfFileName() - End - Return " + path,
                "szSetupInf is " + path, "KsetIsAllowUpgrade() - Start", "initialize for new product************"}) +
            Traced(fresh) + Traced({"initialize for old product************"}) + rule +
            Traced({"IsProductInstalled() - Start", "oldproduct getBuildNo is 4000", "oldproduct getVersionNo is 2817",
                    "oldproduct getVersionNo(*.*) is 11.1", "IsProductCodeInUnInstall() - Start",
                    "IsProductCodeInUnInstall() - End - Return TRUE", "oldproduct getProductSubType() is 1",
                    "IsProductInstalled() - End - Return TRUE", "IsAllowProductUpgrade() - Start",
                    "IsInVersionRange() - Start", "IsInVersionRange() - End - Return 2",
                    "IsCompareVersionBuild() - Start", "IsCompareVersionBuild() - End - Return TRUE",
                    "IsAllowProductUpgrade() - End - Return 0", "Product is in setup.inf and 0",
                    "KsetIsAllowUpgrade() - End - Return 0", "KSetIsAllowUpgrade() - End - Return 0,"}));
}

}  // namespace
