// Identifiers and access lists, byte by byte.
#include <cstring>
#include <vector>

#include "tests/support/fresh_machine.h"
#include "tests/support/sddl.h"

namespace {

class SecurityList : public FreshMachine {
  protected:
    // A list of this many bytes with canaries behind it.
    PACL NewList(DWORD size) {
        m_memory.assign(size + 8, 0xCC);
        EXPECT_TRUE(InitializeAcl(reinterpret_cast<PACL>(m_memory.data()), size, ACL_REVISION));
        return reinterpret_cast<PACL>(m_memory.data());
    }
    bool CanariesAreAlive() const {
        return std::vector<BYTE>(m_memory.end() - 8, m_memory.end()) == std::vector<BYTE>(8, 0xCC);
    }
    // Their bytes, so that the fixture itself holds no buffer of the machine's.
    struct FixedSid {
        BYTE bytes[16];
        PSID Get() { return bytes; }
    };
    FixedSid m_administrators{{1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0}};
    FixedSid m_everyone{{1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}};

  private:
    std::vector<BYTE> m_memory;
};

TEST_F(SecurityList, AllocatedSidHasWindowsBytesAndGoesBackThroughFreeSid) {
    SID_IDENTIFIER_AUTHORITY nt = SECURITY_NT_AUTHORITY;
    AllocatedSid sid;
    PSID made = nullptr;
    ASSERT_TRUE(AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 9, 9, 9, 9, 9, 9,
                                         &made));
    sid.Reset(made);
    const BYTE expected[] = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0};
    ASSERT_EQ(GetLengthSid(made), sizeof expected);
    EXPECT_EQ(std::memcmp(made, expected, sizeof expected), 0);
    EXPECT_EQ(*GetSidSubAuthorityCount(made), 2);
    EXPECT_EQ(*GetSidSubAuthority(made, 1), 544u);
    EXPECT_EQ(GetSidIdentifierAuthority(made)->Value[5], 5);
    EXPECT_TRUE(FailsWith(ERROR_INVALID_SID, AllocateAndInitializeSid(&nt, 9, 0, 0, 0, 0, 0, 0, 0, 0, &made)));
}

TEST_F(SecurityList, SidsAreEqualCopiedAndWrittenByTheirWholeContent) {
    BYTE small[16] = {}, invalid[16] = {2, 1};
    EXPECT_TRUE(IsValidSid(m_administrators.Get()));
    EXPECT_FALSE(IsValidSid(invalid));
    invalid[0] = SID_REVISION;
    invalid[1] = SID_MAX_SUB_AUTHORITIES + 1;
    EXPECT_FALSE(IsValidSid(invalid));
    EXPECT_FALSE(EqualSid(m_administrators.Get(), m_everyone.Get()));
    EXPECT_TRUE(EqualSid(m_administrators.Get(), TestSid("BA").Get()));
    EXPECT_FALSE(CopySid(15, small, m_administrators.Get()));
    ASSERT_TRUE(CopySid(16, small, m_administrators.Get()));
    EXPECT_TRUE(EqualSid(small, m_administrators.Get()));
    for (const char* const text : {"S-1-1-0", "S-1-5-32-544", "S-1-5-21-1-2-4294967295-1000"}) {
        LPSTR written = nullptr;
        ASSERT_TRUE(ConvertSidToStringSidA(TestSid(text).Get(), &written)) << text;
        const LocalBuffer owner(written);
        EXPECT_STREQ(written, text);
    }
    PSID sid = nullptr;
    for (const char* const text : {"S-1", "S-1-5", "S-2-5-1", "S-1-5-32-544x", "S-1-5-4294967296", "S-1-5-", "QQ"}) {
        SCOPED_TRACE(text);
        if (std::string(text) == "S-1-5-4294967296" || std::string(text) == "S-1-5-") {
#ifdef _WIN32
            continue;  // Wine takes numbers that overflow and empty ones
#endif
        }
        EXPECT_TRUE(FailsWith(ERROR_INVALID_SID, ConvertStringSidToSidA(text, &sid)));
    }
}

TEST_F(SecurityList, AddedEntryHasWindowsBytes) {
    const PACL list = NewList(64);
    ASSERT_TRUE(
        AddAccessDeniedAceEx(list, ACL_REVISION, CONTAINER_INHERIT_ACE | INHERITED_ACE, 0x12345678, m_everyone.Get()));
    const BYTE expected[] = {2,    0,    64, 0, 1, 0, 0, 0, 1, 0x12, 20, 0, 0x78, 0x56,
                             0x34, 0x12, 1,  1, 0, 0, 0, 0, 0, 1,    0,  0, 0,    0};
    EXPECT_EQ(std::memcmp(list, expected, sizeof expected), 0);
    ACL_SIZE_INFORMATION size;
    ASSERT_TRUE(GetAclInformation(list, &size, sizeof size, AclSizeInformation));
    EXPECT_EQ(size.AceCount, 1u);
    EXPECT_EQ(size.AclBytesInUse, 28u);
    EXPECT_EQ(size.AclBytesFree, 36u);
}

