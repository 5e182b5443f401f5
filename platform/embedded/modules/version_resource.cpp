#include "platform/embedded/modules/version_resource.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/modules/search.h"

namespace fs = std::filesystem;
namespace gate = embedded::gate;
using embedded::control::CallKind;

namespace embedded::version_resource {
namespace {

// Number at an offset of bytes; nothing when it does not fit.
template <class Number>
std::optional<Number> NumberAt(std::span<const BYTE> bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(Number)) return std::nullopt;
    Number number;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

std::size_t Align4(std::size_t offset) { return (offset + 3) & ~std::size_t(3); }

// --- The file ---

class File {
  public:
    explicit File(const fs::path& host) : m_stream(host, std::ios::binary) {
        std::error_code error;
        const std::uintmax_t size = fs::file_size(host, error);
        m_size = error ? 0 : size;
    }

    std::uint64_t Size() const { return m_size; }
    // As many of the bytes as the file has.
    Bytes Read(std::uint64_t offset, std::size_t size) {
        if (offset >= m_size) return {};
        Bytes bytes(std::size_t(std::min<std::uint64_t>(size, m_size - offset)));
        m_stream.clear();
        m_stream.seekg(std::streamoff(offset));
        m_stream.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(bytes.size()));
        bytes.resize(std::size_t(m_stream.gcount()));
        return bytes;
    }

