#include "instalib/string.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

#include "foundation/text.h"
#include "foundation/wipe.h"
#include "instalib/exception.h"
#include "platform/platform.h"

namespace {

// What every empty string shows; it is never written.
char g_emptyText[1] = "";

int LengthOf(const char* text) {
    const std::size_t length = text == nullptr ? 0 : std::strlen(text);
    if (length >= INT_MAX) AfxThrowMemoryException();
    return int(length);
}

int SumOf(int first, int second) {
    if (first > INT_MAX - 1 - second) AfxThrowMemoryException();
    return first + second;
}

char ToLower(char character) { return character >= 'A' && character <= 'Z' ? char(character - 'A' + 'a') : character; }
char ToUpper(char character) { return character >= 'a' && character <= 'z' ? char(character - 'a' + 'A') : character; }

void ConvertLetters(char* text, int length, char (*convert)(char)) {
    for (int i = 0; i < length; ++i) {
        if (IsDBCSLeadByte(BYTE(text[i]))) {
            ++i;
        } else if (convert(text[i]) != text[i]) {
            text[i] = convert(text[i]);
        }
    }
}

}  // namespace

CString::CString() noexcept : m_pData(g_emptyText), m_nLength(0), m_nCapacity(0) {}
CString::CString(const CString& other) : CString() { Assign(other.m_pData, other.m_nLength); }
CString::CString(CString&& other) noexcept : CString() { Swap(other); }
CString::CString(const char* text) : CString() { Assign(text, LengthOf(text)); }
CString::CString(const char* text, int length) : CString() { Assign(text, text == nullptr ? 0 : length); }
CString::CString(char character, int count) : CString() {
    if (count <= 0) return;
    std::memset(GetBuffer(count), character, std::size_t(count));
    ReleaseBuffer(count);
}
CString::~CString() {
    if (m_nCapacity != 0) FrameworkFree(m_pData);
}

CString& CString::operator=(const CString& other) {
    Assign(other.m_pData, other.m_nLength);
    return *this;
}
CString& CString::operator=(CString&& other) noexcept {
    Swap(other);
    return *this;
}
CString& CString::operator=(const char* text) {
    Assign(text, LengthOf(text));
    return *this;
}

void CString::Empty() noexcept {
    CString empty;
    Swap(empty);
}

char CString::GetAt(int index) const noexcept { return index >= 0 && index < m_nLength ? m_pData[index] : '\0'; }

CString& CString::operator+=(const CString& other) {
    Append(other.m_pData, other.m_nLength);
    return *this;
}
CString& CString::operator+=(const char* text) {
    Append(text, LengthOf(text));
    return *this;
}
CString& CString::operator+=(char character) {
    Append(&character, 1);
    return *this;
}

CString CString::Left(int count) const { return Mid(0, count); }
CString CString::Right(int count) const {
    return count >= m_nLength ? *this : Mid(m_nLength - (count > 0 ? count : 0));
}
CString CString::Mid(int first) const { return Mid(first, m_nLength); }
CString CString::Mid(int first, int count) const {
    if (first < 0) first = 0;
    if (first >= m_nLength) return CString();
    const int rest = m_nLength - first;
    return CString(m_pData + first, count < rest ? count : rest);
}

int CString::Find(char character, int start) const noexcept {
    if (start < 0) start = 0;
    if (start >= m_nLength) return -1;
    const void* const found = std::memchr(m_pData + start, character, std::size_t(m_nLength - start));
    return found == nullptr ? -1 : int(static_cast<const char*>(found) - m_pData);
}
int CString::Find(const char* text, int start) const noexcept {
    if (start < 0) start = 0;
    if (start > m_nLength) return -1;
    const char* const found = std::strstr(m_pData + start, OrEmpty(text));
    return found == nullptr ? -1 : int(found - m_pData);
}
int CString::ReverseFind(char character) const noexcept {
    int index = m_nLength - 1;
    while (index >= 0 && m_pData[index] != character) --index;
    return index;
}

int CString::Compare(const char* text) const noexcept { return std::strcmp(m_pData, OrEmpty(text)); }

