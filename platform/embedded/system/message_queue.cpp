// The message queues of this process's threads, and the wait for a message or a handle.
#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/embedded/api/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/handles_table.h"
#include "platform/embedded/system/process_wait.h"

namespace gate = embedded::gate;
namespace handles = embedded::handles;
using embedded::control::CallKind;

namespace {

struct Queue {
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<MSG> messages;
    std::optional<int> quit;

    bool HasInput() const { return !messages.empty() || quit.has_value(); }
};

struct Queues {
    std::mutex mutex;
    std::map<DWORD, std::shared_ptr<Queue>> all;
};

Queues& TheQueues() {
    static auto* const queues = new Queues;
    return *queues;
}

// The calling thread's queue, which others find by the thread's number until the thread ends.
struct OwnQueue {
    OwnQueue() {
        const std::lock_guard lock(TheQueues().mutex);
        TheQueues().all[thread] = queue;
    }
    ~OwnQueue() {
        const std::lock_guard lock(TheQueues().mutex);
        TheQueues().all.erase(thread);
    }
    DWORD thread = GetCurrentThreadId();
    std::shared_ptr<Queue> queue = std::make_shared<Queue>();
};

Queue& Own() {
    thread_local OwnQueue own;
    return *own.queue;
}

DWORD Failed(DWORD error) {
    SetLastError(error);
    return WAIT_FAILED;
}

}  // namespace

BOOL PostThreadMessageA(DWORD thread, UINT message, UINT_PTR wParam, LONG_PTR lParam) {
    if (gate::Refuses(CallKind::System, "PostThreadMessageA")) return FALSE;
    std::shared_ptr<Queue> queue;
    {
        const std::lock_guard lock(TheQueues().mutex);
        const auto found = TheQueues().all.find(thread);
        if (found != TheQueues().all.end()) queue = found->second;
    }
    if (!queue) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return FALSE;
    }
    const std::lock_guard lock(queue->mutex);
    queue->messages.push_back(MSG{nullptr, message, wParam, lParam, GetTickCount(), {}});
    queue->arrived.notify_all();
    return TRUE;
}

void PostQuitMessage(int exitCode) {
    Queue& queue = Own();
    const std::lock_guard lock(queue.mutex);
    queue.quit = exitCode;
}

BOOL PeekMessageA(LPMSG message, HWND window, UINT first, UINT last, UINT remove) {
    if (gate::Refuses(CallKind::System, "PeekMessageA")) return FALSE;
    Queue& queue = Own();
    const std::lock_guard lock(queue.mutex);
    const bool any = first == 0 && last == 0;
    const auto found = std::ranges::find_if(queue.messages, [&](const MSG& each) {
        return window == nullptr && (any || (each.message >= first && each.message <= last));
    });
    if (found != queue.messages.end()) {
        *message = *found;
        if ((remove & PM_REMOVE) != 0) queue.messages.erase(found);
        return TRUE;
    }
    if (!queue.quit || !queue.messages.empty()) return FALSE;
    *message = MSG{nullptr, WM_QUIT, UINT_PTR(*queue.quit), 0, GetTickCount(), {}};
    if ((remove & PM_REMOVE) != 0) queue.quit.reset();
    return TRUE;
}

BOOL TranslateMessage(const MSG*) { return FALSE; }

LONG_PTR DispatchMessageA(const MSG* message) {
    using TimerProcedure = void WINAPI(HWND window, UINT message, UINT_PTR id, DWORD time);
    if (message->message != WM_TIMER || message->lParam == 0) return 0;
    reinterpret_cast<TimerProcedure*>(message->lParam)(message->hwnd, WM_TIMER, message->wParam, message->time);
    return 0;
}

DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds, DWORD wakeMask) {
    constexpr DWORD kStep = 10;  // how long a handle is not looked at
    if (gate::Refuses(CallKind::System, "MsgWaitForMultipleObjects")) return WAIT_FAILED;
    if (all || wakeMask != QS_ALLINPUT) return Failed(ERROR_INVALID_PARAMETER);
    std::vector<std::shared_ptr<embedded::Waitable>> waitables;
    for (DWORD i = 0; i < count; ++i) {
        waitables.push_back(handles::Find<embedded::Waitable>(objects[i]));
        if (!waitables.back()) return Failed(ERROR_INVALID_HANDLE);
    }
    Queue& queue = Own();
    for (DWORD left = milliseconds;;) {
        for (DWORD i = 0; i < count; ++i) {
            const DWORD answer = waitables[i]->Wait(0);
            if (answer == WAIT_FAILED) return answer;
            if (answer != WAIT_TIMEOUT) return answer + i;
        }
        const DWORD step = std::min(left, kStep);
        std::unique_lock lock(queue.mutex);
        if (queue.arrived.wait_for(lock, std::chrono::milliseconds(step), [&] { return queue.HasInput(); })) {
            return WAIT_OBJECT_0 + count;
        }
        if (milliseconds != INFINITE) left -= step;
        if (left == 0) return WAIT_TIMEOUT;
    }
}
