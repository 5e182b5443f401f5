// The Explorer's shell extension, the script file type and the uninstall entry.
#include "changes/changing.h"
#include "instalib/computer.h"
#include "instalib/path.h"
#include "registry/family_keys.h"

using namespace registry;

namespace {

using Halv = CHalvRegistry;

const CString kEmpty;
const CString kUnnamed;
const CString kKeyOnly;  // its address marks an entry without a value
const CString kApartment = "Apartment";
const CString kShellExBelow = "\\ShellEx";
const CString kMenuBelow = "\\ShellEx\\MayChangeDefaultMenu";

// One entry below HKEY_CLASSES_ROOT. A null content is the path of the extension's server.
struct ShellEntry {
    KeyPath key;
    const CString* value;
    const CString* content;
};
constexpr ShellEntry kShellEntries[] = {
    {{&Halv::m_sKorvaultShellExtensionCLSIDKey}, &kUnnamed, &Halv::m_sKorvaultShellExtension},
    {{&Halv::m_sKorvaultShellExtensionInProcServerKey}, &kUnnamed, nullptr},
    {{&Halv::m_sKorvaultShellExtensionInProcServerKey}, &Halv::m_sThreadingModel, &kApartment},
    {{&Halv::m_sKorvaultShellExtensionCLSIDKey, &kMenuBelow}, &kUnnamed, &kKeyOnly},
    {{&Halv::m_sDrivePropertySheetHandler}, &kUnnamed, &kEmpty},
    {{&Halv::m_sDriveMenuHandler}, &kUnnamed, &kEmpty},
    {{&Halv::m_sDirMenuHandler}, &kUnnamed, &kEmpty},
    {{&Halv::m_sAllMenuHandler}, &kUnnamed, &kEmpty},
    {{&Halv::m_sKorvaultScriptExtension}, &kUnnamed, &Halv::m_sKorvaultScriptFile},
    {{&Halv::m_sKorvaultScriptFile}, &kUnnamed, &Halv::m_sKorvaultScriptFile},
    {{&Halv::m_sKorvaultScriptDefaultIcon}, &kUnnamed, &kEmpty},
    {{&Halv::m_sKorvaultScriptIconHandler}, &kUnnamed, &Halv::m_sKorvaultShellExtensionCLSID},
    {{&Halv::m_sKorvaultScriptPropertySheetHandlerCLSID}, &kUnnamed, &kEmpty},
    {{&Halv::m_sKorvaultScriptMenuHandlerCLSID}, &kUnnamed, &kEmpty},
};

// Keys to delete, every child before its parent: those of the extension, then those of the script file type.
constexpr KeyPath kExtensionKeys[] = {
    {&Halv::m_sKorvaultShellExtensionInProcServerKey},
    {&Halv::m_sKorvaultShellExtensionCLSIDKey, &kMenuBelow},
    {&Halv::m_sKorvaultShellExtensionCLSIDKey, &kShellExBelow},
    {&Halv::m_sKorvaultShellExtensionCLSIDKey},
    {&Halv::m_sDrivePropertySheetHandler},
    {&Halv::m_sDriveMenuHandler},
    {&Halv::m_sDirMenuHandler},
    {&Halv::m_sAllMenuHandler},
};
constexpr KeyPath kScriptKeys[] = {
    {&Halv::m_sKorvaultScriptDefaultIcon},
    {&Halv::m_sKorvaultScriptIconHandler},
    {&Halv::m_sKorvaultScriptPropertySheetHandlerCLSID},
    {&Halv::m_sKorvaultScriptPropertySheetHandler},
    {&Halv::m_sKorvaultScriptMenuHandlerCLSID},
    {&Halv::m_sKorvaultScriptMenuHandler},
    {&Halv::m_sKorvaultScriptFileShellExtension},
    {&Halv::m_sKorvaultScriptFile},
};

// A backslash is added unless one ends the directory; the second byte of a character is none.
CString ServerIn(const CString& directory) {
    CString trimmed = directory;
    const bool ends = TrimTailBackSlash(trimmed) < directory.GetLength();
    return directory + (ends ? "KSHELL.DLL" : "\\KSHELL.DLL");
}

void WriteShellEntry(const ShellEntry& entry, const CString& server) {
    RegistryKey key;
    if (!Outcome(Create(HKEY_CLASSES_ROOT, entry.key.Text(), key)) || entry.content == &kKeyOnly) return;
    const char* const content = entry.content != nullptr ? *entry.content : server;
    Outcome(SetValue(key.Get(), *entry.value, content));
}

// Windows tells its version, 4 or later or older; when it does not, nothing is known and the call's error stays.
enum class Nt { Unknown, Older, Version4 };
Nt WhichNt() {
    const DWORD version = CComputer::GetNTVersion(nullptr);
    return version == 0 ? Nt::Unknown : version > 3 ? Nt::Version4 : Nt::Older;
}

void DeleteClassKeys(std::span<const KeyPath> keys) {
    for (const KeyPath& key : keys) Outcome(changing::RegDeleteKeyA(HKEY_CLASSES_ROOT, key.Text()));
}

}  // namespace

