// Keys, values and the security of keys.
#include "changes/registry_objects.h"

#include <cstddef>
#include <cstring>

#include "changes/bytes.h"
#include "changes/descriptors.h"
#include "platform/handles.h"
#include "platform/key_names.h"

namespace changes {
namespace {

constexpr char kMachine[] = "\\REGISTRY\\MACHINE";
constexpr char kUser[] = "\\REGISTRY\\USER";
constexpr REGSAM kView64 = KEY_WOW64_64KEY;  // full names are those of the 64-bit view

std::string Narrow(const WCHAR* text, int length) {
    const int size = WideCharToMultiByte(CP_ACP, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string narrow(std::size_t(std::max(size, 0)), '\0');
    if (size > 0) WideCharToMultiByte(CP_ACP, 0, text, length, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

std::string NameOfHandle(HKEY key) {
    std::vector<ULONG> buffer(32);
    for (int attempt = 0; attempt < 3; ++attempt) {
        ULONG needed = 0;
        const ULONG size = ULONG(buffer.size() * sizeof(ULONG));
        const NTSTATUS status = NtQueryKey(key, kKeyNameInformation, buffer.data(), size, &needed);
        if (status == 0) {
            const auto* const name = reinterpret_cast<const KeyName*>(buffer.data());
            return Narrow(name->text, int(name->bytes / sizeof(WCHAR)));
        }
        if (needed <= size) return {};
        buffer.resize(needed / sizeof(ULONG) + 1);
    }
    return {};
}

// The hive's root and the path below it.
HKEY RootOf(const std::string& name, std::string& below) {
    const struct {
        const char* prefix;
        HKEY root;
    } hives[] = {{kMachine, HKEY_LOCAL_MACHINE}, {kUser, HKEY_USERS}};
    for (const auto& hive : hives) {
        const std::size_t length = std::strlen(hive.prefix);
        if (!EqualNoCase(std::string_view(name).substr(0, length), hive.prefix)) continue;
        if (name.size() != length && name[length] != '\\') continue;
        below = name.size() == length ? "" : name.substr(length + 1);
        return hive.root;
    }
    return nullptr;
}

LSTATUS OpenNamed(const std::string& name, REGSAM access, RegistryKey& key) {
    std::string below;
    const HKEY root = RootOf(name, below);
    if (root == nullptr) return ERROR_INVALID_NAME;
    return RegOpenKeyExA(root, below.c_str(), 0, access | kView64, key.Receive());
}

bool IsMissing(LSTATUS status) { return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND; }

// 0 with the value, or the status; the buffer grows with a value that grows meanwhile.
LSTATUS QueryValue(HKEY key, const char* name, DWORD& type, std::string& data) {
    data.assign(64, '\0');
    for (;;) {
        DWORD size = DWORD(data.size());
        const LSTATUS status = RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size);
        if (status == ERROR_MORE_DATA && size > data.size()) {
            data.resize(size);
            continue;
        }
        if (status == 0) data.resize(size);
        return status;
    }
}

LSTATUS ValueNames(HKEY key, std::vector<std::string>& names) {
    std::string name(16384, '\0');  // the longest name, with its terminator
    for (DWORD index = 0;; ++index) {
        DWORD size = DWORD(name.size());
        const LSTATUS status = RegEnumValueA(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return 0;
        if (status != 0) return status;
        names.emplace_back(name.data(), size);
    }
}

LSTATUS ReadKeyState(HKEY key, State& state) {
    std::string security;
    if (const LSTATUS status = LSTATUS(descriptors::OfKey(key, security))) return status;
    std::vector<std::string> names;
    if (const LSTATUS status = ValueNames(key, names)) return status;
    Writer writer;
    writer.Text(security).Number(DWORD(names.size()));
    for (const std::string& name : names) {
        DWORD type = 0;
        std::string data;
        if (const LSTATUS status = QueryValue(key, name.c_str(), type, data)) return status;
        writer.Text(name).Number(type).Text(data);
    }
    state = writer.Bytes();
    return 0;
}

DWORD ReadKey(const Object& object, State& state) {
    state.clear();
    RegistryKey key;
    const LSTATUS status = OpenNamed(object.name, KEY_READ, key);
    if (IsMissing(status)) return 0;
    return DWORD(status != 0 ? status : ReadKeyState(key.Get(), state));
}

LSTATUS RemoveKey(const std::string& name) {
    RegistryKey key;
    if (const LSTATUS status = OpenNamed(name, KEY_READ, key)) return status;
    DWORD subkeys = 0, values = 0;
    if (const LSTATUS status = RegQueryInfoKeyA(key.Get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr,
                                                &values, nullptr, nullptr, nullptr, nullptr)) {
        return status;
    }
    if (subkeys != 0 || values != 0) return ERROR_DIR_NOT_EMPTY;
    key.Reset();
    std::string below;
    const HKEY root = RootOf(name, below);
    return RegDeleteKeyExA(root, below.c_str(), kView64, 0);
}

LSTATUS RestoreKey(const std::string& name, const State& wanted) {
    Reader reader(wanted);
    const std::string security = reader.Text();
    const DWORD count = reader.Number();
    std::string below;
    RegistryKey key;
    const HKEY root = RootOf(name, below);
    if (const LSTATUS status = RegCreateKeyExA(root, below.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | kView64, nullptr,
                                               key.Receive(), nullptr)) {
        return status;
    }
    for (DWORD i = 0; i < count && reader.Good(); ++i) {
        const std::string value = reader.Text();
        const DWORD type = reader.Number();
        const std::string data = reader.Text();
        if (const LSTATUS status = RegSetValueExA(key.Get(), value.c_str(), 0, type,
                                                  reinterpret_cast<const BYTE*>(data.data()), DWORD(data.size()))) {
            return status;
        }
    }
    // Without one it keeps what its place hands on.
    return security.empty() ? 0 : LSTATUS(descriptors::RestoreKey(key.Get(), security));
}

DWORD WriteKey(const Object& object, const State&, const State& wanted) {
    return DWORD(wanted.empty() ? RemoveKey(object.name) : RestoreKey(object.name, wanted));
}

DWORD ReadValue(const Object& object, State& state) {
    state.clear();
    RegistryKey key;
    LSTATUS status = OpenNamed(object.name, KEY_QUERY_VALUE, key);
    DWORD type = 0;
    std::string data;
    if (status == 0) status = QueryValue(key.Get(), object.part.c_str(), type, data);
    if (IsMissing(status)) return 0;
    if (status == 0) state = Writer().Number(type).Text(data).Bytes();
    return DWORD(status);
}

DWORD WriteValue(const Object& object, const State&, const State& wanted) {
    RegistryKey key;
    if (const LSTATUS status = OpenNamed(object.name, KEY_SET_VALUE, key)) return DWORD(status);
    if (wanted.empty()) return DWORD(RegDeleteValueA(key.Get(), object.part.c_str()));
    Reader reader(wanted);
    const DWORD type = reader.Number();
    const std::string data = reader.Text();
    return DWORD(RegSetValueExA(key.Get(), object.part.c_str(), 0, type, reinterpret_cast<const BYTE*>(data.data()),
                                DWORD(data.size())));
}

DWORD ReadKeySecurity(const Object& object, State& state) {
    state.clear();
    RegistryKey key;
    const LSTATUS status = OpenNamed(object.name, READ_CONTROL, key);
    if (IsMissing(status)) return 0;
    return status != 0 ? DWORD(status) : descriptors::OfKey(key.Get(), state);
}

DWORD WriteKeySecurity(const Object& object, const State&, const State& wanted) {
    RegistryKey key;
    const LSTATUS status = OpenNamed(object.name, READ_CONTROL | WRITE_DAC, key);
    return status != 0 ? DWORD(status) : descriptors::RestoreKey(key.Get(), wanted);
}

// HKEY_CURRENT_USER is the parent of a key that every user has.
std::string NameOfCurrentUser() {
    RegistryKey software;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, "SOFTWARE", 0, KEY_QUERY_VALUE, software.Receive()) != 0) return {};
    const std::string name = NameOfHandle(software.Get());
    return name.substr(0, std::min(name.rfind('\\'), name.size()));
}

}  // namespace

std::string NameOfKey(HKEY key) {
    if (key == HKEY_LOCAL_MACHINE) return kMachine;
    if (key == HKEY_USERS) return kUser;
    if (key == HKEY_CLASSES_ROOT) return std::string(kMachine) + "\\SOFTWARE\\Classes";
    if (key == HKEY_CURRENT_CONFIG)
        return std::string(kMachine) + "\\SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current";
    return key == HKEY_CURRENT_USER ? NameOfCurrentUser() : NameOfHandle(key);
}

DWORD FindKey(HKEY key, const char* subkey, REGSAM view, KeyPath& path) {
    std::string existing = subkey == nullptr ? "" : subkey;
    if (key == HKEY_CLASSES_ROOT)
        existing.erase(
            0, existing.find_first_not_of('\\') == existing.npos ? existing.size() : existing.find_first_not_of('\\'));
    while (existing.ends_with('\\')) existing.pop_back();
    std::string rest;
    path.missing = 0;
    for (;;) {
        RegistryKey opened;
        HKEY found = key;
        if (!existing.empty()) {
            const LSTATUS status =
                RegOpenKeyExA(key, existing.c_str(), 0, KEY_QUERY_VALUE | (view & KEY_WOW64_RES), opened.Receive());
            if (status != 0 && !IsMissing(status)) return DWORD(status);
            found = status == 0 ? opened.Get() : nullptr;
        }
        if (found != nullptr) {
            const std::string name = NameOfKey(found);
            if (name.empty()) return ERROR_INVALID_HANDLE;
            path.name = name + rest;
            return 0;
        }
        const std::size_t cut = existing.rfind('\\');
        rest.insert(0, existing, cut == existing.npos ? 0 : cut + 1, existing.npos);
        rest.insert(0, 1, '\\');
        existing.resize(cut == existing.npos ? 0 : cut);
        ++path.missing;
    }
}

DWORD ContentsOf(const std::string& key, std::vector<std::string>& subkeys, std::vector<std::string>& values) {
    RegistryKey opened;
    const LSTATUS status = OpenNamed(key, KEY_READ, opened);
    if (IsMissing(status)) return 0;
    if (status != 0) return DWORD(status);
    char name[256];  // the longest name of a key, with its terminator
    for (DWORD index = 0;; ++index) {
        DWORD size = sizeof name;
        const LSTATUS next = RegEnumKeyExA(opened.Get(), index, name, &size, nullptr, nullptr, nullptr, nullptr);
        if (next == ERROR_NO_MORE_ITEMS) break;
        if (next != 0) return DWORD(next);
        subkeys.push_back(key + "\\" + std::string(name, size));
    }
    return DWORD(ValueNames(opened.Get(), values));
}

const KindRow kKeyRow = {"key", ReadKey, WriteKey, SamePresence, true, nullptr};
const KindRow kValueRow = {"value", ReadValue, WriteValue, SameState, true, nullptr};
const KindRow kKeySecurityRow = {"key security", ReadKeySecurity, WriteKeySecurity, SameState, true, nullptr};

}  // namespace changes
