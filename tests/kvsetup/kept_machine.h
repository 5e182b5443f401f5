// A machine whose state is kept, so that a test can tell what has changed since, and go back.
#ifndef INSTALIB_TESTS_KVSETUP_KEPT_MACHINE_H
#define INSTALIB_TESTS_KVSETUP_KEPT_MACHINE_H

#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/registry.h"
#include "tests/kvsetup/kvsetup_run.h"

using Lines = std::vector<std::string>;

class KeptMachine : public KvsetupRun {
  protected:
    void SetUp() override {
        KvsetupRun::SetUp();
        embedded::control::MountDrive('D', Medium());
    }
    // The machine's folder as it is now, and back to it.
    void Keep() {
        std::filesystem::remove_all(Scratch() / "kept");
        std::filesystem::copy(MachineFolder(), Scratch() / "kept",
                              std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
        std::string problem;
        ASSERT_TRUE(embedded::control::SaveState(MachineFolder(), Scratch() / "state.txt", &problem)) << problem;
    }
    Lines Changed() {
        Lines lines;
        std::string problem;
        EXPECT_TRUE(embedded::control::Diff(Scratch() / "state.txt", MachineFolder(), &lines, &problem)) << problem;
        // The log, and the number of an account that is never given out again.
        std::erase_if(lines, [](const std::string& line) {
            return line.find("KVSETUP.LOG") != line.npos || line.find("\"NextRid\"") != line.npos;
        });
        return lines;
    }
    void Restore() {
        std::filesystem::remove_all(MachineFolder());
        std::filesystem::copy(Scratch() / "kept", MachineFolder(),
                              std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
    }
};

#endif
