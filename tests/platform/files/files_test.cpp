// Opening files, sharing and locks, attributes, moving and copying, directories.
#include <cerrno>
#include <cstring>

#include "tests/platform/files/files_fixture.h"

namespace {

struct OpenCase {
    const char* name;
    DWORD disposition;
    DWORD errorOfMissing, lastErrorOfNew;  // either it fails, or it makes the file and leaves this last error
    DWORD errorOfExisting, lastErrorOfOpened;
    const char* content;  // of the existing file afterwards
};

class FilesOpen : public Files, public testing::WithParamInterface<OpenCase> {};

TEST_P(FilesOpen, FollowsTheDisposition) {
    const OpenCase& row = GetParam();
    WriteBytes(In("there"), "old");
    EXPECT_EQ(OpenError(In("missing"), GENERIC_READ | GENERIC_WRITE, 0, row.disposition), row.errorOfMissing);
    const bool tellsWhetherItExisted = row.disposition == CREATE_ALWAYS || row.disposition == OPEN_ALWAYS;
    if (tellsWhetherItExisted) {
        EXPECT_EQ(GetLastError(), row.lastErrorOfNew);
    }
    EXPECT_EQ(FileExists(In("missing")), row.errorOfMissing == 0);
    EXPECT_EQ(OpenError(In("there"), GENERIC_READ | GENERIC_WRITE, 0, row.disposition), row.errorOfExisting);
    if (tellsWhetherItExisted) {
        EXPECT_EQ(GetLastError(), row.lastErrorOfOpened);
    }
    EXPECT_EQ(ReadBytes(In("there")), row.content);
}

const OpenCase kOpenCases[] = {
    {"CreateNew", CREATE_NEW, 0, 0, ERROR_FILE_EXISTS, 0, "old"},
    {"CreateAlways", CREATE_ALWAYS, 0, 0, 0, ERROR_ALREADY_EXISTS, ""},
    {"OpenExisting", OPEN_EXISTING, ERROR_FILE_NOT_FOUND, 0, 0, 0, "old"},
    {"OpenAlways", OPEN_ALWAYS, 0, 0, 0, ERROR_ALREADY_EXISTS, "old"},
    {"TruncateExisting", TRUNCATE_EXISTING, ERROR_FILE_NOT_FOUND, 0, 0, 0, ""},
};
INSTANTIATE_TEST_SUITE_P(Cases, FilesOpen, testing::ValuesIn(kOpenCases), kCaseName);

struct NameCase {
    const char* name;
    std::string path;  // below C:\TEST when relative
    DWORD openError, attributesError, deleteError, directoryError;
    const char* wine = nullptr;
};

class FilesName : public Files, public testing::WithParamInterface<NameCase> {};

TEST_P(FilesName, GivesWindowsErrors) {
    const NameCase& row = GetParam();
    if (row.wine != nullptr) SKIP_UNDER_WINE(row.wine);
    WriteBytes(In("file"), "x");
    MakeFolder(In("dir"));
    WriteBytes(In("full\\file"), "x");
    ASSERT_NE(SetCurrentDirectoryA(Folder().c_str()), FALSE);
    const char* const path = row.path.c_str();
    EXPECT_EQ(OpenError(row.path, GENERIC_READ), row.openError);
    EXPECT_EQ(ErrorOf([&] { return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }), row.attributesError);
    EXPECT_EQ(ErrorOf([&] { return CreateDirectoryA(path, nullptr); }), row.directoryError);
    EXPECT_EQ(ErrorOf([&] { return DeleteFileA(path); }), row.deleteError);
}

const NameCase kNameCases[] = {
    {"File", "file", 0, 0, 0, 183},
    {"FileInOtherCase", "FILE", 0, 0, 0, 183},
    {"Directory", "dir", 5, 0, 5, 183},
    {"DirectoryWithSeparator", "dir\\", 5, 0, 5, 183},
    {"ForwardSlashes", "full/file", 0, 0, 0, 183},
    {"DotsOnTheWay", ".\\dir\\..\\full\\.\\file", 0, 0, 0, 183},
    {"TrailingDotsAndBlanks", "file. . ", 0, 0, 0, 183},
    {"Missing", "missing", 2, 2, 5, 0},
    {"BelowAMissingDirectory", "missing\\x", 3, 3, 3, 3},
    {"BelowAFile", "file\\x", 3, 3, 3, 3},
    {"Wildcard", "a*b", 123, 123, 123, 123},
    {"Colon", "ab:c:d", 123, 123, 123, 123, "takes a colon for part of a name"},
    {"ControlCharacter", "a\001b", 123, 123, 123, 123},
    {"Empty", "", 3, 3, 3, 3},
    {"MissingDrive", "Q:\\x", 3, 3, 3, 3, "takes the drive for a missing file"},
    {"LongName", std::string(250, 'x') + "\\y", 206, 206, 206, 206, "takes paths longer than 260 characters"},
    {"LongComponent", "C:\\" + std::string(256, 'x'), 123, 123, 123, 123, "takes it for missing"},
};
INSTANTIATE_TEST_SUITE_P(Cases, FilesName, testing::ValuesIn(kNameCases), kCaseName);

TEST_F(Files, ExistingNameKeepsItsCase) {
    WriteBytes(In("MixedCase.Txt"), "x");
    EXPECT_TRUE(Open(In("mixedcase.TXT"), GENERIC_WRITE, kShareAll, CREATE_ALWAYS));
    EXPECT_EQ(Found("*.txt"), "MixedCase.Txt ");
    SKIP_UNDER_WINE("does not change a name's case alone");
    EXPECT_NE(MoveFileA(In("MIXEDCASE.TXT").c_str(), In("mixedCASE.txt").c_str()), FALSE);
    EXPECT_EQ(Found("*.txt"), "mixedCASE.txt ");
}

TEST_F(Files, PositionMovesAndMayLieBehindTheEnd) {
    const FileHandle file = Open(In("f"), GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW);
    ASSERT_TRUE(Write(file, "0123456789"));
    EXPECT_EQ(SetFilePointer(file.Get(), -4, nullptr, FILE_END), 6u);
    EXPECT_EQ(Read(file, 2), "67");
    EXPECT_EQ(SetFilePointer(file.Get(), 1, nullptr, FILE_CURRENT), 9u);
    EXPECT_EQ(Read(file, 10), "9");
    EXPECT_EQ(Read(file, 10), "");
    EXPECT_EQ(SetFilePointer(file.Get(), 12, nullptr, FILE_BEGIN), 12u);
    ASSERT_TRUE(Write(file, "x"));
    EXPECT_EQ(GetFileSize(file.Get(), nullptr), 13u);
    EXPECT_EQ(SetFilePointer(file.Get(), -20, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NEGATIVE_SEEK));
    LONG high = 1;
    EXPECT_EQ(SetFilePointer(file.Get(), 5, &high, FILE_BEGIN), 5u);
    EXPECT_EQ(high, 1);
    SetFilePointer(file.Get(), 3, nullptr, FILE_BEGIN);
    EXPECT_NE(SetEndOfFile(file.Get()), FALSE);
    EXPECT_EQ(GetFileSize(file.Get(), &(high = 7, reinterpret_cast<DWORD&>(high))), 3u);
    EXPECT_EQ(high, 0);
    SKIP_UNDER_WINE("cuts a position that does not fit");
    SetFilePointer(file.Get(), 5, &(high = 1), FILE_BEGIN);
    EXPECT_EQ(SetFilePointer(file.Get(), 0, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER) << "needs the upper half";
}

TEST_F(Files, HandleDoesOnlyWhatItWasOpenedFor) {
    WriteBytes(In("f"), "abc");
    const FileHandle file = Open(In("f"), FILE_APPEND_DATA);
    ASSERT_TRUE(Write(file, "d"));
    EXPECT_EQ(ReadBytes(In("f")), "abcd");
    WriteBytes(In("f"), "x");
    const FileHandle reader = Open(In("f"), GENERIC_READ), writer = Open(In("f"), GENERIC_WRITE);
    char byte = 'y';
    DWORD moved = 9;
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, WriteFile(reader.Get(), &byte, 1, &moved, nullptr)));
    EXPECT_EQ(moved, 0u);
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, ReadFile(writer.Get(), &byte, 1, &moved, nullptr)));
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, FlushFileBuffers(reader.Get())));
    const FileHandle closed;
    EXPECT_TRUE(FailsWith(ERROR_INVALID_HANDLE, WriteFile(closed.Get(), &byte, 1, &moved, nullptr)));
    EXPECT_EQ(ReadBytes(In("f")), "x");
    SKIP_UNDER_WINE("calls the handle of a reader an invalid parameter");
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, SetEndOfFile(reader.Get())));
}

