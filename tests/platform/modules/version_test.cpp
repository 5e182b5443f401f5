#include "tests/support/fresh_machine.h"
#include "tests/support/pe_image.h"

namespace {

class VersionResource : public FreshMachine {
  protected:
    static std::string Place(const ModuleImage& image) {
        const std::string path = Folder() + "\\INFO.DLL";
        WriteBytes(path, BuildModule(image));
        return path;
    }
    // Reads the file's block into exactly as many bytes as are asked for.
    static TestBytes Block(const std::string& path) {
        TestBytes block(GetFileVersionInfoSizeA(path.c_str(), nullptr));
        if (block.empty() || !GetFileVersionInfoA(path.c_str(), 0, DWORD(block.size()), block.data())) return {};
        return block;
    }
    static std::string Text(const TestBytes& block, const char* path) {
        void* value = nullptr;
        UINT size = 0;
        if (!VerQueryValueA(block.data(), path, &value, &size)) return "<none>";
        const std::string text(static_cast<const char*>(value), size);
        return text.ends_with('\0') ? text.substr(0, text.size() - 1) : text + "<unterminated>";
    }
};

class VersionResourceOfBothSizes : public VersionResource, public testing::WithParamInterface<bool> {};

TEST_P(VersionResourceOfBothSizes, TellsRecordTranslationAndTexts) {
    const TestBytes block =
        Block(Place({.fileVersion = {2, 1, 2600, 7},
                     .productVersion = {11, 5, 0, 1},
                     .language = 0x0407,
                     .codePage = 1250,
                     .strings = {{u"CompanyName", u"Maker"}, {u"ProductVersion", u"11.5"}, {u"Empty", u""}},
                     .sixtyFourBit = GetParam()}));
    ASSERT_FALSE(block.empty());
    VS_FIXEDFILEINFO* record = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueA(block.data(), "\\", reinterpret_cast<void**>(&record), &size));
    EXPECT_EQ(size, 52u);
    EXPECT_EQ(record->dwSignature, 0xFEEF04BDu);
    EXPECT_EQ(record->dwFileVersionMS, 0x00020001u);
    EXPECT_EQ(record->dwFileVersionLS, 0x0A280007u);
    EXPECT_EQ(record->dwProductVersionMS, 0x000B0005u);
    DWORD* translation = nullptr;
    ASSERT_TRUE(
        VerQueryValueA(block.data(), "\\VarFileInfo\\Translation", reinterpret_cast<void**>(&translation), &size));
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(*translation, 0x04E20407u) << "code page above language";
    EXPECT_EQ(Text(block, "\\StringFileInfo\\040704e2\\ProductVersion"), "11.5");
    EXPECT_EQ(Text(block, "\\STRINGFILEINFO\\040704E2\\companyname"), "Maker");
    EXPECT_EQ(Text(block, "\\StringFileInfo\\040704e2\\Missing"), "<none>");
    EXPECT_EQ(Text(block, "\\StringFileInfo\\040904e4\\CompanyName"), "<none>");
}

INSTANTIATE_TEST_SUITE_P(Pe, VersionResourceOfBothSizes, testing::Bool(), [](const auto& instance) {
    return instance.param ? std::string("PlusOf64Bits") : std::string("Of32Bits");
});

TEST_F(VersionResource, TextsAreInTheAnsiCodePage) {
    const TestBytes block = Block(Place({.strings = {{u"CompanyName", u"M\u00fcller \u20ac"}, {u"Next", u"after"}}}));
    EXPECT_EQ(Text(block, "\\StringFileInfo\\040904e4\\CompanyName"), "M\xFCller \x80");
    EXPECT_EQ(Text(block, "\\StringFileInfo\\040904e4\\Next"), "after");
    EXPECT_EQ(Text(block, "\\StringFileInfo\\040904e4\\CompanyName"), "M\xFCller \x80") << "asked a second time";
}

TEST_F(VersionResource, FilesWithoutOneAnswerNoSize) {
    WriteBytes(Folder() + "\\TEXT.DLL", "no module at all");
    const std::string none = Place({.hasVersion = false});
    DWORD ignored = 0xdeadbeef;
    EXPECT_TRUE(FailsWith(ERROR_RESOURCE_DATA_NOT_FOUND, GetFileVersionInfoSizeA(none.c_str(), &ignored)));
    EXPECT_EQ(ignored, 0u);
    EXPECT_EQ(GetFileVersionInfoSizeA((Folder() + "\\TEXT.DLL").c_str(), nullptr), 0u);
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND, GetFileVersionInfoSizeA((Folder() + "\\NONE.DLL").c_str(), nullptr)));
}

TEST_F(VersionResource, WithoutTranslationTheRecordStands) {
    const TestBytes block = Block(Place({.hasTranslation = false}));
    EXPECT_EQ(Text(block, "\\VarFileInfo\\Translation"), "<none>");
    void* record = nullptr;
    UINT size = 0;
    EXPECT_TRUE(VerQueryValueA(block.data(), "\\", &record, &size));
}

TEST_F(VersionResource, IsFoundByBareNameInTheSystemDirectory) {
    const TestBytes block = Block("msi.dll");
    ASSERT_FALSE(block.empty());
    VS_FIXEDFILEINFO* record = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueA(block.data(), "\\", reinterpret_cast<void**>(&record), &size));
    EXPECT_GE(record->dwFileVersionMS >> 16, 2u);
}

}  // namespace
