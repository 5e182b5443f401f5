#include <algorithm>
#include <array>
#include <memory>

#include "instalib/installation.h"
#include "tests/support/fresh_machine.h"

namespace {

constexpr DWORD kNotLoaded = 0xFFFFFFFF;

class InstallationDllTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        for (const char* name : {"PLUGIN6.DLL", "PLUGIN5.DLL", "VERNONE.DLL"}) {
            PlaceLibrary(name, Folder() + "\\" + name);
        }
    }
    static std::string Path(const char* name = "PLUGIN6.DLL") { return Folder() + "\\" + name; }
    static bool IsLoaded() { return GetModuleHandleA("PLUGIN6.DLL") != nullptr; }
    // Every operation of an object without a plug-in.
    static void ExpectUnloaded(CInstallationDll& dll) {
        int answer = 5;
        char text[4] = "abc";
        for (const DWORD status :
             {dll.Install(text), dll.UnInstall(), dll.IsInstalled(&answer), dll.IsInstalledVersionNewer(&answer),
              dll.GetDebugErrorString(1, text, sizeof text), dll.GetInstallPath(text, sizeof text)}) {
            EXPECT_EQ(status, kNotLoaded);
        }
        EXPECT_EQ(answer, 5);
        EXPECT_STREQ(text, "abc");
        EXPECT_EQ(dll.Unload(), 0u);
    }
};

TEST_F(InstallationDllTest, OperationsPassArgumentsAndStatusesThrough) {
    CInstallationDll dll;
    ASSERT_EQ(dll.Load(Path().c_str()), 0u);
    CInstallationObject& object = dll;
    int answer = 5;
    char text[64] = "";
    EXPECT_EQ(object.Install(nullptr), 87u);
    EXPECT_EQ(object.Install(&answer), 1u);
    EXPECT_EQ(object.UnInstall(), 1605u);
    EXPECT_EQ(object.IsInstalled(&answer), 0u);
    EXPECT_EQ(answer, 1);
    EXPECT_EQ(object.IsInstalledVersionNewer(&answer), 7u);
    EXPECT_EQ(answer, 0);
    EXPECT_EQ(object.GetDebugErrorString(0xFFFFFFFE, text, 60), 30u);
    EXPECT_STREQ(text, "plug-in error 4294967294 of 60");
    EXPECT_EQ(object.GetInstallPath(text, sizeof text), 9u);
    EXPECT_STREQ(text, "C:\\PLUGIN");
    EXPECT_EQ(dll.Load(Path().c_str()), 0u);
    EXPECT_EQ(dll.Install(&answer), 1u) << "unloaded before it was loaded again";
    dll.Unload();
    EXPECT_FALSE(IsLoaded());
    ExpectUnloaded(dll);
}

TEST_F(InstallationDllTest, LibraryThatLacksAnExportIsRefusedAsAWhole) {
    WriteBytes(Path("RUBBISH.DLL"), "no library");
    const struct {
        std::string path;
        DWORD error;
    } cases[] = {{Path("PLUGIN5.DLL"), ERROR_PROC_NOT_FOUND},
                 {Path("VERNONE.DLL"), ERROR_PROC_NOT_FOUND},
                 {Path("MISSING.DLL"), ERROR_MOD_NOT_FOUND},
                 {Path("RUBBISH.DLL"), ERROR_BAD_EXE_FORMAT}};
    for (const auto& [path, error] : cases) {
        SCOPED_TRACE(path);
        CInstallationDll dll;
        ASSERT_EQ(dll.Load(Path().c_str()), 0u);
        EXPECT_EQ(dll.Load(path.c_str()), error);
        EXPECT_FALSE(IsLoaded()) << "the earlier plug-in goes all the same";
        EXPECT_EQ(GetModuleHandleA(path.c_str()), nullptr);
        ExpectUnloaded(dll);
    }
    CInstallationDll dll;
    EXPECT_NE(dll.Load(nullptr), 0u);
}

TEST_F(InstallationDllTest, CopiesShareTheLibraryInEveryOrderOfDestruction) {
    std::array order{0, 1, 2};
    do {
        std::unique_ptr<CInstallationDll> dlls[3];
        dlls[0] = std::make_unique<CInstallationDll>();
        ASSERT_EQ(dlls[0]->Load(Path().c_str()), 0u);
        dlls[1] = std::make_unique<CInstallationDll>(*dlls[0]);
        dlls[2] = std::make_unique<CInstallationDll>();
        dlls[2]->Load(Path().c_str());
        *dlls[2] = *dlls[1];
        *dlls[2] = *&*dlls[2];
        for (const auto& dll : dlls) EXPECT_EQ(dll->UnInstall(), 1605u) << "also assigned to itself";
        for (const int next : order) {
            dlls[next].reset();
            EXPECT_FALSE(IsLoaded()) << "whichever goes first unloads it for all";
            for (const auto& dll : dlls) {
                if (dll) ExpectUnloaded(*dll);
            }
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

}  // namespace
