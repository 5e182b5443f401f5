// CArray: a growable array of values. Elements are copied in and out, a copy of the array is a copy of its elements,
// and its memory is the library's. When memory runs out an operation throws CMemoryException* and leaves the array as
// it was.
//
// An index outside the array is harmless: a reading operation answers a default-constructed element, a writing one does
// nothing, and a reference to such an element refers to a stand-in that is reset each time it is asked for.
#ifndef INSTALIB_ARRAY_H
#define INSTALIB_ARRAY_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "instalib/object.h"

// TYPE is default-constructible and copyable; ARG_TYPE is how elements are passed in.
template <class TYPE, class ARG_TYPE = const TYPE&>
class CArray {
  public:
    CArray() = default;
    CArray(const CArray& other) : CArray() { Append(other); }
    CArray(CArray&& other) noexcept { Swap(other); }
    ~CArray() { Discard(); }
    CArray& operator=(const CArray& other) {
        CArray copy(other);
        Swap(copy);
        return *this;
    }
    CArray& operator=(CArray&& other) noexcept {
        Swap(other);
        return *this;
    }

    // The number of elements, and the index of the last one (-1 in an empty array).
    int GetSize() const noexcept { return m_nSize; }
    int GetUpperBound() const noexcept { return m_nSize - 1; }
    int IsEmpty() const noexcept { return m_nSize == 0; }

    // Cuts the array, or fills it up with default-constructed elements. A negative size counts as 0.
    void SetSize(int size) {
        size = std::max(size, 0);
        if (size > m_nSize) {
            Reserve(size);
            std::uninitialized_value_construct(m_pData + m_nSize, m_pData + size);
        } else {
            std::destroy(m_pData + size, m_pData + m_nSize);
        }
        m_nSize = size;
    }

    TYPE GetAt(int index) const { return IsInside(index) ? m_pData[index] : TYPE(); }
    void SetAt(int index, ARG_TYPE element) {
        if (IsInside(index)) m_pData[index] = element;
    }
    // Valid until the array grows or shrinks.
    TYPE& ElementAt(int index) {
        if (IsInside(index)) return m_pData[index];
        m_outside = TYPE();
        return m_outside;
    }
    TYPE operator[](int index) const { return GetAt(index); }
    TYPE& operator[](int index) { return ElementAt(index); }

    // Appends and returns the index of the new element; Append returns that of the first of the appended elements.
    int Add(ARG_TYPE element) {
        InsertAt(m_nSize, element);
        return m_nSize - 1;
    }
    int Append(const CArray& other) {
        const int first = m_nSize;
        const int count = other.m_nSize;  // read once: `other` may be this array
        Reserve(SumOf(first, count));
        std::uninitialized_copy(other.m_pData, other.m_pData + count, m_pData + first);
        m_nSize = first + count;
        return first;
    }
    void Copy(const CArray& other) { *this = other; }

    // Inserts `count` copies before the element at `index`; behind the end, the gap is filled with default-constructed
    // elements. A negative index or count does nothing.
    void InsertAt(int index, ARG_TYPE element, int count = 1) {
        if (index < 0 || count <= 0) return;
        const TYPE copy(element);  // `element` may stand in this array
        const int before = m_nSize;
        const int first = std::max(index, before);
        Reserve(SumOf(first, count));
        SetSize(first);
        try {
            std::uninitialized_fill(m_pData + first, m_pData + first + count, copy);
        } catch (...) {
            SetSize(before);
            throw;
        }
        m_nSize = first + count;
        std::rotate(m_pData + index, m_pData + first, m_pData + m_nSize);
    }
    // Removes up to `count` elements from `index` on.
    void RemoveAt(int index, int count = 1) {
        if (!IsInside(index) || count <= 0) return;
        count = std::min(count, m_nSize - index);
        std::move(m_pData + index + count, m_pData + m_nSize, m_pData + index);
        SetSize(m_nSize - count);
    }
    void RemoveAll() noexcept {
        Discard();
        m_pData = nullptr;
        m_nSize = m_nCapacity = 0;
    }

  private:
    bool IsInside(int index) const noexcept { return index >= 0 && index < m_nSize; }

    // More than an array can hold is memory that nobody has.
    static int SumOf(int first, int second) {
        if (first > INT_MAX - second) FrameworkAllocate(SIZE_MAX);
        return first + second;
    }

    void Reserve(int wanted) {
        if (wanted <= m_nCapacity) return;
        const int capacity = std::max(wanted, m_nCapacity > INT_MAX / 2 ? INT_MAX : m_nCapacity * 2);
        const std::size_t most = SIZE_MAX / 2 / sizeof(TYPE);
        CArray grown;
        grown.m_pData = static_cast<TYPE*>(
            FrameworkAllocate(std::size_t(capacity) > most ? SIZE_MAX : std::size_t(capacity) * sizeof(TYPE)));
        grown.m_nCapacity = capacity;
        for (; grown.m_nSize < m_nSize; ++grown.m_nSize) {
            ::new (static_cast<void*>(grown.m_pData + grown.m_nSize))
                TYPE(std::move_if_noexcept(m_pData[grown.m_nSize]));
        }
        Swap(grown);
    }

    void Swap(CArray& other) noexcept {
        std::swap(m_pData, other.m_pData);
        std::swap(m_nSize, other.m_nSize);
        std::swap(m_nCapacity, other.m_nCapacity);
    }

    void Discard() noexcept {
        std::destroy(m_pData, m_pData + m_nSize);
        FrameworkFree(m_pData);
    }

    TYPE* m_pData = nullptr;
    int m_nSize = 0;
    int m_nCapacity = 0;
    TYPE m_outside{};
};

#endif
