// The product written and removed at once.
#include "tests/registry/registry_fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kVendor[] = "SOFTWARE\\Orvanex";

class WholeProduct : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        MakeKey(HKEY_LOCAL_MACHINE, kSnmpAgents);
    }
    static int WriteWith(CSettings settings) { return CHalvRegistry(settings, 0, nullptr).Write(); }
};

const std::vector<std::string> kServerBase = {"[Components]",
                                              "Components ADMIN 4 1",
                                              "Components MANAGER 4 1",
                                              "Components SERVER 4 1",
                                              "[Database]",
                                              "Database DatabaseType 4 2",
                                              "[Path]",
                                              "Path DATABASE 1 C:\\P\\DATABASE",
                                              "Path HOME 1 C:\\P",
                                              "Path LOG 1 C:\\P\\LOG",
                                              "Path TEMP 1 C:\\P\\TEMP",
                                              "[SNMP]",
                                              "SNMP Pathname 1 C:\\P\\tasnmp.dll",
                                              "[User]",
                                              "User Name 1 User",
                                              "User Org 1 Company"};

TEST_F(WholeProduct, ServerIsWrittenWholeAtConstruction) {
    CSettings settings = ServerSettings();
    const CHalvRegistry object(settings, 1, nullptr);
    EXPECT_EQ(Listing(HKEY_LOCAL_MACHINE, kBase), kServerBase);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kEnvironment, "CATPATH"), "C:\\P\\DATABASE");
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kEnvironment, "RNNAME"), ComputerName());
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "1"), std::string(kBase) + "\\SNMP");
    EXPECT_TRUE(KeyExists(HKEY_CLASSES_ROOT, "KorvaultScriptFile"));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\OV-InstalledITProducts\\Zephranite Korvault Backup"));
}

TEST_F(WholeProduct, ProductTypeModeAndComponentsDecideTheSteps) {
    EXPECT_EQ(WriteWith(ServerSettings(24)), 1);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kVendor));
    CSettings manager = ServerSettings(105, 1);
    manager.InstallServer(0);
    EXPECT_EQ(WriteWith(manager), 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kBase),
                ElementsAre("[Components]", "Components ADMIN 4 1", "Components MANAGER 4 1", "Components SERVER 4 0"));
}

TEST_F(WholeProduct, FailedStepIsReportedAndTheOthersStillRun) {
    DeleteKeyTree(HKEY_LOCAL_MACHINE, kSnmpAgents);
    EXPECT_EQ(WriteWith(ServerSettings()), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Listing(HKEY_LOCAL_MACHINE, kBase), kServerBase);
}

TEST_F(WholeProduct, DeleteRemovesTheProductAndTheEmptyRoots) {
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 1, nullptr);
    MakeKey(HKEY_LOCAL_MACHINE, std::string(kRoot) + "\\OldProducts");
    MakeKey(HKEY_LOCAL_MACHINE, std::string(kRoot) + "\\OVOldProducts\\x");
    MakeKey(HKEY_CURRENT_USER, std::string(kRoot) + "\\x");
    CSettings nothing = ServerSettings();
    nothing.UninstallKorvault(0);
    EXPECT_EQ(CHalvRegistry(nothing, 0, nullptr).Delete(), 1);
    EXPECT_EQ(Listing(HKEY_LOCAL_MACHINE, kBase), kServerBase) << "not asked to remove the product";
    settings.UninstallKorvault(1);
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).Delete(), 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kVendor), ElementsAre("[OV-InstalledITProducts]"));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kVendor));
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kSnmpAgents), IsEmpty());
    EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, "KorvaultScriptFile"));
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kEnvironment, "CATPATH"), "<none>");
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kEnvironment, "LNNAME"), "<none>");
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kEnvironment, "RNNAME"), ComputerName());
}

TEST_F(WholeProduct, DynamicKeysGoAndTheBaseStays) {
    CSettings settings = ServerSettings();
    settings.UninstallKorvault(1);
    for (const char* name : {"Admin\\x", "Path", "wizard\\y\\z", "Foreign\\x", "Domain\\member"}) {
        MakeKey(HKEY_LOCAL_MACHINE, std::string(kBase) + "\\" + name);
    }
    for (const char* name :
         {"ELODistributedServers\\x", "OldProducts", "OVOldProducts", "Reactivon", "ProductsConfigInfo"}) {
        MakeKey(HKEY_LOCAL_MACHINE, std::string(kRoot) + "\\" + name);
    }
    const std::string generated = "Software\\Local AppWizard-Generated Applications\\Central Database Configuration";
    MakeKey(HKEY_CURRENT_USER, generated + "\\Settings");
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).DeleteDynamicKey(), 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kRoot), ElementsAre("[Base]", "[Base\\Domain]", "[Base\\Domain\\member]",
                                                                "[Base\\Foreign]", "[Base\\Foreign\\x]"));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, generated));
    DeleteKeyTree(HKEY_LOCAL_MACHINE, std::string(kBase) + "\\Domain\\member");
    EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).DeleteDynamicKey(), 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, kRoot), ElementsAre("[Base]", "[Base\\Foreign]", "[Base\\Foreign\\x]"));
}

}  // namespace
