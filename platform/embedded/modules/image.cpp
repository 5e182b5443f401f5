#include "platform/embedded/modules/image.h"

#include <cstddef>

namespace embedded {
namespace {

constexpr std::uint32_t kFileAlignment = 0x200;
constexpr std::uint32_t kSectionAlignment = 0x1000;
constexpr std::uint32_t kHeaderOffset = 0x40;

// Little-endian bytes, one field after the other.
class Writer {
  public:
    Writer& Word(std::uint32_t value) { return Number(value, 2); }
    Writer& Long(std::uint32_t value) { return Number(value, 4); }
    Writer& Wide(std::uint64_t value) { return Number(value, 8); }
    Writer& Zeros(std::size_t count) {
        m_bytes.append(count, '\0');
        return *this;
    }
    Writer& Text(std::u16string_view text) {
        for (const char16_t unit : text) Word(unit);
        return Word(0);
    }
    Writer& Raw(const std::string& bytes) {
        m_bytes += bytes;
        return *this;
    }
    Writer& Align(std::size_t step) { return Zeros((step - m_bytes.size() % step) % step); }
    void PatchWord(std::size_t offset, std::size_t value) {
        m_bytes[offset] = char(value & 0xFF);
        m_bytes[offset + 1] = char(value >> 8 & 0xFF);
    }
    std::size_t Size() const { return m_bytes.size(); }
    const std::string& Bytes() const { return m_bytes; }

  private:
    Writer& Number(std::uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) m_bytes += char(value >> 8 * i & 0xFF);
        return *this;
    }

    std::string m_bytes;
};

// A block of a version resource: length, value length, type, key, value, children.
std::string Block(std::u16string_view key, std::size_t valueLength, bool isText, const std::string& value,
                  const std::vector<std::string>& children = {}) {
    Writer block;
    block.Word(0).Word(std::uint32_t(valueLength)).Word(isText ? 1 : 0).Text(key).Align(4).Raw(value);
    for (const std::string& child : children) block.Align(4).Raw(child);
    block.PatchWord(0, block.Size());
    return block.Bytes();
}

std::string FixedRecord(const ModuleImage& image) {
    constexpr std::uint32_t kStructureVersion = 0x00010000, kWindows32 = 0x00040004, kDll = 2;
    Writer record;
    record.Long(image.signature).Long(kStructureVersion);
    for (const auto* version : {image.fileVersion, image.productVersion}) {
        record.Long(std::uint32_t(version[0]) << 16 | version[1]);
        record.Long(std::uint32_t(version[2]) << 16 | version[3]);
    }
    record.Long(0x3F).Long(0).Long(kWindows32).Long(kDll).Long(0).Long(0).Long(0);
    return record.Bytes();
}

std::u16string TableName(const ModuleImage& image) {
    std::u16string name;
    for (const std::uint16_t number : {image.language, image.codePage}) {
        for (int shift = 12; shift >= 0; shift -= 4) name += u"0123456789ABCDEF"[number >> shift & 0xF];
    }
    return name;
}

std::string StringTable(const ModuleImage& image) {
    std::vector<std::string> texts;
    for (const auto& [name, text] : image.strings) {
        texts.push_back(Block(name, text.size() + 1, true, Writer().Text(text).Bytes()));
    }
    return Block(u"StringFileInfo", 0, true, {}, {Block(TableName(image), 0, true, {}, texts)});
}

std::string Translation(const ModuleImage& image) {
    const std::string pair = Writer().Word(image.language).Word(image.codePage).Bytes();
    return Block(u"VarFileInfo", 0, true, {}, {Block(u"Translation", pair.size(), false, pair)});
}

// The three directory levels (type, name, language) that lead to the one resource, and the resource.
std::string ResourceSection(const ModuleImage& image) {
    constexpr std::uint32_t kVersionType = 16, kSubdirectory = 0x80000000, kLevelSize = 24,
                            kDataOffset = 3 * kLevelSize + 16;
    Writer section;
    const std::uint32_t names[] = {kVersionType, 1, image.language};
    for (std::uint32_t level = 0; level < 3; ++level) {
        const std::uint32_t next = (level + 1) * kLevelSize;
        section.Zeros(12).Word(0).Word(1).Long(names[level]).Long(level < 2 ? kSubdirectory | next : next);
    }
    const std::string resource = BuildVersionResource(image);
    section.Long(kSectionAlignment + kDataOffset).Long(std::uint32_t(resource.size())).Long(0).Long(0).Raw(resource);
    return section.Bytes();
}

// The optional header up to its table of data directories.
void WriteOptionalHeader(Writer& file, const ModuleImage& image, std::uint32_t imageSize) {
    const auto sized = [&](std::uint64_t value) {
        image.sixtyFourBit ? file.Wide(value) : file.Long(std::uint32_t(value));
    };
    file.Word(image.sixtyFourBit ? 0x20B : 0x10B).Word(0).Long(0).Long(0).Long(0).Long(0).Long(kSectionAlignment);
    if (!image.sixtyFourBit) file.Long(kSectionAlignment);
    sized(0x10000000);
    file.Long(kSectionAlignment).Long(kFileAlignment);
    file.Word(6).Word(0).Word(0).Word(0).Word(6).Word(0).Long(0);           // versions of system, image, subsystem
    file.Long(imageSize).Long(kFileAlignment).Long(0).Word(2).Word(0x100);  // windows subsystem, may be placed anywhere
    sized(0x100000);
    sized(0x1000);
    sized(0x100000);
    sized(0x1000);
    file.Long(0).Long(16);
}

}  // namespace

std::string BuildVersionResource(const ModuleImage& image) {
    std::vector<std::string> children;
    if (!image.strings.empty()) children.push_back(StringTable(image));
    if (image.hasTranslation) children.push_back(Translation(image));
    const std::string record = FixedRecord(image);
    return Block(u"VS_VERSION_INFO", record.size(), false, record, children);
}

std::string BuildModule(const ModuleImage& image) {
    constexpr std::uint32_t kDirectories = 16, kResourceDirectory = 2;
    constexpr std::uint32_t kReadableData = 0x40000040;
    const std::string section = image.hasVersion ? ResourceSection(image) : std::string(16, '\0');
    const std::uint32_t virtualSize = std::uint32_t(section.size());
    const std::uint32_t rawSize = (virtualSize + kFileAlignment - 1) / kFileAlignment * kFileAlignment;
    const std::uint32_t pages = (virtualSize + kSectionAlignment - 1) / kSectionAlignment * kSectionAlignment;

    Writer file;
    file.Word(0x5A4D).Zeros(0x3A).Long(kHeaderOffset);
    file.Long(0x4550).Word(image.sixtyFourBit ? 0x8664 : 0x14C).Word(1).Long(0).Long(0).Long(0);
    file.Word(image.sixtyFourBit ? 0xF0 : 0xE0).Word(image.sixtyFourBit ? 0x2022 : 0x2102);  // a DLL
    WriteOptionalHeader(file, image, kSectionAlignment + pages);
    for (std::uint32_t directory = 0; directory < kDirectories; ++directory) {
        const bool isResource = directory == kResourceDirectory && image.hasVersion;
        file.Long(isResource ? kSectionAlignment : 0).Long(isResource ? virtualSize : 0);
    }
    file.Raw(std::string(".rsrc\0\0\0", 8))
        .Long(virtualSize)
        .Long(kSectionAlignment)
        .Long(rawSize)
        .Long(kFileAlignment);
    file.Zeros(12).Long(kReadableData).Align(kFileAlignment).Raw(section).Align(kFileAlignment);
    return file.Bytes();
}

}  // namespace embedded
