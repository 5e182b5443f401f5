// Access lists in binary form, read from memory that nobody vouches for.
#ifndef INSTALIB_EMBEDDED_SECURITY_ACL_H
#define INSTALIB_EMBEDDED_SECURITY_ACL_H

#include "platform/embedded/security/sid.h"

namespace embedded::security {

// One entry of a list. `sid` is empty and `mask` 0 for the types that carry more than a mask and an identifier; such
// entries are kept and copied, and decide nothing.
struct Entry {
    BYTE type = 0;
    BYTE flags = 0;
    DWORD mask = 0;
    ByteView sid;
    ByteView bytes;  // the whole entry

    bool Allows() const { return type == ACCESS_ALLOWED_ACE_TYPE && !sid.empty(); }
    bool Denies() const { return type == ACCESS_DENIED_ACE_TYPE && !sid.empty(); }
    bool IsInherited() const { return (flags & INHERITED_ACE) != 0; }
    // Counts for the object itself, not only for what is below it.
    bool IsEffective() const { return (flags & INHERIT_ONLY_ACE) == 0; }
};

// The bytes of the list at an offset, as many as its header says; empty when they do not fit or the header is no
// list's.
ByteView ListAt(ByteView bytes, std::size_t offset);
// The same for a caller's pointer. No more than the list's own size is read.
ByteView ListOf(const void* list);

// Walks the entries of a list that ListAt or ListOf gave; an empty view has none.
class EntryReader {
  public:
    explicit EntryReader(ByteView list);
    // False after the last entry and at one that is damaged.
    bool Next(Entry& entry);
    bool IsBroken() const { return m_broken; }
    // Where the next entry would begin.
    std::size_t Offset() const { return m_offset; }

  private:
    ByteView m_list;
    std::size_t m_offset = sizeof(ACL);
    unsigned m_left = 0;
    bool m_broken = false;
};

// Every entry is whole and holds a valid identifier.
bool IsValidList(ByteView list);

// Builds a list without a caller's buffer.
class ListBuilder {
  public:
    void Add(BYTE type, BYTE flags, DWORD mask, ByteView sid);
    void Append(const Entry& entry);
    std::size_t Count() const { return m_count; }
    // Nothing when the entries exceed the 65,535 bytes of a list.
    std::optional<Bytes> Finish();

  private:
    Bytes m_bytes = Bytes(sizeof(ACL));
    BYTE m_revision = ACL_REVISION;
    std::size_t m_count = 0;
};

}  // namespace embedded::security

#endif
