#include "instalib/map.h"

#include <cstring>
#include <utility>

#include "foundation/text.h"

namespace {

// FNV-1a.
unsigned HashOf(const char* key) {
    unsigned hash = 2166136261u;
    for (; *key != '\0'; ++key) hash = (hash ^ static_cast<unsigned char>(*key)) * 16777619u;
    return hash;
}

}  // namespace

struct CMapStringToString::Entry {
    CString key;
    CString value;
    unsigned hash;
    Entry* chain;     // the next entry of the same bucket
    Entry* previous;  // the walk
    Entry* next;

    static void* operator new(std::size_t size) { return FrameworkAllocate(size); }
    static void operator delete(void* memory) noexcept { FrameworkFree(memory); }
};

IMPLEMENT_DYNAMIC(CMapStringToString, CObject)

CMapStringToString::CMapStringToString(int blockSize)
    : m_ppBuckets(nullptr),
      m_pFirst(nullptr),
      m_pLast(nullptr),
      m_nBuckets(blockSize > 0 ? unsigned(blockSize) : 1),
      m_nCount(0) {}

CMapStringToString::CMapStringToString(const CMapStringToString& other) : CMapStringToString(other.m_nCount) {
    // The delegated constructor is complete, so that a failure in here runs the destructor.
    for (const Entry* entry = other.m_pFirst; entry != nullptr; entry = entry->next) SetAt(entry->key, entry->value);
}

CMapStringToString& CMapStringToString::operator=(const CMapStringToString& other) {
    CMapStringToString copy(other);
    Swap(copy);
    return *this;
}

CMapStringToString::~CMapStringToString() {
    RemoveAll();
    FrameworkFree(m_ppBuckets);
}

int CMapStringToString::Lookup(const char* key, CString& value) const {
    const Entry* const entry = Find(OrEmpty(key), HashOf(OrEmpty(key)));
    if (entry == nullptr) return 0;
    value = entry->value;
    return 1;
}

void CMapStringToString::SetAt(const char* key, const char* value) {
    CString copy(value);  // before the entry is made, so that a failure adds none
    FindOrAdd(OrEmpty(key))->value = std::move(copy);
}

CString& CMapStringToString::operator[](const char* key) { return FindOrAdd(OrEmpty(key))->value; }

int CMapStringToString::RemoveKey(const char* key) {
    Entry* const entry = Find(OrEmpty(key), HashOf(OrEmpty(key)));
    if (entry == nullptr) return 0;
    Entry** link = &m_ppBuckets[entry->hash % m_nBuckets];
    while (*link != entry) link = &(*link)->chain;
    *link = entry->chain;
    (entry->previous == nullptr ? m_pFirst : entry->previous->next) = entry->next;
    (entry->next == nullptr ? m_pLast : entry->next->previous) = entry->previous;
    --m_nCount;
    delete entry;
    return 1;
}

void CMapStringToString::RemoveAll() noexcept {
    while (m_pFirst != nullptr) delete std::exchange(m_pFirst, m_pFirst->next);
    m_pLast = nullptr;
    m_nCount = 0;
    if (m_ppBuckets != nullptr) std::memset(m_ppBuckets, 0, m_nBuckets * sizeof(Entry*));
}

void CMapStringToString::GetNextAssoc(POSITION& position, CString& key, CString& value) const {
    const Entry* const entry = static_cast<const Entry*>(position);
    if (entry == nullptr) return;
    key = entry->key;
    value = entry->value;
    position = entry->next;
}

CMapStringToString::Entry* CMapStringToString::Find(const char* key, unsigned hash) const noexcept {
    if (m_ppBuckets == nullptr) return nullptr;
    Entry* entry = m_ppBuckets[hash % m_nBuckets];
    while (entry != nullptr && (entry->hash != hash || entry->key.Compare(key) != 0)) entry = entry->chain;
    return entry;
}

CMapStringToString::Entry* CMapStringToString::FindOrAdd(const char* key) {
    const unsigned hash = HashOf(key);
    if (Entry* const found = Find(key, hash)) return found;
    if (m_ppBuckets == nullptr) {
        Rehash(m_nBuckets);
    } else if (unsigned(m_nCount) >= m_nBuckets) {
        Rehash(m_nBuckets * 2 + 1);
    }
    Entry*& bucket = m_ppBuckets[hash % m_nBuckets];
    Entry* const entry = new Entry{key, CString(), hash, bucket, m_pLast, nullptr};
    bucket = entry;
    (m_pLast == nullptr ? m_pFirst : m_pLast->next) = entry;
    m_pLast = entry;
    ++m_nCount;
    return entry;
}

void CMapStringToString::Rehash(unsigned buckets) {
    auto** const table = static_cast<Entry**>(FrameworkAllocate(buckets * sizeof(Entry*)));
    std::memset(table, 0, buckets * sizeof(Entry*));
    for (Entry* entry = m_pFirst; entry != nullptr; entry = entry->next) {
        entry->chain = std::exchange(table[entry->hash % buckets], entry);
    }
    FrameworkFree(std::exchange(m_ppBuckets, table));
    m_nBuckets = buckets;
}

void CMapStringToString::Swap(CMapStringToString& other) noexcept {
    std::swap(m_ppBuckets, other.m_ppBuckets);
    std::swap(m_pFirst, other.m_pFirst);
    std::swap(m_pLast, other.m_pLast);
    std::swap(m_nBuckets, other.m_nBuckets);
    std::swap(m_nCount, other.m_nCount);
}
