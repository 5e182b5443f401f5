// CString: the string of the exported interface. A counted, heap-owned text of 8-bit characters in the system's ANSI
// code page, with value semantics: a copy is a copy. Its memory is taken and given back by the library, whichever
// module holds the object. Lengths and positions are bytes. A text may hold zero bytes; the character pointer then
// shows the part before the first one. When memory runs out, an operation throws CMemoryException* and leaves the
// string as it was.
#ifndef INSTALIB_STRING_H
#define INSTALIB_STRING_H

#include <cstdarg>

#include "instalib/export.h"

class INSTALIB_API CString {
  public:
    CString() noexcept;
    CString(const CString& other);
    CString(CString&& other) noexcept;
    // A null text makes an empty string.
    CString(const char* text);
    // The first `length` bytes of `text`, zero bytes included. A null text or a negative length makes an empty string.
    CString(const char* text, int length);
    // `count` times the character; none when `count` is negative.
    explicit CString(char character, int count = 1);
    ~CString();

    CString& operator=(const CString& other);
    CString& operator=(CString&& other) noexcept;
    CString& operator=(const char* text);

    // The text, always zero-terminated, never null; valid until the string changes.
    operator const char*() const noexcept { return m_pData; }
    int GetLength() const noexcept { return m_nLength; }
    bool IsEmpty() const noexcept { return m_nLength == 0; }
    void Empty() noexcept;
    // The byte at `index`; zero at or behind the end and before the start.
    char GetAt(int index) const noexcept;
    char operator[](int index) const noexcept { return GetAt(index); }

    CString& operator+=(const CString& other);
    CString& operator+=(const char* text);
    CString& operator+=(char character);

    // Parts are clamped to the string: Left(9) of "abc" is "abc", Mid(5) of it is empty.
    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;

    // Positions of the first (or last) occurrence, -1 when there is none. Bytes are compared; double-byte characters
    // are not treated specially.
    int Find(char character, int start = 0) const noexcept;
    int Find(const char* text, int start = 0) const noexcept;
    int ReverseFind(char character) const noexcept;

    // Compares the bytes up to the first zero byte, and the same without regard to the case of ASCII letters; less
    // than, equal to, greater than 0. A null text counts as empty. The bytes of double-byte characters keep their
    // values.
    int Compare(const char* text) const noexcept;
    int CompareNoCase(const char* text) const noexcept;

    // ASCII letters only; the bytes of a double-byte character are left alone.
    void MakeUpper() noexcept;
    void MakeLower() noexcept;

    // Replaces the text by the printf-style format and its arguments, of any length; by an empty one when the C runtime
    // cannot format them or the format is null.
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    void
    Format(const char* format, ...);
    void FormatV(const char* format, va_list arguments);

    // A writable buffer of at least `capacity` bytes and a terminator, holding the present text. ReleaseBuffer sets the
    // length to what was written: up to the terminator, which is added at the buffer's end if missing, or as given.
    char* GetBuffer(int capacity);
    void ReleaseBuffer(int length = -1);
    // Empties the string and overwrites its memory, which it keeps, with zeros; for passwords.
    void Wipe() noexcept;

  private:
    void Assign(const char* text, int length);
    void Append(const char* text, int length);
    void Swap(CString& other) noexcept;

    char* m_pData;
    int m_nLength;
    int m_nCapacity;  // without the terminator; 0 for the shared empty text
};

INSTALIB_API CString operator+(const CString& left, const CString& right);
INSTALIB_API CString operator+(const CString& left, const char* right);
INSTALIB_API CString operator+(const char* left, const CString& right);
INSTALIB_API CString operator+(const CString& left, char right);
INSTALIB_API CString operator+(char left, const CString& right);
// Neither a number to append nor an offset into the text is meant by a careful caller.
CString operator+(const CString& left, int right) = delete;
CString operator+(int left, const CString& right) = delete;

// Whole texts, zero bytes included.
INSTALIB_API bool operator==(const CString& left, const CString& right) noexcept;
INSTALIB_API bool operator<(const CString& left, const CString& right) noexcept;
inline bool operator==(const CString& left, const char* right) noexcept { return left.Compare(right) == 0; }

#endif
