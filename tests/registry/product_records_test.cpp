// Registration records: where they are found, what counts as one, and how they come and go.
#include <span>

#include "instalib/setup_inf.h"
#include "tests/registry/registry_fixture.h"

namespace {

constexpr HKEY kNoKey = nullptr;

struct Place {
    const char* title;
    const char* key;
    const char* name;  // the main product's id there
};

class RecordPlaces : public RegistryTest, public testing::WithParamInterface<Place> {};
class MainProductPlaces : public RegistryTest, public testing::WithParamInterface<Place> {};

constexpr Place kNamedPlaces[] = {
    {"Current", kProducts, ""},
    {"KorvaultIT", "SOFTWARE\\Orvanex\\KorvaultIT\\Products", ""},
    {"FormerVendor", "SOFTWARE\\Halvenor\\Products", ""},
    {"Sarvex", "SOFTWARE\\Orvanex\\Sarvex\\Products", ""},
    {"Enterprise", "SOFTWARE\\Orvanex\\Zephranite Enterprise Backup\\Products", ""},
    {"DirectoryAgent", "SOFTWARE\\Halvenor\\DSAgent\\CurrentVersion\\Products", ""},
};
constexpr Place kMainPlaces[] = {
    {"Current", kProducts, "ZephraniteCB"},
    {"KorvaultIT", "SOFTWARE\\Orvanex\\KorvaultIT\\Products", "Korvault"},
    {"FormerVendor", "SOFTWARE\\Halvenor\\Products", "Korvault"},
    {"FormerVendorsOther", "SOFTWARE\\Halvenor\\Products", "Omnigrid125Backup"},
    {"Sarvex", "SOFTWARE\\Orvanex\\Sarvex\\Products", "ZephraniteEB"},
    {"Enterprise", "SOFTWARE\\Orvanex\\Zephranite Enterprise Backup\\Products", "ZephraniteEB"},
    {"View32", "SOFTWARE\\Wow6432Node\\Orvanex\\Zephranite Korvault Backup\\Products", "ZephraniteCB"},
};

// Plants the record in a place and, before it in the order of search, one that is too long and thus none.
void ExpectFoundBehindTooLongOnes(std::span<const Place> places, const Place& wanted, const auto& plant,
                                  const auto& plantTooLong, const auto& find) {
    for (const Place& place : places) {
        if (place.title == wanted.title) break;
        plantTooLong(place);
    }
    plant(wanted);
    tagProductStruct found{};
    ASSERT_EQ(find(&found), 1);
    EXPECT_EQ(found.wBuild, 150);
    EXPECT_EQ(found.carried20[28], 0xA5) << "carried bytes come back as they were stored";
}

TEST_P(RecordPlaces, NamedRecordIsFoundInEveryGeneration) {
    CHalvRegistry object(0, nullptr);
    ExpectFoundBehindTooLongOnes(
        kNamedPlaces, GetParam(),
        [](const Place& place) { PlantRecord(HKEY_LOCAL_MACHINE, place.key, "X", Record(0x0606, 150)); },
        [](const Place& place) { SetRaw(HKEY_LOCAL_MACHINE, place.key, "X", REG_BINARY, TestBytes(50, 1)); },
        [&](tagProductStruct* record) { return object.GetProductInfo("X", record, kNoKey); });
}
INSTANTIATE_TEST_SUITE_P(, RecordPlaces, testing::ValuesIn(kNamedPlaces), kTitle);

TEST_P(MainProductPlaces, MainRecordIsFoundUnderEachGenerationsId) {
    ExpectFoundBehindTooLongOnes(
        kMainPlaces, GetParam(),
        [](const Place& place) { PlantRecord(HKEY_LOCAL_MACHINE, place.key, place.name, Record(0x0606, 150)); },
        [](const Place& place) { SetRaw(HKEY_LOCAL_MACHINE, place.key, place.name, REG_BINARY, TestBytes(50, 1)); },
        [](tagProductStruct* record) { return CHalvRegistry::GetKorvaultProductInfo(record, nullptr); });
}
INSTANTIATE_TEST_SUITE_P(, MainProductPlaces, testing::ValuesIn(kMainPlaces), kTitle);

class ProductRecords : public RegistryTest {
  protected:
    static void Register(const char* name, WORD version, WORD build) {
        tagProductStruct record = Record(version, build);
        ASSERT_EQ(CHalvRegistry::RegisterProduct(name, &record), 1);
    }
};

TEST_F(ProductRecords, RegisteringStoresThe49BytesUnchanged) {
    tagProductStruct record = Record(0x0B05, 9);
    EXPECT_EQ(CHalvRegistry::RegisterProduct("X", &record), 1);
    EXPECT_EQ(CHalvRegistry::RegisterProduct_QMC("Q", &record), 1);
    const auto stored = GetRaw(HKEY_LOCAL_MACHINE, kProducts, "X");
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->type, REG_BINARY);
    EXPECT_EQ(stored->data, BytesOf(record));
    EXPECT_EQ(stored->data[8] | stored->data[9] << 8 | stored->data[10] << 16, 0x00090B05);
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.IsProductInstalled_QMC("Q", nullptr), 1);
    EXPECT_EQ(object.GetBuildNumber_QMC("Q"), 9);
    EXPECT_EQ(object.IsProductInstalled("Q"), 0) << "the management centre keeps its own list";
}