  private:
    std::ifstream m_stream;
    std::uint64_t m_size = 0;
};

struct Section {
    DWORD virtualSize, virtualAddress, rawSize, rawOffset;
};

struct Image {
    WORD machine = 0;
    WORD characteristics = 0;
    DWORD resourceAddress = 0;  // relative virtual address of the resource directory; 0: none
    std::vector<Section> sections;
};

constexpr WORD kMachineX64 = 0x8664;
constexpr std::size_t kFileHeaderSize = 24, kSectionHeaderSize = 40;

// Where the table of data directories stands in the optional header, by its magic number; 0 for an unknown one.
std::size_t DirectoriesOffset(WORD magic) { return magic == 0x20B ? 112 : magic == 0x10B ? 96 : 0; }

DWORD ResourceAddress(std::span<const BYTE> optionalHeader, std::size_t directories) {
    constexpr std::size_t kResourceDirectory = 2;
    const DWORD count = NumberAt<DWORD>(optionalHeader, directories - 4).value_or(0);
    if (count <= kResourceDirectory) return 0;
    return NumberAt<DWORD>(optionalHeader, directories + kResourceDirectory * 8).value_or(0);
}

std::vector<Section> Sections(std::span<const BYTE> table) {
    std::vector<Section> sections;
    for (std::size_t offset = 0; offset + kSectionHeaderSize <= table.size(); offset += kSectionHeaderSize) {
        DWORD fields[4];  // virtual size, virtual address, raw size, raw offset
        std::memcpy(fields, table.data() + offset + 8, sizeof fields);
        sections.push_back({fields[0], fields[1], fields[2], fields[3]});
    }
    return sections;
}

std::optional<Image> ReadImage(File& file) {
    const Bytes dosHeader = file.Read(0, 64);
    if (NumberAt<WORD>(dosHeader, 0) != WORD(0x5A4D)) return std::nullopt;  // "MZ"
    const std::optional<DWORD> headerOffset = NumberAt<DWORD>(dosHeader, 60);
    if (!headerOffset) return std::nullopt;
    const Bytes header = file.Read(*headerOffset, kFileHeaderSize);
    if (NumberAt<DWORD>(header, 0) != DWORD(0x4550) || header.size() < kFileHeaderSize) return std::nullopt;  // "PE"

    Image image;
    image.machine = *NumberAt<WORD>(header, 4);
    image.characteristics = *NumberAt<WORD>(header, 22);
    const std::size_t sectionCount = *NumberAt<WORD>(header, 6), optionalSize = *NumberAt<WORD>(header, 20);
    const Bytes optionalHeader = file.Read(*headerOffset + kFileHeaderSize, optionalSize);
    const std::size_t directories = DirectoriesOffset(NumberAt<WORD>(optionalHeader, 0).value_or(0));
    if (directories == 0 || optionalHeader.size() < directories) return std::nullopt;
    image.resourceAddress = ResourceAddress(optionalHeader, directories);
    const Bytes table = file.Read(*headerOffset + kFileHeaderSize + optionalSize, sectionCount * kSectionHeaderSize);
    if (table.size() != sectionCount * kSectionHeaderSize) return std::nullopt;
    image.sections = Sections(table);
    return image;
}

// The bytes from a relative virtual address on, up to `size` or its section's end.
Bytes ReadAt(File& file, const Image& image, std::uint64_t address, std::size_t size) {
    for (const Section& section : image.sections) {
        if (address < section.virtualAddress) continue;
        const std::uint64_t within = address - section.virtualAddress;
        const std::uint64_t room = std::min(section.rawSize, std::max(section.virtualSize, 1u));
        if (within >= room) continue;
        return file.Read(section.rawOffset + within, std::size_t(std::min<std::uint64_t>(size, room - within)));
    }
    return {};
}

// One level of the resource directory: the offset that the entry with this id (or, for 0, the first one) leads to.
std::optional<DWORD> Descend(File& file, const Image& image, DWORD directory, DWORD id) {
    constexpr std::size_t kEntrySize = 8, kHeaderSize = 16;
    const std::uint64_t address = std::uint64_t(image.resourceAddress) + directory;
    const Bytes header = ReadAt(file, image, address, kHeaderSize);
    if (header.size() < kHeaderSize) return std::nullopt;
    const std::size_t count = std::size_t(*NumberAt<WORD>(header, 12)) + *NumberAt<WORD>(header, 14);
    const Bytes entries = ReadAt(file, image, address + kHeaderSize, count * kEntrySize);
    for (std::size_t offset = 0; offset + kEntrySize <= entries.size(); offset += kEntrySize) {
        if (id == 0 || NumberAt<DWORD>(entries, offset) == id) return NumberAt<DWORD>(entries, offset + 4);
    }
    return std::nullopt;
}

// The address and size of the version resource, behind type, name and language.
struct Place {
    DWORD error = 0, address = 0, size = 0;
};

Place Locate(File& file, const Image& image) {
    constexpr DWORD kSubdirectory = 0x80000000;
    if (image.resourceAddress == 0) return {ERROR_RESOURCE_DATA_NOT_FOUND};
    const std::optional<DWORD> type = Descend(file, image, 0, RT_VERSION);
    if (!type) return {ERROR_RESOURCE_TYPE_NOT_FOUND};
    DWORD entry = *type;
    for (int level = 1; level < 3; ++level) {
        if ((entry & kSubdirectory) == 0) return {ERROR_RESOURCE_DATA_NOT_FOUND};
        const std::optional<DWORD> next = Descend(file, image, entry & ~kSubdirectory, 0);
        if (!next) return {ERROR_RESOURCE_DATA_NOT_FOUND};
        entry = *next;
    }
    const Bytes data = ReadAt(file, image, std::uint64_t(image.resourceAddress) + entry, 16);
    if ((entry & kSubdirectory) != 0 || data.size() < 16) return {ERROR_RESOURCE_DATA_NOT_FOUND};
    return {0, *NumberAt<DWORD>(data, 0), *NumberAt<DWORD>(data, 4)};
}

// --- The tree ---

// The key's units up to its terminator, within the node.
std::optional<std::u16string> KeyOf(std::span<const BYTE> node, std::size_t offset) {
    std::u16string key;
    for (;; offset += 2) {
        const std::optional<char16_t> unit = NumberAt<char16_t>(node, offset);
        if (!unit) return std::nullopt;
        if (*unit == 0) return key;
        key += *unit;
    }
}

bool SameKey(std::u16string_view key, std::string_view wanted) { return text::EqualNoCase(text::Narrow(key), wanted); }

// The child of this name, or nothing. A child without length would be found for ever; it ends the search.
std::optional<Node> Child(std::span<const BYTE> resource, const Node& parent, std::string_view name) {
    std::size_t offset = parent.childrenOffset;
    const std::size_t end = parent.childrenOffset + parent.children.size();
    while (offset < end) {
        std::optional<Node> node = NodeAt(resource.first(end), offset);
        if (!node) return std::nullopt;
        if (SameKey(node->key, name)) return node;
        offset = Align4(offset + node->length);
    }
    return std::nullopt;
}

}  // namespace

