// Settings values: what each writer stores, what the settings-driven setters take from the settings, where readers
// look.
#include <ctime>

#include "tests/registry/registry_fixture.h"

namespace {

const std::string kAlert = "SOFTWARE\\Orvanex\\ALERT\\CurrentVersion";
const std::string kFamilyBase = kBase;

struct Writer {
    const char* title;
    int (*write)();
    std::string key;
    const char* name;
    DWORD type;
    TestBytes data;
};

TestBytes Terminated(std::string_view text) {
    TestBytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

#define TEXT_WRITER(Operation, key, name)                                                                        \
    Writer {                                                                                                     \
#Operation, [] { return CHalvRegistry::Operation("C:\\x y"); }, key, name, REG_SZ, Terminated("C:\\x y") \
    }
#define NUMBER_WRITER(Operation, argument, key, name, low)                                                         \
    Writer {                                                                                                       \
#Operation #low, [] { return CHalvRegistry::Operation(argument); }, key, name, REG_DWORD, { low, 0, 0, 0 } \
    }

const Writer kWriters[] = {
    TEXT_WRITER(SetKorvaultHomeDir, kFamilyBase + "\\Path", "HOME"),
    TEXT_WRITER(SetKorvaultDBDir, kFamilyBase + "\\Path", "DATABASE"),
    TEXT_WRITER(SetKorvaultLogDir, kFamilyBase + "\\Path", "LOG"),
    TEXT_WRITER(SetKorvaultTempDir, kFamilyBase + "\\Path", "TEMP"),
    TEXT_WRITER(SetKorvaultUser, kFamilyBase + "\\User", "Name"),
    TEXT_WRITER(SetKorvaultCompany, kFamilyBase + "\\User", "Org"),
    NUMBER_WRITER(SetKorvaultManager, 5, kFamilyBase + "\\Components", "MANAGER", 1),
    NUMBER_WRITER(SetKorvaultServer, -1, kFamilyBase + "\\Components", "SERVER", 1),
    NUMBER_WRITER(SetKorvaultAdmin, 0, kFamilyBase + "\\Components", "ADMIN", 0),
    NUMBER_WRITER(SetKorvaultDatabase, 7, kFamilyBase + "\\Database", "DatabaseType", 2),
    NUMBER_WRITER(SetKorvaultDatabase, 0, kFamilyBase + "\\Database", "DatabaseType", 1),
    NUMBER_WRITER(SetKorvaultDatabase, DWORD(7), kFamilyBase + "\\Database", "DatabaseType", 7),
    NUMBER_WRITER(SetBackupDaemonBufferSize, 3, kFamilyBase + "\\Database", "BackupDaemonBufferSize", 3),
    NUMBER_WRITER(SetDatabasePruning, 4, kFamilyBase + "\\Database", "EnableDatabasePruning", 4),
    NUMBER_WRITER(SetDelayPruning, 5, kFamilyBase + "\\Database", "EnableDelayPruning", 5),
    NUMBER_WRITER(SetPruningDays, 6, kFamilyBase + "\\Database", "PruningDays", 6),
    NUMBER_WRITER(SetPruningTime, 7, kFamilyBase + "\\Database", "PruningTime", 7),
    TEXT_WRITER(SetAgentHomeDir, std::string(kRoot) + "\\ClientAgent\\Common", "Path"),
    TEXT_WRITER(SetAlertCurrentBuild, kAlert, "CurrentBuild"),
    TEXT_WRITER(SetAlertCurrentBuildNumber, kAlert, "CurrentBuildNumber"),
    NUMBER_WRITER(SetAlertInstallDate, 8, kAlert, "InstallDate", 8),
    TEXT_WRITER(SetAlertRegisteredOwner, kAlert, "RegisteredOwner"),
    TEXT_WRITER(SetAlertRegisteredOrganization, kAlert, "RegisteredOrganization"),
    TEXT_WRITER(SetAlertHomeDir, kAlert + "\\Path", "HOME"),
    TEXT_WRITER(SetAlertLogDir, kAlert + "\\Path", "LOG"),
    TEXT_WRITER(SetAlertControlDir, kAlert + "\\Path", "CONTROL"),
    TEXT_WRITER(SetAlertEventLogDir, kAlert + "\\Path", "EVENTLOG"),
    TEXT_WRITER(SetAlertCompany, kAlert + "\\User", "Company"),
    TEXT_WRITER(SetAlertLocation, kAlert + "\\User", "Location"),
};

class Writers : public RegistryTest, public testing::WithParamInterface<Writer> {};

TEST_P(Writers, StoresOneValueOfExactTypeAndBytes) {
    const Writer& writer = GetParam();
    EXPECT_EQ(writer.write(), 1);
    const auto stored = GetRaw(HKEY_LOCAL_MACHINE, writer.key, writer.name);
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->type, writer.type);
    EXPECT_EQ(stored->data, writer.data);
}
INSTANTIATE_TEST_SUITE_P(, Writers, testing::ValuesIn(kWriters), kTitle);

class SettingsValues : public RegistryTest {};

TEST_F(SettingsValues, NullTextIsRefusedAndChangesNothing) {
    EXPECT_EQ(CHalvRegistry::SetKorvaultHomeDir("C:\\P"), 1);
    EXPECT_EQ(CHalvRegistry::SetKorvaultHomeDir(nullptr), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kFamilyBase + "\\Path", "HOME"), "C:\\P");
}

