// Tokens, privileges, the access check and private objects. The tests run as a member of Administrators on both
// targets.
#include <vector>

#include "tests/support/fresh_machine.h"
#include "tests/support/sddl.h"

namespace {

GENERIC_MAPPING g_fileMapping = {0x120089, 0x120116, 0x1200A0, 0x1F01FF};

KernelHandle ProcessToken(DWORD rights) {
    KernelHandle token;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), rights, token.Receive()));
    return token;
}

LUID Privilege(const char* name) {
    LUID luid = {};
    EXPECT_TRUE(LookupPrivilegeValueA(nullptr, name, &luid)) << name;
    return luid;
}

// Switches a privilege of the process on or off; the last error that this leaves.
DWORD Enable(const char* name, bool enable) {
    const KernelHandle token = ProcessToken(TOKEN_ADJUST_PRIVILEGES);
    TOKEN_PRIVILEGES wanted = {1, {{Privilege(name), enable ? DWORD(SE_PRIVILEGE_ENABLED) : 0}}};
    EXPECT_TRUE(AdjustTokenPrivileges(token.Get(), FALSE, &wanted, 0, nullptr, nullptr));
    return GetLastError();
}

std::vector<BYTE> Information(HANDLE token, TOKEN_INFORMATION_CLASS informationClass) {
    DWORD size = 0;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, GetTokenInformation(token, informationClass, nullptr, 0, &size)));
    std::vector<BYTE> bytes(size);
    EXPECT_TRUE(GetTokenInformation(token, informationClass, bytes.data(), size, &size));
    EXPECT_EQ(size, bytes.size());
    return bytes;
}

class SecurityTokens : public FreshMachine {
  protected:
    void TearDown() override {
        RevertToSelf();
        FreshMachine::TearDown();
    }
};

TEST_F(SecurityTokens, TokenTellsUserGroupsAndPrivileges) {
    const KernelHandle token = ProcessToken(TOKEN_QUERY);
    const std::vector<BYTE> user = Information(token.Get(), TokenUser);
    EXPECT_TRUE(IsValidSid(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid));

    const std::vector<BYTE> groups = Information(token.Get(), TokenGroups);
    const auto* const list = reinterpret_cast<const TOKEN_GROUPS*>(groups.data());
    DWORD administrators = 0;
    for (DWORD i = 0; i < list->GroupCount; ++i) {
        if (EqualSid(list->Groups[i].Sid, TestSid("BA").Get())) administrators = list->Groups[i].Attributes;
    }
    EXPECT_EQ(administrators & SE_GROUP_ENABLED, DWORD(SE_GROUP_ENABLED));

    const std::vector<BYTE> privileges = Information(token.Get(), TokenPrivileges);
    const auto* const held = reinterpret_cast<const TOKEN_PRIVILEGES*>(privileges.data());
    EXPECT_EQ(privileges.size(), 4 + 12 * held->PrivilegeCount);
    DWORD notify = 0xdeadbeef, backup = 0xdeadbeef;
    for (DWORD i = 0; i < held->PrivilegeCount; ++i) {
        if (held->Privileges[i].Luid.LowPart == Privilege(SE_CHANGE_NOTIFY_NAME).LowPart)
            notify = held->Privileges[i].Attributes;
        if (held->Privileges[i].Luid.LowPart == Privilege(SE_BACKUP_NAME).LowPart)
            backup = held->Privileges[i].Attributes;
    }
    EXPECT_EQ(notify, DWORD(SE_PRIVILEGE_ENABLED | SE_PRIVILEGE_ENABLED_BY_DEFAULT));
    EXPECT_EQ(backup, 0u) << "administrators hold it, disabled";
}

TEST_F(SecurityTokens, TokenHandlesAllowWhatTheyWereOpenedFor) {
    KernelHandle token = ProcessToken(TOKEN_ADJUST_PRIVILEGES);
    BYTE buffer[8];
    DWORD size = 0;
    EXPECT_TRUE(
        FailsWith(ERROR_ACCESS_DENIED, GetTokenInformation(token.Get(), TokenUser, buffer, sizeof buffer, &size)));
    token = ProcessToken(TOKEN_QUERY);
    TOKEN_PRIVILEGES wanted = {1, {{Privilege(SE_BACKUP_NAME), SE_PRIVILEGE_ENABLED}}};
    EXPECT_TRUE(
        FailsWith(ERROR_ACCESS_DENIED, AdjustTokenPrivileges(token.Get(), FALSE, &wanted, 0, nullptr, nullptr)));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_HANDLE, GetTokenInformation(nullptr, TokenUser, buffer, sizeof buffer, &size)));
    HANDLE none = nullptr;
    EXPECT_TRUE(FailsWith(ERROR_INVALID_HANDLE,
                          OpenProcessToken(reinterpret_cast<HANDLE>(ULONG_PTR(0x1234)), TOKEN_QUERY, &none)));
}

