// The product's account on machines, domains and languages of the embedded world.
#include "instalib/system_account.h"

#include "platform/embedded/control/accounts.h"
#include "platform/lsa_accounts.h"
#include "tests/support/faults.h"

namespace control = embedded::control;

namespace {

constexpr char kWritten[] = "SOFTWARE\\InstalibTest";

// The protected steps, for tests of their own.
class Steps : public CSystemAccount {
  public:
    using CSystemAccount::AddKorvaultUserPrivileges;
    using CSystemAccount::AddMemberToGroup;
    using CSystemAccount::GetGroupName;
};

std::string Narrow(const WCHAR* text) {
    std::string narrow;
    for (; text != nullptr && *text != 0; ++text) narrow.push_back(char(*text));
    return narrow;
}

class SystemAccount : public FreshMachine {
  protected:
    static AllocatedSid BuiltinSid(DWORD rid) {
        SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
        AllocatedSid sid;
        EXPECT_TRUE(AllocateAndInitializeSid(&authority, 2, 32, rid, 0, 0, 0, 0, 0, 0, sid.Receive()));
        return sid;
    }
    static std::vector<std::string> Members(const WCHAR* server, const WCHAR* group) {
        NetBuffer buffer;
        DWORD count = 0, total = 0;
        const NET_API_STATUS status =
            NetLocalGroupGetMembers(server, group, 3, reinterpret_cast<BYTE**>(buffer.Receive()), MAX_PREFERRED_LENGTH,
                                    &count, &total, nullptr);
        if (status != 0) return {"<error " + std::to_string(status) + ">"};
        std::vector<std::string> names;
        const auto* const members = static_cast<const LOCALGROUP_MEMBERS_INFO_3*>(buffer.Get());
        for (DWORD i = 0; i < count; ++i) names.push_back(Narrow(members[i].lgrmi3_domainandname));
        return names;
    }
    // "23 SeTcbPrivilege ..." of the Backup Operators on a machine.
    static std::string OperatorsRights(const WCHAR* server = nullptr) {
        LSA_OBJECT_ATTRIBUTES attributes{};
        LSA_UNICODE_STRING name{};
        std::basic_string<WCHAR> machine = server != nullptr ? server : std::basic_string<WCHAR>();
        name.Length = name.MaximumLength = static_cast<USHORT>(machine.size() * sizeof(WCHAR));
        name.Buffer = machine.data();
        PolicyHandle policy, account;
        ULONG access = 0;
        PPRIVILEGE_SET held = nullptr;
        if (LsaOpenPolicy(server != nullptr ? &name : nullptr, &attributes, MAXIMUM_ALLOWED, policy.Receive()) != 0 ||
            LsaOpenAccount(policy.Get(), BuiltinSid(551).Get(), MAXIMUM_ALLOWED, account.Receive()) != 0 ||
            LsaGetSystemAccessAccount(account.Get(), &access) != 0 ||
            LsaEnumeratePrivilegesOfAccount(account.Get(), &held) != 0) {
            return "<error>";
        }
        const LsaBuffer owner(held);
        std::string text = std::to_string(access);
        for (const char* wanted : {SE_TCB_NAME, SE_BACKUP_NAME}) {
            LUID luid{};
            LookupPrivilegeValueA(nullptr, wanted, &luid);
            for (DWORD i = 0; i < held->PrivilegeCount; ++i) {
                const bool isIt = held->Privilege[i].Luid.LowPart == luid.LowPart;
                if (isIt) text += std::string(" ") + wanted;
            }
        }
        return text;
    }
    void MakeDomain() {
        AddMachine("CONTROLLER");
        ASSERT_TRUE(control::AddDomain("FAMILY", "CONTROLLER"));
        ASSERT_TRUE(control::JoinDomain("", "FAMILY"));
    }
};

TEST_F(SystemAccount, LocalAccountIsCreatedWithGroupsRightsAndSettings) {
    CSystemAccount account("testpc", "TestPc", "Svc", "Secret.1");
    EXPECT_TRUE(FailsWith(NERR_UserNotFound, account.Exists()));
    ASSERT_EQ(account.Create(), 1) << GetLastError();
    EXPECT_EQ(account.Exists(), 1);
    EXPECT_THAT(Members(nullptr, u"Administrators"), testing::Contains("TESTPC\\Svc"));
    EXPECT_THAT(Members(nullptr, u"Backup Operators"), testing::Contains("TESTPC\\Svc"));
    EXPECT_EQ(OperatorsRights(), "23 SeTcbPrivilege SeBackupPrivilege");

    NetBuffer buffer;
    ASSERT_EQ(NetUserGetInfo(nullptr, u"Svc", 2, reinterpret_cast<BYTE**>(buffer.Receive())), 0u);
    const auto& user = *static_cast<const USER_INFO_2*>(buffer.Get());
    EXPECT_EQ(Narrow(user.usri2_full_name), "Svc");
    EXPECT_EQ(user.usri2_flags, 0x10201u);
    EXPECT_EQ(user.usri2_acct_expires, 0xFFFFFFFFu);
    EXPECT_EQ(user.usri2_max_storage, 0xFFFFFFFFu);

    EXPECT_EQ(account.Create(), 1) << "a user and a member that exist are as good";
    EXPECT_EQ(account.Delete(), 1);
    EXPECT_TRUE(FailsWith(NERR_UserNotFound, account.Delete()));
    EXPECT_TRUE(FailsWith(ERROR_NONE_MAPPED, account.AssignGroups())) << "there is no account to assign";
}

TEST_F(SystemAccount, ExistingUserKeepsItsPasswordAndJoinsTheGroups) {
    CSystemAccount account("TESTPC", "TESTPC", "Svc", "Secret.1");
    ASSERT_EQ(account.Create(), 1);
    for (const WCHAR* group : {u"Administrators", u"Backup Operators"}) {
        WCHAR name[] = u"TESTPC\\Svc";
        LOCALGROUP_MEMBERS_INFO_3 member{name};
        ASSERT_EQ(NetLocalGroupDelMembers(nullptr, group, 3, reinterpret_cast<BYTE*>(&member), 1), 0u);
    }
    CSystemAccount other("TESTPC", "TESTPC", "Svc", "Other.2");
    EXPECT_EQ(other.Create(), 1) << GetLastError();
    EXPECT_THAT(Members(nullptr, u"Administrators"), testing::Contains("TESTPC\\Svc"));
    EXPECT_THAT(Members(nullptr, u"Backup Operators"), testing::Contains("TESTPC\\Svc"));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PASSWORD, other.ValidPassword()));
    EXPECT_EQ(account.ValidPassword(), 1);
    EXPECT_EQ(account.ValidPassword(), 1) << "it is still the same";
    EXPECT_EQ(CSystemAccount("TESTPC", "TESTPC", "Nobody", "x").ValidPassword(), 1) << "only a wrong password is none";
}