struct Driven {
    const char* title;
    int (CHalvRegistry::*set)();
    std::string key;
    const char* name;
    std::string content;  // "#n" for a number
};

#define DRIVEN(Operation, key, name, content) \
    Driven { #Operation, &CHalvRegistry::Operation, key, name, content }

const Driven kDriven[] = {
    DRIVEN(SetKorvaultUser, kFamilyBase + "\\User", "Name", "User"),
    DRIVEN(SetKorvaultCompany, kFamilyBase + "\\User", "Org", "Company"),
    DRIVEN(SetKorvaultHomeDir, kFamilyBase + "\\Path", "HOME", "C:\\P"),
    DRIVEN(SetKorvaultDBDir, kFamilyBase + "\\Path", "DATABASE", "C:\\P\\DATABASE"),
    DRIVEN(SetKorvaultLogDir, kFamilyBase + "\\Path", "LOG", "C:\\P\\LOG"),
    DRIVEN(SetKorvaultTempDir, kFamilyBase + "\\Path", "TEMP", "C:\\P\\TEMP"),
    DRIVEN(SetKorvaultManager, kFamilyBase + "\\Components", "MANAGER", "#1"),
    DRIVEN(SetKorvaultServer, kFamilyBase + "\\Components", "SERVER", "#1"),
    DRIVEN(SetKorvaultAdmin, kFamilyBase + "\\Components", "ADMIN", "#1"),
    DRIVEN(SetKorvaultDatabase, kFamilyBase + "\\Database", "DatabaseType", "#2"),
    Driven{"CatalogPath", &CHalvRegistry::SetKorvaultDatabase, kEnvironment, "CATPATH", "C:\\P\\DATABASE"},
    Driven{"LocalNode", &CHalvRegistry::SetKorvaultEnvironmentVariables, kEnvironment, "LNNAME", "KORVAULT"},
    DRIVEN(SetClientAgentHomeDir, std::string(kRoot) + "\\ClientAgent\\Common", "Path", "C:\\G"),
    DRIVEN(SetAlertRegisteredOwner, kAlert, "RegisteredOwner", "User"),
    DRIVEN(SetAlertRegisteredOrganization, kAlert, "RegisteredOrganization", "Company"),
    DRIVEN(SetAlertHomeDir, kAlert + "\\Path", "HOME", "C:\\A"),
    DRIVEN(SetAlertLogDir, kAlert + "\\Path", "LOG", "C:\\A\\LOG"),
    DRIVEN(SetAlertEventLogDir, kAlert + "\\Path", "EVENTLOG", "C:\\A\\EVENTLOG"),
    DRIVEN(SetAlertCompany, kAlert + "\\User", "Company", "Company"),
    DRIVEN(SetAlertLocation, kAlert + "\\User", "Location", "Company"),
    Driven{"AlertSource", &CHalvRegistry::SetAlertEventLog,
           "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Alert Notification Server", "EventMessageFile",
           "C:\\A\\ALERT.EXE"},
};

class DrivenSetters : public RegistryTest, public testing::WithParamInterface<Driven> {};

TEST_P(DrivenSetters, StoresWhatTheSettingsSayWhenTheObjectMayWrite) {
    const Driven& driven = GetParam();
    CSettings settings = ServerSettings();
    settings.SystemAccountName("svc");
    CHalvRegistry reader(0, nullptr);
    EXPECT_EQ((reader.*driven.set)(), 0);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, driven.key, driven.name), "<none>");
    CHalvRegistry writer(settings, 0, nullptr);
    EXPECT_EQ((writer.*driven.set)(), 1);
    const long long number = GetNumber(HKEY_LOCAL_MACHINE, driven.key, driven.name);
    EXPECT_EQ(number >= 0 ? "#" + std::to_string(number) : GetText(HKEY_LOCAL_MACHINE, driven.key, driven.name),
              driven.content);
    DeleteKeyTree(HKEY_LOCAL_MACHINE,
                  "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Alert Notification Server");
}
INSTANTIATE_TEST_SUITE_P(, DrivenSetters, testing::ValuesIn(kDriven), kTitle);

