// Settings values: what each writer stores, what the settings-driven setters take from the settings, where readers
// look.
#include <ctime>

#include "tests/registry/registry_fixture.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;

class SettingsValues : public RegistryTest {};

// clang-format off
TEST_F(SettingsValues, EachWriterStoresItsOneValueTextWithItsTerminator) {
    EXPECT_EQ(Halv::SetKorvaultHomeDir("h") + Halv::SetKorvaultDBDir("d") + Halv::SetKorvaultLogDir("l") +
              Halv::SetKorvaultTempDir("t") + Halv::SetKorvaultUser("u") + Halv::SetKorvaultCompany("c") +
              Halv::SetKorvaultManager(5) + Halv::SetKorvaultServer(-1) + Halv::SetKorvaultAdmin(0) +
              Halv::SetKorvaultDatabase(DWORD(7)) + Halv::SetBackupDaemonBufferSize(0xFFFFFFFF) +
              Halv::SetDatabasePruning(4) + Halv::SetDelayPruning(5) + Halv::SetPruningDays(6) +
              Halv::SetPruningTime(8) + Halv::SetAgentHomeDir("g") + Halv::SetAlertCurrentBuild("b") +
              Halv::SetAlertCurrentBuildNumber("n") + Halv::SetAlertInstallDate(9) + Halv::SetAlertRegisteredOwner("o") +
              Halv::SetAlertRegisteredOrganization("z") + Halv::SetAlertHomeDir("ah") + Halv::SetAlertLogDir("al") +
              Halv::SetAlertControlDir("ac") + Halv::SetAlertEventLogDir("ae") + Halv::SetAlertCompany("am") +
              Halv::SetAlertLocation("ao"), 27);
    EXPECT_THAT(List(kBase), ElementsAre(
        "[Components]", "Components ADMIN 4 0", "Components MANAGER 4 1", "Components SERVER 4 1", "[Database]",
        "Database BackupDaemonBufferSize 4 4294967295", "Database DatabaseType 4 7", "Database EnableDatabasePruning 4 4",
        "Database EnableDelayPruning 4 5", "Database PruningDays 4 6", "Database PruningTime 4 8", "[Path]",
        "Path DATABASE 1 d", "Path HOME 1 h", "Path LOG 1 l", "Path TEMP 1 t", "[User]", "User Name 1 u", "User Org 1 c"));
    EXPECT_EQ(Get(kRoot + "\\ClientAgent\\Common", "Path"), "g");
    EXPECT_THAT(List(kAlert), ElementsAre(
        " CurrentBuild 1 b", " CurrentBuildNumber 1 n", " InstallDate 4 9", " RegisteredOrganization 1 z",
        " RegisteredOwner 1 o", "[Path]", "Path CONTROL 1 ac", "Path EVENTLOG 1 ae", "Path HOME 1 ah", "Path LOG 1 al",
        "[User]", "User Company 1 am", "User Location 1 ao"));
    // clang-format on
    for (const auto& [flag, type] : {std::pair{7, 2}, {0, 1}}) {
        EXPECT_EQ(Halv::SetKorvaultDatabase(flag), 1);
        EXPECT_EQ(GetNumber(kBase + "\\Database", "DatabaseType"), type);
    }
}

using Setter = int (CHalvRegistry::*)();
using H = CHalvRegistry;
// clang-format off
constexpr Setter kAlertSetters[] = {
    &H::SetAlertCurrentBuild, &H::SetAlertCurrentBuildNumber, &H::SetAlertInstallDate, &H::SetAlertRegisteredOwner,
    &H::SetAlertRegisteredOrganization, &H::SetAlertHomeDir, &H::SetAlertLogDir, &H::SetAlertControlDir,
    &H::SetAlertEventLogDir, &H::SetAlertCompany, &H::SetAlertLocation, &H::SetAlertEventLog, &H::SetClientAgentHomeDir};
constexpr Setter kProductSetters[] = {
    &H::SetKorvaultUser, &H::SetKorvaultCompany, &H::SetKorvaultHomeDir, &H::SetKorvaultDBDir, &H::SetKorvaultLogDir,
    &H::SetKorvaultTempDir, &H::SetKorvaultManager, &H::SetKorvaultServer, &H::SetKorvaultAdmin,
    &H::SetKorvaultDatabase, &H::SetKorvaultEnvironmentVariables, &H::SetKorvaultShellExtension,
    &H::DeleteKorvaultShellExtension};
// clang-format on

