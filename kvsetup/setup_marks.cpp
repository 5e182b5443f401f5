#include "kvsetup/setup_marks.h"

#include <cstring>

#include "instalib/registry.h"
#include "kvsetup/console.h"
#include "kvsetup/host.h"

namespace marks {
namespace {

constexpr DWORD kText = 1, kNumber = 4, kTexts = 7;  // REG_SZ, REG_DWORD, REG_MULTI_SZ

struct KindRow {
    Kind kind;
    const char* key;
    const char* name;
    LONG type;
};
constexpr KindRow kRows[] = {
    {Kind::Main, "Main", "main server", 133},
    {Kind::Alert, "Alert", "alert server", 105},
    {Kind::Agent, "Agent", "client agent", 1027},
};
const KindRow& RowOf(Kind kind) { return kRows[static_cast<int>(kind)]; }

struct TextRow {
    const char* name;
    std::string Marks::*field;
};
constexpr TextRow kTextRows[] = {
    {"Product", &Marks::product},
    {"Directory", &Marks::directory},
    {"AlertDirectory", &Marks::alertDirectory},
    {"Account", &Marks::account},
    {"CreatedAccount", &Marks::createdAccount},
};

// The value's bytes; nothing when it is not there or of another type.
std::optional<std::string> ReadValue(Kind kind, const char* name, DWORD type) {
    DWORD found = 0;
    std::string data;
    const host::Presence presence = host::ReadValue(KeyOf(kind), name, &found, &data);
    if (presence == host::Presence::Unknown) {
        throw Failure{kFailed, KeyOf(kind) + ", " + name + " cannot be read: " + host::ErrorText(host::LastError())};
    }
    if (presence == host::Presence::Absent || found != type) return std::nullopt;
    return data;
}

// Texts one behind the other, each up to its zero byte.
std::vector<std::string> Split(const std::string& data) {
    std::vector<std::string> texts;
    for (std::size_t begin = 0; begin < data.size();) {
        const std::size_t end = std::min(data.find('\0', begin), data.size());
        if (end == begin) break;
        texts.push_back(data.substr(begin, end - begin));
        begin = end + 1;
    }
    return texts;
}

bool WriteValue(Kind kind, const char* name, DWORD type, std::string data) {
    return CHalvRegistry::SetKorvaultKeyValue((std::string("Setup\\") + RowOf(kind).key).c_str(), name, type,
                                              reinterpret_cast<BYTE*>(data.data()), DWORD(data.size())) != 0;
}

}  // namespace

std::optional<Kind> KindOf(LONG productType) {
    switch (productType) {
        case 133:
        case 24:
        case 25:
            return Kind::Main;
        case 105:
            return Kind::Alert;
        case 1027:
        case 62:
            return Kind::Agent;
        default:
            return std::nullopt;
    }
}

const char* NameOf(Kind kind) { return RowOf(kind).name; }
LONG TypeOf(Kind kind) { return RowOf(kind).type; }

std::string RootKey() { return std::string(CHalvRegistry::GetKorvaultKey()) + "\\Setup"; }
std::string KeyOf(Kind kind) { return RootKey() + '\\' + RowOf(kind).key; }

Marks Read(Kind kind) {
    Marks marks;
    const std::optional<std::string> type = ReadValue(kind, "Type", kNumber);
    if (!type || type->size() != sizeof marks.type) return marks;
    marks.isThere = true;
    std::memcpy(&marks.type, type->data(), sizeof marks.type);
    for (const TextRow& row : kTextRows) {
        const std::vector<std::string> texts = Split(ReadValue(kind, row.name, kText).value_or(""));
        if (!texts.empty()) marks.*row.field = texts.front();
    }
    marks.made = Split(ReadValue(kind, "Made", kTexts).value_or(""));
    return marks;
}

bool Write(Kind kind, const Marks& marks) {
    if (!CHalvRegistry::AddKorvaultKey((std::string("Setup\\") + RowOf(kind).key).c_str())) return false;
    std::string made;
    for (const std::string& directory : marks.made) made += directory + '\0';
    if (!WriteValue(kind, "Made", kTexts, made + '\0')) return false;
    for (const TextRow& row : kTextRows) {
        if (!WriteValue(kind, row.name, kText, marks.*row.field + '\0')) return false;
    }
    std::string type(sizeof marks.type, '\0');
    std::memcpy(type.data(), &marks.type, sizeof marks.type);
    return WriteValue(kind, "Type", kNumber, type);
}

void Remove(Kind kind) {
    CHalvRegistry::DeleteKorvaultKey((std::string("Setup\\") + RowOf(kind).key).c_str());
    if (host::LookForEmptyKey(RootKey()) == host::Presence::Present) CHalvRegistry::DeleteKorvaultKey("Setup");
}

std::vector<std::pair<Kind, Marks>> Others(Kind kind) {
    std::vector<std::pair<Kind, Marks>> others;
    for (const Kind other : kKinds) {
        if (other == kind) continue;
        const Marks marks = Read(other);
        if (marks.isThere) others.emplace_back(other, marks);
    }
    return others;
}

}  // namespace marks