TEST_F(SettingsValues, AlertServiceIsDescribedByItsFiles) {
    CSettings settings = ServerSettings();
    settings.AlertPath((Folder() + "\\A").c_str());
    CHalvRegistry object(settings, 0, nullptr);
    EXPECT_EQ(object.SetAlertCurrentBuild(), 0) << "no program, no date";
    EXPECT_EQ(object.SetAlertCurrentBuildNumber(), 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kAlert, "CurrentBuildNumber"), "");
    MakeFolder(Folder() + "\\A");
    WriteBytes(Folder() + "\\A\\ALERT.EXE", "program");
    PlaceLibrary("ALERTVER.DLL", Folder() + "\\A\\");
    EXPECT_EQ(object.SetAlertCurrentBuild(), 1);
    EXPECT_THAT(GetText(HKEY_LOCAL_MACHINE, kAlert, "CurrentBuild"), testing::SizeIs(testing::Ge(8u)));
    EXPECT_EQ(object.SetAlertCurrentBuildNumber(), 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kAlert, "CurrentBuildNumber"), "1234");
    EXPECT_EQ(object.SetAlertInstallDate(), 1);
    EXPECT_NEAR(double(GetNumber(HKEY_LOCAL_MACHINE, kAlert, "InstallDate")), double(std::time(nullptr)), 100);
    EXPECT_EQ(object.SetAlertControlDir(), 1);
    char windows[MAX_PATH] = "";
    GetWindowsDirectoryA(windows, sizeof windows);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kAlert + "\\Path", "CONTROL"), windows);
}

TEST_F(SettingsValues, SystemAccountGoesToTheToolLibraryCutTo63Characters) {
    const auto asked = [](const char* name) { return GetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest", name); };
    PlaceLibrary("HSTOOL_ACCOUNT.DLL", Folder() + "\\HSTOOL.DLL");
    CSettings settings = ServerSettings();
    settings.SystemAccountDomain("X");
    settings.SystemAccountName("CORP\\svc");
    settings.SystemAccountServer("HOST");
    settings.SystemAccountPassword(std::string(70, 'p').c_str());
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetKorvaultUser(), 1);
    EXPECT_EQ(asked("domain") + "|" + asked("name") + "|" + asked("computer"), "CORP|svc|HOST");
    EXPECT_EQ(asked("password"), std::string(63, 'p'));
    settings.SystemAccountName("plain");
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetKorvaultUser(), 1);
    EXPECT_EQ(asked("domain") + "|" + asked("name"), "X|plain");
}

