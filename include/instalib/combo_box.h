// CComboBox: a list of the caller's window, as far as the library fills one: it appends lines of text.
#ifndef INSTALIB_COMBO_BOX_H
#define INSTALIB_COMBO_BOX_H

#include "instalib/export.h"
#include "instalib/windows_types.h"

// Virtual slots, in order: destructor, AddString. A front end without windows derives a class and keeps the lines
// itself.
class INSTALIB_API CComboBox {
  public:
    // The control's window; it stays the caller's.
    explicit CComboBox(HWND window = nullptr);
    virtual ~CComboBox();

    // Appends a line by sending CB_ADDSTRING (0x143, winuser.h) to the window, and returns the line's index from 0.
    // CB_ERR (-1) when there is no window or it refuses.
    virtual int AddString(const char* text);

    HWND m_hWnd;
};

#endif
