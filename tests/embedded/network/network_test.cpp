// Shares, connections, roles, domains and trusts between machines of one world.
#include "platform/embedded/control/accounts.h"
#include "tests/support/fresh_machine.h"

namespace control = embedded::control;

namespace {

// A text that calls without const may take.
class Wide {
  public:
    explicit Wide(std::string_view text) : m_text(text.begin(), text.end()) {}
    LPWSTR Get() { return m_text.data(); }

  private:
    std::u16string m_text;
};

std::string Plain(LPCWSTR text) {
    std::string plain;
    for (; text != nullptr && *text != 0; ++text) plain.push_back(char(*text));
    return plain;
}

class NetworkTest : public FreshMachine {
  protected:
    static constexpr char kShares[] = "SYSTEM\\CurrentControlSet\\Services\\LanmanServer\\Shares";

    template <class Info>
    static Info& As(NetBuffer& buffer) {
        return *static_cast<Info*>(buffer.Get());
    }
    static LPBYTE* Into(NetBuffer& buffer) { return reinterpret_cast<LPBYTE*>(buffer.Receive()); }

    static NET_API_STATUS Share(const char* name, const char* path, DWORD type = STYPE_DISKTREE) {
        Wide wideName(name), widePath(path), remark("What it is");
        SHARE_INFO_2 info{wideName.Get(), type, remark.Get(), 4, SHI_USES_UNLIMITED, 0, widePath.Get(), nullptr};
        return NetShareAdd(nullptr, 2, reinterpret_cast<LPBYTE>(&info), nullptr);
    }
    static NET_API_STATUS Remove(const char* name) { return NetShareDel(nullptr, Wide(name).Get(), 0); }
    static NET_API_STATUS AddUser(const char* server, const char* name, const char* password, DWORD flags = UF_SCRIPT) {
        Wide machine(server), wideName(name), secret(password);
        USER_INFO_1 info{};
        info.usri1_name = wideName.Get();
        info.usri1_password = secret.Get();
        info.usri1_priv = USER_PRIV_USER;
        info.usri1_flags = flags;
        return NetUserAdd(machine.Get(), 1, reinterpret_cast<LPBYTE>(&info), nullptr);
    }
    static DWORD Connect(const char* remote, const char* password, const char* user) {
        std::string name = remote;
        NETRESOURCEA resource{};
        resource.dwType = RESOURCETYPE_DISK;
        resource.lpRemoteName = name.data();
        return WNetAddConnection2A(&resource, password, user, 0);
    }
    static std::string DescriptorOf(const char* share) {
        NetBuffer buffer;
        if (NetShareGetInfo(nullptr, Wide(share).Get(), 502, Into(buffer)) != 0) return "<no share>";
        LocalBuffer text;
        ConvertSecurityDescriptorToStringSecurityDescriptorA(As<SHARE_INFO_502>(buffer).shi502_security_descriptor, 1,
                                                             4, reinterpret_cast<LPSTR*>(text.Receive()), nullptr);
        return static_cast<char*>(text.Get());
    }
};

TEST_F(NetworkTest, ShareStandsWhereWindowsKeepsIt) {
    ASSERT_EQ(Share("Data$", "C:\\TEST\\"), 0u);
    const auto raw = GetRaw(kShares, "Data$");
    ASSERT_TRUE(raw);
    EXPECT_EQ(raw->type, DWORD(REG_MULTI_SZ));
    const std::string lines(raw->data.begin(), raw->data.end());
    for (const char* line : {"Path=C:\\TEST", "Remark=What it is", "Type=0", "MaxUses=4294967295", "Permissions=4"}) {
        EXPECT_NE(('\0' + lines).find('\0' + std::string(line) + '\0'), std::string::npos) << line;
    }
    NetBuffer buffer;
    ASSERT_EQ(NetShareGetInfo(nullptr, Wide("DATA$").Get(), 2, Into(buffer)), 0u);
    const auto& info = As<SHARE_INFO_2>(buffer);
    EXPECT_EQ(Plain(info.shi2_netname), "Data$");
    EXPECT_EQ(Plain(info.shi2_path), "C:\\TEST");
    EXPECT_EQ(Plain(info.shi2_remark), "What it is");
    EXPECT_EQ(info.shi2_max_uses, SHI_USES_UNLIMITED);
    EXPECT_EQ(info.shi2_passwd, nullptr);
    EXPECT_EQ(Remove("data$"), 0u);
    EXPECT_FALSE(GetRaw(kShares, "Data$"));
    EXPECT_EQ(Remove("Data$"), DWORD(NERR_NetNameNotFound));
}

TEST_F(NetworkTest, ShareIsRefusedForWhatIsWrongWithIt) {
    ASSERT_EQ(Share("Taken", "C:\\TEST"), 0u);
    const struct {
        const char* name;
        const char* path;
        DWORD error;
    } cases[] = {{"taken", "C:\\TEST", NERR_DuplicateShare}, {"C$", "C:\\TEST", NERR_DuplicateShare},
                 {"New", "C:\\NOWHERE", NERR_UnknownDevDir}, {"New", "TEST", NERR_UnknownDevDir},
                 {"", "C:\\TEST", ERROR_INVALID_PARAMETER},  {"a\\b", "C:\\TEST", ERROR_INVALID_NAME}};
    for (const auto& one : cases) EXPECT_EQ(Share(one.name, one.path), one.error) << one.name << " " << one.path;
    EXPECT_EQ(Share("New", "C:\\TEST", STYPE_IPC), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(NetworkTest, DescriptorOfAShareIsSetByItself) {
    ASSERT_EQ(Share("Data", "C:\\TEST"), 0u);
    const auto set = [](const char* text, const char* share = "Data") {
        LocalBuffer descriptor;
        EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(text, 1, descriptor.Receive(), nullptr));
        SHARE_INFO_1501 info{0, descriptor.Get()};
        return NetShareSetInfo(nullptr, Wide(share).Get(), 1501, reinterpret_cast<LPBYTE>(&info), nullptr);
    };
    EXPECT_EQ(set("D:(A;;FA;;;WD)", "C$"), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(set("D:(A;;FA;;;BA)(D;;FW;;;BG)"), 0u);
    EXPECT_EQ(DescriptorOf("Data"), "D:(A;;FA;;;BA)(D;;FW;;;BG)");
    // Gone with the share: a new one of the name starts afresh.
    ASSERT_EQ(Remove("Data"), 0u);
    ASSERT_EQ(Share("Data", "C:\\TEST"), 0u);
    EXPECT_NE(DescriptorOf("Data"), "D:(A;;FA;;;BA)(D;;FW;;;BG)");
}

TEST_F(NetworkTest, EnumerationGoesOnWhereItStopped) {
    ASSERT_EQ(Share("Data", "C:\\TEST"), 0u);
    std::vector<std::string> seen;
    DWORD resume = 0;
    NET_API_STATUS status = ERROR_MORE_DATA;
    while (status == ERROR_MORE_DATA) {
        NetBuffer buffer;
        DWORD read = 0, total = 0;
        status = NetShareEnum(nullptr, 2, Into(buffer), 1, &read, &total, &resume);
        ASSERT_EQ(read, 1u) << "one at least, however small the buffer";
        const auto& info = As<SHARE_INFO_2>(buffer);
        seen.push_back(Plain(info.shi2_netname) + ' ' + std::to_string(info.shi2_type));
    }
    EXPECT_EQ(status, 0u);
    EXPECT_THAT(seen, testing::ElementsAre("ADMIN$ 2147483648", "C$ 2147483648", "Data 0", "IPC$ 2147483651"));
}

TEST_F(NetworkTest, AdministrativeSharesStay) {
    EXPECT_EQ(Remove("C$"), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(GetRaw(kShares, "C$"));
}

TEST_F(NetworkTest, UnknownServerIsABadPath) {
    NetBuffer buffer;
    Wide server("\\\\NOPC");
    DWORD number = 0;
    EXPECT_EQ(NetWkstaGetInfo(server.Get(), 100, Into(buffer)), DWORD(ERROR_BAD_NETPATH));
    EXPECT_EQ(NetServerGetInfo(server.Get(), 101, Into(buffer)), DWORD(ERROR_BAD_NETPATH));
    EXPECT_EQ(NetShareEnum(server.Get(), 1, Into(buffer), MAX_PREFERRED_LENGTH, &number, &number, nullptr),
              DWORD(ERROR_BAD_NETPATH));
    EXPECT_EQ(NetUserGetInfo(server.Get(), Wide("Guest").Get(), 1, Into(buffer)), DWORD(ERROR_BAD_NETPATH));
    EXPECT_EQ(NetServerGetInfo(nullptr, 77, Into(buffer)), DWORD(ERROR_INVALID_LEVEL));
}

TEST_F(NetworkTest, RoleShowsInTheServersTypeAndInTheRegistry) {
    const struct {
        control::MachineRole role;
        DWORD bits;
        const char* productType;
    } roles[] = {{control::MachineRole::Workstation, 0, "WinNT"},
                 {control::MachineRole::Server, SV_TYPE_SERVER_NT, "ServerNT"},
                 {control::MachineRole::PrimaryController, SV_TYPE_DOMAIN_CTRL, "LanmanNT"},
                 {control::MachineRole::BackupController, SV_TYPE_DOMAIN_BAKCTRL, "LanmanNT"}};
    for (const auto& one : roles) {
        SCOPED_TRACE(one.productType);
        ASSERT_TRUE(control::SetMachineRole("", one.role));
        NetBuffer buffer;
        ASSERT_EQ(NetServerGetInfo(nullptr, 101, Into(buffer)), 0u);
        const DWORD mask = SV_TYPE_SERVER_NT | SV_TYPE_DOMAIN_CTRL | SV_TYPE_DOMAIN_BAKCTRL;
        EXPECT_EQ(As<SERVER_INFO_101>(buffer).sv101_type & mask, one.bits);
        EXPECT_EQ(GetText("SYSTEM\\CurrentControlSet\\Control\\ProductOptions", "ProductType"), one.productType);
    }
}

class DomainTest : public NetworkTest {
  protected:
    void SetUp() override {
        NetworkTest::SetUp();
        AddMachine("DC1");
        ASSERT_TRUE(control::AddDomain("CORP", "DC1"));
    }
    static std::string LanGroup(const char* server) {
        NetBuffer buffer;
        EXPECT_EQ(NetWkstaGetInfo(Wide(server).Get(), 100, Into(buffer)), 0u);
        return Plain(As<WKSTA_INFO_100>(buffer).wki100_langroup);
    }
    static std::string LookUp(const char* name) {
        BYTE sid[68];
        char domain[64] = "";
        DWORD sidBytes = sizeof sid, domainSize = sizeof domain;
        SID_NAME_USE use{};
        if (!LookupAccountNameA(nullptr, name, sid, &sidBytes, domain, &domainSize, &use))
            return std::to_string(GetLastError());
        return std::string(domain) + ' ' + std::to_string(use);
    }
};

TEST_F(DomainTest, MemberKnowsItsDomainAndItsController) {
    EXPECT_EQ(LanGroup(""), "WORKGROUP");
    ASSERT_TRUE(control::JoinDomain("", "corp"));
    EXPECT_EQ(LanGroup(""), "CORP");
    NetBuffer buffer;
    ASSERT_EQ(NetGetDCName(nullptr, Wide("corp").Get(), Into(buffer)), 0u);
    EXPECT_EQ(Plain(static_cast<LPCWSTR>(buffer.Get())), "\\\\DC1");
    ASSERT_EQ(NetGetDCName(nullptr, nullptr, Into(buffer)), 0u);
    ASSERT_TRUE(control::SetWorkgroup("", "LAB"));
    EXPECT_EQ(LanGroup("\\\\testpc"), "LAB");
    EXPECT_EQ(NetGetDCName(nullptr, nullptr, Into(buffer)), DWORD(NERR_DCNotFound));
    EXPECT_FALSE(control::JoinDomain("", "NODOMAIN"));
}

TEST_F(DomainTest, UsersOfTheControllerAreUsersOfTheDomain) {
    ASSERT_EQ(AddUser("\\\\DC1", "worker", "secret"), 0u);
    EXPECT_EQ(LookUp("CORP\\worker"), "CORP 1");
    EXPECT_EQ(LookUp("worker"), "1332") << "a domain that this machine has nothing to do with";
    EXPECT_EQ(LookUp("corp"), "1332");
    ASSERT_TRUE(control::JoinDomain("", "CORP"));
    EXPECT_EQ(LookUp("worker"), "CORP 1");
    EXPECT_EQ(LookUp("CORP\\Domain Admins"), "CORP 2");
    EXPECT_EQ(LookUp("corp"), "CORP 3");
    EXPECT_EQ(LookUp("TESTPC\\worker"), "1332");
    // The machine's own user of that name comes first.
    ASSERT_EQ(AddUser("", "worker", "other"), 0u);
    EXPECT_EQ(LookUp("worker"), "TESTPC 1");
    EXPECT_EQ(NetUserChangePassword(Wide("CORP").Get(), Wide("worker").Get(), Wide("secret").Get(), Wide("new").Get()),
              0u);
    EXPECT_EQ(
        NetUserChangePassword(Wide("\\\\TESTPC").Get(), Wide("worker").Get(), Wide("secret").Get(), Wide("x").Get()),
        DWORD(ERROR_INVALID_PASSWORD));
}

// Names alone and identifiers are looked for in the machine, its domain and the domains that these trust.
TEST_F(DomainTest, OnlyTrustedDomainsAreAsked) {
    AddMachine("DC2");
    ASSERT_TRUE(control::AddDomain("ABROAD", "DC2"));
    ASSERT_EQ(AddUser("DC2", "guest1", "secret"), 0u);
    BYTE sid[68];
    char domain[64] = "", name[64] = "";
    DWORD sidBytes = sizeof sid, size = sizeof domain;
    SID_NAME_USE use{};
    ASSERT_TRUE(LookupAccountNameA(nullptr, "ABROAD\\guest1", sid, &sidBytes, domain, &size, &use));
    const auto found = [&] {
        DWORD nameSize = sizeof name, domainSize = sizeof domain;
        return LookupAccountSidA(nullptr, sid, name, &nameSize, domain, &domainSize, &use) != 0;
    };
    const auto expect = [&](bool known) {
        EXPECT_EQ(LookUp("guest1"), known ? "ABROAD 1" : "1332");
        EXPECT_EQ(found(), known);
    };
    expect(false);
    ASSERT_TRUE(control::JoinDomain("", "CORP"));
    expect(false);
    ASSERT_TRUE(control::AddTrust("DC1", "ABROAD"));
    expect(true);
    ASSERT_TRUE(control::SetWorkgroup("", "LAB"));
    expect(false);
    ASSERT_TRUE(control::AddTrust("", "ABROAD"));
    expect(true);
}

TEST_F(DomainTest, BackupControllerAsksThePrimaryOneForAccounts) {
    AddMachine("DC2");
    ASSERT_TRUE(control::SetMachineRole("DC2", control::MachineRole::BackupController));
    ASSERT_TRUE(control::JoinDomain("DC2", "CORP"));
    ASSERT_EQ(AddUser("DC2", "worker", "secret"), 0u);
    EXPECT_EQ(AddUser("DC1", "worker", "secret"), DWORD(NERR_UserExists));
}

TEST_F(DomainTest, TrustsComeInPartsAndInOrder) {
    const std::vector<std::string> names = {"ZULU", "CORP2", "ALPHA"};
    for (const std::string& name : names) ASSERT_TRUE(control::AddTrust("DC1", name));
    std::u16string host = u"\\\\DC1";
    LSA_UNICODE_STRING system{USHORT(host.size() * 2), USHORT(host.size() * 2), host.data()};
    LSA_OBJECT_ATTRIBUTES attributes{};
    PolicyHandle policy;
    ASSERT_EQ(LsaOpenPolicy(&system, &attributes, POLICY_VIEW_LOCAL_INFORMATION, policy.Receive()), 0);
    LSA_ENUMERATION_HANDLE context = 0;
    ULONG count = 0;
    for (const std::string& name : names) {
        LsaBuffer buffer;
        const NTSTATUS status = LsaEnumerateTrustedDomains(policy.Get(), &context, buffer.Receive(), 1, &count);
        EXPECT_EQ(status, name == "ALPHA" ? STATUS_SUCCESS : STATUS_MORE_ENTRIES);
        ASSERT_EQ(count, 1u);
        EXPECT_EQ(Plain(static_cast<LSA_TRUST_INFORMATION*>(buffer.Get())->Name.Buffer), name);
    }
    LsaBuffer buffer;
    EXPECT_EQ(LsaEnumerateTrustedDomains(policy.Get(), &context, buffer.Receive(), 1, &count), STATUS_NO_MORE_ENTRIES);
    EXPECT_EQ(count, 0u);
    context = 0;
    EXPECT_EQ(LsaEnumerateTrustedDomains(policy.Get(), &context, buffer.Receive(), 32000, &count), STATUS_SUCCESS);
    EXPECT_EQ(count, 3u);
}

TEST_F(NetworkTest, MachineOfAnotherLanguageNamesItsGroupsSo) {
    ASSERT_TRUE(control::SetBuiltinNames("", "de"));
    BYTE administrators[] = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0};
    char name[64], domain[64];
    DWORD nameSize = 64, domainSize = 64;
    SID_NAME_USE use{};
    ASSERT_TRUE(LookupAccountSidA(nullptr, administrators, name, &nameSize, domain, &domainSize, &use));
    EXPECT_STREQ(name, "Administratoren");
    EXPECT_STREQ(domain, "VORDEFINIERT");
    NetBuffer buffer;
    DWORD read = 0, total = 0;
    EXPECT_EQ(
        NetLocalGroupGetMembers(nullptr, Wide("Administrators").Get(), 0, Into(buffer), 4096, &read, &total, nullptr),
        DWORD(NERR_GroupNotFound));
    EXPECT_EQ(
        NetLocalGroupGetMembers(nullptr, Wide("Administratoren").Get(), 0, Into(buffer), 4096, &read, &total, nullptr),
        0u);
    EXPECT_EQ(read, 1u);
    EXPECT_EQ(NetUserGetInfo(nullptr, Wide("Guest").Get(), 0, Into(buffer)), DWORD(NERR_UserNotFound));
    EXPECT_EQ(NetUserGetInfo(nullptr, Wide("Gast").Get(), 0, Into(buffer)), 0u);
}

class ConnectionTest : public NetworkTest {
  protected:
    void SetUp() override {
        NetworkTest::SetUp();
        AddMachine("FARPC");
        ASSERT_EQ(AddUser("FARPC", "visitor", "secret"), 0u);
        ASSERT_EQ(AddUser("FARPC", "boss", "secret"), 0u);
        Wide boss("FARPC\\boss");
        LOCALGROUP_MEMBERS_INFO_3 member{boss.Get()};
        ASSERT_EQ(NetLocalGroupAddMembers(Wide("FARPC").Get(), Wide("Administrators").Get(), 3,
                                          reinterpret_cast<LPBYTE>(&member), 1),
                  0u);
    }
};

TEST_F(ConnectionTest, LogonIsCheckedOnTheOtherMachine) {
    ASSERT_EQ(AddUser("FARPC", "locked", "secret", UF_SCRIPT | UF_ACCOUNTDISABLE), 0u);
    const struct {
        const char* remote;
        const char* password;
        const char* user;
        DWORD error;
    } cases[] = {{"\\\\NOPC\\ipc$", "secret", "visitor", ERROR_BAD_NETPATH},
                 {"FARPC", "secret", "visitor", ERROR_BAD_NET_NAME},
                 {"\\\\FARPC\\nothing", "secret", "FARPC\\visitor", ERROR_BAD_NET_NAME},
                 {"\\\\FARPC\\ipc$", "Secret", "FARPC\\visitor", ERROR_LOGON_FAILURE},
                 {"\\\\FARPC\\ipc$", "secret", "FARPC\\nobody", ERROR_LOGON_FAILURE},
                 {"\\\\FARPC\\ipc$", "secret", "locked", ERROR_ACCOUNT_DISABLED},
                 {"\\\\FARPC\\C$", "secret", "FARPC\\visitor", ERROR_ACCESS_DENIED},
                 {"\\\\farpc\\ipc$", "secret", "FARPC\\visitor", NO_ERROR}};
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string(one.remote) + " as " + one.user);
        EXPECT_EQ(Connect(one.remote, one.password, one.user), one.error);
        EXPECT_TRUE(one.error == 0 || GetLastError() == one.error);
    }
}

TEST_F(ConnectionTest, OneUserAtATimeUntilCancelled) {
    EXPECT_EQ(Connect("\\\\FARPC\\ipc$", "secret", "visitor"), 0u);
    EXPECT_EQ(Connect("\\\\FARPC\\ipc$", "secret", "visitor"), 0u);
    EXPECT_EQ(Connect("\\\\FARPC\\C$", "secret", "boss"), DWORD(ERROR_SESSION_CREDENTIAL_CONFLICT));
    EXPECT_EQ(WNetCancelConnection2A("\\\\farpc\\IPC$", 0, TRUE), DWORD(NO_ERROR));
    EXPECT_EQ(WNetCancelConnection2A("\\\\FARPC\\ipc$", 0, TRUE), DWORD(ERROR_NOT_CONNECTED));
    EXPECT_EQ(Connect("\\\\FARPC\\C$", "secret", "boss"), 0u);
}

TEST_F(NetworkTest, OnlyAdministratorsChangeAccountsAndShares) {
    ASSERT_EQ(AddUser("", "plain", ""), 0u);
    ASSERT_TRUE(control::SetCurrentUser("plain"));
    char name[32];
    DWORD size = sizeof name;
    ASSERT_TRUE(GetUserNameA(name, &size));
    EXPECT_STREQ(name, "plain");
    EXPECT_EQ(AddUser("", "other", ""), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(Share("Data", "C:\\TEST"), DWORD(ERROR_ACCESS_DENIED));
    LSA_OBJECT_ATTRIBUTES attributes{};
    PolicyHandle policy;
    EXPECT_EQ(LsaOpenPolicy(nullptr, &attributes, POLICY_ALL_ACCESS, policy.Receive()), STATUS_ACCESS_DENIED);
    EXPECT_EQ(LsaOpenPolicy(nullptr, &attributes, POLICY_VIEW_LOCAL_INFORMATION, policy.Receive()), STATUS_SUCCESS);
}

}  // namespace