TEST_F(SettingsValues, RefusedAccountIsLoggedAndTheUserStillRegistered) {
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, nullptr);
    EXPECT_EQ(object.SetKorvaultUser(), 1);
    EXPECT_THAT(ReadBytes(Folder() + "\\setup.log"),
                testing::EndsWith("\t\tFailed to load HSTOOL.DLL to create system user account.\r\n"));
    PlaceLibrary("HSTOOL_ACCOUNT.DLL", Folder() + "\\HSTOOL.DLL");
    settings.SystemAccountName("refused");
    settings.RegisteredUser("Second");
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetKorvaultUser(), 1);
    EXPECT_THAT(ReadBytes(Folder() + "\\setup.log"), testing::EndsWith("\t\tFailed to add a user account\r\n"));
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kFamilyBase + "\\User", "Name"), "Second");
    settings.SystemAccountName("");
    settings.RegisteredUser("Third");
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetKorvaultUser(), 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kFamilyBase + "\\User", "Name"), "Second") << "no account, nothing written";
}

TEST_F(SettingsValues, EventSourceHasItsMessageFileAndTypes) {
    EXPECT_EQ(CHalvRegistry::SetEventLogApplication("TestSource", "C:\\x.dll", 7), 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\TestSource"),
                testing::ElementsAre(" EventMessageFile 1 C:\\x.dll", " TypesSupported 4 7"));
    EXPECT_EQ(CHalvRegistry::SetEventLogApplication("", "C:\\x.dll", 7), 0) << "would write into the log's own key";
}

TEST_F(SettingsValues, EnvironmentIsWrittenForTheMachineAndReadForTheUser) {
    char buffer[64] = "old";
    DWORD size = sizeof buffer;
    EXPECT_EQ(CHalvRegistry::SetEnvironmentVariableA("CATPATH", "C:\\m"), 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kEnvironment, "CATPATH"), "C:\\m");
    EXPECT_EQ(CHalvRegistry::GetEnvironmentVariableA("CATPATH", buffer, &size), 0);
    EXPECT_STREQ(buffer, "");
    SetText(HKEY_CURRENT_USER, "Environment", "InstalibTest", "mine");
    size = sizeof buffer;
    EXPECT_EQ(CHalvRegistry::GetEnvironmentVariableA("InstalibTest", buffer, &size), 1);
    EXPECT_STREQ(buffer, "mine");
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(CHalvRegistry::DeleteEnvironmentVariable("CATPATH"), 1);
    EXPECT_EQ(CHalvRegistry::DeleteEnvironmentVariable("CATPATH"), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
}

using BufferReader = int (*)(char*, DWORD*, HKEY);
using CachedReader = const char* (CHalvRegistry::*)();

struct Reader {
    const char* title;
    BufferReader read;
    CachedReader cached;
    const char* name;
    std::vector<std::string> keys;   // in the order of search
    std::vector<std::string> never;  // keys that are not asked
};

const std::vector<std::string> kSixPaths = {kFamilyBase + "\\Path", "SOFTWARE\\Orvanex\\KorvaultIT\\Base\\Path",
                                            "SOFTWARE\\Halvenor\\Korvault\\CurrentVersion\\Path",
                                            "SOFTWARE\\Orvanex\\Sarvex\\Base\\Path",
                                            "SOFTWARE\\Orvanex\\Zephranite Enterprise Backup\\Base\\Path"};
const std::string kPath32 = "SOFTWARE\\Wow6432Node\\Orvanex\\Zephranite Korvault Backup\\Base\\Path";

std::vector<std::string> WithView32() {
    std::vector<std::string> keys = kSixPaths;
    keys.push_back(kPath32);
    return keys;
}

