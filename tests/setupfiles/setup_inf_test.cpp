#include "instalib/setup_inf.h"

#include <string>

#include "tests/support/fresh_machine.h"

namespace {

class SetupInf : public FreshMachine {
  protected:
    static std::string Medium() { return Folder() + "\\MEDIUM"; }
    static CSetupInf Open(const std::string& content) {
        WriteBytes(Medium() + "\\SETUP.INF", content);
        CSetupInf inf;
        EXPECT_EQ(inf.SetKORsetupINFName((Medium() + "\\SETUP.INF").c_str()), 1);
        return inf;
    }
    static std::string CurrentDirectory() {
        char path[MAX_PATH] = "";
        GetCurrentDirectoryA(sizeof path, path);
        return path;
    }
};

TEST_F(SetupInf, ConstructionAndNamingMakeTheDirectoryCurrentEvenWithoutAFile) {
    MakeFolder(Medium());
    SetCurrentDirectoryA("C:\\");
    CSetupInf inf;
    EXPECT_EQ(CurrentDirectory() + "\\", ProgramFolder());
    inf.SetKORsetupINFName((Medium() + "\\NONE.INF").c_str());
    EXPECT_STRCASEEQ(CurrentDirectory().c_str(), Medium().c_str());
    inf.SetKORsetupINFName(nullptr);
    EXPECT_EQ(CurrentDirectory() + "\\", ProgramFolder());
}

TEST_F(SetupInf, RelativeNameResolvesBeforeItsDirectoryBecomesCurrent) {
    WriteBytes(Medium() + "\\SETUP.INF", "[Setup]\r\nProductType=24\r\n");
    CSetupInf inf;
    SetCurrentDirectoryA(Folder().c_str());
    inf.SetKORsetupINFName("MEDIUM\\SETUP.INF");
    EXPECT_STRCASEEQ(CurrentDirectory().c_str(), Medium().c_str());
    EXPECT_EQ(inf.GetProductType(), 24);
}

TEST_F(SetupInf, TypeAndSubTypeOfTheMedium) {
    const auto subType = [](const char* value) {
        return Open(std::string("[setup]\r\nPRODSUBTYPE=") + value + "\r\n").GetProductSubType();
    };
    EXPECT_EQ(subType("0"), 0);
    EXPECT_EQ(subType("5"), 5);
    EXPECT_EQ(subType("6"), -1);
    EXPECT_EQ(subType("-1"), -1);
    EXPECT_EQ(Open("[Setup]\r\nProductType=1027\r\n").GetProductType(), 1027);
    EXPECT_EQ(Open("").GetProductType(), -1);
    EXPECT_EQ(Open("").GetProductSubType(), -1);
}

TEST_F(SetupInf, ComponentsAndSupport) {
    CSetupInf inf = Open(
        "[Components]\r\nDataMigration=1\r\nOGTFrameWork=2\r\nOGTFrameWorkSetupFileName=BIN\\OGT.EXE\r\n"
        "[Support]\r\nProductName=Backup\r\nSetupFileName=KVSETUP.EXE\r\n");
    EXPECT_EQ(inf.IsHSMAvailable(), 1);
    EXPECT_EQ(inf.IsOGTFWAvailable(), 2);
    EXPECT_STREQ(inf.GetOGTFWSetupFileName(), "BIN\\OGT.EXE");
    EXPECT_STREQ(inf.GetSetupProductName(), "Backup");
    EXPECT_STREQ(inf.GetSetupFileName(), "KVSETUP.EXE");
}

TEST_F(SetupInf, PathsAreFullInsideTheMedium) {
    CSetupInf inf = Open(
        "[Components]\r\nOV_IE5InstallFileName=IE\\SETUP.EXE\r\nConfigFile=..\\CONFIG.INI\r\nMSISetup=X.MSI\r\n"
        "MSMSetup=E:\\X.MSM\r\n");
    EXPECT_STRCASEEQ(inf.GetIE5InstallFileName(), (Medium() + "\\IE\\SETUP.EXE").c_str());
    EXPECT_STRCASEEQ(inf.GetConfigFileName(), (Folder() + "\\CONFIG.INI").c_str());
    EXPECT_STRCASEEQ(inf.GetMsiFileName(), (Medium() + "\\X.MSI").c_str());
    EXPECT_STREQ(inf.GetMsmFileName(), "E:\\X.MSM");
}

TEST_F(SetupInf, WithoutAFileTheKeptAnswersStand) {
    CSetupInf inf = Open("[Components]\r\nDataMigration=1\r\nMSISetup=X.MSI\r\n[Support]\r\nProductName=Backup\r\n");
    inf.IsHSMAvailable();
    inf.GetSetupProductName();
    const std::string package = inf.GetMsiFileName();
    inf.SetKORsetupINFName((Medium() + "\\NONE.INF").c_str());
    EXPECT_EQ(inf.IsHSMAvailable(), 1);
    EXPECT_STREQ(inf.GetSetupProductName(), "Backup");
    EXPECT_EQ(inf.GetMsiFileName(), package);
    EXPECT_EQ(inf.GetProductType(), -1);
    EXPECT_STREQ(inf.GetConfigFileName(), "");
    WriteBytes(Medium() + "\\EMPTY.INF", "[Components]\r\nMSISetup=\r\n");
    inf.SetKORsetupINFName((Medium() + "\\EMPTY.INF").c_str());
    EXPECT_EQ(inf.GetMsiFileName(), package);
    EXPECT_EQ(inf.IsHSMAvailable(), 0);
}

TEST_F(SetupInf, LongTextsAreCutAndLongPathsDropped) {
    const std::string tooLong(64 * 1024, 'x');
    CSetupInf inf =
        Open("[Support]\r\nProductName=" + tooLong + "\r\nSetupFileName=" + tooLong +
             "\r\n[Components]\r\nOGTFrameWorkSetupFileName=" + tooLong + "\r\nMSISetup=" + tooLong + "\r\n");
    EXPECT_EQ(inf.GetSetupProductName(), std::string(254, 'x'));
    EXPECT_EQ(inf.GetSetupFileName(), std::string(260, 'x'));
    EXPECT_EQ(inf.GetOGTFWSetupFileName(), std::string(260, 'x'));
    EXPECT_STREQ(inf.GetMsiFileName(), "");
}

TEST_F(SetupInf, OverlongNameIsNoFile) {
    CSetupInf inf;
    inf.SetKORsetupINFName(("C:\\" + std::string(64 * 1024, 'x') + "\\SETUP.INF").c_str());
    EXPECT_EQ(inf.GetProductType(), -1);
}

TEST_F(SetupInf, RubbishIsReadAsNothing) {
    const char head[] = "[Setup]\0\xff\xfe=ProductType\r\n[[[\r\n=\r\n";
    std::string rubbish(head, sizeof head);
    for (int i = 0; i < 70000; ++i) rubbish += char((i * 7919 + i / 256) & 0xff);
    CSetupInf inf = Open(rubbish);
    EXPECT_EQ(inf.GetProductType(), -1);
    EXPECT_STREQ(inf.GetSetupFileName(), "");
    EXPECT_EQ(inf.IsHSMAvailable(), 0);
}

struct RangeCase {
    const char* name;
    const char* entry;
    int from, to, result;
};

class SetupInfRange : public SetupInf, public testing::WithParamInterface<RangeCase> {};

TEST_P(SetupInfRange, IsParsed) {
    const RangeCase& range = GetParam();
    CSetupInf inf = Open(std::string("[BuildNumber]\r\nZephraniteCB=") + range.entry + "\r\n");
    int from = 77, to = 77;
    EXPECT_EQ(inf.GetUpdateBuildNoRange("ZephraniteCB", &from, &to), range.result);
    EXPECT_EQ(from, range.from);
    EXPECT_EQ(to, range.to);
}

INSTANTIATE_TEST_SUITE_P(All, SetupInfRange,
                         testing::Values(RangeCase{"Both", "120,350", 120, 350, 1},
                                         RangeCase{"OpenStart", ",350", 0, 350, 1},
                                         RangeCase{"OneBuild", "350", 350, 350, 1},
                                         RangeCase{"OpenEnd", "120,", 120, 0, 0}, RangeCase{"Zero", "0", 0, 0, 0},
                                         RangeCase{"Negative", "-5,10", -5, 10, 0},
                                         RangeCase{"FirstCommaCounts", "1,2,3", 1, 2, 1},
                                         RangeCase{"NineCharacters", "12345,67890", 12345, 678, 1},
                                         RangeCase{"NineDigits", "12345678901234", 123456789, 123456789, 1},
                                         RangeCase{"Words", "old,new", 0, 0, 0}, RangeCase{"Empty", "", 0, 0, 0}),
                         [](const auto& row) { return row.param.name; });

TEST_F(SetupInf, RangeOfAMissingEntryOrFileIsZero) {
    int from = 77, to = 77;
    CSetupInf inf = Open("[BuildNumber]\r\nOther=1,2\r\n");
    EXPECT_EQ(inf.GetUpdateBuildNoRange("ZephraniteCB", &from, &to), 0);
    EXPECT_EQ(from + to, 0);
    from = to = 77;
    inf.SetKORsetupINFName((Medium() + "\\NONE.INF").c_str());
    EXPECT_EQ(inf.GetUpdateBuildNoRange("Other", &from, &to), 0);
    EXPECT_EQ(from + to, 0);
}

}  // namespace