TEST_F(SettingsValues, ObjectThatMayNotWriteAndNullTextsChangeNothing) {
    CHalvRegistry reader(0, nullptr);
    for (const auto set : kAlertSetters) EXPECT_EQ((reader.*set)(), 0);
    for (const auto set : kProductSetters) EXPECT_EQ((reader.*set)(), 0);
    EXPECT_FALSE(Has(kVendor));
    EXPECT_EQ(Get(kEnvironment, "CATPATH") + Get(kEnvironment, "LNNAME"), "<none><none>");
    Put(kEnvironment, "", "unnamed");
    Put(kProducts, "", "unnamed");
    tagProductStruct record{};
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER,
                          Halv::SetKorvaultHomeDir(nullptr) + Halv::SetEnvironmentVariableA(nullptr, "x") +
                              Halv::DeleteEnvironmentVariable(nullptr) + Halv::RegisterProduct(nullptr, &record)));
    Halv::UnregisterProduct(nullptr);
    EXPECT_EQ(Get(kEnvironment, "") + Get(kProducts, ""), "unnamedunnamed");
    Halv::DeleteEnvironmentVariable("");
}

// The other settings-driven setters are the steps of the whole product.
TEST_F(SettingsValues, AlertServiceAndAgentAreDescribedByTheSettingsAndTheirFiles) {
    const std::string folder = Folder() + "\\A";
    CSettings settings = ServerSettings();
    settings.AlertPath(folder.c_str());
    CHalvRegistry object(settings, 0, nullptr);
    EXPECT_EQ(object.SetAlertCurrentBuild(), 0) << "no program, no date";
    EXPECT_EQ(object.SetAlertCurrentBuildNumber(), 1);
    EXPECT_EQ(Get(kAlert, "CurrentBuildNumber"), "");
    WriteBytes(folder + "\\ALERT.EXE", "program");
    PlaceLibrary("ALERTVER.DLL", folder + "\\");
    for (const auto set : kAlertSetters) EXPECT_EQ((object.*set)(), 1);
    EXPECT_THAT(Get(kAlert, "CurrentBuild"), testing::SizeIs(testing::Ge(8u)));
    EXPECT_NEAR(double(GetNumber(kAlert, "InstallDate")), double(std::time(nullptr)), 100);
    EXPECT_EQ(Get(kAlert, "CurrentBuildNumber") + Get(kAlert, "RegisteredOwner"), "1234User");
    EXPECT_EQ(Get(kAlert, "RegisteredOrganization"), "Company");
    char windows[MAX_PATH] = "";
    GetWindowsDirectoryA(windows, sizeof windows);
    EXPECT_THAT(List(kAlert + "\\Path"),
                ElementsAre(std::string(" CONTROL 1 ") + windows, " EVENTLOG 1 " + folder + "\\EVENTLOG",
                            " HOME 1 " + folder, " LOG 1 " + folder + "\\LOG"));
    EXPECT_THAT(List(kAlert + "\\User"), ElementsAre(" Company 1 Company", " Location 1 Company"));
    EXPECT_THAT(List(kEventSources + "Alert Notification Server"),
                ElementsAre(" EventMessageFile 1 " + folder + "\\ALERT.EXE", " TypesSupported 4 7"));
    EXPECT_EQ(Get(kRoot + "\\ClientAgent\\Common", "Path"), "C:\\G");
    EXPECT_EQ(Halv::SetEventLogApplication("", "C:\\x.dll", 7), 0) << "would write into the log's own key";
}

TEST_F(SettingsValues, SystemAccountGoesToTheToolLibraryAndFailuresAreOnlyLogged) {
    CSettings settings = ServerSettings();
    const auto set = [&](const char* account, const char* user) {
        settings.SystemAccountName(account);
        settings.RegisteredUser(user);
        EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetKorvaultUser(), 1);
        return Get(kBase + "\\User", "Name") + "|" + Get(kScratch, "domain") + "|" + Get(kScratch, "name");
    };
    settings.SystemAccountDomain("X");
    settings.SystemAccountServer("HOST");
    settings.SystemAccountPassword(std::string(63, 'p').c_str());
    EXPECT_EQ(set("svc", "First"), "First|<none>|<none>");
    EXPECT_THAT(ReadBytes(Folder() + "\\setup.log"),
                EndsWith("\t\tFailed to load HSTOOL.DLL to create system user account.\r\n"));
    PlaceLibrary("HSTOOL_ACCOUNT.DLL", Folder() + "\\HSTOOL.DLL");
    EXPECT_EQ(set("CORP\\svc", "Second"), "Second|CORP|svc");
    EXPECT_EQ(Get(kScratch, "computer") + Get(kScratch, "password"), "HOST" + std::string(63, 'p'));
    EXPECT_EQ(set("refused", "Third"), "Third|X|refused");
    EXPECT_THAT(ReadBytes(Folder() + "\\setup.log"), EndsWith("\t\tFailed to add a user account\r\n"));
    EXPECT_EQ(set("", "Fourth"), "Third|X|refused") << "no account, nothing written";
}

