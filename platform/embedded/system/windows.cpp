// Windows of this process and what it does to those of others.
#include "platform/embedded/api/windows.h"

#include <map>
#include <mutex>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/machine/process_state.h"
#include "platform/embedded/system/desktop.h"

using namespace embedded;
using control::CallKind;

namespace {

struct Local {
    std::mutex mutex;
    std::map<std::string, WNDPROC, NoCaseLess> classes;
    std::map<std::uint32_t, WNDPROC> procedures;
};

Local& TheLocal() {
    static Local* const local = new Local;
    return *local;
}

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

WNDPROC ProcedureOf(HWND window) {
    const std::lock_guard lock(TheLocal().mutex);
    const auto found = TheLocal().procedures.find(desktop::IdOf(window));
    return found == TheLocal().procedures.end() ? nullptr : found->second;
}

void Forget(HWND window) {
    desktop::Remove(window);
    const std::lock_guard lock(TheLocal().mutex);
    TheLocal().procedures.erase(desktop::IdOf(window));
}

}  // namespace

LRESULT desktop::Call(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const WNDPROC procedure = ProcedureOf(window);
    return procedure == nullptr ? 0 : procedure(window, message, wParam, lParam);
}

ATOM RegisterClassA(const WNDCLASSA* windowClass) {
    if (gate::Refuses(CallKind::System, "RegisterClassA")) return 0;
    const bool usable = windowClass->lpszClassName != nullptr && *windowClass->lpszClassName != '\0';
    if (!usable || windowClass->lpfnWndProc == nullptr) return ATOM(Fail(ERROR_INVALID_PARAMETER));
    const std::lock_guard lock(TheLocal().mutex);
    auto& classes = TheLocal().classes;
    if (!classes.emplace(windowClass->lpszClassName, windowClass->lpfnWndProc).second) {
        return ATOM(Fail(ERROR_CLASS_ALREADY_EXISTS));
    }
    return ATOM(0xC000 + classes.size());
}

HWND CreateWindowExA(DWORD, LPCSTR className, LPCSTR title, DWORD style, int, int, int, int, HWND owner, HMENU,
                     HINSTANCE, LPVOID) {
    if (gate::Refuses(CallKind::System, "CreateWindowExA")) return nullptr;
    constexpr DWORD kChild = 0x40000000;  // WS_CHILD
    WNDPROC procedure = nullptr;
    {
        const std::lock_guard lock(TheLocal().mutex);
        const auto found = TheLocal().classes.find(className == nullptr ? "" : className);
        if (found != TheLocal().classes.end()) procedure = found->second;
    }
    if (procedure == nullptr || (style & kChild) != 0) {
        SetLastError(procedure == nullptr ? ERROR_CANNOT_FIND_WND_CLASS : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const HWND window = desktop::Add({0, GetCurrentProcessId(), GetCurrentThreadId(), desktop::IdOf(owner),
                                      (style & WS_VISIBLE) != 0, className, title == nullptr ? "" : title});
    if (window == nullptr) return SetLastError(ERROR_ACCESS_DENIED), nullptr;
    {
        const std::lock_guard lock(TheLocal().mutex);
        TheLocal().procedures[desktop::IdOf(window)] = procedure;
    }
    if (desktop::Call(window, WM_CREATE, 0, 0) != -1) return window;
    Forget(window);
    return nullptr;
}

BOOL DestroyWindow(HWND window) {
    if (gate::Refuses(CallKind::System, "DestroyWindow")) return FALSE;
    const auto facts = desktop::Find(window);
    if (!facts) return Fail(ERROR_INVALID_WINDOW_HANDLE);
    if (facts->process != GetCurrentProcessId() || facts->thread != GetCurrentThreadId())
        return Fail(ERROR_ACCESS_DENIED);
    desktop::Call(window, WM_DESTROY, 0, 0);
    Forget(window);
    return TRUE;
}

LRESULT DefWindowProcA(HWND window, UINT message, WPARAM, LPARAM) {
    if (message == WM_CLOSE) DestroyWindow(window);
    return 0;
}

BOOL ShowWindow(HWND window, int command) {
    if (gate::Refuses(CallKind::System, "ShowWindow")) return FALSE;
    const std::optional<bool> before = desktop::SetVisible(window, command != SW_HIDE);
    return before ? *before : Fail(ERROR_INVALID_WINDOW_HANDLE);
}

BOOL IsWindow(HWND window) {
    if (gate::Refuses(CallKind::System, "IsWindow")) return FALSE;
    return desktop::Find(window) ? TRUE : Fail(ERROR_INVALID_WINDOW_HANDLE);
}

BOOL IsWindowVisible(HWND window) {
    if (gate::Refuses(CallKind::System, "IsWindowVisible")) return FALSE;
    const auto facts = desktop::Find(window);
    return facts ? facts->visible : Fail(ERROR_INVALID_WINDOW_HANDLE);
}

HWND GetWindow(HWND window, UINT relation) {
    if (gate::Refuses(CallKind::System, "GetWindow")) return nullptr;
    const auto facts = desktop::Find(window);
    if (!facts) SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return facts && relation == GW_OWNER ? desktop::HandleOf(facts->owner) : nullptr;
}

DWORD GetWindowThreadProcessId(HWND window, LPDWORD process) {
    if (gate::Refuses(CallKind::System, "GetWindowThreadProcessId")) return 0;
    const auto facts = desktop::Find(window);
    if (!facts) return DWORD(Fail(ERROR_INVALID_WINDOW_HANDLE));
    if (process != nullptr) *process = facts->process;
    return facts->thread;
}

int GetWindowTextA(HWND window, LPSTR text, int size) {
    if (gate::Refuses(CallKind::System, "GetWindowTextA") || text == nullptr || size <= 0) return 0;
    const auto facts = desktop::Find(window);
    const std::size_t length = facts ? facts->title.copy(text, std::size_t(size) - 1) : 0;
    text[length] = '\0';
    if (!facts) SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return int(length);
}

HWND FindWindowA(LPCSTR className, LPCSTR title) {
    if (gate::Refuses(CallKind::System, "FindWindowA")) return nullptr;
    for (const desktop::WindowFacts& facts : desktop::All()) {
        if ((className == nullptr || text::EqualNoCase(facts.className, className)) &&
            (title == nullptr || text::EqualNoCase(facts.title, title))) {
            return desktop::HandleOf(facts.id);
        }
    }
    return nullptr;
}

BOOL EnumWindows(WNDENUMPROC function, LPARAM parameter) {
    if (gate::Refuses(CallKind::System, "EnumWindows")) return FALSE;
    for (const desktop::WindowFacts& facts : desktop::All()) {
        if (!function(desktop::HandleOf(facts.id), parameter)) return FALSE;
    }
    return TRUE;
}
