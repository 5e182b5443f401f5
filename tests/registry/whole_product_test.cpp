// The product written and removed at once.
#include "tests/registry/registry_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WholeProduct : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        Make(kSnmpAgents);
    }
    static int WriteWith(CSettings settings) { return CHalvRegistry(settings, 0, nullptr).Write(); }
};

// clang-format off
const Lines kServerBase = {
    "[Components]", "Components ADMIN 4 1", "Components MANAGER 4 1", "Components SERVER 4 1", "[Database]",
    "Database DatabaseType 4 2", "[Path]", "Path DATABASE 1 C:\\P\\DATABASE", "Path HOME 1 C:\\P", "Path LOG 1 C:\\P\\LOG",
    "Path TEMP 1 C:\\P\\TEMP", "[SNMP]", "SNMP Pathname 1 C:\\P\\tasnmp.dll", "[User]", "User Name 1 User", "User Org 1 Company"};
// clang-format on

TEST_F(WholeProduct, ServerIsWrittenWholeAtConstructionAndRemovedWithTheEmptyRoots) {
    CSettings settings = ServerSettings();
    CSettings nothing = settings;
    nothing.UninstallKorvault(0);
    const CHalvRegistry written(settings, 1, nullptr);
    EXPECT_EQ(Get(kEnvironment, "CATPATH"), "C:\\P\\DATABASE");
    EXPECT_EQ(Get(kEnvironment, "LNNAME"), "KORVAULT");
    EXPECT_EQ(Get(kSnmpAgents, "1"), kBase + "\\SNMP");
    EXPECT_TRUE(KeyExists(HKEY_CLASSES_ROOT, "KorvaultScriptFile"));
    EXPECT_TRUE(Has(kListOfProducts + "\\Zephranite Korvault Backup"));
    for (const char* name : {"\\OldProducts", "\\OVOldProducts\\x", "\\Reactivon"}) Make(kRoot + name);
    MakeKey(HKEY_CURRENT_USER, kRoot + "\\x");
    EXPECT_EQ(CHalvRegistry(nothing, 0, nullptr).Delete(), 1);
    EXPECT_EQ(List(kBase), kServerBase) << "not asked to remove the product";
    settings.UninstallKorvault(1);
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).Delete(), 1);
    EXPECT_THAT(List(kVendor), ElementsAre("[OV-InstalledITProducts]"));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kVendor));
    EXPECT_THAT(List(kSnmpAgents), IsEmpty());
    EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, "KorvaultScriptFile"));
    EXPECT_EQ(Get(kEnvironment, "CATPATH") + Get(kEnvironment, "LNNAME"), "<none><none>");
    EXPECT_EQ(Get(kEnvironment, "RNNAME"), ComputerName());
}

TEST_F(WholeProduct, TypeModeAndComponentsDecideTheStepsAndAFailedOneIsReported) {
    EXPECT_EQ(WriteWith(ServerSettings(24)), 1);
    EXPECT_FALSE(Has(kVendor));
    CSettings manager = ServerSettings(105, 1);
    manager.InstallServer(0);
    EXPECT_EQ(WriteWith(manager), 1);
    EXPECT_THAT(List(kBase),
                ElementsAre("[Components]", "Components ADMIN 4 1", "Components MANAGER 4 1", "Components SERVER 4 0"));
    Remove(kSnmpAgents);
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND, WriteWith(ServerSettings())));
    EXPECT_EQ(List(kBase), kServerBase);
}

TEST_F(WholeProduct, DynamicKeysGoAndTheBaseStays) {
    CSettings settings = ServerSettings();
    settings.UninstallKorvault(1);
    for (const char* name :
         {"Base\\Admin\\x", "Base\\Path", "Base\\wizard\\y\\z", "Base\\Foreign\\x", "Base\\Domain\\member",
          "ELODistributedServers\\x", "OldProducts", "OVOldProducts", "Reactivon", "ProductsConfigInfo"}) {
        Make(kRoot + "\\" + name);
    }
    const std::string generated = "Software\\Local AppWizard-Generated Applications\\Central Database Configuration";
    MakeKey(HKEY_CURRENT_USER, generated + "\\Settings");
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).DeleteDynamicKey(), 1);
    EXPECT_THAT(List(kRoot), ElementsAre("[Base]", "[Base\\Domain]", "[Base\\Domain\\member]", "[Base\\Foreign]",
                                         "[Base\\Foreign\\x]"));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, generated));
    Remove(kBase + "\\Domain\\member");
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).DeleteDynamicKey(), 1);
    EXPECT_THAT(List(kRoot), ElementsAre("[Base]", "[Base\\Foreign]", "[Base\\Foreign\\x]"));
}

}  // namespace
