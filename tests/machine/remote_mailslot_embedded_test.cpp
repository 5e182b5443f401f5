// Reports to another machine of the world.
#include "instalib/remote_mailslot.h"
#include "platform/embedded/control/machine.h"
#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace control = embedded::control;

namespace {

class MailslotOfAnotherMachineTest : public FreshMachine {};

TEST_F(MailslotOfAnotherMachineTest, SenderIsTheConfiguredNameWhenItFits) {
    control::UseMachine(AddMachine("SRV1"));
    const FileHandle slot(CreateMailslotA("\\\\.\\mailslot\\Zephranite_Setup_Status", 0, 0, nullptr));
    control::UseMachine(MachineFolder());
    const std::string self = ComputerName(), file = ProgramFolder() + "Setup.icf";
    MakeFolder(ProgramFolder().substr(0, ProgramFolder().size() - 1));
    const std::pair<std::string, std::string> cases[] = {{"", self},
                                                         {"KIOSK", "KIOSK"},
                                                         {"\"  KIOSK 7  \"", "KIOSK 7"},
                                                         {std::string(15, 'n'), std::string(15, 'n')},
                                                         {std::string(16, 'n'), self},
                                                         {std::string(300, 'n'), self},
                                                         {"\"  \"", self}};
    for (const auto& [name, sender] : cases) {
        WriteBytes(file, "[Install]\r\nHostName=" + name + "\r\n");
        EXPECT_NE(CRemoteMailslot::SendStatus("srv1", 1, 2, "one", "two"), 0);
        char text[300] = "";
        DWORD read = 0;
        EXPECT_TRUE(ReadFile(slot.Get(), text, sizeof text, &read, nullptr));
        EXPECT_EQ(std::string(text, read), sender + "\\1\\2\\one\\two");
    }
}

}  // namespace
