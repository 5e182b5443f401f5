// The whole machine before an installation and after its removal.
#include <algorithm>

#include "platform/embedded/control_registry.h"
#include "tests/registry/registry_fixture.h"

namespace {

namespace control = embedded::control;

class MachineState : public RegistryTest {};

TEST_F(MachineState, InstallingAndRemovingLeavesTheMachineAsItWas) {
    CSettings settings = ServerSettings();
    settings.UninstallKorvault(1);
    MakeKey(HKEY_LOCAL_MACHINE, kSnmpAgents);
    MakeKey(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved");
    std::string problem;
    const std::filesystem::path before = World() / "before";
    ASSERT_TRUE(control::SaveState(MachineFolder(), before, &problem)) << problem;
    {
        CHalvRegistry object(settings, 1, nullptr);
        tagProductStruct record = Record(0x0B05, 1);
        CHalvRegistry::RegisterProduct(CHalvRegistry::GetZephraniteProdName(), &record);
        object.CreateKorvaultUninstallKey();
    }
    std::vector<std::string> changes;
    ASSERT_TRUE(control::Diff(before, MachineFolder(), &changes, &problem)) << problem;
    ASSERT_GT(changes.size(), 40u);
    {
        CHalvRegistry object(settings, 0, nullptr);
        CHalvRegistry::UnregisterProduct(CHalvRegistry::GetZephraniteProdName());
        object.DeleteKorvaultUninstallKey();
        EXPECT_EQ(object.Delete(), 1);
    }
    ASSERT_TRUE(control::Diff(before, MachineFolder(), &changes, &problem)) << problem;
    // Never removed: the list of products and the vendor's root above it, the script extension, the computer's name in
    // the environment, handler lists of the shell that others use, and the log.
    const auto stays = [](const std::string& line) {
        for (const char* kept : {"SOFTWARE\\Orvanex", ".asx", "RNNAME", "shellex", "setup.log"}) {
            if (line.find(kept) != std::string::npos) return true;
        }
        return false;
    };
    std::erase_if(changes, stays);
    EXPECT_THAT(changes, testing::IsEmpty());
    EXPECT_THAT(Listing(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvanex"), testing::ElementsAre("[OV-InstalledITProducts]"));
}

}  // namespace
