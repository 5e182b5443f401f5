#include "instalib/computer.h"

#include <cstring>
#include <string>

#include "tests/support/fresh_machine.h"

namespace {

class ComputerTest : public FreshMachine {
  protected:
    static constexpr const char* kOptions = "SYSTEM\\CurrentControlSet\\Control\\ProductOptions";
};

TEST_F(ComputerTest, LocalMachineIsNullOrItsNameInAnyCase) {
    CString lower(ComputerName().c_str());
    lower.MakeLower();
    EXPECT_EQ(CComputer::IsLocalMachine(nullptr), 1);
    EXPECT_EQ(CComputer::IsLocalMachine(lower), 1);
    EXPECT_EQ(CComputer::IsLocalMachine(""), 0);
    EXPECT_EQ(CComputer::IsLocalMachine("NOSUCHPC"), 0);
    const CComputer computer;
    const CComputer copy = computer;
    EXPECT_EQ(copy.Name(), ComputerName());
    EXPECT_NE(copy.IsLocal(), 0);
    EXPECT_EQ(copy.DomainController(), 0);
    char domain[256] = "";
    DWORD length = 0;
    if (CComputer::GetDomain(domain, &length, "")) {
        EXPECT_EQ(length, std::strlen(domain));
        EXPECT_STREQ(copy.Domain(), domain);
    }
}

TEST_F(ComputerTest, UnknownMachineIsNotAnsweredForByTheLocalOne) {
    char domain[256] = "old";
    DWORD length = 77;
    for (const char* name : {"NOSUCHPC", "ANAMETHATISLONGERTHANTHIRTYTWOCHARACTERS"}) {
        EXPECT_EQ(CComputer::GetDomain(domain, &length, name), 0);
        EXPECT_EQ(CComputer::IsPrimaryDomainController(name), 0);
        EXPECT_EQ(CComputer::IsBackupDomainController(name), 0);
    }
    EXPECT_STREQ(domain, "old");
    EXPECT_EQ(length, 77u);
}

TEST_F(ComputerTest, ServerIsToldByTheProductTypeInAnyCase) {
    const std::string before = GetText(kOptions, "ProductType");
    for (const auto& [type, isServer] :
         {std::pair{"LanmanNT", 1}, {"SERVERNT", 1}, {"WinNT", 0}, {"SERVERNT2", 0}, {"", 0}}) {
        SetText(kOptions, "ProductType", type);
        EXPECT_EQ(CComputer::IsServer(""), isServer) << type;
        EXPECT_EQ(CComputer::IsServer("NOSUCHPC"), isServer) << "the local registry stands in; " << type;
    }
    SetRaw(kOptions, "ProductType", REG_SZ, {'S', 'E', 'R', 'V', 'E', 'R', 'N', 'T'});
    EXPECT_EQ(CComputer::IsServer(nullptr), 1) << "without a terminator";
    if (before != "<none>") SetText(kOptions, "ProductType", before);
}

TEST_F(ComputerTest, WindowsVersionIsThisProcessesWhateverTheNameAndJudgedByTheToolLibrary) {
    EXPECT_GE(CComputer::GetNTVersion("NOSUCHPC"), 5u);
    EXPECT_EQ(CComputer::IsNT4xOrLater("NOSUCHPC"), 1);
    EXPECT_EQ(CComputer::IsWindows95("NOSUCHPC"), 0);
    ASSERT_NE(CComputer::ChangeDirectory("C:\\TEST"), 0);
    EXPECT_EQ(CComputer::IsWindowsVersionOK(1, 2, 3), 0);
    PlaceLibrary("VERNONE.DLL", "C:\\TEST\\HSTOOL.DLL");
    EXPECT_EQ(CComputer::IsWindowsVersionOK(1, 2, 3), 0);
    PlaceLibrary("WINCHECK.DLL", "C:\\TEST\\HSTOOL.DLL");
    EXPECT_EQ(CComputer::IsWindowsVersionOK(1, 2, 3), 12003);
}

}  // namespace
