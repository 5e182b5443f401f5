#include <string>

#include "instalib/computer.h"
#include "tests/support/fresh_machine.h"
#ifndef _WIN32
#include "platform/embedded/control/files.h"
#include "platform/embedded/control/system.h"
#endif

namespace {

using Paths = std::vector<std::string>;

// Paths are given below C:\TEST.
class ComputerFilesTest : public FreshMachine {
  protected:
    static std::string In(const std::string& path) { return "C:\\TEST\\" + path; }
    static void Write(const Paths& paths, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
        for (const std::string& path : paths) {
            WriteBytes(In(path), "x");
            ASSERT_TRUE(SetFileAttributesA(In(path).c_str(), attributes));
        }
    }
    static void ExpectFiles(const Paths& there, const Paths& gone) {
        for (const std::string& path : there) EXPECT_TRUE(FileExists(In(path))) << path;
        for (const std::string& path : gone) EXPECT_FALSE(FileExists(In(path))) << path;
    }
    static DWORD AttributesOf(const std::string& path) {
        return GetFileAttributesA(In(path).c_str()) & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    }
};

TEST_F(ComputerFilesTest, CreatesMissingDirectoriesUpToAFileInTheWayAndRemovesAndEntersThem) {
    MakeFolder(In("a"));
    EXPECT_EQ(CComputer::CreateDirectoryA("C:\\TEST\\a\\b\\c"), 1);
    EXPECT_EQ(CComputer::CreateDirectoryA("C:\\TEST\\a\\d\\\\", 1), 1);
    EXPECT_EQ(CComputer::CreateDirectoryA("C:\\TEST\\a\\b\\c"), 1) << "what exists is no failure";
    EXPECT_EQ(CComputer::DirectoryExists("C:\\TEST\\a\\b\\c"), 1);
    EXPECT_EQ(CComputer::DirectoryExists("C:\\TEST\\a\\d"), 1);
    Write({"a\\file"});
    EXPECT_EQ(CComputer::CreateDirectoryA("C:\\TEST\\a\\file\\b"), 0);
    EXPECT_EQ(CComputer::DirectoryExists("C:\\TEST\\a\\file"), 0);
    EXPECT_EQ(CComputer::PathExists("C:\\TEST\\a\\file"), 1);
    EXPECT_EQ(CComputer::PathExists("C:\\TEST\\a\\none"), 0);
    EXPECT_EQ(CComputer::PathExists(nullptr), 0);
    EXPECT_EQ(CComputer::RemoveDirectoryA("C:\\TEST\\a\\b"), 0);
    EXPECT_NE(CComputer::RemoveDirectoryA("C:\\TEST\\a\\b\\c"), 0);
    EXPECT_NE(CComputer::ChangeDirectory("C:\\TEST\\a"), 0);
    EXPECT_EQ(CComputer::PathExists("..\\a"), 1);
    EXPECT_EQ(CComputer::ChangeDirectory("C:\\TEST\\none"), 0);
}

TEST_F(ComputerFilesTest, DirectoryIsEmptyWhenNothingMatches) {
    MakeFolder(In("a\\sub"));
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\a", nullptr), 0) << "a directory counts";
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\a\\", "*.DBD"), 1);
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\a\\sub", "*.*"), 1);
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\none", nullptr), 1);
    EXPECT_EQ(CComputer::PathEmpty("", nullptr), 1) << "not the root of the drive";
    Write({"a\\sub\\x.DBD"});
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST", "a\\sub\\*.DBD"), 0) << "the pattern may lead below";
}

TEST_F(ComputerFilesTest, DeletesMatchingFilesOfOneDirectoryAlone) {
    Write({"a\\one.tmp"}, FILE_ATTRIBUTE_READONLY);
    Write({"a\\[two].tmp", "a\\keep.txt", "a\\sub.tmp\\x.tmp", "x.tmp"});
    EXPECT_EQ(CComputer::DeleteFiles("C:\\TEST\\a", "*.tmp"), 1);
    // Through such patterns the matches' paths would be formed in the wrong directory.
    for (const char* pattern : {"a\\sub.tmp\\*.tmp", "a/sub.tmp/*.tmp", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(CComputer::DeleteFiles("C:\\TEST", pattern), 1);
    }
    ExpectFiles({"a\\keep.txt", "a\\sub.tmp\\x.tmp", "x.tmp"}, {"a\\one.tmp", "a\\[two].tmp"});
}

TEST_F(ComputerFilesTest, DeletesATreeWithReadOnlyFilesAndNothingElse) {
    Write({"tree\\a\\b\\[x].txt", "tree\\y.txt"}, FILE_ATTRIBUTE_READONLY);
    Write({"tree2\\z.txt", "used\\used.txt", "used\\other.txt"});
    EXPECT_NE(CComputer::DeleteTree("C:\\TEST\\tree"), 0);
    EXPECT_NE(CComputer::DeleteTree("C:\\TEST\\tree"), 0) << "nothing to delete is no failure";
    EXPECT_EQ(CComputer::DeleteTree(""), 0) << "the drive is not meant";
    EXPECT_EQ(CComputer::DeleteTree(nullptr), 0);
    const FileHandle used(
        CreateFileA(In("used\\used.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(used);
    EXPECT_NE(CComputer::DeleteTree("C:\\TEST\\used"), 0) << "a file in use does not change the result";
    ExpectFiles({"tree2\\z.txt", "used\\used.txt"}, {"tree", "used\\other.txt"});
}

TEST_F(ComputerFilesTest, ChangesAttributesInMatchingDirectoriesOnly) {
    Write({"a.dll", "a.txt", "sub\\b.dll", "sub.dll\\c.dll"});
    EXPECT_EQ(CComputer::ChangeFilesAttribute("C:\\TEST", "*.dll", FILE_ATTRIBUTE_HIDDEN), 1);
    for (const char* path : {"a.dll", "sub.dll\\c.dll"})
        EXPECT_EQ(AttributesOf(path), DWORD(FILE_ATTRIBUTE_HIDDEN)) << path;
    for (const char* path : {"a.txt", "sub\\b.dll", "sub.dll"}) EXPECT_EQ(AttributesOf(path), 0u) << path;
}

TEST_F(ComputerFilesTest, PathThatDoesNotFitIsRefusedAndItsPrefixUntouched) {
    std::string path = "d";
    while (path.size() < 232) path += "\\d";
    Write({path + "\\f"});
    const std::string tooLong = In(path) + "\\" + std::string(60, 'n');
    EXPECT_EQ(CComputer::DirectoryExists(tooLong.c_str()), 0);
    EXPECT_EQ(CComputer::CreateDirectoryA(tooLong.c_str()), 0);
    EXPECT_EQ(CComputer::DeleteTree(tooLong.c_str()), 0);
    EXPECT_EQ(CComputer::DeleteFiles(tooLong.c_str(), "f"), 1);
    EXPECT_EQ(CComputer::ChangeFilesAttribute(tooLong.c_str(), "f", FILE_ATTRIBUTE_READONLY), 1);
    EXPECT_EQ(AttributesOf(path + "\\f"), 0u);
}

TEST_F(ComputerFilesTest, DriveOfAPathIsAsked) {
    EXPECT_EQ(CComputer::GetDriveTypeA("C:\\TEST\\none"), 3u);
    EXPECT_EQ(CComputer::GetDriveTypeA("Q:\\x"), 1u);
    EXPECT_EQ(CComputer::DriveFreeSpaceBytes("Q:\\x"), 0u);
    EXPECT_EQ(CComputer::FindFirstHardDrive(), 'C');
#ifndef _WIN32
    namespace control = embedded::control;
    ASSERT_TRUE(control::SetDrive('C', {.type = DRIVE_CDROM, .freeBytes = std::uint64_t(5) << 30}));
    EXPECT_EQ(CComputer::DriveFreeSpaceBytes("C:\\TEST"), DWORD(1) << 30) << "modulo 2^32";
    EXPECT_EQ(CComputer::FindFirstHardDrive(), 'Z') << "the last resort";
#endif
}

#ifndef _WIN32
TEST_F(ComputerFilesTest, SecondBytesOfCharactersAreNoSeparators) {
    ASSERT_TRUE(embedded::control::SetCodePage(932));
    const std::string directory = In("\x83\x5C");  // ends in a character, not in a backslash
    EXPECT_EQ(CComputer::CreateDirectoryA((directory + "\\\x83\x83\\b").c_str()), 1);
    EXPECT_EQ(CComputer::DirectoryExists((directory + "\\\x83\x83\\b").c_str()), 1);
    WriteBytes(directory + "\\x.tmp", "x");
    EXPECT_EQ(CComputer::PathEmpty(directory.c_str(), "*.tmp"), 0);
    EXPECT_EQ(CComputer::DeleteFiles(directory.c_str(), "*.tmp"), 1);
    EXPECT_EQ(CComputer::PathEmpty(directory.c_str(), "*.tmp"), 1);
    EXPECT_NE(CComputer::DeleteTree(directory.c_str()), 0);
    EXPECT_EQ(CComputer::DirectoryExists(directory.c_str()), 0);
}
#endif

}  // namespace
