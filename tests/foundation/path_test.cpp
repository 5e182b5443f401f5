#include "instalib/path.h"

#include <string>

#include "tests/support/fresh_machine.h"
#ifndef _WIN32
#include "platform/embedded/control_system.h"
#endif

namespace {

struct PathCase {
    const char* path;
    const char* trimmed;
    const char* appended;
};

void Check(const PathCase& test) {
    SCOPED_TRACE(test.path);
    CString path(test.path);
    const int trimmed = TrimTailBackSlash(path);
    EXPECT_EQ(trimmed, path.GetLength());
    EXPECT_STREQ(path, test.trimmed);
    path = test.path;
    const int appended = AppendBackSlash(path);
    EXPECT_EQ(appended, path.GetLength());
    EXPECT_STREQ(path, test.appended);
}

class PathTest : public FreshMachine {};

TEST_F(PathTest, EndsInNoOrExactlyOneBackSlash) {
    for (const PathCase& test : {
             PathCase{"C:\\dir\\\\", "C:\\dir", "C:\\dir\\"},
             PathCase{"C:\\dir", "C:\\dir", "C:\\dir\\"},
             PathCase{"C:\\", "C:", "C:\\"},
             PathCase{"\\", "", ""},
             PathCase{"\\\\\\", "", ""},
             PathCase{"", "", ""},
             PathCase{"C:/dir/", "C:/dir/", "C:/dir/\\"},
         }) {
        Check(test);
    }
}

#ifndef _WIN32
TEST_F(PathTest, KeepsABackSlashThatEndsADoubleByteCharacter) {
    ASSERT_TRUE(embedded::control::SetCodePage(932));
    for (const PathCase& test : {
             PathCase{"C:\\\x83\x5C", "C:\\\x83\x5C", "C:\\\x83\x5C\\"},            // one character
             PathCase{"C:\\\x83\x5C\\\\", "C:\\\x83\x5C", "C:\\\x83\x5C\\"},        // and real ones behind it
             PathCase{"\x83\x5C", "\x83\x5C", "\x83\x5C\\"},                        // nothing before it
             PathCase{"\x83\x83\x5C", "\x83\x83", "\x83\x83\x5C"},                  // 0x83 is a second byte: real
             PathCase{"a\x83\x83\x83\x5C", "a\x83\x83\x83\x5C", "a\x83\x83\x83\x5C\\"},  // three: two and one
             PathCase{"\xB1\x5C", "\xB1", "\xB1\\"},                                // half-width: a single byte
         }) {
        Check(test);
    }
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
