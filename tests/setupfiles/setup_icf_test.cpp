#include <string>
#include <vector>

#include "tests/setupfiles/setup_icf_fixture.h"

namespace {

template <class Case>
std::string NameOf(const testing::TestParamInfo<Case>& row) {
    return row.param.name;
}

// --- Texts ---------------------------------------------------------------------------------------------------------

struct TextCase {
    const char* name;
    const char* (CSetupIcf::*get)();
    int (CSetupIcf::*set)(const char*);
    const char* key;
    const char* fallback;
    std::size_t capacity;
    std::vector<std::string> sections;  // in reading order; the last is written
};

#define TEXT_CASE(Name, key, fallback, capacity, ...)                                       \
    TextCase {                                                                              \
#Name, &CSetupIcf::Name, &CSetupIcf::Name, key, fallback, capacity, { __VA_ARGS__ } \
    }

const std::vector<TextCase> kTexts = {
    TEXT_CASE(FullName, "FullName", "", 256, "UserInfo"),
    TEXT_CASE(CompanyName, "CompanyName", "", 256, "UserInfo"),
    TEXT_CASE(ClientAgentPath, "AgentPath", "", 260, "InstallPath", "ClientAgent"),
    TEXT_CASE(DBAOraPath, "AgentPath", "", 260, "DBAORA"),
    TEXT_CASE(DBASqlPath, "AgentPath", "", 260, "DBASQL"),
    TEXT_CASE(DBAExchPath, "AgentPath", "", 260, "DBAEXCH"),
    TEXT_CASE(DBANotePath, "AgentPath", "", 260, "DBANOTE"),
    TEXT_CASE(DBAInfoPath, "AgentPath", "", 260, "DBAINFO"),
    TEXT_CASE(DBASybasePath, "AgentPath", "", 260, "DBASYBASE"),
    TEXT_CASE(DBAIngresPath, "AgentPath", "", 260, "DBAINGRES"),
    TEXT_CASE(DBASapSqlPath, "AgentPath", "", 260, "DBASAPSQL"),
    TEXT_CASE(DBASapOraPath, "AgentPath", "", 260, "DBASAPORA"),
    TEXT_CASE(SPAgentPath, "AgentPath", "", 260, "SPAgent"),
    TEXT_CASE(MDBPath, "MDBPath", "", 260, "MDB"),
    TEXT_CASE(QuorlenaPath, "QuorlenaPath", "", 260, "QMC"),
    TEXT_CASE(QuorlenaJBossPath, "JBossPath", "", 260, "QMC"),
    TEXT_CASE(QuorlenaPort, "JNPPORT", "1099", 260, "QMC"),
    TEXT_CASE(QuorlenaRMIPort, "RMIPORT", "1098", 260, "QMC"),
    TEXT_CASE(QuorlenaJRMPPort, "JRMPPORT", "4444", 260, "QMC"),
    TEXT_CASE(QuorlenaGOSSIPPort, "GOSSIPPORT", "5555", 260, "QMC"),
    TEXT_CASE(QuorlenaTomcatPort, "TOMCATPORT", "8080", 260, "QMC"),
    TEXT_CASE(QuorlenaHost, "Host", "", 260, "QMC"),
    TEXT_CASE(DatabaseLoc, "DATABASELOC", "", 260, "QMC"),
    TEXT_CASE(CheckLoc, "DATABASECHECKPOINTLOC", "", 260, "QMC"),
    TEXT_CASE(JourLoc, "DATABASEJOURNALLOC", "", 260, "QMC"),
    TEXT_CASE(DumpLoc, "DATABASEDUMPLOC", "", 260, "QMC"),
    TEXT_CASE(WorkLoc, "DATABASEWORKLOC", "", 260, "QMC"),
    TEXT_CASE(LocalMDB, "LOCALMDB", "YES", 48, "QMC"),
    TEXT_CASE(MDBHost, "MDBHOST", "", 48, "QMC"),
    TEXT_CASE(MDBPassword, "MDBPASSWORD", "", 48, "QMC"),
    TEXT_CASE(MDBDatabase, "MDBDATABASE", "", 48, "QMC"),
    TEXT_CASE(MDBUser, "MDBUSER", "qmcadmin", 48, "QMC"),
    TEXT_CASE(MDBID, "MDBID", "QM", 48, "QMC"),
    TEXT_CASE(LocaleDLV, "LOCALEDLV", "YES", 48, "QMC"),
    TEXT_CASE(RemoteMDBeDLV, "REMOTEMDBEDLV", "NO", 48, "QMC"),
    TEXT_CASE(eDLVPass, "EDLVPASS", "", 48, "QMC"),
    TEXT_CASE(eDLVRemoteHost, "EDLVREMOTEHOST", "", 260, "QMC"),
    TEXT_CASE(SystemAccountDomain, "SystemDomainName", "", 48, "System Account", "SystemAccount", "Base"),
    TEXT_CASE(SystemAccountServer, "SystemServerName", "", 48, "Base"),
    TEXT_CASE(SystemAccountUser, "SystemUserName", "", 48, "System Account", "SystemAccount", "Base"),
    TEXT_CASE(SiteName, "SITENAME", "", 48, "MVSConfig"),
    TEXT_CASE(SystemID, "SYSTEMID", "", 48, "MVSConfig"),
    TEXT_CASE(LocalLUAlias, "LOCALLUALIAS", "", 48, "MVSConfig"),
    TEXT_CASE(PartnerLUAlias, "PARTNERLUALIAS", "", 48, "MVSConfig"),
    TEXT_CASE(KVDomainName, "ZephraniteDomainName", "", 48, "ZephraniteDomain", "Base"),
    TEXT_CASE(PriKVDomainName, "PrimaryServerName", "", 48, "ZephraniteDomain", "Base"),
    TEXT_CASE(SecKVDomainName, "SecondaryServerName", "", 48, "ZephraniteDomain", "Base"),
    TEXT_CASE(KVDomainUserName, "ZephraniteDomainUserName", "", 48, "ZephraniteDomain", "Base"),
    TEXT_CASE(LanguageID, "LanguageID", "1033", 10, "Install"),
};

class SetupIcfText : public SetupIcf, public testing::WithParamInterface<TextCase> {};

// Empties one section after the other: each time the next one answers.
TEST_P(SetupIcfText, FirstSectionWithATextAnswers) {
    const TextCase& text = GetParam();
    for (std::size_t first = 0; first < text.sections.size(); ++first) {
        std::string content;
        for (std::size_t i = 0; i < text.sections.size(); ++i) {
            content += Entry(text.sections[i], text.key, i < first ? "" : "at" + std::to_string(i));
        }
        CSetupIcf icf = Open(content);
        EXPECT_STREQ((icf.*text.get)(), ("at" + std::to_string(first)).c_str());
    }
}

TEST_P(SetupIcfText, MissingKeyGivesTheDefaultAndAnEmptyOneNothing) {
    const TextCase& text = GetParam();
    CSetupIcf missing = Open("[Other]\r\nkey=x\r\n");
    EXPECT_STREQ((missing.*text.get)(), text.fallback);
    CSetupIcf empty = Open(Entry(text.sections.back(), text.key, ""));
    EXPECT_STREQ((empty.*text.get)(), "");
}

TEST_P(SetupIcfText, LongTextIsCutToTheBuffer) {
    const TextCase& text = GetParam();
    for (const std::size_t length : {text.capacity - 1, text.capacity, std::size_t(64) * 1024}) {
        CSetupIcf icf = Open(Entry(text.sections.back(), text.key, std::string(length, 'x')));
        EXPECT_EQ((icf.*text.get)(), std::string(text.capacity - 1, 'x'));
    }
}

TEST_P(SetupIcfText, SetterRecordsInItsOwnSectionAlone) {
    const TextCase& text = GetParam();
    CSetupIcf icf = Open("");
    ASSERT_EQ((icf.*text.set)("recorded"), 1);
    for (const std::string& section : text.sections) {
        EXPECT_EQ(Recorded(section.c_str(), text.key), section == text.sections.back() ? "recorded" : "<none>");
    }
    EXPECT_STREQ((icf.*text.get)(), "recorded");
}

TEST_P(SetupIcfText, WithoutAFileTheTextIsEmpty) {
    CSetupIcf icf;
    EXPECT_STREQ((icf.*GetParam().get)(), "");
}

INSTANTIATE_TEST_SUITE_P(All, SetupIcfText, testing::ValuesIn(kTexts), NameOf<TextCase>);

// --- Flags ---------------------------------------------------------------------------------------------------------

struct FlagCase {
    const char* name;
    int (CSetupIcf::*get)();
    int (CSetupIcf::*set)(int);
    const char* key;
    int fileDefault;
    int builtIn;
    std::vector<std::string> sections;
};

#define FLAG_CASE(Name, key, fileDefault, builtIn, ...)                                       \
    FlagCase {                                                                                \
#Name, &CSetupIcf::Name, &CSetupIcf::Name, key, fileDefault, builtIn, { __VA_ARGS__ } \
    }

const std::vector<FlagCase> kFlags = {
    FLAG_CASE(InstallManager, "ManagerFeature", 1, 1, "Install", "Base"),
    FLAG_CASE(InstallServer, "SeverFeature", 1, 1, "Install", "Base"),
    FLAG_CASE(InstallAdmin, "AdminFeature", 1, 1, "Install", "Base"),
    FLAG_CASE(InstallAlert, "AlertFeature", 1, 1, "Install", "Base"),
    FLAG_CASE(CreateKVDomain, "CreateZephraniteDomain", 1, 1, "ZephraniteDomain", "Base"),
    FLAG_CASE(InstalliPatron, "iPatronFeature", 1, 1, "Base"),
    FLAG_CASE(InstallCPM, "CPMFeature", 0, 0, "Base"),
    FLAG_CASE(InstallAV, "AVFeature", 1, 1, "Base"),
    FLAG_CASE(InstallDRWiz, "DRWIZFeature", 0, 1, "Base"),
    FLAG_CASE(InstallSANWiz, "SANWIZFeature", 0, 1, "Base"),
    FLAG_CASE(SaveKVDomainPWD, "SaveZephraniteDomainPassword", 1, 1, "Base"),
    FLAG_CASE(InstallHSM, "DataMigration", 1, 1, "Install"),
    FLAG_CASE(OverwriteDB, "OverwriteDB", 1, 0, "Install"),
    FLAG_CASE(OverwriteJobQueue, "OverwriteJobQueue", 1, 0, "Install"),
    FLAG_CASE(UpgradeIE, "UpgradeIE", 0, 0, "Install"),
    FLAG_CASE(UninstallKorvault, "SeverFeature", 1, 1, "Uninstall"),
    FLAG_CASE(UninstallAlert, "AlertFeature", 1, 1, "Uninstall"),
};

class SetupIcfFlag : public SetupIcf, public testing::WithParamInterface<FlagCase> {};

TEST_P(SetupIcfFlag, DefaultsWithAndWithoutAFile) {
    CSetupIcf none;
    EXPECT_EQ((none.*GetParam().get)(), GetParam().builtIn);
    CSetupIcf empty = Open("");
    EXPECT_EQ((empty.*GetParam().get)(), GetParam().fileDefault);
}

TEST_P(SetupIcfFlag, EverySectionMustAgree) {
    const FlagCase& flag = GetParam();
    CSetupIcf last = Open(Entry(flag.sections.back(), flag.key, "0"));
    EXPECT_EQ((last.*flag.get)(), 0);
    CSetupIcf number = Open(Entry(flag.sections.back(), flag.key, "12 apples"));
    EXPECT_EQ((number.*flag.get)(), flag.sections.size() == 1 || flag.fileDefault ? 12 : 0);
    CSetupIcf word = Open(Entry(flag.sections.front(), flag.key, "yes"));
    EXPECT_EQ((word.*flag.get)(), 0);
    if (flag.sections.size() == 1) return;
    CSetupIcf first = Open(Entry(flag.sections[0], flag.key, "0") + Entry(flag.sections[1], flag.key, "1"));
    EXPECT_EQ((first.*flag.get)(), 0);
    CSetupIcf second = Open(Entry(flag.sections[0], flag.key, "1") + Entry(flag.sections[1], flag.key, "0"));
    EXPECT_EQ((second.*flag.get)(), 0);
}

TEST_P(SetupIcfFlag, SetterRecordsOneOrZero) {
    const FlagCase& flag = GetParam();
    CSetupIcf icf = Open("");
    ASSERT_EQ((icf.*flag.set)(7), 1);
    EXPECT_EQ(Recorded(flag.sections.back().c_str(), flag.key), "1");
    ASSERT_EQ((icf.*flag.set)(0), 1);
    EXPECT_EQ(Recorded(flag.sections.back().c_str(), flag.key), "0");
    if (flag.sections.size() > 1) {
        EXPECT_EQ(Recorded(flag.sections.front().c_str(), flag.key), "<none>");
    }
}

INSTANTIATE_TEST_SUITE_P(All, SetupIcfFlag, testing::ValuesIn(kFlags), NameOf<FlagCase>);

// --- Raw feature queries -------------------------------------------------------------------------------------------

struct FeatureCase {
    const char* name;
    int (CSetupIcf::*query)(const char*, DWORD);
    const char* key;
    bool asksInstall;
};

#define FEATURE(Name, key, asksInstall) \
    FeatureCase { #Name, &CSetupIcf::Name, key, asksInstall }

const std::vector<FeatureCase> kFeatures = {
    FEATURE(InstallManager, "ManagerFeature", true),  FEATURE(InstallServer, "SeverFeature", true),
    FEATURE(InstallAdmin, "AdminFeature", true),      FEATURE(InstallAV, "AVFeature", true),
    FEATURE(InstalliPatron, "iPatronFeature", false), FEATURE(InstallCPM, "CPMFeature", false),
    FEATURE(InstallDRWiz, "DRWIZFeature", false),     FEATURE(InstallSANWiz, "SANWIZFeature", false),
};

class SetupIcfFeature : public SetupIcf, public testing::WithParamInterface<FeatureCase> {
  protected:
    // The result and the buffer of a capacity of 5, behind which a canary stands.
    static std::pair<int, std::string> Ask(CSetupIcf& icf) {
        char buffer[] = "canary";
        const int result = (icf.*GetParam().query)(buffer, 5);
        EXPECT_EQ(buffer[5], 'y');
        return {result, buffer};
    }
};

TEST_P(SetupIcfFeature, TextOfTheFirstSectionThatHasOne) {
    const std::string install = Entry("Install", GetParam().key, "in");
    const std::string base = Entry("Base", GetParam().key, "long text");
    CSetupIcf both = Open(install + base);
    EXPECT_EQ(Ask(both), std::make_pair(1, std::string(GetParam().asksInstall ? "in" : "long")));
    CSetupIcf emptyInstall = Open(Entry("Install", GetParam().key, "") + base);
    EXPECT_EQ(Ask(emptyInstall), std::make_pair(1, std::string("long")));
    CSetupIcf installAlone = Open(install);
    EXPECT_EQ(Ask(installAlone).first, GetParam().asksInstall ? 1 : 0);
}

TEST_P(SetupIcfFeature, MissingEntryEmptiesTheBufferAndAMissingFileLeavesIt) {
    CSetupIcf empty = Open("");
    EXPECT_EQ(Ask(empty), std::make_pair(0, std::string()));
    CSetupIcf none;
    EXPECT_EQ(Ask(none), std::make_pair(0, std::string("canary")));
}

INSTANTIATE_TEST_SUITE_P(All, SetupIcfFeature, testing::ValuesIn(kFeatures), NameOf<FeatureCase>);

TEST(SetupIcfCoverage, EveryRowHasItsCase) {
    std::size_t texts = 0, flags = 0, features = 0;
#define ICF_TEXT(...) ++texts;
#define ICF_PASSWORD(...)
#define ICF_FLAG(...) ++flags;
#define ICF_FEATURE(...) ++features;
#include "setupfiles/setup_icf_accessors.def"
    EXPECT_EQ(texts, kTexts.size());
    EXPECT_EQ(flags, kFlags.size());
    EXPECT_EQ(features, kFeatures.size());
}

// --- Rules of their own --------------------------------------------------------------------------------------------

TEST_F(SetupIcf, AlertPathHasItsDefaultFromTheInstallPathSectionOn) {
    const auto read = [](const std::string& content) { return std::string(Open(content).AlertPath()); };
    const std::string base = Entry("Base", "AlertPath", "base");
    EXPECT_EQ(read(""), "C:\\ALERT");
    EXPECT_EQ(read(base), "C:\\ALERT");  // the default of InstallPath is a text already
    EXPECT_EQ(read(Entry("InstallPath", "AlertPath", "")), "C:\\ALERT");
    EXPECT_EQ(read(Entry("InstallPath", "AlertPath", "") + base), "base");
    EXPECT_EQ(read(Entry("InstallPath", "AlertPath", "") + Entry("Base", "AlertPath", "")), "");
    EXPECT_EQ(read(Entry("InstallPath", "AlertPath", "path") + base), "path");
    EXPECT_EQ(read(Entry("KorvaultInstall", "AlertPath", "old") + Entry("InstallPath", "AlertPath", "path")), "old");
    CSetupIcf icf = Open("");
    EXPECT_EQ(icf.AlertPath("D:\\A"), 1);
    EXPECT_EQ(Recorded("Base", "AlertPath"), "D:\\A");
}

TEST_F(SetupIcf, KorvaultPathHasAnotherKeyInTheOldestSection) {
    const auto read = [](const std::string& content) { return std::string(Open(content).KorvaultPath()); };
    const std::string newer = Entry("InstallPath", "ProductPath", "path") + Entry("Base", "ProductPath", "base");
    EXPECT_EQ(read(newer + Entry("KorvaultInstall", "InstallPath", "old")), "old");
    EXPECT_EQ(read(newer + Entry("KorvaultInstall", "ProductPath", "no key")), "path");
    EXPECT_EQ(read(Entry("Base", "ProductPath", std::string(300, 'x'))), std::string(259, 'x'));
    EXPECT_EQ(read(""), "");
    CSetupIcf icf = Open("");
    EXPECT_EQ(icf.KorvaultPath("D:\\K"), 1);
    EXPECT_EQ(Recorded("Base", "ProductPath"), "D:\\K");
}

TEST_F(SetupIcf, AgentPathsShareOneBuffer) {
    CSetupIcf icf = Open(Entry("DBAORA", "AgentPath", "oracle") + Entry("DBASQL", "AgentPath", "sql"));
    const char* first = icf.DBAOraPath();
    icf.DBASqlPath();
    EXPECT_STREQ(first, "sql");
    EXPECT_EQ(icf.AgentPath("agent"), 1);
    EXPECT_EQ(Recorded("ClientAgent", "AgentPath"), "agent");
}

TEST_F(SetupIcf, SQLDatabaseIsWantedWhenEitherSectionSaysSo) {
    const auto read = [](const std::string& content) { return Open(content).SQLDB(); };
    EXPECT_EQ(read(""), 0);
    EXPECT_EQ(read(Entry("DatabaseOption", "SQL", "0") + Entry("Base", "SQL", "1")), 1);
    EXPECT_EQ(read(Entry("DatabaseOption", "SQL", "1") + Entry("Base", "SQL", "0")), 1);
    CSetupIcf icf = Open("");
    EXPECT_EQ(icf.SQLDB(3), 1);
    EXPECT_EQ(Recorded("Base", "SQL"), "1");
}

TEST_F(SetupIcf, ManagementFrameworkIsNeverAnswered) {
    CSetupIcf icf = Open("");
    EXPECT_EQ(icf.InstallOGT(1), 0);
    EXPECT_EQ(icf.InstallOGT(), 0);
    EXPECT_EQ(ReadBytes(File()), "");
}

TEST_F(SetupIcf, ProductSubTypeIsZeroToFour) {
    const auto read = [](const char* value) {
        return Open(Entry("Install", "ProdSubType", value)).GetProductSubType();
    };
    EXPECT_EQ(read("0"), 0);
    EXPECT_EQ(read("4"), 4);
    EXPECT_EQ(read("5"), -1);
    EXPECT_EQ(read("-2"), -1);
    EXPECT_EQ(Open("").GetProductSubType(), -1);
    EXPECT_EQ(CSetupIcf().GetProductSubType(), -1);
}

TEST_F(SetupIcf, AnyEntryCanBeReadAndWritten) {
    CSetupIcf icf = Open("");
    EXPECT_EQ(icf.WriteString("Mine", "text", "some text"), 1);
    EXPECT_EQ(icf.WriteInt("Mine", "number", -2147483647 - 1), 1);
    EXPECT_EQ(Recorded("Mine", "number"), "-2147483648");
    EXPECT_EQ(icf.WriteInt("Mine", "number", 42), 1);
    int number = 7;
    EXPECT_EQ(icf.GetInt("Mine", "number", &number), 1);
    EXPECT_EQ(number, 42);
    EXPECT_EQ(icf.GetInt("Mine", "missing", &number), 1);
    EXPECT_EQ(number, 0);
    char text[] = "canary";
    EXPECT_EQ(icf.GetString("Mine", "text", text, 5), 4);
    EXPECT_EQ(std::string(text, sizeof text), std::string("some\0y\0", 7));
}

TEST_F(SetupIcf, GetStringHas260CharactersUnlessToldOtherwise) {
    CSetupIcf icf = Open(Entry("Mine", "text", std::string(64 * 1024, 'x')));
    char text[261];
    text[260] = 'c';
    EXPECT_EQ(icf.GetString("Mine", "text", text), 259);
    EXPECT_EQ(text[259], '\0');
    EXPECT_EQ(text[260], 'c');
}

TEST_F(SetupIcf, WithoutAFileQueriesLeaveTheirOutputs) {
    CSetupIcf icf;
    int number = 7;
    char text[] = "canary";
    EXPECT_EQ(icf.GetInt("Mine", "number", &number), 0);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(icf.GetString("Mine", "text", text, sizeof text), 0);
    EXPECT_STREQ(text, "canary");
}

TEST_F(SetupIcf, MissingFileIsCreatedBesideTheProgramAndReadAfterInit) {
    CSetupIcf icf((Folder() + "\\MISSING.ICF").c_str());
    EXPECT_EQ(icf.Exists(), 0);
    EXPECT_EQ(icf.FullName("somebody"), 1);
    EXPECT_STREQ(icf.FullName(), "");
    EXPECT_TRUE(FileExists(BesideProgram()));
    EXPECT_EQ(icf.Init(nullptr), 1);
    EXPECT_STREQ(icf.FullName(), "somebody");
}

TEST_F(SetupIcf, OnlyTheFileBesideTheProgramBecomesWritable) {
    WriteBytes(BesideProgram(), "");
    WriteBytes(File(), "");
    for (const std::string& file : {BesideProgram(), File()}) {
        ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    }
    CSetupIcf found("");
    EXPECT_EQ(found.Exists(), 1);
    EXPECT_EQ(GetFileAttributesA(BesideProgram().c_str()) & DWORD(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN),
              DWORD(FILE_ATTRIBUTE_HIDDEN));
    CSetupIcf given(File().c_str());
    EXPECT_NE(GetFileAttributesA(File().c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    SetFileAttributesA(File().c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(SetupIcf, RelativeNameIsTheFileInTheCurrentDirectory) {
    WriteBytes(File(), Entry("UserInfo", "FullName", "here"));
    ASSERT_TRUE(SetCurrentDirectoryA(Folder().c_str()));
    CSetupIcf icf("ANSWERS.ICF");
    SetCurrentDirectoryA("C:\\");
    EXPECT_STREQ(icf.FullName(), "here");
}

TEST_F(SetupIcf, GettersSeeLaterChangesAndCopiesKeepTheirTexts) {
    CSetupIcf icf = Open(Entry("UserInfo", "FullName", "first"));
    icf.FullName();
    CSetupIcf copy(icf);
    WriteBytes(File(), Entry("UserInfo", "FullName", "second"));
    EXPECT_STREQ(icf.FullName(), "second");
    ASSERT_EQ(icf.Init((Folder() + "\\MISSING.ICF").c_str()), 0);
    EXPECT_STREQ(icf.FullName(), "");
    EXPECT_STREQ(copy.FullName(), "second");
}

TEST_F(SetupIcf, RubbishIsReadAsNothing) {
    std::string rubbish;
    for (int i = 0; i < 70000; ++i) rubbish += char((i * 7919 + i / 256) & 0xff);
    CSetupIcf icf = Open(rubbish + "\r\n[UserInfo\r\nFullName\r\n=\r\n[]\r\n" + std::string(3, '\0') + "[");
    EXPECT_STREQ(icf.FullName(), "");
    EXPECT_STREQ(icf.SystemAccountPassword(), "");
    EXPECT_EQ(icf.InstallManager(), 1);
    EXPECT_STREQ(icf.QuorlenaPort(), "1099");
}

TEST_F(SetupIcf, DefaultsHaveAccessors) {
    EXPECT_STREQ(CSetupIcf::DefaultICFFileName(), "SETUP.ICF");
    EXPECT_STREQ(CSetupIcf::DefaultAlertPath(), "C:\\ALERT");
    EXPECT_STREQ(CSetupIcf::DefaultLocalMDB(), "YES");
    EXPECT_STREQ(CSetupIcf::DefaultMDBUser(), "qmcadmin");
    EXPECT_STREQ(CSetupIcf::DefaultMDBID(), "QM");
    EXPECT_STREQ(CSetupIcf::DefaultLocaleDLV(), "YES");
    EXPECT_STREQ(CSetupIcf::DefaultRemoteMDBeDLV(), "NO");
    EXPECT_STREQ(CSetupIcf::DefaultQuorlenaPort(), "1099");
    EXPECT_STREQ(CSetupIcf::DefaultQuorlenaTomcatPort(), "8080");
    for (const char* (*empty)() :
         {&CSetupIcf::DefaultKorvaultPath, &CSetupIcf::DefaultAgent95Path, &CSetupIcf::DefaultAgentNTPath,
          &CSetupIcf::DefaultMDBPath, &CSetupIcf::DefaultMDBHost, &CSetupIcf::DefaultMDBPassword,
          &CSetupIcf::DefaultMDBDatabase, &CSetupIcf::DefaulteDLVPass, &CSetupIcf::DefaulteDLVRemoteHost,
          &CSetupIcf::DefaultQuorlenaPath, &CSetupIcf::DefaultQuorlenaJBossPath, &CSetupIcf::DefaultQuorlenaHost,
          &CSetupIcf::DefaultDatabaseLoc, &CSetupIcf::DefaultCheckLoc, &CSetupIcf::DefaultDumpLoc,
          &CSetupIcf::DefaultJourLoc, &CSetupIcf::DefaultWorkLoc}) {
        EXPECT_STREQ(empty(), "");
    }
}

}  // namespace
