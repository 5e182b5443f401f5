// .reg text in and out of a machine.
#include "platform/embedded/control/registry.h"
#include "tests/support/fresh_machine.h"

namespace control = embedded::control;

namespace {

constexpr const char* kKey = "SOFTWARE\\InstalibTest";
const std::string kHeader4 = "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\InstalibTest]\r\n";
const std::string kHeader5 =
    "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\InstalibTest]\r\n";

std::string Utf16(const std::string& ascii, bool bigEndian = false) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char each : ascii) bytes += bigEndian ? std::string{'\0', each} : std::string{each, '\0'};
    return bytes;
}

class RegText : public FreshMachine {
  protected:
    std::string Import(const std::string& bytes) const {
        std::string problem = "no reason given";
        return control::ImportRegistry(MachineFolder(), bytes, &problem) ? "" : problem;
    }
    std::string Export(const std::string& key, control::RegistryTextVersion version) const {
        std::string bytes, problem;
        EXPECT_TRUE(control::ExportRegistry(MachineFolder(), key, version, &bytes, &problem)) << problem;
        return bytes;
    }
};

struct Form {
    const char* what;
    bool version5;
    std::string line;
    DWORD type;
    TestBytes data;
};
class RegTextForm : public RegText, public testing::WithParamInterface<Form> {};

TEST_P(RegTextForm, IsReadInEveryEncodingAndLineEnd) {
    const std::string text = (GetParam().version5 ? kHeader5 : kHeader4) + GetParam().line + "\r\n";
    std::string unixText;
    for (const char each : text) {
        if (each != '\r') unixText += each;
    }
    for (const std::string& bytes : {text, unixText, Utf16(text), Utf16(text, true), text.substr(0, text.size() - 2)}) {
        DeleteKeyTree(kKey);
        ASSERT_EQ(Import(bytes), "");
        const std::optional<Raw> raw = GetRaw(kKey, "V");
        ASSERT_TRUE(raw);
        EXPECT_EQ(raw->type, GetParam().type);
        EXPECT_EQ(raw->data, GetParam().data);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Values, RegTextForm,
    testing::Values(
        Form{"Text", true, "\"V\"=\"a b\"", REG_SZ, {'a', ' ', 'b', 0}},
        Form{"Escapes", true, R"("V"="C:\\x \"y\"")", REG_SZ, {'C', ':', '\\', 'x', ' ', '"', 'y', '"', 0}},
        Form{"EmptyText", false, "\"V\"=\"\"", REG_SZ, {0}},
        Form{"TextOverLines", false, "\"V\"=\"a\nb\"", REG_SZ, {'a', '\n', 'b', 0}},
        Form{"CommentBehind", false, "\"V\"=dword:1 ; why", REG_DWORD, {1, 0, 0, 0}},
        Form{"Number", true, "\"V\"=dword:DEADbeef", REG_DWORD, {0xEF, 0xBE, 0xAD, 0xDE}},
        Form{"Blanks", true, "  \"V\" = hex:01, 02", REG_BINARY, {1, 2}},
        Form{"Binary", true, "\"V\"=hex:01,2,\\\r\n  ff", REG_BINARY, {1, 2, 255}},
        Form{"EmptyBinary", true, "\"V\"=hex:", REG_BINARY, {}}, Form{"None", true, "\"V\"=hex(0):07", REG_NONE, {7}},
        Form{"ExpandText5", true, "\"V\"=hex(2):25,00,54,00,00,00", REG_EXPAND_SZ, {'%', 'T', 0}},
        Form{"ExpandText4", false, "\"V\"=hex(2):25,54,00", REG_EXPAND_SZ, {'%', 'T', 0}},
        Form{"List5", true, "\"V\"=hex(7):61,00,00,00,\\\r\n  62,00,00,00,00,00", REG_MULTI_SZ, {'a', 0, 'b', 0, 0}},
        Form{"UnterminatedText5", true, "\"V\"=hex(1):61,00,e9,00", REG_SZ, {'a', 0xE9}},
        Form{"LongNumber", true, "\"V\"=hex(b):01,00,00,00,00,00,00,80", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0x80}},
        Form{"TypeOfOurOwn", true, "\"V\"=hex(1267):78", 0x1267, {'x'}}),
    kCaseName);

TEST_F(RegText, DeletionsDefaultValuesAndCommentsAreUnderstood) {
    SetText(kKey, "Old", "x");
    MakeKey(std::string(kKey) + "\\Gone\\Below");
    ASSERT_EQ(Import("REGEDIT4\n; comment\n\n[HKLM\\SOFTWARE\\InstalibTest]\n\"Old\"=-\n\"Missing\"=-\n@=\"default\"\n"
                     "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\InstalibTest\\Gone]\n\"Ignored\"=\"x\"\n"
                     "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\InstalibTest\\Never]\n"
                     "[HKEY_CURRENT_USER\\Software\\a]b]\n\"U\"=\"1\"\n"),
              "");
    EXPECT_EQ(GetText(kKey, "Old"), "<none>");
    EXPECT_EQ(GetText(kKey, nullptr), "default");
    EXPECT_FALSE(KeyExists(std::string(kKey) + "\\Gone"));
    EXPECT_EQ(GetText(HKEY_CURRENT_USER, "Software\\a]b", "U"), "1");
}

