// The fixed access list of the product's keys, and the rights of built-in groups.
#include "platform/handles.h"
#include "tests/registry/registry_fixture.h"
#include "tests/support/sddl.h"

namespace {

class KeyAccessRights : public RegistryTest {
  protected:
    void SetUp() override {
        RegistryTest::SetUp();
        Make(kScratch + "\\Key");
        ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, (kScratch + "\\Key").c_str(), 0, KEY_ALL_ACCESS, m_key.Receive()),
                  0);
    }
    void TearDown() override {
        m_key.Reset();
        RegistryTest::TearDown();
    }
    // The entries and the control bits of the key's list.
    std::string Entries(SECURITY_DESCRIPTOR_CONTROL* control) const {
        PACL list = nullptr;
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        DWORD revision = 0;
        GetSecurityInfo(m_key.Get(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr,
                        &descriptor);
        const LocalBuffer owner(descriptor);
        GetSecurityDescriptorControl(descriptor, control, &revision);
        return SddlOf(list);
    }
    RegistryKey m_key;
};

TEST_F(KeyAccessRights, FixedListReplacesWhatWasThere) {
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    for (const int view32 : {0, 1}) {
        ASSERT_EQ(Halv::AddAccessPermissionOnRegistryKey(m_key.Get(), view32), 1);
        EXPECT_EQ(Entries(&control), "(A;OICI;KR;;;WD)(A;OICI;KA;;;BO)(A;OICI;KA;;;BA)");
    }
    SKIP_UNDER_WINE("the protected bit of a key's list is not kept; effective rights answer everything");
    EXPECT_TRUE(control & SE_DACL_PROTECTED) << "entries of the parent no longer apply";
    DWORD mask = 1;
    for (const auto& [group, rights] : {std::pair{544u, 0xF003Fu}, {551u, 0xF003Fu}, {545u, 0x20019u}}) {
        EXPECT_EQ(Halv::GetBuiltinDomainAccessMaskOnKey(m_key.Get(), group, mask), 1);
        EXPECT_EQ(mask, rights) << group;
    }
}

TEST_F(KeyAccessRights, NullKeyIsRefused) {
    DWORD mask = 7;
    EXPECT_EQ(Halv::AddAccessPermissionOnRegistryKey(nullptr, 0), 0);
    EXPECT_EQ(Halv::GetBuiltinDomainAccessMaskOnKey(nullptr, 544, mask), 0);
    EXPECT_EQ(mask, 7u);
}

}  // namespace