TEST_F(ProductRecords, ShorterRecordFillsItsOwnLengthAndAFailureNothing) {
    CHalvRegistry object(0, nullptr);
    tagProductStruct found{};
    found.dwUserLevel = 5;
    SetRaw(HKEY_LOCAL_MACHINE, kProducts, "Short", REG_BINARY, {1, 2, 3, 4, 0, 0, 0, 0, 6, 6});
    EXPECT_EQ(object.GetProductInfo("Short", &found, nullptr), 1);
    EXPECT_EQ(found.dwProductCode, 0x04030201u);
    EXPECT_EQ(found.wVersion, 0x0606);
    EXPECT_EQ(found.dwUserLevel, 5u);
    SetRaw(HKEY_LOCAL_MACHINE, kProducts, "Text", REG_SZ, Text("no record"));
    SetLastError(0xdeadbeef);
    EXPECT_EQ(object.GetProductInfo("Text", &found, nullptr), 0);
    EXPECT_NE(GetLastError(), 0xdeadbeef);
    EXPECT_EQ(found.dwProductCode, 0x04030201u);
    EXPECT_EQ(object.GetProductInfo("X", nullptr, nullptr), 0);
}

TEST_F(ProductRecords, LocalMachines32BitViewIsNotSearchedForNamedProducts) {
    PlantRecord(HKEY_LOCAL_MACHINE, "SOFTWARE\\Wow6432Node\\Orvanex\\Zephranite Korvault Backup\\Products", "X",
                Record(0x0606, 1));
    EXPECT_EQ(CHalvRegistry(0, nullptr).IsProductInstalled("X"), 0);
}

TEST_F(ProductRecords, GettersKeepTheLastValueWhenTheRecordIsGone) {
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.GetSubType("X"), char(255));
    Register("X", 0x0606, 150);
    Register("ZephraniteCB", 0x0B05, 200);
    const auto named = [&] {
        return std::vector<DWORD>{object.GetProductCode("X"), object.GetVersionNumber("X"), object.GetBuildNumber("X"),
                                  static_cast<BYTE>(object.GetSubType("X"))};
    };
    const auto ofMain = [&] {
        return std::vector<DWORD>{object.GetKorvaultProductCode(),
                                  object.GetKorvaultVersionNumber(),
                                  object.GetKorvaultBuildNumber(),
                                  object.GetKorvaultUserLevel(),
                                  static_cast<BYTE>(object.GetKorvaultSubType()),
                                  object.GetKorvaultProductInfo().wBuild};
    };
    const std::vector<DWORD> expectedNamed = {0x01020304, 0x0606, 150, 0xFD};
    const std::vector<DWORD> expectedMain = {0x01020304, 0x0B05, 200, 77, 0xFD, 200};
    EXPECT_EQ(named(), expectedNamed);
    EXPECT_EQ(ofMain(), expectedMain);
    DeleteKeyTree(HKEY_LOCAL_MACHINE, kProducts);
    EXPECT_EQ(object.IsKorvaultInstalled(), 0);
    EXPECT_EQ(named(), expectedNamed);
    EXPECT_EQ(ofMain(), expectedMain);
}

TEST_F(ProductRecords, InstalledVersionIsComparedExactly) {
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.IsProductInstalled("X", 6, 6), 0);
    Register("X", 0x0606, 1);
    EXPECT_EQ(object.IsProductInstalled("X", 6, 6), 1);
    Register("X", 0x0605, 1);
    EXPECT_EQ(object.IsProductInstalled("X", 6, 6), 0);
}

