// The old product's settings: saved, merged back, completed, on a machine where nothing fails.
#include <cstring>
#include <thread>

#include "platform/handles.h"
#include "tests/upgrade/upgrade_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class OldProduct : public UpgradeTest {
  protected:
    void SetUp() override {
        UpgradeTest::SetUp();
        Make(kUninstall + kCode);
        Install(0x0B01, 4000);
    }
    static void Rule(const std::string& root, const std::string& branches, const std::string& more = "") {
        Rules(std::string("ProductCode01=") + kCode + "\r\nRegRootKey01=" + root + "\r\nRegSubKey01=" + branches +
              "\r\n" + more);
    }
    static int Save() {
        CString code("untouched");
        const int result = KSetBKOldProduct(kMedium, "Agent", code, nullptr);
        s_code = code;
        return result;
    }
    static Lines Lost() {
        CArray<CString, CString> lost;
        const int whole = CUpgradeBackup::HoldsAll(kMedium, "Agent", nullptr, lost);
        EXPECT_EQ(whole, lost.GetSize() == 0 ? 1 : 0);
        Lines lines;
        for (int i = 0; i < lost.GetSize(); ++i) lines.emplace_back(lost.ElementAt(i));
        return lines;
    }
    static inline std::string s_code;
};

TEST_F(OldProduct, BranchesAreChosenByAPartOfTheirNameInEitherCase) {
    for (const char* name : {"Agent", "ClientAgent", "AGENT2", "Other"}) Put(kOld + "\\Sub\\" + name, "v", name);
    Put(kOld + "\\Top", "v", "t");
    Rule(kOld, "Sub\\agent,TOP,,Sub\\,Missing\\X");
    ASSERT_EQ(Save(), 1);
    EXPECT_EQ(s_code, kCode);
    EXPECT_THAT(List(kBackup),
                ElementsAre("[Sub]", "[Sub\\Agent]", "Sub\\Agent v 1 Agent", "[Sub\\AGENT2]", "Sub\\AGENT2 v 1 AGENT2",
                            "[Sub\\ClientAgent]", "Sub\\ClientAgent v 1 ClientAgent", "[Top]", "Top v 1 t"));
    EXPECT_THAT(Lost(), IsEmpty());
    const Lines once = List(kBackup);
    EXPECT_EQ(Save(), 1);
    EXPECT_EQ(List(kBackup), once) << "made twice, it is the same";
}

TEST_F(OldProduct, ValuesOfAnySizeAndTypeAreKeptAndTheListedOnesDropped) {
    const std::string branch = kOld + "\\Agent";
    const std::pair<DWORD, std::size_t> values[] = {
        {REG_BINARY, 0},     {REG_BINARY, 9}, {REG_BINARY, 10}, {REG_BINARY, 200},
        {REG_BINARY, 70000}, {REG_DWORD, 4},  {REG_NONE, 3},    {77, 12}};
    for (const auto& [type, size] : values) {
        SetRaw(HKEY_LOCAL_MACHINE, branch, std::to_string(type * 100000 + size).c_str(), type, TestBytes(size, 0xA5));
    }
    for (const char* name : {"Version", "DLL", "ProdSubtype", "BuildNumber", "Port", "", "Kept"})
        Put(branch, name, "x");
    Put(branch + "\\Below", "Version", "stays");
    Put(branch, std::string(127, 'n').c_str(), "longest name");
    Rule(kOld, "Agent", "RegBKValues01=Port,,None\r\n");
    ASSERT_EQ(Save(), 1);
    for (const auto& [type, size] : values) {
        const auto raw = GetRaw(HKEY_LOCAL_MACHINE, kBackup + "\\Agent", std::to_string(type * 100000 + size).c_str());
        ASSERT_TRUE(raw) << type << ' ' << size;
        EXPECT_EQ(raw->type, type);
        EXPECT_EQ(raw->data, TestBytes(size, 0xA5));
    }
    for (const char* name : {"Version", "DLL", "ProdSubtype", "BuildNumber", "Port"}) {
        EXPECT_EQ(Get(kBackup + "\\Agent", name), "<none>");
    }
    EXPECT_EQ(Get(kBackup + "\\Agent", "") + Get(kBackup + "\\Agent", "Kept"), "xx");
    EXPECT_EQ(Get(kBackup + "\\Agent", std::string(127, 'n').c_str()), "longest name");
    EXPECT_EQ(Get(kBackup + "\\Agent\\Below", "Version"), "stays");
    EXPECT_THAT(Lost(), IsEmpty());
}

