// Descriptors in both forms, and as text.
#include <vector>

#include "tests/support/fresh_machine.h"
#include "tests/support/sddl.h"

namespace {

constexpr char kFull[] = "O:BAG:SYD:PAI(A;OICI;FA;;;BA)(D;;GA;;;WD)";

class SecurityDescriptors : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        ASSERT_TRUE(InitializeSecurityDescriptor(&m_empty, SECURITY_DESCRIPTOR_REVISION));
    }
    SECURITY_DESCRIPTOR m_empty;
};

TEST_F(SecurityDescriptors, AbsoluteAndSelfRelativeFormsHoldTheSame) {
    const Sddl source(kFull);
    DWORD size = 0, daclSize = 0, saclSize = 0, ownerSize = 0, groupSize = 0;
    EXPECT_TRUE(
        FailsWith(ERROR_INSUFFICIENT_BUFFER, MakeAbsoluteSD(source.Get(), nullptr, &size, nullptr, &daclSize, nullptr,
                                                            &saclSize, nullptr, &ownerSize, nullptr, &groupSize)));
    EXPECT_EQ(size, sizeof(SECURITY_DESCRIPTOR));
    EXPECT_EQ(std::vector<DWORD>({daclSize, saclSize, ownerSize, groupSize}), std::vector<DWORD>({52, 0, 16, 12}));

    SECURITY_DESCRIPTOR absolute;
    std::vector<BYTE> dacl(daclSize), owner(ownerSize), group(groupSize);
    ASSERT_TRUE(MakeAbsoluteSD(source.Get(), &absolute, &size, reinterpret_cast<PACL>(dacl.data()), &daclSize, nullptr,
                               &saclSize, owner.data(), &ownerSize, group.data(), &groupSize));
    EXPECT_EQ(SddlOf(&absolute), kFull);
    EXPECT_EQ(absolute.Control & SE_SELF_RELATIVE, 0);

    DWORD needed = 0;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, MakeSelfRelativeSD(&absolute, nullptr, &needed)));
    ASSERT_EQ(needed, 20u + 52 + 16 + 12);
    std::vector<BYTE> again(needed);
    ASSERT_TRUE(MakeSelfRelativeSD(&absolute, again.data(), &needed));
    EXPECT_EQ(SddlOf(again.data()), kFull);
    EXPECT_EQ(GetSecurityDescriptorLength(again.data()), needed);
}

TEST_F(SecurityDescriptors, RevisionAndFormAreChecked) {
    EXPECT_TRUE(FailsWith(ERROR_UNKNOWN_REVISION, InitializeSecurityDescriptor(&m_empty, 2)));
    const Sddl source(kFull);
    EXPECT_FALSE(
        SetSecurityDescriptorDacl(source.Get(), TRUE, nullptr, FALSE));  // self-relative: no place for a pointer
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_SECURITY_DESCR));
    m_empty.Revision = 2;
    EXPECT_TRUE(FailsWith(ERROR_UNKNOWN_REVISION, SetSecurityDescriptorDacl(&m_empty, TRUE, nullptr, FALSE)));
    EXPECT_FALSE(IsValidSecurityDescriptor(&m_empty));
    EXPECT_FALSE(IsValidSecurityDescriptor(nullptr));
}

TEST_F(SecurityDescriptors, NullListIsPresentAndAbsentListIsNot) {
    BOOL present = 7, defaulted = 7;
    PACL list = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(&m_empty, &present, &list, &defaulted));
    EXPECT_FALSE(present);
    ASSERT_TRUE(SetSecurityDescriptorDacl(&m_empty, TRUE, nullptr, TRUE));
    list = reinterpret_cast<PACL>(&present);
    ASSERT_TRUE(GetSecurityDescriptorDacl(&m_empty, &present, &list, &defaulted));
    EXPECT_TRUE(present);
    EXPECT_TRUE(defaulted);
    EXPECT_EQ(list, nullptr);
    ASSERT_TRUE(SetSecurityDescriptorDacl(&m_empty, FALSE, nullptr, FALSE));
    EXPECT_EQ(m_empty.Control & SE_DACL_PRESENT, 0);
}

