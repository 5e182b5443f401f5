#include "machine/platform_probes.h"

#include <cstdio>
#include <cstdlib>
#include <tuple>

#include "foundation/file_version.h"
#include "foundation/text.h"
#include "foundation/upgrade_log.h"
#include "machine/machine_facts.h"
#include "platform/product_libraries.h"

namespace {

constexpr char kCurrentVersionKey[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
constexpr int kProgramFilesFolder = 38;  // CSIDL_PROGRAM_FILES (shlobj.h)
constexpr DWORD kDefaultPath = 1;        // SHGFP_TYPE_DEFAULT

// The one rule by which a machine is a 64-bit one.
bool KnowsSecondProgramFiles(HKEY root) {
    char path[MAX_PATH + 1] = "";
    return ReadRegistryText(root, kCurrentVersionKey, "ProgramFilesDir (x86)", path);
}

// Empty when it cannot be had.
CString LocalSystemDirectory() {
    char path[MAX_PATH] = "";
    const UINT length = GetSystemDirectoryA(path, sizeof path);
    return length < sizeof path ? CString(path) : CString();
}

// From Windows XP on the Windows Installer is new enough. 0 when the version cannot be read.
enum class Windows { Unknown, Older, XpOrLater };
Windows AskWindows() {
    OSVERSIONINFOEXA version = {};
    auto* const plain = reinterpret_cast<OSVERSIONINFOA*>(&version);
    version.dwOSVersionInfoSize = sizeof version;
    if (!GetVersionExA(plain)) {
        version = {};
        version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
        if (!GetVersionExA(plain)) return Windows::Unknown;
    }
    const bool isXpOrLater = version.dwPlatformId == VER_PLATFORM_WIN32_NT &&
                             std::tuple(version.dwMajorVersion, version.dwMinorVersion) >= std::tuple(5u, 1u);
    return isXpOrLater ? Windows::XpOrLater : Windows::Older;
}

// The number before the first "." of the version text that the Windows Installer reads from the file; false when it
// cannot.
bool AskInstallerForMajorVersion(const char* path, int& major) {
    char version[MAX_PATH + 1] = "";
    DWORD length = MAX_PATH;
    const LoadedLibrary installer(LoadLibraryA("msi.dll"));
    auto* const getFileVersion =
        product::EntryPoint<product::MsiGetFileVersion>(installer.Get(), product::kMsiGetFileVersion);
    if (getFileVersion == nullptr || getFileVersion(path, version, &length, nullptr, nullptr) != 0) return false;
    major = std::atoi(version);
    return true;
}

bool IsInstallerFileNewEnough(const char* path) {
    CFileVersion file;
    if (file.Read(path)) {
        const VS_FIXEDFILEINFO& fixed = file.m_fixed;
        return std::tuple(HIWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionMS), HIWORD(fixed.dwFileVersionLS),
                          LOWORD(fixed.dwFileVersionLS)) >= std::tuple(2, 0, 2600, 2);
    }
    int major = 0;
    if (AskInstallerForMajorVersion(path, major)) return major >= 2;
    const LoadedLibrary library(LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    DLLVERSIONINFO own = {};
    return GetDllVersion(library.Get(), &own) && own.dwMajorVersion * 65536ull + own.dwMinorVersion % 65536 >= 131072;
}

// The shell's answer; empty when it gives none.
CString AskShellForProgramFiles() {
    const CString library = LocalSystemDirectory() + "\\SHFOLDER.DLL";
    if (_access(library, 0) != 0) return CString();
    const LoadedLibrary shell(LoadLibraryExA(library, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    auto* const getFolderPath = product::EntryPoint<product::ShGetFolderPath>(shell.Get(), "SHGetFolderPathA");
    char path[MAX_PATH + 1] = "";
    if (getFolderPath == nullptr || getFolderPath(nullptr, kProgramFilesFolder, nullptr, kDefaultPath, path) < 0) {
        return CString();
    }
    path[MAX_PATH - 1] = '\0';
    return path;
}

}  // namespace

int Is_Local_64Bit_System(const char* machine) {
    const char* const name = OrEmpty(machine);
    if (NamesAnotherMachine(machine)) {
        WriteUpgradeLog("Is_Local_64Bit_System() - %s is not local. Return false.", name);
        return 0;
    }
    if (!KnowsSecondProgramFiles(HKEY_LOCAL_MACHINE)) {
        WriteUpgradeLog("Is_Local_64Bit_System() - %s is local machine but not 64bit machine. Return FALSE.", name);
        return 0;
    }
    WriteUpgradeLog("Is_Local_64Bit_System() - %s is local 64bit machine. Return TRUE.", name);
    return 1;
}

int IsRemote_64Bit_System(const char* machine) {
    if (!NamesAnotherMachine(machine)) return 0;
    const RegistryKey root = ConnectLocalMachineOf(machine);
    return root && KnowsSecondProgramFiles(root.Get());
}

int Is_Remote_Machine(const char* machine) {
    if (machine == nullptr || machine[0] == '\0') return 0;
    const bool isRemote = NamesAnotherMachine(machine);
    WriteUpgradeLog("The machine(%s) is on the %s ...", machine, isRemote ? "remote" : "local");
    return isRemote;
}

CString GetRemoteSystem32Path(const char* machine) {
    if (machine == nullptr || machine[0] == '\0') return CString();
    const RegistryKey remote = ConnectLocalMachineOf(machine);
    char root[MAX_PATH + 1] = "";
    if (!remote ||
        !ReadRegistryText(remote.Get(), "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "SystemRoot", root)) {
        return CString();
    }
    CString library;
    library.Format("%s\\System32\\%s", root, "msi.dll");
    char drive[_MAX_DRIVE] = "";
    char directory[sizeof root + sizeof "\\System32\\"] = "";  // a system root may be longer than a path's directory
    _splitpath(library, drive, directory, nullptr, nullptr);
    CString path;
    if (drive[0] != '\0') path.Format("\\\\%s\\%c$%s", machine, drive[0], directory);
    return path;
}

int IsMsiVersionOK(const char* machine) {
    const bool isRemote = NamesAnotherMachine(machine);
    const CString path = (isRemote ? GetRemoteSystem32Path(machine) : LocalSystemDirectory()) + "\\Msi.dll";
    if (_access(path, 0) != 0) return 0;
    if (!isRemote) {
        const Windows windows = AskWindows();
        if (windows != Windows::Older) return windows == Windows::XpOrLater;
    }
    return IsInstallerFileNewEnough(path);
}

int IsSBS2000() {
    RegistryKey key;
    const LSTATUS status =
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\BackOffice", 0, KEY_ALL_ACCESS, key.Receive());
    if (status != ERROR_SUCCESS) return FailWith(DWORD(status));
    char suite[MAX_PATH + 1] = "";
    char version[MAX_PATH + 1] = "";
    return ReadRegistryText(key.Get(), "SuiteName", suite) && ReadRegistryText(key.Get(), "Version", version) &&
           _stricmp(suite, "SBS") == 0 && _stricmp(version, "2000") == 0;
}

DWORD KSetGetProgramFilesPath(char* buffer, DWORD* size, HKEY root) {
    if (buffer == nullptr || size == nullptr) return ERROR_INVALID_PARAMETER;
    if (root == nullptr) {
        const CString path = AskShellForProgramFiles();
        if (!path.IsEmpty()) {
            std::snprintf(buffer, MAX_PATH, "%s", static_cast<const char*>(path));
            *size = DWORD(path.GetLength());
            return ERROR_SUCCESS;
        }
        root = HKEY_LOCAL_MACHINE;
    }
    RegistryKey key;
    LSTATUS status = RegOpenKeyExA(root, kCurrentVersionKey, 0, KEY_READ, key.Receive());
    if (status != ERROR_SUCCESS) return DWORD(status);
    const DWORD capacity = *size;
    status = RegQueryValueExA(key.Get(), "ProgramFilesDir", nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), size);
    // A value that lacks its terminator gets one, or does not fit.
    if (status != ERROR_SUCCESS) return DWORD(status);
    if (*size > 0 && buffer[*size - 1] == '\0') return ERROR_SUCCESS;
    if (*size == capacity) return ERROR_MORE_DATA;
    buffer[(*size)++] = '\0';
    return ERROR_SUCCESS;
}
