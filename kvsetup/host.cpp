// What both targets do alike, through the same Windows functions.
#ifdef INSTALIB_KVSETUP_EMBEDDED
#include "platform/embedded/api/files.h"
#include "platform/embedded/api/modules.h"
#include "platform/embedded/api/registry.h"
#include "platform/embedded/api/system.h"
#endif

#include "kvsetup/host.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "kvsetup/console.h"

namespace host {
namespace {

std::string SystemText(DWORD error) {
    char text[512] = "";
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text,
                                  sizeof text, nullptr);
    while (length > 0 && (text[length - 1] <= ' ' || text[length - 1] == '.')) --length;
    return std::string(text, length);
}

}  // namespace

DWORD LastError() { return ::GetLastError(); }
void SetLastError(DWORD error) { ::SetLastError(error); }

std::string ErrorText(DWORD error) {
    if (error == 0) return "no reason is known";
    const std::string text = SystemText(error);
    return (text.empty() ? "Windows error" : text) + " (" + std::to_string(error) + ")";
}

bool ReadFile(const std::string& hostPath, std::string& bytes) {
    bytes.clear();
    std::error_code error;
    if (std::filesystem::is_directory(hostPath, error)) return false;
    std::ifstream file(hostPath, std::ios::binary);
    char buffer[65536];
    while (file.read(buffer, sizeof buffer) || file.gcount() > 0) bytes.append(buffer, std::size_t(file.gcount()));
    return file.eof();
}

bool WriteFile(const std::string& hostPath, const std::string& bytes) {
    const std::string beside = hostPath + ".new";
    std::ofstream file(beside, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.close();
    if (file) std::remove(hostPath.c_str());
    if (file && std::rename(beside.c_str(), hostPath.c_str()) == 0) return true;
    std::remove(beside.c_str());
    return false;
}

int WithKey(const std::string& path, const std::function<int(HKEY)>& use) {
    HKEY key = nullptr;
    const auto status = static_cast<DWORD>(RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_ALL_ACCESS, &key));
    if (status != ERROR_SUCCESS) {
        ::SetLastError(status);
        return 0;
    }
    const int result = use(key);
    const DWORD error = ::GetLastError();
    RegCloseKey(key);
    ::SetLastError(error);
    return result;
}

namespace {

Presence FromStatus(LONG status) {
    if (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) return Presence::Present;
    if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND) return Presence::Absent;
    ::SetLastError(static_cast<DWORD>(status));
    return Presence::Unknown;
}

}  // namespace

Presence LookForKey(const std::string& path) {
    HKEY key = nullptr;
    const LONG status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, &key);
    if (status == ERROR_SUCCESS) RegCloseKey(key);
    return FromStatus(status);
}

Presence LookForValue(const std::string& path, const std::string& name) {
    HKEY key = nullptr;
    LONG status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, &key);
    if (status != ERROR_SUCCESS) return FromStatus(status);
    status = RegQueryValueExA(key, name.c_str(), nullptr, nullptr, nullptr, nullptr);
    RegCloseKey(key);
    return FromStatus(status);
}

Presence LookIntoKey(const std::string& path, DWORD* keys, DWORD* values) {
    HKEY key = nullptr;
    LONG status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, &key);
    if (status != ERROR_SUCCESS) return FromStatus(status);
    status = RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, keys, nullptr, nullptr, values, nullptr, nullptr, nullptr,
                              nullptr);
    RegCloseKey(key);
    return FromStatus(status);
}

Presence LookForEmptyKey(const std::string& path) {
    DWORD keys = 0, values = 0;
    const Presence presence = LookIntoKey(path, &keys, &values);
    return presence == Presence::Present && keys + values != 0 ? Presence::Absent : presence;
}

Presence ReadValue(const std::string& path, const std::string& name, DWORD* type, std::string* data) {
    HKEY key = nullptr;
    LONG status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, &key);
    if (status != ERROR_SUCCESS) return FromStatus(status);
    DWORD size = 0;
    // Somebody may write to it meanwhile: then it is another size.
    do {
        data->resize(size);
        status = RegQueryValueExA(key, name.c_str(), nullptr, type, reinterpret_cast<BYTE*>(data->data()), &size);
    } while (status == ERROR_MORE_DATA || (status == ERROR_SUCCESS && size > data->size()));
    RegCloseKey(key);
    if (status == ERROR_SUCCESS) data->resize(size);
    return FromStatus(status);
}

Presence LookForDirectory(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return FromStatus(static_cast<LONG>(::GetLastError()));
    return FromStatus((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ERROR_SUCCESS : ERROR_DIRECTORY);
}

std::string WindowsDirectory() {
    char path[MAX_PATH + 1] = "";
    GetWindowsDirectoryA(path, sizeof path);
    std::string directory = path;
    while (directory.ends_with('\\')) directory.pop_back();
    return directory;
}

DWORD MissingEntryPoints(const std::string& library, const std::vector<std::string>& names,
                         std::vector<std::string>* missing) {
    const HMODULE module = LoadLibraryA(library.c_str());
    if (module == nullptr) return ::GetLastError();
    for (const std::string& name : names) {
        const char* const entry = name[0] == '#' ? MAKEINTRESOURCEA(std::stoi(name.substr(1))) : name.c_str();
        if (GetProcAddress(module, entry) == nullptr) missing->push_back(name);
    }
    FreeLibrary(module);
    return 0;
}

SetupLock::SetupLock(unsigned seconds) : m_mutex(CreateMutexA(nullptr, FALSE, "Global\\KvsetupRunning")) {
    DWORD outcome = m_mutex == nullptr ? WAIT_FAILED : WaitForSingleObject(m_mutex, 0);
    if (outcome == WAIT_TIMEOUT && seconds != 0) {
        console::Warn("another setup is at work on this machine; this one waits for it, at most " +
                      std::to_string(seconds) + " seconds");
        outcome = WaitForSingleObject(m_mutex, seconds * 1000);
    }
    m_held = outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED;
}

SetupLock::~SetupLock() {
    if (m_held) ReleaseMutex(m_mutex);
    if (m_mutex != nullptr) CloseHandle(m_mutex);
}

StatusMailslot::StatusMailslot()
    : m_mailslot(CreateMailslotA("\\\\.\\mailslot\\Zephranite_Setup_Status", 0, 200, nullptr)) {
    if (m_mailslot == INVALID_HANDLE_VALUE) m_mailslot = nullptr;
}

StatusMailslot::~StatusMailslot() {
    if (m_mailslot != nullptr) CloseHandle(m_mailslot);
}

bool StatusMailslot::Read(std::string& message) {
    message.assign(65536, '\0');
    DWORD read = 0;
    const bool received =
        ::ReadFile(m_mailslot, message.data(), static_cast<DWORD>(message.size()), &read, nullptr) != FALSE;
    message.resize(received ? read : 0);
    return received;
}

bool IsLeadByte(char byte) { return IsDBCSLeadByte(static_cast<BYTE>(byte)) != FALSE; }

void Wipe(std::string& text) {
    // Through volatile, so that the stores are not left out as dead.
    volatile char* const bytes = text.data();
    for (std::size_t i = 0; i < text.size(); ++i) bytes[i] = '\0';
}

}  // namespace host
