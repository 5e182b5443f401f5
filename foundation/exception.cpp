#include "instalib/exception.h"

#include <cstdio>

#include "platform/product_libraries.h"

namespace {

constexpr UINT kWarningWithOk = 0x30;  // MB_OK | MB_ICONWARNING (winuser.h)

// The one out-of-memory exception. It stands in storage of its own, so that nothing destroys it at the process's end
// either.
CMemoryException* TheMemoryException() {
    alignas(CMemoryException) static char storage[sizeof(CMemoryException)];
    static CMemoryException* const exception = ::new (static_cast<void*>(storage)) CMemoryException;
    return exception;
}
[[maybe_unused]] CMemoryException* const g_builtAtStart = TheMemoryException();

void CopyText(char* buffer, UINT capacity, const char* text) {
    if (buffer != nullptr && capacity != 0) std::snprintf(buffer, capacity, "%s", text);
}

}  // namespace

IMPLEMENT_DYNAMIC(CException, CObject)
IMPLEMENT_DYNAMIC(CMemoryException, CException)
IMPLEMENT_DYNAMIC(CSetupException, CException)

int CException::GetErrorMessage(char* buffer, UINT capacity, UINT*) {
    CopyText(buffer, capacity, "");
    return 0;
}

int CException::ReportError(UINT type, UINT) {
    char text[512] = "";
    if (GetErrorMessage(text, sizeof text, nullptr) == 0) return 0;
    const LoadedLibrary library(LoadLibraryA("user32.dll"));
    auto* const show = product::EntryPoint<product::ShowMessageBox>(library.Get(), "MessageBoxA");
    return show == nullptr ? 0 : show(nullptr, text, "Setup", type == 0 ? kWarningWithOk : type);
}

int CMemoryException::GetErrorMessage(char* buffer, UINT capacity, UINT*) {
    CopyText(buffer, capacity, "Out of memory.");
    return 1;
}

CMemoryException::~CMemoryException() = default;

void CMemoryException::operator delete(CMemoryException* exception, std::destroying_delete_t) noexcept {
    if (exception == TheMemoryException()) return;
    exception->~CMemoryException();
    FrameworkFree(exception);
}

void AfxThrowMemoryException() { throw TheMemoryException(); }

CSetupException::CSetupException(int cause, DWORD error, const char* message)
    : m_nCause(cause), m_sMessage(message), m_dwError(error) {}
CSetupException::~CSetupException() = default;

int CSetupException::GetErrorMessage(char* buffer, UINT capacity, UINT*) {
    if (buffer != nullptr && capacity != 0) {
        std::snprintf(buffer, capacity, "%s - [0x%lx]", static_cast<const char*>(m_sMessage),
                      static_cast<unsigned long>(m_dwError));
    }
    return 1;
}

void AfxThrowSetupException(int cause, DWORD error, const char* message) {
    throw new CSetupException(cause, error, message);
}
