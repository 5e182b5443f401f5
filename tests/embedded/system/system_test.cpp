#include <pty.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "platform/embedded/control/system.h"
#include "platform/embedded/control/terminal.h"
#include "platform/product_libraries.h"
#include "tests/support/fresh_machine.h"
#include "tests/support/pe_image.h"

namespace {

namespace control = embedded::control;
using product::EntryPoint;

class MachineFacts : public FreshMachine {
  protected:
    static std::string Program() {
        char path[MAX_PATH] = "";
        GetModuleFileNameA(nullptr, path, sizeof path);
        return path;
    }
};

TEST_F(MachineFacts, CodePageDecidesLeadBytesAndConversion) {
    EXPECT_FALSE(IsDBCSLeadByte(0x95));
    ASSERT_TRUE(control::SetCodePage(932));
    EXPECT_EQ(GetACP(), 932u);
    for (const int lead : {0x81, 0x9F, 0xE0, 0xFC}) EXPECT_TRUE(IsDBCSLeadByte(BYTE(lead))) << lead;
    for (const int single : {0x00, 0x5C, 0x80, 0xA0, 0xDF, 0xFD}) EXPECT_FALSE(IsDBCSLeadByte(BYTE(single))) << single;
    WCHAR wide[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "\x95\\", -1, wide, 4), 2);
    EXPECT_EQ(wide[0], 0x8868);
    EXPECT_FALSE(control::SetCodePage(12345));
    EXPECT_EQ(GetACP(), 932u) << "kept";
}

TEST_F(MachineFacts, EchoComesBackWhenAHiddenLineIsInterrupted) {
    int master = -1, slave = -1;
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    const auto echoes = [slave] {
        termios terminal{};
        return tcgetattr(slave, &terminal) == 0 && (terminal.c_lflag & ECHO) != 0;
    };
    for (const int signal : {SIGINT, SIGTERM}) {
        const pid_t child = fork();
        if (child == 0) {
            dup2(slave, STDIN_FILENO);
            control::ReadHiddenLine();
            _exit(0);
        }
        for (int i = 0; i < 5000 && echoes(); ++i) usleep(1000);
        EXPECT_FALSE(echoes()) << "hidden";
        kill(child, signal);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal);
        EXPECT_TRUE(echoes());
    }
    close(master);
    close(slave);
}

