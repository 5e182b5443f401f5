// CMapStringToString: a map from texts to texts, one value per key. Keys compare byte for byte. Looking up, setting and
// removing take constant time on average. Entries are walked in the order in which their keys were first set. When
// memory runs out an operation throws CMemoryException* and leaves the map as it was.
#ifndef INSTALIB_MAP_H
#define INSTALIB_MAP_H

#include "instalib/object.h"
#include "instalib/string.h"

// A place in a map's walk; null is its end. It is valid until its entry is removed.
typedef void* POSITION;

// Virtual slots: CObject's.
class INSTALIB_API CMapStringToString : public CObject {
    DECLARE_DYNAMIC(CMapStringToString)
  public:
    // `blockSize` entries are made room for at first; the room grows with the map.
    explicit CMapStringToString(int blockSize = 10);
    CMapStringToString(const CMapStringToString& other);
    CMapStringToString& operator=(const CMapStringToString& other);
    ~CMapStringToString() override;

    int GetCount() const noexcept { return m_nCount; }
    int IsEmpty() const noexcept { return m_nCount == 0; }

    // Nonzero and the value when the key is there; otherwise 0, and `value` stays as it was. A null key is an empty
    // one.
    int Lookup(const char* key, CString& value) const;
    // Sets the value, adding the key when it is missing.
    void SetAt(const char* key, const char* value);
    // The value to read or change, added empty when the key is missing; valid until the key is removed.
    CString& operator[](const char* key);
    // Nonzero when the key was there.
    int RemoveKey(const char* key);
    void RemoveAll() noexcept;

    // The walk: while the position is not null, GetNextAssoc answers the entry there and moves on. The entry just
    // answered may be removed; one added during the walk comes at its end.
    POSITION GetStartPosition() const noexcept { return m_pFirst; }
    void GetNextAssoc(POSITION& position, CString& key, CString& value) const;

  private:
    struct Entry;
    Entry* Find(const char* key, unsigned hash) const noexcept;
    Entry* FindOrAdd(const char* key);
    void Rehash(unsigned buckets);
    void Swap(CMapStringToString& other) noexcept;

    Entry** m_ppBuckets;
    Entry* m_pFirst;
    Entry* m_pLast;
    unsigned m_nBuckets;
    int m_nCount;
};

#endif