TEST_F(SettingsValues, EnvironmentIsWrittenForTheMachineAndReadForTheUser) {
    char buffer[64] = "old";
    DWORD size = sizeof buffer;
    EXPECT_EQ(Halv::SetEnvironmentVariableA("CATPATH", "C:\\m"), 1);
    EXPECT_EQ(Get(kEnvironment, "CATPATH"), "C:\\m");
    EXPECT_EQ(Halv::GetEnvironmentVariableA("CATPATH", buffer, &size), 0);
    EXPECT_STREQ(buffer, "");
    SetText(HKEY_CURRENT_USER, "Environment", "InstalibTest", "mine");
    size = sizeof buffer;
    EXPECT_EQ(Halv::GetEnvironmentVariableA("InstalibTest", buffer, &size), 1);
    EXPECT_EQ(buffer + std::to_string(size), "mine5");
    EXPECT_EQ(Halv::DeleteEnvironmentVariable("CATPATH"), 1);
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND, Halv::DeleteEnvironmentVariable("CATPATH")));
}

struct Reader {
    const char* title;
    int (*read)(char*, DWORD*, HKEY);
    const char* (CHalvRegistry::*cached)();
    const char* name;
    Lines keys;  // in the order of search
    std::string never;
};

Lines Paths(const std::string& last = {}) {
    Lines keys = {kBase + "\\Path", kVendor + "\\KorvaultIT\\Base\\Path", kFormer + "\\Korvault\\CurrentVersion\\Path",
                  kVendor + "\\Sarvex\\Base\\Path", kVendor + "\\Zephranite Enterprise Backup\\Base\\Path"};
    if (!last.empty()) keys.push_back(last);
    return keys;
}