TEST_F(SecurityTokens, PrivilegesAreSwitchedForTheProcessAndWhatIsNotHeldIsReported) {
    const KernelHandle token = ProcessToken(TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY);
    EXPECT_EQ(Enable(SE_BACKUP_NAME, true), DWORD(ERROR_SUCCESS));
    TOKEN_PRIVILEGES off = {1, {{Privilege(SE_BACKUP_NAME), 0}}}, before = {};
    DWORD size = 0;
    ASSERT_TRUE(AdjustTokenPrivileges(token.Get(), FALSE, &off, sizeof before, &before, &size));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_SUCCESS));
    EXPECT_EQ(size, sizeof before);
    EXPECT_EQ(before.PrivilegeCount, 1u);
    EXPECT_EQ(before.Privileges[0].Attributes, DWORD(SE_PRIVILEGE_ENABLED));
    EXPECT_EQ(Enable(SE_CREATE_TOKEN_NAME, true), DWORD(ERROR_NOT_ALL_ASSIGNED));
    EXPECT_EQ(Enable(SE_BACKUP_NAME, false), DWORD(ERROR_SUCCESS));
}

TEST_F(SecurityTokens, PrivilegeNamesAndNumbersBelongTogether) {
    EXPECT_EQ(Privilege("sesecurityprivilege").LowPart, 8u);
    LUID luid = Privilege(SE_RESTORE_NAME);
    EXPECT_EQ(luid.LowPart, 18u);
    char name[19] = "";
    DWORD length = sizeof name;
    ASSERT_TRUE(LookupPrivilegeNameA(nullptr, &luid, name, &length));
    EXPECT_STREQ(name, SE_RESTORE_NAME);
    EXPECT_EQ(length, std::string(SE_RESTORE_NAME).size());
    length = 18;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, LookupPrivilegeNameA(nullptr, &luid, name, &length)));
    EXPECT_TRUE(FailsWith(ERROR_NO_SUCH_PRIVILEGE, LookupPrivilegeValueA(nullptr, "SeNoSuchPrivilege", &luid)));
    luid = {99, 0};
    EXPECT_TRUE(FailsWith(ERROR_NO_SUCH_PRIVILEGE, LookupPrivilegeNameA(nullptr, &luid, name, &length)));
}

TEST_F(SecurityTokens, ThreadHasATokenWhileItImpersonates) {
    KernelHandle token;
    EXPECT_TRUE(FailsWith(ERROR_NO_TOKEN, OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive())));
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    ASSERT_TRUE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, FALSE, token.Receive()));
    SECURITY_IMPERSONATION_LEVEL level = SecurityAnonymous;
    DWORD size = 0;
    EXPECT_TRUE(GetTokenInformation(token.Get(), TokenImpersonationLevel, &level, sizeof level, &size));
    EXPECT_EQ(level, SecurityImpersonation);
    EXPECT_TRUE(RevertToSelf());
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()));
}

struct CheckCase {
    const char* name;
    const char* descriptor;
    DWORD desired;
    DWORD granted;  // 0: denied
    const char* wine;
};

KernelHandle ImpersonationToken() {
    KernelHandle token;
    EXPECT_TRUE(ImpersonateSelf(SecurityImpersonation));
    EXPECT_TRUE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()));
    EXPECT_TRUE(RevertToSelf());
    return token;
}

class SecurityCheck : public FreshMachine, public testing::WithParamInterface<CheckCase> {};

