// The registry operations where the machine refuses, and beside other processes.
#include <sys/wait.h>
#include <unistd.h>

#include "instalib/log.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/system.h"
#include "tests/registry/registry_fixture.h"

namespace control = embedded::control;

namespace {

using RegistryCaution = RegistryTest;

const std::string kCounts = kWindows + "SharedDLLs";

// Runs the body in processes of their own, all at once; how many of them answered true.
template <class Body>
int InProcesses(int count, Body body) {
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i) {
        const pid_t child = fork();
        if (child == 0) _exit(body(i) ? 0 : 1);
        children.push_back(child);
    }
    int succeeded = 0;
    for (const pid_t child : children) {
        int status = 0;
        if (waitpid(child, &status, 0) == child && status == 0) ++succeeded;
    }
    return succeeded;
}

TEST_F(RegistryCaution, CountsOfFourProcessesAreAllThere) {
    const char* const path = "C:\\P\\x.dll";
    EXPECT_EQ(InProcesses(4,
                          [&](int) {
                              int done = 0;
                              for (int i = 0; i < 50; ++i) done += Halv::IncrementSharedDLLCount(path, 0);
                              return done == 50;
                          }),
              4);
    EXPECT_EQ(GetNumber(HKEY_LOCAL_MACHINE, kCounts, path), 200);
}

TEST_F(RegistryCaution, LinesOfEightWritersAreAllInTheLog) {
    const std::string file = Folder() + "\\crowd.log";
    EXPECT_EQ(InProcesses(8,
                          [&](int) {
                              int written = 0;
                              for (int i = 0; i < 50; ++i) {
                                  char format[] = "line";
                                  written += CLog::Write(file.c_str(), format) != 0;
                              }
                              return written == 50;
                          }),
              8);
    const std::string text = ReadBytes(file);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 400);
}

TEST_F(RegistryCaution, SharedFileIsInUseWhenItsCountCannotBeLoweredOrRead) {
    const char* const path = "C:\\P\\x.dll";
    SetNumber(HKEY_LOCAL_MACHINE, kCounts, path, 3);
    control::FailCall(control::CallKind::Registry, 3, ERROR_ACCESS_DENIED);  // open, read, write
    EXPECT_EQ(Halv::DecrementSharedDLLCount(path), 2u) << control::FaultedCall();
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    control::FailCall(control::CallKind::Registry, 2, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Halv::DecrementSharedDLLCount(path), 1u) << control::FaultedCall();
    control::ClearFault();
    EXPECT_EQ(GetNumber(HKEY_LOCAL_MACHINE, kCounts, path), 3);
}

TEST_F(RegistryCaution, ToolLibraryGetsWholeNamesOrNone) {
    ASSERT_TRUE(control::SetCodePage(932));
    PlaceLibrary("HSTOOL_ACCOUNT.DLL", Folder() + "\\HSTOOL.DLL");
    const auto hand = [&](const std::string& name) {
        DeleteKeyTree(HKEY_LOCAL_MACHINE, kScratch);
        CSettings settings = ServerSettings();
        settings.SystemAccountDomain("X");
        settings.SystemAccountName(name.c_str());
        EXPECT_EQ(CHalvRegistry(settings, 0, nullptr).SetKorvaultUser(), 1);
        return Get(kScratch, "domain") + "|" + Get(kScratch, "name");
    };
    EXPECT_EQ(hand("\x83\x5Cname"), "X|\x83\x5Cname") << "the second byte of a character is no separator";
    EXPECT_EQ(hand("D\x83\x5C\\u"), "D\x83\x5C|u");
    EXPECT_EQ(hand(std::string(63, 'n')), "X|" + std::string(63, 'n'));
    EXPECT_EQ(hand(std::string(64, 'n')), "<none>|<none>");
    EXPECT_THAT(ReadBytes(Folder() + "\\setup.log"), testing::HasSubstr("longer than 63 bytes"));
}

TEST_F(RegistryCaution, ValueThatIsTooLongEverywhereTellsWhatItNeeds) {
    const std::string older = std::string(Halv::m_sOldKorvaultBaseKey) + "\\Path";
    SetRaw(HKEY_LOCAL_MACHINE, kBase + "\\Path", "HOME", REG_SZ, {'C', ':', '\\', 'L', 'O', 'N', 'G'});
    SetText(HKEY_LOCAL_MACHINE, older, "HOME", "C:\\VERYLONG");
    char home[8];
    DWORD size = 4;
    EXPECT_EQ(Halv::GetKorvaultHomeDir(home, &size, nullptr), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MORE_DATA));
    EXPECT_EQ(size, 8u) << "stored without its terminator";
    EXPECT_EQ(Halv::GetKorvaultHomeDir(home, &size, nullptr), 1);
    EXPECT_STREQ(home, "C:\\LONG");
    SetText(HKEY_LOCAL_MACHINE, older, "HOME", "C:");
    size = 4;
    EXPECT_EQ(Halv::GetKorvaultHomeDir(home, &size, nullptr), 1) << "the search goes on";
    EXPECT_STREQ(home, "C:");
}

TEST_F(RegistryCaution, AgentsNamesHaveNoCaseInAnyAlphabet) {
    SetText(HKEY_LOCAL_MACHINE, kRoot + "\\DBA\xC4GENT2", "dll", "C:\\A\\x.dll");
    char directory[64];
    DWORD size = sizeof directory;
    EXPECT_EQ(Halv::GetDBAgentHomeDir("dba\xE4gent", directory, &size, 1, nullptr), 1) << GetLastError();
    EXPECT_STREQ(directory, "C:\\A");
}

TEST_F(RegistryCaution, UnknownVersionOrNameOfTheMachineIsAFailure) {
    const auto failing = [](const char* call, auto operation) {
        for (unsigned n = 1; n < 100; ++n) {
            control::FailCall(control::CallKind::System, n, ERROR_NOT_ENOUGH_MEMORY, true);
            const int result = operation();
            const std::string faulted = control::FaultedCall();
            control::ClearFault();
            if (faulted == call) return result;
            if (faulted.empty()) break;
        }
        ADD_FAILURE() << call << " was never made";
        return -1;
    };
    EXPECT_EQ(failing("GetVersionExA", [] { return Halv::CreateUninstallKey("X", "x", "y"); }), 0);
    EXPECT_EQ(failing("GetVersionExA", [] { return Halv::SetKorvaultShellExtension("C:\\P"); }), 0);
    EXPECT_EQ(Halv::SetKorvaultShellExtension(static_cast<const char*>(nullptr)), 0);
    CSettings settings = ServerSettings();
    CHalvRegistry object(settings, 0, nullptr);
    SetText(HKEY_LOCAL_MACHINE, kEnvironment, "RNNAME", "KEPT");
    EXPECT_EQ(failing("GetComputerNameA", [&] { return object.SetKorvaultEnvironmentVariables(); }), 0);
    EXPECT_EQ(Get(kEnvironment, "RNNAME"), "KEPT");
}

}  // namespace