#define READER(Operation, Cached, name, keys, never) \
    Reader { #Operation, &CHalvRegistry::Operation, &CHalvRegistry::Cached, name, keys, never }
const Reader kReaders[] = {
    READER(GetKorvaultHomeDir, GetKorvaultHomeDir, "HOME", Paths(kView32 + "\\Base\\Path"), ""),
    READER(GetKorvaultDBDir, GetKorvaultDBDir, "DATABASE", Paths(), kView32 + "\\Base\\Path"),
    READER(GetKorvaultLogDir, GetKorvaultLogDir, "LOG", Paths(), kView32 + "\\Base\\Path"),
    READER(GetKorvaultTempDir, GetKorvaultTempDir, "TEMP", Paths(), kView32 + "\\Base\\Path"),
    READER(GetAlertHomeDir, GetAlertHomeDir, "HOME", (Lines{kAlert + "\\Path", kFormerAlert + "\\Path"}), ""),
    READER(GetAgentHomeDir, GetClientAgentHomeDir, "Path",
           (Lines{kRoot + "\\ClientAgent\\Common", kVendor + "\\KorvaultIT\\ClientAgent\\Common",
                  kFormer + "\\KorvaultAgent\\CurrentVersion\\Common", kVendor + "\\Sarvex\\ClientAgent\\Common"}),
           ""),
    READER(GetKorvaultUserName, GetKorvaultUserName, "Name", Lines{kBase + "\\User"}, ""),
    READER(GetKorvaultOrganization, GetKorvaultOrganization, "Org", Lines{kBase + "\\User"}, ""),
};

class Readers : public RegistryTest, public testing::WithParamInterface<Reader> {
  protected:
    static std::string Read(DWORD capacity = 8) {
        char buffer[16];
        std::memset(buffer, '!', sizeof buffer);
        const int result = GetParam().read(buffer, &capacity, nullptr);
        EXPECT_EQ(std::string(buffer + 8, 8), "!!!!!!!!") << "written beyond the buffer's size";
        EXPECT_EQ(result, buffer[0] != '\0');
        return buffer;
    }
};

TEST_P(Readers, FirstPlaceThatHoldsAFittingTextWins) {
    const Reader& reader = GetParam();
    CHalvRegistry object(0, nullptr);
    if (!reader.never.empty()) Put(reader.never, reader.name, "never");
    EXPECT_EQ(Read(), "");
    // From the last place to the first: each new one hides those behind it.
    for (std::size_t i = reader.keys.size(); i-- > 0;) {
        Put(reader.keys[i], reader.name, "at" + std::to_string(i));
        EXPECT_EQ(Read(), "at" + std::to_string(i));
        EXPECT_EQ((object.*reader.cached)(), "at" + std::to_string(i));
    }
    if (reader.keys.size() > 1) {
        Put(reader.keys[0], reader.name, "too long for the buffer");
        SetRaw(reader.keys[1], reader.name, REG_DWORD, {'a', 0, 0, 0});
        EXPECT_EQ(Read(), reader.keys.size() > 2 ? "at2" : "") << "the buffer's whole size counts again for each place";
    }
    for (const std::string& key : reader.keys) Remove(key);
    EXPECT_EQ(Read(), "");
    EXPECT_STREQ((object.*reader.cached)(), "at0") << "the cache keeps the last text";
    SetRaw(reader.keys[0], reader.name, REG_SZ, {'1', '2', '3', '4', '5', '6', '7'});
    EXPECT_EQ(Read(), "1234567") << "stored without a terminator";
    EXPECT_EQ(Read(7), "") << "no room for the terminator";
    DWORD size = 7;
    EXPECT_EQ(reader.read(nullptr, &size, nullptr) + reader.read(reinterpret_cast<char*>(&size), nullptr, nullptr), 0);
}
INSTANTIATE_TEST_SUITE_P(, Readers, testing::ValuesIn(kReaders), kCaseName);

TEST_F(SettingsValues, FormerVendorsUserCountsOnlyWithoutAUserKeyOfOurs) {
    char buffer[64] = "";
    DWORD size = sizeof buffer;
    Put(kFormer + "\\Korvault\\CurrentVersion\\User", "Name", "Former");
    EXPECT_EQ(Halv::GetKorvaultUserName(buffer, &size, nullptr), 1);
    EXPECT_STREQ(buffer, "Former");
    Make(kBase + "\\User");
    EXPECT_EQ(Halv::GetKorvaultUserName(buffer, &(size = sizeof buffer), nullptr), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(SettingsValues, ReadingFillsTheCachesAndOwnerAndUserNameShareOne) {
    Put(kBase + "\\Path", "HOME", "C:\\P");
    OpenRegistry object;
    EXPECT_STREQ(object.m_sHomeDir, "C:\\P");
    const std::string owner = object.GetRegisteredOwner();
    EXPECT_EQ(object.GetKorvaultUserName(), owner) << "not found: the old text";
    Put(kBase + "\\User", "Name", "Shared");
    EXPECT_STREQ(object.GetKorvaultUserName(), "Shared");
    char buffer[64] = "";
    DWORD size = sizeof buffer;
    Put(kAlert + "\\Path", "HOME", "C:\\A");
    EXPECT_EQ(GetAlertPath(buffer, &size, nullptr), 1);
    EXPECT_STREQ(buffer, "C:\\A");
}

TEST_F(SettingsValues, DatabaseAgentsDirectoryIsItsLibrarysFolder) {
    const auto ask = [](const char* agent, int current, DWORD capacity = 64) {
        char buffer[64] = "old";
        const int result = Halv::GetDBAgentHomeDir(agent, buffer, &capacity, current, nullptr);
        return std::to_string(result) + buffer;
    };
    Put(kFormer + "\\Agents\\dbaexch 2", "dll", "C:\\old\\agent.dll");
    EXPECT_EQ(ask("Agents\\dbaexch", 1), "0");
    EXPECT_EQ(ask("\\Agents\\dbaexch", 0), "1C:\\old");
    Put(kRoot + "\\dbaexch\\dbaexch", "dll", "C:\\new\\agent.dll");
    EXPECT_EQ(ask("dbaexch\\dbaexch", 1), "1C:\\new") << "the parent ends at the last backslash";
    EXPECT_EQ(ask("dbaexch\\dbaexch", 1, 5), "0") << "the library's path does not fit";
    Make(kRoot + "\\dbanone");
    EXPECT_EQ(ask("dbanone", 1), "1") << "an agent without a library has an empty directory";
    EXPECT_EQ(ask("dbaora", 1) + ask("Agents\\", 0), "00");
}

}  // namespace