TEST_F(MachineFacts, NetworkErrorsHaveTheirTextsInNetmsg) {
    const LoadedLibrary messages(LoadLibraryExA("netmsg.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(messages);
    const auto text = [&](DWORD code, DWORD source) {
        char buffer[512] = "";
        FormatMessageA(source | FORMAT_MESSAGE_IGNORE_INSERTS, messages.Get(), code, 0, buffer, sizeof buffer, nullptr);
        return std::string(buffer);
    };
    for (const DWORD code : {2102u, 2107u, 2153u, 2182u, 2221u, 2242u, 2310u, 2401u, 2453u, 2462u, 2663u, 2705u}) {
        EXPECT_NE(text(code, FORMAT_MESSAGE_FROM_HMODULE), "") << code;
        EXPECT_EQ(text(code, FORMAT_MESSAGE_FROM_SYSTEM), "") << code;
    }
    EXPECT_EQ(text(1003, FORMAT_MESSAGE_FROM_SYSTEM), "Cannot complete this function.\r\n");
    EXPECT_EQ(text(ERROR_DISK_FULL, FORMAT_MESSAGE_FROM_SYSTEM), "There is not enough space on the disk.\r\n");
    for (const DWORD code : {ERROR_BADDB, ERROR_REGISTRY_IO_FAILED}) {
        EXPECT_NE(text(code, FORMAT_MESSAGE_FROM_SYSTEM).find("registry"), std::string::npos) << code;
    }
}

// A disk that takes no more bytes is one error for files and another for the registry.
TEST_F(MachineFacts, FullDiskIs112ForFilesAnd1016ForTheRegistry) {
    MakeKey(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest");
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{8192, 8192};
        setrlimit(RLIMIT_FSIZE, &limit);
        RegistryKey key;
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest", 0, KEY_ALL_ACCESS, key.Receive());
        const std::string data(10000, 'x');
        const auto* const bytes = reinterpret_cast<const BYTE*>(data.data());
        if (RegSetValueExA(key.Get(), "A", 0, REG_BINARY, bytes, 10000) != ERROR_REGISTRY_IO_FAILED) _exit(1);
        const HANDLE file = CreateFileA("C:\\FULL.BIN", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        while (WriteFile(file, data.data(), 10000, &written, nullptr) && written == 10000) continue;
        _exit(GetLastError() == ERROR_DISK_FULL ? 0 : 2);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(MachineFacts, BytesWithoutMeaningBecomeTheSameControlCharacters) {
    WCHAR wide[4] = {};
    ASSERT_EQ(MultiByteToWideChar(CP_ACP, 0, "\x81\x8D", -1, wide, 4), 3);
    EXPECT_EQ(wide[0], 0x81);
    char narrow[4] = "";
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, 4, nullptr, nullptr), 3);
    EXPECT_STREQ(narrow, "\x81\x8D");
    ASSERT_TRUE(control::SetCodePage(932));
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a\x95", 2, wide, 4), 2) << "a lead byte alone still counts";
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, "a\x95", 2, wide, 4), 0);
}

TEST_F(MachineFacts, WindowsVersionIsWhatTheMachineWasGiven) {
    control::SetWindowsVersion({5, 0, 2195, 2, "Service Pack 4"});
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    ASSERT_TRUE(GetVersionExA(&version));
    EXPECT_EQ(version.dwMajorVersion, 5u);
    EXPECT_EQ(version.dwMinorVersion, 0u);
    EXPECT_EQ(version.dwBuildNumber, 2195u);
    EXPECT_STREQ(version.szCSDVersion, "Service Pack 4");
}

TEST_F(MachineFacts, FactsStayWithTheirMachine) {
    const auto other = AddMachine("OTHER");
    control::SetCodePage(932);
    control::SetWindowsVersion({4, 0, 1381, 2, ""});
    ASSERT_TRUE(control::UseMachine(other));
    EXPECT_EQ(GetACP(), 1252u);
    EXPECT_EQ(ComputerName(), "OTHER");
    ASSERT_TRUE(control::UseMachine(MachineFolder()));
    EXPECT_EQ(GetACP(), 932u);
}

TEST_F(MachineFacts, ProgramIsWhatTheProcessRunsAs) {
    EXPECT_EQ(Program(), "C:\\SETUP\\SETUP.EXE");
    control::RunAs("D:\\Products\\ADMIN.EXE");
    EXPECT_EQ(Program(), "D:\\Products\\ADMIN.EXE");
    control::SetCommandLine("\"D:\\Products\\ADMIN.EXE\" -rHOST");
    EXPECT_STREQ(GetCommandLineA(), "\"D:\\Products\\ADMIN.EXE\" -rHOST");
    control::SetCommandLine("");
    EXPECT_THAT(GetCommandLineA(), testing::StartsWith("\"D:\\Products\\ADMIN.EXE\""));
    MakeFolder("C:\\Products");
    PlaceLibrary("MODTEST.DLL", "C:\\Products\\MODTEST.DLL");
    control::RunAs("C:\\Products\\ADMIN.EXE");
    EXPECT_TRUE(LoadedLibrary(LoadLibraryA("MODTEST"))) << "found beside the program";
}

TEST_F(MachineFacts, HiddenEntriesAndModulesAreMissingUntilShown) {
    const LoadedLibrary advapi(LoadLibraryA("advapi32"));
    control::HideEntryPoint("ADVAPI32.DLL", "ChangeServiceConfig2A");
    EXPECT_EQ(EntryPoint<int()>(advapi.Get(), "ChangeServiceConfig2A"), nullptr);
    EXPECT_NE(EntryPoint<int()>(advapi.Get(), "SetSecurityDescriptorControl"), nullptr);
    control::HideModule("shfolder.dll");
    EXPECT_TRUE(FailsWith(ERROR_MOD_NOT_FOUND, LoadedLibrary(LoadLibraryA("SHFOLDER.DLL"))));
    control::ShowEverything();
    EXPECT_NE(EntryPoint<int()>(advapi.Get(), "ChangeServiceConfig2A"), nullptr);
    EXPECT_TRUE(LoadedLibrary(LoadLibraryA("SHFOLDER.DLL")));
}

TEST_F(MachineFacts, BuiltInModuleGoesWithItsFile) {
    ASSERT_TRUE(DeleteFileA("C:\\Windows\\System32\\msi.dll"));
    EXPECT_FALSE(LoadedLibrary(LoadLibraryA("msi.dll")));
    EXPECT_TRUE(LoadedLibrary(LoadLibraryA("kernel32.dll"))) << "loaded before any program";
    PlaceLibrary("MODTEST.DLL", "C:\\Windows\\System32\\msi.dll");
    const LoadedLibrary own(LoadLibraryA("msi.dll"));
    EXPECT_NE(EntryPoint<int()>(own.Get(), "CountCalls"), nullptr) << "a library in its place is loaded instead";
}

TEST_F(MachineFacts, InstallerAnswersWhatItWasTold) {
    const LoadedLibrary msi(LoadLibraryA("msi.dll"));
    auto* const queryState = EntryPoint<product::MsiQueryProductState>(msi.Get(), product::kMsiQueryProductState);
    auto* const getVersion = EntryPoint<product::MsiGetFileVersion>(msi.Get(), product::kMsiGetFileVersion);
    control::SetProductState("{A}", 5);
    EXPECT_EQ(queryState("{A}"), 5);
    EXPECT_EQ(queryState("{B}"), -1);
    WriteBytes("C:\\TEST\\NOVERSION.DLL", BuildModule({.hasVersion = false}));
    char version[8] = "";
    DWORD length = sizeof version;
    EXPECT_EQ(getVersion("C:\\TEST\\NOVERSION.DLL", version, &length, nullptr, nullptr), DWORD(ERROR_FILE_INVALID));
    control::SetInstallerFileVersion("C:\\TEST\\NOVERSION.DLL", "2.0");
    EXPECT_EQ(getVersion("C:\\TEST\\NOVERSION.DLL", version, &length, nullptr, nullptr), 0u);
    EXPECT_STREQ(version, "2.0");
}

TEST_F(MachineFacts, ManualClockMovesBySleepsAlone) {
    control::UseManualClock(true);
    const DWORD before = GetTickCount();
    FILETIME start{}, end{};
    GetSystemTimeAsFileTime(&start);
    Sleep(3'600'000);
    GetSystemTimeAsFileTime(&end);
    EXPECT_EQ(control::SleptMilliseconds(), 3'600'000u);
    EXPECT_NEAR(double(GetTickCount() - before), 3'600'000, 5'000);
    EXPECT_NEAR(double(end.dwHighDateTime - start.dwHighDateTime) * 429.4967296, 3'600, 430);
    control::AdvanceClock(1000);
    EXPECT_EQ(control::SleptMilliseconds(), 3'600'000u) << "moved on, not slept";
}

TEST_F(MachineFacts, ScriptOfTheHostRunsAsAProgramOfTheMachine) {
    WriteBytes("C:\\TEST\\TOOL.EXE", "#!/bin/sh\necho \"$1 $INSTALIB_PROGRAM\" > out.txt\nexit 9\n");
    char line[] = "C:\\TEST\\TOOL.EXE \"a b\"";
    STARTUPINFOA startup{};
    PROCESS_INFORMATION information{};
    ASSERT_TRUE(CreateProcessA(nullptr, line, nullptr, nullptr, FALSE, 0, nullptr, "C:\\TEST", &startup, &information));
    const KernelHandle process(information.hProcess), thread(information.hThread);
    DWORD code = 0;
    EXPECT_EQ(WaitForSingleObject(process.Get(), 10'000), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeProcess(process.Get(), &code));
    EXPECT_EQ(code, 9u);
    EXPECT_EQ(ReadBytes("C:\\TEST\\out.txt"), "a b C:\\TEST\\TOOL.EXE\n");
}

}  // namespace
