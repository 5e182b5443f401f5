#include "platform/product_libraries.h"
#include "tests/support/fresh_machine.h"
#include "tests/support/pe_image.h"

namespace {

using product::EntryPoint;

class Modules : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        PlaceLibrary("MODTEST.DLL", Path());
    }

    static std::string Path() { return Folder() + "\\MODTEST.DLL"; }
    static int Calls(HMODULE library) { return EntryPoint<int()>(library, "CountCalls")(); }
    static std::string FileName(HMODULE library) {
        char path[MAX_PATH] = "";
        GetModuleFileNameA(library, path, sizeof path);
        return path;
    }
    static DWORD LoadError(const std::string& name) {
        SetLastError(0xdeadbeef);
        const LoadedLibrary library(LoadLibraryA(name.c_str()));
        return library ? 0 : GetLastError();
    }
};

TEST_F(Modules, SameFileIsOneModuleUntilFreedAsOftenAsLoaded) {
    LoadedLibrary first(LoadLibraryA(Path().c_str()));
    ASSERT_TRUE(first);
    EXPECT_EQ(Calls(first.Get()), 1);
    LoadedLibrary second(LoadLibraryA((Folder() + "\\modtest").c_str()));
    EXPECT_EQ(second.Get(), first.Get()) << "another case and no extension name the same file";
    EXPECT_EQ(Calls(second.Get()), 2);
    first.Reset();
    EXPECT_NE(GetModuleHandleA("modtest.dll"), nullptr);
    second.Reset();
    EXPECT_EQ(GetModuleHandleA("modtest.dll"), nullptr);
    const LoadedLibrary again(LoadLibraryA(Path().c_str()));
    EXPECT_EQ(Calls(again.Get()), 1) << "an unloaded library starts afresh";
}

