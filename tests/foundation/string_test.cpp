#include "instalib/string.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#if !defined(_WIN32) && !defined(__SANITIZE_ADDRESS__)
#include <sys/resource.h>

#include "instalib/exception.h"
#include "instalib/map.h"
#endif

namespace {

std::string Bytes(const CString& text) {
    return std::string(static_cast<const char*>(text), std::size_t(text.GetLength()));
}

// A character could be taken for an offset into the text, a number for a character.
template <class Left, class Right>
concept Adds = requires(Left left, Right right) {
    left + right;
};
static_assert(Adds<CString, char> && !Adds<CString, int> && !Adds<int, CString>);

TEST(StringTest, CopiesAreIndependentAndAMovedFromStringIsUsable) {
    CString first("abc"), second(first), third;
    third = first;
    first += "def";
    second.MakeUpper();
    EXPECT_EQ(Bytes(first) + Bytes(second) + Bytes(third), "abcdefABCabc");
    CString moved(std::move(first));
    first = "new";
    EXPECT_EQ(Bytes(moved) + Bytes(first), "abcdefnew");
    CString empty, other;
    empty.GetBuffer(0)[0] = 'x';
    EXPECT_STREQ(other, "") << "empty strings share nothing that a buffer could change";
}

TEST(StringTest, OperandsMayBeTheStringItselfOrAPartOfIt) {
    CString text("abcdef");
    const CString& same = text;
    text = same;
    text = text.Left(2);
    EXPECT_EQ(Bytes(text), "ab");
    text += text;
    text += static_cast<const char*>(text) + 1;
    EXPECT_EQ(Bytes(text), "ababbab");
    text = static_cast<const char*>(text) + 3;
    EXPECT_EQ(Bytes(text), "bbab");
    for (int i = 0; i < 6; ++i) text += text;  // grows through several buffers
    EXPECT_EQ(Bytes(text.Right(5)), "bbbab");
    text.Format("%s%s", "<", static_cast<const char*>(text));
    EXPECT_EQ(text.GetLength(), 257);
}

TEST(StringTest, PartsAreClampedAndNullOrNegativeIsEmpty) {
    const CString text("abcde");
    const char* const null = nullptr;
    for (const auto& [part, expected] : std::vector<std::pair<CString, std::string>>{{text.Left(9), "abcde"},
                                                                                     {text.Left(-1), ""},
                                                                                     {text.Right(2), "de"},
                                                                                     {text.Right(9), "abcde"},
                                                                                     {text.Right(-1), ""},
                                                                                     {text.Mid(3), "de"},
                                                                                     {text.Mid(5), ""},
                                                                                     {text.Mid(-2, 2), "ab"},
                                                                                     {text.Mid(1, 99), "bcde"},
                                                                                     {CString(text) += null, "abcde"},
                                                                                     {CString(text) = null, ""},
                                                                                     {null, ""},
                                                                                     {CString(null, 5), ""},
                                                                                     {CString("abc", -1), ""},
                                                                                     {CString('x', -1), ""},
                                                                                     {CString('x', 2), "xx"}}) {
        EXPECT_EQ(Bytes(part), expected);
    }
    EXPECT_EQ(text.GetAt(4), 'e');
    EXPECT_EQ(text[5], '\0');
    EXPECT_EQ(text[-1], '\0');
}

TEST(StringTest, FindsFromAStartAndFromTheEnd) {
    const CString text("a\\b\\c");
    for (const auto& [found, expected] : {std::pair{text.Find('\\'), 1},
                                          {text.Find('\\', 2), 3},
                                          {text.Find('\\', 4), -1},
                                          {text.Find("\\c"), 3},
                                          {text.Find("x"), -1},
                                          {text.ReverseFind('\\'), 3},
                                          {text.ReverseFind('x'), -1}}) {
        EXPECT_EQ(found, expected);
    }
}

TEST(StringTest, ComparesBytesAndIgnoresAsciiCaseOnRequest) {
    EXPECT_LT(CString("Z").Compare("a"), 0);
    EXPECT_GT(CString("\xE4").Compare("z"), 0);
    EXPECT_GT(CString("a").Compare(nullptr), 0);
    EXPECT_EQ(CString("HaLv").CompareNoCase("hAlV"), 0);
    EXPECT_GT(CString("Z").CompareNoCase("["), 0) << "as the lower-case letter";
    EXPECT_NE(CString("a").CompareNoCase("ab"), 0);
    EXPECT_NE(CString("\xC4").CompareNoCase("\xE4"), 0);
    const CString text("a\0b", 3);
    EXPECT_EQ(Bytes(text + '!'), std::string("a\0b!", 4)) << "zero bytes belong to the text";
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
    text.ReleaseBuffer(4);
    EXPECT_EQ(Bytes(text), "xxxx");
    text.ReleaseBuffer(4000);
    EXPECT_LE(text.GetLength(), 10);
}

TEST(StringTest, WipedTextIsGoneFromItsMemory) {
    CString text("password");
    const char* const memory = text;
    text.Wipe();
    EXPECT_TRUE(text.IsEmpty());
    ASSERT_EQ(text.GetBuffer(8), memory);
    EXPECT_EQ(std::string(memory, 9), std::string(9, '\0'));
}

#if !defined(_WIN32) && !defined(__SANITIZE_ADDRESS__)
// Whether an operation raises the memory exception.
template <class Operation>
bool RunsOut(Operation operation) {
    try {
        operation();
    } catch (CMemoryException* exception) {
        exception->Delete();
        return true;
    }
    return false;
}

TEST(StringTest, MemoryThatCannotBeHadLeavesStringAndMap) {
    const auto child = [] {
        const CString large('x', 100 << 20);
        const rlimit little = {1, 1};  // what is there stays, what needs new memory fails
        setrlimit(RLIMIT_AS, &little);
        CString text("abc");
        CMapStringToString map;
        map.SetAt("k", "old");
        const bool allRan = RunsOut([&] { text = large; }) && RunsOut([&] { text += large; }) &&
                            RunsOut([&] { text.Format("%s", static_cast<const char*>(large)); }) &&
                            RunsOut([&] { text.GetBuffer(100 << 20); }) &&
                            RunsOut([&] { const CString copy(large); }) && RunsOut([&] { map.SetAt("k", large); }) &&
                            RunsOut([&] { map.SetAt("n", large); });
        std::_Exit(allRan && text == "abc" && map.GetCount() == 1 && map["k"] == "old" ? 0 : 1);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
