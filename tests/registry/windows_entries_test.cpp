// What the product enters into Windows' own lists: SNMP agents, counts of shared libraries, the shell, the uninstall
// list, the RPC service.
#include "tests/registry/registry_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kSharedDlls = kWindows + "SharedDLLs";

class WindowsEntries : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        Make(kSnmpAgents);
        Remove(kSharedDlls);
        Make(kSharedDlls);
    }
    static void Announce(const char* number, std::string_view agent) { Put(kSnmpAgents, number, agent); }
};

TEST_F(WindowsEntries, AgentIsAnnouncedOnceUnderTheNumberAboveAll) {
    for (const auto& [number, agent] : {std::pair{"9", "A"}, {"10", "B"}, {"name", "x"}}) Announce(number, agent);
    EXPECT_EQ(Halv::SetSNMPRegistry("C") + Halv::SetSNMPRegistry("C"), 2);
    EXPECT_THAT(List(kSnmpAgents), ElementsAre(" 10 1 B", " 11 1 C", " 9 1 A", " name 1 x"));
    EXPECT_EQ(Halv::SetSNMPRegistry("c"), 1) << "letter case counts";
    EXPECT_EQ(Get(kSnmpAgents, "12"), "c");
    Announce("99999999999999999999", "D");
    EXPECT_EQ(Halv::SetSNMPRegistry("E"), 0) << "no number is left above it";
}

TEST_F(WindowsEntries, OverlongEntriesOfOthersNeitherEndTheWalkNorLoseTheirNumber) {
    Announce("7", std::string(400, 'x'));
    SetRaw(kSnmpAgents, "2", REG_SZ, TestBytes(256, 'y'));
    Announce("1", "A");
    EXPECT_EQ(Halv::SetSNMPRegistry("A") + Halv::SetSNMPRegistry("B"), 2);
    EXPECT_EQ(Get(kSnmpAgents, "8"), "B");
    EXPECT_EQ(Get(kSnmpAgents, "7"), std::string(400, 'x'));
}

TEST_F(WindowsEntries, WithdrawingTakesEveryNumberOfTheAgent) {
    for (const auto& [number, agent] : {std::pair{"1", "A"}, {"2", "B"}, {"3", "A"}}) Announce(number, agent);
    EXPECT_EQ(Halv::DeleteSNMPRegistry("A"), 1);
    EXPECT_THAT(List(kSnmpAgents), ElementsAre(" 2 1 B"));
    EXPECT_EQ(Halv::DeleteSNMPRegistry("A"), 1) << "not announced";
    Remove(kSnmpAgents);
    EXPECT_EQ(Halv::DeleteSNMPRegistry("A"), 1) << "no list";
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND, Halv::SetSNMPRegistry("A"))) << "no list to enter";
}

TEST_F(WindowsEntries, ProductsAgentReplacesTheFormerVendors) {
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, nullptr);
    Announce("1", kFormer + "\\Korvault\\CurrentVersion\\SNMP");
    EXPECT_EQ(object.CreateKorvaultSNMPKey(), 1);
    EXPECT_THAT(List(kSnmpAgents), ElementsAre(" 1 1 " + kBase + "\\SNMP"));
    EXPECT_EQ(Get(kBase + "\\SNMP", "Pathname"), "C:\\P\\tasnmp.dll");
    EXPECT_EQ(object.DeleteKorvaultSNMPKey(), 1);
    EXPECT_THAT(List(kSnmpAgents), IsEmpty());
}

TEST_F(WindowsEntries, SharedLibraryIsCountedUpAndDown) {
    const char* const path = "C:\\TEST\\x.dll";
    const auto up = [&](int keep) {
        EXPECT_EQ(Halv::IncrementSharedDLLCount(path, keep), 1);
        return GetNumber(kSharedDlls, path);
    };
    EXPECT_EQ(Halv::DecrementSharedDLLCount(path), 0u);
    EXPECT_EQ(up(1), 1);
    EXPECT_EQ(up(0), 2);
    EXPECT_EQ(up(1), 2);
    EXPECT_EQ(Halv::DecrementSharedDLLCount(path), 1u);
    EXPECT_EQ(GetNumber(kSharedDlls, path), 1);
    EXPECT_EQ(Halv::DecrementSharedDLLCount(path), 0u);
    EXPECT_FALSE(GetRaw(kSharedDlls, path));
    EXPECT_EQ(up(0), 1);
    Put(kSharedDlls, path, "many");
    EXPECT_EQ(Halv::IncrementSharedDLLCount(path, 0), 0) << "a count that cannot be read is not started over";
    EXPECT_EQ(Halv::DecrementSharedDLLCount(path), 1u) << "nor is the file without users";
    EXPECT_EQ(Get(kSharedDlls, path), "many");
}

