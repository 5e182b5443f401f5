#include "platform/embedded/files/drive.h"

#include <algorithm>
#include <cstring>

#include "platform/embedded/api/files.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/files/path_text.h"
#include "platform/embedded/files/place.h"

namespace fs = std::filesystem;
using embedded::control::CallKind;
using embedded::control::DriveFacts;
namespace files = embedded::files;
namespace gate = embedded::gate;

namespace embedded {
namespace {

constexpr DWORD kQword = 11;  // REG_QWORD

std::string KeyOf(char letter) { return std::string("META\\Drives\\") + text::Upper(letter); }

template <class Number>
void TakeNumber(const StoredValue& value, DWORD type, Number* number) {
    if (value.type == type && value.data.size() == sizeof *number) {
        std::memcpy(number, value.data.data(), sizeof *number);
    }
}

bool WriteSize(Store& store, const std::string& key, const char* name, std::uint64_t size) {
    Bytes data(sizeof size);
    std::memcpy(data.data(), &size, sizeof size);
    return store.Write(key, name, kQword, data);
}

}  // namespace

namespace drives {

Record RecordOf(const Machine& machine, char letter) {
    constexpr DWORD kText = 1, kDword = 4;  // REG_SZ, REG_DWORD
    Record record;
    letter = text::Upper(letter);
    if (letter < 'A' || letter > 'Z') {
        record.facts.type = DRIVE_NO_ROOT_DIR;
        return record;
    }
    DriveFacts& facts = record.facts;
    std::optional<DWORD> type;
    DWORD ready = 1;
    // All of it in one look at the store: most drives have nothing there.
    for (const StoredValue& value : machine.Storage().Values(KeyOf(letter))) {
        const auto is = [&](const char* name) { return text::EqualNoCase(value.name, name); };
        if (is("Folder")) {
            record.isMounted = true;
            const std::string folder(value.data.begin(), value.data.end());
            if (value.type == kText) record.folder = folder.substr(0, folder.find('\0'));
        }
        if (is("Type") && value.type == kDword) TakeNumber(value, kDword, &type.emplace());
        if (is("TotalBytes")) TakeNumber(value, value.type, &facts.totalBytes);
        if (is("FreeBytes")) TakeNumber(value, value.type, &facts.freeBytes);
        if (is("BytesPerSector")) TakeNumber(value, kDword, &facts.bytesPerSector);
        if (is("SectorsPerCluster")) TakeNumber(value, kDword, &facts.sectorsPerCluster);
        if (is("Ready")) TakeNumber(value, kDword, &ready);
    }
    facts.type = type.value_or(record.isMounted ? DRIVE_CDROM : DRIVE_FIXED);
    facts.ready = ready != 0;
    if (record.folder.empty()) {
        record.isMounted = false;
        record.folder = machine.Folder() / "drives" / std::string(1, letter);
    }
    return record;
}

DriveFacts FactsOf(const Machine& machine, char letter) {
    Record record = RecordOf(machine, letter);
    std::error_code error;
    if (!record.isMounted && !fs::is_directory(record.folder, error)) {
        DriveFacts none;
        none.type = DRIVE_NO_ROOT_DIR;
        return none;
    }
    return record.facts;
}

std::string WindowsDirectory() {
    return world::Local()->Storage().ReadText("HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "SystemRoot",
                                              "C:\\Windows");
}

}  // namespace drives

namespace control {

bool SetDrive(char letter, const DriveFacts& facts) {
    letter = text::Upper(letter);
    if (letter < 'A' || letter > 'Z' || facts.bytesPerSector == 0 || facts.sectorsPerCluster == 0) return false;
    const std::shared_ptr<Machine> machine = world::Local();
    if (machine->Drive(letter).empty() && facts.type != DRIVE_NO_ROOT_DIR) {
        std::error_code error;
        fs::create_directories(machine->Folder() / "drives" / std::string(1, letter), error);
        if (error) return false;
    }
    Store& store = machine->Storage();
    const std::string key = KeyOf(letter);
    return store.WriteNumber(key, "Type", facts.type) && WriteSize(store, key, "TotalBytes", facts.totalBytes) &&
           WriteSize(store, key, "FreeBytes", facts.freeBytes) &&
           store.WriteNumber(key, "BytesPerSector", facts.bytesPerSector) &&
           store.WriteNumber(key, "SectorsPerCluster", facts.sectorsPerCluster) &&
           store.WriteNumber(key, "Ready", facts.ready ? 1 : 0);
}

}  // namespace control
}  // namespace embedded

