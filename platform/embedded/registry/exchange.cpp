// The registry's share of the machine's control: .reg text in and out.
#include "platform/embedded/accounts/store.h"
#include "platform/embedded/control/registry.h"
#include "platform/embedded/core/attempt.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/registry/reg_text.h"
#include "platform/embedded/security/sid.h"
#include "platform/embedded/store/tree.h"

namespace fs = std::filesystem;

namespace embedded::control {
namespace {

struct Root {
    const char* longName;
    const char* shortName;
    const char* path;  // in the store; null for the current user's branch
};
constexpr Root kRoots[] = {
    {"HKEY_LOCAL_MACHINE", "HKLM", "HKLM"},
    {"HKEY_USERS", "HKU", "HKU"},
    {"HKEY_CURRENT_USER", "HKCU", nullptr},
    {"HKEY_CLASSES_ROOT", "HKCR", "HKLM\\SOFTWARE\\Classes"},
    {"HKEY_CURRENT_CONFIG", "HKCC", "HKLM\\SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current"},
};

// The path in the store of a key as .reg files write it; empty for an unknown root.
std::string StorePath(Machine& machine, std::string_view key) {
    const std::string_view name = key.substr(0, key.find('\\'));
    for (const Root& root : kRoots) {
        if (!text::EqualNoCase(name, root.longName) && !text::EqualNoCase(name, root.shortName)) continue;
        const std::string path =
            root.path != nullptr ? root.path : "HKU\\" + security::SidText(accounts::CurrentUser(machine).sid);
        return path + std::string(key.substr(name.size()));
    }
    return {};
}

// What a file asks for, as one change, so that another process sees all of it or nothing.
class Planner {
  public:
    explicit Planner(Machine& machine) : m_machine(machine) {}
    const char* Take(const reg_text::Step& step) {
        using Kind = reg_text::Step::Kind;
        if (step.kind == Kind::MakeKey || step.kind == Kind::DeleteKey) {
            m_path = StorePath(m_machine, step.key);
            if (m_path.empty()) return "no such root key";
            const bool isRoot = step.key.find('\\') == step.key.npos;
            if (isRoot && step.kind == Kind::DeleteKey) return "a root key cannot be deleted";
        }
        if (step.kind == Kind::MakeKey) m_change.Create(kRootKey, m_path);
        if (step.kind == Kind::DeleteKey) m_change.DeleteTree(kRootKey, m_path);
        if (step.kind == Kind::EraseValue) m_change.EraseValue(kRootKey, m_path, step.value.name);
        if (step.kind == Kind::SetValue) {
            m_change.SetValue(kRootKey, m_path, step.value.name, step.value.type, step.value.data);
        }
        return nullptr;
    }
    const StoreChange& Change() const { return m_change; }

  private:
    Machine& m_machine;
    std::string m_path;  // of the key that values stand below
    StoreChange m_change;
};

Machine MachineIn(const fs::path& folder) {
    std::error_code error;
    if (!fs::is_directory(folder / "registry", error)) throw std::runtime_error(folder.string() + " is no machine");
    return {text::Upper(fs::weakly_canonical(folder).filename().string()), fs::weakly_canonical(folder)};
}

// Exports a key under the name that it was asked for, line by line in the bytes of the file.
class Exporter {
  public:
    Exporter(bool version5, std::string* bytes) : m_version5(version5), m_bytes(*bytes) {
        m_bytes = version5 ? "\xFF\xFE" : "";
        Put(version5 ? "Windows Registry Editor Version 5.00\r\n" : "REGEDIT4\r\n");
    }
    // `name` comes back as it was.
    void Add(const StoreKey& key, std::string* name) {
        m_line.assign("\r\n[").append(*name).append("]\r\n");
        Put(m_line);
        for (std::size_t i = 0; i < key.ValueCount(); ++i) {
            m_line.clear();
            reg_text::AppendValue(*key.ValueAt(i), m_version5, true, &m_line);
            m_line += "\r\n";
            Put(m_line);
        }
        if (!key.subkeys) return;
        const std::size_t length = name->size();
        for (const auto& [ignored, subkey] : *key.subkeys) {
            name->append("\\").append(subkey->name);
            Add(*subkey, name);
            name->resize(length);
        }
    }
    void Finish() { Put("\r\n"); }

  private:
    void Put(std::string_view line) {
        if (!m_version5) {
            m_bytes += line;
            return;
        }
        const std::u16string wide = text::Widen(line);
        const std::size_t start = m_bytes.size();
        m_bytes.resize(start + 2 * wide.size());
        for (std::size_t i = 0; i < wide.size(); ++i) {
            m_bytes[start + 2 * i] = char(wide[i] & 0xFF);
            m_bytes[start + 2 * i + 1] = char(wide[i] >> 8);
        }
    }

    bool m_version5;
    std::string& m_bytes;
    std::string m_line;
};

}  // namespace

bool ImportRegistry(const fs::path& folder, const std::string& bytes, std::string* problem) {
    return Attempt(problem, [&](std::string* reason) {
        Machine machine = MachineIn(folder);
        Planner planner(machine);
        if (!reg_text::Parse(
                bytes, [&](const reg_text::Step& step) { return planner.Take(step); }, reason))
            return false;
        if (StoreTree::Writing(machine.Storage().Tree()).Commit(planner.Change())) return true;
        *reason = "the registry cannot be written";
        return false;
    });
}

bool ExportRegistry(const fs::path& folder, const std::string& key, RegistryTextVersion version, std::string* bytes,
                    std::string* problem) {
    return Attempt(problem, [&](std::string* reason) {
        Machine machine = MachineIn(folder);
        const std::string path = StorePath(machine, key);
        const StoreTree::Reading reading(machine.Storage().Tree());
        const StoreKey* const found = path.empty() ? nullptr : reading->Find(kRootKey, path);
        if (found == nullptr) {
            *reason = key + " does not exist";
            return false;
        }
        Exporter exporter(version == RegistryTextVersion::Version5, bytes);
        std::string name = key;
        exporter.Add(*found, &name);
        exporter.Finish();
        return true;
    });
}

}  // namespace embedded::control
