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
bool Plan(Machine& machine, const std::vector<reg_text::Step>& steps, StoreChange* change, std::string* problem) {
    using Kind = reg_text::Step::Kind;
    for (const reg_text::Step& step : steps) {
        const std::string path = StorePath(machine, step.key);
        const bool isRoot = step.key.find('\\') == step.key.npos;
        if (path.empty() || (isRoot && step.kind == Kind::DeleteKey)) {
            *problem = "line " + std::to_string(step.line) + ": " +
                       (path.empty() ? "no such root key" : "a root key cannot be deleted");
            return false;
        }
        if (step.kind == Kind::MakeKey) change->Create(kRootKey, path);
        if (step.kind == Kind::DeleteKey) change->DeleteTree(kRootKey, path);
        if (step.kind == Kind::EraseValue) change->EraseValue(kRootKey, path, step.value.name);
        if (step.kind == Kind::SetValue) {
            change->SetValue(kRootKey, path, step.value.name, step.value.type, step.value.data);
        }
    }
    return true;
}

Machine MachineIn(const fs::path& folder) {
    std::error_code error;
    if (!fs::is_directory(folder / "registry", error)) throw std::runtime_error(folder.string() + " is no machine");
    return {text::Upper(fs::weakly_canonical(folder).filename().string()), fs::weakly_canonical(folder)};
}

// Exports a key under the name that it was asked for.
class Exporter {
  public:
    explicit Exporter(bool version5) : m_version5(version5) {}
    void Add(const StoreKey& key, const std::string& name) {
        m_text += "\r\n[" + name + "]\r\n";
        for (std::size_t i = 0; i < key.ValueCount(); ++i) {
            m_text += reg_text::FormatValue(*key.ValueAt(i), m_version5, true) + "\r\n";
        }
        for (std::size_t i = 0; i < key.SubkeyCount(); ++i) {
            Add(*key.SubkeyAt(i), name + '\\' + key.SubkeyAt(i)->name);
        }
    }
    std::string Result() const {
        if (!m_version5) return "REGEDIT4\r\n" + m_text + "\r\n";
        std::string bytes = "\xFF\xFE";
        for (const char16_t unit : text::Widen("Windows Registry Editor Version 5.00\r\n" + m_text + "\r\n")) {
            bytes += char(unit & 0xFF);
            bytes += char(unit >> 8);
        }
        return bytes;
    }

  private:
    bool m_version5;
    std::string m_text;
};

}  // namespace

bool ImportRegistry(const fs::path& folder, const std::string& bytes, std::string* problem) {
    return Attempt(problem, [&](std::string* reason) {
        Machine machine = MachineIn(folder);
        std::vector<reg_text::Step> steps;
        StoreChange change;
        if (!reg_text::Parse(bytes, &steps, reason) || !Plan(machine, steps, &change, reason)) return false;
        if (StoreTree::Writing(machine.Storage().Tree()).Commit(change)) return true;
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
        Exporter exporter(version == RegistryTextVersion::Version5);
        exporter.Add(*found, key);
        *bytes = exporter.Result();
        return true;
    });
}

}  // namespace embedded::control
