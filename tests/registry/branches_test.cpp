// Removal of branches and keys: what goes, and above all what stays.
#include "platform/handles.h"
#include "tests/registry/registry_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kVendor[] = "SOFTWARE\\Orvanex";
constexpr char kScratch[] = "SOFTWARE\\InstalibTest";

class Branches : public RegistryTest {
  protected:
    static std::string Below(const char* path, const char* name) { return std::string(path) + "\\" + name; }
    static bool Exists(const std::string& key) { return KeyExists(HKEY_LOCAL_MACHINE, key); }
    static void Make(const std::string& key) { MakeKey(HKEY_LOCAL_MACHINE, key); }
};

TEST_F(Branches, EmptyingAKeyKeepsTheKeyAndItsValues) {
    Make(Below(kScratch, "a\\b\\c"));
    Make(Below(kScratch, "d"));
    SetText(HKEY_LOCAL_MACHINE, kScratch, "value", "kept");
    EXPECT_EQ(CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch), 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kScratch), ElementsAre(" value 1 kept"));
    EXPECT_EQ(CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest\\missing"), 1);
}

TEST_F(Branches, OpenKeyElsewhereDoesNotKeepItsNameAlive) {
    Make(Below(kScratch, "a\\b"));
    RegistryKey open;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, Below(kScratch, "a\\b").c_str(), 0, KEY_READ, open.Receive()), 0);
    EXPECT_EQ(CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch), 1);
    EXPECT_FALSE(Exists(Below(kScratch, "a")));
}

TEST_F(Branches, FamilyRootGoesOnlyWhenEmptyOrEmptiedFirst) {
    Make(kBase);
    CHalvRegistry::DeleteKorvaultBranch(0);
    CHalvRegistry::DeleteHalvenorBranch(0);
    EXPECT_TRUE(Exists(kBase));
    CHalvRegistry::DeleteKorvaultBranch(1);
    EXPECT_FALSE(Exists(kRoot));
    EXPECT_TRUE(Exists(kVendor));
    CHalvRegistry::DeleteHalvenorBranch(0);
    EXPECT_FALSE(Exists(kVendor));
    Make(Below(kVendor, "Neighbour\\Key"));
    CHalvRegistry::DeleteHalvenorBranch(1);
    EXPECT_FALSE(Exists(kVendor));
}

TEST_F(Branches, NamedBranchesGoWithTheirContentsAndNothingElse) {
    CHalvRegistry object(0, nullptr);
    for (const char* key : {"Base\\Path\\x", "Reactivon\\x", "Other"}) Make(Below(kRoot, key));
    Make(Below(kVendor, "ALERT\\CurrentVersion"));
    object.DeleteKorvaultBaseBranch();
    CHalvRegistry::DeleteReactivonBranch();
    object.DeleteAlertBranch();
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kVendor),
                ElementsAre("[Zephranite Korvault Backup]", "[Zephranite Korvault Backup\\Other]"));
}

TEST_F(Branches, UserCopiesGoUnderTheUserAndEveryProfile) {
    CHalvRegistry object(0, nullptr);
    const std::string profile = Below(kProfiles, "S-1-5-21-1-2-3-1000");
    for (const char* key : {"Zephranite Korvault Backup\\x", "Neighbour"}) {
        MakeKey(HKEY_CURRENT_USER, Below(kVendor, key));
        Make(profile + "\\" + Below(kVendor, key));
    }
    object.DeleteKorvaultUserBranches();
    EXPECT_THAT(Listing(HKEY_CURRENT_USER, kVendor), ElementsAre("[Neighbour]"));
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, profile + "\\" + kVendor), ElementsAre("[Neighbour]"));
    object.DeleteHalvenorUserBranches(0);
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, Below(kVendor, "Neighbour")));
    object.DeleteHalvenorUserBranches(1);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kVendor));
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, profile), ElementsAre("[SOFTWARE]"));
}

TEST_F(Branches, KeysBelowTheRootsTakeALeadingBackslashOrNone) {
    struct Operations {
        int (*add)(CString);
        void (*remove)(CString);
        const char* root;
    };
    for (const Operations& below :
         {Operations{&CHalvRegistry::AddHalvenorKey, &CHalvRegistry::DeleteHalvenorKey, kVendor},
          Operations{&CHalvRegistry::AddKorvaultKey, &CHalvRegistry::DeleteKorvaultKey, kRoot}}) {
        for (const char* sub : {"Sub", "\\Sub"}) {
            EXPECT_EQ(below.add("\\Sub\\Deep"), 1);
            EXPECT_TRUE(Exists(Below(below.root, "Sub\\Deep")));
            below.remove(sub);
            EXPECT_FALSE(Exists(Below(below.root, "Sub"))) << sub;
        }
        below.add("Kept");
        below.remove("");
        below.remove("\\");
        EXPECT_TRUE(Exists(Below(below.root, "Kept"))) << "an empty name is not the root";
    }
}

