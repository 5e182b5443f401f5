// One buffer of records, as the network and security authority functions hand them out: the records first, behind them
// the texts and bytes that their fields point to.
#ifndef INSTALIB_EMBEDDED_CORE_RECORD_BLOCK_H
#define INSTALIB_EMBEDDED_CORE_RECORD_BLOCK_H

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

#include "platform/embedded/api/accounts.h"
#include "platform/embedded/core/bytes.h"
#include "platform/embedded/core/handles_table.h"
#include "platform/embedded/core/text.h"

namespace embedded::network {

template <class Record>
class RecordBlock {
  public:
    // Fields below are those of the record that was added last.
    void Add(const Record& record) { m_records.push_back(record); }

    void Text(LPWSTR Record::*field, std::string_view narrow) {
        Tail(Terminated(narrow), [field](Record& record, void* place) { record.*field = static_cast<LPWSTR>(place); });
    }
    // A counted text; it has a terminator all the same.
    void Text(LSA_UNICODE_STRING Record::*field, std::string_view narrow) {
        const Bytes text = Terminated(narrow);
        const auto size = USHORT(text.size());
        Tail(text, [field, size](Record& record, void* place) {
            record.*field = {USHORT(size - sizeof(WCHAR)), size, static_cast<PWSTR>(place)};
        });
    }
    // Null when there are none.
    void Raw(PVOID Record::*field, const Bytes& bytes) {
        if (bytes.empty()) return;
        Tail(bytes, [field](Record& record, void* place) { record.*field = place; });
    }

    std::size_t Count() const { return m_records.size(); }
    std::size_t Size() const {
        std::size_t size = m_records.size() * sizeof(Record);
        for (const Piece& piece : m_pieces) size += Aligned(piece.bytes.size());
        return size;
    }
    // Whether the block has grown over the limit with more than one record in it; the last record is then taken back.
    bool Overflows(std::size_t limit) {
        if (Size() <= limit || m_records.size() == 1) return false;
        m_records.pop_back();
        std::erase_if(m_pieces, [this](const Piece& piece) { return piece.record == m_records.size(); });
        return true;
    }

    // Null without memory. A block without records is a buffer all the same.
    void* HandOut(ResourceKind kind) const {
        auto* const start = static_cast<BYTE*>(buffers::Allocate(kind, Size()));
        if (start == nullptr) return nullptr;
        auto* const records = reinterpret_cast<Record*>(start);
        if (!m_records.empty()) std::memcpy(start, m_records.data(), m_records.size() * sizeof(Record));
        BYTE* next = start + m_records.size() * sizeof(Record);
        for (const Piece& piece : m_pieces) {
            std::memcpy(next, piece.bytes.data(), piece.bytes.size());
            piece.attach(records[piece.record], next);
            next += Aligned(piece.bytes.size());
        }
        return start;
    }
    // The same for a Net function's buffer parameter: 0, or ERROR_NOT_ENOUGH_MEMORY.
    DWORD HandOut(LPBYTE* buffer) const {
        *buffer = static_cast<LPBYTE>(HandOut(ResourceKind::NetBuffer));
        return *buffer == nullptr ? ERROR_NOT_ENOUGH_MEMORY : 0;
    }

  private:
    struct Piece {
        std::size_t record;
        Bytes bytes;
        std::function<void(Record&, void*)> attach;
    };

    static std::size_t Aligned(std::size_t size) {
        return (size + alignof(Record) - 1) / alignof(Record) * alignof(Record);
    }
    static Bytes Terminated(std::string_view narrow) {
        const std::u16string wide = text::Widen(narrow);
        const auto* const bytes = reinterpret_cast<const BYTE*>(wide.c_str());
        return Bytes(bytes, bytes + (wide.size() + 1) * sizeof(char16_t));
    }
    void Tail(Bytes bytes, std::function<void(Record&, void*)> attach) {
        m_pieces.push_back({m_records.size() - 1, std::move(bytes), std::move(attach)});
    }

    std::vector<Record> m_records;
    std::vector<Piece> m_pieces;
};

// What an enumeration is told and tells. `Resume` is DWORD or DWORD_PTR.
template <class Resume>
struct Range {
    DWORD preferredBytes;
    LPDWORD read;
    LPDWORD total;   // of what was left when the call began
    Resume* resume;  // may be null: from the start
};

// Hands out as many of the items as the preferred size holds, at least one, each put into the block by `put`. 0, or
// ERROR_MORE_DATA while some remain.
template <class Record, class Item, class Resume, class Put>
DWORD Enumerate(const std::vector<Item>& items, LPBYTE* buffer, const Range<Resume>& range, Put put) {
    const std::size_t first = range.resume == nullptr ? 0 : std::min(std::size_t(*range.resume), items.size());
    RecordBlock<Record> block;
    for (std::size_t i = first; i < items.size(); ++i) {
        put(block, items[i]);
        if (block.Overflows(range.preferredBytes)) break;
    }
    *range.read = DWORD(block.Count());
    *range.total = DWORD(items.size() - first);
    const std::size_t next = first + block.Count();
    if (range.resume != nullptr) *range.resume = next == items.size() ? 0 : Resume(next);
    const DWORD error = block.HandOut(buffer);
    return error != 0 ? error : next == items.size() ? NERR_Success : ERROR_MORE_DATA;
}

// A caller's text in the machine's code page; null is empty.
inline std::string NarrowOf(LPCWSTR wide) { return wide == nullptr ? "" : text::Narrow(wide); }

}  // namespace embedded::network

#endif
