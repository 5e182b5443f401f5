// Captures, and the machines that are made from them.
#include <fstream>

#include "platform/embedded/control/accounts.h"
#include "platform/embedded/control/files.h"
#include "tests/kvsetup/kept_machine.h"

namespace control = embedded::control;
namespace fs = std::filesystem;

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class Captures : public KeptMachine {
  protected:
    fs::path File() const { return Scratch() / "capture.json"; }
    fs::path Copy() const { return Scratch() / "copies" / MachineFolder().filename(); }
    std::string Written() const {
        std::ifstream stream(File(), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    RunResult Make(const fs::path& folder) {
        return Run("machine new " + folder.string() + " --from " + File().string());
    }
    // Each planned change in order, with what differs by nature left out.
    std::vector<std::string> Planned(const std::string& setup) {
        const fs::path plan = Scratch() / "plan.json";
        const RunResult planned = Run("plan " + setup + " --out " + plan.string());
        EXPECT_EQ(planned.exitCode, 0) << planned.errors;
        std::vector<std::string> changes;
        std::istringstream lines(planned.output);
        for (std::string line; std::getline(lines, line);) {
            if (line.find("differs by nature") == line.npos && line.find("The plan is in") == line.npos)
                changes.push_back(line);
        }
        return changes;
    }
    // From now on the machine is what was made of its capture.
    void TakeItsPlace() {
        fs::remove_all(MachineFolder());
        fs::copy(Copy(), MachineFolder(), fs::copy_options::recursive);
        fs::remove_all(Copy());
    }
};

TEST_F(Captures, PlansOnTheCopyAreThoseOfTheMachine) {
    control::SetBuiltinNames("", "de");
    control::SetMachineRole("", control::MachineRole::Server);
    control::DriveFacts drive;
    drive.freeBytes = 1 << 29;
    control::SetDrive('E', drive);
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes\\.asx", "", "K\xf6nig");
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion", "ProgramFilesDir", "E:\\Programme\\X");
    const auto install = Planned(BatchInstall());
    ASSERT_EQ(Run("capture " + File().string()).exitCode, 0);
    const RunResult made = Make(Copy());
    ASSERT_EQ(made.exitCode, 0) << made.errors;
    TakeItsPlace();
    EXPECT_EQ(Planned(BatchInstall()), install);
    EXPECT_GT(install.size(), 80u);
}

TEST_F(Captures, CopyHasAllOfTheProductButFilesAndPasswords) {
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    ASSERT_EQ(Run("capture " + File().string()).exitCode, 0);
    const std::string shown = Run("status --json").output + Run("services list --json").output;
    ASSERT_EQ(Make(Copy()).exitCode, 0);
    Lines lines;
    std::string problem;
    EXPECT_TRUE(control::Diff(MachineFolder(), Copy(), &lines, &problem)) << problem;
    for (const std::string& line : lines) {
        const auto has = [&](const char* text) { return line.find(text) != line.npos; };
        EXPECT_TRUE(!has("[HK") || has("] security: ")) << line;
        EXPECT_TRUE(!has("[META\\Accounts") || has("\"Verifier\"") || line.starts_with("+ ")) << line;
    }
    TakeItsPlace();
    EXPECT_EQ(Run("status --json").output + Run("services list --json").output, shown);
}

TEST_F(Captures, HoldNoSecrets) {
    SetText(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\Base", "Password", "tell-nobody");
    SetRaw(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex", "AdminPwd", REG_BINARY, {0xCA, 0xFE, 0xBA, 0xBE, 0xCA, 0xFE});
    ASSERT_EQ(Run("capture " + File().string()).exitCode, 0);
    EXPECT_THAT(Written(), HasSubstr("AdminPwd"));
    for (const char* const secret : {"tell-nobody", "cafebabe", "CAFEBABE", "$6$"})
        EXPECT_THAT(Written(), Not(HasSubstr(secret)));
}

TEST_F(Captures, SpoiltOnesMakeNoMachine) {
    ASSERT_EQ(Run("capture " + File().string()).exitCode, 0);
    const std::string whole = Written();
    const auto expectRefused = [&](const std::string& bytes, const fs::path& folder, const char* why) {
        std::ofstream(File(), std::ios::binary) << bytes;
        const RunResult result = Make(folder);
        EXPECT_EQ(result.exitCode, 3) << why;
        EXPECT_TRUE(result.SaysInOneLine(why)) << result.errors;
    };
    const auto edited = [&](const std::string& from, const char* to) {
        return std::string(whole).replace(whole.find(from), from.size(), to);
    };
    expectRefused("", Copy(), "is no capture of kvsetup");
    expectRefused(whole.substr(0, whole.size() / 2), Copy(), "is no capture of kvsetup");
    expectRefused(edited("\"kvsetupCapture\": 1", "\"kvsetupCapture\": 2"), Copy(), "another version");
    expectRefused(edited("WORKGROUP", "ANOTHERONE"), Copy(), "was changed or cut");
    expectRefused(whole, Copy().parent_path() / "OTHER", "its folder must bear that name");
    expectRefused(whole, MachineFolder(), "exists already");
    EXPECT_FALSE(fs::exists(Copy().parent_path()) && !fs::is_empty(Copy().parent_path()));
}

}  // namespace