TEST_F(ProductRecords, ProductsKeyGoesWithItsLastRecord) {
    Register("X", 0x0606, 1);
    Register("Y", 0x0606, 1);
    CHalvRegistry::UnregisterProduct("X");
    EXPECT_TRUE(GetRaw(HKEY_LOCAL_MACHINE, kProducts, "Y"));
    CHalvRegistry::UnregisterProduct("Y");
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kProducts));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, kRoot));
    tagProductStruct record = Record(1, 1);
    CHalvRegistry::RegisterProduct_QMC("Q", &record);
    CHalvRegistry::UnregisterProduct_QMC("Q");
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\Zephranite Quarion Management Center"),
                testing::IsEmpty());
}

struct Saving {
    const char* title;
    WORD installed;
    const char* key;  // below the root; null: nothing is saved
};
class SavingOldRecord : public RegistryTest, public testing::WithParamInterface<Saving> {};

TEST_P(SavingOldRecord, KeepsARecordOlderThanTheNewProduct) {
    const Saving& saving = GetParam();
    const tagProductStruct record = Record(saving.installed, 3);
    PlantRecord(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor\\Products", "X", record);
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.SavePerviousRegisterProduct("X", 7, 1), saving.key != nullptr);
    EXPECT_EQ(KeyExists(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor\\Products"), saving.key == nullptr);
    if (saving.key == nullptr) return;
    const auto saved = GetRaw(HKEY_LOCAL_MACHINE, std::string(kRoot) + "\\" + saving.key, "X");
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->data, BytesOf(record));
}
INSTANTIATE_TEST_SUITE_P(, SavingOldRecord,
                         testing::Values(Saving{"Before66", 0x0605, "OldProducts"},
                                         Saving{"From66", 0x0606, "OVOldProducts"},
                                         Saving{"Before70", 0x0700, "OVOldProducts"}, Saving{"Same", 0x0701, nullptr},
                                         Saving{"Newer", 0x0800, nullptr}),
                         kTitle);

TEST_F(ProductRecords, UpdateIsAllowedWithinTheRangeOfBuilds) {
    WriteBytes(Folder() + "\\SETUP.INF", "[BuildNumber]\r\nrange=100,200\r\none=150\r\nother=151\r\n");
    CSetupInf inf;
    inf.SetKORsetupINFName((Folder() + "\\SETUP.INF").c_str());
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.AllowProductUpdate("X", "range", inf), 0) << "not installed";
    for (const auto& [build, allowed] : {std::pair{99, 0}, {100, 1}, {200, 1}, {201, 0}}) {
        Register("X", 0x0606, WORD(build));
        EXPECT_EQ(object.AllowProductUpdate("X", "range", inf), allowed) << build;
    }
    Register("X", 0x0606, 150);
    EXPECT_EQ(object.AllowProductUpdate("X", "one", inf), 1);
    EXPECT_EQ(object.AllowProductUpdate("X", "other", inf), 0);
    EXPECT_EQ(object.AllowProductUpdate("X", "missing", inf), 0);
    EXPECT_EQ(object.AllowProductUpdate("X", "range"), 0) << "no file beside the program";
}

TEST_F(ProductRecords, ListOfProductsNamesTheProductUnlessItsSubtypeIs0Or1) {
    CSettings settings = ServerSettings();
    settings.ProductSubType(1);
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetOVITProduct(), 1);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\OV-InstalledITProducts"));
    settings.ProductSubType(3);
    CHalvRegistry object(settings, 0, nullptr);
    EXPECT_EQ(object.SetOVITProduct(), 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\OV-InstalledITProducts"),
                testing::ElementsAre("[Zephranite Korvault Backup]",
                                     "Zephranite Korvault Backup DisplayName 1 Zephranite Korvault Backup",
                                     "Zephranite Korvault Backup ProductCode 1 "));
    object.DeleteOVITProductBranch();
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\OV-InstalledITProducts"));
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\OV-InstalledITProducts"), testing::IsEmpty());
}

struct Component {
    const char* title;  // the value's name
    int (*query)(HKEY);
    int (CHalvRegistry::*own)();
};
class Components : public RegistryTest, public testing::WithParamInterface<Component> {};

