// The removal of the old product by its own uninstaller.
#include <optional>

#include "changes/changing.h"
#include "foundation/text.h"
#include "foundation/upgrade_log.h"
#include "instalib/upgrade.h"
#include "platform/product_libraries.h"

namespace {

constexpr DWORD kCommandAftermath = 20000;  // milliseconds: a command may hand work to other processes

// The messages of the calling thread, through user32.dll, which is loaded here so that a setup without windows starts
// without it.
class MessagePump {
  public:
    MessagePump() : m_library(LoadLibraryA("user32.dll")) {
        const HMODULE library = m_library.Get();
        m_wait = product::EntryPoint<product::WaitForMessages>(library, "MsgWaitForMultipleObjects");
        m_peek = product::EntryPoint<product::PeekWindowMessage>(library, "PeekMessageA");
        m_translate = product::EntryPoint<product::TranslateWindowMessage>(library, "TranslateMessage");
        m_dispatch = product::EntryPoint<product::DispatchWindowMessage>(library, "DispatchMessageA");
        m_quit = product::EntryPoint<product::PostQuit>(library, "PostQuitMessage");
    }
    // The front end's own loop is to end too.
    ~MessagePump() {
        if (m_quitCode) m_quit(*m_quitCode);
    }
    MessagePump(const MessagePump&) = delete;
    MessagePump& operator=(const MessagePump&) = delete;

    // Until the process has ended. Where messages cannot be waited for, only the process is.
    void WaitFor(HANDLE process) {
        while (m_wait != nullptr && m_peek != nullptr && m_translate != nullptr && m_dispatch != nullptr) {
            DispatchAll();  // those that came before are no new input and would not end the wait
            const DWORD answer = m_wait(1, &process, FALSE, INFINITE, QS_ALLINPUT);
            if (answer == WAIT_OBJECT_0) return;
            if (answer != WAIT_OBJECT_0 + 1) break;
        }
        WaitForSingleObject(process, INFINITE);
    }

  private:
    void DispatchAll() {
        MSG message;
        while (m_peek(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT && m_quit != nullptr) m_quitCode = int(message.wParam);
            m_translate(&message);
            m_dispatch(&message);
        }
    }

    LoadedLibrary m_library;
    product::WaitForMessages* m_wait;
    product::PeekWindowMessage* m_peek;
    product::TranslateWindowMessage* m_translate;
    product::DispatchWindowMessage* m_dispatch;
    product::PostQuit* m_quit;
    std::optional<int> m_quitCode;
};

bool Start(CString commandLine, const char* directory, KernelHandle& process) {
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_FORCEONFEEDBACK;
    PROCESS_INFORMATION information{};
    const char* const place = *OrEmpty(directory) == '\0' ? nullptr : directory;
    if (!changing::CreateProcessA(nullptr, commandLine.GetBuffer(commandLine.GetLength()), nullptr, nullptr, FALSE, 0,
                                  nullptr, place, &startup, &information)) {
        return false;
    }
    const KernelHandle thread(information.hThread);
    process.Reset(information.hProcess);
    return true;
}

// Windows' rule that a running process has the code 259 cannot be told from a process that ended with it, so one that
// has been seen to end is believed.
void WaitForExitCode(HANDLE process) {
    DWORD code = 0;
    while (GetExitCodeProcess(process, &code) && code == STILL_ACTIVE) {
        if (WaitForSingleObject(process, 10) != WAIT_TIMEOUT) return;
    }
}

}  // namespace

int KSetUninstallOldProd(const char* codeOrCommand, int isCommand, const char* directory) {
    WriteUpgradeLog("KSetUninstallOldProd() - Start");
    CString commandLine(codeOrCommand);
    const bool namesNothing = commandLine.IsEmpty();
    if (!isCommand) commandLine = "MSIEXEC /x " + commandLine + " /qn";
    WriteUpgradeLog("szCommandLine is %s", static_cast<const char*>(commandLine));
    KernelHandle process;
    if (namesNothing || !Start(commandLine, directory, process)) {
        WriteUpgradeLog("RemoveOldProduct FAILED.");
        return namesNothing ? FailWith(ERROR_INVALID_PARAMETER) : 0;
    }
    MessagePump().WaitFor(process.Get());
    WaitForExitCode(process.Get());
    process.Reset();
    if (isCommand) Sleep(kCommandAftermath);
    WriteUpgradeLog("KSetUninstallOldProd() - End");
    return 1;
}
