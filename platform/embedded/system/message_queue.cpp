// Posted messages of threads and windows, and the wait for a message or a handle.
#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "platform/embedded/api/windows.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/system/desktop.h"
#include "platform/embedded/system/process_wait.h"

namespace gate = embedded::gate;
namespace handles = embedded::handles;
namespace desktop = embedded::desktop;
using embedded::control::CallKind;

namespace {

thread_local std::optional<int> t_quit;

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

DWORD Failed(DWORD error) {
    SetLastError(error);
    return WAIT_FAILED;
}

bool Take(LPMSG message, HWND window, UINT first, UINT last, bool remove) {
    const std::vector<desktop::PostedMessage> waiting = desktop::Waiting();
    const bool any = first == 0 && last == 0;
    const auto found = std::ranges::find_if(waiting, [&](const desktop::PostedMessage& each) {
        return (window == nullptr || each.window == desktop::IdOf(window)) &&
               (any || (each.message >= first && each.message <= last));
    });
    if (found != waiting.end()) {
        const WPARAM wParam = WPARAM(found->wParam);
        *message = {desktop::HandleOf(found->window), found->message, wParam, LPARAM(found->lParam), found->time, {}};
        if (remove) desktop::TakeWaiting(std::size_t(found - waiting.begin()));
        return true;
    }
    if (!t_quit || !waiting.empty()) return false;
    *message = {nullptr, WM_QUIT, UINT_PTR(*t_quit), 0, GetTickCount(), {}};
    if (remove) t_quit.reset();
    return true;
}

bool Post(DWORD process, DWORD thread, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return desktop::Post(process, thread, {desktop::IdOf(window), message, wParam, lParam, GetTickCount()});
}

bool HasInput() { return t_quit || !desktop::Waiting().empty(); }

}  // namespace

BOOL PostThreadMessageA(DWORD thread, UINT message, UINT_PTR wParam, LONG_PTR lParam) {
    if (gate::Refuses(CallKind::System, "PostThreadMessageA")) return FALSE;
    const bool posted = Post(GetCurrentProcessId(), thread, nullptr, message, wParam, lParam);
    return posted ? TRUE : Fail(ERROR_INVALID_THREAD_ID);
}

BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (gate::Refuses(CallKind::System, "PostMessageA")) return FALSE;
    if (window == nullptr) {
        desktop::Waiting();  // the calling thread has a queue from now on
        return Post(GetCurrentProcessId(), GetCurrentThreadId(), window, message, wParam, lParam);
    }
    const auto facts = desktop::Find(window);
    const bool posted = facts && Post(facts->process, facts->thread, window, message, wParam, lParam);
    return posted ? TRUE : Fail(ERROR_INVALID_WINDOW_HANDLE);
}

LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (gate::Refuses(CallKind::System, "SendMessageA")) return 0;
    const auto facts = desktop::Find(window);
    const bool own = facts && facts->process == GetCurrentProcessId() && facts->thread == GetCurrentThreadId();
    return own ? desktop::Call(window, message, wParam, lParam) : 0;
}

void PostQuitMessage(int exitCode) { t_quit = exitCode; }

BOOL PeekMessageA(LPMSG message, HWND window, UINT first, UINT last, UINT remove) {
    if (gate::Refuses(CallKind::System, "PeekMessageA")) return FALSE;
    return Take(message, window, first, last, (remove & PM_REMOVE) != 0);
}

BOOL GetMessageA(LPMSG message, HWND window, UINT first, UINT last) {
    while (!Take(message, window, first, last, true)) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return message->message != WM_QUIT;
}

BOOL TranslateMessage(const MSG*) { return FALSE; }

LONG_PTR DispatchMessageA(const MSG* message) {
    using TimerProcedure = void WINAPI(HWND window, UINT message, UINT_PTR id, DWORD time);
    if (message->message != WM_TIMER || message->lParam == 0) {
        return desktop::Call(message->hwnd, message->message, message->wParam, message->lParam);
    }
    reinterpret_cast<TimerProcedure*>(message->lParam)(message->hwnd, WM_TIMER, message->wParam, message->time);
    return 0;
}

DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds, DWORD wakeMask) {
    constexpr DWORD kStep = 10;  // neither a handle nor another process's message is noticed sooner
    if (gate::Refuses(CallKind::System, "MsgWaitForMultipleObjects")) return WAIT_FAILED;
    if (all || wakeMask != QS_ALLINPUT) return Failed(ERROR_INVALID_PARAMETER);
    std::vector<std::shared_ptr<embedded::Waitable>> waitables;
    for (DWORD i = 0; i < count; ++i) {
        waitables.push_back(handles::Find<embedded::Waitable>(objects[i]));
        if (!waitables.back()) return Failed(ERROR_INVALID_HANDLE);
    }
    for (DWORD left = milliseconds;;) {
        for (DWORD i = 0; i < count; ++i) {
            const DWORD answer = waitables[i]->Wait(0);
            if (answer == WAIT_FAILED) return answer;
            if (answer != WAIT_TIMEOUT) return answer + i;
        }
        if (HasInput()) return WAIT_OBJECT_0 + count;
        if (left == 0) return WAIT_TIMEOUT;
        const DWORD step = std::min(left, kStep);
        std::this_thread::sleep_for(std::chrono::milliseconds(step));
        if (milliseconds != INFINITE) left -= step;
    }
}
