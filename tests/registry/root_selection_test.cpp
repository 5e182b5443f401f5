// Which roots and which product id an object chooses, which machine it reads, and which objects write.
#include "tests/registry/registry_fixture.h"

namespace {

struct Tool {
    const char* title;  // the library's form; None: there is no library
    const char* vendor;
    std::string root;
    std::string base;
    std::string name;
};
class RootSelection : public RegistryTest, public testing::WithParamInterface<Tool> {};

TEST_P(RootSelection, ToolLibraryNamesTheRootsAndBuiltInOnesStandForTheRest) {
    const Tool& tool = GetParam();
    const std::string kind = tool.title;
    if (kind != "None") PlaceLibrary("HSTOOL_" + kind + ".DLL", Folder() + "\\HSTOOL.DLL");
    CSettings settings = ServerSettings();
    const CHalvRegistry object(settings, 0, nullptr);
    EXPECT_STREQ(Halv::m_sHalvenorKey, tool.vendor);
    EXPECT_EQ(Halv::GetKorvaultKey(), tool.root);
    EXPECT_EQ(Halv::GetKorvaultBaseKey(), tool.base);
    EXPECT_STREQ(Halv::m_sProductsKey, (tool.root + "\\Products").c_str());
    EXPECT_STREQ(Halv::m_sAgentKey, (tool.root + "\\ClientAgent\\Common").c_str());
    EXPECT_EQ(Halv::GetZephraniteProdKey(), tool.name);
    EXPECT_EQ(Halv::GetZephraniteProdRootKey(), tool.name);
    if (kind == "None") {
        EXPECT_THAT(ReadBytes(Folder() + "\\setup.log"), testing::EndsWith("\t\tLoad HSTOOL.DLL fail\r\n"));
    }
}
const std::string kFull(251, 'x');
INSTANTIATE_TEST_SUITE_P(, RootSelection,
                         testing::Values(Tool{"None", kVendor.c_str(), kRoot, kBase, "Zephranite Korvault Backup"},
                                         Tool{"ALL", "SOFTWARE\\V", "SOFTWARE\\V\\P", "SOFTWARE\\V\\B", "P"},
                                         Tool{"ROOT", kVendor.c_str(), "SOFTWARE\\V\\P", "SOFTWARE\\V\\P\\Base", "P"},
                                         Tool{"FULL", kVendor.c_str(), "SOFTWARE\\" + kFull,
                                              "SOFTWARE\\" + kFull + "\\Base", kFull},
                                         Tool{"EMPTY", kVendor.c_str(), kRoot, kBase, "Zephranite Korvault Backup"}),
                         kCaseName);

class RegistryObject : public RegistryTest {};

TEST_F(RegistryObject, ProductIdComesFromTheBrandOnlyForObjectsThatRead) {
    CSettings settings = ServerSettings();
    EXPECT_STREQ(Halv::GetZephraniteProdName(), "ZephraniteCB") << "no brand";
    PlaceLibrary("BRAND.dll", Folder() + "\\");
    { const CHalvRegistry branded; }
    EXPECT_STREQ(Halv::GetZephraniteProdName(), "TestBrand");
    { const CHalvRegistry plain(0, nullptr); }
    EXPECT_STREQ(Halv::GetZephraniteProdName(), "ZephraniteCB");
    settings.ProductSubType(2);
    { const CHalvRegistry enterprise(settings, 0, nullptr); }
    EXPECT_STREQ(Halv::GetZephraniteProdName(), "ZephraniteEB");
}

TEST_F(RegistryObject, StaticOperationChoosesTheRootsAndNoNameIsTheLocalMachine) {
    for (CString* name : {&Halv::m_sHalvenorKey, &Halv::m_sKorvaultKey, &Halv::m_sKorvaultBaseKey, &Halv::m_sAgentKey})
        name->Empty();
    EXPECT_EQ(Halv::SetAgentHomeDir("C:\\G"), 1);
    EXPECT_EQ(Get(kRoot + "\\ClientAgent\\Common", "Path"), "C:\\G");
    std::string name = ComputerName();
    for (char& character : name) character = static_cast<char>(std::tolower(character));
    for (char* machine : {name.data(), static_cast<char*>(nullptr), const_cast<char*>("")}) {
        const OpenRegistry object(0, machine);
        EXPECT_EQ(object.m_hKey, HKEY_LOCAL_MACHINE);
        EXPECT_EQ(object.m_cNamedSubType, char(255));
    }
    EXPECT_STREQ(Halv::Wow6432Node("SOFTWARE\\A\\B"), "SOFTWARE\\Wow6432Node\\A\\B");
}

TEST_F(RegistryObject, AccessWordDecidesWhoWrites) {
    CSettings settings = ServerSettings(24);
    OpenRegistry reader(0, nullptr);
    OpenRegistry writer(settings, 0, nullptr);
    EXPECT_EQ(reader.m_dwAccess, 0u);
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, reader.SetKorvaultCompany()));
    EXPECT_EQ(writer.m_dwAccess, 0x20006u);
    EXPECT_EQ(writer.Write(), 1);
    EXPECT_EQ(reader.Read() + writer.Read(), 2);
    EXPECT_EQ(reader.m_dwAccess, 0x20019u);
    EXPECT_EQ(writer.m_dwAccess, 0x2001Fu);
    EXPECT_EQ(reader.SetKorvaultCompany(), 1) << "shares one bit with the right to write";
    for (OpenRegistry* object : {&reader, &writer})
        EXPECT_EQ(object->Write() + object->Delete() + object->DeleteDynamicKey(), 0);
}

}  // namespace
