// What only the embedded machine can show: damaged descriptors, tokens changed by control, another user's rights.
#include <random>
#include <vector>

#include "platform/embedded/control/accounts.h"
#include "platform/embedded/control/security.h"
#include "tests/support/fresh_machine.h"
#include "tests/support/sddl.h"

namespace control = embedded::control;

namespace {

constexpr char kSource[] = "O:BAG:SYD:PAI(A;OICI;KA;;;BA)(D;;KW;;;WD)(A;CI;KR;;;WD)S:(AU;SA;KA;;;WD)";

class EmbeddedSecurity : public FreshMachine {
  protected:
    void TearDown() override {
        RevertToSelf();
        FreshMachine::TearDown();
    }
    static std::vector<BYTE> SourceBytes() {
        const Sddl source(kSource);
        const auto* const bytes = static_cast<const BYTE*>(source.Get());
        return {bytes, bytes + source.Size()};
    }
    static bool Granted(const char* text, DWORD desired) {
        const Sddl source(text);
        const auto* const bytes = static_cast<const BYTE*>(source.Get());
        DWORD granted = 0;
        return control::CheckStoredDescriptor({bytes, bytes + source.Size()}, desired, &granted) == 0;
    }
};

// Under the address sanitizer these also prove that nothing behind the bytes is read: the vectors are exactly as long.
TEST_F(EmbeddedSecurity, TruncatedDescriptorsGrantNothing) {
    const std::vector<BYTE> whole = SourceBytes();
    DWORD granted = 0;
    ASSERT_EQ(control::CheckStoredDescriptor(whole, KEY_READ, &granted), DWORD(ERROR_SUCCESS));
    for (std::size_t length = 1; length < whole.size(); ++length) {
        const std::vector<BYTE> cut(whole.begin(), whole.begin() + std::ptrdiff_t(length));
        EXPECT_EQ(control::CheckStoredDescriptor(cut, KEY_READ, &granted), DWORD(ERROR_INVALID_SECURITY_DESCR))
            << length;
    }
}

TEST_F(EmbeddedSecurity, DamagedDescriptorsAreReadWithinTheirBytes) {
    const std::vector<BYTE> whole = SourceBytes();
    std::mt19937 random(20);  // the same damage in every run
    for (int round = 0; round < 20000; ++round) {
        std::vector<BYTE> damaged = whole;
        for (unsigned flips = 1 + random() % 4; flips > 0; --flips)
            damaged[random() % damaged.size()] ^= BYTE(1u << random() % 8);
        DWORD granted = 0;
        const DWORD error = control::CheckStoredDescriptor(damaged, MAXIMUM_ALLOWED, &granted);
        EXPECT_TRUE(error == 0 || error == ERROR_ACCESS_DENIED || error == ERROR_INVALID_SECURITY_DESCR) << error;
        EXPECT_EQ(error == 0, granted != 0);
    }
}

TEST_F(EmbeddedSecurity, CallersDescriptorsMayBeDamaged) {
    const std::vector<BYTE> whole = SourceBytes();
    std::vector<BYTE> room(0x80000);  // as far as a damaged offset is followed
    std::mt19937 random(21);
    for (int round = 0; round < 5000; ++round) {
        std::copy(whole.begin(), whole.end(), room.begin());
        room[random() % whole.size()] ^= BYTE(1u << random() % 8);
        if ((room[3] & 0x80) == 0) room[3] |= 0x80;  // the absolute form holds pointers, which nobody can check
        const bool valid = IsValidSecurityDescriptor(room.data());
        EXPECT_EQ(valid, GetSecurityDescriptorLength(room.data()) != 0);
        DWORD sizes[5] = {};
        EXPECT_FALSE(MakeAbsoluteSD(room.data(), nullptr, &sizes[0], nullptr, &sizes[1], nullptr, &sizes[2], nullptr,
                                    &sizes[3], nullptr, &sizes[4]));
        EXPECT_EQ(valid, GetLastError() == ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(valid, !SddlOf(room.data()).starts_with("<error"));
    }
}

TEST_F(EmbeddedSecurity, DamagedListsAreNeitherReadNorWrittenBeyondTheirSize) {
    const Sddl source(kSource);
    const std::vector<BYTE> whole(reinterpret_cast<const BYTE*>(source.Dacl()),
                                  reinterpret_cast<const BYTE*>(source.Dacl()) + source.Dacl()->AclSize);
    const TestSid everyone("WD");
    std::mt19937 random(22);
    for (int round = 0; round < 20000; ++round) {
        std::vector<BYTE> damaged = whole;
        damaged[random() % damaged.size()] ^= BYTE(1u << random() % 8);
        const PACL list = reinterpret_cast<PACL>(damaged.data());
        if (list->AclSize > damaged.size()) continue;  // its own word for its length is all that a list has
        LPVOID entry = nullptr;
        PACL merged = nullptr;
        ACL_SIZE_INFORMATION size;
        IsValidAcl(list);
        GetAclInformation(list, &size, sizeof size, AclSizeInformation);
        for (DWORD i = 0; i < 4; ++i) GetAce(list, i, &entry);
        if (SetEntriesInAclA(0, nullptr, list, &merged) == 0) LocalFree(merged);
        AddAccessAllowedAce(list, ACL_REVISION, 1, everyone.Get());
        DeleteAce(list, random() % 4);
    }
}

TEST_F(EmbeddedSecurity, DisabledGroupAllowsNothingAndDenyOnlyGroupDenies) {
    constexpr char kAllows[] = "O:SYG:SYD:(A;;KA;;;BA)", kDenies[] = "O:SYG:SYD:(D;;KA;;;BA)(A;;KA;;;WD)";
    EXPECT_TRUE(Granted(kAllows, KEY_READ));
    EXPECT_FALSE(Granted(kDenies, KEY_READ));
    ASSERT_TRUE(control::SetTokenGroup("BA", control::GroupUse::Disabled));
    EXPECT_FALSE(Granted(kAllows, KEY_READ));
    EXPECT_TRUE(Granted(kDenies, KEY_READ));
    ASSERT_TRUE(control::SetTokenGroup("BA", control::GroupUse::DenyOnly));
    EXPECT_FALSE(Granted(kAllows, KEY_READ));
    EXPECT_FALSE(Granted(kDenies, KEY_READ));
    EXPECT_FALSE(control::SetTokenGroup("S-1-5-21-1-2-3-4", control::GroupUse::Enabled));
}

TEST_F(EmbeddedSecurity, DroppedPrivilegeCannotBeEnabled) {
    ASSERT_TRUE(control::DropPrivilege(SE_SECURITY_NAME));
    EXPECT_FALSE(control::DropPrivilege(SE_SECURITY_NAME));
    KernelHandle token;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Receive()));
    TOKEN_PRIVILEGES wanted = {1, {{{8, 0}, SE_PRIVILEGE_ENABLED}}};
    EXPECT_TRUE(AdjustTokenPrivileges(token.Get(), FALSE, &wanted, 0, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NOT_ALL_ASSIGNED));
}

