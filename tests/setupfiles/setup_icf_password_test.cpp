// Passwords, through a KVDCEN.DLL that turns every bit over.
#include <string>

#include "tests/setupfiles/setup_icf_fixture.h"

namespace {

class SetupIcfPassword : public SetupIcf {
  protected:
    void SetUp() override {
        SetupIcf::SetUp();
        ASSERT_TRUE(SetCurrentDirectoryA(Folder().c_str()));
    }
    static void PlaceScrambling() { PlaceLibrary("SETUPFILES_KVDCEN.DLL", Folder() + "\\KVDCEN.DLL"); }
};

TEST_F(SetupIcfPassword, IsScrambledInTheFileAndComesBack) {
    PlaceScrambling();
    CSetupIcf icf = Open("");
    ASSERT_EQ(icf.SystemAccountPassword("A\x0a!"), 1);
    ASSERT_EQ(icf.KVDomainPassword("z"), 1);
    EXPECT_EQ(Recorded("Base", "SystemPassword"), "bef5de");
    EXPECT_EQ(Recorded("Base", "ZephraniteDomainPassword"), "85");
    EXPECT_STREQ(icf.SystemAccountPassword(), "A\x0a!");
    EXPECT_STREQ(icf.KVDomainPassword(), "z");
}

TEST_F(SetupIcfPassword, PlainTextSectionsComeFirst) {
    const std::string base = Entry("Base", "SystemPassword", "85") + Entry("Base", "ZephraniteDomainPassword", "85");
    CSetupIcf blank = Open(base + Entry("SystemAccount", "SystemPassword", "second") +
                           Entry("System Account", "SystemPassword", "first") +
                           Entry("ZephraniteDomain", "ZephraniteDomainPassword", "domain"));
    EXPECT_STREQ(blank.SystemAccountPassword(), "first");
    EXPECT_STREQ(blank.KVDomainPassword(), "domain");
    CSetupIcf second = Open(base + Entry("SystemAccount", "SystemPassword", "second"));
    EXPECT_STREQ(second.SystemAccountPassword(), "second");
}

TEST_F(SetupIcfPassword, NinetySixCharactersAreWrittenAndFortySevenKept) {
    PlaceScrambling();
    CSetupIcf icf = Open("");
    ASSERT_EQ(icf.KVDomainPassword(std::string(200, 'z').c_str()), 1);
    EXPECT_EQ(Recorded("Base", "ZephraniteDomainPassword").size(), 2 * 96u);
    EXPECT_EQ(icf.KVDomainPassword(), std::string(47, 'z'));
}

TEST_F(SetupIcfPassword, NothingIsWrittenThatCannotBeScrambled) {
    CSetupIcf icf = Open("");
    EXPECT_EQ(icf.SystemAccountPassword("secret"), 0);  // no library
    PlaceScrambling();
    EXPECT_EQ(icf.SystemAccountPassword(""), 0);
    EXPECT_EQ(icf.SystemAccountPassword(nullptr), 0);
    EXPECT_EQ(icf.SystemAccountPassword("refuse"), 0);
    EXPECT_EQ(ReadBytes(File()), "");
}

TEST_F(SetupIcfPassword, WhatCannotBeUnscrambledIsEmpty) {
    CSetupIcf without = Open(Entry("Base", "SystemPassword", "85"));
    EXPECT_STREQ(without.SystemAccountPassword(), "");
    PlaceScrambling();
    EXPECT_STREQ(without.SystemAccountPassword(), "z");
    // 64 KiB of digits: read up to 1,559 characters, more than the library gets room for.
    CSetupIcf huge = Open(Entry("Base", "SystemPassword", std::string(64 * 1024, '8')));
    EXPECT_STREQ(huge.SystemAccountPassword(), "");
}

}  // namespace