TEST_F(SystemAccount, DomainAccountIsMadeOnTheControllerWhateverLanguageItSpeaks) {
    MakeDomain();
    ASSERT_TRUE(control::SetBuiltinNames("CONTROLLER", "de"));
    CSystemAccount account("TESTPC", "family", "Svc", "Secret.1");
    ASSERT_EQ(account.Create(), 1) << GetLastError();
    EXPECT_EQ(account.Exists(), 1);
    EXPECT_EQ(CSystemAccount::Exists(nullptr, "Svc"), 0) << "not a user of the machine itself";
    EXPECT_EQ(CSystemAccount::Exists(u"\\\\CONTROLLER", "Svc"), 1);
    EXPECT_THAT(Members(u"\\\\CONTROLLER", u"Administratoren"), testing::Contains("FAMILY\\Svc"));
    EXPECT_THAT(Members(u"\\\\CONTROLLER", u"Sicherungs-Operatoren"), testing::Contains("FAMILY\\Svc"));
    EXPECT_EQ(OperatorsRights(u"\\\\CONTROLLER"), "23 SeTcbPrivilege SeBackupPrivilege");
    EXPECT_NE(OperatorsRights(), OperatorsRights(u"\\\\CONTROLLER"));
    EXPECT_EQ(account.ValidPassword(), 1);
    EXPECT_EQ(CSystemAccount("TESTPC", "FAMILY", "Svc", "wrong").ValidPassword(), 0);
}

TEST_F(SystemAccount, CopiesOwnTheirServer) {
    MakeDomain();
    CSystemAccount local("TESTPC", "TESTPC", "Svc", "Secret.1");
    {
        CSystemAccount first("TESTPC", "FAMILY", "Svc", "Secret.1");
        CSystemAccount second(first);
        EXPECT_EQ(control::OpenCount(control::ResourceKind::NetBuffer), 2u);
        CSystemAccount third(local);
        third = first;
        third = *&third;
        second = local;
        EXPECT_EQ(control::OpenCount(control::ResourceKind::NetBuffer), 2u);
        EXPECT_EQ(second.Create(), 1);
        EXPECT_EQ(third.Exists(), 0) << "it asks the controller, as the object did that it was copied from";
    }
    EXPECT_EQ(control::OpenReport(), "");
}