TEST_F(OldProduct, NamesThatAreTooLongAreSkippedAndMissed) {
    const std::string branch = kOld + "\\Agent";
    const std::string longKey(200, 'k'), longValue(200, 'v');
    Put(branch + "\\a", "v", "1");
    Put(branch + "\\" + longKey, "v", "2");
    Put(branch + "\\z", "v", "3");
    Put(branch, longValue.c_str(), "4");
    Put(branch, "w", "5");
    Rule(kOld, "Agent");
    ASSERT_EQ(Save(), 1);
    EXPECT_THAT(List(kBackup),
                ElementsAre("[Agent]", "Agent w 1 5", "[Agent\\a]", "Agent\\a v 1 1", "[Agent\\z]", "Agent\\z v 1 3"));
    EXPECT_THAT(Lost(), ElementsAre(branch + " -> " + longValue, branch + "\\" + longKey));
    // The same names in a backup keep it from being deleted.
    Put(kBackup + "\\Agent", longValue.c_str(), "4");
    KSetRSOldProdRegKey();
    EXPECT_EQ(Get(kRoot + "\\Agent\\z", "v"), "3");
    EXPECT_TRUE(CUpgradeBackup::Exists());
    EXPECT_EQ(CUpgradeBackup::Discard(), 1);
    EXPECT_FALSE(Has(kBackup));
}

TEST_F(OldProduct, BackupIsNeverSavedIntoItself) {
    Put(kRoot + "\\Base", "v", "1");
    Rule(kVendor, "Korvault");
    ASSERT_EQ(Save(), 1);
    ASSERT_EQ(Save(), 1);
    EXPECT_EQ(Get(kBackup + "\\Zephranite Korvault Backup\\Base", "v"), "1");
    EXPECT_FALSE(Has(kBackup + "\\Zephranite Korvault Backup(BACKUP)"));
    Rule("SOFTWARE", "Orvanex");
    ASSERT_EQ(Save(), 1);
    EXPECT_EQ(Get(kBackup + "\\Orvanex\\Zephranite Korvault Backup\\Base", "v"), "1");
    EXPECT_FALSE(Has(kBackup + "\\Orvanex\\Zephranite Korvault Backup(BACKUP)"));
    EXPECT_THAT(Lost(), IsEmpty());
}

TEST_F(OldProduct, FormerAgentsKeyGetsItsNewNameInEveryCase) {
    Put(kOld + "\\Agent\\HalvenorAgentNodeAdress", "v", "1");
    Put(kOld + "\\Agent\\halvenoragentnodeadress2", "v", "2");
    Put(kOld + "\\HalvenorAgentNodeAdress", "v", "3");
    Rule(kOld, "Agent");
    ASSERT_EQ(Save(), 1);
    EXPECT_EQ(Get(kBackup + "\\Agent\\ClientAgentNodeAdress", "v"), "1");
    EXPECT_THAT(Lost(), IsEmpty());
    tagRestoreValue value{"Added", "", 5};
    KSetCreateRSSubRegKeys("", &value, 1);
    KSetRSOldProdRegKey();
    EXPECT_EQ(Get(kRoot + "\\Agent\\halvenoragentnodeadress2", "v"), "2");
    EXPECT_EQ(Get(kRoot + "\\ClientAgentNodeAdress", "v"), "3");
    EXPECT_EQ(GetNumber(HKEY_LOCAL_MACHINE, kRoot + "\\ClientAgentNodeAdress", "Added"), 5);
    EXPECT_FALSE(Has(kRoot + "\\HalvenorAgentNodeAdress"));
}

