// 8-bit text as the wide text that accounts, groups and shares take, and back, through the ANSI code page.
#ifndef INSTALIB_FOUNDATION_WIDE_TEXT_H
#define INSTALIB_FOUNDATION_WIDE_TEXT_H

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

// MultiByteToWideChar of a whole text, its terminator included: how many characters that are, or 0 with its error.
inline int ToWide(const char* text, WCHAR* buffer, int capacity) noexcept {
    const int count = MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, buffer, capacity);
    if (count != 0 || GetLastError() != ERROR_INVALID_FLAGS) return count;
    return MultiByteToWideChar(CP_ACP, 0, text, -1, buffer, capacity);  // UTF-8 refuses the flag, not the text
}

class WideText {
  public:
    // A null text stays null.
    explicit WideText(const char* text) {
        if (text == nullptr) return;
        const int length = ToWide(text, nullptr, 0);
        if (length > 0) {
            m_size = static_cast<std::size_t>(length) * sizeof(WCHAR);
            m_text = static_cast<WCHAR*>(FrameworkAllocate(m_size));
            if (ToWide(text, m_text, length) == length) return;
        }
        m_error = GetLastError();
    }
    // Passwords pass through here, so every text is wiped.
    ~WideText() {
        WipeMemory(m_text, m_size);
        FrameworkFree(m_text);
    }
    WideText(const WideText&) = delete;
    WideText& operator=(const WideText&) = delete;

    // Whether the text has been converted; when not, it stands for nothing and must not be used. An empty text in its
    // place would name the local machine, or be an empty password.
    bool Fits() const {
        if (m_error != 0) SetLastError(m_error);
        return m_error == 0;
    }
    // Writable because the interfaces' records declare it so; they do not write.
    WCHAR* Get() { return m_text; }

  private:
    WCHAR* m_text = nullptr;
    std::size_t m_size = 0;  // bytes, with the terminator
    DWORD m_error = 0;
};

// Whether each of the texts has been converted; the last error is the first failure's.
template <class... Texts>
bool AllFit(const Texts&... texts) {
    return (texts.Fits() && ...);
}

// False, with the conversion's error and an empty result, when the text cannot be converted. A null text is empty.
inline bool ToNarrow(const WCHAR* text, CString& result) {
    result = "";
    if (text == nullptr) return true;
    const int size = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return false;
    const int written = WideCharToMultiByte(CP_ACP, 0, text, -1, result.GetBuffer(size), size, nullptr, nullptr);
    result.ReleaseBuffer(written > 0 ? written - 1 : 0);
    return written == size;
}

#endif
