// Finding files, paths and drives, and the runtime's path functions.
#include <cerrno>
#include <cstring>

#include "tests/platform/files/files_fixture.h"

namespace {

struct PatternCase {
    const char* name;
    const char* pattern;
    const char* found;
    const char* wine = nullptr;
};

class FilesFind : public Files, public testing::WithParamInterface<PatternCase> {};

TEST_P(FilesFind, MatchesByWindowsRules) {
    const PatternCase& row = GetParam();
    if (row.wine != nullptr) SKIP_UNDER_WINE(row.wine);
    for (const char* const name : {"d\\b.txt", "d\\A.TXT", "d\\ab.txt", "d\\a.b.txt", "d\\noext", "d\\a.tx"})
        WriteBytes(In(name), "x");
    EXPECT_EQ(Found(row.pattern), row.found);
}

const PatternCase kPatternCases[] = {
    {"Everything", "d\\*", ". .. a.b.txt a.tx A.TXT ab.txt b.txt noext "},
    {"EverythingWithDot", "d\\*.*", ". .. a.b.txt a.tx A.TXT ab.txt b.txt noext "},
    {"ByExtension", "d\\*.txt", "a.b.txt A.TXT ab.txt b.txt "},
    {"IgnoresCase", "d\\A*.TXT", "a.b.txt A.TXT ab.txt "},
    {"OneCharacterOrNone", "d\\a?.txt", "A.TXT ab.txt ", "takes ? for exactly one character"},
    {"ExactlyOne", "d\\?.txt", "A.TXT b.txt "},
    {"ExtensionOfUpToThree", "d\\a.t??", "a.tx A.TXT ", "takes ? for exactly one character"},
    {"WithoutExtension", "d\\no*.", "noext "},
    {"TrailingDot", "d\\noext.", "noext "},
    {"OneName", "d\\a.txt", "A.TXT "},
    {"StarInTheMiddle", "d\\a*t", "a.b.txt A.TXT ab.txt "},
    {"NoMatch", "d\\z*", "error 2"},
    {"NoSuchName", "d\\z", "error 2"},
    {"NoSuchDirectory", "z\\*", "error 3"},
    {"BelowAFile", "d\\noext\\*", "error 267", "calls the name invalid"},
    {"FinalSeparator", "d\\", "error 2"},
};
INSTANTIATE_TEST_SUITE_P(Cases, FilesFind, testing::ValuesIn(kPatternCases), kCaseName);

TEST_F(Files, FindTellsSizeAndAttributes) {
    WriteBytes(In("d\\f"), "12345");
    WIN32_FIND_DATAA data;
    FindHandle find(FindFirstFileA(In("D\\F").c_str(), &data));
    ASSERT_TRUE(find);
    EXPECT_STREQ(data.cFileName, "f");
    EXPECT_EQ(data.nFileSizeLow, 5u);
    EXPECT_EQ(data.dwFileAttributes, DWORD(FILE_ATTRIBUTE_ARCHIVE));
    find = FindHandle(FindFirstFileA(In("d").c_str(), &data));
    EXPECT_EQ(data.dwFileAttributes, DWORD(FILE_ATTRIBUTE_DIRECTORY));
    find = FindHandle(FindFirstFileA("C:\\*", &data));
    do EXPECT_STRNE(data.cFileName, ".") << "a root has no entry for itself";
    while (FindNextFileA(find.Get(), &data));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_HANDLE, FindNextFileA(FileHandle().Get(), &data)));
}

struct PathCase {
    const char* name;
    const char* path;
    const char* full;  // in C:\TEST
};

class FilesPath : public Files, public testing::WithParamInterface<PathCase> {};

TEST_P(FilesPath, BecomesAbsolute) {
    ASSERT_NE(SetCurrentDirectoryA(Folder().c_str()), FALSE);
    char full[MAX_PATH] = "", runtime[MAX_PATH] = "";
    char* part = nullptr;
    const std::string expected = GetParam().full;
    EXPECT_EQ(GetFullPathNameA(GetParam().path, MAX_PATH, full, &part), expected.size());
    EXPECT_EQ(full, expected);
    EXPECT_EQ(part == nullptr ? "" : std::string(part), expected.substr(expected.rfind('\\') + 1));
    EXPECT_EQ(_fullpath(runtime, GetParam().path, sizeof runtime), runtime);
    EXPECT_EQ(runtime, expected);
}

