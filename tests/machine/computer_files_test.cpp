#include <string>

#include "instalib/computer.h"
#include "platform/handles.h"
#include "tests/support/fresh_machine.h"
#ifndef _WIN32
#include "platform/embedded/control_files.h"
#include "platform/embedded/control_system.h"
#endif

namespace {

class ComputerFilesTest : public FreshMachine {
  protected:
    static void MakeReadOnly(const std::string& path) {
        WriteBytes(path, "x");
        ASSERT_TRUE(SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY));
    }
    static DWORD AttributesOf(const std::string& path) {
        return GetFileAttributesA(path.c_str()) & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    }
};

TEST_F(ComputerFilesTest, CreatesEveryMissingDirectory) {
    MakeFolder("C:\\TEST\\a");
    EXPECT_EQ(CComputer::CreateDirectoryA("C:\\TEST\\a\\b\\c"), 1);
    EXPECT_EQ(CComputer::CreateDirectoryA("C:\\TEST\\a\\d\\\\", 1), 1);
    EXPECT_EQ(CComputer::CreateDirectoryA("C:\\TEST\\a\\b\\c"), 1) << "what exists is no failure";
    EXPECT_EQ(CComputer::DirectoryExists("C:\\TEST\\a\\b\\c"), 1);
    EXPECT_EQ(CComputer::DirectoryExists("C:\\TEST\\a\\d"), 1);
}

TEST_F(ComputerFilesTest, FileInTheWayEndsTheCreation) {
    WriteBytes("C:\\TEST\\a\\file", "x");
    EXPECT_EQ(CComputer::CreateDirectoryA("C:\\TEST\\a\\file\\b"), 0);
    EXPECT_EQ(CComputer::DirectoryExists("C:\\TEST\\a\\file"), 0);
    EXPECT_EQ(CComputer::PathExists("C:\\TEST\\a\\file"), 1);
    EXPECT_EQ(CComputer::PathExists("C:\\TEST\\a\\none"), 0);
    EXPECT_EQ(CComputer::PathExists(nullptr), 0);
}

TEST_F(ComputerFilesTest, RemovesAndEntersDirectories) {
    MakeFolder("C:\\TEST\\a\\b");
    EXPECT_EQ(CComputer::RemoveDirectoryA("C:\\TEST\\a"), 0);
    EXPECT_NE(CComputer::RemoveDirectoryA("C:\\TEST\\a\\b"), 0);
    EXPECT_NE(CComputer::ChangeDirectory("C:\\TEST\\a"), 0);
    EXPECT_EQ(CComputer::PathExists("..\\a"), 1);
    EXPECT_EQ(CComputer::ChangeDirectory("C:\\TEST\\none"), 0);
}

TEST_F(ComputerFilesTest, DirectoryIsEmptyWhenNothingMatches) {
    MakeFolder("C:\\TEST\\a\\sub");
    MakeFolder("C:\\TEST\\b");
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\a", nullptr), 0) << "a directory counts";
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\a\\", "*.DBD"), 1);
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\b", "*.*"), 1);
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\none", nullptr), 1);
    EXPECT_EQ(CComputer::PathEmpty("", nullptr), 1) << "not the root of the drive";
}

TEST_F(ComputerFilesTest, DeletesMatchingFilesOfOneDirectoryAlone) {
    MakeReadOnly("C:\\TEST\\a\\one.tmp");
    WriteBytes("C:\\TEST\\a\\[two].tmp", "x");
    WriteBytes("C:\\TEST\\a\\keep.txt", "x");
    WriteBytes("C:\\TEST\\a\\sub.tmp\\three.tmp", "x");
    EXPECT_EQ(CComputer::DeleteFiles("C:\\TEST\\a", "*.tmp"), 1);
    EXPECT_FALSE(FileExists("C:\\TEST\\a\\one.tmp"));
    EXPECT_FALSE(FileExists("C:\\TEST\\a\\[two].tmp"));
    EXPECT_TRUE(FileExists("C:\\TEST\\a\\keep.txt"));
    EXPECT_TRUE(FileExists("C:\\TEST\\a\\sub.tmp\\three.tmp"));
}