int CString::CompareNoCase(const char* text) const noexcept {
    const char* left = m_pData;
    const char* right = OrEmpty(text);
    // Up to the first difference both are at the same byte of a character.
    for (bool second = false;; ++left, ++right) {
        const BYTE one = BYTE(second ? *left : ToLower(*left));
        const BYTE other = BYTE(second ? *right : ToLower(*right));
        if (one != other || one == 0) return int(one) - int(other);
        second = !second && IsDBCSLeadByte(BYTE(*left));
    }
}

void CString::MakeUpper() noexcept { ConvertLetters(m_pData, m_nLength, ToUpper); }
void CString::MakeLower() noexcept { ConvertLetters(m_pData, m_nLength, ToLower); }

void CString::Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    try {
        FormatV(format, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
}

void CString::FormatV(const char* format, va_list arguments) {
    CString text;  // apart, since this string may be among the arguments
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, OrEmpty(format), again);
    va_end(again);
    if (length > 0) {
        std::vsnprintf(text.GetBuffer(length), std::size_t(length) + 1, OrEmpty(format), arguments);
        text.ReleaseBuffer(length);
    }
    Swap(text);
}

char* CString::GetBuffer(int capacity) {
    if (capacity < 1) capacity = 1;
    if (capacity > m_nCapacity) {
        CString grown;
        grown.m_pData = static_cast<char*>(FrameworkAllocate(std::size_t(capacity) + 1));
        grown.m_nCapacity = capacity;
        grown.m_nLength = m_nLength;
        std::memcpy(grown.m_pData, m_pData, std::size_t(m_nLength) + 1);
        Swap(grown);
    }
    return m_pData;
}

void CString::ReleaseBuffer(int length) {
    if (m_nCapacity == 0) return;
    m_pData[m_nCapacity] = '\0';
    if (length < 0) length = int(std::strlen(m_pData));
    m_nLength = length < m_nCapacity ? length : m_nCapacity;
    m_pData[m_nLength] = '\0';
}

void CString::Wipe() noexcept {
    if (m_nCapacity == 0) return;
    WipeMemory(m_pData, std::size_t(m_nCapacity) + 1);
    m_nLength = 0;
}

void CString::Assign(const char* text, int length) {
    if (length > m_nCapacity) {
        CString fresh;
        std::memcpy(fresh.GetBuffer(length), text, std::size_t(length));
        fresh.ReleaseBuffer(length);
        Swap(fresh);
    } else if (m_nCapacity != 0) {
        if (length > 0) std::memmove(m_pData, text, std::size_t(length));
        ReleaseBuffer(length > 0 ? length : 0);
    }
}

void CString::Append(const char* text, int length) {
    if (length <= 0) return;
    const int total = SumOf(m_nLength, length);
    CString old;  // keeps the old memory, which `text` may stand in, until the end
    if (total > m_nCapacity) {
        CString grown;
        grown.GetBuffer(m_nLength > INT_MAX / 2 - total ? total : total + m_nLength);
        grown.Assign(m_pData, m_nLength);
        Swap(grown);
        old.Swap(grown);
    }
    std::memmove(m_pData + m_nLength, text, std::size_t(length));
    ReleaseBuffer(total);
}

void CString::Swap(CString& other) noexcept {
    std::swap(m_pData, other.m_pData);
    std::swap(m_nLength, other.m_nLength);
    std::swap(m_nCapacity, other.m_nCapacity);
}

CString operator+(const CString& left, const CString& right) { return CString(left) += right; }
CString operator+(const CString& left, const char* right) { return CString(left) += right; }
CString operator+(const char* left, const CString& right) { return CString(left) += right; }
CString operator+(const CString& left, char right) { return CString(left) += right; }
CString operator+(char left, const CString& right) { return CString(left) += right; }

bool operator==(const CString& left, const CString& right) noexcept {
    return left.GetLength() == right.GetLength() &&
           std::memcmp(static_cast<const char*>(left), static_cast<const char*>(right),
                       std::size_t(left.GetLength())) == 0;
}
bool operator<(const CString& left, const CString& right) noexcept {
    const bool shorter = left.GetLength() < right.GetLength();
    const std::size_t common = std::size_t(shorter ? left.GetLength() : right.GetLength());
    const int order = std::memcmp(static_cast<const char*>(left), static_cast<const char*>(right), common);
    return order < 0 || (order == 0 && shorter);
}
