// Registration records: where they are found, what counts as one, and how they come and go; what is installed.
#include "instalib/setup_inf.h"
#include "tests/registry/registry_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr HKEY kNoKey = nullptr;
const std::string kCentre = kVendor + "\\Zephranite Quarion Management Center";

class ProductRecords : public RegistryTest {
  protected:
    static void Register(const char* name, WORD version, WORD build) {
        tagProductStruct record = Record(version, build);
        ASSERT_EQ(Halv::RegisterProduct(name, &record), 1);
    }
};

struct Places {
    const char* name;
    int (*find)(tagProductStruct*);
    std::vector<std::pair<std::string, const char*>> places;  // key and value name, in the order of search
};
class RecordPlaces : public RegistryTest, public testing::WithParamInterface<Places> {};

TEST_P(RecordPlaces, FirstFittingRecordOfAllGenerationsIsFound) {
    const auto& [title, find, places] = GetParam();
    // From the last place to the first: each new one hides those behind it, one that is too long or a text does not.
    for (std::size_t i = places.size(); i-- > 0;) {
        const auto& [key, name] = places[i];
        tagProductStruct found{};
        EXPECT_EQ(find(&found), i + 1 < places.size()) << key;
        SetRaw(key, name, REG_BINARY, TestBytes(50, 1));
        EXPECT_EQ(find(&found), i + 1 < places.size()) << key;
        SetRaw(key, name, REG_SZ, {'x', 0});
        EXPECT_EQ(find(&found), i + 1 < places.size()) << key;
        PlantRecord(key, name, Record(0x0606, WORD(100 + i)));
        EXPECT_EQ(find(&found), 1);
        EXPECT_EQ(BytesOf(found), BytesOf(Record(0x0606, WORD(100 + i)))) << key;
    }
}
const std::string kEnterprise = kVendor + "\\Zephranite Enterprise Backup\\Products";
constexpr auto kFindNamed = [](tagProductStruct* record) {
    return CHalvRegistry(0, nullptr).GetProductInfo("X", record, kNoKey);
};
constexpr auto kFindMain = [](tagProductStruct* record) {
    return CHalvRegistry::GetKorvaultProductInfo(record, kNoKey);
};
const std::string kIT = kVendor + "\\KorvaultIT\\Products";
const std::string kSarvex = kVendor + "\\Sarvex\\Products";
const std::string kFormerProducts = kFormer + "\\Products";
// clang-format off
INSTANTIATE_TEST_SUITE_P(, RecordPlaces, testing::Values(
    Places{"Named", kFindNamed,
           {{kProducts, "X"}, {kIT, "X"}, {kFormerProducts, "X"}, {kSarvex, "X"}, {kEnterprise, "X"},
            {kFormer + "\\DSAgent\\CurrentVersion\\Products", "X"}}},
    Places{"Main", kFindMain,
           {{kProducts, "ZephraniteCB"}, {kIT, "Korvault"}, {kFormerProducts, "Korvault"},
            {kFormerProducts, "Omnigrid125Backup"}, {kSarvex, "ZephraniteEB"}, {kEnterprise, "ZephraniteEB"},
            {kView32 + "\\Products", "ZephraniteCB"}}}), kCaseName);
// clang-format on

TEST_F(ProductRecords, RecordIsStoredUnchangedAndAShorterOneFillsItsOwnLength) {
    tagProductStruct record = Record(0x0B05, 9);
    EXPECT_EQ(Halv::RegisterProduct("X", &record) + Halv::RegisterProduct_QMC("Q", &record), 2);
    const auto stored = GetRaw(kProducts, "X");
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->type, REG_BINARY);
    EXPECT_EQ(stored->data, BytesOf(record));
    EXPECT_EQ(stored->data[8] | stored->data[9] << 8 | stored->data[10] << 16, 0x00090B05);
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.IsProductInstalled_QMC("Q", nullptr), 1);
    EXPECT_EQ(object.GetVersionNumber_QMC("Q") + object.GetBuildNumber_QMC("Q"), 0x0B05 + 9);
    EXPECT_EQ(object.IsProductInstalled("Q"), 0) << "the management centre keeps its own list";
    tagProductStruct found{};
    found.dwUserLevel = 5;
    SetRaw(kProducts, "Short", REG_BINARY, {1, 2, 3, 4, 0, 0, 0, 0, 6, 6});
    EXPECT_EQ(object.GetProductInfo("Short", &found, kNoKey), 1);
    EXPECT_EQ(object.GetProductInfo("Missing", &found, kNoKey) + object.GetProductInfo("Short", nullptr, kNoKey), 0);
    EXPECT_EQ(found.dwProductCode, 0x04030201u);
    EXPECT_EQ(found.wVersion, 0x0606);
    EXPECT_EQ(found.dwUserLevel, 5u);
    PlantRecord(kView32 + "\\Products", "View", Record(0x0606, 1));
    EXPECT_EQ(object.IsProductInstalled("View"), 0) << "the local machine's 32-bit view is not searched";
}

