#include "platform/embedded/network/shares.h"

#include <algorithm>
#include <charconv>

#include "platform/embedded/api/network.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/drive.h"
#include "platform/embedded/files/place.h"

namespace embedded::network {
namespace {

constexpr char kSharesKey[] = "HKLM\\SYSTEM\\CurrentControlSet\\Services\\LanmanServer\\Shares";
constexpr char kSecurityKey[] = "HKLM\\SYSTEM\\CurrentControlSet\\Services\\LanmanServer\\Shares\\Security";
constexpr DWORD kFixedDrive = 3;  // DRIVE_FIXED

// A share's value is a list of lines NAME=TEXT.
std::string Field(const std::vector<std::string>& lines, std::string_view name) {
    for (const std::string& line : lines) {
        if (line.size() > name.size() && line[name.size()] == '=' &&
            text::EqualNoCase(std::string_view(line).substr(0, name.size()), name)) {
            return line.substr(name.size() + 1);
        }
    }
    return {};
}

DWORD Number(const std::vector<std::string>& lines, std::string_view name, DWORD fallback) {
    const std::string text = Field(lines, name);
    DWORD number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? number : fallback;
}

Share Read(Store& store, const std::string& name) {
    const auto lines = store.ReadList(kSharesKey, name);
    return {name,
            Number(lines, "Type", STYPE_DISKTREE),
            Field(lines, "Remark"),
            Number(lines, "Permissions", 0),
            Number(lines, "MaxUses", SHI_USES_UNLIMITED),
            Field(lines, "Path"),
            false};
}

Share Administrative(std::string name, DWORD type, const char* remark, std::string path) {
    return {std::move(name), type | STYPE_SPECIAL, remark, 0, SHI_USES_UNLIMITED, std::move(path), true};
}

std::vector<Share> AdministrativeShares(const Machine& machine) {
    std::vector<Share> shares = {Administrative("ADMIN$", STYPE_DISKTREE, "Remote Admin", "C:\\Windows"),
                                 Administrative("IPC$", STYPE_IPC, "Remote IPC", "")};
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        if (machine.Drive(letter).empty() || drives::FactsOf(machine, letter).type != kFixedDrive) continue;
        const std::string drive(1, letter);
        shares.push_back(Administrative(drive + '$', STYPE_DISKTREE, "Default share", drive + ":\\"));
    }
    return shares;
}

}  // namespace

std::vector<Share> AllShares(Machine& machine) {
    Store& store = machine.Storage();
    std::vector<Share> shares = AdministrativeShares(machine);
    for (const StoredValue& value : store.Values(kSharesKey)) {
        if (value.type == 7 /* REG_MULTI_SZ */) shares.push_back(Read(store, value.name));
    }
    std::sort(shares.begin(), shares.end(),
              [](const Share& left, const Share& right) { return text::CompareNoCase(left.name, right.name) < 0; });
    return shares;
}

std::optional<Share> FindShare(Machine& machine, std::string_view name) {
    if (const auto stored = machine.Storage().Read(kSharesKey, name); stored && stored->type == 7) {
        return Read(machine.Storage(), stored->name);
    }
    for (Share& share : AdministrativeShares(machine)) {
        if (text::EqualNoCase(share.name, name)) return std::move(share);
    }
    return std::nullopt;
}

bool SaveShare(Machine& machine, const Share& share) {
    return machine.Storage().WriteList(kSharesKey, share.name,
                                       {"CSCFlags=0", "MaxUses=" + std::to_string(share.maxUses), "Path=" + share.path,
                                        "Permissions=" + std::to_string(share.permissions), "Remark=" + share.remark,
                                        "ShareName=" + share.name, "Type=" + std::to_string(share.type)});
}

bool DeleteShare(Machine& machine, const Share& share) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    store.Erase(kSecurityKey, share.name);
    return store.Erase(kSharesKey, share.name);
}

Bytes ShareDescriptor(Machine& machine, const Share& share) {
    const auto stored = machine.Storage().Read(kSecurityKey, share.name);
    return stored ? stored->data : Bytes();
}

bool SetShareDescriptor(Machine& machine, const Share& share, const Bytes& descriptor) {
    if (!descriptor.empty()) return machine.Storage().Write(kSecurityKey, share.name, 3 /* REG_BINARY */, descriptor);
    machine.Storage().Erase(kSecurityKey, share.name);
    return true;
}

bool IsDirectoryOf(const Machine& machine, std::string_view path) {
    if (path.size() < 3 || path[1] != ':' || path[2] != '\\') return false;
    // By its name in the world, since it may be another machine's.
    const std::string remote = "\\\\" + machine.Name() + '\\' + path[0] + '$' + std::string(path.substr(2));
    return files::Locate(paths::FromAnsi(remote)).IsDirectory();
}

}  // namespace embedded::network
