#include <string>
#include <tuple>

#include "instalib/current_user.h"
#include "instalib/product_record.h"
#include "tests/setupfiles/setup_files_fixture.h"

namespace {

const std::string kFamily = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup";
const std::string kPaths = kFamily + "\\Base\\Path";
const std::string kAlert = "SOFTWARE\\Orvanex\\ALERT\\CurrentVersion";

// The front end's session on a machine whose medium is the test's folder.
class Initialization : public SetupFiles {
  protected:
    void SetUp() override {
        SetupFiles::SetUp();
        const std::string windows = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
        SetText(windows, "RegisteredOwner", "Owner");
        SetText(windows, "RegisteredOrganization", "Works");
        m_info.productType = 133;
        Fill(m_info.sourcePath, Folder() + "\\");
    }

    static void Medium(const std::string& content) { WriteBytes(Folder() + "\\SETUP.INF", content); }
    void Answers(const std::string& content) {
        Fill(m_info.batchFile, AnswersFile());
        WriteBytes(AnswersFile(), content);
    }
    static void Marker(const std::string& content) { WriteBytes(WindowsFolder() + "HOST.INI", content); }
    static void Antivirus() { WriteBytes(WindowsFolder() + "SCANNER.ALT", ""); }
    static void PlaceProductMap(const std::string& kind) {
        PlaceLibrary("HALVPROD_" + kind + ".DLL", Folder() + "\\HalvProd.dll");
    }
    CSettings Initialized(int uninstall = 0) {
        CSettings settings(&m_info, uninstall);
        settings.Initialize();
        return settings;
    }
    static std::string Components(CSettings& s) {
        return Joined(s.InstallManager(), s.InstallServer(), s.InstallAdmin(), s.InstallAlert(), s.InstallAV(),
                      s.InstallHSM(), s.InstallOGT());
    }
    static void Register(WORD version, signed char subType = 0) {
        tagProductStruct record{};
        record.wVersion = version;
        record.cSubType = subType;
        const auto* bytes = reinterpret_cast<const BYTE*>(&record);
        SetRaw(kFamily + "\\Products", "Product133", REG_BINARY, TestBytes(bytes, bytes + sizeof record));
    }