struct ShareCase {
    const char* name;
    DWORD firstAccess, firstShare, secondAccess, secondShare;
    DWORD error;
};

class FilesShare : public Files, public testing::WithParamInterface<ShareCase> {};

TEST_P(FilesShare, DecidesWhoMayOpen) {
    const ShareCase& row = GetParam();
    WriteBytes(In("f"), "x");
    FileHandle first = Open(In("f"), row.firstAccess, row.firstShare);
    ASSERT_TRUE(first);
    EXPECT_EQ(OpenError(In("f"), row.secondAccess, row.secondShare), row.error);
    first.Reset();
    EXPECT_EQ(OpenError(In("f"), row.secondAccess, row.secondShare), 0u) << "a closed handle denies nothing";
}

const ShareCase kShareCases[] = {
    {"NothingShared", GENERIC_READ, 0, GENERIC_READ, kShareAll, 32},
    {"ReadersTogether", GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, 0},
    {"WriterNotAllowed", GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, kShareAll, 32},
    {"SecondDeniesTheFirst", GENERIC_WRITE, kShareAll, GENERIC_READ, FILE_SHARE_READ, 32},
    {"WritersTogether", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, GENERIC_WRITE,
     FILE_SHARE_READ | FILE_SHARE_WRITE, 0},
    {"DeletionNotAllowed", GENERIC_READ, FILE_SHARE_READ, DELETE, kShareAll, 32},
    {"AttributesNeedNoSharing", GENERIC_READ, 0, FILE_READ_ATTRIBUTES, 0, 0},
};
INSTANTIATE_TEST_SUITE_P(Cases, FilesShare, testing::ValuesIn(kShareCases), kCaseName);

