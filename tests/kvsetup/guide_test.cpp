// The example of docs/FRONT_END_GUIDE.md, cut out of it by the build, on a machine without SNMP.
#include <instalib.h>

#include "guide/guide_example.h"
#include "tests/kvsetup/kvsetup_run.h"
#ifndef _WIN32
#include "platform/embedded/control/machine.h"
#endif

namespace {

using Guide = KvsetupRun;

TEST_F(Guide, ExampleInstallsTheProduct) {
#ifdef _WIN32
    const std::string medium = Medium().string() + "\\";
    const std::string answers = Answers();
#else
    embedded::control::MountDrive('D', Medium());
    const std::string medium = "D:\\";
    const std::string answers = "D:\\ANSWERS.ICF";
#endif
    ASSERT_EQ(CService::ServiceExists("SNMP"), 0);
    EXPECT_NE(Install(medium.c_str(), answers.c_str()), 0) << GetLastError();
    EXPECT_NE(CService(CService::JobEngine).Exists(), 0);
    char home[MAX_PATH] = "";
    DWORD size = sizeof home;
    EXPECT_NE(CHalvRegistry::GetKorvaultHomeDir(home, &size, nullptr), 0);
}

}  // namespace
