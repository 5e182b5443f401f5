#include <cstring>
#include <string>

#include "instalib/current_user.h"
#include "instalib/product_record.h"
#include "instalib/settings.h"
#include "tests/support/fresh_machine.h"

namespace {

const std::string kFamily = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup";
const std::string kPaths = kFamily + "\\Base\\Path";
const std::string kAlert = "SOFTWARE\\Orvanex\\ALERT\\CurrentVersion";

// The front end's session on a machine whose medium is the test's folder, which is also the current directory.
class Initialization : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        RemovePlaced();
        ASSERT_TRUE(SetCurrentDirectoryA(Folder().c_str()));
        SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "RegisteredOwner", "Owner");
        SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "RegisteredOrganization",
                "Works");
        m_info.productType = 133;
        Set(m_info.sourcePath, Folder() + "\\");
    }
    void TearDown() override {
        RemovePlaced();
        FreshMachine::TearDown();
    }

    template <std::size_t Size>
    static void Set(char (&field)[Size], const std::string& text) {
        std::memcpy(field, text.c_str(), text.size() + 1);
    }
    static std::string WindowsFolder() {
        char path[MAX_PATH] = "";
        GetWindowsDirectoryA(path, sizeof path);
        return std::string(path) + "\\";
    }
    static void Medium(const std::string& content) { WriteBytes(Folder() + "\\SETUP.INF", content); }
    void Answers(const std::string& content) {
        Set(m_info.batchFile, Folder() + "\\ANSWERS.ICF");
        WriteBytes(m_info.batchFile, content);
    }
    static void PlaceProductMap(const std::string& kind) {
        PlaceLibrary("HALVPROD_" + kind + ".DLL", Folder() + "\\HalvProd.dll");
    }
    CSettings Initialized(int uninstall = 0) {
        CSettings settings(&m_info, uninstall);
        settings.Initialize();
        return settings;
    }
    static void Register(const char* product, WORD version, signed char subType = 0) {
        tagProductStruct record{};
        record.wVersion = version;
        record.cSubType = subType;
        const auto* bytes = reinterpret_cast<const BYTE*>(&record);
        SetRaw(HKEY_LOCAL_MACHINE, kFamily + "\\Products", product, REG_BINARY,
               TestBytes(bytes, bytes + sizeof record));
    }

    tagSETUP_INFO m_info{};

  private:
    // Files outside the test's folder, on a machine that outlives the test.
    static void RemovePlaced() {
        for (const std::string& file :
             {WindowsFolder() + "HOST.INI", WindowsFolder() + "SCANNER.ALT", WindowsFolder() + "KORVAULT.ALT",
              ProgramFolder() + "ALERTVER.DLL", ProgramFolder() + "SETUP.ICF", ProgramFolder() + "SETUP.INF"}) {
            DeleteFileA(file.c_str());
        }
    }
};

// --- The product ---------------------------------------------------------------------------------------------------

TEST_F(Initialization, ProductMapNamesProductAndComponentCode) {
    PlaceProductMap("GOOD");
    Medium("[Setup]\r\nProdSubType=2\r\n");
    CSettings settings = Initialized();
    EXPECT_STREQ(settings.Product(), "Product133");
    EXPECT_STREQ(settings.ComponentCode(), "C133X2");
    Medium("");
    EXPECT_STREQ(Initialized().ComponentCode(), "C133X25");  // the low byte of -1 is 255; the eighth byte ends the code
}

TEST_F(Initialization, ProductMapWithoutTheExportsOrMissingLeavesBothEmpty) {
    EXPECT_STREQ(Initialized().Product(), "");
    PlaceProductMap("BARE");
    CSettings settings = Initialized();
    EXPECT_STREQ(settings.Product(), "");
    EXPECT_STREQ(settings.ComponentCode(), "");
}

TEST_F(Initialization, ProductMapTextsNeedNoTerminator) {
    PlaceProductMap("UNTERMINATED");
    CSettings settings = Initialized();
    EXPECT_EQ(settings.Product(), std::string(24, 'n'));
    EXPECT_EQ(settings.ComponentCode(), std::string(8, 'C'));
}

TEST_F(Initialization, UpgradeIsFromAVersionBelowSixDotSix) {
    PlaceProductMap("GOOD");
    EXPECT_EQ(Initialized().IsUpgrade(), 0);
    Register("Product133", 0x0605);
    EXPECT_EQ(Initialized().IsUpgrade(), 1);
    Register("Product133", 0x0606);
    EXPECT_EQ(Initialized().IsUpgrade(), 0);
}

// --- What the machine has ------------------------------------------------------------------------------------------

