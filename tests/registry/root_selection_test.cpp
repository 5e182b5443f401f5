// Which roots and which product id an object chooses, and which machine it reads.
#include "tests/registry/registry_fixture.h"

namespace {

using testing::ElementsAre;

std::vector<std::string> Roots() {
    return {CHalvRegistry::m_sHalvenorKey.operator const char*(),
            CHalvRegistry::GetKorvaultKey(),
            CHalvRegistry::GetKorvaultBaseKey(),
            CHalvRegistry::m_sProductsKey.operator const char*(),
            CHalvRegistry::m_sAgentKey.operator const char*(),
            CHalvRegistry::GetZephraniteProdKey(),
            CHalvRegistry::GetZephraniteProdRootKey()};
}

class RootSelection : public RegistryTest {
  protected:
    static void PlaceTool(const char* library) { PlaceLibrary(library, Folder() + "\\HSTOOL.DLL"); }
};

TEST_F(RootSelection, BuiltInRootsStandWithoutToolLibraryAndTheLogSaysSo) {
    CSettings settings = ServerSettings();
    const CHalvRegistry object(settings, 0, nullptr);
    const std::string root = kRoot;
    EXPECT_THAT(Roots(), ElementsAre("SOFTWARE\\Orvanex", root, root + "\\Base", root + "\\Products",
                                     root + "\\ClientAgent\\Common", "Zephranite Korvault Backup",
                                     "Zephranite Korvault Backup"));
    EXPECT_THAT(ReadBytes(Folder() + "\\setup.log"), testing::EndsWith("\t\tLoad HSTOOL.DLL fail\r\n"));
}

TEST_F(RootSelection, ToolLibraryNamesAllRootsButTheProductsKey) {
    PlaceTool("HSTOOL_ALL.DLL");
    const CHalvRegistry object;
    EXPECT_THAT(Roots(), ElementsAre("SOFTWARE\\V", "SOFTWARE\\V\\P", "SOFTWARE\\V\\B", "SOFTWARE\\V\\P\\Products",
                                     "SOFTWARE\\V\\P\\ClientAgent\\Common", "P", "P"));
}

TEST_F(RootSelection, MissingEntryPointsFallBackOneByOne) {
    PlaceTool("HSTOOL_ROOT.DLL");
    const CHalvRegistry object;
    EXPECT_THAT(Roots(), ElementsAre("SOFTWARE\\Orvanex", "SOFTWARE\\V\\P", "SOFTWARE\\V\\P\\Base",
                                     "SOFTWARE\\V\\P\\Products", "SOFTWARE\\V\\P\\ClientAgent\\Common", "P", "P"));
}

TEST_F(RootSelection, AnswerThatFillsItsBufferIsCutThere) {
    PlaceTool("HSTOOL_FULL.DLL");
    const CHalvRegistry object;
    EXPECT_EQ(std::string(CHalvRegistry::GetKorvaultKey()), "SOFTWARE\\" + std::string(251, 'x'));
}

TEST_F(RootSelection, EmptyAnswerNeverBecomesARoot) {
    PlaceTool("HSTOOL_EMPTY.DLL");
    const CHalvRegistry object;
    EXPECT_STREQ(CHalvRegistry::GetKorvaultKey(), kRoot);
}

TEST_F(RootSelection, StaticOperationChoosesTheRootsWhenNoObjectHasYet) {
    for (CString* name :
         {&CHalvRegistry::m_sHalvenorKey, &CHalvRegistry::m_sKorvaultKey, &CHalvRegistry::m_sProductsKey,
          &CHalvRegistry::m_sKorvaultBaseKey, &CHalvRegistry::m_sAgentKey}) {
        name->Empty();
    }
    EXPECT_EQ(CHalvRegistry::SetAgentHomeDir("C:\\G"), 1);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, std::string(kRoot) + "\\ClientAgent\\Common", "Path"), "C:\\G");
}

TEST_F(RootSelection, ProductIdComesFromTheBrandOnlyForObjectsThatRead) {
    CSettings settings = ServerSettings();
    const auto id = [] { return std::string(CHalvRegistry::GetZephraniteProdName()); };
    { const CHalvRegistry unbranded; }
    EXPECT_EQ(id(), "ZephraniteCB");
    PlaceLibrary("BRAND.dll", Folder() + "\\");
    { const CHalvRegistry branded; }
    EXPECT_EQ(id(), "TestBrand");
    { const CHalvRegistry plain(0, nullptr); }
    EXPECT_EQ(id(), "ZephraniteCB");
    settings.ProductSubType(2);
    { const CHalvRegistry enterprise(settings, 0, nullptr); }
    EXPECT_EQ(id(), "ZephraniteEB");
}

TEST_F(RootSelection, OwnNameInAnyCaseAndNoNameAreTheLocalMachine) {
    std::string name = ComputerName();
    for (char& character : name) character = static_cast<char>(std::tolower(character));
    for (char* machine : {name.data(), static_cast<char*>(nullptr), const_cast<char*>("")}) {
        const OpenRegistry object(0, machine);
        EXPECT_EQ(object.m_hKey, HKEY_LOCAL_MACHINE);
        EXPECT_EQ(object.m_cNamedSubType, char(255));
    }
}

TEST_F(RootSelection, FormOfThe32BitViewStandsBehindTheFirstComponent) {
    EXPECT_STREQ(CHalvRegistry::Wow6432Node("SOFTWARE\\A\\B"), "SOFTWARE\\Wow6432Node\\A\\B");
}

TEST_F(RootSelection, AccessWordDecidesWhoWrites) {
    CSettings settings = ServerSettings(24);
    OpenRegistry reader(0, nullptr);
    EXPECT_EQ(reader.m_dwAccess, 0u);
    EXPECT_EQ(reader.SetKorvaultCompany(), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(reader.Read(), 1);
    EXPECT_EQ(reader.m_dwAccess, 0x20019u);
    EXPECT_EQ(reader.SetKorvaultCompany(), 1) << "shares one bit with the right to write";
    EXPECT_EQ(reader.Write() + reader.Delete() + reader.DeleteDynamicKey(), 0);
    OpenRegistry writer(settings, 0, nullptr);
    EXPECT_EQ(writer.m_dwAccess, 0x20006u);
    EXPECT_EQ(writer.Write(), 1);
    writer.Read();
    EXPECT_EQ(writer.m_dwAccess, 0x2001Fu);
    EXPECT_EQ(writer.Write() + writer.Delete() + writer.DeleteDynamicKey(), 0);
}

}  // namespace