struct Bad {
    const char* what;
    std::string bytes;
    const char* problem;
};
class RegTextBad : public RegText, public testing::WithParamInterface<Bad> {};

TEST_P(RegTextBad, IsRefusedWithItsLineAndChangesNothing) {
    EXPECT_THAT(Import(GetParam().bytes), testing::StartsWith(GetParam().problem));
    EXPECT_FALSE(KeyExists(kKey));
}

const std::string kOneLine = kHeader4 + "\"Good\"=\"x\"\r\n";  // what follows is line 5
INSTANTIATE_TEST_SUITE_P(
    Files, RegTextBad,
    testing::Values(Bad{"Empty", "", "line 1: the file begins"},
                    Bad{"OtherFile", "MZ\x90\x01\x02", "line 1: the file begins"},
                    Bad{"NoQuote", kOneLine + "\"V=1\r\n\r\n", "line 5: no closing quotation mark"},
                    Bad{"NoEquals", kOneLine + "\"V\"\r\n", "line 5: no equals sign"},
                    Bad{"NoData", kOneLine + "\"V\"=\r\n", "line 5: data of an unknown form"},
                    Bad{"LongNumber", kOneLine + "\"V\"=dword:123456789\r\n", "line 5: a dword"},
                    Bad{"NoNumber", kOneLine + "\"V\"=dword:\r\n", "line 5: a dword"},
                    Bad{"BadByte", kOneLine + "\"V\"=hex:01,\\\r\n  0g\r\n", "line 5: bytes are separated"},
                    Bad{"NoComma", kOneLine + "\"V\"=hex:01 02\r\n", "line 5: bytes are separated"},
                    Bad{"BadType", kOneLine + "\"V\"=hex(x):01\r\n", "line 5: no type"},
                    Bad{"Trailing", kOneLine + "\"V\"=dword:1 rest\r\n", "line 5: more than a value"},
                    Bad{"NoBracket", kOneLine + "[HKEY_LOCAL_MACHINE\\X\r\n", "line 5: no closing bracket"},
                    Bad{"UnknownRoot", kOneLine + "[HKEY_NOWHERE\\X]\r\n", "line 5: no such root"},
                    Bad{"RootDeleted", kOneLine + "[-HKEY_LOCAL_MACHINE]\r\n", "line 5: a root key"},
                    Bad{"LongKey", kOneLine + "[HKEY_LOCAL_MACHINE\\" + std::string(256, 'k') + "]\r\n",
                        "line 5: the name"},
                    Bad{"NoKey", "REGEDIT4\n\"V\"=\"x\"\n", "line 2: a value before"}),
    kCaseName);

// Whatever a value holds, an export read into another machine gives it back.
TEST_F(RegText, ExportComesBackByteForByte) {
    const std::vector<std::pair<DWORD, TestBytes>> values = {{REG_SZ, {'a', '\\', '"', 0}},
                                                             {REG_SZ, {'a'}},
                                                             {REG_SZ, {}},
                                                             {REG_SZ, {'a', 0, 'b', 0}},
                                                             {REG_SZ, {'a', '\n', 0}},
                                                             {REG_SZ, {0xE9, 0}},
                                                             {REG_DWORD, {1, 2}},
                                                             {REG_DWORD, {1, 2, 3, 4}},
                                                             {REG_EXPAND_SZ, {'%', 0}},
                                                             {REG_BINARY, TestBytes(300, 7)},
                                                             {REG_NONE, {}},
                                                             {REG_MULTI_SZ, {'a', 0, 0}}};
    for (std::size_t i = 0; i < values.size(); ++i) {
        SetRaw(kKey, ("V\"\\" + std::to_string(i)).c_str(), values[i].first, values[i].second);
    }
    SetText(std::string(kKey) + "\\Below", nullptr, "default");
    for (const auto version : {control::RegistryTextVersion::Version4, control::RegistryTextVersion::Version5}) {
        const std::string text = Export("HKEY_LOCAL_MACHINE\\SOFTWARE\\InstalibTest", version);
        DeleteKeyTree(kKey);
        ASSERT_EQ(Import(text), "");
        for (std::size_t i = 0; i < values.size(); ++i) {
            const std::optional<Raw> raw = GetRaw(kKey, ("V\"\\" + std::to_string(i)).c_str());
            ASSERT_TRUE(raw) << i;
            EXPECT_EQ(raw->type, values[i].first) << i;
            EXPECT_EQ(raw->data, values[i].second) << i;
        }
        EXPECT_EQ(GetText(std::string(kKey) + "\\Below", nullptr), "default");
        EXPECT_EQ(Export("HKEY_LOCAL_MACHINE\\SOFTWARE\\InstalibTest", version), text);
    }
}

TEST_F(RegText, ExportLooksLikeTheToolsOwn) {
    SetText(kKey, "Path", "C:\\x");
    SetRaw(kKey, "Env", REG_EXPAND_SZ, {'%', 0});
    EXPECT_EQ(Export("HKEY_LOCAL_MACHINE\\SOFTWARE\\InstalibTest", control::RegistryTextVersion::Version5),
              Utf16("Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\InstalibTest]\r\n"
                    "\"Path\"=\"C:\\\\x\"\r\n\"Env\"=hex(2):25,00,00,00\r\n\r\n"));
}

}  // namespace
