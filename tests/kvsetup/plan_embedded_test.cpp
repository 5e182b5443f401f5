// Plans and what is done with them, the comparison with what was installed, and the pages of both.
#include <cmath>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "tests/kvsetup/kept_machine.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kRoot[] = "SOFTWARE\\Orvanex\\Zephranite Korvault Backup";
constexpr char kClass[] = "SOFTWARE\\Classes\\.asx";

std::string Contents(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class Plans : public KeptMachine {
  protected:
    fs::path File() const { return Scratch() / "plan.json"; }
    RunResult Plan(const std::string& setup) { return Run("plan " + setup + " --out " + File().string()); }
    RunResult Apply(const std::string& more = "") { return Run("apply --yes " + File().string() + " " + more); }
    nlohmann::json Read() const { return nlohmann::json::parse(Contents(File())); }
    // Every byte of the machine's folder.
    std::map<std::string, std::string> Bytes() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(MachineFolder()))
            files[entry.path().string()] = entry.is_regular_file() ? Contents(entry.path()) : "";
        return files;
    }
    void Spoil(const std::string& bytes) { std::ofstream(File(), std::ios::binary) << bytes; }
};

TEST_F(Plans, AreMadeOnACopyAndCarriedOutToTheLetter) {
    Keep();
    const auto before = Bytes();
    const RunResult planned = Plan(BatchInstall());
    ASSERT_EQ(planned.exitCode, 0) << planned.errors;
    EXPECT_TRUE(Bytes() == before) << "the machine itself was touched";
    EXPECT_THAT(planned.output, HasSubstr("+ directory C:\\Program Files\\Zephranite\\Korvault Backup\n"));
    EXPECT_THAT(planned.output, testing::ContainsRegex("InstallDate: REG_DWORD [0-9]+ .differs by nature"));
    EXPECT_THAT(planned.output, testing::ContainsRegex("member .Administrators, S-1-5-21[-0-9]+ .differs by nature"));
    EXPECT_THAT(Contents(File()), Not(HasSubstr("kvpassword")));
    const RunResult applied = Apply();
    EXPECT_EQ(applied.exitCode, 0) << applied.output << applied.errors;
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kClass, ""), "KorvaultScriptFile");
    EXPECT_EQ(Run("verify").exitCode, 0);
    EXPECT_EQ(Apply().exitCode, 7) << "the machine is not the one of the plan any more";
    EXPECT_EQ(Run("verify").exitCode, 0);
    ASSERT_EQ(Plan("uninstall --yes " + Source()).exitCode, 0);
    EXPECT_EQ(Apply().exitCode, 0);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kRoot));
}

TEST_F(Plans, WhatSomebodyHasChangedSinceIsRefusedAndLeft) {
    ASSERT_EQ(Plan(BatchInstall()).exitCode, 0);
    SetText(HKEY_LOCAL_MACHINE, kClass, "", "foreign");
    Keep();
    const RunResult applied = Apply();
    EXPECT_EQ(applied.exitCode, 7);
    EXPECT_TRUE(applied.SaysInOneLine("left its plan; everything was taken back")) << applied.errors;
    EXPECT_THAT(applied.output, HasSubstr("planned  key \\REGISTRY\\MACHINE\\SOFTWARE\\Classes\\.asx: nothing -> "
                                          "present\n  found    value "
                                          "\\REGISTRY\\MACHINE\\SOFTWARE\\Classes\\.asx: REG_SZ foreign -> "));
    EXPECT_THAT(Changed(), IsEmpty());
}

TEST_F(Plans, DamagedOnesAndThoseOfOthersChangeNothing) {
    ASSERT_EQ(Plan(BatchInstall()).exitCode, 0);
    const std::string whole = Contents(File());
    Keep();
    const auto expectRefused = [&](const std::string& bytes, const char* why, const std::string& more = "") {
        Spoil(bytes);
        const RunResult result = Apply(more);
        EXPECT_EQ(result.exitCode, 3) << why;
        EXPECT_TRUE(result.SaysInOneLine(why)) << result.errors;
    };
    const auto edited = [&](const char* from, const char* to) {
        return std::string(whole).replace(whole.find(from), std::string(from).size(), to);
    };
    std::string random(1000, '\0');
    for (std::size_t i = 0; i < random.size(); ++i) random[i] = char(i * i * 31 + i / 7);
    for (const std::string& bytes : {std::string(), random, std::string("[]"), whole.substr(0, whole.size() / 2)})
        expectRefused(bytes, "is no plan of kvsetup");
    expectRefused(edited("\"kvsetupPlan\": 2", "\"kvsetupPlan\": 1"), "another version");
    expectRefused(edited("KorvaultScriptFile", "AnotherScriptFile."), "was changed or cut");
    CopyMedium();
    expectRefused(whole, "holds no files of a medium", "--source " + Scratch().string() + "/none");
    std::ofstream(Medium() / "SETUP.INF", std::ios::app) << "; one more line\r\n";
    expectRefused(whole, "is not the one that the plan was made with", Source());
    fs::copy_file(Answers(), Scratch() / "other.icf");
    std::ofstream(Scratch() / "other.icf", std::ios::app) << "; one more line\r\n";
    expectRefused(whole, "are not those that", "--answers " + (Scratch() / "other.icf").string());
    EXPECT_EQ(Run("apply --yes " + Scratch().string()).exitCode, 3) << "a folder";
    EXPECT_EQ(Run("plan " + BatchInstall() + " --out " + (Scratch() / "other.icf").string()).exitCode, 3);
    EXPECT_THAT(Changed(), IsEmpty());
}

