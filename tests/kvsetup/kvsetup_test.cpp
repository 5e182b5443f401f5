// The front end as its user meets it, on both targets.
#include "tests/kvsetup/kvsetup_run.h"

#include <fstream>

namespace {

using testing::HasSubstr;

constexpr char kBase[] = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\Base";
constexpr char kProducts[] = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\Products";

TEST_F(KvsetupRun, EveryCommandExplainsItself) {
    for (const char* command : {"", "install", "uninstall", "status", "services", "services list", "services start",
#ifndef _WIN32
                                "machine", "machine new", "machine diff", "machine import",
#endif
                                "services stop", "services remove"}) {
        const RunResult result = Run(std::string(command) + " --help");
        EXPECT_EQ(result.exitCode, 0) << command;
        EXPECT_THAT(result.output, HasSubstr("Usage:")) << command;
        EXPECT_EQ(result.errors, "") << command;
    }
    EXPECT_THAT(Run("--help").output, HasSubstr("Exit codes:"));
}

TEST_F(KvsetupRun, ManualAndCompletionsHaveEveryCommand) {
    const RunResult manual = Run("manual"), completions = Run("completions");
    for (const std::string command : {"install", "plan upgrade", "services list", "answers scramble", "verify"}) {
        EXPECT_THAT(manual.output, HasSubstr("\n.SS " + command + "\n"));
        EXPECT_THAT(completions.output, HasSubstr("'" + command + "') words='"));
    }
    EXPECT_THAT(manual.output, HasSubstr("\\-\\-password\\-from"));
    EXPECT_THAT(manual.output, testing::Not(HasSubstr("markdown"))) << "what is not for users";
}

TEST_F(KvsetupRun, AWrongCommandLineIsOneLineAndExitCodeTwo) {
    for (const char* arguments : {"", "frobnicate", "install", "install --frobnicate", "status --type", "services"}) {
        const RunResult result = Run(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments;
        EXPECT_TRUE(result.SaysInOneLine("--help")) << arguments << ": " << result.errors;
    }
}

TEST_F(KvsetupRun, InputThatCannotBeUsedIsNamedAndNothingIsDone) {
    CopyMedium();
    const auto write = [this](const char* name, const std::string& bytes) {
        std::ofstream(Scratch() / name, std::ios::binary) << bytes;
        return '"' + (Scratch() / name).string() + '"';
    };
    std::string rubbish;
    for (int i = 0; i < 70000; ++i) rubbish += static_cast<char>(i * 7 + i / 256);
    const struct {
        std::string arguments;
        const char* reason;
    } cases[] = {
        {"install --yes --source \"" + Scratch().string() + "\"", "SETUP.INF"},
        {"install --yes --source \"" + (Scratch() / "missing").string() + "\"", "missing"},
        {"install " + Source() + " --answers \"" + (Scratch() / "missing.icf").string() + "\"", "do not exist"},
        {"install " + Source() + " --answers " + write("rubbish.icf", rubbish), "holds no answers"},
        {"install " + Source() + " --answers " + write("empty.icf", ""), "holds no answers"},
    };
    for (const auto& wrong : cases) {
        const RunResult result = Run(wrong.arguments);
        EXPECT_EQ(result.exitCode, 3) << wrong.arguments;
        EXPECT_TRUE(result.SaysInOneLine(wrong.reason)) << wrong.arguments << ": " << result.errors;
    }
    std::ofstream(Medium() / "SETUP.INF", std::ios::binary) << rubbish;
    const RunResult spoilt = Run(BatchInstall());
    EXPECT_EQ(spoilt.exitCode, 3);
    EXPECT_TRUE(spoilt.SaysInOneLine("--type")) << spoilt.errors;
    EXPECT_FALSE(KeyExists(kBase));
}

TEST_F(KvsetupRun, NobodyToAskIsCancelled) {
    const RunResult install = Run("install " + Source());
    EXPECT_EQ(install.exitCode, 4);
    EXPECT_TRUE(install.SaysInOneLine("--yes")) << install.errors;
    const RunResult uninstall = Run("uninstall");
    EXPECT_EQ(uninstall.exitCode, 4);
    EXPECT_TRUE(uninstall.SaysInOneLine("--yes")) << uninstall.errors;
}

TEST_F(KvsetupRun, BatchInstallationWritesWhatTheAnswersSay) {
    const RunResult result = Run(BatchInstall());
#ifdef _WIN32
    // The home share is the last stage; Wine offers no shares.
    EXPECT_THAT(result.output, testing::ContainsRegex("Protect the product's registry \\.+ done"));
#else
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
#endif
    EXPECT_THAT(result.output, HasSubstr("mode                  new installation"));
    EXPECT_EQ(result.output.find("Demo-Pass"), std::string::npos) << "the password is never shown";
    EXPECT_EQ(result.output.find('\x1b'), std::string::npos) << "no colour without a terminal";
    const std::string base = kBase;
    EXPECT_EQ(GetText(base + "\\Path", "HOME"), "C:\\Program Files\\Zephranite\\Korvault Backup");
    EXPECT_EQ(GetText(base + "\\User", "Org"), "Sample Works");
    EXPECT_EQ(GetNumber(base + "\\Components", "SERVER"), 1);
    EXPECT_EQ(GetNumber(base + "\\Database", "DatabaseType"), 2);
    const auto record = GetRaw(kProducts, "ZephraniteCB");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->data.size(), 49u);
    EXPECT_EQ(record->data[9], 11);  // major version
    EXPECT_EQ(record->data[10] + record->data[11] * 256, 4231);
    EXPECT_THAT(ReadBytes("C:\\KVSETUP.LOG"), HasSubstr("\tRegister the product: done"));
}

TEST_F(KvsetupRun, StatusShowsEveryGenerationAsText) {
    EXPECT_TRUE(Run("status").SaysInOneLine("no product of the family is installed"));
    TestBytes record(49);
    record[8] = 5;
    record[9] = 6;  // 6.5
    record[10] = 100;
    record[12] = 0xFE;  // subtype -2
    SetRaw(kProducts, "Mine", REG_BINARY, record);
    SetRaw("SOFTWARE\\Halvenor\\Products", "Korvault", REG_BINARY, TestBytes(12, 1));
    SetRaw("SOFTWARE\\Halvenor\\Products", "TooLong", REG_BINARY, TestBytes(50, 1));
    SetRaw("SOFTWARE\\Orvanex\\Sarvex\\Base\\Path", "HOME", REG_SZ, {'C', ':', '\\', 0xFF, 0x1b});
    const nlohmann::json status = RunJson("status --json");
    ASSERT_EQ(status["generations"].size(), 3u) << status.dump(2);
    const nlohmann::json& product = status["generations"][0]["products"][0];
    EXPECT_EQ(product["name"], "Mine");
    EXPECT_EQ(product["version"], "6.5");
    EXPECT_EQ(product["build"], 100);
    EXPECT_EQ(product["subtype"], -2);
    EXPECT_EQ(status["generations"][1]["products"].size(), 1u) << "a record that is too long is no record";
    const RunResult text = Run("status");
    EXPECT_THAT(text.output, HasSubstr("Mine 6.5 build 100, subtype -2"));
    EXPECT_THAT(text.output, HasSubstr("C:\\\\xff\\x1b")) << "bytes of a product never drive the terminal";
}

TEST_F(KvsetupRun, JsonIsOneObjectHoweverItEnds) {
    const std::pair<std::string, int> runs[] = {
        {"status", 6},          {"services list", 0},      {"install --yes --source NOTHERE", 3},
        {"uninstall --yes", 6}, {"install --yes", 2},      {"nothing", 2},
        {"undo --yes", 6},      {"install " + Source(), 2}};
    for (const auto& [arguments, exitCode] : runs) {
        const RunResult result = Run(arguments + " --json");
        EXPECT_EQ(result.exitCode, exitCode) << arguments << result.errors;
        const nlohmann::json data = nlohmann::json::parse(result.output, nullptr, false);
        ASSERT_TRUE(data.is_object()) << arguments << result.output;
        EXPECT_EQ(data["exitCode"], exitCode) << arguments;
        EXPECT_EQ(data["changed"], false) << arguments;
        EXPECT_EQ(data.contains("error"), exitCode != 0) << arguments;
    }
    const RunResult agent = Run("install --yes --json --type 62 " + Source());
    const nlohmann::json done = nlohmann::json::parse(agent.output, nullptr, false);
    EXPECT_EQ(done["changed"], true) << agent.output;
    EXPECT_TRUE(done["stages"][0]["seconds"].is_number());
    EXPECT_EQ(done["product"]["registeredAs"], "ClientAgentNT");
}

TEST_F(KvsetupRun, ASecondSetupWaitsAsLongAsItIsToldAndSaysSo) {
    const HANDLE mutex = CreateMutexA(nullptr, TRUE, "Global\\KvsetupRunning");
    const RunResult waiting = Run("undo --yes --wait 1"), refused = Run("--wait 0 undo --yes");
    ReleaseMutex(mutex);
    CloseHandle(mutex);
    EXPECT_EQ(waiting.exitCode, 8);
    EXPECT_THAT(waiting.errors, HasSubstr("waits for it, at most 1 seconds"));
    EXPECT_EQ(refused.exitCode, 8);
    EXPECT_TRUE(refused.SaysInOneLine("another setup")) << refused.errors;
}

TEST_F(KvsetupRun, ANewerProductIsNotReplaced) {
    TestBytes record(49);
    record[8] = 0;
    record[9] = 12;
    SetRaw(kProducts, "ZephraniteCB", REG_BINARY, record);
    const RunResult result = Run(BatchInstall());
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_THAT(result.errors, HasSubstr("version 12.0 build 0 is installed and newer"));
    EXPECT_FALSE(KeyExists(kBase));
}

TEST_F(KvsetupRun, AnswersThatAreReadOtherwiseThanMeantAreWarnedAbout) {
    std::ofstream(Scratch() / "odd.icf") << "[Base]\nAlertPath=C:\\MINE\n";
    const RunResult result = Run("install " + Source() + " --answers \"" + (Scratch() / "odd.icf").string() + "\"");
    EXPECT_THAT(result.errors, HasSubstr("AlertPath of section Base is not used"));
    EXPECT_THAT(result.errors, HasSubstr("the answers name no product path"));
}

TEST_F(KvsetupRun, AnAgentGetsItsOwnSettings) {
    std::ofstream(Scratch() / "agent.icf") << "[ClientAgent]\nAgentPath=C:\\AGENTS\\Client\n";
    const RunResult result =
        Run("install " + Source() + " --type 62 --answers \"" + (Scratch() / "agent.icf").string() + "\"");
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    EXPECT_EQ(GetText("SOFTWARE\\Orvanex\\Zephranite Korvault Backup\\ClientAgent\\Common", "Path"),
              "C:\\AGENTS\\Client");
    EXPECT_TRUE(GetRaw(kProducts, "ClientAgentNT").has_value());
    EXPECT_EQ(Run("uninstall " + Source() + " --type 62 --yes").exitCode, 0);
    EXPECT_FALSE(KeyExists("SOFTWARE\\Orvanex"));
    EXPECT_FALSE(FileExists("C:\\AGENTS\\Client"));
}

TEST_F(KvsetupRun, TheDrivingComputerIsTakenFromTheCommandLine) {
    const std::string install = "install --yes --json " + Source();
    const RunResult alone = Run(install + " --type 62 --host KVHOST");
    EXPECT_EQ(alone.exitCode, 3);
    EXPECT_TRUE(alone.SaysInOneLine("KVHOST does not listen to this setup")) << alone.errors;
    EXPECT_EQ(RunJson(install + " --type 62")["decided"]["remote"], false);
}

TEST_F(KvsetupRun, ServicesAreListedStoppedAndRemoved) {
    Run(BatchInstall());
    const nlohmann::json services = RunJson("services list --json")["services"];
    ASSERT_EQ(services.size(), 6u);
    for (const auto& service : services) EXPECT_EQ(service["state"], "stopped");
    EXPECT_EQ(Run("services stop").exitCode, 0);
    EXPECT_EQ(Run("services remove OVSJobEngine").exitCode, 0);
    EXPECT_EQ(Run("services remove OVSJobEngine").exitCode, 6);
    EXPECT_EQ(Run("services remove").exitCode, 0);
    EXPECT_EQ(Run("services remove").exitCode, 6);
}

TEST_F(KvsetupRun, RemovalTakesBackTheInstallationAndThenHasNothingToDo) {
    Run(BatchInstall());
    const RunResult removal = Run("uninstall --yes " + Source());
    EXPECT_EQ(removal.exitCode, 0) << removal.output << removal.errors;
    EXPECT_FALSE(KeyExists("SOFTWARE\\Orvanex"));
    EXPECT_FALSE(FileExists("C:\\Program Files\\Zephranite"));
    EXPECT_EQ(Run("uninstall --yes " + Source()).exitCode, 6);
}

}  // namespace
