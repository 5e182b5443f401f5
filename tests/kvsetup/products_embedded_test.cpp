// Everyday stories of the products of the family, alone and beside each other: what is left at the end, and what each
// leaves of the others.
#include <fstream>
#include <sstream>

#include "instalib/service.h"
#include "instalib/system_account.h"
#include "tests/kvsetup/kept_machine.h"

namespace {

class Products : public KeptMachine {
  protected:
    std::string Install(int type, const std::string& more = "") {
        return "install " + Source() + " --type " + std::to_string(type) + " --answers \"" + Answers() + "\" " + more;
    }
    void Do(const std::string& arguments, int exitCode = 0) {
        const RunResult result = Run(arguments);
        ASSERT_EQ(result.exitCode, exitCode) << arguments << '\n' << result.output << result.errors;
        m_last = result;
    }
    // An installation with the answers of the demo, of which a part is another one.
    std::string InstallWith(const std::string& part, const std::string& other) {
        std::stringstream demo;
        demo << std::ifstream(Medium() / "ANSWERS.ICF").rdbuf();
        std::string text = demo.str();
        text.replace(text.find(part), part.size(), other);
        std::ofstream(Scratch() / "own.icf") << text;
        return "install " + Source() + " --answers \"" + (Scratch() / "own.icf").string() + "\"";
    }
    // What is left for ever: values of the environment and rights that no removal takes back.
    Lines Left() {
        Lines lines = Changed();
        std::erase_if(lines, [](const std::string& line) {
            return line.find("\"RNNAME\"") != line.npos || line.find("SOFTWARE\\Classes\\.asx]") != line.npos ||
                   line.find("Rights\\S-1-5-32-551]") != line.npos || line.find("KVSETUP.") != line.npos ||
                   line.find("[META\\Drives\\") != line.npos || line.find("\"InstallDate\"") != line.npos;
        });
        return lines;
    }
    RunResult m_last;
};

class EachProduct : public Products, public testing::WithParamInterface<int> {};

TEST_P(EachProduct, ComesTwiceIsRightAndGoesWithoutAMedium) {
    Keep();
    Do(Install(GetParam()));
    Do("verify");
    Do(Install(GetParam()));
    Do("verify");
    Do("uninstall --yes");
    EXPECT_THAT(Left(), testing::IsEmpty()) << m_last.output;
    EXPECT_THAT(m_last.output, testing::Not(testing::HasSubstr("holds files")));
    Do("uninstall --yes", 6);
}
INSTANTIATE_TEST_SUITE_P(All, EachProduct, testing::Values(133, 24, 25, 105, 1027, 62));

// Whatever comes and goes beside a product leaves it as it was.
TEST_F(Products, LeaveEachOtherAlone) {
    for (const auto& [first, second] : {std::pair(133, 62), {133, 105}, {105, 1027}, {62, 25}, {1027, 105}}) {
        SCOPED_TRACE(std::to_string(first) + " and " + std::to_string(second));
        TearDown();
        SetUp();
        Keep();
        Do(Install(first));
        Keep();
        Do(Install(second));
        Do("uninstall --yes", 2);
        EXPECT_THAT(m_last.errors, testing::HasSubstr("type " + std::to_string(first)));
        EXPECT_THAT(m_last.errors, testing::HasSubstr("type " + std::to_string(second)));
        Do("uninstall --yes --type " + std::to_string(second));
        EXPECT_THAT(Left(), testing::IsEmpty()) << m_last.output;
    }
}

// The first one's account and directories stay for the second, and go with it.
TEST_F(Products, HandOverWhatAnotherOneNeeds) {
    for (const auto& [first, second] : {std::pair(133, 105), {105, 133}, {133, 62}}) {
        SCOPED_TRACE(std::to_string(first) + " before " + std::to_string(second));
        TearDown();
        SetUp();
        Keep();
        Do(Install(first));
        Do(Install(second));
        Do("uninstall --yes --type " + std::to_string(first));
        EXPECT_EQ(CSystemAccount::Exists(nullptr, "kvsystem") != 0, second != 62);
        EXPECT_EQ(FileExists("C:\\Program Files\\Zephranite\\Alert\\LOG"), second != 62);
        EXPECT_EQ(CService(CService::AlertServer).Exists() != 0, second != 62);
        Do("uninstall --yes");
        EXPECT_THAT(Left(), testing::IsEmpty()) << m_last.output;
    }
}

TEST_F(Products, FewerComponentsTakeTheirsAwayAndAnotherPathIsRefused) {
    const std::string fewer = InstallWith("[Install]\n", "[Install]\nSeverFeature=0\nAlertFeature=0\n");
    Do(fewer);
    Keep();
    Do(Install(133));
    EXPECT_TRUE(CService(CService::JobEngine).Exists());
    Do(fewer);
    EXPECT_THAT(m_last.output, testing::HasSubstr("Take away what is no longer chosen"));
    EXPECT_THAT(Left(), testing::IsEmpty()) << m_last.output;
    Do(InstallWith("InstallPath=C:\\Program Files\\Zephranite\\Korvault Backup", "InstallPath=C:\\ELSEWHERE"), 6);
    EXPECT_THAT(m_last.errors, testing::HasSubstr("C:\\Program Files\\Zephranite\\Korvault Backup\\"));
    EXPECT_THAT(Left(), testing::IsEmpty());
}

// A directory that nobody may be given rights on, or that cannot be: nothing is changed.
TEST_F(Products, PlacesThatNoProductGoesToAreRefused) {
    SetText("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList", "ProfilesDirectory",
            "%SystemDrive%\\People");
    Keep();
    const std::pair<std::string, const char*> places[] = {
        {"C:\\", "the root of a drive"},
        {"C:\\Program Files", "Program Files itself"},
        {"c:\\windows\\System32", "a directory of Windows"},
        {"C:\\Users\\Ada", "a user's profile"},
        {"C:\\PEOPLE\\Ada", "a user's profile"},
        {"KORVAULT", "is not absolute"},
        {"\\\\SERVER\\KV", "is not absolute"},
        {"Q:\\KV", "not on a fixed drive"},
        {"C:\\KV\\" + std::string(200, 'x'), "longer than 200"},
        {"C:\\KV\\LPT1.TXT", "reserved name LPT1.TXT"},
        {"C:\\KV\\DATA.", "dot or blank"},
        {"C:\\KV*", "no name has: *"},
        {"C:\\KV\\\\DATA", "without characters"},
    };
    for (const auto& [place, reason] : places) {
        Do(InstallWith("InstallPath=C:\\Program Files\\Zephranite\\Korvault Backup", "InstallPath=" + place), 3);
        EXPECT_THAT(m_last.errors, testing::HasSubstr(reason));
    }
    Do(InstallWith("InstallPath=C:\\Program Files\\Zephranite\\Korvault Backup", "InstallPath=C:\\People\\Ada\\KV") +
       " --type 62");
    Do("uninstall --yes");
    EXPECT_THAT(Left(), testing::IsEmpty());
}

TEST_F(Products, AllThatIsInTheWayIsSaidAtOnce) {
    CopyMedium();
    std::filesystem::remove(Medium() / "kvvctl.dll");
    CService(CService::JobEngine).InstallService("C:\\OTHER\\", 3, nullptr, nullptr);
    Keep();
    const std::string install =
        InstallWith("SystemUserName=kvsystem\nSystemPassword=1e3e3132730f0112114e55", "SystemUserName=kv:system");
    Do(install, 3);
    for (const char* problem : {"kvvctl.dll names no version", "OVSJobEngine is there already",
                                "no account has: :", "3 things are in the way, and nothing was changed"})
        EXPECT_THAT(m_last.errors, testing::HasSubstr(problem));
    EXPECT_EQ(nlohmann::json::parse(Run(install + " --json").output)["problems"].size(), 3u);
    EXPECT_THAT(Left(), testing::IsEmpty());
}

// All that the answers say can be said on the command line, and what was said can be kept.
TEST_F(Products, AnswersOnTheCommandLineGoBeforeThoseOfTheFileAndAreKept) {
    Do(Install(133));
    Keep();
    Do("uninstall --yes");
    std::ofstream(Scratch() / "secret") << "Pass-4711\r\n";
    const std::string file = (Scratch() / "kept.icf").string();
    const std::string given =
        "install --yes " + Source() +
        " --set 'UserInfo.FullName=Ada Sample' --set userinfo.companyname='Sample Works'" +
        " --path 'C:\\Program Files\\Zephranite\\Korvault Backup' --alert-path 'C:\\Program Files\\Zephranite\\Alert'" +
        " --components server,manager,admin,alert --account kvsystem --password-from '" +
        (Scratch() / "secret").string() + "' --set Install.OverwriteDB=0 --set Install.OverwriteJobQueue=0 ";
    Do(given + "--save-answers '" + file + "'");
    Do("verify");
    Do("uninstall --yes");
    Do("answers check '" + file + "'");
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    EXPECT_THAT(text.str(), testing::Not(testing::HasSubstr("4711")));
    Do("install " + Source() + " --answers '" + file + "'");
    Do(given);
    EXPECT_THAT(Left(), testing::Not(testing::Contains(testing::HasSubstr("Orvanex"))));
    Do(given + "--save-answers '" + file + "'", 3);
    for (const auto& [wrong, reason] : {std::pair("--set Base.Nothing=1", "no answer Base.Nothing"),
                                        {"--set Base.SystemPassword=x", "--password-from"},
                                        {"--set Base.AVFeature=yes", "0 or 1"},
                                        {"--set QMC.JNPPORT=1", "does not ask"},
                                        {"--set Base", "SECTION.KEY"},
                                        {"--set Base.AlertPath", "SECTION.KEY"}}) {
        Do(given + wrong, 2);
        EXPECT_THAT(m_last.errors, testing::HasSubstr(reason));
    }
    Do("install --yes --components server,kitchen " + Source(), 2);
    EXPECT_THAT(m_last.errors, testing::HasSubstr("no component kitchen"));
}

// Scripts live on one document, on a line a stage, on the exit code; people on as much as they ask for.
TEST_F(Products, TellAsMuchAsIsAskedFor) {
    Do("status", 6);
    Do(Install(133, "--quiet"));
    EXPECT_EQ(m_last.output, "");
    Do(Install(62, "--progress json --json"));
    std::istringstream lines(m_last.errors);
    std::vector<nlohmann::json> progress;
    for (std::string line; std::getline(lines, line);) progress.push_back(nlohmann::json::parse(line));
    ASSERT_EQ(progress.size(), 2 * nlohmann::json::parse(m_last.output)["stages"].size());
    EXPECT_EQ(progress[0]["number"], 1);
    EXPECT_TRUE(progress[1]["succeeded"]);
    Do("uninstall --yes --type 62 --verbose");
    EXPECT_THAT(m_last.output, testing::ContainsRegex("\n    value .*Products, ClientAgentNT: .* -> nothing\n"));
    Do("uninstall --type 105 --yes", 6);
    EXPECT_THAT(ReadBytes("C:\\KVSETUP.LOG"), testing::ContainsRegex("Error: .* is not installed .*exit code 6"));
    EXPECT_THAT(ReadBytes("C:\\KVSETUP.LOG"),
                testing::ContainsRegex("20[0-9][0-9]-[0-9-]+ [0-9:]+ [+-][0-9]+ kvsetup"));
    SetText("SOFTWARE\\Test", "Value", "old");
    Keep();
    SetText("SOFTWARE\\Test", "Value", "new");
    const nlohmann::json differences =
        RunJson("machine diff --json '" + (Scratch() / "state.txt").string() + "'")["differences"];
    const nlohmann::json expected{{"kind", "value"}, {"change", "changed"}, {"path", "HKLM\\SOFTWARE\\Test"},
                                  {"name", "Value"}, {"before", "\"old\""}, {"after", "\"new\""}};
    EXPECT_EQ(differences, nlohmann::json::array({expected}));
}

TEST_F(Products, WhatThePeopleOfTheMachineHaveStays) {
    MakeFolder("C:\\Program Files\\Zephranite\\Alert");
    Do(Install(133));
    WriteBytes("C:\\Program Files\\Zephranite\\Korvault Backup\\LOG\\mine.txt", "mine");
    Do("uninstall --yes");
    EXPECT_THAT(m_last.output, testing::HasSubstr("Korvault Backup\\LOG holds files and stays"));
    EXPECT_TRUE(FileExists("C:\\Program Files\\Zephranite\\Alert"));
    EXPECT_TRUE(FileExists("C:\\Program Files\\Zephranite\\Korvault Backup\\LOG\\mine.txt"));
    EXPECT_FALSE(FileExists("C:\\Program Files\\Zephranite\\Korvault Backup\\TEMP"));
}

}  // namespace