TEST_F(ComputerFilesTest, PatternIntoAnotherDirectoryDeletesNothing) {
    // The matches' paths would be formed in the wrong directory.
    WriteBytes("C:\\TEST\\x.tmp", "x");
    WriteBytes("C:\\TEST\\sub\\x.tmp", "x");
    for (const char* pattern : {"sub\\*.tmp", "sub/*.tmp", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(CComputer::DeleteFiles("C:\\TEST", pattern), 1);
    }
    EXPECT_TRUE(FileExists("C:\\TEST\\x.tmp"));
    EXPECT_TRUE(FileExists("C:\\TEST\\sub\\x.tmp"));
}

TEST_F(ComputerFilesTest, DeletesATreeWithReadOnlyFilesAndNothingElse) {
    MakeReadOnly("C:\\TEST\\tree\\a\\b\\[x].txt");
    MakeReadOnly("C:\\TEST\\tree\\y.txt");
    WriteBytes("C:\\TEST\\tree2\\z.txt", "x");
    EXPECT_NE(CComputer::DeleteTree("C:\\TEST\\tree"), 0);
    EXPECT_FALSE(FileExists("C:\\TEST\\tree"));
    EXPECT_TRUE(FileExists("C:\\TEST\\tree2\\z.txt"));
    EXPECT_NE(CComputer::DeleteTree("C:\\TEST\\tree"), 0) << "nothing to delete is no failure";
    EXPECT_EQ(CComputer::DeleteTree(""), 0) << "the drive is not meant";
    EXPECT_EQ(CComputer::DeleteTree(nullptr), 0);
    EXPECT_TRUE(FileExists("C:\\TEST\\tree2\\z.txt"));
}

TEST_F(ComputerFilesTest, FileInUseStaysAndDoesNotChangeTheResult) {
    WriteBytes("C:\\TEST\\tree\\used.txt", "x");
    WriteBytes("C:\\TEST\\tree\\other.txt", "x");
    {
        const FileHandle used(
            CreateFileA("C:\\TEST\\tree\\used.txt", GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(used);
        EXPECT_NE(CComputer::DeleteTree("C:\\TEST\\tree"), 0);
    }
    EXPECT_TRUE(FileExists("C:\\TEST\\tree\\used.txt"));
    EXPECT_FALSE(FileExists("C:\\TEST\\tree\\other.txt"));
}

TEST_F(ComputerFilesTest, ChangesAttributesInMatchingDirectoriesOnly) {
    for (const char* path : {"C:\\TEST\\a.dll", "C:\\TEST\\a.txt", "C:\\TEST\\sub\\b.dll", "C:\\TEST\\sub.dll\\c.dll"}) {
        WriteBytes(path, "x");
    }
    EXPECT_EQ(CComputer::ChangeFilesAttribute("C:\\TEST", "*.dll", FILE_ATTRIBUTE_HIDDEN), 1);
    EXPECT_EQ(AttributesOf("C:\\TEST\\a.dll"), DWORD(FILE_ATTRIBUTE_HIDDEN));
    EXPECT_EQ(AttributesOf("C:\\TEST\\a.txt"), 0u);
    EXPECT_EQ(AttributesOf("C:\\TEST\\sub\\b.dll"), 0u);
    EXPECT_EQ(AttributesOf("C:\\TEST\\sub.dll\\c.dll"), DWORD(FILE_ATTRIBUTE_HIDDEN));
    EXPECT_EQ(AttributesOf("C:\\TEST\\sub.dll"), 0u) << "a directory's own attributes stay";
}

TEST_F(ComputerFilesTest, PathThatDoesNotFitIsRefusedAndItsPrefixUntouched) {
    std::string path = "C:\\TEST";
    while (path.size() < 240) path += "\\d";
    MakeFolder(path);
    WriteBytes(path + "\\f", "x");
    const std::string tooLong = path + "\\" + std::string(60, 'n');
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
}

#ifndef _WIN32
TEST_F(ComputerFilesTest, FreeSpaceIsTakenModulo32BitsAndZIsTheLastResort) {
    namespace control = embedded::control;
    control::DriveFacts facts;
    facts.freeBytes = std::uint64_t(5) << 30;
    ASSERT_TRUE(control::SetDrive('C', facts));
    EXPECT_EQ(CComputer::DriveFreeSpaceBytes("C:\\TEST"), DWORD(1) << 30);
    facts.type = DRIVE_CDROM;
    ASSERT_TRUE(control::SetDrive('C', facts));
    EXPECT_EQ(CComputer::FindFirstHardDrive(), 'Z');
}

TEST_F(ComputerFilesTest, SecondBytesOfCharactersAreNoSeparators) {
    ASSERT_TRUE(embedded::control::SetCodePage(932));
    const std::string directory = "C:\\TEST\\\x83\x5C";  // ends in a character, not in a backslash
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