TEST_F(SecurityList, InitializingAndAddingReportWhatIsWrong) {
    ACL list;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, InitializeAcl(&list, 7, ACL_REVISION)));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, InitializeAcl(&list, 8, 1)));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, InitializeAcl(&list, 8, 5)));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, InitializeAcl(&list, 0x10000, ACL_REVISION)));
    EXPECT_TRUE(InitializeAcl(&list, 8, ACL_REVISION));
    EXPECT_TRUE(IsValidAcl(&list));
    BYTE invalid[16] = {2, 1};
    const PACL full = NewList(32);
    EXPECT_TRUE(FailsWith(ERROR_INVALID_SID, AddAccessAllowedAce(full, ACL_REVISION, 1, invalid)));
    EXPECT_TRUE(FailsWith(ERROR_REVISION_MISMATCH, AddAccessAllowedAce(full, 5, 1, m_everyone.Get())));
    ASSERT_TRUE(AddAccessAllowedAce(full, ACL_REVISION, 1, m_administrators.Get()));  // 8 + 24: full
    EXPECT_TRUE(FailsWith(ERROR_ALLOTTED_SPACE_EXCEEDED, AddAccessAllowedAce(full, ACL_REVISION, 1, m_everyone.Get())));
    full->AceCount = 9;  // more than there are
    EXPECT_FALSE(IsValidAcl(full));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_ACL, AddAccessAllowedAce(full, ACL_REVISION, 1, m_everyone.Get())));
    EXPECT_TRUE(CanariesAreAlive());
}

TEST_F(SecurityList, EntriesAreFoundAddedAndDeletedByIndex) {
    const Sddl source("D:(A;;CC;;;BA)(A;;DC;;;SY)");
    const PACL list = NewList(100);
    ASSERT_TRUE(AddAccessAllowedAce(list, ACL_REVISION, 4, m_everyone.Get()));
    LPVOID first = nullptr;
    ASSERT_TRUE(GetAce(source.Dacl(), 0, &first));
    ASSERT_TRUE(AddAce(list, ACL_REVISION, MAXDWORD, first, 24 + 20));  // both in one run
    EXPECT_EQ(SddlOf(list), "(A;;LC;;;WD)(A;;CC;;;BA)(A;;DC;;;SY)");
    ASSERT_TRUE(DeleteAce(list, 1));
    EXPECT_EQ(SddlOf(list), "(A;;LC;;;WD)(A;;DC;;;SY)");
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, GetAce(list, 2, &first)));
    EXPECT_TRUE(FailsWith(ERROR_INVALID_PARAMETER, DeleteAce(list, 2)));
    EXPECT_TRUE(CanariesAreAlive());
}

TEST_F(SecurityList, AddAceGoesBeforeTheIndexAndSaysWhatDoesNotFit) {
    SKIP_UNDER_WINE("AddAce appends whatever the index, takes half entries and calls want of room a wrong parameter");
    const Sddl source("D:(A;;CC;;;BA)(A;;DC;;;SY)");
    const PACL list = NewList(72);
    ASSERT_TRUE(AddAccessAllowedAce(list, ACL_REVISION, 4, m_everyone.Get()));
    LPVOID first = nullptr;
    ASSERT_TRUE(GetAce(source.Dacl(), 0, &first));
    ASSERT_TRUE(AddAce(list, ACL_REVISION, 0, first, 24 + 20));
    EXPECT_EQ(SddlOf(list), "(A;;CC;;;BA)(A;;DC;;;SY)(A;;LC;;;WD)");
    EXPECT_TRUE(
        FailsWith(ERROR_INVALID_PARAMETER, AddAce(list, ACL_REVISION, MAXDWORD, first, 30)));  // ends within an entry
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, AddAce(list, ACL_REVISION, 0, first, 24)));
    EXPECT_TRUE(CanariesAreAlive());
}

EXPLICIT_ACCESSA Explicit(PSID sid, ACCESS_MODE mode, DWORD mask, DWORD inheritance = NO_INHERITANCE) {
    EXPLICIT_ACCESSA entry = {};
    entry.grfAccessPermissions = mask;
    entry.grfAccessMode = mode;
    entry.grfInheritance = inheritance;
    BuildTrusteeWithSidA(&entry.Trustee, sid);
    return entry;
}

struct MergeCase {
    const char* name;
    const char* oldList;
    ACCESS_MODE mode;
    const char* trustee;
    const char* merged;
    const char* wine;  // what Wine does otherwise, null when it does the same
};

class SecurityMerge : public FreshMachine, public testing::WithParamInterface<MergeCase> {};

TEST_P(SecurityMerge, NewEntriesTakeTheirPlace) {
    const MergeCase& row = GetParam();
    if (row.wine != nullptr) SKIP_UNDER_WINE(row.wine);
    const Sddl old(row.oldList);
    const TestSid trustee(row.trustee);
    EXPLICIT_ACCESSA entry = Explicit(trustee.Get(), row.mode, 0x8);
    PACL merged = nullptr;
    ASSERT_EQ(SetEntriesInAclA(1, &entry, old.Dacl(), &merged), DWORD(ERROR_SUCCESS));
    const LocalBuffer owner(merged);
    EXPECT_EQ(SddlOf(merged), row.merged);
}