TEST_F(Initialization, FreshMachineHasNothingAndGetsTheDefaultPaths) {
    CSettings settings = Initialized();
    EXPECT_STREQ(settings.RegisteredUser(), "Owner");
    EXPECT_STREQ(settings.RegisteredCompany(), "Works");
    EXPECT_EQ(settings.KorvaultExists() + settings.AlertExists() + settings.PhagrixExists() + settings.DBExists() +
                  settings.QueueExists() + settings.NewAlertExists(),
              0);
    EXPECT_STREQ(settings.CurrentKorvaultPath(), "");
    EXPECT_STREQ(settings.KorvaultPath(), "C:\\Program Files\\");
    EXPECT_STREQ(settings.AlertPath(), "C:\\Program Files\\ALERT\\");
    EXPECT_EQ(settings.RemoteSetup(), 0);
    EXPECT_EQ(settings.CustomSetup(), 0);
}

TEST_F(Initialization, InstalledServerIsFound) {
    SetText(HKEY_LOCAL_MACHINE, kPaths, "HOME", Folder());
    SetText(HKEY_LOCAL_MACHINE, kPaths, "DATABASE", Folder() + "\\DB");
    SetText(HKEY_LOCAL_MACHINE, kAlert + "\\Path", "HOME", "C:\\A");
    WriteBytes(Folder() + "\\DB\\KVCAT.DBD", "x");
    WriteBytes(WindowsFolder() + "SCANNER.ALT", "");
    CSettings settings = Initialized();
    EXPECT_EQ(settings.KorvaultExists(), 1);
    EXPECT_EQ(settings.CurrentKorvaultPath(), Folder() + "\\");
    EXPECT_STREQ(settings.KorvaultPath(), settings.CurrentKorvaultPath());
    EXPECT_EQ(settings.NewKorvaultInstall(), 0);
    settings.KorvaultPath("c:\\test");
    EXPECT_EQ(settings.NewKorvaultInstall(), 1);  // the same directory, but letter case counts
    EXPECT_STREQ(settings.CurrentAlertPath(), "C:\\A\\");
    EXPECT_EQ(settings.AlertExists(), 1);
    EXPECT_EQ(settings.PhagrixExists(), 1);
    EXPECT_EQ(settings.DBExists(), 1);
}

TEST_F(Initialization, DatabaseAndQueueAreOnlyAskedForMainServers) {
    SetText(HKEY_LOCAL_MACHINE, kPaths, "DATABASE", Folder() + "\\DB");
    WriteBytes(Folder() + "\\DB\\OTHER.DBD", "x");
    EXPECT_EQ(Initialized().DBExists(), 0);  // no file of the product
    WriteBytes(Folder() + "\\DB\\KVCAT.DBD", "x");
    for (const LONG type : {133, 24, 25, 105, 1027}) {
        m_info.productType = type;
        EXPECT_EQ(Initialized().DBExists(), type == 133 || type == 24 || type == 25 ? 1 : 0) << type;
    }
}

TEST_F(Initialization, AlertOfTheMediumMayBeOlder) {
    PlaceLibrary("SETUPFILES_ALERTVER.DLL", ProgramFolder() + "ALERTVER.DLL");  // build 200
    SetText(HKEY_LOCAL_MACHINE, kAlert, "CurrentBuildNumber", "201");
    EXPECT_EQ(Initialized().NewAlertExists(), 1);
    EXPECT_EQ(Initialized(1).NewAlertExists(), 0);  // not asked when removing
    m_info.productType = 105;
    EXPECT_EQ(Initialized().NewAlertExists(), 1);
    SetText(HKEY_LOCAL_MACHINE, kAlert, "CurrentBuildNumber", "200");
    EXPECT_EQ(Initialized().NewAlertExists(), 0);
    DeleteFileA((ProgramFolder() + "ALERTVER.DLL").c_str());
    EXPECT_EQ(Initialized().NewAlertExists(), 1);  // without the library the medium has build 0
}

// --- Uninstall mode ------------------------------------------------------------------------------------------------

TEST_F(Initialization, RemovalTakesTheInstalledSubTypeAndKeepsAlertForTheAntivirus) {
    PlaceProductMap("GOOD");
    Register("Product133", 0x0605, -3);
    CSettings settings = Initialized(1);
    EXPECT_EQ(settings.ProductSubType(), -3);
    EXPECT_EQ(settings.UninstallKorvault(), 1);
    EXPECT_EQ(settings.UninstallAlert(), 1);
    EXPECT_EQ(settings.UninstallSQL(), 0);
    EXPECT_EQ(settings.IsUpgrade(), 0);
    EXPECT_STREQ(settings.KorvaultPath(), "");
    WriteBytes(WindowsFolder() + "KORVAULT.ALT", "");
    EXPECT_EQ(Initialized(1).UninstallAlert(), 1);
    WriteBytes(WindowsFolder() + "SCANNER.ALT", "");
    EXPECT_EQ(Initialized(1).UninstallAlert(), 0);
}

