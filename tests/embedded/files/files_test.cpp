// What only the embedded machine can show of files: other machines, processes that are killed, links that lead away,
// media, double-byte names, descriptors, faults.
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <functional>

#include "platform/embedded/control/files.h"
#include "platform/embedded/control/system.h"
#include "tests/support/fresh_machine.h"

namespace control = embedded::control;
namespace fs = std::filesystem;

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class MachineFiles : public FreshMachine {
  protected:
    static FileHandle Open(const std::string& path, DWORD access, DWORD share = kShareAll,
                           DWORD disposition = OPEN_EXISTING) {
        return FileHandle(CreateFileA(path.c_str(), access, share, nullptr, disposition, 0, nullptr));
    }
    static DWORD OpenError(const std::string& path, DWORD access, DWORD share = kShareAll,
                           DWORD disposition = OPEN_EXISTING) {
        return Open(path, access, share, disposition) ? 0 : GetLastError();
    }
};

// A child process that does something, says so and then waits to be killed.
class Child {
  public:
    explicit Child(const std::function<bool()>& work) {
        int pipeEnds[2];
        EXPECT_EQ(pipe(pipeEnds), 0);
        m_id = fork();
        if (m_id == 0) {
            const char answer = work() ? 'y' : 'n';
            static_cast<void>(!write(pipeEnds[1], &answer, 1));
            for (;;) pause();
        }
        char answer = 0;
        EXPECT_EQ(read(pipeEnds[0], &answer, 1), 1);
        m_succeeded = answer == 'y';
        close(pipeEnds[0]);
        close(pipeEnds[1]);
    }
    ~Child() { Kill(); }
    bool Succeeded() const { return m_succeeded; }
    void Kill() {
        if (m_id <= 0) return;
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
        m_id = 0;
    }

  private:
    pid_t m_id = 0;
    bool m_succeeded = false;
};

