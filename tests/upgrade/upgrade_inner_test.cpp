// Steps of an upgrade that no exported function reaches alone.
#include "tests/registry/registry_fixture.h"
#include "upgrade/decision.h"
#include "upgrade/registry_copy.h"

namespace {

class UpgradeSteps : public FreshMachine {};

TEST_F(UpgradeSteps, OnlyTheLocalMachinesRootIsCopied) {
    SetText(HKEY_CURRENT_USER, kScratch + "\\From", "v", "1");
    SetText(HKEY_LOCAL_MACHINE, kScratch + "\\From", "v", "1");
    const std::string from = kScratch + "\\From", to = kScratch + "\\To";
    WriteBytes("C:\\TEST\\Upgrade_Instalib.log", "");
    SetEnvironmentVariableA("UPGRADE_INSTALIB", "C:\\TEST");
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_USERS, HKEY_CLASSES_ROOT}) {
        EXPECT_EQ(upgrade::SetcnvrtCopyRegSubTree(root, from.c_str(), to.c_str(), true), 1);
    }
    SetEnvironmentVariableA("UPGRADE_INSTALIB", nullptr);
    std::string traced;
    for (const char* name : {"HKEY_CURRENT_USER", "HKEY_USERS", "other"}) {
        traced += std::string("SetcnvrtCopyRegSubTree(hRoot=") + name + ", sSourcePath=" + from +
                  ", sDestinationPath=" + to +
                  ", bDeleteSource=1) - Start\r\nSetcnvrtCopyRegSubTree() - End - Invalid hRoot. SETCNVRT_FAILED\r\n";
    }
    EXPECT_EQ(ReadBytes("C:\\TEST\\Upgrade_Instalib.log"), traced);
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, from));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, to));
    // A tree copied onto itself, or into itself, is never deleted.
    EXPECT_EQ(upgrade::SetcnvrtCopyRegSubTree(HKEY_LOCAL_MACHINE, from.c_str(), kScratch.c_str(), false), 0);
    EXPECT_EQ(upgrade::SetcnvrtCopyRegSubTree(HKEY_LOCAL_MACHINE, from.c_str(), from.c_str(), true), 0);
    EXPECT_EQ(upgrade::SetcnvrtCopyRegSubTree(HKEY_LOCAL_MACHINE, from.c_str(), (from + "\\In").c_str(), true), 0);
    EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, from, "v") + GetText(HKEY_LOCAL_MACHINE, from + "\\In", "v"), "11");
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, from + "\\In\\In"));
    DeleteKeyTree(HKEY_CURRENT_USER, kScratch);
}

TEST_F(UpgradeSteps, RemoteAgentWhoseRegistrationVanishedIsMinusOne) {
    upgrade::Target target(nullptr);
    CProduct fresh, old;
    fresh.setVersionNo(WORD(0x0B05));
    EXPECT_EQ(upgrade::IsAllowProductUpgradeOnRemote64(target, "VSSAgent", fresh, "C:\\TEST\\setup.inf", old), -1);
    EXPECT_EQ(old.getVersionNo() + old.getBuildNo(), 0) << "what the caller's word becomes";
}

}  // namespace