TEST_F(Initialization, RemovalInABatchFollowsTheAnswers) {
    m_info.batchOperation = 1;
    Answers("[Uninstall]\r\nSeverFeature=0\r\nAlertFeature=1\r\n");
    CSettings settings = Initialized(1);
    EXPECT_EQ(settings.UninstallKorvault(), 0);
    EXPECT_EQ(settings.UninstallAlert(), 1);
    Answers("[Uninstall]\r\nAlertFeature=0\r\n");
    EXPECT_EQ(Initialized(1).UninstallAlert(), 0);
    EXPECT_EQ(Initialized(1).UninstallKorvault(), 1);
    Answers("");
    WriteBytes(WindowsFolder() + "SCANNER.ALT", "");
    EXPECT_EQ(Initialized(1).UninstallAlert(), 0);
}

TEST_F(Initialization, RemovalOfAnAgentSelectsNothingAndLeavesTheMarker) {
    m_info.productType = 1027;
    WriteBytes(WindowsFolder() + "HOST.INI", "[HostServer]\r\nName=HOSTX\r\n");
    CSettings settings = Initialized(1);
    EXPECT_EQ(settings.UninstallKorvault() + settings.UninstallAlert(), 0);
    EXPECT_EQ(settings.RemoteSetup(), 0);
    EXPECT_TRUE(FileExists(WindowsFolder() + "HOST.INI"));
}

// --- Servers -------------------------------------------------------------------------------------------------------

TEST_F(Initialization, MediumOffersComponents) {
    Medium(
        "[Setup]\r\nProdSubType=5\r\n[Components]\r\nDataMigration=1\r\nOGTFrameWork=1\r\n"
        "OGTFrameWorkSetupFileName=OGT.EXE\r\n[Support]\r\nProductName=Backup\r\nSetupFileName=KVSETUP.EXE\r\n");
    for (const LONG type : {133, 105}) {
        m_info.productType = type;
        CSettings settings = Initialized();
        EXPECT_EQ(settings.ProductSubType(), 5);
        EXPECT_STREQ(settings.OGTFWSetupFileName(), "OGT.EXE");
        EXPECT_STREQ(settings.LaunchSetupProductName(), "Backup");
        EXPECT_STREQ(settings.LaunchSetupFileName(), "KVSETUP.EXE");
        EXPECT_TRUE(settings.InstallManager() && settings.InstallServer() && settings.InstallAdmin() &&
                    settings.InstallAlert() && settings.InstallAV() && settings.InstallHSM() && settings.InstallOGT());
    }
}

struct SubTypeCase {
    const char* subType;
    int hsm, changer, raid;
};

TEST_F(Initialization, SubTypeDecidesHSMChangerAndRAID) {
    for (const SubTypeCase& row :
         {SubTypeCase{"0", 0, 0, 0}, SubTypeCase{"1", 1, 1, 1}, SubTypeCase{"2", 1, 1, 1}, SubTypeCase{"3", 0, 1, 0},
          SubTypeCase{"4", 0, 1, 0}, SubTypeCase{"5", 1, 0, 0}, SubTypeCase{"6", 1, 0, 0}}) {
        Medium(std::string("[Setup]\r\nProdSubType=") + row.subType + "\r\n[Components]\r\nDataMigration=1\r\n");
        CSettings settings = Initialized();
        EXPECT_EQ(settings.HSMAvailable(), row.hsm) << row.subType;
        EXPECT_EQ(settings.InstallHSM(), row.hsm) << row.subType;
        EXPECT_EQ(settings.ChangerAvailable(), row.changer) << row.subType;
        EXPECT_EQ(settings.RAIDAvailable(), row.raid) << row.subType;
    }
}

TEST_F(Initialization, WithoutASourcePathTheMediumIsBesideTheProgram) {
    Medium("[Setup]\r\nProdSubType=2\r\n");
    WriteBytes(ProgramFolder() + "SETUP.INF", "[Setup]\r\nProdSubType=3\r\n");
    Set(m_info.sourcePath, "");
    EXPECT_EQ(Initialized().ProductSubType(), 3);
}