TEST_P(SecurityCheck, DecidesByTheOrderOfTheList) {
    const CheckCase& row = GetParam();
    if (row.wine != nullptr) SKIP_UNDER_WINE(row.wine);
    const Sddl descriptor(row.descriptor);
    const KernelHandle token = ImpersonationToken();
    PRIVILEGE_SET privileges[4];
    DWORD size = sizeof privileges, granted = 0xdeadbeef;
    BOOL status = 7;
    SetLastError(0xdeadbeef);
    ASSERT_TRUE(
        AccessCheck(descriptor.Get(), token.Get(), row.desired, &g_fileMapping, privileges, &size, &granted, &status));
    EXPECT_EQ(GetLastError(), row.granted == 0 ? DWORD(ERROR_ACCESS_DENIED) : 0xdeadbeef);
    EXPECT_EQ(status, row.granted != 0);
    EXPECT_EQ(granted, row.granted);
    EXPECT_EQ(privileges[0].PrivilegeCount, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    All, SecurityCheck,
    testing::Values(CheckCase{"AllowedGroup", "O:SYG:SYD:(A;;FA;;;BA)", 0x120089, 0x120089, nullptr},
                    CheckCase{"RightThatIsMissing", "O:SYG:SYD:(A;;0x1;;;BA)", 0x3, 0, nullptr},
                    CheckCase{"RightsOfSeveralEntries", "O:SYG:SYD:(A;;0x1;;;BA)(A;;0x2;;;WD)", 0x3, 0x3, nullptr},
                    CheckCase{"EmptyListGrantsNothing", "O:SYG:SYD:", 0x1, 0, nullptr},
                    CheckCase{"NoListGrantsAll", "O:SYG:SY", 0x1, 0x1, nullptr},
                    CheckCase{"NullListGrantsAll", "O:SYG:SYD:NO_ACCESS_CONTROL", MAXIMUM_ALLOWED, 0x1F01FF,
                              "the text of a null list gives an empty one"},
                    CheckCase{"DenyBeforeAllow", "O:SYG:SYD:(D;;0x1;;;WD)(A;;FA;;;BA)", 0x1, 0, nullptr},
                    CheckCase{"AllowBeforeDeny", "O:SYG:SYD:(A;;FA;;;BA)(D;;0x1;;;WD)", 0x1, 0x1, nullptr},
                    CheckCase{"DenyOfAnotherRight", "O:SYG:SYD:(D;;0x2;;;WD)(A;;FA;;;BA)", 0x1, 0x1, nullptr},
                    CheckCase{"InheritOnlyDoesNotCount", "O:SYG:SYD:(A;IO;FA;;;BA)", 0x1, 0, nullptr},
                    CheckCase{"OwnerReadsAndWritesTheList", "O:BAG:SYD:", READ_CONTROL | WRITE_DAC,
                              READ_CONTROL | WRITE_DAC, nullptr},
                    CheckCase{"OwnerHasNoMore", "O:BAG:SYD:", DELETE, 0, "owners may delete"},
                    CheckCase{"OwnerRightsReplaceThem", "O:BAG:SYD:(A;;0x1;;;OW)", READ_CONTROL, 0,
                              "entries for owner rights are unknown"},
                    CheckCase{"Maximum", "O:SYG:SYD:(A;;FA;;;BA)", MAXIMUM_ALLOWED, 0x1F01FF, nullptr},
                    CheckCase{"MaximumWithoutDenied", "O:SYG:SYD:(D;;0x1;;;WD)(A;;FA;;;BA)", MAXIMUM_ALLOWED, 0x1F01FE,
                              nullptr},
                    CheckCase{"MaximumOfNothing", "O:SYG:SYD:", MAXIMUM_ALLOWED, 0, nullptr},
                    CheckCase{"MaximumNeedsWhatIsNamed", "O:SYG:SYD:(A;;0x1;;;BA)", MAXIMUM_ALLOWED | 0x2, 0,
                              "what is named is not needed"},
                    CheckCase{"AskingForNothing", "O:SYG:SYD:(A;;FA;;;BA)", 0, 0, nullptr},
                    CheckCase{"ForeignGroup", "O:SYG:SYD:(A;;FA;;;S-1-5-21-1-2-3-1000)", 0x1, 0, nullptr}),
    kCaseName);

TEST_F(SecurityTokens, AccessCheckRefusesWhatItCannotDecide) {
    const Sddl whole("O:SYG:SYD:(A;;FA;;;BA)"), noGroup("O:SYD:(A;;FA;;;BA)"), noOwner("G:SYD:(A;;FA;;;BA)");
    const KernelHandle primary = ProcessToken(TOKEN_QUERY | TOKEN_DUPLICATE), token = ImpersonationToken();
    const auto refusal = [](const Sddl& descriptor, HANDLE who, DWORD desired, DWORD room) {
        PRIVILEGE_SET privileges[4];
        DWORD size = room, granted = 0x77;
        BOOL status = 7;
        SetLastError(0);
        EXPECT_FALSE(AccessCheck(descriptor.Get(), who, desired, &g_fileMapping, privileges, &size, &granted, &status));
        EXPECT_EQ(granted, 0x77u);
        EXPECT_EQ(status, 7);
        return GetLastError();
    };
    EXPECT_EQ(refusal(whole, primary.Get(), 1, 80), DWORD(ERROR_NO_IMPERSONATION_TOKEN));
    EXPECT_EQ(refusal(whole, nullptr, 1, 80), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(refusal(whole, token.Get(), GENERIC_READ, 80), DWORD(ERROR_GENERIC_NOT_MAPPED));
    EXPECT_EQ(refusal(whole, token.Get(), 1, 4), DWORD(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(refusal(noGroup, token.Get(), 1, 80), DWORD(ERROR_INVALID_SECURITY_DESCR));
    EXPECT_EQ(refusal(noOwner, token.Get(), 1, 80), DWORD(ERROR_INVALID_SECURITY_DESCR));
}

TEST_F(SecurityTokens, SystemSecurityNeedsItsPrivilege) {
    const Sddl descriptor("O:SYG:SYD:(A;;FA;;;BA)");
    PRIVILEGE_SET privileges = {};
    DWORD size = sizeof privileges, granted = 0;
    BOOL status = FALSE;
    ASSERT_EQ(Enable(SE_SECURITY_NAME, true), DWORD(ERROR_SUCCESS));
    const KernelHandle with = ImpersonationToken();
    ASSERT_EQ(Enable(SE_SECURITY_NAME, false), DWORD(ERROR_SUCCESS));
    const KernelHandle without = ImpersonationToken();
    ASSERT_TRUE(AccessCheck(descriptor.Get(), with.Get(), ACCESS_SYSTEM_SECURITY, &g_fileMapping, &privileges, &size,
                            &granted, &status));
    EXPECT_TRUE(status);
    EXPECT_EQ(granted, DWORD(ACCESS_SYSTEM_SECURITY));
    EXPECT_EQ(privileges.PrivilegeCount, 1u);
    EXPECT_EQ(privileges.Privilege[0].Luid.LowPart, Privilege(SE_SECURITY_NAME).LowPart);
    ASSERT_TRUE(AccessCheck(descriptor.Get(), without.Get(), ACCESS_SYSTEM_SECURITY, &g_fileMapping, &privileges, &size,
                            &granted, &status));
    EXPECT_FALSE(status);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_PRIVILEGE_NOT_HELD));
}

TEST_F(SecurityTokens, MapGenericMaskReplacesEveryGenericBit) {
    DWORD mask = GENERIC_ALL | 0x200;
    MapGenericMask(&mask, &g_fileMapping);
    EXPECT_EQ(mask, 0x1F03FFu);
    mask = GENERIC_READ | GENERIC_EXECUTE;
    MapGenericMask(&mask, &g_fileMapping);
    EXPECT_EQ(mask, 0x1200A9u);
}

struct PrivateCase {
    const char* name;
    const char* parent;  // null: none
    const char* creator;
    bool isDirectory;
    const char* list;
};

class SecurityPrivateObject : public FreshMachine, public testing::WithParamInterface<PrivateCase> {};

TEST_P(SecurityPrivateObject, ListComesFromCreatorElseParentElseToken) {
    SKIP_UNDER_WINE("CreatePrivateObjectSecurity makes a descriptor without a list");
    const PrivateCase& row = GetParam();
    const Sddl parent(row.parent != nullptr ? row.parent : ""), creator(row.creator != nullptr ? row.creator : "");
    const KernelHandle token = ProcessToken(TOKEN_QUERY);
    PrivateDescriptor object;
    ASSERT_TRUE(CreatePrivateObjectSecurity(row.parent != nullptr ? parent.Get() : nullptr,
                                            row.creator != nullptr ? creator.Get() : nullptr, object.Receive(),
                                            row.isDirectory, token.Get(), &g_fileMapping));
    EXPECT_EQ(SddlOf(object.Get(), DACL_SECURITY_INFORMATION), row.list);
    EXPECT_EQ(SddlOf(object.Get(), OWNER_SECURITY_INFORMATION), "O:BA");
}

INSTANTIATE_TEST_SUITE_P(
    All, SecurityPrivateObject,
    testing::Values(
        PrivateCase{"CreatorsIsMapped", nullptr, "D:(A;;GA;;;BA)(D;;GR;;;WD)", false, "D:(A;;FA;;;BA)(D;;FR;;;WD)"},
        PrivateCase{"CreatorsHidesParents", "O:SYG:SYD:(A;OI;FA;;;SY)", "D:(A;;FR;;;WD)", false, "D:(A;;FR;;;WD)"},
        PrivateCase{"FileInheritsObjectEntries", "O:SYG:SYD:(A;OICI;GA;;;BA)(A;CI;FR;;;WD)(A;OI;FX;;;AU)", nullptr,
                    false, "D:(A;;FA;;;BA)(A;;FX;;;AU)"},
        PrivateCase{"DirectoryInheritsAll", "O:SYG:SYD:(A;OICI;GA;;;SY)(A;CINP;FR;;;WD)(A;OI;FX;;;AU)", nullptr, true,
                    "D:(A;;FA;;;SY)(A;OICIIO;GA;;;SY)(A;;FR;;;WD)(A;OIIO;FX;;;AU)"},
        PrivateCase{"CreatorOwnerBecomesTheOwner", "O:SYG:SYD:(A;OICIIO;FA;;;CO)", nullptr, true,
                    "D:(A;;FA;;;BA)(A;OICIIO;FA;;;CO)"},
        PrivateCase{"NothingGivesTheTokensList", nullptr, nullptr, false, "D:(A;;FA;;;BA)(A;;FA;;;SY)"}),
    kCaseName);

TEST_F(SecurityTokens, PrivateObjectIsSetAndReadInParts) {
    SKIP_UNDER_WINE("private objects lose their list");
    const Sddl creator("D:(A;;FR;;;WD)"), change("O:SYG:SYD:P(A;;GA;;;BO)");
    const KernelHandle token = ProcessToken(TOKEN_QUERY);
    PrivateDescriptor object;
    ASSERT_TRUE(
        CreatePrivateObjectSecurity(nullptr, creator.Get(), object.Receive(), FALSE, token.Get(), &g_fileMapping));
    PSECURITY_DESCRIPTOR raw = object.Release();
    ASSERT_TRUE(SetPrivateObjectSecurity(DACL_SECURITY_INFORMATION | SACL_SECURITY_INFORMATION, change.Get(), &raw,
                                         &g_fileMapping, token.Get()));
    object.Reset(raw);
    DWORD size = 0;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER,
                          GetPrivateObjectSecurity(raw, DACL_SECURITY_INFORMATION, nullptr, 0, &size)));
    std::vector<BYTE> read(size);
    ASSERT_TRUE(GetPrivateObjectSecurity(raw, DACL_SECURITY_INFORMATION, read.data(), size, &size));
    EXPECT_EQ(SddlOf(read.data()), "D:P(A;;FA;;;BO)") << "the owner was neither set nor asked for";
}