TEST_F(OldProduct, ResultWithoutARuleOrWithoutABranch) {
    Rules("");
    EXPECT_EQ(Save(), 0);
    EXPECT_EQ(s_code, "untouched");
    Rule(kOld, "Nothing");
    ClearTrace();
    EXPECT_EQ(Save(), 1);
    EXPECT_EQ(s_code, kCode);
    EXPECT_THAT(Trace(), HasSubstr("KSetBKOldProdRegKey() - Start\r\nKSetBKOldProdRegKey() - End - Return 0\r\n"));
    EXPECT_FALSE(Has(kBackup));
}

TEST_F(OldProduct, RestoreMergesAndTracesAndWithoutABackupChangesNothing) {
    Put(kRoot + "\\Agent", "both", "new");
    Put(kRoot + "\\Agent", "mine", "new");
    const Lines before = List(kRoot);
    const std::string start =
        "KSetRSOldProdRegKey() - Start\r\nSourceKey is " + kBackup + ",DestinationKey is " + kRoot +
        "\r\nSetcnvrtCopyRegSubTree(hRoot=HKEY_LOCAL_MACHINE, sSourcePath=" + kBackup + ", sDestinationPath=" + kRoot +
        ", bDeleteSource=1) - Start\r\nRegRecurCopyTree(hSourceKeyParent=HKEY_LOCAL_MACHINE, sSourcePath=" + kBackup +
        ", hDestnKeyParent=HKEY_LOCAL_MACHINE, sDestnPath=" + kRoot + ") - Start \r\n";
    ClearTrace();
    KSetRSOldProdRegKey();
    EXPECT_EQ(Trace(),
              start + Traced({"RegRecurCopyTree() - End - RegOpenKeyEx failed(2). Return FALSE",
                              "SetcnvrtCopyRegSubTree() - End - SETCNVRT_FAILED", "KSetRSOldProdRegKey() - End"}));
    EXPECT_EQ(List(kRoot), before);
    Put(kBackup + "\\Agent", "both", "old");
    ClearTrace();
    KSetRSOldProdRegKey();
    EXPECT_EQ(Trace(),
              start + Traced({"RegRecurCopyTree(hSourceKeyParent=other, sSourcePath=Agent, hDestnKeyParent=other, "
                              "sDestnPath=Agent) - Start ",
                              "RegRecurCopyTree() - End - Return TRUE", "RegRecurCopyTree() - End - Return TRUE",
                              "DeleteSourceKeys() - Start", "DeleteSourceKeys() - Start",
                              "DeleteSourceKeys() - End - No more registry keys to enumerate.",
                              "DeleteSourceKeys() - End - No more registry keys to enumerate.",
                              "SetcnvrtCopyRegSubTree() - End - SETCNVRT_SUCCESS", "KSetRSOldProdRegKey() - End"}));
    EXPECT_EQ(Get(kRoot + "\\Agent", "both") + Get(kRoot + "\\Agent", "mine"), "oldnew");
    EXPECT_FALSE(Has(kBackup));
}

TEST_F(OldProduct, AddedValuesReachEveryKeyOfABranch) {
    for (const char* name : {"One", "Two"}) Make(kBackup + "\\Agents\\" + name);
    tagRestoreValue values[3] = {{"Text", "abc", 0xFFFFFFFF}, {"Number", "ignored", 7}, {}};
    std::memset(values[2].szValueName, 'n', sizeof values[2].szValueName);  // neither field is terminated
    std::memset(values[2].szText, 't', sizeof values[2].szText);
    values[2].dwNumber = 0xFFFFFFFF;
    KSetCreateRSSubRegKeys("Agents", values, 3);
    KSetCreateRSSubRegKeys("Missing", values, 3);
    KSetCreateRSSubRegKeys("Agents", nullptr, 3);
    for (const char* name : {"One", "Two"}) {
        const std::string key = kRoot + "\\Agents\\" + name;
        EXPECT_EQ(GetRaw(HKEY_LOCAL_MACHINE, key, "Text")->type, DWORD(REG_SZ));
        EXPECT_EQ(Get(key, "Text"), "abc");
        EXPECT_EQ(GetNumber(HKEY_LOCAL_MACHINE, key, "Number"), 7);
        EXPECT_EQ(Get(key, std::string(260, 'n').c_str()), std::string(260, 't'));
    }
    EXPECT_FALSE(Has(kRoot + "\\Missing"));
}

