#include "instalib/version.h"

#include "tests/support/fresh_machine.h"

namespace {

struct VersionCase {
    const char* version;
    const char* build;
    WORD versionWord;
    WORD buildNumber;
};

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
    for (const VersionCase& test : {
             VersionCase{"6.6", "4231", 0x0606, 4231},
             VersionCase{"11.5", "70000", 0x0B05, 4464},
             VersionCase{"6", "0", 0x0600, 0},
             VersionCase{".5", "none", 0, 0},
             VersionCase{"300.1", "12 beta", 0x2C01, 12},
             VersionCase{"6.6.9", "", 0x0606, 0},
             VersionCase{"x.7", "", 7, 0},
             VersionCase{"", "", 0, 0},
         }) {
        SCOPED_TRACE(test.version);
        Tell(test.version, test.build);
        EXPECT_STREQ(InstalibGetVersionString(kLibrary), test.version);
        EXPECT_STREQ(InstalibGetBuildString(kLibrary), test.build);
        EXPECT_EQ(InstalibGetVersionNumber(kLibrary), test.versionWord);
        EXPECT_EQ(InstalibGetBuildNumber(kLibrary), test.buildNumber);
        EXPECT_EQ(InstalibGetVersionBuildNumber(kLibrary), DWORD(test.buildNumber) << 16 | test.versionWord);
    }
}

TEST_F(VersionTest, LibraryThatLeavesNoTerminatorIsCut) {
    Tell("FULL", "FULL");
    EXPECT_STREQ(InstalibGetVersionString(kLibrary), CString('9', 32));
    EXPECT_STREQ(InstalibGetBuildString(kLibrary), CString('9', 32));
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

TEST_F(VersionTest, LibraryIsReleasedAfterTheCall) {
    Tell("6.6", "1");
    InstalibGetVersionBuildNumber(kLibrary);
    EXPECT_EQ(GetModuleHandleA(kLibrary), nullptr);
}

}  // namespace