TEST_F(Branches, ValuesAreSetInExistingKeysAndFoundBelowTheFormerVendor) {
    BYTE data[8] = {1, 2};
    EXPECT_EQ(CHalvRegistry::SetKorvaultKeyValue("Sub", "v", REG_BINARY, data, 2), 0) << "the key is not created";
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    CHalvRegistry::AddKorvaultKey("Sub");
    EXPECT_EQ(CHalvRegistry::SetKorvaultKeyValue("\\Sub", "v", REG_BINARY, data, 2), 1);
    DWORD type = 0;
    DWORD size = sizeof data;
    EXPECT_EQ(CHalvRegistry::QueryKorvaultKeyValue("Sub", "v", &type, data, &size, nullptr), 1);
    EXPECT_EQ(type, REG_BINARY);
    EXPECT_EQ(size, 2u);
    SetRaw(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor\\Sub", "v", REG_BINARY, {7, 7, 7});
    SetRaw(HKEY_LOCAL_MACHINE, Below(kVendor, "Sub"), "v", REG_BINARY, TestBytes(9, 1));
    size = sizeof data;
    EXPECT_EQ(CHalvRegistry::QueryHalvenorKeyValue("Sub", "v", &type, data, &size, nullptr), 1);
    EXPECT_EQ(size, 3u) << "the first value did not fit; the second gets the whole buffer";
    size = sizeof data;
    EXPECT_EQ(CHalvRegistry::QueryKorvaultKeyValue("Missing", "v", &type, data, &size, nullptr), 0);
}

TEST_F(Branches, FormerVendorsRootGoesWithItsLastKey) {
    Make("SOFTWARE\\Halvenor\\A\\B");
    Make("SOFTWARE\\Halvenor\\C");
    CHalvRegistry::DeleteOldKorvaultKey("\\A");
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor"), ElementsAre("[C]"));
    CHalvRegistry::DeleteOldKorvaultKey("C");
    EXPECT_FALSE(Exists("SOFTWARE\\Halvenor"));
}

TEST_F(Branches, AnotherDatabaseAgentIsOneThatIsNoVariant) {
    const std::string agents = Below(kRoot, "dbaexch\\Agents");
    CString dir = "untouched";
    Make(agents + "\\dbaexch");
    Make(agents + "\\dbaexch2");
    Make(agents + "\\dbaxchg2");
    EXPECT_EQ(CHalvRegistry::ExistOther_DBAgents("dbaexch\\Agents\\dbaexch", 1, dir), 0);
    EXPECT_STREQ(dir, "untouched");
    EXPECT_EQ(CHalvRegistry::ExistOther_DBAgents("\\dbaexch\\Agents\\dbaxchg2", 1, dir), 1)
        << "dbaexch is another key for dbaxchg2";
    EXPECT_STREQ(dir, "") << "an agent without a library";
    SetText(HKEY_LOCAL_MACHINE, agents + "\\dbaora", "dll", "C:\\ora\\bin\\agent.dll");
    EXPECT_EQ(CHalvRegistry::ExistOther_DBAgents("dbaexch\\Agents\\dbaexch", 1, dir), 1);
    EXPECT_STREQ(dir, "C:\\ora\\bin");
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor\\Agents\\dbasql", "dll", "C:\\sql\\agent.dll");
    EXPECT_EQ(CHalvRegistry::ExistOther_DBAgents("Agents\\dbaexch", 0, dir), 1);
    EXPECT_STREQ(dir, "C:\\sql");
}

TEST_F(Branches, AgentsKeysGoByNameAndTheExchangePairTogether) {
    const std::string agents = Below(kRoot, "Agents");
    const auto make = [&] {
        for (const char* name : {"dbaexch\\x", "old dbaexch", "dbaxchg2\\y", "dbaora"}) Make(agents + "\\" + name);
    };
    make();
    CHalvRegistry::DeleteAgentSubKeys("Agents\\dbaexch", 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, agents), ElementsAre("[dbaora]", "[dbaxchg2]", "[dbaxchg2\\y]"));
    make();
    CHalvRegistry::DeleteAgentSubKeys("Agents\\dbaxchg2", 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, agents), ElementsAre("[dbaora]", "[old dbaexch]"));
    CHalvRegistry::DeleteAgentSubKeys("Agents\\", 1);
    EXPECT_TRUE(Exists(agents + "\\dbaora")) << "no name is not every name";
}

// The product's registry name comes from its map library; without that library it is empty and names the unnamed value.
TEST_F(Branches, OldRecordIsKeptForTheUpgradeAndDroppedAfterIt) {
    const char* const kept = "SOFTWARE\\Orvanex\\KorvaultIT\\OldDBAgents";
    const char* const source = "SOFTWARE\\Halvenor\\Products";
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, nullptr);
    const char* const name = settings.Product();
    object.CreateOldProdDscrpt();
    EXPECT_FALSE(Exists(kept));
    PlantRecord(HKEY_LOCAL_MACHINE, source, name, Record(0x0605, 3));
    object.CreateOldProdDscrpt();
    ASSERT_TRUE(GetRaw(HKEY_LOCAL_MACHINE, kept, name));
    EXPECT_EQ(GetRaw(HKEY_LOCAL_MACHINE, kept, name)->data, BytesOf(Record(0x0605, 3)));
    SetText(HKEY_LOCAL_MACHINE, kept, "other", "value");
    object.DeleteOldProdDscrpt();
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kept), ElementsAre(" other 1 value"));
    object.CreateOldProdDscrpt();
    RegistryKey key;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kept, 0, KEY_ALL_ACCESS, key.Receive()), 0);
    RegDeleteValueA(key.Get(), "other");
    key.Reset();
    object.DeleteOldProdDscrpt();
    EXPECT_FALSE(Exists(kept));
    Make(kept);
    object.DeleteOldProdDscrpt();
    EXPECT_TRUE(Exists(kept)) << "the rest is counted only after something was deleted";
}

}  // namespace