TEST_P(Components, FirstGenerationThatHasTheValueDecides) {
    const Component& component = GetParam();
    CHalvRegistry object(0, nullptr);
    const auto both = [&] {
        EXPECT_EQ(component.query(nullptr), (object.*component.own)());
        return component.query(HKEY_LOCAL_MACHINE);
    };
    const auto set = [&](const char* base, DWORD number) {
        SetNumber(HKEY_LOCAL_MACHINE, std::string(base) + "\\Components", component.title, number);
    };
    set("SOFTWARE\\Halvenor\\Korvault\\CurrentVersion", 1);
    EXPECT_EQ(both(), 0) << "the former vendor's keys are not asked";
    set("SOFTWARE\\Wow6432Node\\Orvanex\\Zephranite Korvault Backup\\Base", 1);
    EXPECT_EQ(both(), 1);
    set("SOFTWARE\\Orvanex\\Zephranite Enterprise Backup\\Base", 2);
    EXPECT_EQ(both(), 0);
    set("SOFTWARE\\Orvanex\\Sarvex\\Base", 1);
    EXPECT_EQ(both(), 1);
    set("SOFTWARE\\Orvanex\\KorvaultIT\\Base", 0);
    EXPECT_EQ(both(), 0);
    SetRaw(HKEY_LOCAL_MACHINE, std::string(kBase) + "\\Components", component.title, REG_SZ, Text("1"));
    set("SOFTWARE\\Orvanex\\KorvaultIT\\Base", 1);
    EXPECT_EQ(both(), 0) << "a value of another type is there and is not 1";
}
INSTANTIATE_TEST_SUITE_P(
    , Components,
    testing::Values(
        Component{"SERVER", &CHalvRegistry::IsKorvaultServerInstalled, &CHalvRegistry::IsKorvaultServerInstalled},
        Component{"MANAGER", &CHalvRegistry::IsKorvaultManagerInstalled, &CHalvRegistry::IsKorvaultManagerInstalled},
        Component{"ADMIN", &CHalvRegistry::IsKorvaultAdminInstalled, &CHalvRegistry::IsKorvaultAdminInstalled},
        Component{"SPONSOR", &CHalvRegistry::IsKorvaultSponsorInstalled, &CHalvRegistry::IsKorvaultSponsorInstalled},
        Component{"CPM", &CHalvRegistry::IsKorvaultCPMInstalled, &CHalvRegistry::IsKorvaultCPMInstalled},
        Component{"DRWIZ", &CHalvRegistry::IsDRWizInstalled, &CHalvRegistry::IsDRWizInstalled},
        Component{"SANWIZ", &CHalvRegistry::IsSANWizInstalled, &CHalvRegistry::IsSANWizInstalled}),
    kTitle);

TEST_F(ProductRecords, SponsorFeatureIsAnEntryOfTheInstalledPrograms) {
    const std::string entry =
        "SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        "{2E307002-493D-458E-8889-859503908A4D}";
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.IsKorvaultFeatureSponsorInstalled(), 0);
    MakeKey(HKEY_LOCAL_MACHINE, entry);
    EXPECT_EQ(object.IsKorvaultFeatureSponsorInstalled(), 1);
    EXPECT_EQ(CHalvRegistry::IsKorvaultFeatureSponsorInstalled(nullptr), 0) << "a null key opens nothing";
    DeleteKeyTree(HKEY_LOCAL_MACHINE, entry);
}

TEST_F(ProductRecords, NeighbouringProductIsAnAltFileBesideOurs) {
    char windows[MAX_PATH] = "";
    GetWindowsDirectoryA(windows, sizeof windows);
    const std::string folder = std::string(windows) + "\\";
    EXPECT_EQ(CHalvRegistry::PhagrixExists(nullptr), 0);
    WriteBytes(folder + "Korvault.alt", "");
    EXPECT_EQ(CHalvRegistry::PhagrixExists(nullptr), 0);
    WriteBytes(folder + "OTHER.ALT", "");
    EXPECT_EQ(CHalvRegistry::PhagrixExists(nullptr), 1);
    DeleteFileA((folder + "Korvault.alt").c_str());
    DeleteFileA((folder + "OTHER.ALT").c_str());
}

TEST_F(ProductRecords, AlertBuildIsTheNumberAtTheTextsStart) {
    WORD build = 7;
    EXPECT_EQ(CHalvRegistry::GetAlertBuildNumber(&build, nullptr), 0);
    EXPECT_EQ(build, 0);
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvenor\\ALERT\\CurrentVersion", "CurrentBuildNumber", "123 beta");
    EXPECT_EQ(CHalvRegistry::GetAlertBuildNumber(&build, nullptr), 1);
    EXPECT_EQ(build, 123);
    MakeKey(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\ALERT\\CurrentVersion");
    EXPECT_EQ(CHalvRegistry::GetAlertBuildNumber(&build, nullptr), 0) << "the newer key opens and lacks the value";
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\ALERT\\CurrentVersion", "CurrentBuildNumber", "456");
    EXPECT_EQ(CHalvRegistry(0, nullptr).GetAlertBuildNumber(), 456u);
}

}  // namespace
