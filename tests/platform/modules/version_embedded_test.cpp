// Version resources come from files that anybody may have put there: whatever stands in them, a reader ends and stays
// within its block. The sanitizers see what these loops do not.
#include <cstring>
#include <random>

#include "tests/support/fresh_machine.h"
#include "tests/support/pe_image.h"

namespace {

class HostileVersionResource : public FreshMachine {
  protected:
    static ModuleImage Image() {
        return {.fileVersion = {2, 0, 2600, 2}, .strings = {{u"CompanyName", u"Maker"}, {u"Comments", u"None at all"}}};
    }

    // Asks for everything; true when the fixed record was given out.
    static bool Explore(const std::string& bytes) {
        const std::string path = Folder() + "\\HOSTILE.DLL";
        WriteBytes(path, bytes);
        const DWORD size = GetFileVersionInfoSizeA(path.c_str(), nullptr);
        if (size == 0) return false;
        std::vector<BYTE> block(size);  // exactly: one byte too far is seen by the address sanitizer
        EXPECT_TRUE(GetFileVersionInfoA(path.c_str(), 0, size, block.data()));
        for (const char* const name : {"\\VarFileInfo\\Translation", "\\StringFileInfo\\040904e4\\CompanyName",
                                       "\\StringFileInfo\\040904e4\\Comments", "\\StringFileInfo\\040904e4\\None"}) {
            Query(block, name);
        }
        return Query(block, "\\");
    }

    static bool Query(const std::vector<BYTE>& block, const char* name) {
        void* value = nullptr;
        UINT size = 0;
        if (!VerQueryValueA(block.data(), name, &value, &size)) return false;
        const BYTE* const start = static_cast<const BYTE*>(value);
        EXPECT_GE(start, block.data()) << name;
        EXPECT_LE(start + size, block.data() + block.size()) << name;
        return size >= 52;
    }
};

TEST_F(HostileVersionResource, CutFilesAreReadToTheirEndAtMost) {
    const std::string whole = BuildModule(Image());
    ASSERT_TRUE(Explore(whole));
    for (std::size_t length = 0; length < whole.size(); length += length < 0x400 ? 7 : 1)
        Explore(whole.substr(0, length));
}

TEST_F(HostileVersionResource, FlippedBitsLeadNowhereElse) {
    const std::string whole = BuildModule(Image());
    std::mt19937 random(20260101);
    for (int round = 0; round < 3000; ++round) {
        std::string bytes = whole;
        for (int flips = 1 + int(random() % 4); flips > 0; --flips) {
            char& byte = bytes[random() % bytes.size()];
            byte = char(byte ^ (1 << random() % 8));
        }
        Explore(bytes);
    }
}

TEST_F(HostileVersionResource, EveryFieldOfTheResourceMayBeExtreme) {
    const std::string whole = BuildModule(Image());
    for (std::size_t offset = 0x3C; offset + 2 <= whole.size(); offset += 2) {
        for (const unsigned value : {0u, 1u, 6u, 0x7FFFu, 0xFFFFu}) {
            std::string bytes = whole;
            bytes[offset] = char(value & 0xFF);
            bytes[offset + 1] = char(value >> 8);
            Explore(bytes);
        }
    }
}

TEST_F(HostileVersionResource, BlockThatIsTooSmallGetsWhatFits) {
    const std::string path = Folder() + "\\SMALL.DLL";
    WriteBytes(path, BuildModule(Image()));
    const DWORD whole = GetFileVersionInfoSizeA(path.c_str(), nullptr);
    for (DWORD size = 0; size < whole; ++size) {
        std::vector<BYTE> block(size);
        if (!GetFileVersionInfoA(path.c_str(), 0, size, block.data())) continue;
        Query(block, "\\");
        Query(block, "\\StringFileInfo\\040904e4\\Comments");
    }
}

}  // namespace
