// 8-bit text as the wide text that accounts, groups and shares take, and back, through the ANSI code page.
#ifndef INSTALIB_SYSTEM_WIDE_TEXT_H
#define INSTALIB_SYSTEM_WIDE_TEXT_H

#include <string>

#include "foundation/wipe.h"
#include "instalib/string.h"
#include "platform/platform.h"

class WideText {
  public:
    // A null text stays null.
    explicit WideText(const char* text) : m_isNull(text == nullptr) {
        if (m_isNull) return;
        const int length = MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, nullptr, 0);
        m_text.resize(length > 0 ? static_cast<std::size_t>(length) : 1);
        if (length > 0) MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, m_text.data(), length);
    }
    // Passwords pass through here, so every text is wiped.
    ~WideText() { WipeMemory(m_text.data(), m_text.size() * sizeof(WCHAR)); }
    WideText(const WideText&) = delete;
    WideText& operator=(const WideText&) = delete;

    // Writable because the interfaces' records declare it so; they do not write.
    WCHAR* Get() { return m_isNull ? nullptr : m_text.data(); }
    // Characters without the terminator.
    std::size_t Length() const { return m_text.empty() ? 0 : m_text.size() - 1; }

  private:
    bool m_isNull;
    std::basic_string<WCHAR> m_text;  // terminator included
};

// Null gives an empty string.
inline CString NarrowText(const WCHAR* text) {
    if (text == nullptr) return CString();
    const int size = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    CString result;
    if (size <= 0) return result;
    WideCharToMultiByte(CP_ACP, 0, text, -1, result.GetBuffer(size), size, nullptr, nullptr);
    result.ReleaseBuffer();
    return result;
}

#endif
