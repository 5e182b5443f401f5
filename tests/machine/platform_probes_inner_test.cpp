#include "machine/platform_probes.h"

#include <cstring>
#include <string>

#include "tests/support/fresh_machine.h"
#include "tests/support/pe_image.h"
#ifndef _WIN32
#include "platform/embedded/control/system.h"
namespace control = embedded::control;
#endif

namespace {

constexpr char kVersionKey[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
constexpr char kOfficeKey[] = "SOFTWARE\\Microsoft\\BackOffice";

class ProbesTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        SetEnvironmentVariableA("UPGRADE_INSTALIB", "C:\\TEST");
    }
    void TearDown() override {
        SetEnvironmentVariableA("UPGRADE_INSTALIB", nullptr);
        DeleteKeyTree(kOfficeKey);
        FreshMachine::TearDown();
    }
    static std::string Trace() {
        const char* const file = "C:\\TEST\\Upgrade_Instalib.log";
        const std::string text = FileExists(file) ? ReadBytes(file) : "";
        DeleteFileA(file);
        return text;
    }
};

TEST_F(ProbesTest, MachineIsRemoteWhenItIsNamedAndNotTheLocalOne) {
    CString lower(ComputerName().c_str());
    lower.MakeLower();
    EXPECT_EQ(Is_Remote_Machine(nullptr), 0);
    EXPECT_EQ(Is_Remote_Machine(""), 0);
    EXPECT_EQ(Trace(), "");
    EXPECT_EQ(Is_Remote_Machine(lower), 0);
    EXPECT_EQ(Is_Remote_Machine("OTHER"), 1);
    EXPECT_EQ(Trace(), "The machine(" + std::string(lower) +
                           ") is on the local ...\r\nThe machine(OTHER) is on the remote ...\r\n");
}

TEST_F(ProbesTest, LocalMachineIs64BitWhenItHasASecondProgramFilesDirectory) {
    EXPECT_EQ(Is_Local_64Bit_System(nullptr), 1);
    EXPECT_EQ(Is_Local_64Bit_System("OTHER"), 0);
    EXPECT_EQ(Trace(),
              "Is_Local_64Bit_System() -  is local 64bit machine. Return TRUE.\r\n"
              "Is_Local_64Bit_System() - OTHER is not local. Return false.\r\n");
    EXPECT_EQ(IsRemote_64Bit_System(ComputerName().c_str()), 0);
    EXPECT_EQ(IsRemote_64Bit_System("OTHER"), 0);
    const std::string before = GetText(kVersionKey, "ProgramFilesDir (x86)");
    RegistryKey key;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kVersionKey, 0, KEY_ALL_ACCESS, key.Receive()), 0);
    RegDeleteValueA(key.Get(), "ProgramFilesDir (x86)");
    const std::string name = ComputerName();
    EXPECT_EQ(Is_Local_64Bit_System(name.c_str()), 0);
    EXPECT_EQ(Trace(),
              "Is_Local_64Bit_System() - " + name + " is local machine but not 64bit machine. Return FALSE.\r\n");
    SetText(kVersionKey, "ProgramFilesDir (x86)", before);
}

TEST_F(ProbesTest, SmallBusinessServerIsToldByNameAndVersion) {
    EXPECT_EQ(IsSBS2000(), 0);
    SetText(kOfficeKey, "SuiteName", "sbs");
    EXPECT_EQ(IsSBS2000(), 0);
    for (const auto& [version, isOne] : {std::pair{"2000", 1}, {"2000 SP1", 0}}) {
        SetText(kOfficeKey, "Version", version);
        EXPECT_EQ(IsSBS2000(), isOne) << version;
    }
}

