#ifdef INSTALIB_KVSETUP_EMBEDDED
#include "platform/embedded/api/files.h"
#include "platform/embedded/api/registry.h"
#include "platform/embedded/api/services.h"
#include "platform/embedded/api/system.h"
#endif

#include "kvsetup/capture.h"

#include <algorithm>
#include <memory>

#include "instalib/registry.h"
#include "kvsetup/captured_accounts.h"
#include "kvsetup/host.h"
#include "kvsetup/plan_file.h"

namespace capture {
namespace {

constexpr char kMachine[] = "HKEY_LOCAL_MACHINE";
constexpr char kUser[] = "HKEY_CURRENT_USER";

struct CloseKey {
    using pointer = HKEY;
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using Key = std::unique_ptr<HKEY, CloseKey>;

struct CloseService {
    using pointer = SC_HANDLE;
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};

std::string Path(const CString& path) { return static_cast<const char*>(path); }

// What Windows keeps of programs, in the view of either width.
void AddWindowsBranches(std::vector<Branch>& branches, const std::string& software) {
    const std::string windows = software + "\\Microsoft\\Windows\\CurrentVersion";
    branches.insert(branches.end(), {{kMachine, windows, Depth::Own},
                                     {kMachine, windows + "\\App Paths", Depth::Whole},
                                     {kMachine, windows + "\\Explorer\\Shell Folders", Depth::Own},
                                     {kMachine, windows + "\\Run", Depth::Own},
                                     {kMachine, windows + "\\SharedDLLs", Depth::Own},
                                     {kMachine, windows + "\\Shell Extensions\\Approved", Depth::Own},
                                     {kMachine, windows + "\\Uninstall", Depth::Children},
                                     {kMachine, software + "\\Microsoft\\Windows NT\\CurrentVersion", Depth::Own},
                                     {kMachine, software + "\\Microsoft\\BackOffice", Depth::Own}});
}

std::vector<Branch> MakeBranches() {
    using Halv = CHalvRegistry;
    std::vector<Branch> branches;
    for (const CString& root : {Halv::m_sOldHalvenorKey, Halv::m_sOldKorVaultKey}) {
        branches.push_back({kMachine, Path(root), Depth::Whole});
        branches.push_back({kMachine, Path(Halv::Wow6432Node(root)), Depth::Whole});
        branches.push_back({kUser, Path(root), Depth::Whole});
    }
    AddWindowsBranches(branches, "SOFTWARE");
    AddWindowsBranches(branches, "SOFTWARE\\Wow6432Node");
    branches.push_back({kMachine, Path(Halv::m_sProfileListKey), Depth::Children});
    for (const CString& key : {Halv::m_sKorvaultShellExtensionCLSIDKey, Halv::m_sDrivePropertySheetHandler,
                               Halv::m_sDriveMenuHandler, Halv::m_sDirMenuHandler, Halv::m_sAllMenuHandler,
                               Halv::m_sKorvaultScriptExtension, Halv::m_sKorvaultScriptFile}) {
        branches.push_back({kMachine, "SOFTWARE\\Classes\\" + Path(key), Depth::Whole});
    }
    const std::string system = "SYSTEM\\CurrentControlSet\\";
    for (const char* const key : {"Control\\ProductOptions", "Control\\Nls\\Language"})
        branches.push_back({kMachine, system + key, Depth::Own});
    branches.push_back({kMachine, Path(Halv::m_sEnvironmentKey), Depth::Own});
    branches.push_back({kMachine, system + "Services", Depth::Children});
    for (const char* const key : {"DbaRpcService", "SNMP\\Parameters", "LanmanServer\\Shares"})
        branches.push_back({kMachine, system + "Services\\" + key, Depth::Whole});
    branches.push_back({kMachine, system + "Services\\Tcpip\\Parameters", Depth::Own});
    branches.push_back({kMachine, Path(Halv::m_sEventLogKey), Depth::Children});
    branches.push_back({kMachine, Path(Halv::m_sPhagrixKey), Depth::Whole});
    branches.push_back({kUser, "Environment", Depth::Own});
    branches.push_back({kUser, "Software\\Local AppWizard-Generated Applications", Depth::Whole});
    return branches;
}

bool NamesSecret(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return name.find("password") != name.npos || name.find("pwd") != name.npos || name.find("secret") != name.npos;
}

// Wide text in between, from one code page to another.
bool Convert(UINT from, const std::string& text, UINT to, std::string& result) {
    result.clear();
    if (text.empty()) return true;
    const int length = static_cast<int>(text.size());
    const int count = MultiByteToWideChar(from, MB_ERR_INVALID_CHARS, text.data(), length, nullptr, 0);
    std::vector<WCHAR> wide(static_cast<std::size_t>(std::max(count, 0)));
    if (count <= 0 || MultiByteToWideChar(from, MB_ERR_INVALID_CHARS, text.data(), length, wide.data(), count) == 0)
        return false;
    const int size = WideCharToMultiByte(to, 0, wide.data(), count, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return false;
    result.resize(static_cast<std::size_t>(size));
    return WideCharToMultiByte(to, 0, wide.data(), count, result.data(), size, nullptr, nullptr) != 0;
}

// One value's bytes as what they are: a text, a number, or bytes.
void PutData(Json& value, DWORD type, const std::string& data) {
    std::string utf8;
    value["type"] = type;
    const bool isText = (type == REG_SZ || type == REG_EXPAND_SZ) && data.find('\0') + 1 == data.size();
    if (isText && ToUtf8(data.substr(0, data.size() - 1), utf8)) {
        value["text"] = utf8;
    } else {
        value["bytes"] = checked_file::ToHex(data);
    }
}

class Registry {
  public:
    explicit Registry(Json& problems) : m_problems(problems) {}

    Json Read(const Branch& branch) {
        Json keys = Json::array();
        const std::size_t complaints = m_problems.size();
        ReadKey(Root(branch), branch.path, "", branch, keys);
        const bool isRead = !keys.empty() || m_problems.size() == complaints;
        Json captured{{"branch", branch.Name()}, {"isRead", isRead}, {"keys", std::move(keys)}};
        if (isRead && captured["keys"].empty()) captured["missing"] = Missing(branch);
        return captured;
    }

  private:
    void Complain(const Branch& branch, const std::string& below, const std::string& why) {
        std::string line = branch.Name() + (below.empty() ? "" : '\\' + below);
        m_problems.push_back(console::Printable(line.append(": ").append(why)));
    }

    static bool IsMissing(LSTATUS status) { return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND; }

    // The first key on the way to a branch that is not there.
    static std::string Missing(const Branch& branch) {
        for (std::size_t end = branch.path.find('\\'); end != branch.path.npos; end = branch.path.find('\\', end + 1)) {
            HKEY opened = nullptr;
            const std::string above = branch.path.substr(0, end);
            const LSTATUS status = RegOpenKeyExA(Root(branch), above.c_str(), 0, KEY_READ, &opened);
            if (IsMissing(status)) return above;
            if (status == 0) RegCloseKey(opened);
        }
        return branch.path;
    }

    static HKEY Root(const Branch& branch) { return branch.IsUsers() ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }

    // A key that is not there has no entry.
    void ReadKey(HKEY parent, const std::string& name, const std::string& below, const Branch& branch, Json& keys) {
        HKEY opened = nullptr;
        const LSTATUS status = RegOpenKeyExA(parent, name.c_str(), 0, KEY_READ, &opened);
        if (IsMissing(status)) return;
        if (status != 0) return Complain(branch, below, host::ErrorText(static_cast<DWORD>(status)));
        const Key key(opened);
        std::string utf8;
        if (!ToUtf8(below, utf8)) return Complain(branch, below, "its name cannot be written down");
        Json entry{{"key", utf8}, {"values", Json::array()}};
        ReadValues(opened, below, branch, entry["values"]);
        keys.push_back(std::move(entry));
        if (branch.depth == Depth::Own || (branch.depth == Depth::Children && !below.empty())) return;
        for (const std::string& subkey : Subkeys(opened))
            ReadKey(opened, subkey, below.empty() ? subkey : below + '\\' + subkey, branch, keys);
    }

    static std::vector<std::string> Subkeys(HKEY key) {
        constexpr DWORD kLongest = 256;  // characters of a key's name, with the terminator
        std::vector<std::string> names;
        char name[kLongest];
        DWORD size = kLongest;
        for (DWORD i = 0; RegEnumKeyExA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) == 0; ++i) {
            names.emplace_back(name, size);
            size = kLongest;
        }
        return names;
    }

    void ReadValues(HKEY key, const std::string& below, const Branch& branch, Json& values) {
        constexpr DWORD kLongest = 16384;  // characters of a value's name, with the terminator
        std::vector<char> name(kLongest);
        std::string data(1024, '\0');
        for (DWORD i = 0;;) {
            DWORD nameSize = kLongest, type = 0, size = static_cast<DWORD>(data.size());
            const LSTATUS status = RegEnumValueA(key, i, name.data(), &nameSize, nullptr, &type,
                                                 reinterpret_cast<BYTE*>(data.data()), &size);
            if (status == ERROR_MORE_DATA && data.size() < kLargest) {
                data.resize(data.size() * 2);
                continue;
            }
            if (status == ERROR_NO_MORE_ITEMS) return;
            if (status != 0) return Complain(branch, below, host::ErrorText(static_cast<DWORD>(status)));
            ++i;
            const std::string valueName(name.data(), nameSize);
            Json value;
            std::string utf8;
            if (!ToUtf8(valueName, utf8)) {
                Complain(branch, below, "a value's name cannot be written down");
                continue;
            }
            value["name"] = utf8;
            if (NamesSecret(valueName)) {
                value["withheld"] = true;
            } else {
                PutData(value, type, data.substr(0, size));
            }
            host::Wipe(data);
            values.push_back(std::move(value));
        }
    }

    static constexpr std::size_t kLargest = std::size_t(16) << 20;  // bytes of a value that is captured
    Json& m_problems;
};

Json Windows() {
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (!GetVersionExA(&version)) throw Failure{kFailed, "Windows does not tell its version"};
    version.szCSDVersion[sizeof version.szCSDVersion - 1] = '\0';
    return {{"platform", version.dwPlatformId},
            {"major", version.dwMajorVersion},
            {"minor", version.dwMinorVersion},
            {"build", version.dwBuildNumber & 0xFFFF},
            {"servicePack", console::Printable(version.szCSDVersion)}};
}

Json Drives() {
    Json drives = Json::array();
    const DWORD present = GetLogicalDrives();
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        if ((present >> (letter - 'A') & 1) == 0) continue;
        const std::string root = std::string(1, letter) + ":\\";
        DWORD perCluster = 0, perSector = 0, freeClusters = 0, clusters = 0;
        const UINT type = GetDriveTypeA(root.c_str());
        // A drive without its medium, or one of another machine, is not asked any further.
        const bool isReady = (type == DRIVE_FIXED || type == DRIVE_CDROM) &&
                             GetDiskFreeSpaceA(root.c_str(), &perCluster, &perSector, &freeClusters, &clusters);
        const std::uint64_t unit = std::uint64_t(perCluster) * perSector;
        drives.push_back({{"letter", std::string(1, letter)},
                          {"type", type},
                          {"ready", isReady},
                          {"bytesPerSector", perSector},
                          {"sectorsPerCluster", perCluster},
                          {"totalBytes", clusters * unit},
                          {"freeBytes", freeClusters * unit}});
    }
    return drives;
}

Json Running(Json& problems) {
    Json names = Json::array();
    const std::unique_ptr<SC_HANDLE, CloseService> manager(
        OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_ENUMERATE_SERVICE));
    std::vector<BYTE> buffer(65536);
    DWORD needed = 0, count = 0, resume = 0;
    for (bool goesOn = manager != nullptr; goesOn;) {
        auto* const records = reinterpret_cast<ENUM_SERVICE_STATUSA*>(buffer.data());
        const BOOL whole = EnumServicesStatusA(manager.get(), SERVICE_WIN32, SERVICE_ACTIVE, records,
                                               static_cast<DWORD>(buffer.size()), &needed, &count, &resume);
        if (!whole && GetLastError() != ERROR_MORE_DATA) break;
        for (DWORD i = 0; i < count; ++i) names.push_back(console::Printable(records[i].lpServiceName));
        if (whole) return names;
        goesOn = count > 0;
    }
    problems.push_back("services: " + host::ErrorText(GetLastError()));
    return names;
}

}  // namespace