INSTANTIATE_TEST_SUITE_P(
    All, SecurityMerge,
    testing::Values(MergeCase{"GrantGoesBeforeOldAllows", "D:(A;;DC;;;BA)(A;ID;LC;;;BU)", GRANT_ACCESS, "WD",
                              "(A;;SW;;;WD)(A;;DC;;;BA)(A;ID;LC;;;BU)", nullptr},
                    MergeCase{"GrantStaysBehindDenies", "D:(D;;CC;;;BG)(A;;DC;;;BA)(A;ID;LC;;;BU)", GRANT_ACCESS, "WD",
                              "(D;;CC;;;BG)(A;;SW;;;WD)(A;;DC;;;BA)(A;ID;LC;;;BU)",
                              "SetEntriesInAclA puts grants before denies"},
                    MergeCase{"GrantJoinsOldRights", "D:(A;;DC;;;BA)(A;ID;LC;;;BA)", GRANT_ACCESS, "BA",
                              "(A;;DCSW;;;BA)(A;ID;LC;;;BA)", "SetEntriesInAclA adds a second entry"},
                    MergeCase{"SetReplacesOldRights", "D:(A;;DC;;;BA)(A;ID;LC;;;BU)", SET_ACCESS, "BA",
                              "(A;;SW;;;BA)(A;ID;LC;;;BU)", nullptr},
                    MergeCase{"DenyGoesFirst", "D:(D;;CC;;;BG)(A;;DC;;;BA)", DENY_ACCESS, "WD",
                              "(D;;SW;;;WD)(D;;CC;;;BG)(A;;DC;;;BA)", nullptr},
                    MergeCase{"RevokeRemovesAllowsOnly", "D:(D;;CC;;;BA)(A;;DC;;;BA)(A;;LC;;;WD)", REVOKE_ACCESS, "BA",
                              "(D;;CC;;;BA)(A;;LC;;;WD)", nullptr}),
    kCaseName);

TEST_F(SecurityList, GrantsWithoutAnOldListKeepTheirOrderAndBadTrusteesAreRefused) {
    PACL merged = reinterpret_cast<PACL>(&merged);
    EXPECT_EQ(SetEntriesInAclA(0, nullptr, nullptr, &merged), DWORD(ERROR_SUCCESS));
    EXPECT_EQ(merged, nullptr);
    EXPLICIT_ACCESSA entry = Explicit(nullptr, GRANT_ACCESS, 1);
    EXPECT_EQ(SetEntriesInAclA(1, &entry, nullptr, &merged), DWORD(ERROR_INVALID_PARAMETER));
    entry = Explicit(m_everyone.Get(), NOT_USED_ACCESS, 1);
    EXPECT_EQ(SetEntriesInAclA(1, &entry, nullptr, &merged), DWORD(ERROR_INVALID_PARAMETER));
    const TestSid operators("BO");
    EXPLICIT_ACCESSA entries[] = {
        Explicit(m_everyone.Get(), GRANT_ACCESS, KEY_READ, SUB_CONTAINERS_AND_OBJECTS_INHERIT),
        Explicit(operators.Get(), GRANT_ACCESS, KEY_ALL_ACCESS, SUB_CONTAINERS_AND_OBJECTS_INHERIT),
        Explicit(m_administrators.Get(), GRANT_ACCESS, KEY_ALL_ACCESS)};
    PACL list = nullptr;
    ASSERT_EQ(SetEntriesInAclA(3, entries, nullptr, &list), DWORD(ERROR_SUCCESS));
    const LocalBuffer owner(list);
    EXPECT_EQ(SddlOf(list), "(A;OICI;KR;;;WD)(A;OICI;KA;;;BO)(A;;KA;;;BA)");
}

TEST_F(SecurityList, EffectiveRightsFollowTheOrderOfTheList) {
    SKIP_UNDER_WINE("GetEffectiveRightsFromAclA answers everything");
    struct Row {
        const char* list;
        const char* trustee;
        DWORD rights;
    };
    const Row rows[] = {
        {"D:(A;OICI;KR;;;WD)(A;OICI;KA;;;BO)", "BO", KEY_ALL_ACCESS},
        {"D:(A;OICI;KR;;;WD)(A;OICI;KA;;;BO)", "BA", KEY_READ},
        {"D:(D;;0x1;;;WD)(A;;0x3;;;BA)", "BA", 2},
        {"D:(A;;0x3;;;BA)(D;;0x1;;;WD)", "BA", 3},
        {"D:(A;IO;0x3;;;BA)", "BA", 0},
        {"D:", "BA", 0},
    };
    for (const Row& row : rows) {
        const TestSid sid(row.trustee);
        TRUSTEEA trustee;
        BuildTrusteeWithSidA(&trustee, sid.Get());
        ACCESS_MASK rights = 0xdeadbeef;
        EXPECT_EQ(GetEffectiveRightsFromAclA(Sddl(row.list).Dacl(), &trustee, &rights), DWORD(ERROR_SUCCESS));
        EXPECT_EQ(rights, row.rights) << row.list << " for " << row.trustee;
    }
}

}  // namespace
