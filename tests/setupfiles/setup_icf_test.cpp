#include "instalib/setup_icf.h"

#include <string>
#include <utility>
#include <vector>

#include "tests/setupfiles/setup_files_fixture.h"

namespace {

class SetupIcf : public SetupFiles {
  protected:
    static CSetupIcf Open(const std::string& content) {
        WriteBytes(AnswersFile(), content);
        return CSetupIcf(AnswersFile().c_str());
    }
    static std::string Recorded(const std::string& section, const char* key) {
        char text[4096] = "";
        GetPrivateProfileStringA(section.c_str(), key, "<none>", text, sizeof text, AnswersFile().c_str());
        return text;
    }
    // KVDCEN.DLL that turns every bit over.
    static void PlaceScrambling() { PlaceLibrary("SETUPFILES_KVDCEN.DLL", Folder() + "\\KVDCEN.DLL"); }
};

struct Text {
    std::string name;
    const char* (CSetupIcf::*get)();
    int (CSetupIcf::*set)(const char*);
    const char* key;
    const char* fallback;
    std::size_t capacity;
    std::vector<std::string> sections;  // in reading order; the last is written
};

// One row a name; those of a family name what differs.
#define ROW(Name, ...) \
    { #Name, &CSetupIcf::Name, &CSetupIcf::Name, __VA_ARGS__ }
#define AGENT(Name, section) ROW(Name, "AgentPath", "", 260, {section})
#define QMC(Name, key, fallback, capacity) ROW(Name, key, fallback, capacity, {"QMC"})
#define HOST(Name, key) ROW(Name, key, "", 48, {"MVSConfig"})
const std::vector<Text> kTexts = {
    ROW(FullName, "FullName", "", 256, {"UserInfo"}),
    ROW(CompanyName, "CompanyName", "", 256, {"UserInfo"}),
    ROW(ClientAgentPath, "AgentPath", "", 260, {"InstallPath", "ClientAgent"}),
    AGENT(DBAOraPath, "DBAORA"),
    AGENT(DBASqlPath, "DBASQL"),
    AGENT(DBAExchPath, "DBAEXCH"),
    AGENT(DBANotePath, "DBANOTE"),
    AGENT(DBAInfoPath, "DBAINFO"),
    AGENT(DBASybasePath, "DBASYBASE"),
    AGENT(DBAIngresPath, "DBAINGRES"),
    AGENT(DBASapSqlPath, "DBASAPSQL"),
    AGENT(DBASapOraPath, "DBASAPORA"),
    AGENT(SPAgentPath, "SPAgent"),
    ROW(MDBPath, "MDBPath", "", 260, {"MDB"}),
    QMC(QuorlenaPath, "QuorlenaPath", "", 260),
    QMC(QuorlenaJBossPath, "JBossPath", "", 260),
    QMC(QuorlenaPort, "JNPPORT", "1099", 260),
    QMC(QuorlenaRMIPort, "RMIPORT", "1098", 260),
    QMC(QuorlenaJRMPPort, "JRMPPORT", "4444", 260),
    QMC(QuorlenaGOSSIPPort, "GOSSIPPORT", "5555", 260),
    QMC(QuorlenaTomcatPort, "TOMCATPORT", "8080", 260),
    QMC(QuorlenaHost, "Host", "", 260),
    QMC(DatabaseLoc, "DATABASELOC", "", 260),
    QMC(CheckLoc, "DATABASECHECKPOINTLOC", "", 260),
    QMC(JourLoc, "DATABASEJOURNALLOC", "", 260),
    QMC(DumpLoc, "DATABASEDUMPLOC", "", 260),
    QMC(WorkLoc, "DATABASEWORKLOC", "", 260),
    QMC(LocalMDB, "LOCALMDB", "YES", 48),
    QMC(MDBHost, "MDBHOST", "", 48),
    QMC(MDBPassword, "MDBPASSWORD", "", 48),
    QMC(MDBDatabase, "MDBDATABASE", "", 48),
    QMC(MDBUser, "MDBUSER", "qmcadmin", 48),
    QMC(MDBID, "MDBID", "QM", 48),
    QMC(LocaleDLV, "LOCALEDLV", "YES", 48),
    QMC(RemoteMDBeDLV, "REMOTEMDBEDLV", "NO", 48),
    QMC(eDLVPass, "EDLVPASS", "", 48),
    QMC(eDLVRemoteHost, "EDLVREMOTEHOST", "", 260),
    ROW(SystemAccountDomain, "SystemDomainName", "", 48, {"System Account", "SystemAccount", "Base"}),
    ROW(SystemAccountServer, "SystemServerName", "", 48, {"Base"}),
    ROW(SystemAccountUser, "SystemUserName", "", 48, {"System Account", "SystemAccount", "Base"}),
    HOST(SiteName, "SITENAME"),
    HOST(SystemID, "SYSTEMID"),
    HOST(LocalLUAlias, "LOCALLUALIAS"),
    HOST(PartnerLUAlias, "PARTNERLUALIAS"),
    ROW(KVDomainName, "ZephraniteDomainName", "", 48, {"ZephraniteDomain", "Base"}),
    ROW(PriKVDomainName, "PrimaryServerName", "", 48, {"ZephraniteDomain", "Base"}),
    ROW(SecKVDomainName, "SecondaryServerName", "", 48, {"ZephraniteDomain", "Base"}),
    ROW(KVDomainUserName, "ZephraniteDomainUserName", "", 48, {"ZephraniteDomain", "Base"}),
    ROW(LanguageID, "LanguageID", "1033", 10, {"Install"}),
};

class SetupIcfText : public SetupIcf, public testing::WithParamInterface<Text> {};

// Empties one section after the other: each time the next one answers, at last none.
TEST_P(SetupIcfText, FirstSectionWithATextAnswersOrTheDefaultOfAMissingKey) {
    const Text& text = GetParam();
    for (std::size_t first = 0; first <= text.sections.size(); ++first) {
        std::string content;
        for (std::size_t i = 0; i < text.sections.size(); ++i) {
            content += Entry(text.sections[i], text.key, i < first ? "" : "at" + std::to_string(i));
        }
        CSetupIcf icf = Open(content);
        EXPECT_EQ((icf.*text.get)(), first < text.sections.size() ? "at" + std::to_string(first) : "");
    }
    CSetupIcf missing = Open("[Other]\r\nkey=x\r\n");
    EXPECT_STREQ((missing.*text.get)(), text.fallback);
    CSetupIcf noFile;
    EXPECT_STREQ((noFile.*text.get)(), "");
}

TEST_P(SetupIcfText, SetterRecordsInItsOwnSectionAloneAndLongTextIsCut) {
    const Text& text = GetParam();
    const std::string& last = text.sections.back();
    CSetupIcf icf = Open("");
    for (const std::size_t length : {text.capacity - 1, text.capacity, std::size_t(3000)}) {
        ASSERT_EQ((icf.*text.set)(std::string(length, 'x').c_str()), 1);
        EXPECT_EQ((icf.*text.get)(), std::string(text.capacity - 1, 'x'));
        EXPECT_EQ(Recorded(last, text.key).size(), length);
    }
    for (const std::string& name : text.sections) EXPECT_EQ(Recorded(name, text.key) == "<none>", name != last);
}

INSTANTIATE_TEST_SUITE_P(All, SetupIcfText, testing::ValuesIn(kTexts), kCaseName);

struct Flag {
    std::string name;
    int (CSetupIcf::*get)();
    int (CSetupIcf::*set)(int);
    const char* key;
    int fileDefault;
    int builtIn;
    std::vector<std::string> sections;
};

const std::vector<Flag> kFlags = {
    ROW(InstallManager, "ManagerFeature", 1, 1, {"Install", "Base"}),
    ROW(InstallServer, "SeverFeature", 1, 1, {"Install", "Base"}),
    ROW(InstallAdmin, "AdminFeature", 1, 1, {"Install", "Base"}),
    ROW(InstallAlert, "AlertFeature", 1, 1, {"Install", "Base"}),
    ROW(CreateKVDomain, "CreateZephraniteDomain", 1, 1, {"ZephraniteDomain", "Base"}),
    ROW(InstalliPatron, "iPatronFeature", 1, 1, {"Base"}),
    ROW(InstallCPM, "CPMFeature", 0, 0, {"Base"}),
    ROW(InstallAV, "AVFeature", 1, 1, {"Base"}),
    ROW(InstallDRWiz, "DRWIZFeature", 0, 1, {"Base"}),
    ROW(InstallSANWiz, "SANWIZFeature", 0, 1, {"Base"}),
    ROW(SaveKVDomainPWD, "SaveZephraniteDomainPassword", 1, 1, {"Base"}),
    ROW(InstallHSM, "DataMigration", 1, 1, {"Install"}),
    ROW(OverwriteDB, "OverwriteDB", 1, 0, {"Install"}),
    ROW(OverwriteJobQueue, "OverwriteJobQueue", 1, 0, {"Install"}),
    ROW(UpgradeIE, "UpgradeIE", 0, 0, {"Install"}),
    ROW(UninstallKorvault, "SeverFeature", 1, 1, {"Uninstall"}),
    ROW(UninstallAlert, "AlertFeature", 1, 1, {"Uninstall"}),
};

class SetupIcfFlag : public SetupIcf, public testing::WithParamInterface<Flag> {};

TEST_P(SetupIcfFlag, EverySectionMustAgreeAndTheLastIsWritten) {
    const Flag& flag = GetParam();
    const std::string &first = flag.sections.front(), &last = flag.sections.back();
    const auto read = [&](CSetupIcf icf) { return (icf.*flag.get)(); };
    EXPECT_EQ(read(CSetupIcf()), flag.builtIn);
    EXPECT_EQ(read(Open("")), flag.fileDefault);
    EXPECT_EQ(read(Open(Entry(last, flag.key, "0"))), 0);
    EXPECT_EQ(read(Open(Entry(last, flag.key, "12 apples"))), 12);
    EXPECT_EQ(read(Open(Entry(first, flag.key, "yes"))), 0);
    if (first != last) {
        EXPECT_EQ(read(Open(Entry(first, flag.key, "0") + Entry(last, flag.key, "1"))), 0);
        EXPECT_EQ(read(Open(Entry(first, flag.key, "1") + Entry(last, flag.key, "0"))), 0);
    }
    CSetupIcf icf = Open("");
    for (const int value : {7, 0}) {
        ASSERT_EQ((icf.*flag.set)(value), 1);
        EXPECT_EQ(ReadBytes(AnswersFile()), Entry(last, flag.key, value == 0 ? "0" : "1"));
    }
}

INSTANTIATE_TEST_SUITE_P(All, SetupIcfFlag, testing::ValuesIn(kFlags), kCaseName);

TEST_F(SetupIcf, RawFeatureQueryAnswersTheTextOfTheFirstSectionThatHasOne) {
    const struct {
        int (CSetupIcf::*query)(const char*, DWORD);
        const char* key;
        bool asksInstall;
    } features[] = {
        {&CSetupIcf::InstallManager, "ManagerFeature", true},  {&CSetupIcf::InstallServer, "SeverFeature", true},
        {&CSetupIcf::InstallAdmin, "AdminFeature", true},      {&CSetupIcf::InstallAV, "AVFeature", true},
        {&CSetupIcf::InstalliPatron, "iPatronFeature", false}, {&CSetupIcf::InstallCPM, "CPMFeature", false},
        {&CSetupIcf::InstallDRWiz, "DRWIZFeature", false},     {&CSetupIcf::InstallSANWiz, "SANWIZFeature", false},
    };
    for (const auto& feature : features) {
        SCOPED_TRACE(feature.key);
        const auto ask = [&](CSetupIcf icf) {
            char buffer[] = "canary";
            const int result = (icf.*feature.query)(buffer, 5);
            EXPECT_EQ(buffer[5], 'y');
            return Joined(result, buffer);
        };
        const std::string install = Entry("Install", feature.key, "in");
        const std::string base = Entry("Base", feature.key, "long text");
        EXPECT_EQ(ask(Open(install + base)), feature.asksInstall ? "1|in|" : "1|long|");
        EXPECT_EQ(ask(Open(Entry("Install", feature.key, "") + base)), "1|long|");
        EXPECT_EQ(ask(Open(install)), feature.asksInstall ? "1|in|" : "0||");
        EXPECT_EQ(ask(Open("")), "0||");
        EXPECT_EQ(ask(CSetupIcf()), "0|canary|");  // no file
    }
}

TEST_F(SetupIcf, AlertPathHasItsDefaultFromTheInstallPathSectionOn) {
    const auto read = [](const std::string& content) { return std::string(Open(content).AlertPath()); };
    const std::string base = Entry("Base", "AlertPath", "base");
    const std::string emptyPath = Entry("InstallPath", "AlertPath", "");
    EXPECT_EQ(read(base), "C:\\ALERT");  // the default of InstallPath is a text already
    EXPECT_EQ(read(emptyPath), "C:\\ALERT");
    EXPECT_EQ(read(emptyPath + base), "base");
    EXPECT_EQ(read(emptyPath + Entry("Base", "AlertPath", "")), "");
    EXPECT_EQ(read(Entry("KorvaultInstall", "AlertPath", "old") + Entry("InstallPath", "AlertPath", "path")), "old");
    EXPECT_EQ(Open("").AlertPath("D:\\A"), 1);
    EXPECT_EQ(Recorded("Base", "AlertPath"), "D:\\A");
}

TEST_F(SetupIcf, KorvaultPathHasAnotherKeyInTheOldestSection) {
    const auto read = [](const std::string& content) { return std::string(Open(content).KorvaultPath()); };
    const std::string newer = Entry("InstallPath", "ProductPath", "path") + Entry("Base", "ProductPath", "base");
    EXPECT_EQ(read(newer + Entry("KorvaultInstall", "InstallPath", "old")), "old");
    EXPECT_EQ(read(newer + Entry("KorvaultInstall", "ProductPath", "no key")), "path");
    EXPECT_EQ(read(Entry("Base", "ProductPath", std::string(300, 'x'))), std::string(259, 'x'));
    EXPECT_EQ(read(""), "");
    EXPECT_EQ(Open("").KorvaultPath("D:\\K"), 1);
    EXPECT_EQ(Recorded("Base", "ProductPath"), "D:\\K");
}

TEST_F(SetupIcf, AgentPathsShareOneBuffer) {
    CSetupIcf icf = Open(Entry("DBAORA", "AgentPath", "oracle") + Entry("DBASQL", "AgentPath", "sql"));
    const char* const first = icf.DBAOraPath();
    icf.DBASqlPath();
    EXPECT_STREQ(first, "sql");
    EXPECT_EQ(icf.AgentPath("agent"), 1);
    EXPECT_EQ(Recorded("ClientAgent", "AgentPath"), "agent");
}

TEST_F(SetupIcf, AnyEntryCanBeReadAndWritten) {
    CSetupIcf icf = Open(Entry("Mine", "long", std::string(64 * 1024, 'x')));
    EXPECT_EQ(icf.WriteString("Mine", "text", "some text"), 1);
    EXPECT_EQ(icf.WriteInt("Mine", "number", -2147483647 - 1), 1);
    EXPECT_EQ(Recorded("Mine", "number"), "-2147483648");
    EXPECT_EQ(icf.WriteInt("Mine", "number", 42), 1);
    int number = 7;
    char text[261] = "canary";
    CSetupIcf noFile;
    EXPECT_EQ(noFile.GetInt("Mine", "number", &number) + noFile.GetString("Mine", "text", text), 0);
    EXPECT_EQ(number, 7);
    EXPECT_STREQ(text, "canary");
    EXPECT_EQ(icf.GetInt("Mine", "number", &number), 1);
    EXPECT_EQ(number, 42);
    EXPECT_EQ(icf.GetInt("Mine", "missing", &number), 1);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(icf.GetString("Mine", "text", text, 5), 4);
    EXPECT_EQ(std::string(text, 7), std::string("some\0y\0", 7));
    text[260] = 'c';
    EXPECT_EQ(icf.GetString("Mine", "long", text), 259);  // 260 with the terminator unless told otherwise
    EXPECT_EQ(text[260], 'c');
}

TEST_F(SetupIcf, MissingFileIsCreatedBesideTheProgramAndReadAfterInit) {
    CSetupIcf icf = Open(Entry("UserInfo", "FullName", "first"));
    CSetupIcf copy("ANSWERS.ICF");
    SetCurrentDirectoryA("C:\\");
    copy = CSetupIcf(copy);
    EXPECT_STREQ(copy.FullName(), "first");  // a relative name is the file of that time
    WriteBytes(AnswersFile(), Entry("UserInfo", "FullName", "second"));
    EXPECT_STREQ(copy.FullName(), "second");  // read anew at each call
    EXPECT_EQ(icf.Init(Missing().c_str()) + icf.Exists(), 0);
    EXPECT_EQ(icf.FullName("somebody"), 1);
    EXPECT_STREQ(icf.FullName(), "");
    EXPECT_TRUE(FileExists(ProgramFolder() + "SETUP.ICF"));
    EXPECT_EQ(icf.Init(nullptr), 1);
    EXPECT_STREQ(icf.FullName(), "somebody");
    EXPECT_STREQ(copy.FullName(), "second");
}

TEST_F(SetupIcf, OnlyTheFileBesideTheProgramBecomesWritable) {
    const std::string beside = ProgramFolder() + "SETUP.ICF";
    for (const std::string& file : {beside, AnswersFile()}) {
        WriteBytes(file, "");
        ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    }
    EXPECT_EQ(CSetupIcf("").Exists() + CSetupIcf(AnswersFile().c_str()).Exists(), 2);
    EXPECT_EQ(GetFileAttributesA(beside.c_str()) & DWORD(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN),
              DWORD(FILE_ATTRIBUTE_HIDDEN));
    EXPECT_NE(GetFileAttributesA(AnswersFile().c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    SetFileAttributesA(AnswersFile().c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(SetupIcf, NumbersAndDefaultsOfTheirOwn) {
    EXPECT_EQ(Open("").SQLDB(), 0);
    EXPECT_EQ(Open(Entry("DatabaseOption", "SQL", "0") + Entry("Base", "SQL", "1")).SQLDB(), 1);
    EXPECT_EQ(Open(Entry("DatabaseOption", "SQL", "1") + Entry("Base", "SQL", "0")).SQLDB(), 1);
    EXPECT_EQ(Open("").SQLDB(3), 1);
    EXPECT_EQ(Recorded("Base", "SQL"), "1");
    CSetupIcf framework = Open(Entry("Install", "OGTFrameWork", "1"));  // never answered, never written
    EXPECT_EQ(framework.InstallOGT(1) + framework.InstallOGT(), 0);
    for (const auto& [value, subType] : {std::pair{"0", 0}, {"4", 4}, {"5", -1}, {"-2", -1}}) {
        EXPECT_EQ(Open(Entry("Install", "ProdSubType", value)).GetProductSubType(), subType);
    }
    EXPECT_EQ(Open("").GetProductSubType(), -1);
    EXPECT_EQ(CSetupIcf().GetProductSubType(), -1);
    using Icf = CSetupIcf;
    EXPECT_EQ(Joined(Icf::DefaultICFFileName(), Icf::DefaultAlertPath(), Icf::DefaultLocalMDB(), Icf::DefaultMDBUser(),
                     Icf::DefaultMDBID(), Icf::DefaultLocaleDLV(), Icf::DefaultRemoteMDBeDLV(),
                     Icf::DefaultQuorlenaPort(), Icf::DefaultQuorlenaTomcatPort(), Icf::DefaultKorvaultPath()),
              "SETUP.ICF|C:\\ALERT|YES|qmcadmin|QM|YES|NO|1099|8080||");
}

TEST_F(SetupIcf, PasswordIsScrambledInTheFileAndComesBack) {
    PlaceScrambling();
    CSetupIcf icf = Open("");
    ASSERT_EQ(icf.SystemAccountPassword("A\x0a!"), 1);
    EXPECT_EQ(Recorded("Base", "SystemPassword"), "bef5de");
    EXPECT_STREQ(icf.SystemAccountPassword(), "A\x0a!");
    ASSERT_EQ(icf.KVDomainPassword(std::string(200, 'z').c_str()), 1);  // 96 characters are written and 47 kept
    EXPECT_EQ(Recorded("Base", "ZephraniteDomainPassword").size(), 2 * 96u);
    EXPECT_EQ(icf.KVDomainPassword(), std::string(47, 'z'));
}

TEST_F(SetupIcf, PlainPasswordsComeFirst) {
    PlaceScrambling();
    const std::string base = Entry("Base", "SystemPassword", "85") + Entry("Base", "ZephraniteDomainPassword", "85");
    const std::string second = Entry("SystemAccount", "SystemPassword", "second");
    EXPECT_STREQ(Open(base).SystemAccountPassword(), "z");
    EXPECT_STREQ(Open(base + second).SystemAccountPassword(), "second");
    EXPECT_STREQ(Open(base + second + Entry("System Account", "SystemPassword", "first")).SystemAccountPassword(),
                 "first");
    EXPECT_STREQ(Open(base + Entry("ZephraniteDomain", "ZephraniteDomainPassword", "domain")).KVDomainPassword(),
                 "domain");
}

TEST_F(SetupIcf, PasswordThatCannotBeScrambledIsNotWrittenAndNoneThatCannotBeUnscrambledIsRead) {
    CSetupIcf icf = Open("");
    EXPECT_EQ(icf.SystemAccountPassword("secret"), 0);  // no library
    PlaceScrambling();
    for (const char* password : {"", static_cast<const char*>(nullptr), "refuse"}) {
        EXPECT_EQ(icf.SystemAccountPassword(password), 0);
    }
    EXPECT_EQ(ReadBytes(AnswersFile()), "");
    // Read up to 1,559 characters, more than the library gets room for.
    EXPECT_STREQ(Open(Entry("Base", "SystemPassword", std::string(64 * 1024, '8'))).SystemAccountPassword(), "");
    DeleteFileA((Folder() + "\\KVDCEN.DLL").c_str());
    EXPECT_STREQ(Open(Entry("Base", "SystemPassword", "85")).SystemAccountPassword(), "");
}

}  // namespace