TEST_F(Plans, UpgradesArePlannedAndCarriedOut) {
    PlantOldProduct();
    const RunResult planned = Plan(Upgrade());
    ASSERT_EQ(planned.exitCode, 0) << planned.errors;
    EXPECT_EQ(Read()["records"].size(), 2u) << "before and behind the old product's removal";
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, kOldProgram));
    const RunResult applied = Apply();
    EXPECT_EQ(applied.exitCode, 0) << applied.output << applied.errors;
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kOldProgram));
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kRoot + std::string("\\CurrentVersion\\Options\\Tape"), "Device"), "Tape0");
}

class Verification : public Plans {};

TEST_F(Verification, NamesWhatIsChangedGoneAndAddedAndRepairSetsItRight) {
    EXPECT_EQ(Run("verify").exitCode, 6) << "nothing is on record";
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    EXPECT_EQ(Run("repair").exitCode, 6) << "nothing to repair";
    Keep();
    const std::string base = std::string(kRoot) + "\\Base";
    SetText(HKEY_LOCAL_MACHINE, kClass, "", "foreign");
    DeleteKeyTree(HKEY_LOCAL_MACHINE, base + "\\SNMP");
    SetText(HKEY_LOCAL_MACHINE, base, "Added", "by a person");
    SetNumber(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\OVSJobEngine", "Start", 4);
    fs::remove(MachineFolder() / "drives/C/Program Files/Zephranite/Alert/LOG");
    const RunResult verified = Run("verify --json");
    EXPECT_EQ(verified.exitCode, 7);
    std::multiset<std::string> found;
    const nlohmann::json differences = nlohmann::json::parse(verified.output)["products"][0]["differences"];
    for (const nlohmann::json& difference : differences)
        found.insert(difference["difference"].get<std::string>() + " " + difference["kind"].get<std::string>());
    EXPECT_THAT(found, ElementsAre("added value", "changed service", "changed value", "removed directory",
                                   "removed key", "removed value"));
    const RunResult repaired = Run("repair");
    EXPECT_EQ(repaired.exitCode, 0) << repaired.output << repaired.errors;
    EXPECT_THAT(repaired.output, HasSubstr("left      + value "));
    Lines changed = Changed();
    std::erase_if(changed, [](const std::string& line) { return line.find("KVSETUP.2.REC") != line.npos; });
    EXPECT_THAT(changed, ElementsAre(HasSubstr("\"Added\" = \"by a person\"")));
    EXPECT_EQ(Run("verify").exitCode, 7) << "what was added is still there";
    EXPECT_EQ(Run("repair --remove-added").exitCode, 0);
    EXPECT_EQ(Run("verify").exitCode, 0);
    EXPECT_EQ(Run("uninstall --yes " + Source()).exitCode, 0);
    EXPECT_EQ(Run("verify").exitCode, 6) << "a removal takes the product's records with it";
}

// The relative luminance of "#rrggbb", and the contrast of two.
double Luminance(const std::string& color) {
    double sum = 0;
    const double weights[] = {0.2126, 0.7152, 0.0722};
    for (int i = 0; i < 3; ++i) {
        const double part = std::stoi(color.substr(std::size_t(1 + 2 * i), 2), nullptr, 16) / 255.0;
        sum += weights[i] * (part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4));
    }
    return sum;
}
double Contrast(const std::string& one, const std::string& other) {
    const double a = Luminance(one) + 0.05, b = Luminance(other) + 0.05;
    return a > b ? a / b : b / a;
}

