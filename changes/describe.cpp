#include "changes/describe.h"

#include <cstdio>

#include "changes/bytes.h"
#include "changes/descriptors.h"

namespace changes {
namespace {

std::string Hex(const std::string& bytes) {
    constexpr std::size_t kShown = 64;  // bytes
    std::string text;
    char two[4];
    for (std::size_t i = 0; i < bytes.size() && i < kShown; ++i) {
        std::snprintf(two, sizeof two, i == 0 ? "%02x" : " %02x", unsigned(BYTE(bytes[i])));
        text += two;
    }
    return bytes.size() > kShown ? text + " ... (" + std::to_string(bytes.size()) + " bytes)" : text;
}

std::string ValueText(const State& state) {
    Reader reader(state);
    const DWORD type = reader.Number();
    std::string data = reader.Text();
    if (type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ) {
        while (data.ends_with('\0')) data.pop_back();
        for (char& c : data) c = c == '\0' ? '|' : c;
        return (type == REG_SZ ? "REG_SZ " : type == REG_EXPAND_SZ ? "REG_EXPAND_SZ " : "REG_MULTI_SZ ") + data;
    }
    if (type == REG_DWORD && data.size() == 4) return std::string("REG_DWORD ") + std::to_string(Reader(data).Number());
    if (type == REG_BINARY) return std::string("REG_BINARY ") + Hex(data);
    return std::string("type ") + std::to_string(type) + ": " + Hex(data);
}

std::string ServiceText(const State& state) {
    Reader reader(state);
    const DWORD type = reader.Number(), start = reader.Number();
    reader.Number();
    return std::string("type ") + std::to_string(type) + ", start " + std::to_string(start) + ", " + reader.Text();
}

std::string ShareText(const State& state) {
    Reader reader(state);
    for (int i = 0; i < 3; ++i) reader.Number();
    reader.Text();
    return reader.Text();
}

std::string ProfileText(const State& state) {
    Reader reader(state);
    reader.Number();
    reader.Number();
    return reader.Number() != 0 ? reader.Text() : "";
}

std::string RightsText(const State& state) {
    Reader reader(state);
    std::string text = std::string("logon rights ") + std::to_string(reader.Number()) + ", privileges";
    for (DWORD count = reader.Number(); count > 0 && reader.Good(); --count)
        text += ' ' + std::to_string(reader.Number());
    return text;
}

}  // namespace

std::string PartText(const Object& object) {
    if (object.kind == Kind::File) return {};
    if (object.kind != Kind::ProfileEntry) return object.part;
    const std::size_t end = object.part.find('\0');
    const std::string section = '[' + object.part.substr(0, end) + "]";
    return end == object.part.npos ? section : section + " " + object.part.substr(end + 1);
}

std::string StateText(const Object& object, const State& state) {
    if (object.secret) return "(hidden)";
    if (state.empty()) return {};
    switch (object.kind) {
        case Kind::Value:
            return ValueText(state);
        case Kind::Service:
            return ServiceText(state);
        case Kind::ServiceState:
            return state;
        case Kind::Attributes:
            return std::string("attributes ") + std::to_string(Reader(state).Number());
        case Kind::Share:
            return ShareText(state);
        case Kind::ProfileEntry:
            return ProfileText(state);
        case Kind::Rights:
            return RightsText(state);
        case Kind::Environment:
            return Reader(state).Text();
        case Kind::KeySecurity:
        case Kind::FileSecurity:
            return std::string("descriptor ") + Hex(state);
        default:
            return "present";
    }
}

}  // namespace changes
