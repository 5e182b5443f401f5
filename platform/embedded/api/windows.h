// Windows and messages (winuser.h of the Windows SDK). A machine's desktop is one for all its processes: each window
// has a class, a title, an owner and whether it is visible; there is no screen, no size and no input, and every window
// is a top-level one. A window belongs to the thread that made it and goes with its process. Each thread has a queue of
// posted messages; nothing is sent between threads.
#ifndef INSTALIB_EMBEDDED_API_WINDOWS_H
#define INSTALIB_EMBEDDED_API_WINDOWS_H

#include "platform/embedded/api/system.h"

#define WM_CREATE 0x0001
#define WM_DESTROY 0x0002
#define WM_CLOSE 0x0010
#define SW_HIDE 0
#define SW_SHOW 5
#define GW_OWNER 4u
#define WS_OVERLAPPEDWINDOW 0x00CF0000u
#define WS_POPUP 0x80000000u
#define WS_VISIBLE 0x10000000u
#define CW_USEDEFAULT ((int)0x80000000)
#define ERROR_INVALID_WINDOW_HANDLE 1400
#define ERROR_CANNOT_FIND_WND_CLASS 1407
#define ERROR_CLASS_ALREADY_EXISTS 1410

typedef struct HMENU__* HMENU;
typedef struct HICON__* HICON;
typedef HICON HCURSOR;
typedef struct HBRUSH__* HBRUSH;
typedef WORD ATOM;
typedef LRESULT(CALLBACK* WNDPROC)(HWND, UINT, WPARAM, LPARAM);
typedef BOOL(CALLBACK* WNDENUMPROC)(HWND, LPARAM);

typedef struct tagWNDCLASSA {
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCSTR lpszMenuName;
    LPCSTR lpszClassName;
} WNDCLASSA;

// --- Windows ---

// ERROR_CLASS_ALREADY_EXISTS for a class that this process has; names compare without regard to case.
MACHINE_API ATOM RegisterClassA(const WNDCLASSA* windowClass);
// Sends WM_CREATE; -1 from it gives up. Style: WS_VISIBLE counts, WS_CHILD is refused. `owner` becomes the owner.
MACHINE_API HWND CreateWindowExA(DWORD extendedStyle, LPCSTR className, LPCSTR title, DWORD style, int x, int y,
                                 int width, int height, HWND owner, HMENU menu, HINSTANCE instance, LPVOID parameter);
// By the window's own thread only (ERROR_ACCESS_DENIED); sends WM_DESTROY.
MACHINE_API BOOL DestroyWindow(HWND window);
// WM_CLOSE destroys the window; everything else is 0.
MACHINE_API LRESULT DefWindowProcA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// Whether it was visible before. Works on windows of any process.
MACHINE_API BOOL ShowWindow(HWND window, int command);
MACHINE_API BOOL IsWindow(HWND window);
MACHINE_API BOOL IsWindowVisible(HWND window);
// GW_OWNER alone; null without one.
MACHINE_API HWND GetWindow(HWND window, UINT relation);
MACHINE_API DWORD GetWindowThreadProcessId(HWND window, LPDWORD process);
// Characters copied without terminator; cut to the size.
MACHINE_API int GetWindowTextA(HWND window, LPSTR text, int size);
// The newest window of the class and title, both compared without regard to case; null stands for any.
MACHINE_API HWND FindWindowA(LPCSTR className, LPCSTR title);
// All windows, newest first, until the function answers FALSE, which becomes the result.
MACHINE_API BOOL EnumWindows(WNDENUMPROC function, LPARAM parameter);

// --- Messages of windows; system.h has those of threads ---

// To the queue of the window's thread; of the calling thread when the window is null.
MACHINE_API BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// Waits for a message as PeekMessageA finds and removes it; FALSE for WM_QUIT.
MACHINE_API BOOL GetMessageA(LPMSG message, HWND window, UINT first, UINT last);
// Calls the procedure of a window of this thread; 0 for every other window.
MACHINE_API LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

#endif
