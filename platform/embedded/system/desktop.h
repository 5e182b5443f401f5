// What all processes of a machine know of its windows, and the queues of its threads' posted messages.
#ifndef INSTALIB_EMBEDDED_SYSTEM_DESKTOP_H
#define INSTALIB_EMBEDDED_SYSTEM_DESKTOP_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/embedded/api/windows.h"

namespace embedded::desktop {

struct WindowFacts {
    std::uint32_t id = 0;  // the handle's value, one for all processes
    DWORD process = 0;
    DWORD thread = 0;
    std::uint32_t owner = 0;
    bool visible = false;
    std::string className;
    std::string title;
};

inline std::uint32_t IdOf(HWND window) { return std::uint32_t(reinterpret_cast<std::uintptr_t>(window)); }
inline HWND HandleOf(std::uint32_t id) { return reinterpret_cast<HWND>(std::uintptr_t(id)); }

// Gives the window an id and adds it; null when the machine's folder cannot be written.
HWND Add(WindowFacts facts);
void Remove(HWND window);
// Nothing for a handle that is no window, or whose process has ended.
std::optional<WindowFacts> Find(HWND window);
// Newest first.
std::vector<WindowFacts> All();
// Whether it was visible before; nothing when it is no window.
std::optional<bool> SetVisible(HWND window, bool visible);

struct PostedMessage {
    std::uint32_t window;
    UINT message;
    std::uint64_t wParam;
    std::int64_t lParam;
    DWORD time;
};

// The window's procedure, of a window of this process; 0 for any other.
LRESULT Call(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// False when the thread has no queue: it has neither made a window nor asked for messages.
bool Post(DWORD process, DWORD thread, const PostedMessage& message);
// Of the calling thread, oldest first. Makes its queue, which goes with the thread.
std::vector<PostedMessage> Waiting();
void TakeWaiting(std::size_t index);

}  // namespace embedded::desktop

#endif
