#include "platform/embedded/modules/installer.h"

#include <algorithm>
#include <cstring>

#include "platform/embedded/control/system.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/machine/world.h"
#include "platform/embedded/modules/builtin.h"
#include "platform/embedded/modules/search.h"
#include "platform/embedded/modules/version_resource.h"

namespace embedded {
namespace {

// "{CODE}" and "C:\x\y" as value names: names of values may hold backslashes.
constexpr char kProducts[] = "META\\Installer\\Products";
constexpr char kVersions[] = "META\\Installer\\FileVersions";

std::string VersionText(const VS_FIXEDFILEINFO& record) {
    std::string text;
    for (const DWORD part : {record.dwFileVersionMS, record.dwFileVersionLS}) {
        for (const WORD number : {HIWORD(part), LOWORD(part)}) {
            if (!text.empty()) text += '.';
            text += std::to_string(number);
        }
    }
    return text;
}

// 0, ERROR_MORE_DATA or nothing to do for a null buffer; the length is stored whenever it is asked for.
UINT Deliver(const std::string& text, char* buffer, DWORD* length) {
    if (length == nullptr) return 0;
    const std::size_t capacity = *length;
    *length = DWORD(text.size());
    if (buffer == nullptr) return 0;
    if (capacity != 0) buffer[text.copy(buffer, std::min(text.size(), capacity - 1))] = '\0';
    return text.size() < capacity ? 0 : ERROR_MORE_DATA;
}

}  // namespace

namespace installer {

int WINAPI QueryProductState(const char* productCode) {
    constexpr DWORD kUnknown = DWORD(-1);  // INSTALLSTATE_UNKNOWN (msi.h)
    constexpr int kInvalidArgument = -2;
    if (gate::Enter(gate::CallKind::System, "MsiQueryProductStateA") != 0) return int(kUnknown);
    if (productCode == nullptr || *productCode == '\0') return kInvalidArgument;
    return int(world::Local()->Storage().ReadNumber(kProducts, productCode, kUnknown));
}

UINT WINAPI GetFileVersion(const char* path, char* version, DWORD* versionLength, char* language,
                           DWORD* languageLength) {
    if (const DWORD error = gate::Enter(gate::CallKind::System, "MsiGetFileVersionA")) return error;
    if (path == nullptr || (version != nullptr && versionLength == nullptr)) return ERROR_INVALID_PARAMETER;
    const std::optional<modules::FoundFile> file = modules::FileAt(path);
    if (!file) return ERROR_FILE_NOT_FOUND;
    std::string text = world::Local()->Storage().ReadText(kVersions, file->path);
    const version_resource::Resource resource = version_resource::Read(file->host);
    const auto record = version_resource::FixedRecord(resource.bytes);
    if (text.empty() && !record) return ERROR_FILE_INVALID;
    if (text.empty()) text = VersionText(*record);
    WORD languageId = 0;
    const auto translation = version_resource::Find(resource.bytes, "\\VarFileInfo\\Translation");
    if (translation && translation->value.size() >= 2) std::memcpy(&languageId, translation->value.data(), 2);
    const UINT status = Deliver(text, version, versionLength);
    const UINT languageStatus = Deliver(std::to_string(languageId), language, languageLength);
    return status != 0 ? status : languageStatus;
}

HRESULT WINAPI GetLibraryVersion(DLLVERSIONINFO* version) {
    if (version == nullptr || version->cbSize < sizeof *version) return E_INVALIDARG;
    const builtin::Module& library = *builtin::Find("msi.dll");
    version->dwMajorVersion = library.version[0];
    version->dwMinorVersion = library.version[1];
    version->dwBuildNumber = library.version[2];
    version->dwPlatformID = 2;  // DLLVER_PLATFORM_NT (shlwapi.h)
    return S_OK;
}

}  // namespace installer

namespace control {

void SetProductState(const std::string& productCode, int state) {
    world::Local()->Storage().WriteNumber(kProducts, productCode, DWORD(state));
}

void SetInstallerFileVersion(const std::string& path, const std::string& version) {
    world::Local()->Storage().WriteText(kVersions, modules::FullPath(path), version);
}

}  // namespace control
}  // namespace embedded