// From every older generation: what the rule saves arrives under the family's root, and nothing else.
TEST_F(OldProduct, EveryOlderGenerationKeepsItsSettings) {
    const struct {
        std::string root, products;
    } generations[] = {{"SOFTWARE\\Halvenor\\Korvault", "SOFTWARE\\Halvenor\\Products"},
                       {"SOFTWARE\\Orvanex\\KorvaultIT", "SOFTWARE\\Orvanex\\KorvaultIT\\Products"},
                       {std::string(Halv::m_sZEBKey), std::string(Halv::m_sZEBProductsKey)},
                       {std::string(Halv::m_sZKBKey), std::string(Halv::m_sZKBProductsKey)},
                       {kRoot, kProducts}};
    for (const auto& generation : generations) {
        SCOPED_TRACE(generation.root);
        Remove(kVendor);
        Remove(kFormer);
        tagProductStruct record = Record(0x0B01, 4000);
        PlantRecord(generation.products, "Agent", record);
        Put(generation.root + "\\Settings\\A\\Deep\\Deeper", "v", "1");
        SetNumber(HKEY_LOCAL_MACHINE, generation.root + "\\Settings\\A", "n", 5);
        Put(generation.root + "\\Settings", "Version", "old");
        Put(generation.root + "\\Settings", "Kept", "old");
        Rule(generation.root, "Settings");
        ASSERT_EQ(Ask(), 0);
        Lines saved = List(generation.root + "\\Settings");
        std::erase_if(saved, [](const std::string& line) { return line.find(" Version ") != line.npos; });
        ASSERT_EQ(Save(), 1);
        EXPECT_THAT(Lost(), IsEmpty());
        Remove(generation.root);
        Put(kRoot + "\\Settings", "Version", "new");
        KSetRSOldProdRegKey();
        Lines restored = List(kRoot + "\\Settings");
        EXPECT_EQ(Get(kRoot + "\\Settings", "Version"), "new");
        std::erase_if(restored, [](const std::string& line) { return line.find(" Version ") != line.npos; });
        EXPECT_EQ(restored, saved);
        EXPECT_FALSE(Has(kBackup));
    }
}

TEST_F(OldProduct, RemovalThatCannotStartSaysSo) {
    for (const char* subject : {"C:\\TEST\\missing.exe", "", static_cast<const char*>(nullptr)}) {
        ClearTrace();
        EXPECT_EQ(KSetUninstallOldProd(subject, 1, nullptr), 0);
        EXPECT_NE(GetLastError(), 0u);
        EXPECT_EQ(Trace(), Traced({"KSetUninstallOldProd() - Start",
                                   std::string("szCommandLine is ") + (subject == nullptr ? "" : subject),
                                   "RemoveOldProduct FAILED."}));
    }
}

#ifdef _WIN32
int s_received = 0;
LRESULT CALLBACK Receive(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_USER) ++s_received;
    return DefWindowProcA(window, message, wParam, lParam);
}

TEST_F(OldProduct, WindowsInstallerIsAskedWhileAWindowReceivesItsMessages) {
    WNDCLASSA type{};
    type.lpfnWndProc = Receive;
    type.hInstance = GetModuleHandleA(nullptr);
    type.lpszClassName = "InstalibUpgradeTest";
    RegisterClassA(&type);
    HWND window =
        CreateWindowExA(0, type.lpszClassName, "", 0, 0, 0, 10, 10, nullptr, nullptr, type.hInstance, nullptr);
    ASSERT_NE(window, nullptr);
    s_received = 0;
    PostMessageA(window, WM_USER, 0, 0);
    std::thread other([window] {
        Sleep(100);
        PostMessageA(window, WM_USER, 0, 0);
    });
    ClearTrace();
    EXPECT_EQ(KSetUninstallOldProd("{00000000-1111-2222-3333-444444444444}", 0, nullptr), 1);
    other.join();
    EXPECT_GE(s_received, 1);
    DestroyWindow(window);
    EXPECT_EQ(Trace(), Traced({"KSetUninstallOldProd() - Start",
                               "szCommandLine is MSIEXEC /x {00000000-1111-2222-3333-444444444444} /qn",
                               "KSetUninstallOldProd() - End"}));
}
#endif

}  // namespace
