// What only the embedded machine can show: another command line, code page and drives.
#include <string>

#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/system.h"
#include "tests/setupfiles/setup_files_fixture.h"
#include "tests/support/faults.h"

namespace control = embedded::control;

namespace {

class InitializationOfAMachine : public SetupFiles {
  protected:
    void TearDown() override {
        control::SetCommandLine("");
        SetupFiles::TearDown();
    }
    static CSettings Initialized(int uninstall = 0, LONG type = 133) {
        tagSETUP_INFO info{};
        info.productType = type;
        Fill(info.batchFile, AnswersFile());
        CSettings settings(&info, uninstall);
        settings.Initialize();
        return settings;
    }
};

TEST_F(InitializationOfAMachine, SwitchNamesTheRemoteHostBeforeTheMarkerFile) {
    const auto ask = [](int uninstall) {
        CSettings s = Initialized(uninstall);
        return Joined(s.RemoteSetup(), s.RemoteHostServer());
    };
    control::SetCommandLine("setup.exe -R:HOST1");  // another switch
    EXPECT_EQ(ask(0), "0||");
    WriteBytes("C:\\WINDOWS\\HOST.INI", "[HostServer]\r\nName=HOSTX\r\n");
    control::SetCommandLine("setup.exe -r:HOST1 x");
    EXPECT_EQ(ask(0), "1|HOST1|");
    EXPECT_EQ(ask(1), "0||");
    control::SetCommandLine("setup.exe -r");
    EXPECT_EQ(ask(0), "1||");
    EXPECT_TRUE(FileExists("C:\\WINDOWS\\HOST.INI"));
}

TEST_F(InitializationOfAMachine, MissingProgramFilesFallsBackToTheFirstHardDrive) {
    const std::string key = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
    control::HideModule("SHFOLDER.DLL");
    DeleteFileA("C:\\WINDOWS\\SYSTEM32\\SHFOLDER.DLL");
    SetText(key, "ProgramFilesDir", "\\");  // is no directory either
    EXPECT_STREQ(Initialized().AlertPath(), "C:\\ALERT\\");
    RegistryKey open;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_ALL_ACCESS, open.Receive()), 0);
    RegDeleteValueA(open.Get(), "ProgramFilesDir");
    EXPECT_STREQ(Initialized().AlertPath(), "C:\\ALERT\\");
    EXPECT_STREQ(Initialized(0, 1027).ClientAgentPath(), "C:\\AGENT\\");
}

TEST_F(InitializationOfAMachine, TrailByteIsNoBackslashOfAnAnsweredPath) {
    ASSERT_TRUE(control::SetCodePage(932));
    WriteBytes(AnswersFile(), "[Base]\r\nProductPath=D:\\\x95\x5c\r\n");
    EXPECT_STREQ(Initialized().KorvaultPath(), "C:\\Program Files\\\x95\x5c\\");
}

TEST_F(InitializationOfAMachine, EveryFailingCallLeavesNothingOpen) {
    WriteBytes("C:\\SETUP\\SETUP.INF", "[Setup]\r\nProdSubType=1\r\n");
    ForEachFault(
        control::CallKind::Any, ERROR_ACCESS_DENIED, [] { return Initialized(), 1; }, [](int, DWORD, const auto&) {});
}

}  // namespace
