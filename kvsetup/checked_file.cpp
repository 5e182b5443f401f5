#include "kvsetup/checked_file.h"

#include <cstdint>
#include <filesystem>

#include "kvsetup/host.h"

namespace fs = std::filesystem;

namespace checked_file {
namespace {

std::string Checksum(Json document) {
    document.erase("checksum");
    return Digest(document.dump());
}

[[noreturn]] void Refuse(const std::string& file, const Kind& kind, const std::string& why) {
    throw Failure{kBadInput, std::string("the ") + kind.noun + ' ' + file + ' ' + why};
}

}  // namespace

std::string Digest(const std::string& bytes) {
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const char byte : bytes) sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    std::string text;
    for (int shift = 60; shift >= 0; shift -= 4) text += "0123456789abcdef"[(sum >> shift) & 15];
    return text;
}

void Write(const std::string& file, const Kind& kind, const Json& document) {
    std::error_code error;
    std::string there;
    const std::string mark = std::string("\"") + kind.member + '"';
    if (fs::exists(file, error) && (!host::ReadFile(file, there) || there.find(mark) == there.npos))
        throw Failure{kBadInput, file + " exists and is no " + kind.noun + "; give another file"};
    Json whole{{kind.member, kind.version}};
    whole.update(document);
    whole["checksum"] = Checksum(whole);
    if (!host::WriteFile(file, whole.dump(1) + '\n'))
        throw Failure{kFailed, std::string("the ") + kind.noun + ' ' + file + " cannot be written"};
}

Json Read(const std::string& file, const Kind& kind) {
    std::string bytes;
    if (!host::ReadFile(file, bytes)) Refuse(file, kind, "cannot be read");
    const Json document = Json::parse(bytes, nullptr, false);
    if (!document.is_object() || !document.contains(kind.member))
        Refuse(file, kind, std::string("is no ") + kind.noun + " of kvsetup");
    if (document[kind.member] != kind.version) Refuse(file, kind, "is one of another version of kvsetup");
    if (!document.contains("checksum") || document["checksum"] != Checksum(document))
        Refuse(file, kind, "was changed or cut");
    return document;
}

std::string ToHex(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4];
        text += "0123456789abcdef"[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

bool FromHex(const std::string& text, std::string& bytes) {
    const auto digit = [](char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1; };
    if (text.size() % 2 != 0) return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = digit(text[i]), low = digit(text[i + 1]);
        if (high < 0 || low < 0) return false;
        bytes += static_cast<char>(high * 16 + low);
    }
    return true;
}

}  // namespace checked_file