TEST_F(SystemAccount, ControllerIsAskedForForeignDomainsOnlyAndMayBeMissing) {
    control::StartCounting();
    CSystemAccount local("host1", "HOST1", "Svc", "x");
    EXPECT_THAT(control::StopCounting(), testing::Not(testing::Contains(testing::Pair("NetGetDCName", testing::_))));
    CSystemAccount lost("TESTPC", "NOWHERE", "Svc", "Secret.1");
    EXPECT_TRUE(FailsWith(ERROR_NONE_MAPPED, lost.Create())) << "the user is added here, but NOWHERE\\Svc is not known";
    EXPECT_EQ(CSystemAccount::Exists(nullptr, "Svc"), 1);
}

TEST_F(SystemAccount, GroupNamesAreCutToTheBuffers) {
    char name[8] = "stale", domain[4] = "old";
    EXPECT_EQ(Steps::GetGroupName(551, nullptr, name, sizeof name, domain, sizeof domain), 1);
    EXPECT_STREQ(name, "Backup ");
    EXPECT_STREQ(domain, "BUI");
    EXPECT_EQ(Steps::GetGroupName(40000, nullptr, name, sizeof name, domain, sizeof domain), 0);
    EXPECT_STREQ(name, "");
    EXPECT_STREQ(domain, "");
}

TEST_F(SystemAccount, RegisterHandsTheTextsToTheToolLibrary) {
    CSystemAccount account("testpc", "testpc", "Svc", "Secret.1");
    EXPECT_EQ(account.Register(), 0) << "no library";
    PlaceLibrary("HSTOOL_ROOT.DLL", ProgramFolder() + "HSTOOL.DLL");
    EXPECT_EQ(account.Register(), 0) << "no entry point";
    PlaceLibrary("HSTOOL_ACCOUNT.DLL", ProgramFolder() + "HSTOOL.DLL");
    EXPECT_EQ(account.Register(), 1);
    const auto written = [](const char* name) { return GetText(kWritten, name); };
    EXPECT_EQ(written("computer"), "TESTPC");
    EXPECT_EQ(written("domain"), "TESTPC");
    EXPECT_EQ(written("name"), "Svc");
    EXPECT_EQ(written("password"), "Secret.1");
    EXPECT_EQ(CSystemAccount::Register("A", "B", "refused", "x"), 0) << "only the low 16 bits count";

    const std::string longest(63, 'p'), computer(1087, 'c');
    EXPECT_EQ(CSystemAccount::Register(computer.c_str(), longest.c_str(), longest.c_str(), longest.c_str()), 1);
    EXPECT_EQ(written("computer"), computer);
    EXPECT_EQ(written("password"), longest);
}

TEST_F(SystemAccount, TooLongTextsAreRefusedAndNothingIsCreated) {
    PlaceLibrary("HSTOOL_ACCOUNT.DLL", ProgramFolder() + "HSTOOL.DLL");
    const std::string longer(64, 'l'), computer(1088, 'c');
    const struct {
        const char *computer, *domain, *user, *password;
    } cases[] = {{computer.c_str(), "TESTPC", "Svc", "Secret.1"},
                 {"TESTPC", longer.c_str(), "Svc", "Secret.1"},
                 {"TESTPC", "TESTPC", longer.c_str(), "Secret.1"},
                 {"TESTPC", "TESTPC", "Svc", longer.c_str()}};
    for (const auto& texts : cases) {
        for (const auto run : {&CSystemAccount::Register, +[](const char*a, const char*b, const char*c, const char*d) {
                                   return CSystemAccount::Create(nullptr, a, b, c, d);
                               }}) {
            SetLastError(0);
            EXPECT_TRUE(
                FailsWith(ERROR_INVALID_PARAMETER, run(texts.computer, texts.domain, texts.user, texts.password)));
        }
    }
    EXPECT_EQ(CSystemAccount::Exists(nullptr, "Svc"), 0);
    EXPECT_FALSE(KeyExists(kWritten));
}

// Whichever call fails, the result is 0 with its error, and nothing stays open.
TEST_F(SystemAccount, EveryFailingCallIsReported) {
    ASSERT_EQ(CSystemAccount("TESTPC", "TESTPC", "Svc", "Secret.1").Create(), 1);
    const auto run = [] { return CSystemAccount::AssignGroups(nullptr, "TESTPC", "TESTPC", "Svc", "Secret.1"); };
    ForEachFault(control::CallKind::Account, ERROR_ACCESS_DENIED, run, [](int result, DWORD error, const auto& call) {
        if (call.empty() || call == "LsaClose") return;
        EXPECT_EQ(result, call == "LsaNtStatusToWinError" ? 1 : 0);
        EXPECT_EQ(error, DWORD(ERROR_ACCESS_DENIED));
    });
}

}  // namespace
