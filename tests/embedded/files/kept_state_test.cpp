// What the file family keeps between calls is never older than what others have done.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "platform/embedded/core/kept_lock.h"
#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace fs = std::filesystem;

namespace {

class KeptState : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        for (int i = 0; i < 20; ++i) WriteBytes(Folder() + "\\File" + std::to_string(i), "x");
        m_host = MachineFolder() / "drives" / "C" / "TEST";
        ASSERT_TRUE(fs::is_directory(m_host));
    }
    static bool Exists(const std::string& name) { return FileExists(Folder() + '\\' + name); }
    static FileHandle Make(const std::string& name) {
        return FileHandle(
            CreateFileA((Folder() + '\\' + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    }
    static std::string Value(const std::string& file) {
        char text[64];
        GetPrivateProfileStringA("S", "Key", "<default>", text, sizeof text, file.c_str());
        return text;
    }

    fs::path m_host;
};

TEST_F(KeptState, NamesChangedByProgramsOfTheHostAreSeenAtOnce) {
    for (int round = 0; round < 200; ++round) {
        const std::string name = "Other" + std::to_string(round), upper = "OTHER" + std::to_string(round);
        ASSERT_FALSE(Exists(upper));
        std::ofstream(m_host / name) << "x";
        ASSERT_TRUE(Exists(upper)) << "made in round " << round;
        fs::rename(m_host / name, m_host / ("Moved" + std::to_string(round)));
        ASSERT_FALSE(Exists(upper)) << "renamed in round " << round;
        ASSERT_TRUE(Exists("MOVED" + std::to_string(round)));
        fs::remove(m_host / ("Moved" + std::to_string(round)));
        ASSERT_FALSE(Exists("MOVED" + std::to_string(round))) << "removed in round " << round;
    }
}

TEST_F(KeptState, NamesChangedByCallsAndByOthersMix) {
    for (int round = 0; round < 100; ++round) {
        const std::string number = std::to_string(round);
        ASSERT_TRUE(bool(Make("Own" + number)));
        std::ofstream(m_host / ("Host" + number)) << "x";
        ASSERT_FALSE(bool(Make("OWN" + number)));
        ASSERT_FALSE(bool(Make("HOST" + number))) << "a second file that differs in case only";
        ASSERT_TRUE(MoveFileA((Folder() + "\\Own" + number).c_str(), (Folder() + "\\Away" + number).c_str()));
        ASSERT_FALSE(Exists("OWN" + number));
        ASSERT_TRUE(DeleteFileA((Folder() + "\\AWAY" + number).c_str()));
        ASSERT_FALSE(Exists("AWAY" + number));
        ASSERT_TRUE(CreateDirectoryA((Folder() + "\\Away" + number).c_str(), nullptr));
        ASSERT_TRUE(RemoveDirectoryA((Folder() + "\\AWAY" + number).c_str()));
        ASSERT_FALSE(Exists("AWAY" + number));
    }
    // Another folder under the same path.
    fs::rename(m_host, m_host.string() + "2");
    fs::create_directory(m_host);
    EXPECT_FALSE(Exists("FILE1"));
}

TEST_F(KeptState, ReadingAProfileMindsWhoHasItOpen) {
    const std::string file = Folder() + "\\A.INI";
    WriteBytes(file, "[S]\r\nKey=value\r\n");
    EXPECT_EQ(Value(file), "value");
    const auto open = [&](DWORD access, DWORD share) {
        return FileHandle(CreateFileA(file.c_str(), access, share, nullptr, OPEN_EXISTING, 0, nullptr));
    };
    for (const DWORD share : {DWORD(0), DWORD(FILE_SHARE_WRITE)}) {
        const FileHandle alone = open(GENERIC_READ, share);
        EXPECT_EQ(Value(file), "<default>");
        EXPECT_EQ(GetLastError(), DWORD(ERROR_SHARING_VIOLATION));
    }
    {
        const FileHandle deletes = open(DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
        EXPECT_EQ(Value(file), "<default>");
    }
    const FileHandle shared = open(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_EQ(Value(file), "value");
    ASSERT_TRUE(LockFile(shared.Get(), 2, 0, 1, 0));
    EXPECT_EQ(Value(file), "<default>");
    EXPECT_EQ(GetLastError(), DWORD(ERROR_LOCK_VIOLATION));
    ASSERT_TRUE(UnlockFile(shared.Get(), 2, 0, 1, 0));
    EXPECT_EQ(Value(file), "value");
}

TEST_F(KeptState, AForkedProcessIsKeptApartFromItsParent) {
    embedded::KeptLock lock(World() / "some.lock");
    lock.Take();
    lock.Release();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const pid_t child = fork();
    if (child == 0) {
        lock.Take();
        ssize_t put = write(ends[1], "t", 1);
        usleep(50000);
        put += write(ends[1], "r", 1);
        lock.Release();
        _exit(put == 2 ? 0 : 1);
    }
    char told[2] = "";
    while (read(ends[0], told, 1) != 1) usleep(1000);
    lock.Take();
    EXPECT_EQ(read(ends[0], told, 1), 1) << "the parent got the lock while its child had it";
    lock.Release();
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    for (const int end : ends) close(end);
}

}  // namespace