TEST_F(Initialization, SystemAccountIsTheCurrentUserOnThisMachine) {
    CCurrentUser user;
    CSettings settings = Initialized();
    EXPECT_EQ(settings.SystemAccountServer(), ComputerName());
    EXPECT_STREQ(settings.SystemAccountName(), user.GetUser());
    EXPECT_STREQ(settings.SystemAccountDomain(), user.GetDomain());
}

TEST_F(Initialization, OutsideABatchOnlyTheLastComponentOfAnsweredPathsIsTaken) {
    Answers(
        "[Base]\r\nProductPath=D:\\Old\\Prod\\\r\n[InstallPath]\r\nAlertPath=Alarm\r\n[UserInfo]\r\nFullName=X\r\n");
    CSettings settings = Initialized();
    EXPECT_STREQ(settings.KorvaultPath(), "C:\\Program Files\\Prod\\");
    EXPECT_STREQ(settings.AlertPath(), "C:\\Program Files\\Alarm\\");
    EXPECT_STREQ(settings.RegisteredUser(), "Owner");
    EXPECT_EQ(settings.CustomSetup(), 0);
    SetText(HKEY_LOCAL_MACHINE, kPaths, "HOME", "E:\\There");
    EXPECT_STREQ(Initialized().KorvaultPath(), "E:\\There\\");
}

TEST_F(Initialization, BatchTakesEverythingFromTheAnswers) {
    m_info.batchOperation = 1;
    Medium("[Components]\r\nDataMigration=1\r\nOGTFrameWork=1\r\n");
    SetText(HKEY_LOCAL_MACHINE, kPaths, "HOME", "E:\\There");
    Answers(
        "[Base]\r\nProductPath=D:\\Old\\Prod\r\nSeverFeature=0\r\nAdminFeature=0\r\nAVFeature=0\r\nSQL=1\r\n"
        "SystemDomainName=DOM\r\nSystemUserName=backup\r\n[SystemAccount]\r\nSystemPassword=secret\r\n"
        "[InstallPath]\r\nAlertPath=D:\\Alarm\r\n[UserInfo]\r\nFullName=Somebody\r\nCompanyName=Somewhere\r\n"
        "[Install]\r\nAlertFeature=0\r\nDataMigration=0\r\nOverwriteDB=1\r\nOverwriteJobQueue=1\r\n");
    CSettings settings = Initialized();
    EXPECT_STREQ(settings.KorvaultPath(), "D:\\Old\\Prod\\");
    EXPECT_STREQ(settings.CurrentKorvaultPath(), "E:\\There\\");
    EXPECT_STREQ(settings.AlertPath(), "D:\\Alarm\\");
    EXPECT_STREQ(settings.RegisteredUser(), "Somebody");
    EXPECT_STREQ(settings.RegisteredCompany(), "Somewhere");
    EXPECT_STREQ(settings.SystemAccountDomain(), "DOM");
    EXPECT_STREQ(settings.SystemAccountName(), "backup");
    EXPECT_STREQ(settings.SystemAccountPassword(), "secret");
    EXPECT_EQ(settings.InstallManager(), 1);
    EXPECT_EQ(settings.InstallServer() + settings.InstallAdmin() + settings.InstallAlert() + settings.InstallAV() +
                  settings.InstallHSM() + settings.InstallOGT(),
              0);
    EXPECT_EQ(settings.InstallSQL(), 1);
    EXPECT_EQ(settings.InstallRAIMA(), 0);
    EXPECT_EQ(settings.OverwriteDB(), 1);
    EXPECT_EQ(settings.DeleteQueue(), 1);
    EXPECT_EQ(settings.CustomSetup(), 1);
}

TEST_F(Initialization, BatchWithoutAProductPathInstallsIntoProgramFiles) {
    m_info.batchOperation = 1;
    SetText(HKEY_LOCAL_MACHINE, kPaths, "HOME", "E:\\There");
    Answers("");
    CSettings settings = Initialized();
    EXPECT_STREQ(settings.KorvaultPath(), "C:\\Program Files\\");
    EXPECT_STREQ(settings.AlertPath(), "C:\\ALERT\\");
    EXPECT_STREQ(settings.RegisteredUser(), "");
}

TEST_F(Initialization, CopyOnlyModeAndAMissingFileAskNoAnswers) {
    m_info.batchOperation = 1;
    m_info.copyOnlyMode = 1;
    Answers("[Base]\r\nProductPath=D:\\Old\\Prod\r\nManagerFeature=0\r\n");
    CSettings copied = Initialized();
    EXPECT_STREQ(copied.KorvaultPath(), "C:\\Program Files\\");
    EXPECT_EQ(copied.InstallManager(), 1);
    EXPECT_EQ(copied.CustomSetup(), 0);
    m_info.copyOnlyMode = 0;
    Set(m_info.batchFile, Folder() + "\\MISSING.ICF");
    EXPECT_EQ(Initialized().CustomSetup(), 0);
}

