#include "platform/embedded/machine/seed.h"

#include <fstream>
#include <span>

#include "platform/embedded/core/text.h"
#include "platform/embedded/machine/process_state.h"
#include "platform/embedded/modules/builtin.h"
#include "platform/embedded/modules/image.h"
#include "platform/embedded/system/code_page.h"

namespace fs = std::filesystem;

namespace embedded {
namespace {

// --- Registry ---

// Texts are written as REG_SZ, those with a '%' as REG_EXPAND_SZ; a null name makes the key alone.
struct TextRow {
    const char* key;
    const char* name;
    const char* text;
};
struct NumberRow {
    const char* key;
    const char* name;
    DWORD number;
};

#define WINDOWS "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion"
#define WINDOWS_32 "HKLM\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion"
#define WINDOWS_NT "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"
#define WINDOWS_NT_32 "HKLM\\SOFTWARE\\Wow6432Node\\Microsoft\\Windows NT\\CurrentVersion"
#define CLASSES "HKLM\\SOFTWARE\\Classes"
#define CONTROL "HKLM\\SYSTEM\\CurrentControlSet\\Control"
#define SERVICES "HKLM\\SYSTEM\\CurrentControlSet\\Services"

constexpr TextRow kTexts[] = {
    {WINDOWS, "ProgramFilesDir", "C:\\Program Files"},
    {WINDOWS, "ProgramFilesDir (x86)", "C:\\Program Files (x86)"},
    {WINDOWS, "ProgramW6432Dir", "C:\\Program Files"},
    {WINDOWS, "CommonFilesDir", "C:\\Program Files\\Common Files"},
    {WINDOWS, "CommonFilesDir (x86)", "C:\\Program Files (x86)\\Common Files"},
    {WINDOWS, "CommonW6432Dir", "C:\\Program Files\\Common Files"},
    {WINDOWS, "ProgramFilesPath", "%ProgramFiles%"},
    {WINDOWS, "DevicePath", "%SystemRoot%\\inf"},
    {WINDOWS "\\App Paths", nullptr, nullptr},
    {WINDOWS "\\Explorer\\Shell Folders", "Common AppData", "C:\\ProgramData"},
    {WINDOWS "\\Run", nullptr, nullptr},
    {WINDOWS "\\SharedDLLs", nullptr, nullptr},
    {WINDOWS "\\Shell Extensions\\Approved", "{00021401-0000-0000-C000-000000000046}", "Shortcut"},
    {WINDOWS "\\Uninstall", nullptr, nullptr},
    {WINDOWS_32, "ProgramFilesDir", "C:\\Program Files (x86)"},
    {WINDOWS_32, "ProgramFilesDir (x86)", "C:\\Program Files (x86)"},
    {WINDOWS_32, "ProgramW6432Dir", "C:\\Program Files"},
    {WINDOWS_32, "CommonFilesDir", "C:\\Program Files (x86)\\Common Files"},
    {WINDOWS_32 "\\Run", nullptr, nullptr},
    {WINDOWS_32 "\\SharedDLLs", nullptr, nullptr},
    {WINDOWS_32 "\\Shell Extensions\\Approved", nullptr, nullptr},
    {WINDOWS_32 "\\Uninstall", nullptr, nullptr},
    {WINDOWS_NT, "ProductName", "Windows 10 Pro"},
    {WINDOWS_NT, "CurrentVersion", "6.3"},
    {WINDOWS_NT, "CurrentBuild", "19045"},
    {WINDOWS_NT, "CurrentBuildNumber", "19045"},
    {WINDOWS_NT, "CurrentType", "Multiprocessor Free"},
    {WINDOWS_NT, "InstallationType", "Client"},
    {WINDOWS_NT, "EditionID", "Professional"},
    {WINDOWS_NT, "ProductId", "00330-80000-00000-AA000"},
    {WINDOWS_NT, "RegisteredOwner", "Administrator"},
    {WINDOWS_NT, "RegisteredOrganization", ""},
    {WINDOWS_NT, "SystemRoot", "C:\\Windows"},
    {WINDOWS_NT, "PathName", "C:\\Windows"},
    {WINDOWS_NT "\\ProfileList", "ProfilesDirectory", "%SystemDrive%\\Users"},
    {WINDOWS_NT "\\ProfileList", "Default", "%SystemDrive%\\Users\\Default"},
    {WINDOWS_NT "\\ProfileList", "Public", "%SystemDrive%\\Users\\Public"},
    {WINDOWS_NT "\\ProfileList", "ProgramData", "%SystemDrive%\\ProgramData"},
    {WINDOWS_NT "\\ProfileList\\S-1-5-18", "ProfileImagePath", "%SystemRoot%\\system32\\config\\systemprofile"},
    {WINDOWS_NT "\\ProfileList\\S-1-5-19", "ProfileImagePath", "%SystemRoot%\\ServiceProfiles\\LocalService"},
    {WINDOWS_NT "\\ProfileList\\S-1-5-20", "ProfileImagePath", "%SystemRoot%\\ServiceProfiles\\NetworkService"},
    {WINDOWS_NT "\\Winlogon", "Shell", "explorer.exe"},
    {WINDOWS_NT_32, "ProductName", "Windows 10 Pro"},
    {WINDOWS_NT_32, "CurrentVersion", "6.3"},
    {WINDOWS_NT_32, "SystemRoot", "C:\\Windows"},
    {CLASSES "\\*", nullptr, nullptr},
    {CLASSES "\\*\\shellex\\ContextMenuHandlers", nullptr, nullptr},
    {CLASSES "\\*\\shellex\\PropertySheetHandlers", nullptr, nullptr},
    {CLASSES "\\.exe", "", "exefile"},
    {CLASSES "\\.txt", "", "txtfile"},
    {CLASSES "\\exefile", "", "Application"},
    {CLASSES "\\exefile\\shell\\open\\command", "", "\"%1\" %*"},
    {CLASSES "\\txtfile", "", "Text Document"},
    {CLASSES "\\CLSID\\{00021401-0000-0000-C000-000000000046}", "", "Shortcut"},
    {CLASSES "\\Wow6432Node\\CLSID", nullptr, nullptr},
    {CLASSES "\\Interface", nullptr, nullptr},
    {CLASSES "\\TypeLib", nullptr, nullptr},
    {CLASSES "\\Directory", "", "File Folder"},
    {CLASSES "\\Directory\\shellex\\ContextMenuHandlers", nullptr, nullptr},
    {CLASSES "\\Directory\\shellex\\PropertySheetHandlers", nullptr, nullptr},
    {CLASSES "\\Drive", "", "Drive"},
    {CLASSES "\\Drive\\shellex\\ContextMenuHandlers", nullptr, nullptr},
    {CLASSES "\\Drive\\shellex\\PropertySheetHandlers", nullptr, nullptr},
    {CLASSES "\\Folder", "", "Folder"},
    {"HKLM\\SYSTEM\\Select", nullptr, nullptr},
    {"HKLM\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", "Identifier",
     "Intel64 Family 6 Model 158 Stepping 10"},
    {CONTROL, "CurrentUser", "USERNAME"},
    {CONTROL "\\Lsa", nullptr, nullptr},
    {CONTROL "\\NetworkProvider\\Order", "ProviderOrder", "LanmanWorkstation"},
    {CONTROL "\\Nls\\Language", "Default", "0409"},
    {CONTROL "\\Nls\\Language", "InstallLanguage", "0409"},
    {CONTROL "\\ProductOptions", "ProductType", "WinNT"},
    {CONTROL "\\ServiceGroupOrder", nullptr, nullptr},
    {CONTROL "\\Session Manager", nullptr, nullptr},
    {CONTROL "\\Session Manager\\Environment", "ComSpec", "%SystemRoot%\\system32\\cmd.exe"},
    {CONTROL "\\Session Manager\\Environment", "NUMBER_OF_PROCESSORS", "2"},
    {CONTROL "\\Session Manager\\Environment", "OS", "Windows_NT"},
    {CONTROL "\\Session Manager\\Environment", "Path",
     "%SystemRoot%\\system32;%SystemRoot%;%SystemRoot%\\System32\\Wbem"},
    {CONTROL "\\Session Manager\\Environment", "PATHEXT", ".COM;.EXE;.BAT;.CMD"},
    {CONTROL "\\Session Manager\\Environment", "PROCESSOR_ARCHITECTURE", "AMD64"},
    {CONTROL "\\Session Manager\\Environment", "TEMP", "%SystemRoot%\\TEMP"},
    {CONTROL "\\Session Manager\\Environment", "TMP", "%SystemRoot%\\TEMP"},
    {CONTROL "\\Session Manager\\Environment", "windir", "%SystemRoot%"},
    {SERVICES "\\EventLog\\Application", "File", "%SystemRoot%\\system32\\winevt\\Logs\\Application.evtx"},
    {SERVICES "\\EventLog\\Security", "File", "%SystemRoot%\\system32\\winevt\\Logs\\Security.evtx"},
    {SERVICES "\\EventLog\\System", "File", "%SystemRoot%\\system32\\winevt\\Logs\\System.evtx"},
    {SERVICES "\\LanmanServer\\Parameters", nullptr, nullptr},
    {SERVICES "\\LanmanServer\\Shares", nullptr, nullptr},
    {SERVICES "\\LanmanServer\\Shares\\Security", nullptr, nullptr},
    {SERVICES "\\LanmanWorkstation\\Parameters", nullptr, nullptr},
    {SERVICES "\\Tcpip\\Parameters", "Domain", ""},
};

// Below a user's hive.
constexpr TextRow kUserTexts[] = {
    {"Control Panel\\International", "Locale", "00000409"},
    {"Environment", "TEMP", "%USERPROFILE%\\AppData\\Local\\Temp"},
    {"Environment", "TMP", "%USERPROFILE%\\AppData\\Local\\Temp"},
    {"Software\\Classes", nullptr, nullptr},
    {"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders", nullptr, nullptr},
    {"Software\\Microsoft\\Windows\\CurrentVersion\\Run", nullptr, nullptr},
};

constexpr NumberRow kNumbers[] = {
    {WINDOWS_NT, "CurrentMajorVersionNumber", 10},
    {WINDOWS_NT, "CurrentMinorVersionNumber", 0},
    {WINDOWS_NT, "InstallDate", 0x65920080},
    {"HKLM\\SYSTEM\\Select", "Current", 1},
    {"HKLM\\SYSTEM\\Select", "Default", 1},
    {"HKLM\\SYSTEM\\Select", "LastKnownGood", 1},
    {SERVICES "\\EventLog\\Application", "MaxSize", 20 * 1024 * 1024},
    {SERVICES "\\EventLog\\Security", "MaxSize", 20 * 1024 * 1024},
    {SERVICES "\\EventLog\\System", "MaxSize", 20 * 1024 * 1024},
};

constexpr DWORD kText = 1, kExpandText = 2;  // REG_SZ, REG_EXPAND_SZ (winnt.h)

Bytes TextBytes(std::string_view text) {
    Bytes data(text.begin(), text.end());
    data.push_back(0);
    return data;
}

void WriteRow(Store& store, const TextRow& row, const std::string& prefix) {
    const std::string key = prefix + row.key;
    if (row.name == nullptr) {
        store.CreateKey(key);
        return;
    }
    const std::string_view text = row.text;
    store.Write(key, row.name, text.find('%') == text.npos ? kText : kExpandText, TextBytes(text));
}

void SeedRegistry(Machine& machine) {
    Store& store = machine.Storage();
    for (const TextRow& row : kTexts) WriteRow(store, row, "");
    for (const NumberRow& row : kNumbers) store.WriteNumber(row.key, row.name, row.number);
    for (const char* const key :
         {CONTROL "\\ComputerName\\ComputerName", CONTROL "\\ComputerName\\ActiveComputerName"}) {
        store.WriteText(key, "ComputerName", machine.Name());
    }
    store.WriteText(SERVICES "\\Tcpip\\Parameters", "Hostname", machine.Name());
}

// The default user's hive and the one of the user that programs run as, with its profile.
void SeedUsers(Machine& machine) {
    const std::string hive = process::UserHive(machine);
    for (const std::string& user : {std::string("HKU\\.DEFAULT"), hive}) {
        for (const TextRow& row : kUserTexts) WriteRow(machine.Storage(), row, user + '\\');
    }
    const std::string profile = std::string(WINDOWS_NT "\\ProfileList\\") + hive.substr(hive.find('\\') + 1);
    WriteRow(machine.Storage(), {"", "ProfileImagePath", "%SystemDrive%\\Users\\Administrator"}, profile);
}

// --- Drives ---

constexpr const char* kFolders[] = {
    "Program Files/Common Files",
    "Program Files (x86)/Common Files",
    "ProgramData",
    "Temp",
    "Users/Administrator/AppData/Local/Temp",
    "Users/Default",
    "Users/Public",
    "Windows/System32",
    "Windows/SysWOW64",
    "Windows/TEMP",
};

// A fresh Windows knows no product, so its installer's program finds nothing to install or remove. The host passes on
// the low eight bits of ERROR_UNKNOWN_PRODUCT alone.
constexpr char kInstallerProgram[] = "#!/bin/sh\nexit 69\n";

void WriteFile(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

std::string ModuleBytes(const builtin::Module& module) {
    ModuleImage image;
    for (int part = 0; part < 4; ++part) image.fileVersion[part] = image.productVersion[part] = module.version[part];
    const auto wide = [](std::string_view text) { return std::u16string(text.begin(), text.end()); };
    std::string version;
    for (const WORD part : module.version) {
        if (!version.empty()) version += '.';
        version += std::to_string(part);
    }
    image.strings = {{u"CompanyName", u"Microsoft Corporation"},
                     {u"FileDescription", wide(module.description)},
                     {u"FileVersion", wide(version)},
                     {u"OriginalFilename", wide(module.name)},
                     {u"ProductVersion", wide(version)}};
    return BuildModule(image);
}

void SeedDrives(Machine& machine) {
    const fs::path drive = machine.Folder() / "drives" / "C";
    for (const char* const folder : kFolders) fs::create_directories(drive / folder);
    const fs::path system = drive / "Windows" / "System32";
    for (const builtin::Module& module : builtin::All()) WriteFile(system / module.name, ModuleBytes(module));
    WriteFile(system / "msiexec.exe", kInstallerProgram);
    fs::permissions(system / "msiexec.exe", fs::perms::owner_all);
    WriteFile(drive / "Windows" / "win.ini", "; for 16-bit app support\r\n[fonts]\r\n[extensions]\r\n[files]\r\n");
}

}  // namespace

void SeedMachine(Machine& machine, const std::string& sid) {
    const code_page::FreshMachineScope scope;
    const Store::Lock lock(machine.Storage());
    SeedRegistry(machine);
    SeedDrives(machine);
    SeedAccounts(machine, sid);
    SeedUsers(machine);
    SeedServices(machine);
}

}  // namespace embedded
