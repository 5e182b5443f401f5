#include "instalib/remote_mailslot.h"

#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace {

class RemoteMailslotTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        m_slot = FileHandle(CreateMailslotA("\\\\.\\mailslot\\Zephranite_Setup_Status", 0, 0, nullptr));
        ASSERT_TRUE(m_slot);
    }
    void TearDown() override {
        m_slot.Reset();
        for (const char* name : {"SETUP.INF", "Setup.icf"}) DeleteFileA((ProgramFolder() + name).c_str());
        FreshMachine::TearDown();
    }
    // The oldest message, or "<none>".
    std::string Received() {
        char text[512] = "";
        DWORD read = 0;
        return ReadFile(m_slot.Get(), text, sizeof text, &read, nullptr) ? std::string(text, read) : "<none>";
    }
    static std::string Lower(std::string text) {
        for (char& character : text) character = char(std::tolower(character));
        return text;
    }

    FileHandle m_slot;
};

TEST_F(RemoteMailslotTest, EveryFormSendsItsFields) {
    const std::string self = ComputerName(), other = Lower(self);
    CRemoteMailslot member(other.c_str());
    const CRemoteMailslot copy(member);
    member = copy;
    EXPECT_NE(member.SendStatus(1, 0x80000000u), 0);
    EXPECT_EQ(Received(), self + "\\1\\-2147483648\\0") << "in another letter case it is this machine";
    EXPECT_NE(member.SendStatus(0xFFFFFFFFu, 0x7FFFFFFFu, "a\\b%s"), 0);
    EXPECT_EQ(Received(), self + "\\-1\\2147483647\\a\\b%s\\0");
    EXPECT_NE(CRemoteMailslot::SendStatus(nullptr, 1, 2, "one", nullptr), 0);
    EXPECT_EQ(Received(), self + "\\1\\2\\one\\");
    EXPECT_NE(CRemoteMailslot::SendStatus(self.c_str(), 1, 2, "\x83\x5c", "two", 0x80000001u, 5), 0);
    EXPECT_EQ(Received(), self + "\\1\\2\\\x83\x5c\\Reserved String\\-2147483647\\5");
}

TEST_F(RemoteMailslotTest, MessageOfMoreThan260BytesIsCutTo259) {
    const std::string frame = ComputerName() + "\\1\\2\\\\";
    for (const std::size_t length : {259u, 260u, 261u, 2000u}) {
        const std::string text(length - frame.size(), 'x');
        EXPECT_NE(CRemoteMailslot::SendStatus(nullptr, 1, 2, text.c_str(), ""), 0);
        const std::string message = Received();
        EXPECT_EQ(message.size(), length > 260 ? 259 : length);
        EXPECT_EQ(message, (ComputerName() + "\\1\\2\\" + text + "\\").substr(0, message.size()));
    }
}

TEST_F(RemoteMailslotTest, ReportIsLostWithoutAReceiver) {
    EXPECT_EQ(CRemoteMailslot::SendStatus("NOSUCHMACHINE", 1, 2), 0);
    m_slot.Reset();
    EXPECT_EQ(CRemoteMailslot::SendStatus(nullptr, 1, 2), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
}

// Last in this file: the code stays with the process.
TEST_F(RemoteMailslotTest, TheComponentCodeStaysOnceItIsFound) {
    const auto send = [&](const char* library) {
        WritePrivateProfileStringA("ProductInfo", "GUIDLL", library, (ProgramFolder() + "SETUP.INF").c_str());
        CRemoteMailslot::SendStatus(nullptr, 1, 2);
        const std::string message = Received();
        return message.substr(message.rfind('\\') + 1);
    };
    EXPECT_EQ(send(""), "0");
    EXPECT_EQ(send("OTHER.DLL"), "0");
    EXPECT_EQ(send("compgui14.dll"), "1027");
    EXPECT_EQ(send("COMPGUI01.DLL"), "1027");
    EXPECT_EQ(send(nullptr), "1027");
}

}  // namespace