ImageKind KindOf(const fs::path& host) {
    constexpr WORD kExecutable = 0x0002;
    File file(host);
    const std::optional<Image> image = ReadImage(file);
    if (!image || (image->characteristics & kExecutable) == 0) return ImageKind::None;
    for (const Section& section : image->sections) {  // one that was cut off is no module
        if (section.rawSize != 0 && std::uint64_t(section.rawOffset) + section.rawSize > file.Size()) {
            return ImageKind::None;
        }
    }
    return image->machine == kMachineX64 ? ImageKind::Own : ImageKind::Foreign;
}

Resource Read(const fs::path& host) {
    constexpr DWORD kLargest = 0xFFFF;  // the root's length field is a word
    File file(host);
    const std::optional<Image> image = ReadImage(file);
    if (!image) return {ERROR_RESOURCE_DATA_NOT_FOUND, {}};
    const Place place = Locate(file, *image);
    if (place.error != 0) return {place.error, {}};
    Bytes bytes = ReadAt(file, *image, place.address, std::min(place.size, kLargest));
    const std::optional<Node> root = NodeAt(bytes, 0);
    if (!root) return {ERROR_RESOURCE_DATA_NOT_FOUND, {}};
    bytes.resize(root->length);
    return {0, std::move(bytes)};
}

std::optional<Node> NodeAt(std::span<const BYTE> resource, std::size_t offset) {
    constexpr std::size_t kKeyOffset = 6;
    const std::optional<WORD> length = NumberAt<WORD>(resource, offset);
    if (!length || *length < kKeyOffset || *length > resource.size() - offset) return std::nullopt;
    const std::span<const BYTE> bytes = resource.subspan(offset, *length);
    std::optional<std::u16string> key = KeyOf(bytes, kKeyOffset);
    if (!key) return std::nullopt;

    Node node;
    node.length = *length;
    node.isText = NumberAt<WORD>(bytes, 4).value_or(0) != 0;
    const std::size_t start = Align4(kKeyOffset + (key->size() + 1) * 2);
    const std::size_t valueStart = std::min(start, bytes.size());
    // Texts count their value in characters. Some compilers count bytes all the same; the node's end bounds both.
    const std::size_t declared = std::size_t(NumberAt<WORD>(bytes, 2).value_or(0)) * (node.isText ? 2 : 1);
    node.value = bytes.subspan(valueStart, std::min(declared, bytes.size() - valueStart));
    node.valueOffset = offset + valueStart;
    const std::size_t children = std::min(Align4(valueStart + node.value.size()), bytes.size());
    node.children = bytes.subspan(children);
    node.childrenOffset = offset + children;
    node.key = std::move(*key);
    return node;
}