const std::vector<Branch>& CapturedBranches() {
    static const std::vector<Branch> branches = MakeBranches();
    return branches;
}

bool ToUtf8(const std::string& text, std::string& utf8) {
    std::string back;
    return Convert(CP_ACP, text, CP_UTF8, utf8) && Convert(CP_UTF8, utf8, CP_ACP, back) && back == text;
}

bool FromUtf8(const std::string& utf8, std::string& text) {
    std::string back;
    return Convert(CP_UTF8, utf8, CP_ACP, text) && Convert(CP_ACP, text, CP_UTF8, back) && back == utf8;
}

Json CaptureMachine() {
    Json problems = Json::array();
    Json captured{{"computer", plans::ThisMachine()}, {"codePage", GetACP()}, {"windows", Windows()}};
    char windows[MAX_PATH] = "", system[MAX_PATH] = "";
    GetWindowsDirectoryA(windows, sizeof windows);
    GetSystemDirectoryA(system, sizeof system);
    captured["directories"] = {console::Printable(windows), console::Printable(system)};
    captured["drives"] = Drives();
    captured["running"] = Running(problems);
    captured["accounts"] = CaptureAccounts(problems);
    captured["registry"] = Json::array();
    Registry registry(problems);
    for (const Branch& branch : CapturedBranches()) captured["registry"].push_back(registry.Read(branch));
    captured["problems"] = problems;
    return captured;
}

}  // namespace capture
