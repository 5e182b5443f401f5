// A setup that is followed from outside: by another machine, by a distribution system's status file; and programs that
// run in its way.
#include <fstream>
#include <functional>
#include <thread>

#include "tests/kvsetup/kept_machine.h"
#include "tests/support/foreign_process.h"

namespace fs = std::filesystem;

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

class FollowedSetup : public KeptMachine {
  protected:
    void SetUp() override {
        KeptMachine::SetUp();
        AddMachine("ADMINPC");
    }
    // What `kvsetup listen` on ADMINPC has shown when `setup` is over.
    RunResult Heard(const std::string& options, const std::function<void()>& setup) {
        RunResult heard;
        const fs::path output = Scratch() / "heard.txt";
        fs::remove(output);  // of the listener before
        const std::string command = "INSTALIB_MACHINE='" + (World() / "ADMINPC").string() + "' '" +
                                    (HostProgramFolder() / "kvsetup").string() + "' listen " + options + " > '" +
                                    output.string() + "' 2>&1";
        std::thread listener([&] { heard.exitCode = WEXITSTATUS(std::system(command.c_str())); });
        // The mailslot is there before the first line.
        for (int i = 0; i < 1500 && (!fs::exists(output) || fs::file_size(output) == 0); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        setup();
        listener.join();
        heard.output = Contents(output);
        return heard;
    }
    static std::string Contents(const fs::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST_F(FollowedSetup, IsShownOnAnotherMachineUntilItsEnd) {
    const RunResult heard = Heard("--timeout 30", [&] {
        EXPECT_EQ(RunJson(BatchInstall() + " --json -r:ADMINPC")["decided"]["remote"], "driven by ADMINPC");
    });
    EXPECT_EQ(heard.exitCode, 0);
    EXPECT_THAT(heard.output, ContainsRegex("TESTPC +setup begins +0 +0 +install ZephraniteCB 11.5 build 4231\n"));
    EXPECT_THAT(heard.output, ContainsRegex("TESTPC +stage +10 +0 +Publish the home share\n"));
    EXPECT_THAT(heard.output, ContainsRegex("stage ended +0 +0 +Publish the home share: done .ZephraniteCB..\n"));
    EXPECT_THAT(heard.output, ContainsRegex("setup ended +0 +0 +Installation done\nThe setup has succeeded.\n$"));
}

// The marker file names the host, once; a setup that fails is told, also one that never came to its session.
TEST_F(FollowedSetup, FailureIsToldAndNamedByTheMarkerFile) {
    WriteBytes("C:\\Windows\\HOST.INI", "[HostServer]\r\nName=adminpc\r\n");
    WriteBytes("C:\\TEST\\A.ICF", "[KorvaultInstall]\r\nInstallPath=C:\\TEST\\A.ICF\\NOWHERE\r\n");
    const RunResult marked =
        Heard("--timeout 30", [&] { EXPECT_EQ(Run("install --answers 'C:\\TEST\\A.ICF' " + Source()).exitCode, 1); });
    EXPECT_EQ(marked.exitCode, 1);
    EXPECT_THAT(marked.output, ContainsRegex("stage ended +267 +0 +Create the product's directories: failed: "));
    EXPECT_THAT(marked.output, ContainsRegex("setup ended +1 +0 +install ZephraniteCB failed; everything was taken "));
    EXPECT_THAT(marked.output, HasSubstr("\nThe setup has failed.\n"));
    EXPECT_FALSE(FileExists("C:\\Windows\\HOST.INI"));
    const RunResult early =
        Heard("--timeout 30", [&] { EXPECT_EQ(Run("install --yes --source /nowhere -r:ADMINPC").exitCode, 3); });
    EXPECT_EQ(early.exitCode, 1);
    EXPECT_THAT(early.output, ContainsRegex("TESTPC +setup ended +3 +0 +/nowhere is no folder"));
}

TEST_F(FollowedSetup, NobodyWhoListensIsAnErrorForAHostThatWasNamed) {
    Keep();
    const RunResult alone = Run(BatchInstall() + " --host ADMINPC");
    EXPECT_EQ(alone.exitCode, 3);
    EXPECT_TRUE(alone.SaysInOneLine("ADMINPC does not listen to this setup")) << alone.errors;
    EXPECT_THAT(Changed(), testing::IsEmpty());
    const RunResult heard = Heard("--timeout 1", [] {});
    EXPECT_EQ(heard.exitCode, 4);
    EXPECT_THAT(heard.output, HasSubstr("nothing was reported for 1 seconds"));
}

// Whatever arrives in the mailslot is shown, and drives no terminal.
TEST_F(FollowedSetup, ReportsOfAnyFormAreShown) {
    PlaceLibrary("FOREIGN.EXE", Folder() + "\\FOREIGN.EXE");
    const std::string slot = "\\\\ADMINPC\\mailslot\\Zephranite_Setup_Status ";
    const RunResult heard = Heard("--timeout 30 --json", [&] {
        for (const char* const message :
             {"PC\\7\\-5\\C:\\a\\b\\1027", "x", "\\\\\\\\", "PC\\1\\2\\\x1b[2J\\two", "PC\\1\\2\\\xe0\x80\x80\xc2\x9bK",
              "\"PC\\9\\9\\one\\Reserved String\\7\\8\"", "PC\\4\\6\\over\\0"})
            EXPECT_TRUE(ForeignProcess(Folder(), "send " + slot + message, false).Ends());
    });
    EXPECT_EQ(heard.exitCode, 1) << "a setup that ended with 6 has failed";
    EXPECT_THAT(heard.output, HasSubstr(R"("phase":7,"code":-5,"component":1027,"text":"C:\\a\\b"})"));
    EXPECT_THAT(heard.output, HasSubstr(R"("sender":"x","phase":null,"code":null)"));
    EXPECT_THAT(heard.output, HasSubstr(R"("text":"\\x1b[2J\\two"})"));
    EXPECT_THAT(heard.output, HasSubstr(R"("text":"\\xe0\\x80\\x80\\xc2\\x9bK"})"));
    EXPECT_THAT(heard.output, HasSubstr(R"("component":null,"text":"one\\Reserved String\\7\\8"})"));
}

TEST_F(FollowedSetup, StatusFileTellsHowItEnded) {
    const fs::path file = Scratch() / "status.mif";
    const std::string mif = " --mif '" + file.string() + "'";
    EXPECT_EQ(Run(BatchInstall() + mif).exitCode, 0);
    EXPECT_THAT(Contents(file), HasSubstr("NAME = \"Status\"\r\nID = 1\r\nACCESS = READ-ONLY\r\nSTORAGE = SPECIFIC\r\n"
                                          "TYPE = STRING(100)\r\nVALUE = \"Success\"\r\n"));
    EXPECT_THAT(Contents(file), HasSubstr("VALUE = \"11.5\"\r\n"));
    EXPECT_EQ(Run("uninstall --yes --mif-layout short" + mif).exitCode, 0);
    const std::string group =
        "Start Group Name = \"UNINSTALLSTATUS\"\r\n\tID = 1\r\n\tClass = \"ORVANEX|UNINSTALL"
        "STATUS|1.0\"\r\n\t\tStart Attribute\r\n\t\t\tName = \"Status\"\r\n\t\t\tID = 1\r\n"
        "\t\t\tType = String(16)\r\n\t\t\tValue = \"SUCCESS\"\r\n\t\tEnd Attribute\r\n";
    EXPECT_THAT(Contents(file), HasSubstr(group));
    EXPECT_THAT(Contents(file), testing::EndsWith("\tEnd Group\r\nEnd Component"));
    // Also when it fails, is cancelled, or never came to a session.
    WriteBytes("C:\\TEST\\A.ICF", "[KorvaultInstall]\r\nInstallPath=C:\\TEST\\A.ICF\\NOWHERE\r\n");
    EXPECT_EQ(Run("install --answers 'C:\\TEST\\A.ICF' " + Source() + mif).exitCode, 1);
    EXPECT_THAT(Contents(file), HasSubstr("VALUE = \"Failed\"\r\n"));
    EXPECT_THAT(Contents(file), HasSubstr("VALUE = \"install ZephraniteCB failed; everything was taken back"));
    EXPECT_EQ(Run("install --mif-layout short " + Source() + mif).exitCode, 4);
    EXPECT_THAT(Contents(file), HasSubstr("Value = \"FAILED\"\r\n"));
    EXPECT_THAT(Contents(file), HasSubstr("Value = \"there is no terminal to ask on"));
    EXPECT_EQ(Run("install --yes --source \"/" + std::string(300, 'x') + "\xe9'\" --mif-layout short" + mif).exitCode,
              3);
    EXPECT_THAT(Contents(file), HasSubstr("Value = \"/" + std::string(127, 'x') + "\"\r\n")) << "String(128)";
    EXPECT_EQ(Run("install --yes --source /\xe9 " + mif).exitCode, 3);
    EXPECT_THAT(Contents(file), HasSubstr("VALUE = \"/\xe9 is no folder")) << "8-bit text as it is";
    EXPECT_EQ(Run("install --yes --source /nowhere" + mif).exitCode, 3);
    EXPECT_THAT(Contents(file), HasSubstr("VALUE = \"Failed\"\r\n"));
    EXPECT_THAT(Contents(file), HasSubstr("VALUE = \"/nowhere is no folder"));
    const RunResult hopeless = Run("install --yes --source /nowhere --mif /nowhere/x.mif");
    EXPECT_EQ(hopeless.exitCode, 3);
    EXPECT_THAT(hopeless.errors, HasSubstr("kvsetup: /nowhere is no folder")) << "not hidden by the status file's";
    WIN32_FIND_DATAA left{};
    EXPECT_EQ(FindFirstFileA("C:\\KVSETUP*.MIF", &left), INVALID_HANDLE_VALUE) << left.cFileName;
    EXPECT_EQ(Run("uninstall --yes --mif-layout other" + mif).exitCode, 2);
}

TEST_F(FollowedSetup, ProgramsThatRunAreNamedAndClosedWhenAsked) {
    PlaceLibrary("FOREIGN.EXE", Folder() + "\\FOREIGN.EXE");
    const ForeignProcess manager(Folder(), "program ZephraniteManagerAppInstMutex ZephraniteMgr");
    Keep();
    const RunResult refused = Run(BatchInstall());
    EXPECT_EQ(refused.exitCode, 9);
    EXPECT_TRUE(refused.SaysInOneLine("still run: the manager; close them, or run with --close-programs"));
    EXPECT_THAT(Changed(), testing::IsEmpty());
    EXPECT_EQ(Run(BatchInstall() + " --close-programs").exitCode, 0);
    EXPECT_TRUE(manager.Ends());
    ForeignProcess monitor(Folder(), "stubborn KVDM32Mutex KVDM32WClass");
    const RunResult patient = Run("uninstall --yes --close-programs --close-timeout 1");
    EXPECT_EQ(patient.exitCode, 9);
    EXPECT_TRUE(patient.SaysInOneLine("did not close within 1 seconds: the monitor; nothing was changed"));
}

TEST_F(FollowedSetup, AccountsOfAnotherMachineAreTestedAndItsDrivesListed) {
    const fs::path file = Scratch() / "password.txt";
    std::ofstream(file) << "wrong\n";
    const std::string from = " --password-from '" + file.string() + "'";
    EXPECT_EQ(Run("connect ADMINPC" + from).exitCode, 5);
    std::ofstream(file) << "\n";
    EXPECT_EQ(RunJson("connect ADMINPC --json" + from)["drives"][0], "C$");
    const RunResult missing = Run("connect NOSUCHPC" + from);
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.SaysInOneLine("NOSUCHPC cannot be reached")) << missing.errors;
    EXPECT_EQ(Run("connect " + std::string(16, 'x') + from).exitCode, 3);
    std::ofstream(file) << std::string(28, 'p');
    EXPECT_TRUE(Run("connect ADMINPC" + from).SaysInOneLine("longer than 27")) << "not cut";
    EXPECT_EQ(Run("connect ADMINPC --password-from /nowhere").exitCode, 3);
    EXPECT_EQ(Run("connect ADMINPC").exitCode, 4) << "nobody to ask";
    EXPECT_EQ(Run("connect ADMINPC --password-from -").exitCode, 4) << "the input has ended";
    std::ofstream(file) << "\n";
    EXPECT_EQ(RunJson("connect TestPC --json" + from)["drives"][0], "C$") << "this machine itself";
    for (const char* const name : {"\\\\TestPC\\ipc$", "\\\\ADMINPC\\ipc$"})
        EXPECT_NE(WNetCancelConnection2A(name, 0, TRUE), DWORD(NO_ERROR)) << name << " was left connected";
}

}  // namespace
