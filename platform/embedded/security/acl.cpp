#include "platform/embedded/security/acl.h"

namespace embedded::security {
namespace {

constexpr std::size_t kHeader = sizeof(ACE_HEADER);
constexpr std::size_t kSidOffset = kHeader + sizeof(ACCESS_MASK);
constexpr std::size_t kLongest = 0xFFFF;

// Allowed, denied, audit, alarm; the integrity label (winnt.h).
bool HasMaskAndSid(BYTE type) { return type <= 3 || type == 0x11; }

}  // namespace

ByteView ListAt(ByteView bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(ACL)) return {};
    const auto header = NumberAt<ACL>(bytes, offset);
    if (header.AclRevision < MIN_ACL_REVISION || header.AclRevision > MAX_ACL_REVISION) return {};
    if (header.AclSize < sizeof(ACL) || header.AclSize > bytes.size() - offset) return {};
    return bytes.subspan(offset, header.AclSize);
}

ByteView ListOf(const void* list) {
    if (list == nullptr) return {};
    return ListAt({static_cast<const BYTE*>(list), kLongest}, 0);
}

EntryReader::EntryReader(ByteView list) : m_list(list) {
    if (!list.empty()) m_left = NumberAt<ACL>(list, 0).AceCount;
}

bool EntryReader::Next(Entry& entry) {
    if (m_left == 0 || m_broken) return false;
    const std::size_t left = m_list.size() - m_offset;
    const std::size_t size = left < kHeader ? 0 : NumberAt<ACE_HEADER>(m_list, m_offset).AceSize;
    m_broken = size < kHeader || size > left || size % 4 != 0;
    if (m_broken) return false;
    entry = Entry{m_list[m_offset], m_list[m_offset + 1], 0, {}, m_list.subspan(m_offset, size)};
    if (HasMaskAndSid(entry.type)) {
        entry.sid = SidAt(entry.bytes, kSidOffset);
        m_broken = entry.sid.empty();
        if (m_broken) return false;
        entry.mask = NumberAt<DWORD>(entry.bytes, kHeader);
    }
    m_offset += size;
    --m_left;
    return true;
}

bool IsValidList(ByteView list) {
    EntryReader reader(list);
    Entry entry;
    while (reader.Next(entry)) continue;
    return !list.empty() && !reader.IsBroken();
}

void ListBuilder::Add(BYTE type, BYTE flags, DWORD mask, ByteView sid) {
    const ACE_HEADER header = {type, flags, WORD(kSidOffset + sid.size())};
    const auto put = [this](const void* data, std::size_t size) {
        const auto* bytes = static_cast<const BYTE*>(data);
        m_bytes.insert(m_bytes.end(), bytes, bytes + size);
    };
    put(&header, sizeof header);
    put(&mask, sizeof mask);
    put(sid.data(), sid.size());
    ++m_count;
}

void ListBuilder::Append(const Entry& entry) {
    m_bytes.insert(m_bytes.end(), entry.bytes.begin(), entry.bytes.end());
    // Entries for one property of an object (types 5 to 8 and their like) need the later revision.
    if (!HasMaskAndSid(entry.type)) m_revision = ACL_REVISION_DS;
    ++m_count;
}

std::optional<Bytes> ListBuilder::Finish() {
    if (m_bytes.size() > kLongest) return std::nullopt;
    const ACL header = {m_revision, 0, WORD(m_bytes.size()), WORD(m_count), 0};
    std::memcpy(m_bytes.data(), &header, sizeof header);
    return m_bytes;
}

}  // namespace embedded::security