TEST_F(Files, OpenFileIsDeletedAndMovedOnlyWhenShared) {
    WriteBytes(In("f"), "x");
    FileHandle file = Open(In("f"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_TRUE(FailsWith(ERROR_SHARING_VIOLATION, DeleteFileA(In("f").c_str())));
    EXPECT_TRUE(FailsWith(ERROR_SHARING_VIOLATION, MoveFileA(In("f").c_str(), In("g").c_str())));
    file = Open(In("f"), GENERIC_READ, kShareAll);
    EXPECT_NE(MoveFileA(In("f").c_str(), In("g").c_str()), FALSE);
    EXPECT_EQ(Read(file, 5), "x");
}

TEST_F(Files, LockedBytesAreTheLockersAlone) {
    WriteBytes(In("f"), "0123456789");
    const FileHandle locker = Open(In("f"), GENERIC_READ | GENERIC_WRITE);
    const FileHandle other = Open(In("f"), GENERIC_READ | GENERIC_WRITE);
    ASSERT_NE(LockFile(locker.Get(), 4, 0, 2, 0), FALSE);
    EXPECT_TRUE(FailsWith(ERROR_LOCK_VIOLATION, LockFile(other.Get(), 5, 0, 10, 0)));
    EXPECT_TRUE(FailsWith(ERROR_LOCK_VIOLATION, LockFile(locker.Get(), 5, 0, 1, 0)));
    EXPECT_NE(LockFile(other.Get(), 6, 0, 1, 0), FALSE) << "the byte behind is free";
    SKIP_UNDER_WINE("lets others read and write locked bytes");
    char byte = 0;
    DWORD moved = 0;
    SetFilePointer(other.Get(), 5, nullptr, FILE_BEGIN);
    EXPECT_TRUE(FailsWith(ERROR_LOCK_VIOLATION, ReadFile(other.Get(), &byte, 1, &moved, nullptr)));
    EXPECT_TRUE(FailsWith(ERROR_LOCK_VIOLATION, WriteFile(other.Get(), "x", 1, &moved, nullptr)));
    SetFilePointer(locker.Get(), 4, nullptr, FILE_BEGIN);
    EXPECT_TRUE(Write(locker, "ab"));
    EXPECT_NE(UnlockFile(locker.Get(), 4, 0, 2, 0), FALSE);
    EXPECT_TRUE(Write(other, "x")) << "unlocked";
    EXPECT_EQ(ReadBytes(In("f")), "0123ax6789");
}

TEST_F(Files, OnlyAWholeLockIsUnlocked) {
    WriteBytes(In("f"), "0123456789");
    FileHandle locker = Open(In("f"), GENERIC_READ);
    const FileHandle other = Open(In("f"), GENERIC_READ);
    ASSERT_NE(LockFile(locker.Get(), 0, 0, 4, 0), FALSE) << "a reader may lock";
    EXPECT_TRUE(FailsWith(ERROR_LOCK_VIOLATION, LockFile(other.Get(), 3, 0, 1, 0)));
    EXPECT_NE(LockFile(locker.Get(), 0xFFFFFFF0u, 0x7FFFFFFEu, 16, 0), FALSE) << "far behind the end";
    locker.Reset();
    EXPECT_NE(LockFile(other.Get(), 3, 0, 1, 0), FALSE) << "a closed handle locks nothing";
    SKIP_UNDER_WINE("calls it a lock violation");
    EXPECT_TRUE(FailsWith(ERROR_NOT_LOCKED, UnlockFile(other.Get(), 3, 0, 2, 0)));
    EXPECT_TRUE(FailsWith(ERROR_NOT_LOCKED, UnlockFile(other.Get(), 2, 0, 2, 0)));
}

TEST_F(Files, AttributesAreKeptWithTheFile) {
    WriteBytes(In("f"), "x");
    MakeFolder(In("d"));
    EXPECT_EQ(Attributes("f"), DWORD(FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_EQ(Attributes("d"), DWORD(FILE_ATTRIBUTE_DIRECTORY));
    SKIP_UNDER_WINE("always adds the archive bit");
    constexpr DWORD kSet = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_READONLY;
    EXPECT_NE(SetFileAttributesA(In("f").c_str(), kSet), FALSE);
    EXPECT_EQ(Attributes("F"), kSet);
    EXPECT_NE(MoveFileA(In("f").c_str(), In("d\\g").c_str()), FALSE);
    EXPECT_EQ(Attributes("d\\g"), kSet);
    WriteBytes(In("f"), "new");
    EXPECT_EQ(Attributes("f"), DWORD(FILE_ATTRIBUTE_ARCHIVE)) << "the moved file took its attributes along";
    EXPECT_NE(SetFileAttributesA(In("d\\g").c_str(), FILE_ATTRIBUTE_NORMAL), FALSE);
    EXPECT_EQ(Attributes("d\\g"), DWORD(FILE_ATTRIBUTE_NORMAL));
}

TEST_F(Files, ReadOnlyFileIsNeitherWrittenNorDeleted) {
    const ClearedAttributes cleared{In("f")};
    WriteBytes(In("f"), "x");
    ASSERT_NE(SetFileAttributesA(In("f").c_str(), FILE_ATTRIBUTE_READONLY), FALSE);
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, DeleteFileA(In("f").c_str())));
    EXPECT_EQ(OpenError(In("f"), GENERIC_READ), 0u);
    EXPECT_EQ(_access(In("f").c_str(), 4), 0);
    EXPECT_EQ(_access(In("f").c_str(), 2), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, DeleteFileA(In("f").c_str())));
    SKIP_UNDER_WINE("opens it for writing when it runs as root");
    EXPECT_EQ(OpenError(In("f"), GENERIC_WRITE), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(OpenError(In("f"), GENERIC_READ, kShareAll, CREATE_ALWAYS), DWORD(ERROR_ACCESS_DENIED));
    ASSERT_NE(SetFileAttributesA(In("f").c_str(), FILE_ATTRIBUTE_NORMAL), FALSE);
    EXPECT_NE(DeleteFileA(In("f").c_str()), FALSE);
}

TEST_F(Files, HiddenFileIsOverwrittenOnlyAsHidden) {
    SKIP_UNDER_WINE("overwrites it whatever it is asked for");
    WriteBytes(In("f"), "x");
    ASSERT_NE(SetFileAttributesA(In("f").c_str(), FILE_ATTRIBUTE_HIDDEN), FALSE);
    EXPECT_EQ(OpenError(In("f"), GENERIC_WRITE, 0, CREATE_ALWAYS), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(OpenError(In("f"), GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN), 0u);
    EXPECT_EQ(Attributes("f"), DWORD(FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE));
}

TEST_F(Files, TimesAreSetAndFound) {
    const FileHandle file = Open(In("f"), GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW);
    const SYSTEMTIME written{1999, 12, 0, 31, 23, 59, 58, 0};
    FILETIME time{}, found{};
    ASSERT_NE(SystemTimeToFileTime(&written, &time), FALSE);
    EXPECT_NE(SetFileTime(file.Get(), nullptr, nullptr, &time), FALSE);
    EXPECT_NE(GetFileTime(file.Get(), nullptr, nullptr, &found), FALSE);
    EXPECT_EQ(std::memcmp(&found, &time, sizeof time), 0);
    WIN32_FIND_DATAA data;
    const FindHandle find(FindFirstFileA(In("f").c_str(), &data));
    EXPECT_EQ(std::memcmp(&data.ftLastWriteTime, &time, sizeof time), 0);
}

TEST_F(Files, MovingNeverReplacesUnlessAsked) {
    WriteBytes(In("f"), "f");
    WriteBytes(In("g"), "g");
    MakeFolder(In("d"));
    const auto move = [](const char* from, const char* to, DWORD flags) {
        return ErrorOf([&] { return MoveFileExA(In(from).c_str(), In(to).c_str(), flags); });
    };
    EXPECT_EQ(move("f", "g", 0), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(move("f", "d", MOVEFILE_REPLACE_EXISTING), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(move("missing", "g", MOVEFILE_REPLACE_EXISTING), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(move("f", "none\\f", 0), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(move("f", "g", MOVEFILE_REPLACE_EXISTING), 0u);
    EXPECT_EQ(ReadBytes(In("g")), "f");
    EXPECT_EQ(move("g", "d\\g", 0), 0u);
    EXPECT_EQ(move("d", "e", 0), 0u) << "a directory moves with what is in it";
    EXPECT_EQ(ReadBytes(In("e\\g")), "f");
}

TEST_F(Files, CopyTakesContentAndAttributes) {
    const ClearedAttributes origin{In("f")}, copied{In("g")};
    WriteBytes(In("f"), std::string(200000, 'f'));
    ASSERT_NE(SetFileAttributesA(In("f").c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE), FALSE);
    const auto copy = [](const char* from, const char* to, BOOL failIfExists) {
        return ErrorOf([&] { return CopyFileA(In(from).c_str(), In(to).c_str(), failIfExists); });
    };
    EXPECT_EQ(copy("f", "g", TRUE), 0u);
    EXPECT_EQ(ReadBytes(In("g")), std::string(200000, 'f'));
    EXPECT_EQ(Attributes("g"), DWORD(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_EQ(copy("f", "g", TRUE), DWORD(ERROR_FILE_EXISTS));
    EXPECT_EQ(copy("missing", "h", FALSE), DWORD(ERROR_FILE_NOT_FOUND));
    SKIP_UNDER_WINE("replaces a read-only copy when it runs as root");
    EXPECT_EQ(copy("f", "g", FALSE), DWORD(ERROR_ACCESS_DENIED)) << "the copy is read-only";
}

TEST_F(Files, DirectoryGoesOnlyWhenEmpty) {
    WriteBytes(In("d\\f"), "x");
    const auto remove = [](const char* name) { return ErrorOf([&] { return RemoveDirectoryA(In(name).c_str()); }); };
    EXPECT_EQ(remove("d"), DWORD(ERROR_DIR_NOT_EMPTY));
    EXPECT_EQ(remove("d\\f"), DWORD(ERROR_DIRECTORY));
    EXPECT_EQ(remove("missing"), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(remove("missing\\d"), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(_rmdir(In("d").c_str()), -1);
    EXPECT_EQ(errno, ENOTEMPTY);
    ASSERT_NE(DeleteFileA(In("d\\f").c_str()), FALSE);
    EXPECT_EQ(_rmdir(In("d").c_str()), 0);
    EXPECT_EQ(_mkdir(In("d").c_str()), 0);
    EXPECT_EQ(_mkdir(In("d").c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
}

TEST_F(Files, CurrentDirectoryIsWhereRelativeNamesStart) {
    WriteBytes(In("d\\f"), "x");
    char path[MAX_PATH] = "";
    ASSERT_EQ(_chdir((In("d") + "\\").c_str()), 0);
    EXPECT_EQ(GetCurrentDirectoryA(MAX_PATH, path), In("d").size());
    EXPECT_STREQ(path, In("d").c_str());
    EXPECT_EQ(GetCurrentDirectoryA(3, path), In("d").size() + 1) << "the size needed";
    EXPECT_EQ(_access("f", 0), 0);
    EXPECT_EQ(_access("C:f", 0), 0);
    EXPECT_EQ(_access("..\\d\\f", 0), 0);
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND, SetCurrentDirectoryA("none")));
    EXPECT_TRUE(FailsWith(ERROR_PATH_NOT_FOUND, SetCurrentDirectoryA("none\\d")));
    EXPECT_TRUE(FailsWith(ERROR_DIRECTORY, SetCurrentDirectoryA("f")));
    EXPECT_EQ(_chdir("none"), -1);
    EXPECT_EQ(errno, ENOENT);
    ASSERT_NE(SetCurrentDirectoryA("\\"), FALSE);
    EXPECT_EQ(GetCurrentDirectoryA(MAX_PATH, path), 3u);
    EXPECT_STREQ(path, "C:\\");
}

}  // namespace
