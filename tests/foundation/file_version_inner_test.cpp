#include "foundation/file_version.h"

#include "tests/support/fresh_machine.h"
#include "tests/support/pe_image.h"

namespace {

class FileVersionTest : public FreshMachine {
  protected:
    static constexpr const char* kModule = "C:\\TEST\\MODULE.DLL";
    static int Read(CFileVersion& version, const embedded::ModuleImage& image) {
        WriteBytes(kModule, BuildModule(image));
        return version.Read(kModule);
    }
};

TEST_F(FileVersionTest, ReadsNumbersTranslationAndTexts) {
    CFileVersion version;
    EXPECT_EQ(Read(version, {.fileVersion = {2, 0, 2600, 2},
                             .language = 0x0407,
                             .codePage = 1250,
                             .strings = {{u"ProductVersion", u"11.5 beta"}, {u"Empty", u""}}}),
              1);
    EXPECT_EQ(version.m_fixed.dwFileVersionMS, 0x00020000u);
    EXPECT_EQ(version.m_fixed.dwFileVersionLS, 2600u << 16 | 2);
    EXPECT_EQ(version.m_wLanguage, 0x0407);
    EXPECT_EQ(version.m_wCodePage, 1250);
    EXPECT_STREQ(version.GetStringValue("ProductVersion"), "11.5 beta");
    EXPECT_STREQ(version.GetStringValue("Missing"), "");
    EXPECT_STREQ(version.GetStringValue("Empty"), "");
}

TEST_F(FileVersionTest, FailureLeavesNothingOfTheModuleBefore) {
    CFileVersion version;
    ASSERT_EQ(Read(version, {.codePage = 1250, .strings = {{u"ProductVersion", u"1"}}}), 1);
    EXPECT_EQ(Read(version, {.hasVersion = false}), 0);
    EXPECT_EQ(version.m_wCodePage, 1252);
    EXPECT_EQ(version.m_fixed.dwSignature, 0u);
    EXPECT_STREQ(version.GetStringValue("ProductVersion"), "");
    EXPECT_EQ(version.Read("C:\\TEST\\missing.dll"), 0);
    EXPECT_EQ(Read(version, {.codePage = 1250, .hasTranslation = false}), 1);
    EXPECT_EQ(version.m_wCodePage, 1252);
    EXPECT_EQ(version.m_wLanguage, 0);
    EXPECT_EQ(Read(version, {.signature = 0x12345678}), 0);
}

TEST_F(FileVersionTest, ShortRecordIsNone) {
    std::string module = BuildModule({.fileVersion = {2, 0, 2600, 2}});
    const std::string name("V\0S\0_\0V\0E\0R\0S\0I\0O\0N\0", 20);
    const std::size_t block = module.find(name) - 6;  // its length, the value's length, the value's type, the name
    ASSERT_EQ(module[block + 2], 52);
    module[block + 2] = 20;
    WriteBytes(kModule, module);
    CFileVersion version;
    EXPECT_EQ(version.Read(kModule), 0);
}

TEST_F(FileVersionTest, DllGetVersionFillsTheRecordOnSuccessAlone) {
    PlaceLibrary("VERLIB.DLL", "C:\\TEST\\");
    PlaceLibrary("VERNONE.DLL", "C:\\TEST\\");
    SetEnvironmentVariableA("TEST_DLL_MAJOR", "3");
    SetEnvironmentVariableA("TEST_DLL_STATUS", "1");  // S_FALSE is a success
    DLLVERSIONINFO information = {1, 2, 3, 4, 5};
    EXPECT_EQ(GetDllVersion("C:\\TEST\\VERLIB.DLL", &information), 1);
    EXPECT_EQ(information.dwMajorVersion, 3u);
    EXPECT_EQ(information.dwMinorVersion, 20u) << "the size that the library saw";
    EXPECT_EQ(information.dwBuildNumber, 0u);
    SetEnvironmentVariableA("TEST_DLL_STATUS", "0x80004005");
    EXPECT_EQ(GetDllVersion("C:\\TEST\\VERLIB.DLL", &information), 0);
    EXPECT_EQ(GetDllVersion("C:\\TEST\\VERNONE.DLL", &information), 0);
    EXPECT_EQ(GetDllVersion("C:\\TEST\\missing.dll", &information), 0);
}

}  // namespace
