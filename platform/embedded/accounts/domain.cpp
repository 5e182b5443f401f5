#include "platform/embedded/accounts/domain.h"

#include <system_error>

#include "platform/embedded/accounts/records.h"
#include "platform/embedded/core/text.h"

namespace embedded::domain {
namespace {

constexpr const char* kKey = accounts::kAccountsKey;
constexpr char kProductOptions[] = "HKLM\\SYSTEM\\CurrentControlSet\\Control\\ProductOptions";

// The registry tells the product; which controller is the primary one it does not.
struct RoleName {
    Role role;
    const char* productType;
    DWORD isBackup;
};
constexpr RoleName kRoleNames[] = {
    {Role::Workstation, "WinNT", 0},
    {Role::Server, "ServerNT", 0},
    {Role::PrimaryController, "LanmanNT", 0},
    {Role::BackupController, "LanmanNT", 1},
};

std::vector<std::shared_ptr<Machine>> MachinesOfTheWorld() {
    std::vector<std::shared_ptr<Machine>> machines;
    std::error_code error;
    const auto local = world::Local();
    for (const auto& entry : std::filesystem::directory_iterator(local->Folder().parent_path(), error)) {
        if (auto machine = world::Find(entry.path().filename().c_str())) machines.push_back(std::move(machine));
    }
    return machines;
}

}  // namespace

Role RoleOf(Machine& machine) {
    Store& store = machine.Storage();
    const std::string type = store.ReadText(kProductOptions, "ProductType");
    for (const RoleName& row : kRoleNames) {
        if (text::EqualNoCase(type, row.productType) && row.isBackup == store.ReadNumber(kKey, "IsBackup"))
            return row.role;
    }
    return Role::Workstation;
}

bool IsController(Machine& machine) {
    const Role role = RoleOf(machine);
    return role == Role::PrimaryController || role == Role::BackupController;
}

std::string Name(Machine& machine) { return machine.Storage().ReadText(kKey, "Domain"); }

std::string LanGroup(Machine& machine) {
    const std::string domain = Name(machine);
    return domain.empty() ? machine.Storage().ReadText(kKey, "Workgroup", "WORKGROUP") : domain;
}

std::string AccountDomainName(Machine& machine) {
    const std::string domain = IsController(machine) ? Name(machine) : "";
    return domain.empty() ? machine.Name() : domain;
}

bool SetRole(Machine& machine, Role role) {
    Store& store = machine.Storage();
    const Store::Lock lock(store);
    const RoleName& row = kRoleNames[std::size_t(role)];
    return store.WriteText(kProductOptions, "ProductType", row.productType) &&
           store.WriteNumber(kKey, "IsBackup", row.isBackup);
}

std::vector<std::string> TrustsOf(Machine& machine) { return machine.Storage().ReadList(kKey, "Trusts"); }

std::vector<std::shared_ptr<Machine>> Controllers() {
    auto machines = MachinesOfTheWorld();
    std::erase_if(machines, [](const auto& machine) {
        return RoleOf(*machine) != Role::PrimaryController || Name(*machine).empty();
    });
    return machines;
}

std::shared_ptr<Machine> Controller(std::string_view name) {
    if (name.empty()) return nullptr;
    for (auto& machine : Controllers()) {
        if (text::EqualNoCase(Name(*machine), name)) return machine;
    }
    return nullptr;
}

std::shared_ptr<Machine> Authority(const std::shared_ptr<Machine>& machine) {
    if (machine == nullptr || RoleOf(*machine) != Role::BackupController) return machine;
    auto primary = Controller(Name(*machine));
    return primary == nullptr ? machine : primary;
}

}  // namespace embedded::domain