TEST_F(ProbesTest, ProgramFilesOfARootComeFromItsRegistryWithTheTerminatorCounted) {
    char path[260] = "";
    DWORD size = sizeof path;
    ASSERT_EQ(KSetGetProgramFilesPath(path, &size, nullptr), 0u);
    EXPECT_STRCASEEQ(path, "C:\\Program Files");
    EXPECT_EQ(size, std::strlen(path)) << "the shell's answer";

    RegistryKey root;
    const std::string key = std::string("SOFTWARE\\InstalibTest\\") + kVersionKey;
    SetText(key, "ProgramFilesDir", "D:\\Programs");
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest", 0, KEY_READ, root.Receive()), 0);
    size = sizeof path;
    EXPECT_EQ(KSetGetProgramFilesPath(path, &size, root.Get()), 0u);
    EXPECT_STREQ(path, "D:\\Programs");
    EXPECT_EQ(size, 12u);
    size = 5;
    EXPECT_EQ(KSetGetProgramFilesPath(path, &size, root.Get()), DWORD(ERROR_MORE_DATA));

    SetRaw(key, "ProgramFilesDir", REG_SZ, {'D', ':', '\\', 'x'});  // without its terminator
    std::memset(path, '#', sizeof path);
    size = sizeof path;
    EXPECT_EQ(KSetGetProgramFilesPath(path, &size, root.Get()), 0u);
    EXPECT_STREQ(path, "D:\\x");
    size = 4;
    EXPECT_EQ(KSetGetProgramFilesPath(path, &size, root.Get()), DWORD(ERROR_MORE_DATA));
    EXPECT_EQ(KSetGetProgramFilesPath(path, nullptr, root.Get()), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(ProbesTest, LocalWindowsFromXpOnHasTheInstallerWhenItsLibraryIsThere) {
    EXPECT_EQ(IsMsiVersionOK(nullptr), 1);
    EXPECT_EQ(IsMsiVersionOK(""), 1);
    EXPECT_EQ(IsMsiVersionOK(ComputerName().c_str()), 1);
    EXPECT_EQ(IsMsiVersionOK("NOSUCHPC"), 0);
    EXPECT_STREQ(GetRemoteSystem32Path("NOSUCHPC"), "");
    EXPECT_STREQ(GetRemoteSystem32Path(""), "");
}

#ifndef _WIN32
constexpr char kInstaller[] = "C:\\Windows\\System32\\Msi.dll";

void UseWindows2000() { control::SetWindowsVersion({5, 0, 2195, 2, ""}); }

TEST_F(ProbesTest, OlderWindowsNeedsItsInstallersFileVersion) {
    UseWindows2000();
    for (const auto& [image, enough] : {std::pair<ModuleImage, int>{{.fileVersion = {2, 0, 2600, 1}}, 0},
                                        {{.fileVersion = {2, 0, 2600, 2}}, 1},
                                        {{.fileVersion = {2, 0, 2601, 0}}, 1},
                                        {{.fileVersion = {2, 1, 0, 0}}, 1},
                                        {{.fileVersion = {1, 9, 9999, 9}}, 0},
                                        {{.fileVersion = {3, 0, 0, 0}}, 1}}) {
        WriteBytes(kInstaller, BuildModule(image));
        EXPECT_EQ(IsMsiVersionOK(nullptr), enough) << image.fileVersion[0] << "." << image.fileVersion[1];
    }
    ASSERT_TRUE(DeleteFileA(kInstaller));
    EXPECT_EQ(IsMsiVersionOK(nullptr), 0);
}

TEST_F(ProbesTest, WithoutAVersionResourceTheInstallerAndThenTheLibraryItselfAreAsked) {
    UseWindows2000();
    WriteBytes(kInstaller, BuildModule({.hasVersion = false}));
    control::HideEntryPoint("msi.dll", "DllGetVersion");
    EXPECT_EQ(IsMsiVersionOK(nullptr), 0);
    control::SetInstallerFileVersion(kInstaller, "2.0.1");
    EXPECT_EQ(IsMsiVersionOK(nullptr), 1);
    control::SetInstallerFileVersion(kInstaller, "1.9");
    EXPECT_EQ(IsMsiVersionOK(nullptr), 0);
    PlaceLibrary("VERLIB.DLL", kInstaller);  // which the Installer's own query is no part of
    SetEnvironmentVariableA("TEST_DLL_STATUS", "0");
    for (const auto& [major, enough] : {std::pair{"1", 0}, {"2", 1}}) {
        SetEnvironmentVariableA("TEST_DLL_MAJOR", major);
        EXPECT_EQ(IsMsiVersionOK(nullptr), enough) << major;
    }
}

TEST_F(ProbesTest, RemoteMachineIsAskedThroughItsShareAndItsRegistry) {
    AddMachine("OTHER");
    const std::string path = static_cast<const char*>(GetRemoteSystem32Path("OTHER"));
    EXPECT_STRCASEEQ(path.c_str(), "\\\\OTHER\\C$\\Windows\\System32\\");
    EXPECT_EQ(IsRemote_64Bit_System("other"), 1);
    EXPECT_EQ(IsMsiVersionOK("OTHER"), 1);
    WriteBytes("C:\\TEST\\old.dll", BuildModule({.fileVersion = {2, 0, 2600, 1}}));
    ASSERT_TRUE(CopyFileA("C:\\TEST\\old.dll", (path + "Msi.dll").c_str(), FALSE));
    EXPECT_EQ(IsMsiVersionOK("OTHER"), 0) << "its Windows version does not speak for it";
    EXPECT_EQ(IsMsiVersionOK(nullptr), 1);
}

TEST_F(ProbesTest, WithoutTheShellTheRegistryAnswersForTheLocalMachine) {
    control::HideEntryPoint("shfolder.dll", "SHGetFolderPathA");
    char path[260] = "";
    DWORD size = sizeof path;
    EXPECT_EQ(KSetGetProgramFilesPath(path, &size, nullptr), 0u);
    EXPECT_STRCASEEQ(path, "C:\\Program Files");
    EXPECT_EQ(size, std::strlen(path) + 1);
}
#endif

}  // namespace
