// The fixed access list of the product's keys, and the rights of built-in groups.
#include "platform/handles.h"
#include "tests/registry/registry_fixture.h"

namespace {

class KeyAccessRights : public RegistryTest {
  protected:
    static void OpenScratch(RegistryKey& key) {
        MakeKey(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest\\Key");
        ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest\\Key", 0, KEY_ALL_ACCESS, key.Receive()),
                  0);
    }
    // "type flags mask sid-depth/first/last" of each entry.
    static std::vector<std::string> Entries(HKEY key, bool* isProtected) {
        PACL list = nullptr;
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        EXPECT_EQ(GetSecurityInfo(key, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr,
                                  &descriptor),
                  0u);
        const LocalBuffer owner(descriptor);
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        DWORD revision = 0;
        GetSecurityDescriptorControl(descriptor, &control, &revision);
        *isProtected = (control & SE_DACL_PROTECTED) != 0;
        std::vector<std::string> entries;
        for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i) {
            void* entry = nullptr;
            if (!GetAce(list, i, &entry)) break;
            auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
            PSID const sid = &allowed->SidStart;
            const DWORD last = *GetSidSubAuthorityCount(sid) - 1u;
            char line[80] = "";
            std::snprintf(line, sizeof line, "%u %u %lX %lu", allowed->Header.AceType, allowed->Header.AceFlags,
                          static_cast<unsigned long>(allowed->Mask),
                          static_cast<unsigned long>(*GetSidSubAuthority(sid, last)));
            entries.push_back(line);
        }
        return entries;
    }
};

TEST_F(KeyAccessRights, FixedListReplacesWhatWasThere) {
    for (const int view32 : {0, 1}) {
        RegistryKey key;
        OpenScratch(key);
        bool isProtected = false;
        ASSERT_EQ(CHalvRegistry::AddAccessPermissionOnRegistryKey(key.Get(), view32), 1);
        EXPECT_THAT(Entries(key.Get(), &isProtected),
                    testing::UnorderedElementsAre("0 3 20019 0", "0 3 F003F 551", "0 3 F003F 544"));
    }
}

TEST_F(KeyAccessRights, EntriesOfTheParentNoLongerApply) {
    SKIP_UNDER_WINE("the protected bit of a key's list is not kept");
    RegistryKey key;
    OpenScratch(key);
    bool isProtected = false;
    ASSERT_EQ(CHalvRegistry::AddAccessPermissionOnRegistryKey(key.Get(), 0), 1);
    EXPECT_THAT(Entries(key.Get(), &isProtected), testing::SizeIs(3));
    EXPECT_TRUE(isProtected);
}

TEST_F(KeyAccessRights, BuiltInGroupsHaveFullControlAfterwards) {
    SKIP_UNDER_WINE("effective rights answer everything");
    RegistryKey key;
    OpenScratch(key);
    ASSERT_EQ(CHalvRegistry::AddAccessPermissionOnRegistryKey(key.Get(), 0), 1);
    for (const DWORD group : {544u, 551u}) {
        DWORD mask = 1;
        EXPECT_EQ(CHalvRegistry::GetBuiltinDomainAccessMaskOnKey(key.Get(), group, mask), 1);
        EXPECT_EQ(mask, 0xF003Fu) << group;
    }
    DWORD mask = 0;
    EXPECT_EQ(CHalvRegistry::GetBuiltinDomainAccessMaskOnKey(key.Get(), 545, mask), 1);
    EXPECT_EQ(mask, 0x20019u) << "what everyone has";
}

TEST_F(KeyAccessRights, NullKeyIsRefused) {
    DWORD mask = 7;
    EXPECT_EQ(CHalvRegistry::AddAccessPermissionOnRegistryKey(nullptr, 0), 0);
    EXPECT_EQ(CHalvRegistry::GetBuiltinDomainAccessMaskOnKey(nullptr, 544, mask), 0);
    EXPECT_EQ(mask, 7u);
}

}  // namespace
