// What differs between two machines, or between a machine and a saved state of it.
#include "platform/embedded/control/registry.h"
#include "tests/support/fresh_machine.h"

namespace control = embedded::control;
namespace fs = std::filesystem;

namespace {

constexpr const char* kKey = "SOFTWARE\\InstalibTest";

class MachineDiff : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        SetText(kKey, "Kept", "same");
        SetNumber(kKey, "Number", 1);
        SetText(kKey, nullptr, "gone");
        WriteBytes("C:\\TEST\\a.txt", "before");
        std::string problem;
        ASSERT_TRUE(control::SaveState(MachineFolder(), State(), &problem)) << problem;
    }
    fs::path State() const { return World() / "before.state"; }
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        std::string problem;
        EXPECT_TRUE(control::Diff(State(), MachineFolder(), &lines, &problem)) << problem;
        return lines;
    }
};

TEST_F(MachineDiff, SavedStateOfAnUnchangedMachineDiffersInNothing) {
    EXPECT_THAT(Lines(), testing::IsEmpty());
    std::string problem;
    const fs::path again = World() / "again.state";
    ASSERT_TRUE(control::SaveState(MachineFolder(), again, &problem));
    std::vector<std::string> lines;
    EXPECT_TRUE(control::Diff(State(), again, &lines, &problem));
    EXPECT_EQ(fs::file_size(State()), fs::file_size(again));
    EXPECT_THAT(lines, testing::IsEmpty());
}

TEST_F(MachineDiff, EveryKindOfChangeHasItsLine) {
    SetNumber(kKey, "Number", 2);
    SetText(std::string(kKey) + "\\Below", "New", "a\\b");
    RegistryKey key;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_ALL_ACCESS, key.Receive()), 0);
    ASSERT_EQ(RegDeleteValueA(key.Get(), nullptr), 0);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA("D:P(A;CI;KA;;;BA)", SDDL_REVISION_1, &descriptor,
                                                                     nullptr));
    const LocalBuffer owner(descriptor);
    ASSERT_EQ(RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, descriptor), 0);
    WriteBytes("C:\\TEST\\a.txt", "after");
    WriteBytes("C:\\TEST\\b.txt", "new");
    const std::string place = "[HKLM\\SOFTWARE\\InstalibTest]";
    EXPECT_THAT(Lines(),
                testing::ElementsAre("- " + place + " @ = \"gone\"",
                                     "~ " + place + " \"Number\" = dword:00000001 -> dword:00000002",
                                     testing::AllOf(testing::StartsWith("~ " + place + " security: inherited -> "),
                                                    testing::HasSubstr("D:P(A;CI;KA;;;BA)")),
                                     "+ [HKLM\\SOFTWARE\\InstalibTest\\Below]",
                                     "+ [HKLM\\SOFTWARE\\InstalibTest\\Below] \"New\" = \"a\\\\b\"",
                                     testing::StartsWith("~ file C:\\TEST\\a.txt: 6 bytes, hash "),
                                     "+ file C:\\TEST\\b.txt: 3 bytes, hash 2138d5192571b731"));
}

TEST_F(MachineDiff, TwoMachinesAreCompared) {
    std::vector<std::string> lines;
    std::string problem;
    ASSERT_TRUE(control::Diff(AddMachine("SECOND"), MachineFolder(), &lines, &problem)) << problem;
    EXPECT_THAT(lines, testing::Contains("+ [HKLM\\SOFTWARE\\InstalibTest] \"Kept\" = \"same\""));
}

TEST_F(MachineDiff, UnreadableSidesAreAnErrorWithAReason) {
    std::vector<std::string> lines;
    std::string problem;
    EXPECT_FALSE(control::Diff(World() / "missing", MachineFolder(), &lines, &problem));
    EXPECT_THAT(problem, testing::HasSubstr("missing"));
    EXPECT_FALSE(control::Diff(World(), MachineFolder(), &lines, &problem));
    EXPECT_THAT(problem, testing::HasSubstr("no machine"));
}

}  // namespace