namespace {

// A root as these functions take it: null for the current directory's, the final backslash may be missing.
files::Place LocateRoot(LPCSTR root) {
    std::string name = root == nullptr ? "\\" : root;
    if (root != nullptr && name.size() == 2 && name[1] == ':') name += '\\';
    return files::Locate(name.c_str());
}

DWORD Clusters(std::uint64_t bytes, const DriveFacts& facts) {
    const std::uint64_t clusters = bytes / (std::uint64_t(facts.bytesPerSector) * facts.sectorsPerCluster);
    return DWORD(std::min<std::uint64_t>(clusters, 0xFFFFFFFFu));
}

}  // namespace

UINT GetDriveTypeA(LPCSTR root) {
    if (gate::Refuses(CallKind::File, "GetDriveTypeA")) return DRIVE_UNKNOWN;
    const files::Place place = LocateRoot(root);
    if (place.machine == nullptr) return DRIVE_NO_ROOT_DIR;
    // A drive without its medium still has a type.
    if (place.error != 0 && place.error != ERROR_NOT_READY) return DRIVE_NO_ROOT_DIR;
    if (!place.IsRoot()) return DRIVE_NO_ROOT_DIR;
    if (place.isRemote) return DRIVE_REMOTE;
    return embedded::drives::FactsOf(*place.machine, place.drive).type;
}

BOOL GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector, LPDWORD freeClusters,
                       LPDWORD totalClusters) {
    if (gate::Refuses(CallKind::File, "GetDiskFreeSpaceA")) return FALSE;
    const files::Place place = LocateRoot(root);
    if (const DWORD error = place.Missing()) {
        SetLastError(error);
        return FALSE;
    }
    const DriveFacts facts = embedded::drives::FactsOf(*place.machine, place.drive);
    if (sectorsPerCluster != nullptr) *sectorsPerCluster = facts.sectorsPerCluster;
    if (bytesPerSector != nullptr) *bytesPerSector = facts.bytesPerSector;
    if (freeClusters != nullptr) *freeClusters = Clusters(facts.freeBytes, facts);
    if (totalClusters != nullptr) *totalClusters = Clusters(facts.totalBytes, facts);
    return TRUE;
}

DWORD GetLogicalDrives() {
    if (gate::Refuses(CallKind::File, "GetLogicalDrives")) return 0;
    const std::shared_ptr<embedded::Machine> machine = embedded::world::Local();
    DWORD drives = 0;
    for (unsigned index = 0; index < 26; ++index) {
        const DriveFacts facts = embedded::drives::FactsOf(*machine, char('A' + index));
        if (facts.type != DRIVE_NO_ROOT_DIR) drives |= DWORD(1) << index;
    }
    return drives;
}

UINT GetWindowsDirectoryA(LPSTR buffer, UINT size) {
    if (gate::Refuses(CallKind::File, "GetWindowsDirectoryA")) return 0;
    return embedded::paths::CopyOut(embedded::drives::WindowsDirectory(), buffer, size);
}

UINT GetSystemDirectoryA(LPSTR buffer, UINT size) {
    if (gate::Refuses(CallKind::File, "GetSystemDirectoryA")) return 0;
    return embedded::paths::CopyOut(embedded::drives::WindowsDirectory() + "\\system32", buffer, size);
}
