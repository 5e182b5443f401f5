// What only the embedded machine can show: another command line, code page and drives.
#include <cstring>
#include <string>

#include "instalib/settings.h"
#include "platform/embedded/control.h"
#include "platform/embedded/control_system.h"
#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace control = embedded::control;

namespace {

class InitializationOfAMachine : public FreshMachine {
  protected:
    void TearDown() override {
        control::SetCommandLine("");
        FreshMachine::TearDown();
    }
    static CSettings Initialized(int uninstall = 0, const std::string& answers = "", LONG type = 133) {
        tagSETUP_INFO info{};
        info.productType = type;
        if (!answers.empty()) {
            const std::string file = Folder() + "\\ANSWERS.ICF";
            WriteBytes(file, answers);
            std::memcpy(info.batchFile, file.c_str(), file.size());
        }
        CSettings settings(&info, uninstall);
        settings.Initialize();
        return settings;
    }
};

TEST_F(InitializationOfAMachine, SwitchNamesTheRemoteHostBeforeTheMarkerFile) {
    WriteBytes("C:\\WINDOWS\\HOST.INI", "[HostServer]\r\nName=HOSTX\r\n");
    control::SetCommandLine("setup.exe -r:HOST1 x");
    CSettings settings = Initialized();
    EXPECT_EQ(settings.RemoteSetup(), 1);
    EXPECT_STREQ(settings.RemoteHostServer(), "HOST1");
    EXPECT_TRUE(FileExists("C:\\WINDOWS\\HOST.INI"));
    EXPECT_EQ(Initialized(1).RemoteSetup(), 0);
    EXPECT_STREQ(Initialized(1).RemoteHostServer(), "");
}

TEST_F(InitializationOfAMachine, SwitchIsLowerCaseAndMayLackItsValue) {
    control::SetCommandLine("setup.exe -R:HOST1");
    EXPECT_EQ(Initialized().RemoteSetup(), 0);
    control::SetCommandLine("setup.exe -r");
    CSettings settings = Initialized();
    EXPECT_EQ(settings.RemoteSetup(), 1);
    EXPECT_STREQ(settings.RemoteHostServer(), "");
}

TEST_F(InitializationOfAMachine, MissingProgramFilesFallsBackToTheFirstHardDrive) {
    control::HideModule("SHFOLDER.DLL");
    DeleteFileA("C:\\WINDOWS\\SYSTEM32\\SHFOLDER.DLL");
    RegistryKey key;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion", 0, KEY_ALL_ACCESS,
                            key.Receive()),
              0);
    RegDeleteValueA(key.Get(), "ProgramFilesDir");
    EXPECT_STREQ(Initialized().AlertPath(), "C:\\ALERT\\");
    EXPECT_STREQ(Initialized(0, "", 1027).ClientAgentPath(), "C:\\AGENT\\");
    // A value of nothing but a backslash is no directory either.
    ASSERT_EQ(RegSetValueExA(key.Get(), "ProgramFilesDir", 0, REG_SZ, reinterpret_cast<const BYTE*>("\\"), 2), 0);
    EXPECT_STREQ(Initialized().AlertPath(), "C:\\ALERT\\");
}

TEST_F(InitializationOfAMachine, TrailByteIsNoBackslashOfAnAnsweredPath) {
    ASSERT_TRUE(control::SetCodePage(932));
    CSettings settings = Initialized(0, "[Base]\r\nProductPath=D:\\\x95\x5c\r\n");
    EXPECT_STREQ(settings.KorvaultPath(), "C:\\Program Files\\\x95\x5c\\");
}

TEST_F(InitializationOfAMachine, EveryFailingCallLeavesNothingOpen) {
    WriteBytes("C:\\SETUP\\SETUP.INF", "[Setup]\r\nProdSubType=1\r\n");
    for (unsigned n = 1; n < 10000; ++n) {
        control::FailCall(control::CallKind::Any, n, ERROR_ACCESS_DENIED);
        Initialized();
        const bool fired = control::FaultFired();
        SCOPED_TRACE(control::FaultedCall());
        control::ClearFault();
        ASSERT_EQ(control::OpenReport(), "");
        if (!fired) return;
    }
    FAIL() << "the initialisation never ran to its end";
}

}  // namespace
