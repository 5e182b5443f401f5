#include <vector>

#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace {

std::vector<UINT> g_received;

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_CLOSE || message == WM_DESTROY || message >= WM_USER) g_received.push_back(message);
    if (message == WM_USER + 1) return LRESULT(wParam) + LRESULT(lParam);
    return DefWindowProcA(window, message, wParam, lParam);
}

class Windows : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        g_received.clear();
        WNDCLASSA windowClass{};
        windowClass.lpfnWndProc = Procedure;
        windowClass.lpszClassName = kClass;
        RegisterClassA(&windowClass);
    }
    void TearDown() override {
        for (HWND window : m_windows) DestroyWindow(window);
        FreshMachine::TearDown();
    }
    HWND Create(const char* title, DWORD style = WS_OVERLAPPEDWINDOW, HWND owner = nullptr) {
        m_windows.push_back(CreateWindowExA(0, kClass, title, style, 0, 0, 100, 100, owner, nullptr, nullptr, nullptr));
        return m_windows.back();
    }
    static void Pump() {
        for (MSG message; PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE);) {
            TranslateMessage(&message);
            DispatchMessageA(&message);
        }
    }

    static constexpr char kClass[] = "InstalibTestClass";
    std::vector<HWND> m_windows;
};

TEST_F(Windows, WindowTellsWhatItWasMadeWith) {
    const HWND main = Create("Some title");
    ASSERT_NE(main, nullptr);
    const HWND owned = Create("Owned", WS_POPUP | WS_VISIBLE, main);
    EXPECT_FALSE(IsWindowVisible(main));
    EXPECT_FALSE(ShowWindow(main, SW_SHOW)) << "it was hidden before";
    EXPECT_TRUE(IsWindowVisible(main) && IsWindowVisible(owned));
    EXPECT_EQ(GetWindow(owned, GW_OWNER), main);
    EXPECT_EQ(GetWindow(main, GW_OWNER), nullptr);
    DWORD process = 0;
    EXPECT_EQ(GetWindowThreadProcessId(main, &process), GetCurrentThreadId());
    EXPECT_EQ(process, GetCurrentProcessId());
    char title[16] = "", cut[5] = "";
    EXPECT_EQ(GetWindowTextA(main, title, sizeof title), 10);
    EXPECT_STREQ(title, "Some title");
    GetWindowTextA(main, cut, sizeof cut);
    EXPECT_STREQ(cut, "Some");
    EXPECT_EQ(FindWindowA("instalibtestCLASS", "some TITLE"), main);
    EXPECT_EQ(FindWindowA(kClass, "Some"), nullptr);
}

TEST_F(Windows, PostedCloseWaitsForTheThreadAndDestroysTheWindow) {
    const HWND window = Create("x");
    EXPECT_TRUE(PostMessageA(window, WM_USER + 2, 1, 2) && PostMessageA(window, WM_CLOSE, 0, 0));
    EXPECT_TRUE(g_received.empty()) << "posted, not sent";
    EXPECT_EQ(MsgWaitForMultipleObjects(0, nullptr, FALSE, 1000, QS_ALLINPUT), DWORD(WAIT_OBJECT_0));
    MSG message;
    EXPECT_TRUE(PeekMessageA(&message, window, WM_CLOSE, WM_CLOSE, PM_NOREMOVE));
    Pump();
    EXPECT_THAT(g_received, testing::ElementsAre(WM_USER + 2, WM_CLOSE, WM_DESTROY));
    EXPECT_FALSE(IsWindow(window));
    EXPECT_FALSE(PostMessageA(window, WM_CLOSE, 0, 0));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_WINDOW_HANDLE));
    EXPECT_EQ(SendMessageA(Create("y"), WM_USER + 1, 3, 4), 7);
}

}  // namespace