const PathCase kPathCases[] = {
    {"Relative", "x", "C:\\TEST\\x"},
    {"Dots", "a\\.\\b\\..\\c", "C:\\TEST\\a\\c"},
    {"NotAboveTheRoot", "..\\..\\..\\x", "C:\\x"},
    {"FinalSeparator", "a/b/", "C:\\TEST\\a\\b\\"},
    {"RootRelative", "\\x", "C:\\x"},
    {"DriveRelative", "C:x", "C:\\TEST\\x"},
    {"TrailingDotsAndBlanks", "x. .", "C:\\TEST\\x"},
    {"DoubleSeparators", "a\\\\b", "C:\\TEST\\a\\b"},
    {"ShareIsTheRoot", "\\\\m\\s\\..\\x", "\\\\m\\s\\x"},
};
INSTANTIATE_TEST_SUITE_P(Cases, FilesPath, testing::ValuesIn(kPathCases), kCaseName);

TEST_F(Files, PathIsSplitMadeAndRefusedWhenItDoesNotFit) {
    struct Case {
        const char *path, *drive, *directory, *name, *extension, *made;
    };
    const Case cases[] = {
        {"C:\\a\\b.c\\n.x.e", "C:", "\\a\\b.c\\", "n.x", ".e", "C:\\a\\b.c\\n.x.e"},
        {"C:n", "C:", "", "n", "", "C:n"},
        {"a/b", "", "a/", "b", "", "a/b"},
        {"\\\\h\\s\\f", "", "\\\\h\\s\\", "f", "", "\\\\h\\s\\f"},
        {".e", "", "", "", ".e", ".e"},
        {"C:\\", "C:", "\\", "", "", "C:\\"},
        {"", "", "", "", "", ""},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.path);
        char drive[_MAX_DRIVE], directory[_MAX_DIR], name[_MAX_FNAME], extension[_MAX_EXT], made[_MAX_PATH];
        _splitpath(row.path, drive, directory, name, extension);
        EXPECT_STREQ(drive, row.drive);
        EXPECT_STREQ(directory, row.directory);
        EXPECT_STREQ(name, row.name);
        EXPECT_STREQ(extension, row.extension);
        _makepath(made, drive, directory, name, extension);
        EXPECT_STREQ(made, row.made);
    }
    char made[_MAX_PATH];
    _makepath(made, "D", "a", "n", "e");
    EXPECT_STREQ(made, "D:a\\n.e");
    char small[4] = "";
    EXPECT_EQ(_fullpath(small, "C:\\abc", sizeof small), nullptr);
    EXPECT_EQ(GetFullPathNameA("C:\\abc", sizeof small, small, nullptr), 7u);
}

TEST_F(Files, RuntimeComparesWithoutCaseAndWritesDateAndTimeInNineBytes) {
    EXPECT_EQ(_stricmp("aBc", "AbC"), 0);
    EXPECT_LT(_stricmp("a_", "AB"), 0) << "compared in lower case";
    EXPECT_GT(_stricmp("abc", "AB"), 0);
    EXPECT_EQ(_strnicmp("abX", "ABy", 2), 0);
    EXPECT_NE(_strnicmp("abX", "ABy", 3), 0);
    SYSTEMTIME now;
    GetLocalTime(&now);
    char date[9], time[9], expected[32];
    EXPECT_STREQ(_strdate(date), date);
    std::snprintf(expected, sizeof expected, "%02u/%02u/%02u", unsigned(now.wMonth), unsigned(now.wDay),
                  now.wYear % 100u);
    EXPECT_STREQ(date, expected);
    EXPECT_STREQ(_strtime(time), time);
    EXPECT_EQ(time[2], ':');
    EXPECT_EQ(std::strlen(time), 8u);
}

TEST_F(Files, DriveOfTheSystemIsFixed) {
    EXPECT_EQ(GetDriveTypeA("C:\\"), DWORD(DRIVE_FIXED));
    EXPECT_EQ(GetDriveTypeA("Q:\\"), DWORD(DRIVE_NO_ROOT_DIR));
    EXPECT_NE(GetLogicalDrives() & 4, 0u);
    DWORD sectors = 0, bytes = 0, free = 0, total = 0;
    ASSERT_NE(GetDiskFreeSpaceA("C:\\", &sectors, &bytes, &free, &total), FALSE);
    EXPECT_GT(sectors * bytes, 0u);
    EXPECT_LE(free, total);
    EXPECT_TRUE(FailsWith(ERROR_PATH_NOT_FOUND, GetDiskFreeSpaceA("Q:\\", &sectors, &bytes, &free, &total)));
}

}  // namespace
