// FOREIGN.EXE READY MODE NAME [TITLE]: another process, as setups meet one. It makes the file READY when it is set up.
//   program MUTEX CLASS    holds the mutex and shows a window of the class; ends when that is closed (WM_CLOSE or
//   0x637) stubborn MUTEX CLASS   the same, and ignores the request slot MAILSLOT OUTPUT   owns the mailslot, writes
//   the first message to OUTPUT and ends send MAILSLOT TEXT     sends one message
#include <cstring>
#include <string>

#include "platform/platform.h"

namespace {

bool g_stubborn = false;

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    constexpr UINT kCloseManager = 0x637;
    if (message == WM_CLOSE || message == kCloseManager) {
        if (!g_stubborn) PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}

bool Write(const char* file, const std::string& text, DWORD disposition) {
    const HANDLE handle =
        CreateFileA(file, GENERIC_WRITE, FILE_SHARE_READ, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    const bool done = handle != INVALID_HANDLE_VALUE &&
                      WriteFile(handle, text.data(), DWORD(text.size()), &written, nullptr) != FALSE;
    CloseHandle(handle);
    return done;
}

int Program(const char* ready, const char* mutex, const char* className) {
    CreateMutexA(nullptr, TRUE, mutex);
    WNDCLASSA windowClass{};
    windowClass.lpfnWndProc = Procedure;
    windowClass.lpszClassName = className;
    RegisterClassA(&windowClass);
    CreateWindowExA(0, className, "Foreign window", WS_POPUP | WS_VISIBLE, 0, 0, 9, 9, nullptr, nullptr, nullptr,
                    nullptr);
    Write(ready, "", CREATE_ALWAYS);
    for (MSG message; GetMessageA(&message, nullptr, 0, 0) > 0;) DispatchMessageA(&message);
    return 0;
}

int Receive(const char* ready, const char* name, const char* output) {
    const HANDLE slot = CreateMailslotA(name, 0, 30'000, nullptr);
    Write(ready, "", CREATE_ALWAYS);
    char message[1024] = "";
    DWORD read = 0;
    if (!ReadFile(slot, message, sizeof message, &read, nullptr)) return 1;
    return Write(output, std::string(message, read), CREATE_ALWAYS) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) return 2;
    const std::string mode = argv[2];
    g_stubborn = mode == "stubborn";
    if (mode == "slot") return Receive(argv[1], argv[3], argv[4]);
    if (mode == "send") return Write(argv[3], argv[4], OPEN_EXISTING) ? 0 : 1;
    return Program(argv[1], argv[3], argv[4]);
}