#define READER(Operation, Cached, name, keys, ...)                                                 \
    Reader {                                                                                       \
#Operation, &CHalvRegistry::Operation, &CHalvRegistry::Cached, name, keys, { __VA_ARGS__ } \
    }

const Reader kReaders[] = {
    READER(GetKorvaultHomeDir, GetKorvaultHomeDir, "HOME", WithView32()),
    READER(GetKorvaultDBDir, GetKorvaultDBDir, "DATABASE", kSixPaths, kPath32),
    READER(GetKorvaultLogDir, GetKorvaultLogDir, "LOG", kSixPaths, kPath32),
    READER(GetKorvaultTempDir, GetKorvaultTempDir, "TEMP", kSixPaths, kPath32),
    READER(GetAlertHomeDir, GetAlertHomeDir, "HOME",
           (std::vector<std::string>{kAlert + "\\Path", "SOFTWARE\\Halvenor\\ALERT\\CurrentVersion\\Path"})),
    READER(GetAgentHomeDir, GetClientAgentHomeDir, "Path",
           (std::vector<std::string>{std::string(kRoot) + "\\ClientAgent\\Common",
                                     "SOFTWARE\\Orvanex\\KorvaultIT\\ClientAgent\\Common",
                                     "SOFTWARE\\Halvenor\\KorvaultAgent\\CurrentVersion\\Common",
                                     "SOFTWARE\\Orvanex\\Sarvex\\ClientAgent\\Common"})),
    READER(GetKorvaultUserName, GetKorvaultUserName, "Name", (std::vector<std::string>{kFamilyBase + "\\User"})),
    READER(GetKorvaultOrganization, GetKorvaultOrganization, "Org", (std::vector<std::string>{kFamilyBase + "\\User"})),
};

class Readers : public RegistryTest, public testing::WithParamInterface<Reader> {
  protected:
    static std::string Read() {
        char buffer[16];
        std::memset(buffer, '!', sizeof buffer);
        DWORD size = 8;
        const int result = GetParam().read(buffer, &size, nullptr);
        EXPECT_EQ(std::string(buffer + 8, 8), "!!!!!!!!") << "written beyond the buffer's size";
        EXPECT_EQ(result, buffer[0] != '\0');
        return buffer;
    }
};

TEST_P(Readers, FirstPlaceThatHoldsAFittingTextWins) {
    const Reader& reader = GetParam();
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(Read(), "");
    for (const std::string& key : reader.never) SetText(HKEY_LOCAL_MACHINE, key, reader.name, "never");
    EXPECT_EQ(Read(), "");
    // From the last place to the first: each new one hides those behind it.
    for (std::size_t i = reader.keys.size(); i-- > 0;) {
        SetText(HKEY_LOCAL_MACHINE, reader.keys[i], reader.name, "at" + std::to_string(i));
        EXPECT_EQ(Read(), "at" + std::to_string(i));
        EXPECT_EQ((object.*reader.cached)(), "at" + std::to_string(i));
    }
    const std::string last = "at" + std::to_string(reader.keys.size() - 1);
    if (reader.keys.size() > 1) {
        SetText(HKEY_LOCAL_MACHINE, reader.keys[0], reader.name, "too long for the buffer");
        SetRaw(HKEY_LOCAL_MACHINE, reader.keys[1], reader.name, REG_DWORD, {'a', 0, 0, 0});
        EXPECT_EQ(Read(), reader.keys.size() > 2 ? "at2" : "") << "the buffer's whole size counts again for each place";
    }
    for (const std::string& key : reader.keys) DeleteKeyTree(HKEY_LOCAL_MACHINE, key);
    EXPECT_EQ(Read(), "");
    EXPECT_STRNE((object.*reader.cached)(), "") << "the cache keeps the last text";
}

