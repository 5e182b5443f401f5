// A service that runs at once, stops when it is told to, and does nothing else.
#include <windows.h>

namespace {

SERVICE_STATUS_HANDLE g_handle;
SERVICE_STATUS g_status = {SERVICE_WIN32_OWN_PROCESS, SERVICE_RUNNING, SERVICE_ACCEPT_STOP, 0, 0, 0, 0};

void WINAPI Handle(DWORD control) {
    if (control == SERVICE_CONTROL_STOP) {
        g_status.dwCurrentState = SERVICE_STOPPED;
        g_status.dwControlsAccepted = 0;
    }
    SetServiceStatus(g_handle, &g_status);
}

void WINAPI Serve(DWORD, LPSTR*) {
    g_handle = RegisterServiceCtrlHandlerA("", &Handle);
    SetServiceStatus(g_handle, &g_status);
}

}  // namespace

int main() {
    char name[] = "";
    const SERVICE_TABLE_ENTRYA table[] = {{name, &Serve}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherA(table) ? 0 : 1;
}
