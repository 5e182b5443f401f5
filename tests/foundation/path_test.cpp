#include "instalib/path.h"

#include <string>

#include "tests/support/fresh_machine.h"
#ifndef _WIN32
#include "platform/embedded/control/system.h"
#endif

namespace {

struct PathCase {
    const char* path;
    const char* trimmed;
    const char* appended;
};

class PathTest : public FreshMachine {
  protected:
    static void Check(std::initializer_list<PathCase> cases) {
        for (const PathCase& test : cases) {
            SCOPED_TRACE(test.path);
            CString path(test.path);
            EXPECT_EQ(TrimTailBackSlash(path), int(std::string(test.trimmed).size()));
            EXPECT_STREQ(path, test.trimmed);
            path = test.path;
            EXPECT_EQ(AppendBackSlash(path), int(std::string(test.appended).size()));
            EXPECT_STREQ(path, test.appended);
        }
    }
};

TEST_F(PathTest, EndsInNoOrExactlyOneBackSlash) {
    Check({{"C:\\dir\\\\", "C:\\dir", "C:\\dir\\"},
           {"C:\\dir", "C:\\dir", "C:\\dir\\"},
           {"C:\\", "C:", "C:\\"},
           {"\\", "", ""},
           {"\\\\\\", "", ""},
           {"", "", ""},
           {"C:/dir/", "C:/dir/", "C:/dir/\\"}});
}

#ifndef _WIN32
TEST_F(PathTest, KeepsABackSlashThatEndsADoubleByteCharacter) {
    ASSERT_TRUE(embedded::control::SetCodePage(932));
    Check({{"C:\\\x83\x5C", "C:\\\x83\x5C", "C:\\\x83\x5C\\"},                 // one character
           {"C:\\\x83\x5C\\\\", "C:\\\x83\x5C", "C:\\\x83\x5C\\"},             // and real ones behind it
           {"\x83\x5C", "\x83\x5C", "\x83\x5C\\"},                             // nothing before it
           {"\x83\x83\x5C", "\x83\x83", "\x83\x83\x5C"},                       // 0x83 is a second byte: real
           {"a\x83\x83\x83\x5C", "a\x83\x83\x83\x5C", "a\x83\x83\x83\x5C\\"},  // three: two and one
           {"\xB1\x5C", "\xB1", "\xB1\\"}});                                   // half-width: a single byte
}

TEST_F(PathTest, CaseConversionLeavesDoubleByteCharactersAlone) {
    ASSERT_TRUE(embedded::control::SetCodePage(932));
    CString text("a\x83\x61z\x83\x5A");
    text.MakeUpper();
    EXPECT_STREQ(text, "A\x83\x61Z\x83\x5A");
    text.MakeLower();
    EXPECT_STREQ(text, "a\x83\x61z\x83\x5A");
    EXPECT_NE(CString("\x83\x61").CompareNoCase("\x83\x41"), 0);
    EXPECT_EQ(CString("A\x83\x61").CompareNoCase("a\x83\x61"), 0);
}
#endif

}  // namespace
