// Every document that --json prints is as docs/kvsetup.schema.json says.
#include <cstdlib>
#include <fstream>

#include "tests/kvsetup/kept_machine.h"

namespace {

class JsonOutput : public KeptMachine {};

TEST_F(JsonOutput, IsAsItsSchemaSays) {
    if (std::system("python3 -c 'import jsonschema; jsonschema.Draft202012Validator' 2>/dev/null") != 0)
        GTEST_SKIP() << "python3-jsonschema is not installed";
    Keep();
    const auto path = [this](const char* name) { return " '" + (Scratch() / name).string() + "' "; };
    const std::string answers = " --answers \"" + Answers() + "\" ", own = Source() + answers;
    const std::filesystem::path folder = Scratch() / "documents";
    std::filesystem::create_directory(folder);
    // The definition that the document is checked with, the command, and how it ends.
    const struct {
        const char* definition;
        std::string arguments;
        int exitCode;
    } runs[] = {
        {"setup", "install --yes --path Q:\\\\KV --alert-path C:\\\\ " + Source(), 3},
        {"plan", "plan --out" + path("a.plan") + "install " + own, 0},
        {"report", "report" + path("a.plan"), 0},
        {"setup", "apply" + path("a.plan") + "--yes", 0},
        {"verify", "verify", 0},
        {"status", "status", 0},
        {"services", "services list", 0},
        {"diff", "machine diff" + path("state.txt"), 0},
        {"capture", "capture" + path("a.capture"), 0},
        {"check", "answers check \"" + Answers() + "\"", 0},
        {"check", "medium check \"" + Medium().string() + "\"", 0},
        {"upgradeCheck", "upgrade-check --product ZephraniteCB " + Source(), 6},
        {"setup", "services remove", 2},  // prints no data and knows no --json
        {"verify", "verify", 7},
        {"repair", "repair", 0},
        {"undo", "undo --yes", 0},
        {"undo", "recover", 6},
        {"setup", "install " + own, 0},
        {"setup", "uninstall --yes", 0},
        {"status", "status", 6},
    };
    int number = 0;
    for (const auto& run : runs) {
        if (run.arguments == "verify" && run.exitCode == 7) SetText("SOFTWARE\\Classes\\.asx", "", "another");
        const RunResult result = Run(run.arguments + " --json");
        EXPECT_EQ(result.exitCode, run.exitCode) << run.arguments << '\n' << result.output << result.errors;
        std::ofstream(folder / (run.definition + ('.' + std::to_string(++number)) + ".json")) << result.output;
    }
    const std::filesystem::path docs = INSTALIB_DOCS;
    const std::string check = "python3 '" + (docs.parent_path() / "tests/kvsetup/check_schema.py").string() + "' '" +
                              (docs / "kvsetup.schema.json").string() + "' '" + folder.string() + "'";
    EXPECT_EQ(std::system(check.c_str()), 0) << "what is printed above";
    // A check that cannot fail would be none.
    std::ofstream(folder / "status.99.json") << "{\"changed\": false, \"exitCode\": 0, \"main product\": 1}";
    EXPECT_NE(std::system((check + " >/dev/null").c_str()), 0);
}

}  // namespace