TEST_F(ProductRecords, GettersKeepTheLastValueWhenTheRecordIsGone) {
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.GetSubType("X"), char(255));
    Register("X", 0x0606, 150);
    Register("ZephraniteCB", 0x0B05, 200);
    const auto fields = [&] {
        // clang-format off
        return std::vector<DWORD>{
            object.GetProductCode("X"), object.GetVersionNumber("X"), object.GetBuildNumber("X"), BYTE(object.GetSubType("X")),
            object.GetKorvaultProductCode(), object.GetKorvaultVersionNumber(), object.GetKorvaultBuildNumber(),
            object.GetKorvaultUserLevel(), BYTE(object.GetKorvaultSubType()), object.GetKorvaultProductInfo().wBuild};
        // clang-format on
    };
    const auto expected = ElementsAre(0x01020304, 0x0606, 150, 0xFD, 0x01020304, 0x0B05, 200, 77, 0xFD, 200);
    EXPECT_THAT(fields(), expected);
    EXPECT_EQ(object.IsKorvaultInstalled() + object.IsProductInstalled("X", 6, 6), 2);
    EXPECT_EQ(object.IsProductInstalled("X", 6, 5) + object.IsProductInstalled("X", 7, 6), 0);
    Remove(kProducts);
    EXPECT_EQ(object.IsKorvaultInstalled() + object.IsProductInstalled("X", 6, 6), 0);
    EXPECT_THAT(fields(), expected);
}

TEST_F(ProductRecords, ProductsKeyGoesWithItsLastRecord) {
    Register("X", 0x0606, 1);
    Register("Y", 0x0606, 1);
    Halv::UnregisterProduct("X");
    EXPECT_TRUE(GetRaw(kProducts, "Y"));
    Halv::UnregisterProduct("Y");
    EXPECT_FALSE(Has(kProducts));
    EXPECT_TRUE(Has(kRoot));
    tagProductStruct record = Record(1, 1);
    Halv::RegisterProduct_QMC("Q", &record);
    Halv::UnregisterProduct_QMC("Q");
    EXPECT_THAT(List(kCentre), IsEmpty());
}

TEST_F(ProductRecords, RecordOlderThanTheNewProductIsKept) {
    CHalvRegistry object(0, nullptr);
    for (const auto& [installed, kept] : {std::pair{0x0605, "\\OldProducts"},
                                          {0x0606, "\\OVOldProducts"},
                                          {0x0700, "\\OVOldProducts"},
                                          {0x0701, ""},
                                          {0x0800, ""}}) {
        PlantRecord(kFormer + "\\Products", "X", Record(WORD(installed), 3));
        EXPECT_EQ(object.SavePerviousRegisterProduct("X", 7, 1), *kept != '\0') << installed;
        EXPECT_EQ(Has(kFormer + "\\Products"), *kept == '\0') << installed;
        const auto saved = GetRaw(kRoot + kept, "X");
        EXPECT_EQ(saved ? saved->data : TestBytes(), *kept != '\0' ? BytesOf(Record(WORD(installed), 3)) : TestBytes());
    }
}

TEST_F(ProductRecords, UpdateIsAllowedWithinTheRangeOfBuilds) {
    WriteBytes(Folder() + "\\SETUP.INF", "[BuildNumber]\r\nrange=100,200\r\none=200\r\nother=151\r\n");
    CSetupInf inf;
    inf.SetKORsetupINFName((Folder() + "\\SETUP.INF").c_str());
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.AllowProductUpdate("X", "range", inf), 0) << "not installed";
    for (const auto& [build, allowed] : {std::pair{99, 0}, {100, 1}, {201, 0}, {200, 1}}) {
        Register("X", 0x0606, WORD(build));
        EXPECT_EQ(object.AllowProductUpdate("X", "range", inf), allowed) << build;
    }
    EXPECT_EQ(object.AllowProductUpdate("X", "one", inf), 1);
    EXPECT_EQ(object.AllowProductUpdate("X", "other", inf) + object.AllowProductUpdate("X", "missing", inf), 0);
    EXPECT_EQ(object.AllowProductUpdate("X", "range"), 0) << "no file beside the program";
}

TEST_F(ProductRecords, ListOfProductsNamesTheProductUnlessItsSubtypeIs0Or1) {
    CSettings settings = ServerSettings();
    for (const int subType : {0, 1}) {
        settings.ProductSubType(subType);
        EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetOVITProduct(), 1);
    }
    EXPECT_FALSE(Has(kListOfProducts));
    settings.ProductSubType(3);
    CHalvRegistry object(settings, 0, nullptr);
    EXPECT_EQ(object.SetOVITProduct(), 1);
    // Windows counts a terminator that follows the bytes it was given.
    EXPECT_THAT(List(kListOfProducts),
                ElementsAre("[Zephranite Korvault Backup]",
                            testing::StartsWith("Zephranite Korvault Backup DisplayName 1 Zephranite Korvault Backup"),
                            testing::StartsWith("Zephranite Korvault Backup ProductCode 1 ")));
    object.DeleteOVITProductBranch();
    EXPECT_TRUE(Has(kListOfProducts));
    EXPECT_THAT(List(kListOfProducts), IsEmpty());
}

