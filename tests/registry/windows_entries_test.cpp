// What the product enters into Windows' own lists: SNMP agents, counts of shared libraries, the shell, the uninstall
// list, the RPC service.
#include "tests/registry/registry_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WindowsEntries : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        MakeKey(HKEY_LOCAL_MACHINE, kSnmpAgents);
        DeleteKeyTree(HKEY_LOCAL_MACHINE, kSharedDlls);
        MakeKey(HKEY_LOCAL_MACHINE, kSharedDlls);
    }
    static void Announce(const char* number, std::string_view agent) {
        SetText(HKEY_LOCAL_MACHINE, kSnmpAgents, number, agent);
    }
    static std::vector<std::string> Announced() { return Listing(HKEY_LOCAL_MACHINE, kSnmpAgents); }
};

TEST_F(WindowsEntries, AgentIsAnnouncedOnceUnderTheNextNumber) {
    Announce("1", "A");
    Announce("3", "B");
    EXPECT_EQ(CHalvRegistry::SetSNMPRegistry("C"), 1);
    EXPECT_EQ(CHalvRegistry::SetSNMPRegistry("C"), 1);
    EXPECT_THAT(Announced(), ElementsAre(" 1 1 A", " 3 1 B", " 4 1 C"));
    EXPECT_EQ(CHalvRegistry::SetSNMPRegistry("c"), 1) << "letter case counts";
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "5"), "c");
}

TEST_F(WindowsEntries, AgentNumbersCompareAsNumbers) {
    for (int i = 1; i <= 10; ++i) Announce(std::to_string(i).c_str(), "A" + std::to_string(i));
    Announce("name", "B");
    EXPECT_EQ(CHalvRegistry::SetSNMPRegistry("C"), 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "11"), "C");
}

TEST_F(WindowsEntries, OverlongEntriesOfOthersNeitherEndTheWalkNorLoseTheirNumber) {
    Announce("7", std::string(400, 'x'));
    SetRaw(HKEY_LOCAL_MACHINE, kSnmpAgents, "2", REG_SZ, TestBytes(256, 'y'));
    Announce("1", "A");
    EXPECT_EQ(CHalvRegistry::SetSNMPRegistry("A"), 1);
    EXPECT_EQ(CHalvRegistry::SetSNMPRegistry("B"), 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "8"), "B");
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kSnmpAgents, "7"), std::string(400, 'x'));
}

TEST_F(WindowsEntries, WithdrawingTakesEveryNumberOfTheAgent) {
    Announce("1", "A");
    Announce("2", "B");
    Announce("3", "A");
    EXPECT_EQ(CHalvRegistry::DeleteSNMPRegistry("A"), 1);
    EXPECT_THAT(Announced(), ElementsAre(" 2 1 B"));
    EXPECT_EQ(CHalvRegistry::DeleteSNMPRegistry("A"), 1) << "not announced";
    DeleteKeyTree(HKEY_LOCAL_MACHINE, kSnmpAgents);
    EXPECT_EQ(CHalvRegistry::DeleteSNMPRegistry("A"), 1) << "no list";
    EXPECT_EQ(CHalvRegistry::SetSNMPRegistry("A"), 0) << "no list to enter";
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST_F(WindowsEntries, ProductsAgentReplacesTheFormerVendors) {
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, nullptr);
    Announce("1", "SOFTWARE\\Halvenor\\Korvault\\CurrentVersion\\SNMP");
    EXPECT_EQ(object.CreateKorvaultSNMPKey(), 1);
    EXPECT_THAT(Announced(), ElementsAre(std::string(" 1 1 ") + kBase + "\\SNMP"));
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, std::string(kBase) + "\\SNMP", "Pathname"), "C:\\P\\tasnmp.dll");
    EXPECT_EQ(object.DeleteKorvaultSNMPKey(), 1);
    EXPECT_THAT(Announced(), IsEmpty());
}

TEST_F(WindowsEntries, SharedLibraryIsCountedUpAndDown) {
    const char* const path = "C:\\TEST\\x.dll";
    const auto count = [&] { return GetNumber(HKEY_LOCAL_MACHINE, kSharedDlls, path); };
    EXPECT_EQ(CHalvRegistry::DecrementSharedDLLCount(path), 0u);
    EXPECT_EQ(CHalvRegistry::IncrementSharedDLLCount(path, 1), 1);
    EXPECT_EQ(count(), 1);
    SetNumber(HKEY_LOCAL_MACHINE, kSharedDlls, path, 3);
    EXPECT_EQ(CHalvRegistry::IncrementSharedDLLCount(path, 1), 1);
    EXPECT_EQ(count(), 3);
    EXPECT_EQ(CHalvRegistry::IncrementSharedDLLCount(path, 0), 1);
    EXPECT_EQ(count(), 4);
    SetNumber(HKEY_LOCAL_MACHINE, kSharedDlls, path, 2);
    EXPECT_EQ(CHalvRegistry::DecrementSharedDLLCount(path), 1u);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(CHalvRegistry::DecrementSharedDLLCount(path), 0u);
    EXPECT_FALSE(GetRaw(HKEY_LOCAL_MACHINE, kSharedDlls, path));
    EXPECT_EQ(CHalvRegistry::IncrementSharedDLLCount(path, 0), 1);
    EXPECT_EQ(count(), 1);
    SetRaw(HKEY_LOCAL_MACHINE, kSharedDlls, path, REG_SZ, Text("many"));
    EXPECT_EQ(CHalvRegistry::IncrementSharedDLLCount(path, 0), 0) << "a count that cannot be read is not started over";
    EXPECT_EQ(CHalvRegistry::DecrementSharedDLLCount(path), 0u);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kSharedDlls, path), "many");
}