TEST_F(SecurityTokens, ForeignOwnerAndSystemListNeedPrivileges) {
    SKIP_UNDER_WINE("CreatePrivateObjectSecurity checks nothing");
    const Sddl foreign("O:SYD:(A;;GA;;;BA)"), audited("D:(A;;GA;;;BA)S:(AU;SA;FA;;;WD)");
    const KernelHandle token = ProcessToken(TOKEN_QUERY);
    const auto create = [&](const Sddl& creator) {
        PrivateDescriptor object;
        const BOOL made =
            CreatePrivateObjectSecurity(nullptr, creator.Get(), object.Receive(), FALSE, token.Get(), &g_fileMapping);
        return made ? DWORD(ERROR_SUCCESS) : GetLastError();
    };
    EXPECT_EQ(create(foreign), DWORD(ERROR_INVALID_OWNER));
    EXPECT_EQ(create(audited), DWORD(ERROR_PRIVILEGE_NOT_HELD));
    Enable(SE_RESTORE_NAME, true);
    Enable(SE_SECURITY_NAME, true);
    EXPECT_EQ(create(foreign), DWORD(ERROR_SUCCESS));
    EXPECT_EQ(create(audited), DWORD(ERROR_SUCCESS));
    Enable(SE_RESTORE_NAME, false);
    Enable(SE_SECURITY_NAME, false);
}

}  // namespace