TEST_F(EmbeddedSecurity, AnotherMachineMeansAnotherToken) {
    ASSERT_TRUE(control::SetTokenGroup("BA", control::GroupUse::Disabled));
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    ASSERT_TRUE(control::UseMachine(AddMachine("OTHER")));
    KernelHandle token;
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()));
    EXPECT_TRUE(Granted("O:SYG:SYD:(A;;KA;;;BA)", KEY_READ));
}

TEST_F(EmbeddedSecurity, StandardUserReadsAndDoesNotWrite) {
    USER_INFO_1 user = {};
    std::u16string name = u"Clerk", password = u"secret";
    user.usri1_name = name.data();
    user.usri1_password = password.data();
    user.usri1_priv = USER_PRIV_USER;
    user.usri1_flags = UF_SCRIPT;
    ASSERT_EQ(NetUserAdd(nullptr, 1, reinterpret_cast<LPBYTE>(&user), nullptr), 0u);
    ASSERT_TRUE(control::SetCurrentUser("Clerk"));
    RegistryKey key;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, key.Receive()), 0);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_SET_VALUE, key.Receive()), ERROR_ACCESS_DENIED);
}

// A list of audits loses those of the trustee, as one of rights does.
TEST(MergedAudits, RevokeTakesThem) {
    const Sddl old("S:(AU;SA;CC;;;BA)(AU;SA;CC;;;WD)");
    BOOL present = FALSE, defaulted = FALSE;
    PACL list = nullptr, merged = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorSacl(old.Get(), &present, &list, &defaulted) && present);
    const TestSid administrators("BA");
    EXPLICIT_ACCESSA entry{};
    entry.grfAccessMode = REVOKE_ACCESS;
    BuildTrusteeWithSidA(&entry.Trustee, administrators.Get());
    ASSERT_EQ(SetEntriesInAclA(1, &entry, list, &merged), DWORD(ERROR_SUCCESS));
    const LocalBuffer owner(merged);
    EXPECT_EQ(merged->AceCount, 1);
}

}  // namespace
