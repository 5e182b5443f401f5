#include <regex>

#include "instalib/mif.h"
#include "tests/support/fresh_machine.h"

namespace {

class MifTest : public FreshMachine {
  protected:
    static std::string File() { return Folder() + "\\STATUS.MIF"; }
    // With line ends as Windows has them.
    static std::string Lines(const std::string& text) { return std::regex_replace(text, std::regex("\n"), "\r\n"); }
    static std::string Attribute(int id, const char* name, const char* type, const std::string& value) {
        return "START ATTRIBUTE\nNAME = \"" + std::string(name) + "\"\nID = " + std::to_string(id) +
               "\nACCESS = READ-ONLY\nSTORAGE = SPECIFIC\nTYPE = " + type + "\nVALUE = \"" + value +
               "\"\nEND ATTRIBUTE\n";
    }
    static std::string Standard(const char* product, const char* status, const char* description,
                                const std::string& time) {
        return Lines(
            "START COMPONENT\nNAME = \"WORKSTATION\"\nSTART GROUP\nNAME = \"ComponentID\"\nID = 1\n"
            "CLASS = \"DMTF|ComponentID|1.0\"\n" +
            Attribute(1, "Manufacturer", "STRING(100)", "Halvenor Software Inc.") +
            Attribute(2, "Product", "STRING(100)", product) + Attribute(3, "Version", "STRING(15)", "11.5") +
            Attribute(4, "Serial Number", "STRING(100)", "SN-1") + Attribute(5, "Installation", "STRING(100)", time) +
            "END GROUP\nSTART GROUP\nNAME = \"InstallStatus\"\nID = 2\n"
            "CLASS = \"MICROSOFT|JOBSTATUS|1.0\"\n" +
            Attribute(1, "Status", "STRING(100)", status) + Attribute(2, "Description", "STRING(255)", description) +
            "END GROUP\nEND COMPONENT\n");
    }
};

TEST_F(MifTest, StandardFileIsWhole) {
    PlaceLibrary("VERLIB.DLL", Folder() + "\\kvvctl.dll");
    SetCurrentDirectoryA(Folder().c_str());
    SetEnvironmentVariableA("TEST_VERSION", "11.5");
    const struct {
        int status;
        const char *text, *library, *product;
    } cases[] = {{0, "Success", nullptr, ""},
                 {1, "Failed", "HALVPROD_BARE.DLL", ""},
                 {1603, "Failed", "HALVPROD_GOOD.DLL", "Name of 133"}};
    for (const auto& [status, text, library, product] : cases) {
        if (library != nullptr) PlaceLibrary(library, Folder() + "\\HalvProd.dll");
        CMIF mif(File().c_str(), "SN-1");
        const CMIF copy(mif);
        mif = copy;
        EXPECT_NE(mif.Create(), 0);
        EXPECT_NE(mif.WriteStatus(status, "100% of \\ it\x83\x5c"), 0);
        const std::string content = ReadBytes(File());
        std::smatch time;
        ASSERT_TRUE(std::regex_search(content, time, std::regex("\\d\\d/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d")));
        EXPECT_EQ(content, Standard(product, text, "100% of \\ it\x83\x5c", time.str()));
    }
    SetCurrentDirectoryA("C:\\");
}

TEST_F(MifTest, ShortFileIsWhole) {
    for (const auto& [kind, group] : {std::pair{1, "INSTALLSTAUTS"}, {2, "UNINSTALLSTATUS"}}) {
        for (const auto& [status, text] : {std::pair{1, "SUCCESS"}, {0, "FAILED"}, {2, "FAILED"}}) {
            CMIF mif(File().c_str());
            EXPECT_NE(mif.Create(kind), 0);
            EXPECT_NE(mif.WriteStatus("done %s", status), 0);
            EXPECT_NE(mif.WriteEndOfMIF(), 0);
            const std::string name = group;
            EXPECT_EQ(ReadBytes(File()),
                      Lines("Start Component\n\tName = \"WorkStation\"\n\tStart Group Name = \"" + name +
                            "\"\n\tID = 1\n\tClass = \"ORVANEX|" + name +
                            "|1.0\"\n\t\tStart Attribute\n\t\t\tName = \"Status\"\n\t\t\tID = 1\n\t\t\tType = "
                            "String(16)\n\t\t\tValue = \"" +
                            text +
                            "\"\n\t\tEnd Attribute\n\t\tStart Attribute\n\t\t\tName = \"Description\"\n\t\t\tID = "
                            "2\n\t\t\tType = String(128)\n\t\t\tValue = \"done %s\"\n\t\tEnd Attribute\n\tEnd "
                            "Group\nEnd Component"));
        }
    }
}

TEST_F(MifTest, OnlyCreateMakesAFileAndNoOtherKindIsKnown) {
    EXPECT_EQ(CMIF::WriteStatus(File().c_str(), "s", 0, "d"), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(CMIF::WriteStatus(File().c_str(), "d", 1), 0);
    EXPECT_EQ(CMIF::WriteEndOfMIF(File().c_str()), 0);
    EXPECT_EQ(CMIF::Create((Folder() + "\\none\\x").c_str()), 0);
    EXPECT_FALSE(FileExists(File()));
    WriteBytes(File(), "old");
    for (const int kind : {0, 3, -1}) EXPECT_EQ(CMIF::Create(File().c_str(), kind), 0);
    EXPECT_EQ(ReadBytes(File()), "old");
    EXPECT_EQ(CMIF(nullptr).Create(1), 0);
}

}  // namespace