// --- Client agents -------------------------------------------------------------------------------------------------

TEST_F(Initialization, AgentIsFoundOrGetsADefaultPath) {
    for (const LONG type : {1027, 62}) {
        m_info.productType = type;
        CSettings fresh = Initialized();
        EXPECT_STREQ(fresh.ClientAgentPath(), "C:\\Program Files\\AGENT\\");
        EXPECT_EQ(fresh.ClientAgentExists(), 0);
        EXPECT_STREQ(fresh.AlertPath(), "");
        EXPECT_EQ(fresh.InstallManager(), 0);
    }
    SetText(HKEY_LOCAL_MACHINE, kFamily + "\\ClientAgent\\Common", "Path", "C:\\Agent");
    CSettings found = Initialized();
    EXPECT_EQ(found.ClientAgentExists(), 1);
    EXPECT_STREQ(found.CurrentClientAgentPath(), "C:\\Agent\\");
    m_info.productType = 7;  // another product does not look for the agent
    EXPECT_STREQ(Initialized().ClientAgentPath(), "C:\\Program Files\\AGENT\\");
}

TEST_F(Initialization, AgentTakesItsPathFromTheAnswersAndLeavesCustomSetupAlone) {
    m_info.productType = 1027;
    Answers("[ClientAgent]\r\nAgentPath=D:\\Old\\Agent\\\r\n");
    EXPECT_STREQ(Initialized().ClientAgentPath(), "C:\\Program Files\\Agent\\");
    m_info.batchOperation = 1;
    CSettings batch = Initialized();
    EXPECT_STREQ(batch.ClientAgentPath(), "D:\\Old\\Agent\\");
    EXPECT_EQ(batch.CustomSetup(), 0);
    Answers("");
    EXPECT_STREQ(Initialized().ClientAgentPath(), "C:\\Program Files\\AGENT\\");
}

// --- Remote setup --------------------------------------------------------------------------------------------------

TEST_F(Initialization, MarkerFileNamesTheRemoteHostAndGoes) {
    WriteBytes(WindowsFolder() + "HOST.INI", "[HostServer]\r\nName=HOSTX\r\n");
    CSettings settings = Initialized();
    EXPECT_EQ(settings.RemoteSetup(), 1);
    EXPECT_STREQ(settings.RemoteHostServer(), "HOSTX");
    EXPECT_FALSE(FileExists(WindowsFolder() + "HOST.INI"));
}

TEST_F(Initialization, MarkerFileMayNameNobodyOrTooLong) {
    m_info.productType = 62;
    WriteBytes(WindowsFolder() + "HOST.INI", "[HostServer]\r\nName=\r\n");
    CSettings nobody = Initialized();
    EXPECT_EQ(nobody.RemoteSetup(), 1);
    EXPECT_STREQ(nobody.RemoteHostServer(), "");
    WriteBytes(WindowsFolder() + "HOST.INI", "[HostServer]\r\nName=" + std::string(64 * 1024, 'H') + "\r\n");
    EXPECT_EQ(Initialized().RemoteHostServer(), std::string(15, 'H'));
}

// The first time the remote end is not known yet.
TEST_F(Initialization, RemoteSetupKeepsTheAnswerOnHSMOutTheSecondTime) {
    m_info.batchOperation = 1;
    Medium("[Components]\r\nDataMigration=1\r\n");
    Answers("[Install]\r\nDataMigration=0\r\n");
    WriteBytes(WindowsFolder() + "HOST.INI", "");
    CSettings settings = Initialized();
    EXPECT_EQ(settings.InstallHSM(), 0);
    settings.Initialize();
    EXPECT_EQ(settings.InstallHSM(), 1);
}

TEST_F(Initialization, RubbishFilesLeaveTheBuiltInSelection) {
    std::string rubbish;
    for (int i = 0; i < 70000; ++i) rubbish += char((i * 7919 + i / 256) & 0xff);
    Medium(rubbish);
    Answers(rubbish);
    m_info.batchOperation = 1;
    CSettings settings = Initialized();
    EXPECT_EQ(settings.ProductSubType(), -1);
    EXPECT_EQ(settings.InstallManager(), 1);
    EXPECT_STREQ(settings.AlertPath(), "C:\\ALERT\\");
}

}  // namespace
