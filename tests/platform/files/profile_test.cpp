// The profile functions, one table of cases for every rule. `wine` names what Wine 8 does differently from Windows.
#include <cstring>

#include "tests/support/fresh_machine.h"

namespace {

const std::string kFile = "C:\\TEST\\PROFILE.INI";
constexpr char kUntouched = '#';

// A text whose zero characters count.
template <std::size_t N>
std::string Zeros(const char (&text)[N]) {
    return std::string(text, N - 1);
}

class Profile : public FreshMachine {
  protected:
    static const char* OrNull(const std::optional<std::string>& text) { return text ? text->c_str() : nullptr; }
};

struct Answer {
    std::string text;  // everything in the buffer up to its untouched rest
    DWORD length = 0;
    DWORD error = 0;
};

// Calls a reader with a buffer of `size` bytes between marks that must survive.
template <class Reader>
Answer Ask(DWORD size, Reader reader) {
    std::string buffer(size + 16, kUntouched);
    SetLastError(0xdeadbeef);
    Answer answer;
    answer.length = reader(buffer.data(), size);
    answer.error = GetLastError();
    EXPECT_EQ(buffer.substr(size), std::string(16, kUntouched)) << "written behind the buffer";
    answer.text = buffer.substr(0, buffer.find_last_not_of(kUntouched) + 1);
    return answer;
}

// A value, a section's keys or the sections' names.
Answer Value(const char* section, const char* key, const char* fallback, DWORD size, const std::string& file = kFile) {
    return Ask(size, [&](char* buffer, DWORD bytes) {
        return GetPrivateProfileStringA(section, key, fallback, buffer, bytes, file.c_str());
    });
}

struct ValueCase {
    const char* name;
    std::string file;
    std::string section, key, fallback;
    std::string expected;
    const char* wine = nullptr;
};

class ProfileValue : public Profile, public testing::WithParamInterface<ValueCase> {};

TEST_P(ProfileValue, IsReadByWindowsRules) {
    const ValueCase& row = GetParam();
    if (row.wine != nullptr) SKIP_UNDER_WINE(row.wine);
    WriteBytes(kFile, row.file);
    const Answer answer = Value(row.section.c_str(), row.key.c_str(), row.fallback.c_str(), 200);
    EXPECT_EQ(answer.text, row.expected + '\0');
    EXPECT_EQ(answer.length, row.expected.size());
}

const ValueCase kValueCases[] = {
    {"Plain", "[s]\r\nk=v\r\n", "s", "k", "d", "v"},
    {"NamesIgnoreCase", "[Sec]\r\nKey=v\r\n", "sEC", "kEY", "d", "v"},
    {"BlanksAroundEverything", "  [ s ]  \r\n \t k \t = \t v w \t \r\n", "s", "k", "d", "v w"},
    {"BlanksAroundTheNamesAskedFor", "[s]\r\nk=v\r\n", " s ", " k ", "d", "v"},
    {"DoubleQuotes", "[s]\r\nk=\" v \"\r\n", "s", "k", "d", " v "},
    {"SingleQuotes", "[s]\r\nk='v'\r\n", "s", "k", "d", "v"},
    {"OnePairOfQuotesOnly", "[s]\r\nk=\"\"v\"\"\r\n", "s", "k", "d", "\"v\""},
    {"QuotesThatDoNotMatch", "[s]\r\nk=\"v'\r\n", "s", "k", "d", "\"v'"},
    {"QuotesWithTextBehind", "[s]\r\nk=\"v\" x\r\n", "s", "k", "d", "\"v\" x"},
    {"OneQuoteAlone", "[s]\r\nk=\"\r\n", "s", "k", "d", "\""},
    {"SemicolonInsideAValue", "[s]\r\n;k=no\r\nk=w ; c\r\n", "s", "k", "d", "w ; c"},
    {"SectionInAComment", ";[s]\r\nk=v\r\n", "s", "k", "d", "d"},
    {"FirstKeyWins", "[s]\r\nk=a\r\nk=b\r\n", "s", "k", "d", "a"},
    {"FirstSectionWins", "[s]\r\nk=a\r\n[t]\r\nx=1\r\n[S]\r\nm=c\r\n", "s", "m", "d", "d"},
    {"KeyWithoutEquals", "[s]\r\nk\r\nj=1\r\n", "s", "k", "d", "d"},
    {"EmptyValueIsNoDefault", "[s]\r\nk=\r\n", "s", "k", "d", ""},
    {"ValueOfBlanks", "[s]\r\nk=   \r\n", "s", "k", "d", ""},
    {"EqualsInAValue", "[s]\r\nk=a=b\r\n", "s", "k", "d", "a=b"},
    {"DefaultLosesTrailingBlanks", "[s]\r\n", "s", "k", "  d  ", "  d"},
    {"DefaultForAMissingSection", "[s]\r\nk=v\r\n", "t", "k", "d", "d"},
    {"TextBehindTheSection", "[s] junk\r\nk=v\r\n", "s", "k", "d", "v"},
    {"SectionNotAtTheStart", "x [s]\r\nk=v\r\n", "s", "k", "d", "d"},
    {"SectionThatIsNotClosed", "[x]\r\n[s\r\nk=v\r\n", "x", "k", "d", "v"},
    {"LinesEndWithLf", "[s]\nk=v\nj=w", "s", "j", "d", "w"},
    {"LinesEndWithCr", "[s]\rk=v\rj=w", "s", "k", "d", "v"},
    {"LastLineWithoutEnd", "[s]\r\nk=v", "s", "k", "d", "v"},
    {"ZeroCharacterEndsAValue", Zeros("[s]\r\nk=a\0b\r\nj=1\r\n"), "s", "k", "d", "a"},
    {"LinesGoOnBehindAZeroCharacter", Zeros("[s]\r\nk=a\0b\r\n\0\0\r\nj=1\r\n"), "s", "j", "d", "1"},
    {"LinesGoOnBehindControlZ", "[s]\r\nk=a\x1a\r\nj=1\r\n", "s", "j", "d", "1"},
    {"BinaryRubbish", Zeros("\0\xff=[[]]=\x01\r\r\r\n[s]\r\n\x80\x81\r\nk=v\r\n"), "s", "k", "d", "v"},
    {"AnsiCharacters", "[s]\r\nk=\xe4\xf6\r\n", "s", "k", "d", "\xe4\xf6"},
    {"NamesIgnoreCaseBeyondAscii", "[s]\r\n\xc4=1\r\n", "s", "\xe4", "d", "1", "compares letters beyond ASCII exactly"},
    {"Utf16WithMark", Zeros("\xff\xfe[\0s\0]\0\r\0\n\0k\0=\0\xe4\0\r\0\n\0"), "s", "k", "d", "\xe4"},
    {"Utf16WithoutMark", Zeros("[\0s\0]\0\r\0\n\0k\0=\0v\0\r\0\n\0"), "s", "k", "d", "d"},
    {"MarkOfUtf8HidesTheFirstSection", "\xef\xbb\xbf[s]\r\nk=v\r\n[t]\r\n", "s", "k", "d", "d",
     "reads UTF-8 with a mark"},
};
INSTANTIATE_TEST_SUITE_P(Cases, ProfileValue, testing::ValuesIn(kValueCases), kCaseName);

TEST_F(Profile, ValueThatDoesNotFitIsCutAndTerminated) {
    WriteBytes(kFile, "[s]\r\nk=abcde\r\n");
    const std::string expected[] = {
        "", Zeros("\0"), Zeros("a\0"), Zeros("ab\0"), Zeros("abc\0"), Zeros("abcd\0"), Zeros("abcde\0")};
    for (DWORD size = 0; size <= 6; ++size) {
        SCOPED_TRACE(size);
        const Answer answer = Value("s", "k", "default", size);
        EXPECT_EQ(answer.text, expected[size]);
        EXPECT_EQ(answer.length, size == 0 ? 0 : size - 1);
    }
}

TEST_F(Profile, LastErrorTellsWhetherTheValueWasThere) {
    EXPECT_EQ(Value("s", "k", "d", 20).error, DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Value("s", "k", "d", 20, "C:\\TEST\\NONE\\X.INI").error, DWORD(ERROR_PATH_NOT_FOUND));
    WriteBytes(kFile, "[s]\r\nk=value\r\n");
    EXPECT_EQ(Value("s", "k", "d", 20).error, DWORD(ERROR_SUCCESS));
    SKIP_UNDER_WINE("reports success for a missing key and for a value that was cut");
    EXPECT_EQ(Value("s", "j", "d", 20).error, DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Value("s", "k", "d", 3).error, DWORD(ERROR_MORE_DATA));
}

struct ListCase {
    const char* name;
    std::string file;
    std::optional<std::string> section;  // none: the names of the sections; else the keys
    std::string expected;
};

class ProfileList : public Profile, public testing::WithParamInterface<ListCase> {};

TEST_P(ProfileList, EnumeratesNames) {
    const ListCase& row = GetParam();
    WriteBytes(kFile, row.file);
    EXPECT_EQ(Value(OrNull(row.section), nullptr, "def", 100).text, row.expected);
}

const ListCase kListCases[] = {
    {"SectionsInOrder", "[b]\r\n[ a ]\r\n[B]\r\n", std::nullopt, Zeros("b\0a\0B\0\0")},
    {"KeysInOrder", "[s]\r\nb = 1\r\n;c=2\r\na=3\r\nb=4\r\n[t]\r\nx=1\r\n", "s", Zeros("b\0a\0b\0\0")},
    {"KeysOfTheFirstSectionOnly", "[s]\r\na=1\r\n[s]\r\nb=1\r\n", "s", Zeros("a\0\0")},
    {"LinesWithoutEqualsAreNoKeys", "[s]\r\nbare\r\na=1\r\n", "s", Zeros("a\0\0")},
    {"DefaultForAMissingSection", "[s]\r\n", "t", Zeros("def\0")},
};
INSTANTIATE_TEST_SUITE_P(Cases, ProfileList, testing::ValuesIn(kListCases), kCaseName);

TEST_F(Profile, ListThatDoesNotFitIsCutAndEndsTwice) {
    SKIP_UNDER_WINE("leaves the second terminator out");
    WriteBytes(kFile, "[abc]\r\nk=1\r\n[de]\r\n");
    const std::string whole = Zeros("abc\0de\0\0");
    for (DWORD size = 0; size <= 8; ++size) {
        SCOPED_TRACE(size);
        const DWORD kept = size == 8 ? 6 : size < 2 ? 0 : size - 2;
        const std::string expected = whole.substr(0, kept) + std::string(std::min(size, DWORD(2)), '\0');
        const DWORD length = size == 8 ? 7 : size < 2 ? 0 : size - 2;
        const Answer names = Ask(size, [](char* buffer, DWORD bytes) {
            return GetPrivateProfileSectionNamesA(buffer, bytes, kFile.c_str());
        });
        EXPECT_EQ(names.text, expected);
        EXPECT_EQ(names.length, length);
        const Answer sections = Value(nullptr, nullptr, "", size);
        EXPECT_EQ(sections.text, expected);
        EXPECT_EQ(sections.length, length);
    }
}

TEST_F(Profile, SectionIsReadAsLinesWithoutComments) {
    WriteBytes(kFile, "[s]\r\n a = 1 \r\nb=\r\nbare\r\n; c\r\n\r\nq=\"x\"\r\n[t]\r\nz=1\r\n");
    const auto section = [](const char* name) {
        return Ask(100, [&](char* buffer, DWORD size) {
            return GetPrivateProfileSectionA(name, buffer, size, kFile.c_str());
        });
    };
    const Answer answer = section("s");
    EXPECT_EQ(answer.text, Zeros("a=1\0b=\0bare\0q=\"x\"\0\0"));
    EXPECT_EQ(answer.length, 18u);
    EXPECT_EQ(section("none").text, Zeros("\0\0"));
    EXPECT_EQ(section(nullptr).error, DWORD(ERROR_INVALID_PARAMETER));
}

struct NumberCase {
    const char* name;
    std::string value;
    int expected;
    const char* wine = nullptr;
};

class ProfileNumber : public Profile, public testing::WithParamInterface<NumberCase> {};

TEST_P(ProfileNumber, IsReadByWindowsRules) {
    const NumberCase& row = GetParam();
    if (row.wine != nullptr) SKIP_UNDER_WINE(row.wine);
    WriteBytes(kFile, "[s]\r\nk=" + row.value + "\r\n");
    EXPECT_EQ(int(GetPrivateProfileIntA("s", "k", 77, kFile.c_str())), row.expected);
}

const NumberCase kNumberCases[] = {
    {"Decimal", "12", 12},
    {"Negative", "-12", -12},
    {"Plus", "+12", 12},
    {"BlanksAround", " \t12 ", 12},
    {"TextBehind", "12x", 12},
    {"DigitGroups", "1,000", 1},
    {"TextBefore", "x12", 0},
    {"Empty", "", 0, "answers the default for an empty value"},
    {"Quoted", "\" 12\"", 12},
    {"Hexadecimal", "0x1A", 26},
    {"UpperCasePrefix", "0X1A", 0},
    {"NegativeHexadecimal", "-0x10", -16},
    {"LeadingZeroIsNoOctal", "017", 17},
    {"LargestUnsigned", "4294967295", -1},
    {"WrapsAround", "4294967298", 2},
    {"SignAlone", "-", 0},
    {"TwoSigns", "--1", 0},
};
INSTANTIATE_TEST_SUITE_P(Cases, ProfileNumber, testing::ValuesIn(kNumberCases), kCaseName);

TEST_F(Profile, MissingNumberIsTheDefaultAndALongValueIsReadWhole) {
    EXPECT_EQ(int(GetPrivateProfileIntA("s", "k", -5, kFile.c_str())), -5);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    WriteBytes(kFile, "[s]\r\nk\r\n");
    EXPECT_EQ(int(GetPrivateProfileIntA("s", "k", -5, kFile.c_str())), -5);
    const std::string value(65000, 'x');
    WriteBytes(kFile, "[s]\r\nk=" + value + "\r\nj=1\r\n");
    EXPECT_EQ(Value("s", "k", "", 66000).text, value + '\0');
}

struct WriteCase {
    const char* name;
    std::string file;
    std::string section;
    std::optional<std::string> key, value;
    std::string expected;
    const char* wine = nullptr;
};

constexpr char kRewrites[] = "writes the whole file anew: blank lines, blanks, line ends and zero characters are lost";

class ProfileWrite : public Profile, public testing::WithParamInterface<WriteCase> {};

TEST_P(ProfileWrite, ChangesWhatItIsAbout) {
    const WriteCase& row = GetParam();
    if (row.wine != nullptr) SKIP_UNDER_WINE(row.wine);
    WriteBytes(kFile, row.file);
    EXPECT_NE(WritePrivateProfileStringA(row.section.c_str(), OrNull(row.key), OrNull(row.value), kFile.c_str()),
              FALSE);
    EXPECT_EQ(ReadBytes(kFile), row.expected);
}

const WriteCase kWriteCases[] = {
    {"ReplacesAValue", "[s]\r\nk=v\r\nm=1\r\n", "S", "K", "w", "[s]\r\nk=w\r\nm=1\r\n"},
    {"ReplacesTheFirstOfTwo", "[s]\r\nk=v\r\nk=u\r\n", "s", "k", "w", "[s]\r\nk=w\r\nk=u\r\n"},
    {"AddsAKey", "[s]\r\nk=v\r\n[t]\r\nx=1\r\n", "s", "j", "w", "[s]\r\nk=v\r\nj=w\r\n[t]\r\nx=1\r\n"},
    {"AddsAKeyToAnEmptySection", "[t]\r\n[s]\r\n[u]\r\n", "s", "k", "w", "[t]\r\n[s]\r\nk=w\r\n[u]\r\n"},
    {"AddsBehindAComment", "[s]\r\n; c\r\n[t]\r\n", "s", "k", "w", "[s]\r\n; c\r\nk=w\r\n[t]\r\n"},
    {"AddsBeforeBlankLines", "[s]\r\nk=v\r\n\r\n \r\n[t]\r\n", "s", "j", "w", "[s]\r\nk=v\r\nj=w\r\n\r\n \r\n[t]\r\n",
     kRewrites},
    {"AddsASection", "[s]\r\nk=v\r\n", "t", "j", "w", "[s]\r\nk=v\r\n[t]\r\nj=w\r\n"},
    {"AddsToALineWithoutEnd", "[s]\r\nk=v", "s", "j", "w", "[s]\r\nk=v\r\nj=w\r\n"},
    {"AddsASectionToALineWithoutEnd", "[s]\r\nk=v", "t", "j", "w", "[s]\r\nk=v\r\n[t]\r\nj=w\r\n"},
    {"AddsToTheFirstOfTwoSections", "[s]\r\nk=v\r\n[s]\r\nm=u\r\n", "s", "m", "w",
     "[s]\r\nk=v\r\nm=w\r\n[s]\r\nm=u\r\n"},
    {"GivesAValueToABareKey", "[s]\r\nk\r\n", "s", "k", "w", "[s]\r\nk=w\r\n"},
    {"EmptyValue", "[s]\r\nk=v\r\n", "s", "k", "", "[s]\r\nk=\r\n"},
    {"TrimsNames", "[s]\r\nk=v\r\n", " s ", " k ", " w ", "[s]\r\nk=w \r\n"},
    {"NullValueDeletesTheKey", "[s]\r\nk=v\r\nm=1\r\n", "s", "k", std::nullopt, "[s]\r\nm=1\r\n"},
    {"NullKeyDeletesTheSection", "[s]\r\nk=v\r\nm=1\r\n[t]\r\n", "s", std::nullopt, "x", "[t]\r\n"},
    {"DeletesOneOfTwoSections", "[s]\r\nk=v\r\n[s]\r\nm=1\r\n", "s", std::nullopt, std::nullopt, "[s]\r\nm=1\r\n"},
    {"DeletesNothing", "[s]\r\nk=v\r\n", "t", "k", std::nullopt, "[s]\r\nk=v\r\n"},
    {"KeepsEveryOtherByte", Zeros("\r\n ;x\r[s]\n  K  =  old  \n\x01\0\xff\r\n\r\n bare \r\n [ t ] x\nm = 1"), "s", "k",
     "w", Zeros("\r\n ;x\r[s]\n  K  =  w\n\x01\0\xff\r\n\r\n bare \r\n [ t ] x\nm = 1"), kRewrites},
    {"KeepsUtf16", Zeros("\xff\xfe[\0s\0]\0\r\0\n\0k\0=\0v\0"), "s", "k", "\xe4",
     Zeros("\xff\xfe[\0s\0]\0\r\0\n\0k\0=\0\xe4\0"), kRewrites},
};
INSTANTIATE_TEST_SUITE_P(Cases, ProfileWrite, testing::ValuesIn(kWriteCases), kCaseName);

TEST_F(Profile, WritingThatFailsSaysWhy) {
    SetLastError(0xdeadbeef);
    EXPECT_TRUE(FailsWith(ERROR_PATH_NOT_FOUND, WritePrivateProfileStringA("s", "k", "v", "C:\\TEST\\NONE\\X.INI")));
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, WritePrivateProfileStringA("s", "k", "v", Folder().c_str())));
    EXPECT_EQ(WritePrivateProfileStringA(nullptr, "k", "v", kFile.c_str()), FALSE);
    EXPECT_EQ(WritePrivateProfileStringA(nullptr, nullptr, nullptr, kFile.c_str()), FALSE);
    SKIP_UNDER_WINE("writes to a read-only file when it runs as root");
    WriteBytes(kFile, "[s]\r\n");
    ASSERT_NE(SetFileAttributesA(kFile.c_str(), FILE_ATTRIBUTE_READONLY), FALSE);
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, WritePrivateProfileStringA("s", "k", "v", kFile.c_str())));
    EXPECT_EQ(ReadBytes(kFile), "[s]\r\n");
}