TEST_F(SecurityDescriptors, ControlTakesInheritanceBitsOnly) {
    WORD control = 0;
    DWORD revision = 0;
    ASSERT_TRUE(SetSecurityDescriptorControl(&m_empty, SE_DACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED,
                                             SE_DACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED));
    ASSERT_TRUE(SetSecurityDescriptorControl(&m_empty, SE_DACL_AUTO_INHERITED, 0));
    ASSERT_TRUE(GetSecurityDescriptorControl(&m_empty, &control, &revision));
    EXPECT_EQ(control, SE_DACL_AUTO_INHERIT_REQ);
    EXPECT_EQ(revision, DWORD(SECURITY_DESCRIPTOR_REVISION));
    EXPECT_TRUE(
        FailsWith(ERROR_INVALID_PARAMETER, SetSecurityDescriptorControl(&m_empty, SE_DACL_PRESENT, SE_DACL_PRESENT)));
}

TEST_F(SecurityDescriptors, OwnerAndGroupAreKeptByPointer) {
    const TestSid owner("BA"), group("SY");
    ASSERT_TRUE(SetSecurityDescriptorOwner(&m_empty, owner.Get(), FALSE));
    ASSERT_TRUE(SetSecurityDescriptorGroup(&m_empty, group.Get(), TRUE));
    PSID found = nullptr;
    BOOL defaulted = FALSE;
    ASSERT_TRUE(GetSecurityDescriptorOwner(&m_empty, &found, &defaulted));
    EXPECT_EQ(found, owner.Get());
    EXPECT_FALSE(defaulted);
    ASSERT_TRUE(GetSecurityDescriptorGroup(&m_empty, &found, &defaulted));
    EXPECT_EQ(found, group.Get());
    EXPECT_TRUE(defaulted);
}

TEST_F(SecurityDescriptors, TextIsReadAndWrittenAsWindowsDoes) {
    const std::pair<const char*, const char*> rows[] = {
        {"D:", "D:"},
        {"D:(A;;;;;WD)", "D:(A;;;;;WD)"},
        {"D:(A;;0x1301bf;;;S-1-1-0)", "D:(A;;0x1301bf;;;WD)"},
        {"D:(A;;0x1f01ff;;;WD)(A;;CCDCLC;;;AU)", "D:(A;;FA;;;WD)(A;;CCDCLC;;;AU)"},
        {"D:(A;;KAGA;;;WD)", "D:(A;;CCDCLCSWRPWPSDRCWDWOGA;;;WD)"},
        {"D:ARAIP(A;IDIOCINPOI;KR;;;WD)", "D:PARAI(A;OICINPIOID;KR;;;WD)"},
        {"O:S-1-5-21-1-2-3-1000G:BU", "O:S-1-5-21-1-2-3-1000G:BU"},
        {"O:BAS:(AU;SAFA;FA;;;WD)", "O:BAS:(AU;SAFA;FA;;;WD)"},
    };
    for (const auto& [text, written] : rows) EXPECT_EQ(SddlOf(Sddl(text).Get()), written);
    EXPECT_EQ(SddlOf(Sddl(kFull).Get(), GROUP_SECURITY_INFORMATION), "G:SY");
}

TEST_F(SecurityDescriptors, TextThatIsNoneIsRefused) {
    for (const char* const text : {"Q:", "D:(Z;;FA;;;WD)", "D:(A;;FA;;;QQ)", "O:QQ", "D:(A;;ZZ;;;WD)",
                                   "D:(A;ZZ;FA;;;WD)", "D:(A;;FA;;;WD", "D:(A;;FA)"}) {
        PSECURITY_DESCRIPTOR made = nullptr;
        SetLastError(0);
        EXPECT_FALSE(ConvertStringSecurityDescriptorToSecurityDescriptorA(text, SDDL_REVISION_1, &made, nullptr))
            << text;
        EXPECT_NE(GetLastError(), 0u) << text;
    }
}

}  // namespace