TEST_P(Readers, UnterminatedTextIsTerminatedWithinTheBuffer) {
    const Reader& reader = GetParam();
    SetRaw(HKEY_LOCAL_MACHINE, reader.keys[0], reader.name, REG_SZ, {'1', '2', '3', '4', '5', '6', '7'});
    EXPECT_EQ(Read(), "1234567");
    char buffer[8] = "old";
    DWORD size = 7;
    SetRaw(HKEY_LOCAL_MACHINE, reader.keys[0], reader.name, REG_SZ, Text("1234567"));
    EXPECT_EQ(reader.read(buffer, &size, nullptr), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(reader.read(nullptr, &size, nullptr), 0);
    EXPECT_EQ(reader.read(buffer, nullptr, nullptr), 0);
}
INSTANTIATE_TEST_SUITE_P(, Readers, testing::ValuesIn(kReaders), kTitle);

TEST_F(SettingsValues, FormerVendorsUserCountsOnlyWithoutAUserKeyOfOurs) {
    char buffer[64] = "";
    DWORD size = sizeof buffer;
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor\\Korvault\\CurrentVersion\\User", "Name", "Former");
    EXPECT_EQ(CHalvRegistry::GetKorvaultUserName(buffer, &size, nullptr), 1);
    EXPECT_STREQ(buffer, "Former");
    MakeKey(HKEY_LOCAL_MACHINE, kFamilyBase + "\\User");
    size = sizeof buffer;
    EXPECT_EQ(CHalvRegistry::GetKorvaultUserName(buffer, &size, nullptr), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(SettingsValues, OwnerAndUserNameShareOneCachedText) {
    CHalvRegistry object(0, nullptr);
    const std::string owner = object.GetRegisteredOwner();
    EXPECT_EQ(object.GetKorvaultUserName(), owner) << "not found: the old text";
    SetText(HKEY_LOCAL_MACHINE, kFamilyBase + "\\User", "Name", "Shared");
    EXPECT_STREQ(object.GetKorvaultUserName(), "Shared");
}

TEST_F(SettingsValues, ReadingFillsTheCachesWhateverIsMissing) {
    SetText(HKEY_LOCAL_MACHINE, kFamilyBase + "\\Path", "HOME", "C:\\P");
    const OpenRegistry object;
    EXPECT_STREQ(object.m_sHomeDir, "C:\\P");
    char buffer[64] = "";
    DWORD size = sizeof buffer;
    SetText(HKEY_LOCAL_MACHINE, kAlert + "\\Path", "HOME", "C:\\A");
    EXPECT_EQ(GetAlertPath(buffer, &size, nullptr), 1);
    EXPECT_STREQ(buffer, "C:\\A");
}

TEST_F(SettingsValues, DatabaseAgentsDirectoryIsItsLibrarysFolder) {
    const auto ask = [](const char* agent, int current, DWORD capacity = 64) {
        char buffer[64] = "old";
        DWORD size = capacity;
        const int result = CHalvRegistry::GetDBAgentHomeDir(agent, buffer, &size, current, nullptr);
        return std::to_string(result) + buffer;
    };
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor\\Agents\\dbaexch 2", "dll", "C:\\old\\agent.dll");
    EXPECT_EQ(ask("Agents\\dbaexch", 1), "0");
    EXPECT_EQ(ask("\\Agents\\dbaexch", 0), "1C:\\old");
    SetText(HKEY_LOCAL_MACHINE, std::string(kRoot) + "\\dbaexch\\dbaexch", "dll", "C:\\new\\agent.dll");
    EXPECT_EQ(ask("dbaexch\\dbaexch", 1), "1C:\\new") << "the parent ends at the last backslash";
    EXPECT_EQ(ask("dbaexch\\dbaexch", 1, 5), "0") << "the library's path does not fit";
    MakeKey(HKEY_LOCAL_MACHINE, std::string(kRoot) + "\\dbanone");
    EXPECT_EQ(ask("dbanone", 1), "1") << "an agent without a library has an empty directory";
    EXPECT_EQ(ask("dbaora", 1), "0");
    EXPECT_EQ(ask("Agents\\", 0), "0");
}

}  // namespace
