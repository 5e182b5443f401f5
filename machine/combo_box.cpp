#include "instalib/combo_box.h"

#include "platform/product_libraries.h"

namespace {

constexpr UINT kAddString = 0x0143;  // CB_ADDSTRING (winuser.h)
constexpr int kError = -1;           // CB_ERR

}  // namespace

CComboBox::CComboBox(HWND window) : m_hWnd(window) {}
CComboBox::~CComboBox() = default;

int CComboBox::AddString(const char* text) {
    if (m_hWnd == nullptr || text == nullptr) return kError;
    const LoadedLibrary library(LoadLibraryA("user32.dll"));
    auto* const send = product::EntryPoint<product::SendWindowMessage>(library.Get(), "SendMessageA");
    return send == nullptr ? kError : int(send(m_hWnd, kAddString, 0, reinterpret_cast<LONG_PTR>(text)));
}
