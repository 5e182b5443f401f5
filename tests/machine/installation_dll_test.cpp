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
    for (const bool sourceFirst : {true, false}) {
        auto source = std::make_unique<CInstallationDll>();
        ASSERT_EQ(source->Load(Path().c_str()), 0u);
        auto copy = std::make_unique<CInstallationDll>(*source);
        CInstallationDll assigned;
        assigned.Load(Path().c_str());
        assigned = *copy;
        assigned = *&assigned;
        EXPECT_EQ(copy->UnInstall(), 1605u);
        EXPECT_EQ(assigned.UnInstall(), 1605u) << "assigned to itself";
        (sourceFirst ? source : copy).reset();
        EXPECT_FALSE(IsLoaded()) << "whichever goes first unloads it for all";
        ExpectUnloaded(sourceFirst ? *copy : *source);
        ExpectUnloaded(assigned);
    }
}

}  // namespace
