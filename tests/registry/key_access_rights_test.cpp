// The fixed access list of the product's keys, and the rights of built-in groups.
#include "tests/registry/registry_fixture.h"
#include "tests/support/sddl.h"

namespace {

// The entries and the control bits of the key's list.
std::string Entries(HKEY key, SECURITY_DESCRIPTOR_CONTROL* control) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    DWORD revision = 0;
    GetSecurityInfo(key, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr, &descriptor);
    const LocalBuffer owner(descriptor);
    GetSecurityDescriptorControl(descriptor, control, &revision);
    return SddlOf(list);
}

TEST_F(RegistryTest, FixedListReplacesWhatWasThereAndANullKeyIsRefused) {
    DWORD mask = 7;
    EXPECT_EQ(Halv::AddAccessPermissionOnRegistryKey(nullptr, 0), 0);
    EXPECT_EQ(Halv::GetBuiltinDomainAccessMaskOnKey(nullptr, 544, mask), 0);
    EXPECT_EQ(mask, 7u);
    Make(kScratch + "\\Key");
    RegistryKey key;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, (kScratch + "\\Key").c_str(), 0, KEY_ALL_ACCESS, key.Receive()), 0);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    for (const int view32 : {0, 1}) {
        ASSERT_EQ(Halv::AddAccessPermissionOnRegistryKey(key.Get(), view32), 1);
        EXPECT_EQ(Entries(key.Get(), &control), "(A;OICI;KR;;;WD)(A;OICI;KA;;;BO)(A;OICI;KA;;;BA)");
    }
    SKIP_UNDER_WINE("the protected bit of a key's list is not kept; effective rights answer everything");
    EXPECT_TRUE(control & SE_DACL_PROTECTED) << "entries of the parent no longer apply";
    for (const auto& [group, rights] : {std::pair{544u, 0xF003Fu}, {551u, 0xF003Fu}, {545u, 0x20019u}}) {
        EXPECT_EQ(Halv::GetBuiltinDomainAccessMaskOnKey(key.Get(), group, mask), 1);
        EXPECT_EQ(mask, rights) << group;
    }
}

}  // namespace
