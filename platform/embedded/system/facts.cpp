#include <algorithm>
#include <cstring>

#include "platform/embedded/api/system.h"
#include "platform/embedded/control/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/machine/world.h"

namespace gate = embedded::gate;
namespace world = embedded::world;
using embedded::control::CallKind;

namespace embedded {
namespace {

constexpr char kKey[] = "META\\System";

struct NumberField {
    const char* name;
    DWORD control::WindowsVersion::*field;
};
constexpr NumberField kNumbers[] = {{"MajorVersion", &control::WindowsVersion::major},
                                    {"MinorVersion", &control::WindowsVersion::minor},
                                    {"BuildNumber", &control::WindowsVersion::build},
                                    {"Platform", &control::WindowsVersion::platform}};

control::WindowsVersion ReadVersion(Store& store) {
    control::WindowsVersion version;
    for (const auto& [name, field] : kNumbers) version.*field = store.ReadNumber(kKey, name, version.*field);
    version.servicePack = store.ReadText(kKey, "ServicePack");
    return version;
}

// As the registry names it: a workstation, a server or a domain controller.
BYTE ProductType(Store& store) {
    const std::string type = store.ReadText("HKLM\\SYSTEM\\CurrentControlSet\\Control\\ProductOptions", "ProductType");
    return type == "LanmanNT" ? VER_NT_DOMAIN_CONTROLLER : type == "ServerNT" ? VER_NT_SERVER : VER_NT_WORKSTATION;
}

}  // namespace

namespace control {

void SetWindowsVersion(const WindowsVersion& version) {
    Store& store = world::Local()->Storage();
    const Store::Lock lock(store);
    for (const auto& [name, field] : kNumbers) store.WriteNumber(kKey, name, version.*field);
    store.WriteText(kKey, "ServicePack", version.servicePack);
}

}  // namespace control
}  // namespace embedded

BOOL GetComputerNameA(LPSTR name, LPDWORD size) {
    if (gate::Refuses(CallKind::System, "GetComputerNameA")) return FALSE;
    const std::string text = world::Local()->Name();
    if (name == nullptr || *size <= text.size()) {
        *size = DWORD(text.size() + 1);
        SetLastError(ERROR_BUFFER_OVERFLOW);
        return FALSE;
    }
    std::memcpy(name, text.c_str(), text.size() + 1);
    *size = DWORD(text.size());
    return TRUE;
}

BOOL GetVersionExA(LPOSVERSIONINFOA version) {
    if (gate::Refuses(CallKind::System, "GetVersionExA")) return FALSE;
    const DWORD size = version->dwOSVersionInfoSize;
    if (size != sizeof(OSVERSIONINFOA) && size != sizeof(OSVERSIONINFOEXA)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    embedded::Store& store = world::Local()->Storage();
    const auto facts = embedded::ReadVersion(store);
    OSVERSIONINFOEXA full{};
    full.dwOSVersionInfoSize = size;
    full.dwMajorVersion = facts.major;
    full.dwMinorVersion = facts.minor;
    full.dwBuildNumber = facts.build;
    full.dwPlatformId = facts.platform;
    facts.servicePack.copy(full.szCSDVersion, sizeof full.szCSDVersion - 1);
    full.wProductType = embedded::ProductType(store);
    std::memcpy(version, &full, size);
    return TRUE;
}
