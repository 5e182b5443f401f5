#include "machine/scrambling.h"

#include <cstring>
#include <string>

#include "tests/support/fresh_machine.h"

namespace {

class ScramblingTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        Misbehave("");
        ASSERT_TRUE(SetCurrentDirectoryA("C:\\TEST"));
        PlaceLibrary("KVDCEN.DLL", "C:\\TEST\\");
    }
    static void Misbehave(const char* how) { SetEnvironmentVariableA("TEST_SCRAMBLING", how); }
};

TEST_F(ScramblingTest, TextFormIsTwoLowerCaseDigitsAByte) {
    char text[16] = "###############";
    DWORD length = 5;
    EXPECT_EQ(KSET_ZKBEncrypt_NUMSTR("\xF5\x55", 2, text, &length), 0u);
    EXPECT_STREQ(text, "0aaa");
    EXPECT_EQ(length, 4u);
    BYTE plain[4] = {9, 9, 9, 9};
    for (const char* digits : {"0AaA", "0aAaf"}) {  // either case; an odd last character is lost
        length = sizeof plain;
        EXPECT_EQ(KSET_ZKBDecrypt_NUMSTR(digits, DWORD(std::strlen(digits)), plain, &length), 0u);
        EXPECT_EQ(length, 2u);
        EXPECT_EQ(plain[0], 0xF5);
        EXPECT_EQ(plain[1], 0x55);
        EXPECT_EQ(plain[2], 9);
    }
    length = sizeof plain;
    EXPECT_EQ(KSET_ZKBDecrypt_NUMSTR("zF", 2, plain, &length), 0u);
    EXPECT_EQ(plain[0], 0xF0) << "a character that is no digit counts as 0";
}

TEST_F(ScramblingTest, LibrarysOwnStatusComesBackAndALengthItInventsIsClamped) {
    BYTE output[4] = {};
    char text[9] = "old";
    DWORD length = sizeof output;
    Misbehave("need more");
    EXPECT_EQ(KSET_ZKBEncrypt(output, 4, output, &length), 234u);
    EXPECT_EQ(length, 104u) << "what the library needs";
    Misbehave("refuse");
    EXPECT_EQ(KSET_ZKBEncrypt_NUMSTR("abc", 3, text, &length), 77u);
    EXPECT_EQ(length, 150u);
    EXPECT_STREQ(text, "old");
    Misbehave("lie");
    length = sizeof output;
    EXPECT_EQ(KSET_ZKBDecrypt(output, 4, output, &length), 0u);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(KSET_ZKBEncrypt_NUMSTR("abcd", 4, text, &length), 0u);
    EXPECT_EQ(length, 8u);
    EXPECT_EQ(std::strlen(text), 8u);
}

TEST_F(ScramblingTest, MissingLibraryOrEntryPointHasAStatusAndTheCurrentDirectorysLibraryIsFinal) {
    const std::string beside = ProgramFolder() + "KVDCEN.DLL";
    ASSERT_TRUE(DeleteFileA("C:\\TEST\\KVDCEN.DLL"));
    for (int step = 0; step < 2; ++step) {
        BYTE output[4] = {9};
        char text[16] = "old";
        DWORD length = sizeof output;
        EXPECT_EQ(KSET_ZKBEncrypt(output, 4, output, &length), KSET_ZKB_UNAVAILABLE);
        EXPECT_EQ(KSET_ZKBDecrypt(output, 4, output, &length), KSET_ZKB_UNAVAILABLE);
        EXPECT_EQ(output[0], 9);
        EXPECT_EQ(length, 4u);
        EXPECT_EQ(KSET_ZKBEncrypt_NUMSTR("abcd", 4, text, &length), KSET_ZKB_UNAVAILABLE);
        EXPECT_EQ(length, 150u);
        EXPECT_STREQ(text, "old");
        if (step == 1) break;
        // The second time a good library stands beside the program: the current directory's is taken all the same.
        PlaceLibrary("KVDCEN.DLL", beside);
        PlaceLibrary("VERNONE.DLL", "C:\\TEST\\KVDCEN.DLL");
    }
    ASSERT_TRUE(DeleteFileA("C:\\TEST\\KVDCEN.DLL"));
    BYTE output[4] = {};
    DWORD length = sizeof output;
    EXPECT_EQ(KSET_ZKBEncrypt(output, 4, output, &length), 0u);
    EXPECT_EQ(KSET_ZKBDecrypt(output, 4, output, &length), 0u);
    DeleteFileA(beside.c_str());
}

TEST_F(ScramblingTest, PasswordsGoThereAndBackOrLeaveTheOutput) {
    char scrambled[kScrambledTextCapacity + 1] = "";
    ASSERT_EQ(ScramblePasswordText("Geheim\xE4", scrambled), 1);
    EXPECT_STREQ(scrambled, "b89a979a96921b");
    char plain[kPlainTextCapacity + 1] = "";
    std::memset(plain, '#', kPlainTextCapacity);
    ASSERT_EQ(UnscramblePasswordText(scrambled, plain), 1);
    EXPECT_EQ(std::string(plain, kPlainTextCapacity), "Geheim\xE4" + std::string(kPlainTextCapacity - 7, '\0'));
    Misbehave("refuse");
    for (const char* text : {"", static_cast<const char*>(nullptr), "00"}) {
        EXPECT_EQ(ScramblePasswordText(text, scrambled), 0);
        EXPECT_EQ(UnscramblePasswordText(text, plain), 0);
    }
    Misbehave("fill");  // 1,560 bytes would be 3,120 characters
    EXPECT_EQ(ScramblePasswordText("x", scrambled), 0);
    EXPECT_STREQ(scrambled, "b89a979a96921b");
    EXPECT_STREQ(plain, "Geheim\xE4");
    EXPECT_EQ(UnscramblePasswordText("00", plain), 1);
    EXPECT_EQ(plain, std::string(kPlainTextCapacity, '\xAB'));
}

TEST_F(ScramblingTest, StrongerScramblingIsTheNumberThree) {
    for (const auto& [text, strong] : {std::pair{"[INSTALL]\r\nEM=3\r\n", 1},
                                       {"[install]\r\nem=3x\r\n", 1},
                                       {"[INSTALL]\r\nEM=2\r\n", 0},
                                       {"[OTHER]\r\nEM=3\r\n", 0},
                                       {"", 0}}) {
        WriteBytes("C:\\TEST\\setup.icf", text);
        EXPECT_EQ(KSET_Is3DESEncrypt("C:\\TEST\\setup.icf"), strong) << text;
    }
    EXPECT_EQ(KSET_Is3DESEncrypt("C:\\TEST\\none.icf"), 0);
}

}  // namespace