class Pages : public Plans {
  protected:
    fs::path PageFile() const { return Scratch() / "page.html"; }
    std::string Page(const std::string& file) {
        const RunResult result = Run("report '" + file + "' --html " + PageFile().string());
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        return Contents(PageFile());
    }
    static std::size_t Count(const std::string& text, const char* part) {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
        return count;
    }
    std::string Chromium(const std::string& options) {
        const fs::path out = Scratch() / "browser.txt";
        const std::string command = "HOME='" + Scratch().string() + "' timeout 120 chromium --headless --no-sandbox " +
                                    "--disable-gpu " + options + " 'file://" + PageFile().string() + "' > '" +
                                    out.string() + "' 2>/dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return Contents(out);
    }
};

TEST_F(Pages, ShowEveryChangeOfPlansRecordsAndVerifications) {
    SetText(HKEY_LOCAL_MACHINE, kClass, "", "<b>\"&");
    ASSERT_EQ(Plan(BatchInstall()).exitCode, 0);
    std::size_t changes = 0;
    const nlohmann::json stages = Read()["stages"];
    for (const nlohmann::json& stage : stages) changes += stage["changes"].size();
    const std::string plan = Page(File().string());
    EXPECT_EQ(Count(plan, "<tr data-kind="), changes);
    EXPECT_EQ(Count(plan, "<details open"), stages.size()) << "readable without scripts";
    EXPECT_THAT(plan, HasSubstr("REG_SZ &lt;b&gt;&quot;&amp;"));
    EXPECT_THAT(plan, HasSubstr("differs by nature"));
    EXPECT_FALSE(std::regex_search(plan, std::regex("https?:|src=|<link|@import|url\\("))) << "something is loaded";
    ASSERT_EQ(Run(BatchInstall()).exitCode, 0);
    EXPECT_EQ(Count(Page("C:\\KVSETUP.1.REC"), "<tr data-kind="), changes);
    SetText(HKEY_LOCAL_MACHINE, kClass, "", "foreign");
    Spoil(Run("verify --json").output);
    const std::string verified = Page(File().string());
    EXPECT_EQ(Count(verified, "<tr data-kind="), 1u);
    EXPECT_THAT(verified, HasSubstr("<th scope=\"col\">As it is now</th>"));
    for (const char* const bad : {"{\"kvsetupPlan\":1}", "{\"products\":[{}],\"differences\":1}", "{}", "x"}) {
        Spoil(bad);
        EXPECT_EQ(Run("report " + File().string() + " --html " + PageFile().string()).exitCode, 3) << bad;
    }
}

TEST_F(Pages, AreReadableByEverybodyAndInABrowser) {
    ASSERT_EQ(Plan(BatchInstall()).exitCode, 0);
    const std::string page = Page(File().string());
    EXPECT_THAT(page, HasSubstr("<html lang=\"en\">"));
    EXPECT_EQ(Count(page, "<h1>"), 1u);
    EXPECT_EQ(Count(page, "<summary><h2>"), Count(page, "<details open"));
    EXPECT_EQ(Count(page, "<th "), Count(page, "<th scope=\"col\">"));
    EXPECT_EQ(Count(page, "<input "), Count(page, "<label><input "));
    EXPECT_THAT(page, HasSubstr(":focus-visible"));
    // Each colour of text on each ground, light and dark.
    std::vector<std::map<std::string, std::string>> schemes(2);
    const std::regex color("--(\\w+): (#[0-9a-f]{6})");
    std::size_t number = 0;
    for (std::sregex_iterator match(page.begin(), page.end(), color), end; match != end; ++match, ++number)
        schemes.at(number / 9)[(*match)[1]] = (*match)[2];
    ASSERT_EQ(number, 18u);
    for (const auto& scheme : schemes) {
        for (const char* const text : {"text", "quiet", "new", "gone", "changed", "link"})
            EXPECT_GE(Contrast(scheme.at(text), scheme.at("ground")), 4.5) << text;
        EXPECT_GE(Contrast(scheme.at("quiet"), scheme.at("head")), 4.5);
    }
    if (std::system("command -v chromium >/dev/null 2>&1") != 0) GTEST_SKIP() << "chromium is not installed";
    const std::string shown = Chromium("--dump-dom");
    EXPECT_THAT(shown, HasSubstr("class=\"scripted\""));
    EXPECT_EQ(Count(shown, "<tr data-kind="), Count(page, "<tr data-kind="));
    const fs::path picture = Scratch() / "page.png";
    Chromium("--window-size=1200,1400 --screenshot=" + picture.string());
    EXPECT_GT(fs::file_size(picture), 50000u) << "a picture with nothing in it";
}

}  // namespace