TEST_F(Profile, WritingMakesTheFileAndASectionIsReplacedWhole) {
    EXPECT_NE(WritePrivateProfileStringA("s", "k", nullptr, kFile.c_str()), FALSE);
    EXPECT_NE(WritePrivateProfileStringA("s", nullptr, nullptr, kFile.c_str()), FALSE);
    EXPECT_FALSE(FileExists(kFile));
    EXPECT_NE(WritePrivateProfileStringA("s", "k", "v", kFile.c_str()), FALSE);
    EXPECT_EQ(ReadBytes(kFile), "[s]\r\nk=v\r\n");
    WriteBytes(kFile, "[s]\r\n;c\r\nk=v\r\n[t]\r\nx=1\r\n");
    EXPECT_NE(WritePrivateProfileSectionA("s", "a=1\0b=\0", kFile.c_str()), FALSE);
    EXPECT_EQ(ReadBytes(kFile), "[s]\r\na=1\r\nb=\r\n[t]\r\nx=1\r\n");
    EXPECT_NE(WritePrivateProfileSectionA("u", "a=1\0", kFile.c_str()), FALSE);
    EXPECT_EQ(ReadBytes(kFile), "[s]\r\na=1\r\nb=\r\n[t]\r\nx=1\r\n[u]\r\na=1\r\n");
    EXPECT_NE(WritePrivateProfileSectionA("s", nullptr, kFile.c_str()), FALSE);
    EXPECT_EQ(ReadBytes(kFile), "[t]\r\nx=1\r\n[u]\r\na=1\r\n");
}

TEST_F(Profile, NameWithoutPathIsInTheWindowsDirectory) {
    char windows[MAX_PATH] = "";
    ASSERT_GT(GetWindowsDirectoryA(windows, MAX_PATH), 0u);
    const std::string placed = std::string(windows) + "\\INSTALIB-TEST.INI";
    WriteBytes(Folder() + "\\INSTALIB-TEST.INI", "[s]\r\nk=current directory\r\n");
    ASSERT_NE(SetCurrentDirectoryA(Folder().c_str()), FALSE);
    EXPECT_NE(WritePrivateProfileStringA("s", "k", "windows", "INSTALIB-TEST.INI"), FALSE);
    EXPECT_EQ(ReadBytes(placed), "[s]\r\nk=windows\r\n");
    EXPECT_EQ(Value("s", "k", "", 50, "INSTALIB-TEST.INI").text, Zeros("windows\0"));
    EXPECT_EQ(Value("s", "k", "", 50, ".\\INSTALIB-TEST.INI").text, Zeros("current directory\0"));
    EXPECT_NE(DeleteFileA(placed.c_str()), FALSE);
}

}  // namespace