TEST_F(MachineFiles, LocksOfAnotherProcessHoldUntilItIsKilled) {
    WriteBytes("C:\\TEST\\f", "0123456789");
    FileHandle child;  // lives on in the child only
    Child locker([&] {
        child = Open("C:\\TEST\\f", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
        return LockFile(child.Get(), 0, 0, 4, 0) != FALSE;
    });
    ASSERT_TRUE(locker.Succeeded());
    EXPECT_EQ(OpenError("C:\\TEST\\f", GENERIC_READ, FILE_SHARE_READ), DWORD(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(DeleteFileA("C:\\TEST\\f"), FALSE);
    const FileHandle file = Open("C:\\TEST\\f", GENERIC_READ | GENERIC_WRITE);
    DWORD moved = 0;
    char bytes[4];
    EXPECT_TRUE(FailsWith(ERROR_LOCK_VIOLATION, ReadFile(file.Get(), bytes, 4, &moved, nullptr)));
    locker.Kill();
    EXPECT_NE(ReadFile(file.Get(), bytes, 4, &moved, nullptr), FALSE);
    EXPECT_NE(LockFile(file.Get(), 0, 0, 4, 0), FALSE);
    EXPECT_EQ(OpenError("C:\\TEST\\f", GENERIC_READ, FILE_SHARE_READ), DWORD(ERROR_SHARING_VIOLATION))
        << "this handle's";
}

TEST_F(MachineFiles, ProfileWrittenByManyProcessesKeepsEveryKey) {
    constexpr int kProcesses = 4, kKeys = 50;
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            bool succeeded = true;
            for (int key = 0; key < kKeys; ++key) {
                const std::string name = 'p' + std::to_string(process) + 'k' + std::to_string(key);
                succeeded &= WritePrivateProfileStringA("s", name.c_str(), "v", "C:\\TEST\\P.INI") != FALSE;
            }
            _exit(succeeded ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    std::string keys(10000, '\0');
    keys.resize(GetPrivateProfileStringA("s", nullptr, "", keys.data(), DWORD(keys.size()), "C:\\TEST\\P.INI"));
    EXPECT_EQ(std::count(keys.begin(), keys.end(), '\0'), kProcesses * kKeys);
}

TEST_F(MachineFiles, UncNamesLeadToTheMachinesOfTheWorld) {
    const fs::path other = AddMachine("OTHER");
    fs::create_directories(other / "drives/C/Shared/Sub");
    std::ofstream(other / "drives/C/Shared/Sub/f") << "theirs";
    EXPECT_EQ(ReadBytes("\\\\other\\C$\\Shared\\sub\\F"), "theirs");
    EXPECT_EQ(OpenError("\\\\NOBODY\\c$\\x", GENERIC_READ), DWORD(ERROR_BAD_NETPATH));
    EXPECT_EQ(OpenError("\\\\OTHER\\none\\x", GENERIC_READ), DWORD(ERROR_BAD_NET_NAME));
    EXPECT_EQ(OpenError("\\\\OTHER\\c$\\..\\..\\..\\x", GENERIC_READ), DWORD(ERROR_FILE_NOT_FOUND)) << "the root holds";
    EXPECT_EQ(GetDriveTypeA("\\\\OTHER\\c$\\"), DWORD(DRIVE_REMOTE));
    TestBytes share;
    for (const char character : std::string("Path=C:\\Shared\0\0", 16)) share.push_back(BYTE(character));
    SetRaw("SYSTEM\\CurrentControlSet\\Services\\LanmanServer\\Shares", "Ours", REG_MULTI_SZ, share);
    WriteBytes("C:\\Shared\\g", "ours");
    EXPECT_EQ(ReadBytes("\\\\" + ComputerName() + "\\OURS\\g"), "ours");
    EXPECT_NE(CopyFileA("C:\\Shared\\g", "\\\\OTHER\\c$\\Shared\\h", TRUE), FALSE);
    EXPECT_TRUE(fs::exists(other / "drives/C/Shared/h"));
}

TEST_F(MachineFiles, NoLinkLeadsOffTheDrive) {
    const fs::path drive = MachineFolder() / "drives/C";
    std::ofstream(World() / "secret") << "x";
    MakeFolder("C:\\TEST\\inside");
    fs::create_symlink(World() / "secret", drive / "TEST/file");
    fs::create_directory_symlink(World(), drive / "TEST/out");
    fs::create_symlink(World() / "new", drive / "TEST/dangling");
    fs::create_directory_symlink("inside", drive / "TEST/in");
    for (const char* const name : {"C:\\TEST\\file", "C:\\TEST\\out\\secret", "C:\\TEST\\dangling"}) {
        EXPECT_EQ(OpenError(name, GENERIC_READ | GENERIC_WRITE, kShareAll, OPEN_ALWAYS), DWORD(ERROR_ACCESS_DENIED))
            << name;
        EXPECT_EQ(DeleteFileA(name), FALSE) << name;
    }
    EXPECT_FALSE(fs::exists(World() / "new"));
    EXPECT_EQ(OpenError("C:\\TEST\\in\\f", GENERIC_WRITE, 0, CREATE_NEW), 0u);
    EXPECT_TRUE(fs::exists(drive / "TEST/inside/f"));
}

TEST_F(MachineFiles, NameIsTriedAsWrittenBeforeItsCaseIsSearched) {
    WriteBytes("C:\\TEST\\Name", "one");
    std::ofstream(MachineFolder() / "drives/C/TEST/nAME") << "two";
    EXPECT_EQ(ReadBytes("C:\\TEST\\Name"), "one");
    EXPECT_EQ(ReadBytes("C:\\TEST\\nAME"), "two");
}

TEST_F(MachineFiles, DoubleByteNamesAreOneCharacterEach) {
    ASSERT_TRUE(control::SetCodePage(932));
    const std::string name = "C:\\TEST\\\x83\x5c";  // the trail byte is a backslash
    EXPECT_EQ(OpenError(name, GENERIC_WRITE, 0, CREATE_NEW), 0u);
    EXPECT_TRUE(fs::exists(MachineFolder() / "drives/C/TEST" / fs::path(u"ソ")));
    char directory[_MAX_DIR], file[_MAX_FNAME], made[_MAX_PATH];
    _splitpath(name.c_str(), nullptr, directory, file, nullptr);
    EXPECT_STREQ(directory, "\\TEST\\");
    EXPECT_STREQ(file, "\x83\x5c");
    _makepath(made, "C", "\x83\x5c", "f", nullptr);
    EXPECT_STREQ(made, "C:\x83\x5c\\f");
    WIN32_FIND_DATAA data;
    const FindHandle find(FindFirstFileA("C:\\TEST\\*", &data));
    std::string last;
    do last = data.cFileName;
    while (FindNextFileA(find.Get(), &data));
    EXPECT_EQ(last, "\x83\x5c");
    ASSERT_NE(WritePrivateProfileStringA("\x83\x5d]", "k", "\x83\x5c\x83\x5c", "C:\\TEST\\P.INI"), FALSE);
    char value[4] = "";
    EXPECT_EQ(GetPrivateProfileStringA("\x83\x5d]", "k", "", value, 4, "C:\\TEST\\P.INI"), 2u);
    EXPECT_STREQ(value, "\x83\x5c") << "no character is cut in two";
    EXPECT_EQ(GetPrivateProfileStringA(nullptr, nullptr, "", value, 3, "C:\\TEST\\P.INI"), 0u);
    EXPECT_STREQ(value, "") << "nor in a list";
    control::SetCodePage(1252);
}

TEST_F(MachineFiles, SearchesLeaveNothingOpen) {
    const auto open = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); };
    WIN32_FIND_DATAA data;
    const auto search = [&data] { const FindHandle find(FindFirstFileA("C:\\*", &data)); };
    search();
    const auto before = open();
    for (int i = 0; i < 20; ++i) search();
    EXPECT_EQ(open(), before);
}

TEST_F(MachineFiles, MediumIsReadOnlyAndTellsItsSize) {
    fs::create_directory(World() / "medium");
    std::ofstream(World() / "medium/SETUP.INF") << "x";
    ASSERT_TRUE(control::MountDrive('D', World() / "medium"));
    EXPECT_EQ(GetDriveTypeA("D:\\"), DWORD(DRIVE_CDROM));
    EXPECT_EQ(ReadBytes("D:\\setup.inf"), "x");
    EXPECT_EQ(OpenError("D:\\setup.inf", GENERIC_WRITE), DWORD(ERROR_WRITE_PROTECT));
    EXPECT_EQ(OpenError("D:\\new", GENERIC_WRITE, 0, CREATE_NEW), DWORD(ERROR_WRITE_PROTECT));
    EXPECT_EQ(DeleteFileA("D:\\setup.inf"), FALSE);
    control::DriveFacts facts;
    facts.type = DRIVE_REMOVABLE;
    facts.totalBytes = 1 << 20;
    facts.freeBytes = 4096 * 3 + 100;
    ASSERT_TRUE(control::SetDrive('E', facts));
    DWORD sectors = 0, bytes = 0, free = 0, total = 0;
    ASSERT_NE(GetDiskFreeSpaceA("E:\\", &sectors, &bytes, &free, &total), FALSE);
    EXPECT_EQ(sectors * bytes * total, 1u << 20);
    EXPECT_EQ(free, 3u);
    EXPECT_EQ(OpenError("E:\\new", GENERIC_WRITE, 0, CREATE_NEW), 0u);
    facts.ready = false;
    ASSERT_TRUE(control::SetDrive('E', facts));
    EXPECT_EQ(GetDriveTypeA("E:\\"), DWORD(DRIVE_REMOVABLE));
    EXPECT_EQ(OpenError("E:\\new", GENERIC_READ), DWORD(ERROR_NOT_READY));
}

TEST_F(MachineFiles, CurrentDirectoryIsNotTakenAway) {
    MakeFolder("C:\\TEST\\d");
    ASSERT_NE(SetCurrentDirectoryA("C:\\TEST\\d"), FALSE);
    EXPECT_TRUE(FailsWith(ERROR_SHARING_VIOLATION, RemoveDirectoryA("C:\\TEST\\d")));
    ASSERT_TRUE(control::UseMachine(MachineFolder()));
    char path[MAX_PATH] = "";
    GetCurrentDirectoryA(MAX_PATH, path);
    EXPECT_STREQ(path, "C:\\") << "another machine, another directory";
    EXPECT_NE(RemoveDirectoryA("C:\\TEST\\d"), FALSE);
}

TEST_F(MachineFiles, FaultIsReportedByEveryKindOfCall) {
    WriteBytes("C:\\TEST\\P.INI", "[s]\r\nk=v\r\n");
    const FileHandle file = Open("C:\\TEST\\P.INI", GENERIC_READ);
    char text[20] = "";
    control::FailCall(control::CallKind::File, 1, ERROR_DISK_FULL, true);
    EXPECT_EQ(OpenError("C:\\TEST\\P.INI", GENERIC_READ), DWORD(ERROR_DISK_FULL));
    EXPECT_EQ(ReadFile(file.Get(), text, 1, nullptr, nullptr), FALSE);
    EXPECT_EQ(_access("C:\\TEST\\P.INI", 0), -1);
    EXPECT_EQ(GetPrivateProfileStringA("s", "k", "d", text, 20, "C:\\TEST\\P.INI"), 1u) << "another kind of call";
    control::FailCall(control::CallKind::Profile, 1, ERROR_DISK_FULL, true);
    GetPrivateProfileStringA("s", "k", "d", text, 20, "C:\\TEST\\P.INI");
    EXPECT_STREQ(text, "d");
    EXPECT_EQ(GetLastError(), DWORD(ERROR_DISK_FULL));
    EXPECT_EQ(WritePrivateProfileStringA("s", "k", "w", "C:\\TEST\\P.INI"), FALSE);
    control::ClearFault();
    EXPECT_EQ(ReadBytes("C:\\TEST\\P.INI"), "[s]\r\nk=v\r\n");
}

}  // namespace
