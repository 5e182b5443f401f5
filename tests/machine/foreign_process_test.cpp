// The family's programs and the receiver of reports, each in a process of its own.
#include "tests/support/foreign_process.h"
#include "instalib/application.h"
#include "instalib/remote_mailslot.h"

namespace {

class ForeignProcessTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        PlaceLibrary("FOREIGN.EXE", Folder() + "\\FOREIGN.EXE");
    }
};

TEST_F(ForeignProcessTest, ProgramRunsUntilItsWindowIsAskedToClose) {
    const CApplication manager(CApplication::ManagerApp), admin(CApplication::AdminApp);
    const ForeignProcess other(Folder(), "program ZephraniteManagerAppInstMutex ZephraniteMgr");
    EXPECT_EQ(manager.IsRunning(), 1);
    EXPECT_EQ(admin.IsRunning(), 0);
    EXPECT_NE(CApplication::FindWindowA("Foreign"), nullptr);
    EXPECT_EQ(manager.CloseWindow(), 1);
    EXPECT_TRUE(other.Ends());
    EXPECT_EQ(manager.CloseWindow(), 0);
}

TEST_F(ForeignProcessTest, ProgramThatIgnoresTheRequestGoesWithItsWindows) {
    const CApplication monitor(CApplication::MonitorApp);
    ForeignProcess other(Folder(), "stubborn KVDM32Mutex KVDM32WClass");
    EXPECT_EQ(monitor.CloseWindow(), 1);
    Sleep(200);
    EXPECT_TRUE(other.IsRunning());
    EXPECT_EQ(monitor.IsRunning(), 1);
    other.Kill();
    EXPECT_EQ(monitor.IsRunning(), 0) << "a mutex goes with its last holder";
    EXPECT_EQ(CApplication::FindWindowA("Foreign"), nullptr);
}

TEST_F(ForeignProcessTest, AbandonedMutexCountsAsRunning) {
    ForeignProcess other(Folder(), "stubborn InstalibForeign InstalibForeignClass");
    const KernelHandle kept(CreateMutexA(nullptr, FALSE, "InstalibForeign"));
    EXPECT_EQ(CApplication::IsRunning("InstalibForeign"), 1);
    other.Kill();
    EXPECT_EQ(CApplication::IsRunning("InstalibForeign"), 1) << "its holder died";
    EXPECT_EQ(CApplication::IsRunning("InstalibForeign"), 0);
}

TEST_F(ForeignProcessTest, ReportArrivesInAnotherProcess) {
    const std::string output = Folder() + "\\RECEIVED.TXT";
    const ForeignProcess other(Folder(), "slot \\\\.\\mailslot\\Zephranite_Setup_Status " + output);
    EXPECT_NE(CRemoteMailslot::SendStatus(ComputerName().c_str(), 1, 2, "C:\\a b", "two"), 0);
    EXPECT_TRUE(other.Ends());
    EXPECT_EQ(ReadBytes(output), ComputerName() + "\\1\\2\\C:\\a b\\two");
}

}  // namespace