class ShellExtension : public RegistryTest, public testing::WithParamInterface<const char*> {};

TEST_P(ShellExtension, EntriesAreThoseOfTheServerAndTheScriptType) {
    const std::string approved = kWindows + "Shell Extensions\\Approved";
    const std::string menus = "ContextMenuHandlers\\" + kClsid;
    const std::string sheets = "PropertySheetHandlers\\" + kClsid;
    const auto listed = [](const std::string& key) { return List(key, HKEY_CLASSES_ROOT); };
    EXPECT_EQ(Halv::SetKorvaultShellExtension(GetParam()), 1);
    EXPECT_EQ(Get(approved, kClsid.c_str()), "Orvanex Zephranite Shell Extension");
    EXPECT_THAT(
        listed("CLSID\\" + kClsid),
        ElementsAre("  1 Orvanex Zephranite Shell Extension", "[InProcServer32]", "InProcServer32  1 C:\\P\\KSHELL.DLL",
                    "InProcServer32 ThreadingModel 1 Apartment", "[ShellEx]", "[ShellEx\\MayChangeDefaultMenu]"));
    const Lines handlers = {"Drive\\shellex\\" + sheets, "Drive\\shellex\\" + menus, "Directory\\shellex\\" + menus,
                            "*\\shellex\\" + menus};
    for (const std::string& handler : handlers) EXPECT_THAT(listed(handler), ElementsAre("  1 ")) << handler;
    EXPECT_THAT(listed(".asx"), ElementsAre("  1 KorvaultScriptFile"));
    EXPECT_THAT(
        listed("KorvaultScriptFile"),
        ElementsAre("  1 KorvaultScriptFile", "[DefaultIcon]", "DefaultIcon  1 ", "[shellex]",
                    "[shellex\\ContextMenuHandlers]", "[shellex\\" + menus + "]", "shellex\\" + menus + "  1 ",
                    "[shellex\\IconHandler]", "shellex\\IconHandler  1 " + kClsid, "[shellex\\PropertySheetHandlers]",
                    "[shellex\\" + sheets + "]", "shellex\\" + sheets + "  1 "));
    Halv::DeleteKorvaultShellExtension("");
    EXPECT_FALSE(GetRaw(approved, kClsid.c_str()));
    for (const std::string& handler : handlers) EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, handler)) << handler;
    EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, "CLSID\\" + kClsid) ||
                 KeyExists(HKEY_CLASSES_ROOT, "KorvaultScriptFile"));
    EXPECT_TRUE(KeyExists(HKEY_CLASSES_ROOT, ".asx"));
    EXPECT_THAT(listed(".asx"), IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(, ShellExtension, testing::Values("C:\\P", "C:\\P\\"));

TEST_F(WindowsEntries, UninstallEntryOfTheProduct) {
    const std::string list = kWindows + "Uninstall";
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, nullptr);
    EXPECT_EQ(object.CreateKorvaultUninstallKey(), 1);
    EXPECT_THAT(List(list + "\\KorvaultNT"),
                ElementsAre(" DisplayName 1 Test Product", " UninstallString 1 C:\\P\\UNINKV.EXE -U -dCOMPGUI01.DLL"));
    EXPECT_EQ(Halv::CreateUninstallKey("", "name", "command"), 0);
    for (const char* none : {static_cast<const char*>(nullptr), ""}) Halv::DeleteUninstallKey(none);
    EXPECT_TRUE(Has(list));
    object.DeleteKorvaultUninstallKey();
    EXPECT_FALSE(Has(list + "\\KorvaultNT"));
}

TEST_F(WindowsEntries, RpcServiceIsPointedToAnExistingFileOnly) {
    const std::string service = kServices + "DbaRpcService";
    const std::string image = Folder() + "\\rpc.exe";
    const auto update = [&](const std::string& path) {
        Halv::UpdateRPCImagePath(path.c_str());
        return Get(service, "ImagePath");
    };
    WriteBytes(image, "program");
    update(image);
    EXPECT_FALSE(Has(service));
    Put(service, "ImagePath", "c:\\test\\RPC.exe");
    EXPECT_EQ(update(image), "c:\\test\\RPC.exe") << "equal but for letter case";
    Put(service, "ImagePath", "C:\\other.exe");
    EXPECT_EQ(update(image + "x"), "C:\\other.exe") << "no such file";
    EXPECT_EQ(update(image), image);
    EXPECT_THAT(List(service), ElementsAre(testing::StartsWith(" ImagePath 2 " + image)));
}

}  // namespace
