#include "platform/embedded/machine/difference.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/embedded/api/registry.h"
#include "platform/embedded/api/tokens.h"
#include "platform/embedded/control/registry.h"
#include "platform/embedded/core/attempt.h"
#include "platform/embedded/registry/reg_text.h"
#include "platform/embedded/security/sddl.h"
#include "platform/embedded/store/tree.h"

namespace fs = std::filesystem;

namespace embedded::machine_diff {
namespace {

// Names of no hive, so that no key can be taken for them.
constexpr const char* kSecurityKey = "Security descriptors";
constexpr const char* kFilesKey = "Files of the drives";

void AddKeys(const StoreKey& key, const std::string& path, MachineState& state) {
    KeyState& mine = state.keys[path];
    mine.path = path;
    mine.security = key.security;
    for (std::size_t i = 0; i < key.ValueCount(); ++i) mine.values.push_back(*key.ValueAt(i));
    for (std::size_t i = 0; i < key.SubkeyCount(); ++i) {
        const StoreKey& below = *key.SubkeyAt(i);
        AddKeys(below, path + '\\' + below.name, state);
    }
}

std::string Describe(const fs::directory_entry& entry) {
    if (entry.is_directory()) return "directory";
    std::ifstream file(entry.path(), std::ios::binary);
    std::uint64_t hash = 0xcbf29ce484222325u;  // FNV-1a
    std::uint64_t size = 0;
    for (std::istreambuf_iterator<char> byte(file), end; byte != end; ++byte, ++size) {
        hash = (hash ^ BYTE(*byte)) * 0x100000001b3u;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%" PRIu64 " bytes, hash %016" PRIx64, size, hash);
    return text;
}

void AddFiles(const fs::path& drives, MachineState& state) {
    std::error_code error;
    fs::recursive_directory_iterator entries(drives, fs::directory_options::skip_permission_denied, error);
    for (; !error && entries != fs::recursive_directory_iterator(); entries.increment(error)) {
        if (entries.depth() == 0) continue;
        std::string path = entries->path().lexically_relative(drives).string();
        path.insert(path.find('/'), 1, ':');
        for (char& character : path) {
            if (character == '/') character = '\\';
        }
        state.files[path] = Describe(*entries);
    }
}

MachineState ReadMachine(const fs::path& folder) {
    MachineState state;
    const std::shared_ptr<Store> store = Store::Open(folder / "registry");
    {
        const StoreTree::Reading reading(store->Tree());
        const StoreKey& root = reading->Root();
        for (std::size_t i = 0; i < root.SubkeyCount(); ++i) AddKeys(*root.SubkeyAt(i), root.SubkeyAt(i)->name, state);
    }
    AddFiles(folder / "drives", state);
    return state;
}

void AddStep(const reg_text::Step& step, MachineState& state) {
    if (step.kind == reg_text::Step::Kind::MakeKey && step.key != kSecurityKey && step.key != kFilesKey) {
        state.keys[step.key].path = step.key;
    }
    if (step.kind != reg_text::Step::Kind::SetValue) return;
    if (step.key == kSecurityKey)
        state.keys[step.value.name].security = step.value.data;
    else if (step.key == kFilesKey)
        state.files[step.value.name] = reinterpret_cast<const char*>(step.value.data.data());
    else
        state.keys[step.key].values.push_back(step.value);
}

MachineState ReadFile(const fs::path& place) {
    std::ifstream file(place, std::ios::binary);
    if (!file) throw std::runtime_error(place.string() + " cannot be read");
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::string problem;
    MachineState state;
    const auto take = [&](const reg_text::Step& step) {
        AddStep(step, state);
        return static_cast<const char*>(nullptr);
    };
    if (!reg_text::Parse(bytes, take, &problem)) throw std::runtime_error(place.string() + ", " + problem);
    return state;
}

StoredValue TextValue(const std::string& name, const std::string& text) {
    StoredValue value{name, REG_SZ, Bytes(text.begin(), text.end())};
    value.data.push_back(0);
    return value;
}

std::string Line(const StoredValue& value) {
    std::string line;
    reg_text::AppendValue(value, false, false, &line);
    return line;
}

std::string SecurityText(const Bytes& descriptor) {
    if (descriptor.empty()) return "inherited";
    const std::optional<security::Parts> parts = security::Read(security::ByteView(descriptor));
    constexpr SECURITY_INFORMATION kAll =
        OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | SACL_SECURITY_INFORMATION;
    return parts ? security::SddlText(*parts, kAll) : "damaged";
}

// Texts of kinds that a .reg file shows as bytes only: "a" for REG_EXPAND_SZ, "a", "b" for REG_MULTI_SZ. Empty when a
// byte of them is no plain character or the terminators are not exactly where they belong: the bytes then tell more.
std::string TextOf(const StoredValue& value) {
    const bool isList = value.type == REG_MULTI_SZ;
    const Bytes& data = value.data;
    if (!isList && value.type != REG_EXPAND_SZ) return "";
    if (std::any_of(data.begin(), data.end(), [](BYTE byte) { return byte != 0 && (byte < 0x20 || byte > 0x7E); }))
        return "";
    std::string result;
    std::size_t expected = isList ? 1 : 0;
    for (auto from = data.begin(); from != data.end() && *from != 0;) {
        const auto end = std::find(from, data.end(), 0);
        result += (result.empty() ? "\"" : ", \"") + std::string(from, end) + '"';
        expected += std::size_t(end - from) + 1;
        if (end == data.end() || !isList) break;
        from = end + 1;
    }
    if (result.empty() || expected != data.size() || data.back() != 0) return "";
    return (isList ? "texts " : "expandable ") + result;
}

// What stands behind the name in a value's line, as a person reads it.
std::string DataOf(StoredValue value) {
    if (std::string text = TextOf(value); !text.empty()) return text;
    value.name.clear();
    return Line(value).substr(2);
}

using control::Difference;

class Comparison {
  public:
    std::vector<Difference> Run(const MachineState& before, const MachineState& after) {
        Walk(before.keys, after.keys,
             [&](const std::string&, const KeyState* was, const KeyState* is) { Keys(was, is); });
        Walk(before.files, after.files, [&](const std::string& path, const std::string* was, const std::string* is) {
            if (was == nullptr || is == nullptr || *was != *is)
                Add(Difference::Kind::File, path, "", was == nullptr ? nullptr : was, is == nullptr ? nullptr : is);
        });
        return std::move(m_found);
    }

  private:
    // Both maps in step; null for what only the other has.
    template <class Map, class Visit>
    static void Walk(const Map& before, const Map& after, Visit visit) {
        auto was = before.begin();
        auto is = after.begin();
        const auto less = before.key_comp();
        while (was != before.end() || is != after.end()) {
            const bool gone = is == after.end() || (was != before.end() && less(was->first, is->first));
            const bool added = !gone && (was == before.end() || less(is->first, was->first));
            visit(added ? is->first : was->first, added ? nullptr : &was->second, gone ? nullptr : &is->second);
            if (!added) ++was;
            if (!gone) ++is;
        }
    }

    void Add(Difference::Kind kind, const std::string& path, const std::string& name, const std::string* was,
             const std::string* is) {
        const auto change = was == nullptr  ? Difference::Change::Added
                            : is == nullptr ? Difference::Change::Gone
                                            : Difference::Change::Changed;
        m_found.push_back({kind, change, path, name, was == nullptr ? "" : *was, is == nullptr ? "" : *is});
    }

    void Keys(const KeyState* was, const KeyState* is) {
        static const KeyState kNone;
        static const std::string kThere;
        const std::string& path = is != nullptr ? is->path : was->path;
        if (was == nullptr || is == nullptr)
            Add(Difference::Kind::Key, path, "", was == nullptr ? nullptr : &kThere, is == nullptr ? nullptr : &kThere);
        else if (was->path != is->path)
            Add(Difference::Kind::Spelling, was->path, "", &was->path, &is->path);
        const KeyState& old = was == nullptr ? kNone : *was;
        const KeyState& now = is == nullptr ? kNone : *is;
        Walk(ByName(old), ByName(now),
             [&](const std::string&, const StoredValue* oldValue, const StoredValue* newValue) {
                 Values(path, oldValue, newValue);
             });
        if (old.security == now.security || is == nullptr) return;
        const std::string before = SecurityText(old.security), after = SecurityText(now.security);
        Add(Difference::Kind::Security, path, "", &before, &after);
    }

    static std::map<std::string, StoredValue, NameLess> ByName(const KeyState& key) {
        std::map<std::string, StoredValue, NameLess> values;
        for (const StoredValue& value : key.values) values.emplace(value.name, value);
        return values;
    }

    void Values(const std::string& path, const StoredValue* was, const StoredValue* is) {
        if (was != nullptr && is != nullptr && was->type == is->type && was->data == is->data) return;
        const std::string before = was == nullptr ? "" : DataOf(*was), after = is == nullptr ? "" : DataOf(*is);
        Add(Difference::Kind::Value, path, is == nullptr ? was->name : is->name, was == nullptr ? nullptr : &before,
            is == nullptr ? nullptr : &after);
    }

    std::vector<Difference> m_found;
};

}  // namespace

MachineState ReadState(const fs::path& place) {
    std::error_code error;
    if (!fs::is_directory(place, error)) return ReadFile(place);
    if (!fs::is_directory(place / "registry", error)) throw std::runtime_error(place.string() + " is no machine");
    return ReadMachine(place);
}

std::string WriteState(const MachineState& state) {
    std::string text = "REGEDIT4\n";
    std::string security;
    for (const auto& [path, key] : state.keys) {
        text += "\n[" + key.path + "]\n";
        for (const StoredValue& value : key.values) text += Line(value) + '\n';
        if (!key.security.empty()) security += Line({key.path, REG_BINARY, key.security}) + '\n';
    }
    text += std::string("\n[") + kSecurityKey + "]\n" + security + "\n[" + kFilesKey + "]\n";
    for (const auto& [path, what] : state.files) text += Line(TextValue(path, what)) + '\n';
    return text;
}

std::vector<Difference> Compare(const MachineState& before, const MachineState& after) {
    return Comparison().Run(before, after);
}

}  // namespace embedded::machine_diff

namespace embedded::control {

bool SaveState(const fs::path& folder, const fs::path& file, std::string* problem) {
    return Attempt(problem, [&](std::string* reason) {
        const std::string text = machine_diff::WriteState(machine_diff::ReadState(folder));
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        if (out << text << std::flush) return true;
        *reason = file.string() + " cannot be written";
        return false;
    });
}

std::string Text(const Difference& difference) {
    const bool isFile = difference.kind == Difference::Kind::File;
    std::string text = difference.change == Difference::Change::Added  ? "+ "
                       : difference.change == Difference::Change::Gone ? "- "
                                                                       : "~ ";
    text += isFile ? "file " + difference.path : '[' + difference.path + ']';
    if (difference.kind == Difference::Kind::Key) return text;
    if (difference.kind == Difference::Kind::Spelling) return text + " is spelled [" + difference.after + ']';
    if (difference.kind == Difference::Kind::Value)
        text += difference.name.empty() ? " @ = " : " \"" + difference.name + "\" = ";
    else
        text += difference.kind == Difference::Kind::Security ? " security: " : ": ";
    if (difference.change == Difference::Change::Added) return text + difference.after;
    if (difference.change == Difference::Change::Gone) return text + difference.before;
    return text + difference.before + " -> " + difference.after;
}

bool Differences(const fs::path& before, const fs::path& after, std::vector<Difference>* differences,
                 std::string* problem) {
    return Attempt(problem, [&](std::string*) {
        *differences = machine_diff::Compare(machine_diff::ReadState(before), machine_diff::ReadState(after));
        return true;
    });
}

bool Diff(const fs::path& before, const fs::path& after, std::vector<std::string>* lines, std::string* problem) {
    std::vector<Difference> differences;
    if (!Differences(before, after, &differences, problem)) return false;
    lines->clear();
    for (const Difference& difference : differences) lines->push_back(Text(difference));
    return true;
}

}  // namespace embedded::control
