// Removal of branches and keys: what goes, and above all what stays.
#include <thread>

#include "tests/registry/registry_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Branches : public RegistryTest {};

TEST_F(Branches, EmptyingKeepsTheKeyItsValuesAndWhatAnEmptyPathNames) {
    for (const char* name : {"\\a\\b\\c", "\\d"}) Make(kScratch + name);
    Put(kScratch, "value", "kept");
    RegistryKey open;  // does not keep its name alive
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, (kScratch + "\\a\\b").c_str(), 0, KEY_READ, open.Receive()), 0);
    EXPECT_EQ(Halv::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch.c_str()), 1);
    EXPECT_THAT(List(kScratch), ElementsAre(" value 1 kept"));
    EXPECT_EQ(Halv::DeleteSubKeys(HKEY_LOCAL_MACHINE, (kScratch + "\\missing").c_str()), 1);
    Make(kScratch + "\\a");
    RegistryKey handle;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kScratch.c_str(), 0, KEY_ALL_ACCESS, handle.Receive()), 0);
    for (const char* path : {static_cast<const char*>(nullptr), "", "\\"})
        EXPECT_EQ(Halv::DeleteSubKeys(handle.Get(), path), 0);
    EXPECT_TRUE(Has(kScratch + "\\a"));
}

TEST_F(Branches, EmptyingEndsWhileAnotherThreadAddsKeys) {
    std::thread other([] {
        for (int i = 0; i < 300; ++i) Make(kScratch + "\\a\\" + std::to_string(i));
    });
    for (int i = 0; i < 100; ++i) {
        if (Halv::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch.c_str()) == 0) {
            EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED)) << "only a key that has gained one stays";
        }
    }
    other.join();
    EXPECT_EQ(Halv::DeleteSubKeys(HKEY_LOCAL_MACHINE, kScratch.c_str()), 1);
    EXPECT_THAT(List(kScratch), IsEmpty());
}

TEST_F(Branches, FamilyRootGoesOnlyWhenEmptyOrEmptiedFirst) {
    Make(kBase);
    Halv::DeleteKorvaultBranch(0);
    Halv::DeleteHalvenorBranch(0);
    EXPECT_TRUE(Has(kBase));
    Halv::DeleteKorvaultBranch(1);
    EXPECT_FALSE(Has(kRoot));
    EXPECT_TRUE(Has(kVendor));
    Halv::DeleteHalvenorBranch(0);
    EXPECT_FALSE(Has(kVendor));
    Make(kVendor + "\\Neighbour\\Key");
    Halv::DeleteHalvenorBranch(1);
    EXPECT_FALSE(Has(kVendor));
}

TEST_F(Branches, UserCopiesGoUnderTheUserAndEveryProfile) {
    CHalvRegistry object(0, nullptr);
    for (const std::string& key : {kRoot + "\\x", kVendor + "\\Neighbour"}) {
        MakeKey(HKEY_CURRENT_USER, key);
        Make(kProfile + "\\" + key);
    }
    object.DeleteKorvaultUserBranches();
    object.DeleteHalvenorUserBranches(0);
    EXPECT_THAT(List(kVendor, HKEY_CURRENT_USER), ElementsAre("[Neighbour]"));
    EXPECT_THAT(List(kProfile + "\\" + kVendor), ElementsAre("[Neighbour]"));
    object.DeleteHalvenorUserBranches(1);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kVendor));
    EXPECT_THAT(List(kProfile), ElementsAre("[SOFTWARE]"));
}

TEST_F(Branches, KeysBelowTheRootsTakeALeadingBackslashOrNone) {
    for (const char* sub : {"Sub", "\\Sub"}) {
        EXPECT_EQ(Halv::AddHalvenorKey("\\Sub\\Deep") + Halv::AddKorvaultKey("Sub\\Deep"), 2);
        EXPECT_TRUE(Has(kVendor + "\\Sub\\Deep") && Has(kRoot + "\\Sub\\Deep"));
        Halv::DeleteHalvenorKey(sub);
        Halv::DeleteKorvaultKey(sub);
        EXPECT_FALSE(Has(kVendor + "\\Sub") || Has(kRoot + "\\Sub")) << sub;
    }
    for (const char* none : {"", "\\"}) {
        Halv::DeleteHalvenorKey(none);
        Halv::DeleteKorvaultKey(none);
    }
    EXPECT_TRUE(Has(kRoot)) << "an empty name is not the root";
}