TEST_F(ProductRecords, ComponentIsInstalledWhereTheFirstGenerationThatHasItSaysOne) {
    const auto with = [](const std::string& base, DWORD number) {
        SetNumber(base + "\\Components", "SERVER", number);
        return Halv::IsKorvaultComponentInstalled("SERVER", nullptr);
    };
    EXPECT_EQ(with(kFormer + "\\Korvault\\CurrentVersion", 1), 0) << "the former vendor's keys are not asked";
    EXPECT_EQ(with(kView32 + "\\Base", 1), 1);
    EXPECT_EQ(with(kVendor + "\\Zephranite Enterprise Backup\\Base", 2), 0);
    EXPECT_EQ(with(kVendor + "\\Sarvex\\Base", 1), 1);
    EXPECT_EQ(with(kVendor + "\\KorvaultIT\\Base", 0), 0);
    SetRaw(kBase + "\\Components", "SERVER", REG_SZ, {'1', 0});
    EXPECT_EQ(with(kVendor + "\\KorvaultIT\\Base", 1), 0) << "a value of another type is there and is not 1";
}

TEST_F(ProductRecords, EachComponentQueryAsksForItsOwnValue) {
    const char* const names[] = {"SERVER", "MANAGER", "ADMIN", "SPONSOR", "CPM", "DRWIZ", "SANWIZ"};
    for (std::size_t i = 0; i < std::size(names); ++i) {
        Remove(kBase);
        SetNumber(kBase + "\\Components", names[i], 1);
        CHalvRegistry object(0, nullptr);
        const auto answers = [](auto... query) { return std::vector<int>{query...}; };
        std::vector<int> expected(std::size(names));
        expected[i] = 1;
        EXPECT_EQ(answers(Halv::IsKorvaultServerInstalled(nullptr), Halv::IsKorvaultManagerInstalled(nullptr),
                          Halv::IsKorvaultAdminInstalled(nullptr), Halv::IsKorvaultSponsorInstalled(nullptr),
                          Halv::IsKorvaultCPMInstalled(nullptr), Halv::IsDRWizInstalled(nullptr),
                          Halv::IsSANWizInstalled(nullptr)),
                  expected);
        EXPECT_EQ(answers(object.IsKorvaultServerInstalled(), object.IsKorvaultManagerInstalled(),
                          object.IsKorvaultAdminInstalled(), object.IsKorvaultSponsorInstalled(),
                          object.IsKorvaultCPMInstalled(), object.IsDRWizInstalled(), object.IsSANWizInstalled()),
                  expected);
    }
}

TEST_F(ProductRecords, SponsorFeatureIsAnEntryOfTheInstalledPrograms) {
    const std::string entry =
        "SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        "{2E307002-493D-458E-8889-859503908A4D}";
    CHalvRegistry object(0, nullptr);
    EXPECT_EQ(object.IsKorvaultFeatureSponsorInstalled(), 0);
    Make(entry);
    EXPECT_EQ(object.IsKorvaultFeatureSponsorInstalled(), 1);
    EXPECT_EQ(Halv::IsKorvaultFeatureSponsorInstalled(nullptr), 0) << "a null key opens nothing";
    Remove(entry);
}

TEST_F(ProductRecords, NeighbourIsAnAltFileAndAlertsBuildTheNumberAtTheTextsStart) {
    char windows[MAX_PATH] = "";
    GetWindowsDirectoryA(windows, sizeof windows);
    for (const auto& [name, exists] : {std::pair{"\\Korvault.alt", 0}, {"\\OTHER.ALT", 1}}) {
        WriteBytes(std::string(windows) + name, "");
        EXPECT_EQ(Halv::PhagrixExists(nullptr), exists);
    }
    for (const char* name : {"\\Korvault.alt", "\\OTHER.ALT"}) DeleteFileA((std::string(windows) + name).c_str());
    WORD build = 7;
    EXPECT_EQ(Halv::GetAlertBuildNumber(&build, nullptr) + build, 0);
    Put(kFormerAlert, "CurrentBuildNumber", "123 beta");
    EXPECT_EQ(Halv::GetAlertBuildNumber(&build, nullptr), 1);
    EXPECT_EQ(build, 123);
    Make(kAlert);
    EXPECT_EQ(Halv::GetAlertBuildNumber(&build, nullptr), 0) << "the newer key opens and lacks the value";
    Put(kAlert, "CurrentBuildNumber", "456");
    EXPECT_EQ(CHalvRegistry(0, nullptr).GetAlertBuildNumber(), 456u);
}

}  // namespace
