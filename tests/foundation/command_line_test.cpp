// The map of texts and the command line that is one.
#include "instalib/command_line.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

namespace {

using Entries = std::map<std::string, std::string>;

Entries EntriesOf(const CMapStringToString& map) {
    Entries entries;
    for (POSITION position = map.GetStartPosition(); position != nullptr;) {
        CString key, value;
        map.GetNextAssoc(position, key, value);
        entries[std::string(key)] = value;
    }
    return entries;
}

TEST(MapTest, AgreesWithTheStandardMapOverManyChanges) {
    CMapStringToString map;
    Entries expected;
    unsigned random = 1;
    for (int i = 0; i < 20000; ++i) {
        random = random * 1103515245u + 12345u;
        const std::string key = "key" + std::to_string(random >> 16 & 0x3FF);
        if (random & 0x80000000u) {
            EXPECT_EQ(map.RemoveKey(key.c_str()) != 0, expected.erase(key) != 0);
        } else {
            map.SetAt(key.c_str(), std::to_string(i).c_str());
            expected[key] = std::to_string(i);
        }
    }
    EXPECT_EQ(EntriesOf(map), expected);
    EXPECT_EQ(map.GetCount(), int(expected.size()));
}

TEST(MapTest, CopyIsIndependentAndWalksInTheOrderOfSetting) {
    CMapStringToString map;
    for (const char* key : {"z", "a", "m", "a"}) map.SetAt(key, key);
    CMapStringToString copy(map);
    map.RemoveKey("z");
    std::string order;
    for (POSITION position = copy.GetStartPosition(); position != nullptr;) {
        CString key, value;
        copy.GetNextAssoc(position, key, value);
        order += key;
        copy.RemoveKey(key);  // the entry just answered may go
    }
    EXPECT_EQ(order, "zam");
    EXPECT_NE(copy.IsEmpty(), 0);
    copy = map;
    EXPECT_EQ(EntriesOf(copy), (Entries{{"a", "a"}, {"m", "m"}}));
}

struct Line {
    const char* name;
    const char* text;
    char switchCharacter;
    Entries entries;
};

class CommandLineTest : public testing::TestWithParam<Line> {};

TEST_P(CommandLineTest, IsSplitIntoSwitchesAndTexts) {
    EXPECT_EQ(EntriesOf(CCommandLineMap(GetParam().text, GetParam().switchCharacter)), GetParam().entries);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CommandLineTest,
    testing::Values(
        Line{"Typical",
             "setup.exe -r:HOST -s data",
             '-',
             {{"#0", "setup.exe"}, {"r", "HOST"}, {"s", ""}, {"#1", "data"}}},
        Line{"Empty", "", '-', {}}, Line{"OnlyBlanks", "   ", '-', {}},
        Line{"RunsOfBlanksAreOne", "  a   b ", '-', {{"#0", "a"}, {"#1", "b"}}},
        Line{"TabsAreNoSeparators", "a\tb c", '-', {{"#0", "a\tb"}, {"#1", "c"}}},
        Line{"QuotesHaveNoMeaning", "\"C:\\Program Files\\x\"", '-', {{"#0", "\"C:\\Program"}, {"#1", "Files\\x\""}}},
        Line{"ValueKeepsFurtherColons", "-f:C:\\dir", '-', {{"f", "C:\\dir"}}},
        Line{"ValueBehindTheCharacter", "-sVALUE", '-', {{"s", "VALUE"}}},
        Line{"LongNameNeedsAColon", "-name:value -other", '-', {{"name", "value"}, {"o", "ther"}}},
        Line{"EmptyName", "-:x", '-', {{"", "x"}}}, Line{"LoneSwitchCharacter", "- a", '-', {{"#0", "a"}}},
        Line{"LastOfEqualSwitchesCounts", "-r:ONE -r:TWO", '-', {{"r", "TWO"}}},
        Line{"TextAndSwitchShareAKey", "-#0:x a", '-', {{"#0", "a"}}},
        Line{"SwitchAfterTextSharesItsKey", "a -#0:x", '-', {{"#0", "x"}}},
        Line{"Distribution",
             "-SMSInstall -SMSUninstall",
             '-',
             {{"SMSInstall", "KORVAULT.ICF"}, {"SMSUninstall", "KORVAULT.ICF"}}},
        Line{"DistributionWithAFile", "-SMSInstall:X.ICF", '-', {{"SMSInstall", "X.ICF"}}},
        Line{"DistributionInLowerCase", "-smsinstall", '-', {{"s", "msinstall"}}},
        Line{"DistributionWithASlash", "/SMSInstall -SMSInstall", '/', {{"S", "MSInstall"}, {"#0", "-SMSInstall"}}},
        Line{"SwitchCharacterIsAColon", ":a:b", ':', {{"a", "b"}}}),
    [](const auto& line) { return line.param.name; });

TEST(CommandLineMapTest, QueriesAnswerSwitchesTextsAndDefaults) {
    const CCommandLineMap map("setup.exe -r:HOST -long:1 data", '-');
    EXPECT_NE(map.GetSwitch('r'), 0);
    EXPECT_NE(map.GetSwitch("long"), 0);
    EXPECT_EQ(map.GetSwitch("R"), 0);
    EXPECT_EQ(map.GetSwitch('R'), 0);
    CString value("old");
    EXPECT_NE(map.GetSwitch('r', value, "def"), 0);
    EXPECT_STREQ(value, "HOST");
    EXPECT_EQ(map.GetSwitch('q', value, nullptr), 0);
    EXPECT_STREQ(value, "HOST");
    EXPECT_EQ(map.GetSwitch("q", value, "def"), 0);
    EXPECT_STREQ(value, "def");
    EXPECT_NE(map.GetText(1, value), 0);
    EXPECT_STREQ(value, "data");
    EXPECT_EQ(map.GetText(2, value), 0);
    EXPECT_STREQ(value, "data");
    const CCommandLineMap copy(map);
    EXPECT_EQ(EntriesOf(copy), (Entries{{"#0", "setup.exe"}, {"r", "HOST"}, {"long", "1"}, {"#1", "data"}}));
    EXPECT_TRUE(CCommandLineMap(nullptr, '-').IsEmpty());
}

}  // namespace
