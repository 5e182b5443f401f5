#include "instalib/setup_inf.h"

#include <string>

#include "tests/setupfiles/setup_files_fixture.h"

namespace {

class SetupInf : public SetupFiles {
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
    WriteBytes(Medium() + "\\SETUP.INF", "[Setup]\r\nProductType=24\r\n");
    CSetupInf inf;
    EXPECT_EQ(CurrentDirectory() + "\\", ProgramFolder());
    EXPECT_EQ(inf.SetKORsetupINFName((Medium() + "\\NONE.INF").c_str()), 1);
    EXPECT_STRCASEEQ(CurrentDirectory().c_str(), Medium().c_str());
    inf.SetKORsetupINFName(nullptr);
    EXPECT_EQ(CurrentDirectory() + "\\", ProgramFolder());
    inf.SetKORsetupINFName(("C:\\" + std::string(64 * 1024, 'x') + "\\SETUP.INF").c_str());
    EXPECT_EQ(inf.GetProductType(), -1);
    SetCurrentDirectoryA(Folder().c_str());
    inf.SetKORsetupINFName("MEDIUM\\SETUP.INF");  // resolved before its directory becomes current
    EXPECT_STRCASEEQ(CurrentDirectory().c_str(), Medium().c_str());
    EXPECT_EQ(inf.GetProductType(), 24);
}

TEST_F(SetupInf, SubTypeIsZeroToFive) {
    EXPECT_EQ(Open("").GetProductType(), -1);
    EXPECT_EQ(Open("").GetProductSubType(), -1);
    for (const auto& [value, subType] : {std::pair{"0", 0}, {"5", 5}, {"6", -1}, {"-1", -1}}) {
        EXPECT_EQ(Open(Entry("setup", "PRODSUBTYPE", value)).GetProductSubType(), subType);
    }
}

TEST_F(SetupInf, QueriesReadTheMediumAndKeepTheirAnswersWithoutIt) {
    CSetupInf inf = Open(
        "[Components]\r\nDataMigration=1\r\nOGTFrameWork=2\r\nOGTFrameWorkSetupFileName=BIN\\OGT.EXE\r\n"
        "OV_IE5InstallFileName=IE\\SETUP.EXE\r\nConfigFile=..\\CONFIG.INI\r\nMSISetup=X.MSI\r\nMSMSetup=E:\\X.MSM\r\n"
        "[Support]\r\nProductName=Backup\r\nSetupFileName=KVSETUP.EXE\r\n");
    const std::string paths = Joined(Medium() + "\\IE\\SETUP.EXE", Folder() + "\\CONFIG.INI", Medium() + "\\X.MSI");
    WriteBytes(Medium() + "\\EMPTY.INF", "[Components]\r\nMSISetup=\r\nOGTFrameWorkSetupFileName=\r\n");
    for (const char* file : {"SETUP.INF", "NONE.INF", "EMPTY.INF"}) {
        inf.SetKORsetupINFName((Medium() + "\\" + file).c_str());
        EXPECT_EQ(Joined(inf.IsHSMAvailable(), inf.IsOGTFWAvailable()), file[0] == 'E' ? "0|0|" : "1|2|");
        EXPECT_EQ(Joined(inf.GetOGTFWSetupFileName(), inf.GetSetupProductName(), inf.GetSetupFileName()),
                  "BIN\\OGT.EXE|Backup|KVSETUP.EXE|");
        EXPECT_STRCASEEQ(Joined(inf.GetIE5InstallFileName(), inf.GetConfigFileName(), inf.GetMsiFileName()).c_str(),
                         paths.c_str());
        EXPECT_STREQ(inf.GetMsmFileName(), "E:\\X.MSM");
    }
}

TEST_F(SetupInf, LongTextsAreCutAndLongPathsDropped) {
    const std::string text(64 * 1024, 'x');
    CSetupInf inf = Open(Entry("Support", "ProductName", text) + "SetupFileName=" + text + "\r\n" +
                         Entry("Components", "OGTFrameWorkSetupFileName", text) + "MSISetup=" + text + "\r\n");
    EXPECT_EQ(inf.GetSetupProductName(), std::string(254, 'x'));
    EXPECT_EQ(inf.GetSetupFileName(), std::string(260, 'x'));
    EXPECT_EQ(inf.GetOGTFWSetupFileName(), std::string(260, 'x'));
    EXPECT_STREQ(inf.GetMsiFileName(), "");
}

TEST_F(SetupInf, BuildRangeIsTwoNumbersOrOne) {
    const struct {
        const char* entry;
        const char* expected;  // result, from, to
    } rows[] = {
        {"120,350", "1|120|350|"},
        {",350", "1|0|350|"},
        {"350", "1|350|350|"},
        {"120,", "0|120|0|"},
        {"0", "0|0|0|"},
        {"-5,10", "0|-5|10|"},
        {"1,2,3", "1|1|2|"},
        {"12345,67890", "1|12345|678|"},  // nine characters count
        {"old,new", "0|0|0|"},
        {"12345678901234", "1|123456789|123456789|"},
        {"", "0|0|0|"},
    };
    int from, to;
    const auto ask = [&](CSetupInf inf, const char* key) {
        from = to = 77;
        const int result = inf.GetUpdateBuildNoRange(key, &from, &to);
        return Joined(result, from, to);
    };
    for (const auto& row : rows)
        EXPECT_EQ(ask(Open(Entry("BuildNumber", "Korvault", row.entry)), "Korvault"), row.expected);
    EXPECT_EQ(ask(Open(Entry("BuildNumber", "Other", "1,2")), "Korvault"), "0|0|0|");
    EXPECT_EQ(ask(CSetupInf(), "Other"), "0|0|0|");  // no file
}

}  // namespace
