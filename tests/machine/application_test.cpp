#include "instalib/application.h"

#include <atomic>
#include <thread>

#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace {

std::atomic<UINT> g_asked{0};
std::atomic<bool> g_ignores{false};

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_CLOSE || message == 0x637) g_asked = message;
    if (message == WM_CLOSE && g_ignores) return 0;
    return DefWindowProcA(window, message, wParam, lParam);
}

class ApplicationTest : public FreshMachine {
  protected:
    static HWND Create(const char* className, const char* title, DWORD style = WS_OVERLAPPEDWINDOW) {
        WNDCLASSA windowClass{};
        windowClass.lpfnWndProc = Procedure;
        windowClass.lpszClassName = className;
        RegisterClassA(&windowClass);
        return CreateWindowExA(0, className, title, style, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    }
    static UINT Asked() {
        g_asked = 0;
        for (MSG message; PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE);) DispatchMessageA(&message);
        return g_asked;
    }
};

TEST_F(ApplicationTest, EachApplicationHasItsMarks) {
    const struct {
        int value;
        const char* className;
        const char* mutexName;
    } cases[] = {{0, "ZephraniteMgr", "ZephraniteManagerAppInstMutex"},
                 {1, "KorvaultAdmin", "KorvaultAdminAppInstMutex"},
                 {2, "KORCentralDBConfig", "KORCentralDBConfigAppInstMutex"},
                 {3, "KVDM32WClass", "KVDM32Mutex"},
                 {4, "Device Configuration", "KorvaultDeviceConfigurationMutex"},
                 {5, "", ""},
                 {-1, "", ""}};
    for (const auto& [value, className, mutexName] : cases) {
        const CApplication application(CApplication::Application{value});
        EXPECT_STREQ(application.GetClassNameA(), className);
        EXPECT_EQ(application.IsRunning() + application.IsRunning(), 0);
        if (*mutexName == '\0') continue;
        std::atomic<bool> held{false}, done{false};
        std::thread holder([&, name = mutexName] {
            const KernelHandle mutex(CreateMutexA(nullptr, TRUE, name));
            held = true;
            while (!done) Sleep(1);
            ReleaseMutex(mutex.Get());
        });
        while (!held) std::this_thread::yield();
        EXPECT_EQ(application.IsRunning(), 1) << mutexName;
        done = true;
        holder.join();
        EXPECT_EQ(CApplication(application).IsRunning(), 0);
        const KernelHandle fresh(CreateMutexA(nullptr, FALSE, mutexName));
        EXPECT_EQ(GetLastError(), 0u) << "no mutex was left behind";
    }
}

TEST_F(ApplicationTest, OwnMutexIsNotRunningAndKeepsItsOwner) {
    const KernelHandle mutex(CreateMutexA(nullptr, TRUE, "InstalibOwn"));
    EXPECT_EQ(CApplication::IsRunning("InstalibOwn"), 0);
    EXPECT_TRUE(ReleaseMutex(mutex.Get()));
    EXPECT_FALSE(ReleaseMutex(mutex.Get())) << "owned as often as before";
    EXPECT_EQ(CApplication::IsRunning(std::string(300, 'x').c_str()), 0);
    EXPECT_EQ(CApplication::IsRunning(nullptr), 0);
}

TEST_F(ApplicationTest, WindowOfAClassIsHiddenAndAsked) {
    EXPECT_EQ(CApplication::CloseWindow("KorvaultAdmin") + CApplication::CloseWindow(nullptr), 0);
    const HWND manager = Create("ZephraniteMgr", "m", WS_POPUP | WS_VISIBLE);
    const HWND admin = Create("KorvaultAdmin", "a", WS_POPUP | WS_VISIBLE);
    EXPECT_EQ(CApplication(CApplication::ManagerApp).CloseWindow(), 1);
    EXPECT_FALSE(IsWindowVisible(manager));
    EXPECT_EQ(Asked(), 0x637u);
    DestroyWindow(manager);
    EXPECT_EQ(CApplication(CApplication::AdminApp).CloseWindow(), 1);
    EXPECT_TRUE(IsWindow(admin)) << "asked, not waited for";
    EXPECT_EQ(Asked(), UINT(WM_CLOSE));
    EXPECT_FALSE(IsWindow(admin));
}

TEST_F(ApplicationTest, TitleIsFoundInExactCaseAndNeverTheMainWindow) {
    const std::string deep = std::string(250, 'x') + "Needle";
    const HWND other = Create("InstalibTitles", "A Needle in hay");
    const HWND longTitle = Create("InstalibTitles", deep.c_str());
    const HWND main = Create("InstalibTitles", "Needle of the caller", WS_POPUP | WS_VISIBLE);
    EXPECT_EQ(CApplication::FindWindowA("Needle"), other) << "the long title is read up to 255 bytes";
    EXPECT_EQ(CApplication::FindWindowA("needle"), nullptr);
    EXPECT_EQ(CApplication::FindWindowA("of the caller"), nullptr);
    EXPECT_EQ(CApplication::FindWindowA(nullptr), nullptr);
    CApplication::CloseWindows("");
    CApplication::CloseWindows(nullptr);
    EXPECT_EQ(Asked(), 0u);
    for (HWND window : {other, longTitle, main}) DestroyWindow(window);
}

TEST_F(ApplicationTest, WindowsAreClosedUntilNoneIsLeft) {
    std::atomic<bool> made{false}, done{false};
    std::thread owner([&] {
        Create("InstalibMany", "Many 1");
        Create("InstalibMany", "Many 2");
        made = true;
        while (!done) {
            Asked();
            Sleep(5);
        }
    });
    while (!made) std::this_thread::yield();
    CApplication::CloseWindows("Many");
    EXPECT_EQ(::FindWindowA("InstalibMany", nullptr), nullptr);
    done = true;
    owner.join();
}

}  // namespace