std::optional<Node> Find(std::span<const BYTE> resource, std::string_view path) {
    std::optional<Node> node = NodeAt(resource, 0);
    while (node && !path.empty()) {
        const std::size_t end = std::min(path.find('\\'), path.size());
        if (end != 0) node = Child(resource, *node, path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return node;
}

std::optional<VS_FIXEDFILEINFO> FixedRecord(std::span<const BYTE> resource) {
    const std::optional<Node> root = NodeAt(resource, 0);
    if (!root || root->value.size() < sizeof(VS_FIXEDFILEINFO)) return std::nullopt;
    VS_FIXEDFILEINFO record;
    std::memcpy(&record, root->value.data(), sizeof record);
    if (record.dwSignature != VS_FFI_SIGNATURE) return std::nullopt;
    return record;
}

}  // namespace embedded::version_resource

namespace {

namespace version_resource = embedded::version_resource;
using version_resource::Node;

// A block is the resource, a mark where its length (rounded up to 4) ends, and room for its texts in the ANSI code
// page: the text of the value at offset n stands at n of that room, which is as long as the resource and so never
// overlaps.
constexpr char kMark[4] = {'F', 'E', '2', 'X'};

std::size_t MarkOffset(std::size_t length) { return (length + 3) & ~std::size_t(3); }
std::size_t BlockSize(std::size_t length) { return length + 3 + sizeof kMark + length; }

version_resource::Resource ReadFor(LPCSTR path) {
    using embedded::modules::Purpose;
    const std::string name = path == nullptr ? "" : path;
    const auto file = embedded::modules::Search(name, Purpose::Module);
    if (!file) return {ERROR_FILE_NOT_FOUND, {}};
    return version_resource::Read(file->host);
}

// The length of the resource in a block, as GetFileVersionInfoA made it; 0 when it made none.
std::size_t ResourceLength(const BYTE* block) {
    WORD length;
    std::memcpy(&length, block, sizeof length);
    return length >= 6 && std::memcmp(block + MarkOffset(length), kMark, sizeof kMark) == 0 ? length : 0;
}

// Puts the text of a node behind the resource and answers its characters with the terminator.
UINT StoreText(char* place, const Node& node) {
    std::u16string wide(node.value.size() / 2, u'\0');
    std::memcpy(wide.data(), node.value.data(), wide.size() * 2);
    wide.resize(std::min(wide.find(u'\0'), wide.size()));
    const std::size_t room = node.value.size();
    std::string narrow = embedded::text::Narrow(wide);
    if (narrow.size() >= room) narrow.resize(room == 0 ? 0 : room - 1);
    if (room == 0) return 0;
    std::memcpy(place, narrow.c_str(), narrow.size() + 1);
    return UINT(narrow.size() + 1);
}

BOOL FailVersion(DWORD error) {
    SetLastError(error);
    return FALSE;
}

}  // namespace

DWORD GetFileVersionInfoSizeA(LPCSTR path, LPDWORD ignored) {
    if (ignored != nullptr) *ignored = 0;
    if (gate::Refuses(CallKind::Module, "GetFileVersionInfoSizeA")) return 0;
    const version_resource::Resource resource = ReadFor(path);
    if (resource.error != 0) return DWORD(FailVersion(resource.error));
    return DWORD(BlockSize(resource.bytes.size()));
}

BOOL GetFileVersionInfoA(LPCSTR path, DWORD, DWORD bytes, LPVOID block) {
    if (gate::Refuses(CallKind::Module, "GetFileVersionInfoA")) return FALSE;
    if (block == nullptr) return FailVersion(ERROR_INVALID_DATA);
    version_resource::Resource resource = ReadFor(path);
    if (resource.error != 0) return FailVersion(resource.error);
    // A block that is too small gets as much as fits, as on Windows; what is told of its length says so.
    constexpr std::size_t kSmallest = 16;
    if (bytes < kSmallest) return FailVersion(ERROR_INSUFFICIENT_BUFFER);
    const std::size_t length = std::min(resource.bytes.size(), (bytes - sizeof kMark - 3) / 2);
    const WORD told = WORD(length);
    BYTE* const start = static_cast<BYTE*>(block);
    std::memset(start, 0, BlockSize(length));
    std::memcpy(start, resource.bytes.data(), length);
    std::memcpy(start, &told, sizeof told);
    std::memcpy(start + MarkOffset(length), kMark, sizeof kMark);
    return TRUE;
}

BOOL VerQueryValueA(LPCVOID block, LPCSTR path, LPVOID* value, UINT* size) {
    if (gate::Refuses(CallKind::Module, "VerQueryValueA")) return FALSE;
    if (block == nullptr || path == nullptr) return FailVersion(ERROR_INVALID_DATA);
    // Windows gives out pointers into a block that it takes as const; the texts behind the resource are written on
    // demand.
    BYTE* const start = static_cast<BYTE*>(const_cast<void*>(block));
    const std::size_t length = ResourceLength(start);
    const std::optional<Node> node = version_resource::Find(std::span<const BYTE>(start, length), path);
    if (!node) return FailVersion(ERROR_RESOURCE_TYPE_NOT_FOUND);
    UINT bytes = UINT(node->value.size());
    BYTE* place = start + node->valueOffset;
    if (node->isText && bytes != 0) {
        place = start + MarkOffset(length) + sizeof kMark + node->valueOffset;
        bytes = StoreText(reinterpret_cast<char*>(place), *node);
    }
    if (value != nullptr) *value = place;
    if (size != nullptr) *size = bytes;
    return TRUE;
}