TEST_F(Modules, FailuresNameTheirReason) {
    WriteBytes(Folder() + "\\RUBBISH.DLL", "this is no library");
    WriteBytes(Folder() + "\\EMPTY.DLL", "");
    WriteBytes(Folder() + "\\NOEXT", BuildModule({}));
    EXPECT_EQ(LoadError(Folder() + "\\RUBBISH.DLL"), DWORD(ERROR_BAD_EXE_FORMAT));
    EXPECT_EQ(LoadError(Folder() + "\\EMPTY.DLL"), DWORD(ERROR_BAD_EXE_FORMAT));
    EXPECT_EQ(LoadError(Folder() + "\\MISSING.DLL"), DWORD(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(LoadError(Folder() + "\\NOEXT"), DWORD(ERROR_MOD_NOT_FOUND)) << "without extension .DLL is meant";
    EXPECT_EQ(LoadError(Folder() + "\\NOEXT."), 0u) << "a final dot means no extension";
    EXPECT_EQ(LoadError("NOSUCHMODULE"), DWORD(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(LoadError(Folder()), DWORD(ERROR_MOD_NOT_FOUND));
}

// The host's loader would be killed by some of them. An ELF image ends with its section table, so that any cut is
// noticed; a DLL of Windows ends with symbols that nobody loads.
TEST_F(Modules, CutLibraryIsNoLibrary) {
#ifdef _WIN32
    constexpr int kParts = 20;
#else
    constexpr int kParts = 40;
#endif
    const std::string bytes = ReadBytes(Path());
    for (int part = 0; part < kParts; ++part) {
        WriteBytes(Folder() + "\\CUT.DLL", std::string_view(bytes).substr(0, bytes.size() * part / 40));
        EXPECT_EQ(LoadError(Folder() + "\\CUT.DLL"), DWORD(ERROR_BAD_EXE_FORMAT)) << part << " of 40 parts";
    }
    SKIP_UNDER_WINE("LoadLibraryA takes a DLL whose resources were cut off");
    const std::string module = BuildModule({});
    WriteBytes(Folder() + "\\CUT.DLL", std::string_view(module).substr(0, module.size() - 1));
    EXPECT_EQ(LoadError(Folder() + "\\CUT.DLL"), DWORD(ERROR_BAD_EXE_FORMAT));
}

TEST_F(Modules, ModuleOf32BitsIsRefusedByA64BitProcess) {
    SKIP_UNDER_WINE("LoadLibraryA takes a 32-bit DLL that holds no code");
    WriteBytes(Folder() + "\\OLD.DLL", BuildModule({.sixtyFourBit = false}));
    EXPECT_EQ(LoadError(Folder() + "\\OLD.DLL"), DWORD(ERROR_BAD_EXE_FORMAT));
    const LoadedLibrary data(LoadLibraryExA((Folder() + "\\OLD.DLL").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    EXPECT_TRUE(data) << "its resources can be read all the same";
}

TEST_F(Modules, EntryPointsAreFoundByExactNameAndOrdinalAndNotInADllOfWindows) {
    const LoadedLibrary library(LoadLibraryExA(Path().c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    ASSERT_TRUE(library);
    EXPECT_EQ(EntryPoint<int()>(library.Get(), WORD(7))(), 7);
    EXPECT_EQ(EntryPoint<int()>(library.Get(), WORD(8)), nullptr);
    for (const char* const name : {"countcalls", "Missing", "malloc", "GetLastError"}) {
        SetLastError(0xdeadbeef);
        EXPECT_EQ(EntryPoint<int()>(library.Get(), name), nullptr) << name;
        EXPECT_EQ(GetLastError(), DWORD(ERROR_PROC_NOT_FOUND)) << name;
    }
    WriteBytes(Folder() + "\\REAL.DLL", BuildModule({}));
    const LoadedLibrary real(LoadLibraryA((Folder() + "\\REAL.DLL").c_str()));
    ASSERT_TRUE(real);
    EXPECT_TRUE(FailsWith(ERROR_PROC_NOT_FOUND, EntryPoint<int()>(real.Get(), "CountCalls")));
    EXPECT_STRCASEEQ(FileName(real.Get()).c_str(), (Folder() + "\\REAL.DLL").c_str());
}

TEST_F(Modules, BareNameIsSearchedInSystemAndCurrentDirectoryAndPath) {
    EXPECT_EQ(LoadError("MODTEST.DLL"), DWORD(ERROR_MOD_NOT_FOUND));
    SetCurrentDirectoryA(Folder().c_str());
    EXPECT_EQ(LoadError("modtest"), 0u);
    EXPECT_EQ(LoadError(".\\MODTEST.DLL"), 0u);
    EXPECT_EQ(LoadError("\\TEST\\x\\..\\MODTEST.DLL"), 0u);
    SetCurrentDirectoryA("C:\\");
    EXPECT_EQ(LoadError("MODTEST.DLL"), DWORD(ERROR_MOD_NOT_FOUND));
    char path[4096] = "";
    GetEnvironmentVariableA("PATH", path, sizeof path);
    SetEnvironmentVariableA("PATH", (std::string(path) + ";" + Folder()).c_str());
    EXPECT_EQ(LoadError("MODTEST.DLL"), 0u);
    SetEnvironmentVariableA("PATH", path);
    char system[MAX_PATH] = "";
    GetSystemDirectoryA(system, sizeof system);
    const std::string placed = std::string(system) + "\\MODTEST.DLL";
    PlaceLibrary("MODTEST.DLL", placed);
    SetCurrentDirectoryA(Folder().c_str());
    {
        const LoadedLibrary library(LoadLibraryA("MODTEST.DLL"));
        EXPECT_STRCASEEQ(FileName(library.Get()).c_str(), placed.c_str());
    }
    DeleteFileA(placed.c_str());
}

TEST_F(Modules, LoadedModuleIsFoundByBareNameWithoutSearch) {
    const LoadedLibrary library(LoadLibraryA(Path().c_str()));
    const LoadedLibrary again(LoadLibraryA("MODTEST"));
    EXPECT_EQ(again.Get(), library.Get());
    EXPECT_EQ(GetModuleHandleA("ModTest"), library.Get());
    EXPECT_EQ(GetModuleHandleA(Path().c_str()), library.Get());
}

TEST_F(Modules, DataFilesAndForeignHandlesHaveNoEntryPoints) {
    const LoadedLibrary data(LoadLibraryExA("msi.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(data);
    EXPECT_EQ(EntryPoint<int()>(data.Get(), "DllGetVersion"), nullptr);
    EXPECT_EQ(GetModuleHandleA("msi.dll"), nullptr);
    LoadedLibrary library(LoadLibraryA(Path().c_str()));
    const HMODULE stale = library.Get();
    library.Reset();
    EXPECT_FALSE(FreeLibrary(stale));
    EXPECT_EQ(EntryPoint<int()>(stale, "CountCalls"), nullptr);
    char path[MAX_PATH] = "";
    EXPECT_EQ(GetModuleFileNameA(stale, path, sizeof path), 0u);
}

TEST_F(Modules, FileNameFitsOrIsCutAndTerminated) {
    const LoadedLibrary library(LoadLibraryA(Path().c_str()));
    const DWORD length = DWORD(Path().size());
    char path[64];
    memset(path, '#', sizeof path);
    EXPECT_EQ(GetModuleFileNameA(library.Get(), path, length + 1), length);
    EXPECT_STRCASEEQ(path, Path().c_str());
    EXPECT_EQ(path[length + 1], '#');
    EXPECT_EQ(GetModuleFileNameA(library.Get(), path, length), length);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INSUFFICIENT_BUFFER));
    SKIP_UNDER_WINE("GetModuleFileNameA leaves a cut path without terminator");
    memset(path, '#', 10);
    EXPECT_EQ(GetModuleFileNameA(library.Get(), path, 9), 9u);
    EXPECT_EQ(std::string(path, 10), std::string("C:\\TEST\\\0#", 10));
}

struct BuiltinEntry {
    const char* module;
    const char* name;
    WORD ordinal;
};

class BuiltinModules : public FreshMachine, public testing::WithParamInterface<BuiltinEntry> {};

TEST_P(BuiltinModules, OfferWhatTheLibraryCalls) {
    const auto& [module, name, ordinal] = GetParam();
    const LoadedLibrary library(LoadLibraryA(module));
    ASSERT_TRUE(library);
    EXPECT_TRUE(name == nullptr || EntryPoint<int()>(library.Get(), name) != nullptr);
    EXPECT_TRUE(ordinal == 0 || EntryPoint<int()>(library.Get(), ordinal) != nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    OfWindows, BuiltinModules,
    testing::Values(BuiltinEntry{"kernel32.dll", nullptr, 0}, BuiltinEntry{"ADVAPI32.DLL", "ChangeServiceConfig2A", 0},
                    BuiltinEntry{"ADVAPI32.DLL", "SetSecurityDescriptorControl", 0},
                    BuiltinEntry{"SHFOLDER.DLL", "SHGetFolderPathA", 0},
                    BuiltinEntry{"msi.dll", "MsiQueryProductStateA", 112},
                    BuiltinEntry{"msi.dll", "MsiGetFileVersionA", 194}, BuiltinEntry{"msi.dll", "DllGetVersion", 0},
                    BuiltinEntry{"user32.dll", "MessageBoxA", 0}, BuiltinEntry{"user32.dll", "SendMessageA", 0}));

TEST_F(Modules, ProgramFilesFolderIsTheRegistrys) {
    const LoadedLibrary library(LoadLibraryA("shfolder"));
    auto* const getFolder = EntryPoint<product::ShGetFolderPath>(library.Get(), "SHGetFolderPathA");
    ASSERT_NE(getFolder, nullptr);
    constexpr int kProgramFiles = 38, kNone = 0x7f;
    char path[MAX_PATH] = "";
    EXPECT_EQ(getFolder(nullptr, kProgramFiles, nullptr, 1, path), 0);
    EXPECT_EQ(path, GetText("SOFTWARE\\Microsoft\\Windows\\CurrentVersion", "ProgramFilesDir"));
    EXPECT_LT(getFolder(nullptr, kNone, nullptr, 0, path), 0);
#ifndef _WIN32
    const std::string text = "%SystemDrive%\\%Odd%SystemDrive%";
    SetRaw(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion", "ProgramFilesDir", REG_EXPAND_SZ,
           TestBytes(text.c_str(), text.c_str() + text.size() + 1));
    EXPECT_EQ(getFolder(nullptr, kProgramFiles, nullptr, 1, path), 0);
    EXPECT_STREQ(path, "C:\\%OddC:");
#endif
}

TEST_F(Modules, InstallerKnowsNoStrangeProductAndReadsFileVersions) {
    const LoadedLibrary library(LoadLibraryA("msi.dll"));
    auto* const queryState = EntryPoint<product::MsiQueryProductState>(library.Get(), product::kMsiQueryProductState);
    EXPECT_EQ(queryState("{12345678-1234-1234-1234-123456789012}"), -1);
    auto* const getVersion = EntryPoint<product::MsiGetFileVersion>(library.Get(), product::kMsiGetFileVersion);
    WriteBytes(Folder() + "\\A.DLL", BuildModule({.fileVersion = {2, 0, 2600, 2}}));
    char version[32] = "";
    DWORD length = sizeof version;
    EXPECT_EQ(getVersion((Folder() + "\\A.DLL").c_str(), version, &length, nullptr, nullptr), 0u);
    EXPECT_STREQ(version, "2.0.2600.2");
    EXPECT_EQ(length, 10u);
    length = 5;
    EXPECT_EQ(getVersion((Folder() + "\\A.DLL").c_str(), version, &length, nullptr, nullptr), DWORD(ERROR_MORE_DATA));
    EXPECT_STREQ(version, "2.0.");
    length = sizeof version;
    EXPECT_NE(getVersion((Folder() + "\\NONE.DLL").c_str(), version, &length, nullptr, nullptr), 0u);
}

}  // namespace
