// Reads real Windows modules (PE32 and PE32+): whether a file is one, and its version resource. The bytes are
// untrusted; every offset and length is checked against the file or the block before it is used.
#ifndef INSTALIB_EMBEDDED_MODULES_VERSION_RESOURCE_H
#define INSTALIB_EMBEDDED_MODULES_VERSION_RESOURCE_H

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/embedded/api/modules.h"
#include "platform/embedded/store/store.h"

namespace embedded::version_resource {

// Whether the file is a module of Windows, and one that a 64-bit process can load.
enum class ImageKind { None, Own, Foreign };
ImageKind KindOf(const std::filesystem::path& host);

struct Resource {
    DWORD error = 0;  // 0, or ERROR_RESOURCE_DATA_NOT_FOUND, ERROR_RESOURCE_TYPE_NOT_FOUND, ...
    Bytes bytes;      // as the file has it
};
Resource Read(const std::filesystem::path& host);

// A node of the resource's tree: key, value, children. Views into the resource's bytes.
struct Node {
    std::u16string key;
    bool isText = false;
    std::size_t valueOffset = 0;  // from the resource's start
    std::span<const BYTE> value;
    std::span<const BYTE> children;
    std::size_t childrenOffset = 0;
    std::size_t length = 0;
};
// The node at an offset of the resource; nothing when it does not fit.
std::optional<Node> NodeAt(std::span<const BYTE> resource, std::size_t offset);
// The node that a path like "\\StringFileInfo\\040904e4\\Name" leads to; the root for "\\".
std::optional<Node> Find(std::span<const BYTE> resource, std::string_view path);

// The fixed record when the resource has one with its signature.
std::optional<VS_FIXEDFILEINFO> FixedRecord(std::span<const BYTE> resource);

}  // namespace embedded::version_resource

#endif
