#include "instalib/version.h"

#include <tuple>

#include "tests/support/fresh_machine.h"

namespace {

class VersionTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        PlaceLibrary("VERLIB.DLL", "C:\\TEST\\kvvctl.dll");
        PlaceLibrary("VERNONE.DLL", "C:\\TEST\\");
    }
    static void Tell(const char* version, const char* build) {
        SetEnvironmentVariableA("TEST_VERSION", version);
        SetEnvironmentVariableA("TEST_BUILD", build);
    }
    static inline const CString kLibrary = "C:\\TEST\\kvvctl.dll";
};

TEST_F(VersionTest, TextsBecomeNumbersOfEightAndSixteenBits) {
    using Case = std::tuple<const char*, const char*, WORD, WORD>;
    for (const auto& [version, build, versionWord, buildNumber] :
         {Case{"6.6", "4231", 0x0606, 4231}, Case{"11.5", "70000", 0x0B05, 4464}, Case{"6", "0", 0x0600, 0},
          Case{".5", "none", 0, 0}, Case{"300.1", "12 beta", 0x2C01, 12}, Case{"6.6.9", "", 0x0606, 0},
          Case{"x.7", "", 7, 0}, Case{"", "", 0, 0}}) {
        SCOPED_TRACE(version);
        Tell(version, build);
        EXPECT_STREQ(InstalibGetVersionString(kLibrary), version);
        EXPECT_STREQ(InstalibGetBuildString(kLibrary), build);
        EXPECT_EQ(InstalibGetVersionNumber(kLibrary), versionWord);
        EXPECT_EQ(InstalibGetBuildNumber(kLibrary), buildNumber);
        EXPECT_EQ(InstalibGetVersionBuildNumber(kLibrary), DWORD(buildNumber) << 16 | versionWord);
    }
    Tell("FULL", "FULL");  // 32 characters without a terminator
    EXPECT_STREQ(InstalibGetVersionString(kLibrary), CString('9', 31));
    EXPECT_STREQ(InstalibGetBuildString(kLibrary), CString('9', 31));
    EXPECT_EQ(GetModuleHandleA(kLibrary), nullptr) << "released after the call";
}

TEST_F(VersionTest, MissingLibraryOrEntryPointTellsNothing) {
    Tell("6.6", "1");
    for (const char* library : {"C:\\TEST\\missing.dll", "C:\\TEST\\VERNONE.DLL", ""}) {
        SCOPED_TRACE(library);
        EXPECT_STREQ(InstalibGetVersionString(library), "");
        EXPECT_STREQ(InstalibGetBuildString(library), "");
        EXPECT_EQ(InstalibGetVersionBuildNumber(library), 0u);
    }
}

}  // namespace