class ShellExtension : public RegistryTest, public testing::WithParamInterface<const char*> {};

constexpr char kApproved[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr char kClsid[] = "{e72925c0-b105-11cf-906f-0080d8001326}";

TEST_P(ShellExtension, EntriesAreThoseOfTheServerAndTheScriptType) {
    const std::string clsid = kClsid;
    const auto listed = [](const std::string& key) { return Listing(HKEY_CLASSES_ROOT, key); };
    EXPECT_EQ(CHalvRegistry::SetKorvaultShellExtension(GetParam()), 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kApproved, kClsid), "Orvanex Zephranite Shell Extension");
    EXPECT_THAT(
        listed("CLSID\\" + clsid),
        ElementsAre("  1 Orvanex Zephranite Shell Extension", "[InProcServer32]", "InProcServer32  1 C:\\P\\KSHELL.DLL",
                    "InProcServer32 ThreadingModel 1 Apartment", "[ShellEx]", "[ShellEx\\MayChangeDefaultMenu]"));
    for (const char* handler : {"Drive\\shellex\\PropertySheetHandlers\\", "Drive\\shellex\\ContextMenuHandlers\\",
                                "Directory\\shellex\\ContextMenuHandlers\\", "*\\shellex\\ContextMenuHandlers\\"}) {
        const auto stored = GetRaw(HKEY_CLASSES_ROOT, handler + clsid, nullptr);
        ASSERT_TRUE(stored) << handler;
        EXPECT_EQ(stored->data, TestBytes{0}) << "an empty text is its terminator";
    }
    EXPECT_THAT(listed(".asx"), ElementsAre("  1 KorvaultScriptFile"));
    EXPECT_THAT(listed("KorvaultScriptFile"),
                ElementsAre("  1 KorvaultScriptFile", "[DefaultIcon]", "DefaultIcon  1 ", "[shellex]",
                            "[shellex\\ContextMenuHandlers]", "[shellex\\ContextMenuHandlers\\" + clsid + "]",
                            "shellex\\ContextMenuHandlers\\" + clsid + "  1 ", "[shellex\\IconHandler]",
                            "shellex\\IconHandler  1 " + clsid, "[shellex\\PropertySheetHandlers]",
                            "[shellex\\PropertySheetHandlers\\" + clsid + "]",
                            "shellex\\PropertySheetHandlers\\" + clsid + "  1 "));
    CHalvRegistry::DeleteKorvaultShellExtension("");
    EXPECT_FALSE(GetRaw(HKEY_LOCAL_MACHINE, kApproved, kClsid));
    for (const std::string& gone :
         {"CLSID\\" + clsid, std::string("KorvaultScriptFile"), "Drive\\shellex\\ContextMenuHandlers\\" + clsid,
          "Drive\\shellex\\PropertySheetHandlers\\" + clsid, "Directory\\shellex\\ContextMenuHandlers\\" + clsid,
          "*\\shellex\\ContextMenuHandlers\\" + clsid}) {
        EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, gone)) << gone;
    }
    EXPECT_TRUE(KeyExists(HKEY_CLASSES_ROOT, ".asx"));
    EXPECT_THAT(listed(".asx"), IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(, ShellExtension, testing::Values("C:\\P", "C:\\P\\"));

TEST_F(WindowsEntries, UninstallEntryOfTheProduct) {
    const char* const list = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, nullptr);
    EXPECT_EQ(object.CreateKorvaultUninstallKey(), 1);
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, std::string(list) + "\\KorvaultNT"),
                ElementsAre(" DisplayName 1 Test Product", " UninstallString 1 C:\\P\\UNINKV.EXE -U -dCOMPGUI01.DLL"));
    CHalvRegistry::DeleteUninstallKey("");
    CHalvRegistry::DeleteUninstallKey(nullptr);
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, list));
    object.DeleteKorvaultUninstallKey();
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, std::string(list) + "\\KorvaultNT"));
    EXPECT_EQ(CHalvRegistry::CreateUninstallKey("", "name", "command"), 0);
}

TEST_F(WindowsEntries, RpcServiceIsPointedToAnExistingFileOnly) {
    const char* const service = "SYSTEM\\CurrentControlSet\\Services\\DbaRpcService";
    const std::string image = Folder() + "\\rpc.exe";
    CHalvRegistry::UpdateRPCImagePath(image.c_str());
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, service));
    SetText(HKEY_LOCAL_MACHINE, service, "ImagePath", "c:\\test\\RPC.exe");
    CHalvRegistry::UpdateRPCImagePath(image.c_str());
    WriteBytes(image, "program");
    CHalvRegistry::UpdateRPCImagePath(image.c_str());
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, service, "ImagePath"), "c:\\test\\RPC.exe") << "equal but for letter case";
    SetText(HKEY_LOCAL_MACHINE, service, "ImagePath", "C:\\other.exe");
    CHalvRegistry::UpdateRPCImagePath((image + "x").c_str());
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, service, "ImagePath"), "C:\\other.exe");
    CHalvRegistry::UpdateRPCImagePath(image.c_str());
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, service, "ImagePath"), image);
    EXPECT_EQ(GetRaw(HKEY_LOCAL_MACHINE, service, "ImagePath")->type, REG_EXPAND_SZ);
}

}  // namespace
