#include "platform/embedded/modules/builtin.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>

#include "platform/embedded/api/modules.h"
#include "platform/embedded/api/registry.h"
#include "platform/embedded/control/system.h"
#include "platform/embedded/machine/process_state.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/modules/installer.h"

namespace embedded::builtin {
namespace {

// --- What Windows' own modules answer ---

// "%NAME%" by the process's environment; an unknown name stays as it is.
std::string Expanded(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t open = text.find('%');
        const std::size_t close = open == text.npos ? open : text.find('%', open + 1);
        if (close == text.npos) break;
        const auto value = process::Variable(text.substr(open + 1, close - open - 1));
        // The second sign may begin the next name when the first one does not begin any.
        const std::size_t end = value ? close + 1 : close;
        result += value ? std::string(text.substr(0, open)) + *value : std::string(text.substr(0, end));
        text.remove_prefix(end);
    }
    return result.append(text);
}

HRESULT WINAPI FolderPath(HWND, int folder, HANDLE, DWORD, char* path) {
    constexpr int kProgramFiles = 38, kCreate = 0x8000;  // CSIDL_PROGRAM_FILES, CSIDL_FLAG_CREATE (shlobj.h)
    constexpr char kKey[] = "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
    if (path == nullptr || (folder & ~kCreate) != kProgramFiles) return E_INVALIDARG;
    Store& store = world::Local()->Storage();
    std::string text = store.ReadText(kKey, "ProgramFilesDir");
    if (const auto value = store.Read(kKey, "ProgramFilesDir"); value && value->type == REG_EXPAND_SZ) {
        text = Expanded(text);
    }
    path[text.copy(path, MAX_PATH - 1)] = '\0';
    return text.empty() ? S_FALSE : S_OK;
}

// There is no screen: what a user would read goes to the standard error stream.
int WINAPI ShowMessage(HWND, const char* text, const char* caption, UINT) {
    constexpr int kOk = 1;  // IDOK (winuser.h)
    std::fprintf(stderr, "%s: %s\n", caption == nullptr ? "Error" : caption, text == nullptr ? "" : text);
    return kOk;
}

template <class Function>
FARPROC Entry(Function* function) {
    // The detour through void(*)() is the one cast of function types that compilers accept silently.
    return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
}

// --- The table ---

const EntryPoint kAdvapi[] = {
    {"ChangeServiceConfig2A", 0, nullptr},
    {"SetSecurityDescriptorControl", 0, nullptr},
};
const EntryPoint kMsi[] = {
    {"MsiQueryProductStateA", 112, Entry(installer::QueryProductState)},
    {"MsiGetFileVersionA", 194, Entry(installer::GetFileVersion)},
    {"DllGetVersion", 0, Entry(installer::GetLibraryVersion)},
};
const EntryPoint kShellFolders[] = {
    {"SHGetFolderPathA", 0, Entry(FolderPath)},
};
const EntryPoint kUser[] = {
    {"MessageBoxA", 0, Entry(ShowMessage)},
    {"SendMessageA", 0, nullptr},
    {"MsgWaitForMultipleObjects", 0, nullptr},
    {"PeekMessageA", 0, nullptr},
    {"TranslateMessage", 0, nullptr},
    {"DispatchMessageA", 0, nullptr},
    {"PostQuitMessage", 0, nullptr},
    {"FindWindowA", 0, nullptr},
    {"EnumWindows", 0, nullptr},
    {"IsWindow", 0, nullptr},
    {"IsWindowVisible", 0, nullptr},
    {"GetWindow", 0, nullptr},
    {"GetWindowThreadProcessId", 0, nullptr},
    {"GetWindowTextA", 0, nullptr},
    {"ShowWindow", 0, nullptr},
    {"PostMessageA", 0, nullptr},
};

const Module kModules[] = {
    {"kernel32.dll", "Windows NT BASE API Client DLL", true, {}},
    {"advapi32.dll", "Advanced Windows 32 Base API", true, kAdvapi},
    {"user32.dll", "Multi-User Windows USER API Client DLL", true, kUser},
    {"msi.dll", "Windows Installer", false, kMsi, {5, 0, 19041, 1}},
    {"shfolder.dll", "Shell Folder Service", false, kShellFolders},
    {"netmsg.dll", "Net Messages DLL", false, {}},
};

// Whatever this process's control hid: "MODULE" or "MODULE!ENTRY".
struct Hidden {
    std::mutex mutex;
    std::set<std::string, NoCaseLess> names;
};

Hidden& TheHidden() {
    static Hidden* const hidden = new Hidden;
    return *hidden;
}

void Hide(const std::string& name) {
    const std::lock_guard lock(TheHidden().mutex);
    TheHidden().names.insert(name);
}

bool IsNameHidden(const std::string& name) {
    const std::lock_guard lock(TheHidden().mutex);
    return TheHidden().names.contains(name);
}

// The embedded machine's own export.
FARPROC Exported(const char* name) {
    static void* const self = [] {
        Dl_info info{};
        return dladdr(reinterpret_cast<void*>(&Find), &info) == 0 ? nullptr
                                                                  : dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
    }();
    return self == nullptr ? nullptr : reinterpret_cast<FARPROC>(dlsym(self, name));
}

}  // namespace

std::span<const Module> All() { return kModules; }

const Module* Find(std::string_view name) {
    const auto* const found =
        std::ranges::find_if(kModules, [name](const Module& module) { return text::EqualNoCase(module.name, name); });
    return found == std::end(kModules) ? nullptr : found;
}

bool IsHidden(const Module& module) { return IsNameHidden(module.name); }

FARPROC Address(const Module& module, const char* name, WORD ordinal) {
    const auto* const found =
        std::ranges::find_if(module.entries, [&](const EntryPoint& entry) {
            return name != nullptr ? std::strcmp(entry.name, name) == 0 : ordinal != 0 && entry.ordinal == ordinal;
        }).base();
    if (found == module.entries.data() + module.entries.size()) return nullptr;
    if (IsNameHidden(std::string(module.name) + '!' + found->name)) return nullptr;
    return found->function != nullptr ? found->function : Exported(found->name);
}

}  // namespace embedded::builtin

namespace embedded::control {

void HideEntryPoint(const std::string& module, const std::string& name) { builtin::Hide(module + '!' + name); }
void HideModule(const std::string& module) { builtin::Hide(module); }

void ShowEverything() {
    const std::lock_guard lock(builtin::TheHidden().mutex);
    builtin::TheHidden().names.clear();
}

}  // namespace embedded::control