    tagSETUP_INFO m_info{};
};

TEST_F(Initialization, ProductMapNamesProductAndComponentCodeAndAnOldVersionIsAnUpgrade) {
    const auto ask = [&] {
        CSettings s = Initialized();
        return Joined(s.Product(), s.ComponentCode());
    };
    EXPECT_EQ(ask(), "||");
    PlaceProductMap("BARE");
    EXPECT_EQ(ask(), "||");
    PlaceProductMap("UNTERMINATED");
    EXPECT_EQ(ask(), Joined(std::string(24, 'n'), "CCCCCCCC"));
    PlaceProductMap("GOOD");
    EXPECT_EQ(ask(), "Product133|C133X25|");  // the low byte of -1 is 255; the eighth byte ends the code
    Medium("[Setup]\r\nProdSubType=2\r\n");
    EXPECT_EQ(ask(), "Product133|C133X2|");
    EXPECT_EQ(Initialized().IsUpgrade(), 0);
    Register(0x0605);  // below 6.6
    EXPECT_EQ(Initialized().IsUpgrade(), 1);
    Register(0x0606);
    EXPECT_EQ(Initialized().IsUpgrade(), 0);
}

TEST_F(Initialization, FreshMachineHasNothingAndGetsTheDefaultPaths) {
    CSettings s = Initialized();
    CCurrentUser user;
    EXPECT_EQ(Joined(s.RegisteredUser(), s.RegisteredCompany(), s.CurrentKorvaultPath()), "Owner|Works||");
    EXPECT_EQ(Joined(s.KorvaultExists(), s.AlertExists(), s.PhagrixExists(), s.DBExists(), s.QueueExists(),
                     s.NewAlertExists(), s.RemoteSetup(), s.CustomSetup()),
              "0|0|0|0|0|0|0|0|");
    EXPECT_EQ(Joined(s.KorvaultPath(), s.AlertPath()), "C:\\Program Files\\|C:\\Program Files\\ALERT\\|");
    EXPECT_EQ(Joined(s.SystemAccountServer(), s.SystemAccountDomain(), s.SystemAccountName()),
              Joined(ComputerName(), user.GetDomain(), user.GetUser()));
}

TEST_F(Initialization, InstalledServerIsFound) {
    SetText(kPaths, "HOME", Folder());
    SetText(kPaths, "DATABASE", Folder() + "\\DB");
    SetText(kAlert + "\\Path", "HOME", "C:\\A");
    WriteBytes(Folder() + "\\DB\\OTHER.DBD", "x");
    EXPECT_EQ(Initialized().DBExists(), 0);  // no file of the product
    WriteBytes(Folder() + "\\DB\\KVCAT.DBD", "x");
    Antivirus();
    for (const LONG type : {133, 24, 25, 105, 1027}) {
        m_info.productType = type;
        CSettings s = Initialized();
        EXPECT_EQ(Joined(s.KorvaultExists(), s.CurrentKorvaultPath(), s.KorvaultPath(), s.NewKorvaultInstall()),
                  Joined(1, Folder() + "\\", Folder() + "\\", 0));
        EXPECT_EQ(Joined(s.AlertExists(), s.CurrentAlertPath(), s.PhagrixExists(), s.DBExists()),
                  type == 1027  ? "0||0|0|"
                  : type == 105 ? "1|C:\\A\\|1|0|"
                                : "1|C:\\A\\|1|1|");
        s.KorvaultPath("c:\\test");
        EXPECT_EQ(s.NewKorvaultInstall(), 1);  // the same directory, but letter case counts
    }
}

TEST_F(Initialization, AlertOfTheMediumMayBeOlder) {
    PlaceLibrary("SETUPFILES_ALERTVER.DLL", ProgramFolder() + "ALERTVER.DLL");  // build 200
    for (const LONG type : {133, 105}) {
        m_info.productType = type;
        SetText(kAlert, "CurrentBuildNumber", "201");
        EXPECT_EQ(Initialized().NewAlertExists(), 1);
        EXPECT_EQ(Initialized(1).NewAlertExists(), 0);  // not asked when removing
        SetText(kAlert, "CurrentBuildNumber", "200");
        EXPECT_EQ(Initialized().NewAlertExists(), 0);
    }
    DeleteFileA((ProgramFolder() + "ALERTVER.DLL").c_str());
    EXPECT_EQ(Initialized().NewAlertExists(), 1);  // without the library the medium has build 0
}

TEST_F(Initialization, RemovalFollowsTheInstalledProductTheAntivirusAndInABatchTheAnswers) {
    PlaceProductMap("GOOD");
    Register(0x0605, -3);
    CSettings s = Initialized(1);
    EXPECT_EQ(Joined(s.ProductSubType(), s.UninstallSQL(), s.IsUpgrade(), s.KorvaultPath()), "-3|0|0||");
    const auto ask = [&] {
        CSettings settings = Initialized(1);
        return Joined(settings.UninstallKorvault(), settings.UninstallAlert());
    };
    const struct {
        int batch;
        const char* answers;
        const char* expected;
    } rows[] = {{0, "[Uninstall]\r\nSeverFeature=0\r\nAlertFeature=0\r\n", "1|1|"},
                {1, "[Uninstall]\r\nSeverFeature=0\r\nAlertFeature=1\r\n", "0|1|"},
                {1, "[Uninstall]\r\nAlertFeature=0\r\n", "1|0|"},
                {1, "", "1|1|"}};
    for (const auto& row : rows) {
        m_info.batchOperation = row.batch;
        Answers(row.answers);
        EXPECT_EQ(ask(), row.expected);
    }
    Antivirus();
    for (m_info.batchOperation = 0; m_info.batchOperation < 2; ++m_info.batchOperation) EXPECT_EQ(ask(), "1|0|");
    m_info.productType = 1027;
    Marker("[HostServer]\r\nName=HOSTX\r\n");
    EXPECT_EQ(ask(), "0|0|");
    EXPECT_EQ(Initialized(1).RemoteSetup(), 0);
    EXPECT_TRUE(FileExists(WindowsFolder() + "HOST.INI"));
}

TEST_F(Initialization, MediumOffersComponents) {
    Medium(
        "[Setup]\r\nProdSubType=5\r\n[Components]\r\nDataMigration=1\r\nOGTFrameWork=1\r\n"
        "OGTFrameWorkSetupFileName=OGT.EXE\r\n[Support]\r\nProductName=Backup\r\nSetupFileName=KVSETUP.EXE\r\n");
    for (const LONG type : {133, 105}) {
        m_info.productType = type;
        CSettings s = Initialized();
        EXPECT_EQ(
            Joined(s.ProductSubType(), s.OGTFWSetupFileName(), s.LaunchSetupProductName(), s.LaunchSetupFileName()),
            "5|OGT.EXE|Backup|KVSETUP.EXE|");
        EXPECT_EQ(Components(s), "1|1|1|1|1|1|1|");
    }
    WriteBytes(ProgramFolder() + "SETUP.INF", "[Setup]\r\nProdSubType=3\r\n");
    Fill(m_info.sourcePath, "");
    EXPECT_EQ(Initialized().ProductSubType(), 3);  // without a source path the medium is beside the program
}

TEST_F(Initialization, SubTypeDecidesHSMChangerAndRAID) {
    const char* const expected[] = {"0|0|0|0|", "1|1|1|1|", "1|1|1|1|", "0|0|1|0|", "0|0|1|0|", "1|1|0|0|", "1|1|0|0|"};
    for (int subType = 0; subType < 7; ++subType) {
        Medium("[Setup]\r\nProdSubType=" + std::to_string(subType) + "\r\n[Components]\r\nDataMigration=1\r\n");
        CSettings s = Initialized();
        EXPECT_EQ(Joined(s.HSMAvailable(), s.InstallHSM(), s.ChangerAvailable(), s.RAIDAvailable()), expected[subType]);
    }
}

TEST_F(Initialization, OutsideABatchOnlyTheLastComponentOfAnsweredPathsIsTaken) {
    Answers(
        "[Base]\r\nProductPath=D:\\Old\\Prod\\\r\n[InstallPath]\r\nAlertPath=Alarm\r\n[UserInfo]\r\nFullName=X\r\n");
    CSettings s = Initialized();
    EXPECT_EQ(Joined(s.KorvaultPath(), s.AlertPath(), s.RegisteredUser(), s.CustomSetup()),
              "C:\\Program Files\\Prod\\|C:\\Program Files\\Alarm\\|Owner|0|");
    SetText(kPaths, "HOME", "E:\\There");
    EXPECT_STREQ(Initialized().KorvaultPath(), "E:\\There\\");
}

TEST_F(Initialization, BatchTakesEverythingFromTheAnswers) {
    m_info.batchOperation = 1;
    Medium("[Components]\r\nDataMigration=1\r\nOGTFrameWork=1\r\n");
    SetText(kPaths, "HOME", "E:\\There");
    Answers(
        "[Base]\r\nProductPath=D:\\Old\\Prod\r\nSeverFeature=0\r\nAdminFeature=0\r\nAVFeature=0\r\nSQL=1\r\n"
        "SystemDomainName=DOM\r\nSystemUserName=backup\r\n[SystemAccount]\r\nSystemPassword=secret\r\n"
        "[InstallPath]\r\nAlertPath=D:\\Alarm\r\n[UserInfo]\r\nFullName=Somebody\r\nCompanyName=Somewhere\r\n"
        "[Install]\r\nAlertFeature=0\r\nDataMigration=0\r\nOverwriteDB=1\r\nOverwriteJobQueue=1\r\n");
    CSettings s = Initialized();
    EXPECT_EQ(
        Joined(s.KorvaultPath(), s.CurrentKorvaultPath(), s.AlertPath(), s.RegisteredUser(), s.RegisteredCompany()),
        "D:\\Old\\Prod\\|E:\\There\\|D:\\Alarm\\|Somebody|Somewhere|");
    EXPECT_EQ(Joined(s.SystemAccountDomain(), s.SystemAccountName(), s.SystemAccountPassword()), "DOM|backup|secret|");
    EXPECT_EQ(Components(s), "1|0|0|0|0|0|0|");
    EXPECT_EQ(Joined(s.InstallSQL(), s.InstallRAIMA(), s.OverwriteDB(), s.DeleteQueue(), s.CustomSetup()),
              "1|0|1|1|1|");
    m_info.copyOnlyMode = 1;
    CSettings copied = Initialized();
    EXPECT_EQ(Joined(copied.KorvaultPath(), copied.InstallServer(), copied.CustomSetup()), "E:\\There\\|1|0|");
    m_info.copyOnlyMode = 0;
    Fill(m_info.batchFile, Missing());
    EXPECT_EQ(Initialized().CustomSetup(), 0);
}

TEST_F(Initialization, BatchWithoutAnswersHasTheFilesDefaults) {
    m_info.batchOperation = 1;
    SetText(kPaths, "HOME", "E:\\There");
    std::string rubbish;
    for (int i = 0; i < 70000; ++i) rubbish += char((i * 7919 + i / 256) & 0xff);
    for (const std::string& content : {std::string(), rubbish}) {
        Answers(content);
        Medium(content);
        CSettings s = Initialized();
        EXPECT_EQ(Joined(s.KorvaultPath(), s.AlertPath(), s.RegisteredUser(), s.InstallManager(), s.ProductSubType()),
                  "C:\\Program Files\\|C:\\ALERT\\||1|-1|");
    }
}

TEST_F(Initialization, AgentIsFoundOrTakesItsPathFromTheAnswersOrTheDefault) {
    const auto ask = [&] {
        CSettings s = Initialized();
        EXPECT_EQ(Joined(s.AlertPath(), s.InstallManager(), s.CustomSetup()), "|0|0|");
        return Joined(s.ClientAgentExists(), s.CurrentClientAgentPath(), s.ClientAgentPath());
    };
    for (const LONG type : {62, 1027}) {
        m_info.productType = type;
        EXPECT_EQ(ask(), "0||C:\\Program Files\\AGENT\\|");
    }
    Answers("[ClientAgent]\r\nAgentPath=D:\\Old\\Agent\\\r\n");
    EXPECT_EQ(ask(), "0||C:\\Program Files\\Agent\\|");
    SetText(kFamily + "\\ClientAgent\\Common", "Path", "C:\\Agent");
    EXPECT_EQ(ask(), "1|C:\\Agent\\|C:\\Agent\\|");
    m_info.batchOperation = 1;
    EXPECT_EQ(ask(), "1|C:\\Agent\\|D:\\Old\\Agent\\|");
    Answers("");
    EXPECT_EQ(ask(), "1|C:\\Agent\\|C:\\Program Files\\AGENT\\|");
    m_info.productType = 7;  // another product does not look for the agent
    EXPECT_EQ(ask(), "0||C:\\Program Files\\AGENT\\|");
}

TEST_F(Initialization, MarkerFileNamesTheRemoteHostAndGoes) {
    for (const auto& [type, name, host] : {std::tuple{133, std::string("HOSTX"), "HOSTX"},
                                           {62, "", ""},
                                           {133, std::string(64 * 1024, 'H'), "HHHHHHHHHHHHHHH"}}) {
        m_info.productType = type;
        Marker("[HostServer]\r\nName=" + name + "\r\n");
        CSettings s = Initialized();
        EXPECT_EQ(Joined(s.RemoteSetup(), s.RemoteHostServer()), Joined(1, host));
        EXPECT_FALSE(FileExists(WindowsFolder() + "HOST.INI"));
    }
}

// The first time the remote end is not known yet.
TEST_F(Initialization, RemoteSetupKeepsTheAnswerOnHSMOutTheSecondTime) {
    m_info.batchOperation = 1;
    Medium("[Components]\r\nDataMigration=1\r\n");
    Answers("[Install]\r\nDataMigration=0\r\n");
    Marker("");
    CSettings s = Initialized();
    EXPECT_EQ(s.InstallHSM(), 0);
    s.Initialize();
    EXPECT_EQ(s.InstallHSM(), 1);
}

}  // namespace
