// Answer files and media as `kvsetup answers` and `kvsetup medium` see them.
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "instalib/computer.h"
#include "instalib/setup_icf.h"
#include "platform/embedded/control/machine.h"
#include "tests/kvsetup/kvsetup_run.h"

namespace fs = std::filesystem;

namespace {

using testing::HasSubstr;

class Answers : public KvsetupRun {
  protected:
    std::string Write(const std::string& bytes) {
        std::ofstream(Scratch() / "a.icf", std::ios::binary | std::ios::trunc) << bytes;
        return '"' + (Scratch() / "a.icf").string() + '"';
    }
    RunResult CheckOf(const std::string& bytes) { return Run("answers check " + Write(bytes)); }
    static std::string Text(const fs::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST_F(Answers, WhatIsWrongIsNamedWithItsLine) {
    const struct {
        std::string bytes;
        const char* says;
    } cases[] = {
        {"", "is empty"},
        {std::string("[Base]\nSQL=\0", 12), "is binary"},
        {"\xEF\xBB\xBF[Base]\nSQL=1", "mark of UTF-8"},
        {"\xFE\xFF[Base]", "bytes swapped"},
        {"[Bsae]\nSQL=1\n", ":1: section Bsae is not read; did you mean Base?"},
        {"[Base]\r\nServerFeature=1\r\n", ":2: key ServerFeature is not read; did you mean SeverFeature?"},
        {"[Base]\rSQL=yes\r", ":2: SQL is yes; it must be 0 or 1"},
        {"[Base]\nSQL=1\nsql=0", ":3: key sql stands in line 2 already"},
        {"[Base]\nSQL=1\n[base]\nAVFeature=1", ":3: section Base stands in line 1 already"},
        {"[Install]\nProdSubType=5", ":2: ProdSubType is 5; it must be a number from 0 to 4"},
        {"[QMC]\nJNPPORT=65536", ":2: JNPPORT is 65536"},
        {"[QMC]\nLOCALMDB=maybe", ":2: LOCALMDB is maybe; it must be YES or NO"},
        {"SQL=1\n[Base]\nSQL=1", ":1: stands before the first section"},
        {"[Base]\nSQL=1\nrubbish", ":3: is no section"},
        {"[UserInfo]\nFullName=" + std::string(65536, 'x'), ":2: FullName is longer than 255"},
        {"[Base]\nSystemPassword=Secret1", ":2: SystemPassword is no scrambled text; scramble it with: kvsetup"},
    };
    for (const auto& wrong : cases) {
        const RunResult result = CheckOf(wrong.bytes);
        EXPECT_EQ(result.exitCode, 3) << wrong.says;
        EXPECT_TRUE(result.SaysInOneLine(wrong.says)) << wrong.says << ": " << result.errors;
        EXPECT_EQ(result.errors.find("Secret1"), std::string::npos);
    }
    EXPECT_TRUE(Run("answers check \"" + Scratch().string() + '"').SaysInOneLine("is a directory"));
    EXPECT_TRUE(Run("answers check /missing").SaysInOneLine("does not exist"));
    const RunResult plain = CheckOf("[SystemAccount]\nSystemPassword=Secret1\n[Foreign]\nX=1\n");
    EXPECT_EQ(plain.exitCode, 0) << plain.errors;
    EXPECT_THAT(plain.output, HasSubstr(":2: warning: SystemPassword is a password in clear text"));
    EXPECT_THAT(plain.output, HasSubstr(":3: warning: section Foreign is not read"));
    const std::string wide(
        "\xFF\xFE[\0B\0a\0s\0e\0]\0\n\0S\0Q\0L\0=\0"
        "2\0",
        26);
    EXPECT_TRUE(CheckOf(wide).SaysInOneLine(":2: SQL is 2"));
}

TEST_F(Answers, AFileCutAnywhereIsTakenOrRefused) {
    const std::string whole = Text(Medium() / "ANSWERS.ICF");
    EXPECT_EQ(CheckOf(whole).exitCode, 0);
    for (std::size_t length = 0; length < whole.size(); length += 7) {
        const int code = CheckOf(whole.substr(0, length)).exitCode;
        EXPECT_TRUE(code == 0 || code == 3) << length << ": " << code;
    }
}

TEST_F(Answers, ANewFileIsCleanAndNothingIsOverwritten) {
    const std::string file = '"' + (Scratch() / "new.icf").string() + '"';
    ASSERT_EQ(Run("answers new " + file).exitCode, 0);
    EXPECT_EQ(Text(Scratch() / "new.icf"), Run("answers new").output);
    EXPECT_TRUE(Run("answers new " + file).SaysInOneLine("--force"));
    EXPECT_EQ(Run("answers new --force " + file).exitCode, 0);
    std::string filled = Text(Scratch() / "new.icf");
    for (std::size_t at = 0; (at = filled.find("\n;", at)) != filled.npos; ++at)
        if (filled[at + 2] != ' ') filled.erase(at + 1, 1);
    const RunResult result = CheckOf(filled);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

TEST_F(Answers, TheDocumentsHoldTheTables) {
    const fs::path docs = INSTALIB_DOCS;
    for (const auto& [page, command] : {std::pair{"ANSWER_FILE.md", "answers"}, std::pair{"MEDIUM.md", "medium"}}) {
        const std::string table = Run(std::string(command) + " keys --markdown").output;
        EXPECT_GT(table.size(), 1000u);
        EXPECT_NE(Text(docs / page).find(table), std::string::npos) << page;
    }
}

TEST_F(Answers, AScrambledPasswordIsTakenAndAClearOneIsNot) {
    // The redirections of Run come behind the comment's sign, so that these hold.
    const std::string input = Write("Demo!Pass1\n"), output = (Scratch() / "scrambled.txt").string();
    ASSERT_EQ(Run("answers scramble " + Source() + " <" + input + " >\"" + output + "\" #").exitCode, 0);
    const std::string scrambled = Text(output);
    EXPECT_EQ(scrambled, "1e3e31327f0f01121152\n");
    ASSERT_EQ(CheckOf("[Base]\nSystemPassword=" + scrambled).exitCode, 0);
    embedded::control::MountDrive('D', Scratch());
    embedded::control::MountDrive('E', Medium());
    CComputer::ChangeDirectory("E:\\");
    CSetupIcf read("D:\\a.icf");
    EXPECT_STREQ(read.SystemAccountPassword(), "Demo!Pass1");
    const RunResult refused = Run("install " + Source() + " --answers " + Write("[Base]\nSystemPassword=Secret1\n"));
    EXPECT_EQ(refused.exitCode, 3);
    EXPECT_THAT(refused.errors, HasSubstr("kvsetup answers scramble"));
}

TEST_F(Answers, AMediumIsLookedThrough) {
    CopyMedium();
    const std::string check = "medium check \"" + Medium().string() + '"';
    const RunResult sound = Run(check);
    EXPECT_EQ(sound.exitCode, 0) << sound.errors;
    std::ofstream(Medium() / "SETUP.INF", std::ios::app) << "[Setup2]\nProdSubType=9\n";
    fs::remove(Medium() / "KVCORE.DLL");
    fs::copy(Medium() / "kvvctl.dll", Medium() / "KVDCEN.DLL", fs::copy_options::overwrite_existing);
    const RunResult spoilt = Run(check);
    EXPECT_EQ(spoilt.exitCode, 3);
    for (const char* text : {"did you mean Setup?", "KVCORE.DLL is missing", "KVDCEN.DLL lacks ZKBEncrypt"})
        EXPECT_THAT(spoilt.errors, HasSubstr(text));
}

}  // namespace
