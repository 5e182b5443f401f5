#include "instalib/string.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

namespace {

std::string Bytes(const CString& text) { return std::string(static_cast<const char*>(text), std::size_t(text.GetLength())); }

// A character could be taken for an offset into the text, a number for a character.
template <class Left, class Right>
concept Adds = requires(Left left, Right right) { left + right; };
static_assert(Adds<CString, char> && !Adds<CString, int> && !Adds<int, CString>);

TEST(StringTest, CopiesAreIndependent) {
    CString first("abc");
    CString second(first);
    CString third;
    third = first;
    first += "def";
    second.MakeUpper();
    EXPECT_EQ(Bytes(first), "abcdef");
    EXPECT_EQ(Bytes(second), "ABC");
    EXPECT_EQ(Bytes(third), "abc");
}

TEST(StringTest, OperandsMayBeTheStringItselfOrAPartOfIt) {
    CString text("abcdef");
    const CString& same = text;
    text = same;
    EXPECT_EQ(Bytes(text), "abcdef");
    text = text.Left(2);
    EXPECT_EQ(Bytes(text), "ab");
    text += text;
    EXPECT_EQ(Bytes(text), "abab");
    text += static_cast<const char*>(text) + 1;
    EXPECT_EQ(Bytes(text), "ababbab");
    text = static_cast<const char*>(text) + 3;
    EXPECT_EQ(Bytes(text), "bbab");
    for (int i = 0; i < 6; ++i) text += text;  // grows through several buffers
    EXPECT_EQ(text.GetLength(), 256);
    EXPECT_EQ(Bytes(text.Right(5)), "bbbab");
    text.Format("%s%s", "<", static_cast<const char*>(text));
    EXPECT_EQ(text.GetLength(), 257);
}

TEST(StringTest, MovedFromStringIsEmptyOrUsable) {
    CString first("abc");
    CString second(std::move(first));
    first = "new";
    EXPECT_EQ(Bytes(second), "abc");
    EXPECT_EQ(Bytes(first), "new");
}

TEST(StringTest, NullTextsAndNegativeCountsAreEmpty) {
    const char* const null = nullptr;
    EXPECT_TRUE(CString(null).IsEmpty());
    EXPECT_TRUE(CString(null, 5).IsEmpty());
    EXPECT_TRUE(CString("abc", -1).IsEmpty());
    EXPECT_TRUE(CString('x', -1).IsEmpty());
    CString text("abc");
    text += null;
    EXPECT_EQ(Bytes(text), "abc");
    EXPECT_GT(text.Compare(null), 0);
    text = null;
    EXPECT_STREQ(text, "");
}

TEST(StringTest, PartsAreClamped) {
    const CString text("abcde");
    EXPECT_EQ(Bytes(text.Left(9)), "abcde");
    EXPECT_EQ(Bytes(text.Left(-1)), "");
    EXPECT_EQ(Bytes(text.Right(2)), "de");
    EXPECT_EQ(Bytes(text.Right(9)), "abcde");
    EXPECT_EQ(Bytes(text.Right(-1)), "");
    EXPECT_EQ(Bytes(text.Mid(3)), "de");
    EXPECT_EQ(Bytes(text.Mid(5)), "");
    EXPECT_EQ(Bytes(text.Mid(-2, 2)), "ab");
    EXPECT_EQ(Bytes(text.Mid(1, 99)), "bcde");
    EXPECT_EQ(text.GetAt(4), 'e');
    EXPECT_EQ(text[5], '\0');
    EXPECT_EQ(text[-1], '\0');
}

TEST(StringTest, FindsFromAStartAndFromTheEnd) {
    const CString text("a\\b\\c");
    EXPECT_EQ(text.Find('\\'), 1);
    EXPECT_EQ(text.Find('\\', 2), 3);
    EXPECT_EQ(text.Find('\\', 4), -1);
    EXPECT_EQ(text.Find("\\c"), 3);
    EXPECT_EQ(text.Find("x"), -1);
    EXPECT_EQ(text.ReverseFind('\\'), 3);
    EXPECT_EQ(text.ReverseFind('x'), -1);
}

TEST(StringTest, ComparesBytesAndIgnoresAsciiCaseOnRequest) {
    EXPECT_LT(CString("Z").Compare("a"), 0);
    EXPECT_GT(CString("\xE4").Compare("z"), 0);
    EXPECT_EQ(CString("HaLv").CompareNoCase("hAlV"), 0);
    EXPECT_LT(CString("Z").CompareNoCase("["), CString("z").CompareNoCase("[") + 1);
    EXPECT_NE(CString("a").CompareNoCase("ab"), 0);
    EXPECT_NE(CString("\xC4").CompareNoCase("\xE4"), 0);
}

TEST(StringTest, ZeroBytesBelongToTheText) {
    const CString text("a\0b", 3);
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_EQ(Bytes(text + '!'), std::string("a\0b!", 4));
    EXPECT_FALSE(text == CString("a\0c", 3));
    EXPECT_TRUE(text == CString(text));
    EXPECT_TRUE(CString("a") < text);
}

TEST(StringTest, FormatsTextsOfAnyLength) {
    const std::string longText(100000, 'x');
    CString text;
    text.Format("%s-%d%%", longText.c_str(), 7);
    EXPECT_EQ(Bytes(text), longText + "-7%");
    text.Format("%s", "");
    EXPECT_TRUE(text.IsEmpty());
}

TEST(StringTest, BufferKeepsTheTextAndIsCutAtItsEnd) {
    CString text("abc");
    char* const buffer = text.GetBuffer(10);
    EXPECT_STREQ(buffer, "abc");
    for (int i = 0; i <= 10; ++i) buffer[i] = 'x';  // no terminator left
    text.ReleaseBuffer();
    EXPECT_EQ(Bytes(text), std::string(10, 'x'));
    text.GetBuffer(10);
    text.ReleaseBuffer(4);
    EXPECT_EQ(Bytes(text), "xxxx");
    text.ReleaseBuffer(4000);
    EXPECT_LE(text.GetLength(), 10);
}

TEST(StringTest, EmptyStringsShareNothingThatABufferCouldChange) {
    CString first;
    CString second;
    first.GetBuffer(0)[0] = 'x';
    EXPECT_STREQ(second, "");
}

TEST(StringTest, WipedTextIsGoneFromItsMemory) {
    CString text("password");
    text.Wipe();
    EXPECT_TRUE(text.IsEmpty());
}

}  // namespace