int CHalvRegistry::SetKorvaultShellExtension(const char* directory) {
    if (directory == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    if (const Nt nt = WhichNt(); nt != Nt::Version4) return nt == Nt::Older;
    const CString server = ServerIn(directory);
    const char* const clsid = m_sKorvaultShellExtensionCLSID;
    const char* const description = m_sKorvaultShellExtension;
    Outcome(WriteValue(m_sShellExtApprovedKey, clsid, description));
    for (const ShellEntry& entry : kShellEntries) WriteShellEntry(entry, server);
    return 1;
}

int CHalvRegistry::SetKorvaultShellExtension() {
    return MayWrite() ? SetKorvaultShellExtension(m_Settings.KorvaultPath()) : 0;
}

void CHalvRegistry::DeleteKorvaultShellExtension(const char*) {
    Outcome(DeleteValue(HKEY_LOCAL_MACHINE, m_sShellExtApprovedKey, m_sKorvaultShellExtensionCLSID));
    DeleteClassKeys(kExtensionKeys);
    // Other programs may have made ".asx" theirs meanwhile: the key stays.
    Outcome(DeleteValue(HKEY_CLASSES_ROOT, m_sKorvaultScriptExtension, kUnnamed));
    DeleteClassKeys(kScriptKeys);
}

int CHalvRegistry::DeleteKorvaultShellExtension() {
    if (!MayWrite()) return 0;
    DeleteKorvaultShellExtension(m_Settings.KorvaultPath());
    return 1;
}

int CHalvRegistry::CreateUninstallKey(const char* name, const char* displayName, const char* uninstallString) {
    if (name == nullptr || *name == '\0') return FailWith(ERROR_INVALID_PARAMETER);
    if (const Nt nt = WhichNt(); nt != Nt::Version4) return nt == Nt::Older;
    RegistryKey key;
    return Outcome(Create(HKEY_LOCAL_MACHINE, m_sUninstallKey + "\\" + name, key)) &&
           Outcome(SetValue(key.Get(), m_sDisplayName, displayName)) &&
           Outcome(SetValue(key.Get(), m_sUninstallString, uninstallString));
}

void CHalvRegistry::DeleteUninstallKey(const char* name) {
    // Without a name the path would be that of the whole list.
    if (name == nullptr || *name == '\0' || WhichNt() != Nt::Version4) return;
    Outcome(changing::RegDeleteKeyA(HKEY_LOCAL_MACHINE, m_sUninstallKey + "\\" + name));
}

int CHalvRegistry::CreateKorvaultUninstallKey() {
    const CString command = CString(m_Settings.KorvaultPath()) + "UNINKV.EXE -U -dCOMPGUI01.DLL";
    return CreateUninstallKey(m_sKorvaultUninstallKey, m_Settings.ProductName(), command);
}

void CHalvRegistry::DeleteKorvaultUninstallKey() { DeleteUninstallKey(m_sKorvaultUninstallKey); }
