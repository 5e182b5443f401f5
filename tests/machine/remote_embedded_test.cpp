#include "instalib/remote.h"

#include <algorithm>
#include <array>
#include <memory>

#include "platform/embedded/control/machine.h"
#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace {

using Session = std::unique_ptr<CKVRemote>;

class Lines : public CComboBox {
  public:
    explicit Lines(bool hasWindow = true) : CComboBox(hasWindow ? reinterpret_cast<HWND>(this) : nullptr) {}
    int AddString(const char* line) override { return text += std::string(line) + " ", 0; }
    std::string text;
};

class RemoteTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        AddMachine("SRV1");
        std::u16string server = u"SRV1", name = u"backup", password = u"secret";
        USER_INFO_1 user{};
        user.usri1_name = name.data();
        user.usri1_password = password.data();
        user.usri1_priv = USER_PRIV_USER;
        user.usri1_flags = UF_SCRIPT;
        ASSERT_EQ(NetUserAdd(server.data(), 1, reinterpret_cast<BYTE*>(&user), nullptr), 0u);
    }
    // Whether the machine's user holds a connection of this name; it is cancelled.
    static bool WasConnected(const char* name) { return WNetCancelConnection2A(name, 0, TRUE) == NO_ERROR; }
};

TEST_F(RemoteTest, FieldsAreFilledAndCut) {
    CKVRemote local;
    EXPECT_STREQ(local.MachineName(), ComputerName().c_str());
    EXPECT_STREQ(local.UserName(), "Administrator");
    EXPECT_STREQ(local.Password(), "");
    EXPECT_EQ(local.IsRemoteMachine() + local.IsConnect() + int(local.GetShareCount()), 0);
    EXPECT_EQ(local.GetAllSahres(), nullptr);
    const std::string long300(300, 'x');
    CKVRemote cut(long300.c_str(), long300.c_str(), long300.c_str());
    EXPECT_EQ(std::string(cut.MachineName()).size(), 15u);
    EXPECT_EQ(std::string(cut.UserName()).size(), 259u);
    EXPECT_EQ(std::string(cut.Password()).size(), 27u);
    EXPECT_EQ(cut.IsRemoteMachine(), 1);
    memset(cut.MachineName(), 'y', 16);
    memset(cut.UserName(), 'y', 260);
    memset(cut.Password(), 'y', 28);
    EXPECT_EQ(cut.Connect(nullptr, 0), DWORD(ERROR_BAD_NETPATH)) << "a caller may leave no terminator";
    EXPECT_EQ(CKVRemote::IsLocalMachine("nosuch"), 0);
    CKVRemote none(nullptr, nullptr, nullptr);
    EXPECT_STREQ(none.UserName(), "");
}

TEST_F(RemoteTest, LogsOnToTheTarget) {
    const struct {
        const char *machine, *user, *password, *share;
        DWORD error;
    } cases[] = {{"SRV1", "backup", "secret", "ipc$", 0},     {"srv1", "SRV1\\backup", "secret", nullptr, 0},
                 {"SRV1", "backup", "Secret", "ipc$", 1326},  {"SRV1", "nobody", "secret", "", 1326},
                 {"SRV1", "DOM\\backup", "secret", "", 1326}, {"SRV9", "backup", "secret", "ipc$", 53},
                 {"SRV1", "backup", "secret", "NOSHARE", 67}};
    for (const auto& [machine, user, password, share, error] : cases) {
        SCOPED_TRACE(std::string(machine) + ' ' + user);
        CKVRemote session(machine, user, password);
        EXPECT_EQ(session.Connect(share, 1), error);
        EXPECT_EQ(session.IsConnect(), 0) << "only tested";
        EXPECT_FALSE(WasConnected("\\\\SRV1\\ipc$") || WasConnected("\\\\SRV1"));
        EXPECT_EQ(session.Connect(share, 0), error);
        EXPECT_EQ(session.IsConnect(), error == 0);
        session.Disconnect();
        EXPECT_EQ(session.IsConnect(), 0);
        WNetCancelConnection2A("\\\\srv1", 0, TRUE);  // another share is the caller's to cancel
    }
}

TEST_F(RemoteTest, SecondConnectDoesNothing) {
    CKVRemote session("SRV1", "backup", "secret");
    ASSERT_EQ(session.Connect("ipc$", 0), 0u);
    strcpy(session.Password(), "wrong");
    EXPECT_EQ(session.Connect("ipc$", 0), 0u);
    EXPECT_EQ(session.Connect(nullptr, 1), 0u);
    EXPECT_EQ(session.IsConnect(), 1);
}

TEST_F(RemoteTest, RegistryKeyIsTheTargetsAndKept) {
    CKVRemote session("SRV1", "backup", "secret"), local;
    EXPECT_EQ(session.GetMachineRegKey(), HKEY_LOCAL_MACHINE) << "not connected";
    EXPECT_EQ(local.GetMachineRegKey(), HKEY_LOCAL_MACHINE);
    ASSERT_EQ(session.Connect("ipc$", 0), 0u);
    const HKEY key = session.GetMachineRegKey();
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(session.GetMachineRegKey(), key);
    EXPECT_EQ(GetText(key, "SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName", "ComputerName"), "SRV1");
    session.Disconnect();
    ASSERT_EQ(session.Connect("ipc$", 0), 0u);
    embedded::control::FailCall(embedded::control::CallKind::Registry, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(session.GetMachineRegKey(), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    embedded::control::ClearFault();
}

TEST_F(RemoteTest, CopiesCloseWhatTheyShareOnceInEveryOrder) {
    std::array order{0, 1, 2};
    do {
        Session sessions[3];
        sessions[0] = std::make_unique<CKVRemote>("SRV1", "backup", "secret");
        ASSERT_EQ(sessions[0]->Connect("ipc$", 0), 0u);
        sessions[1] = std::make_unique<CKVRemote>(*sessions[0]);
        sessions[2] = std::make_unique<CKVRemote>();
        *sessions[2] = *sessions[1];
        EXPECT_EQ(sessions[2]->GetMachineRegKey(), sessions[0]->GetMachineRegKey());
        EXPECT_STREQ(sessions[2]->Password(), "secret");
        for (const int next : order) {
            sessions[next].reset();
            EXPECT_FALSE(WasConnected("\\\\SRV1\\ipc$")) << "closed by the first of them";
            for (Session& session : sessions) EXPECT_TRUE(!session || session->IsConnect() == 0);
            EXPECT_EQ(embedded::control::OpenReport(), "");
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(RemoteTest, DriveSharesAreListed) {
    CKVRemote session("SRV1", "backup", "secret"), missing("SRV9");
    Lines lines, noWindow(false);
    EXPECT_EQ(session.EnumerateShares(nullptr) + session.EnumerateShares(&noWindow), 0);
    EXPECT_EQ(session.EnumerateShares(&lines), 1);
    EXPECT_EQ(lines.text, "C$ ") << "neither ADMIN$ nor IPC$";
    EXPECT_EQ(session.GetShareCount(), 3u);
    EXPECT_EQ(missing.EnumerateShares(&lines), 0);
    EXPECT_EQ(missing.GetShareCount(), 0u);
    EXPECT_EQ(lines.text, "C$ ");
    embedded::control::FailCall(embedded::control::CallKind::Network, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(session.EnumerateShares(&lines), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(session.GetShareCount(), 0u) << "nothing is left of the last enumeration";
    embedded::control::ClearFault();
}

}  // namespace
