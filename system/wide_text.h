// 8-bit text as the wide text that accounts, groups and shares take, and back, through the ANSI code page.
#ifndef INSTALIB_SYSTEM_WIDE_TEXT_H
#define INSTALIB_SYSTEM_WIDE_TEXT_H

#include "foundation/wipe.h"
#include "instalib/object.h"
#include "instalib/string.h"
#include "platform/platform.h"

// Characters before the terminator.
inline std::size_t TextLength(const WCHAR* text) {
    std::size_t length = 0;
    while (text[length] != 0) ++length;
    return length;
}

class WideText {
  public:
    // A null text stays null. One that cannot be converted is empty.
    explicit WideText(const char* text) {
        if (text == nullptr) return;
        const int converted = MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, nullptr, 0);
        m_size = (converted > 0 ? static_cast<std::size_t>(converted) : 1) * sizeof(WCHAR);
        m_text = static_cast<WCHAR*>(FrameworkAllocate(m_size));
        m_text[0] = 0;
        if (converted > 0) MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, m_text, converted);
    }
    // Passwords pass through here, so every text is wiped.
    ~WideText() {
        WipeMemory(m_text, m_size);
        FrameworkFree(m_text);
    }
    WideText(const WideText&) = delete;
    WideText& operator=(const WideText&) = delete;

    // Writable because the interfaces' records declare it so; they do not write.
    WCHAR* Get() { return m_text; }

  private:
    WCHAR* m_text = nullptr;
    std::size_t m_size = 0;  // bytes, with the terminator
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