TEST_F(Branches, ValuesAreSetInExistingKeysAndFoundBelowTheFormerVendor) {
    BYTE data[8] = {1, 2};
    DWORD type = 0;
    DWORD size = sizeof data;
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND, Halv::SetKorvaultKeyValue("Sub", "v", REG_BINARY, data, 2)))
        << "the key is not created";
    Halv::AddKorvaultKey("Sub");
    EXPECT_EQ(Halv::SetKorvaultKeyValue("\\Sub", "v", REG_BINARY, data, 2), 1);
    EXPECT_EQ(Halv::QueryKorvaultKeyValue("Sub", "v", &type, data, &size, nullptr), 1);
    EXPECT_EQ(type + size, REG_BINARY + 2u);
    EXPECT_EQ(Halv::QueryKorvaultKeyValue("Missing", "v", &type, data, &size, nullptr), 0);
    Halv::AddHalvenorKey("Sub");
    EXPECT_EQ(Halv::SetHalvenorKeyValue("Sub", "v", REG_BINARY, TestBytes(9, 1).data(), 9), 1);
    SetRaw(kFormer + "\\Sub", "v", REG_BINARY, {7, 7, 7});
    EXPECT_EQ(Halv::QueryHalvenorKeyValue("Sub", "v", &type, data, &(size = sizeof data), nullptr), 1);
    EXPECT_EQ(size, 3u) << "the first value did not fit; the second gets the whole buffer";
}

TEST_F(Branches, NamedBranchesGoAndTheFormerVendorsRootWithItsLastKey) {
    CHalvRegistry object(0, nullptr);
    for (const char* name : {"\\Base\\Path\\x", "\\Reactivon\\x", "\\Other"}) Make(kRoot + name);
    Make(kAlert);
    object.DeleteKorvaultBaseBranch();
    Halv::DeleteReactivonBranch();
    object.DeleteAlertBranch();
    EXPECT_THAT(List(kVendor), ElementsAre("[Zephranite Korvault Backup]", "[Zephranite Korvault Backup\\Other]"));
    for (const char* name : {"\\A\\B", "\\C"}) Make(kFormer + name);
    Halv::DeleteOldKorvaultKey("\\A");
    EXPECT_THAT(List(kFormer), ElementsAre("[C]"));
    Halv::DeleteOldKorvaultKey("C");
    EXPECT_FALSE(Has(kFormer));
}

TEST_F(Branches, AnotherDatabaseAgentIsOneThatIsNoVariant) {
    const std::string agents = kRoot + "\\dbaexch\\Agents";
    CString dir = "untouched";
    for (const char* name : {"\\dbaexch", "\\dbaexch2", "\\dbaxchg2"}) Make(agents + name);
    EXPECT_EQ(Halv::ExistOther_DBAgents("dbaexch\\Agents\\dbaexch", 1, dir), 0);
    EXPECT_STREQ(dir, "untouched");
    EXPECT_EQ(Halv::ExistOther_DBAgents("\\dbaexch\\Agents\\dbaxchg2", 1, dir), 1) << "dbaexch is another key";
    EXPECT_STREQ(dir, "") << "an agent without a library";
    Put(agents + "\\dbaora", "dll", "C:\\ora\\bin\\agent.dll");
    EXPECT_EQ(Halv::ExistOther_DBAgents("dbaexch\\Agents\\dbaexch", 1, dir), 1);
    EXPECT_STREQ(dir, "C:\\ora\\bin");
    Put(kFormer + "\\Agents\\dbasql", "dll", "C:\\sql\\agent.dll");
    EXPECT_EQ(Halv::ExistOther_DBAgents("Agents\\dbaexch", 0, dir), 1);
    EXPECT_STREQ(dir, "C:\\sql");
}

TEST_F(Branches, AgentsKeysGoByNameAndTheExchangePairTogether) {
    const auto left = [](const char* agent) {
        for (const char* name : {"dbaexch\\x", "old dbaexch", "dbaxchg2\\y", "dbaora"})
            Make(kRoot + "\\Agents\\" + name);
        Halv::DeleteAgentSubKeys(agent, 1);
        return List(kRoot + "\\Agents");
    };
    EXPECT_THAT(left("Agents\\dbaexch"), ElementsAre("[dbaora]", "[dbaxchg2]", "[dbaxchg2\\y]"));
    EXPECT_THAT(left("Agents\\dbaxchg2"), ElementsAre("[dbaora]", "[old dbaexch]"));
    EXPECT_THAT(left("Agents\\"), testing::SizeIs(6)) << "no name is not every name";
}

// The product's registry name comes from its map library; without that library it is empty and names the unnamed value.
TEST_F(Branches, OldRecordIsKeptForTheUpgradeAndDroppedAfterIt) {
    const std::string kept = kVendor + "\\KorvaultIT\\OldDBAgents";
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, nullptr);
    object.CreateOldProdDscrpt();
    EXPECT_FALSE(Has(kept));
    PlantRecord(kFormer + "\\Products", settings.Product(), Record(0x0605, 3));
    object.CreateOldProdDscrpt();
    ASSERT_TRUE(GetRaw(kept, settings.Product()));
    EXPECT_EQ(GetRaw(kept, settings.Product())->data, BytesOf(Record(0x0605, 3)));
    Put(kept, "other", "value");
    object.DeleteOldProdDscrpt();
    EXPECT_THAT(List(kept), ElementsAre(" other 1 value"));
    Remove(kept);
    object.CreateOldProdDscrpt();
    object.DeleteOldProdDscrpt();
    EXPECT_FALSE(Has(kept));
    Make(kept);
    object.DeleteOldProdDscrpt();
    EXPECT_TRUE(Has(kept)) << "the rest is counted only after something was deleted";
}

}  // namespace
