#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace {

class Mailslots : public FreshMachine {
  protected:
    static constexpr char kName[] = "\\\\.\\mailslot\\InstalibTest\\One";

    static FileHandle Own(const char* name = kName, DWORD timeout = 0) {
        return FileHandle(CreateMailslotA(name, 0, timeout, nullptr));
    }
    static FileHandle Open(const std::string& name = kName, DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE) {
        SetLastError(0xdeadbeef);
        return FileHandle(
            CreateFileA(name.c_str(), GENERIC_WRITE, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    }
    static bool Write(const FileHandle& slot, const std::string& text) {
        DWORD written = 0;
        return WriteFile(slot.Get(), text.data(), DWORD(text.size()), &written, nullptr) && written == text.size();
    }
    static std::string Read(const FileHandle& slot, DWORD size = 64) {
        std::string text(size, '\0');
        DWORD read = 0;
        if (!ReadFile(slot.Get(), text.data(), size, &read, nullptr)) return '<' + std::to_string(GetLastError()) + ">";
        return text.substr(0, read);
    }
};

TEST_F(Mailslots, OneWriteIsOneMessageAndTheOldestComesFirst) {
    SKIP_UNDER_WINE("mailslots count one message, cut what does not fit and lose empty messages");
    const FileHandle slot = Own();
    ASSERT_TRUE(slot);
    const FileHandle first = Open(), second = Open();
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(Write(first, "one") && Write(second, std::string("t\0o", 3)) && Write(first, ""));
    DWORD next = 0, count = 0;
    ASSERT_TRUE(GetMailslotInfo(slot.Get(), nullptr, &next, &count, nullptr));
    EXPECT_EQ(next, 3u);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(Read(slot, 2), "<122>") << "a message that does not fit stays";
    EXPECT_EQ(Read(slot), "one");
    EXPECT_EQ(Read(slot), std::string("t\0o", 3));
    EXPECT_EQ(Read(slot), "");
    EXPECT_EQ(Read(slot), "<121>") << "the time-out of reads has passed";
    ASSERT_TRUE(GetMailslotInfo(slot.Get(), nullptr, &next, nullptr, nullptr));
    EXPECT_EQ(next, MAILSLOT_NO_MESSAGE);
}

TEST_F(Mailslots, NamesCompareWithoutRegardToCase) {
    const FileHandle slot = Own();
    EXPECT_TRUE(Open("\\\\.\\MAILSLOT\\instalibtest\\ONE"));
}

TEST_F(Mailslots, SlotHasOneOwnerAndGoesWithIt) {
    EXPECT_FALSE(Open());
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    {
        const FileHandle slot = Own();
        EXPECT_FALSE(Own());
        EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
        EXPECT_TRUE(Write(Open(), "lost with its owner"));
    }
    EXPECT_FALSE(Open());
    EXPECT_EQ(Read(Own()), "<121>");
}

}  // namespace
