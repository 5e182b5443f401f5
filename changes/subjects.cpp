#include "changes/subjects.h"

#include <vector>

#include "changes/bytes.h"
#include "changes/changing.h"
#include "changes/names.h"
#include "changes/registry_objects.h"
#include "platform/handles.h"

namespace changes::subjects {
namespace {

// Keys of other machines have no name here: what is changed there cannot be taken back.
bool IsOpen(HKEY key) {
    return RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr) != ERROR_INVALID_HANDLE;
}

void AddKeyPart(Subjects& subjects, Kind kind, HKEY key, LPCSTR part, const State* intended) {
    const std::string name = NameOfKey(key);
    const std::string text = part == nullptr ? "" : part;
    if (name.empty() && IsOpen(key)) return subjects.Add(Kind::Outside, "registry of another machine", text);
    if (name.empty()) return subjects.Refuse(ERROR_INVALID_HANDLE);
    if (intended != nullptr) return subjects.Add(kind, name, text, *intended);
    subjects.Add(kind, name, text);
}

std::string ServiceName(SC_HANDLE service) { return Recorder::The().NameOf(service); }

void AddService(Subjects& subjects, Kind kind, SC_HANDLE service) {
    const std::string name = ServiceName(service);
    if (name.empty()) return subjects.Refuse(ERROR_INVALID_HANDLE);
    subjects.Add(kind, name);
}

std::string OnServer(LPCWSTR server, LPCWSTR name) { return names::Narrow(server) + "\\" + names::Narrow(name); }

void AddPath(Subjects& subjects, Kind kind, LPCSTR path, const State* intended = nullptr) {
    const std::string full = names::FullPath(path);
    // A path that is none fails by itself and changes nothing.
    if (full.empty()) return;
    if (intended != nullptr) return subjects.Add(kind, full, "", *intended);
    subjects.Add(kind, full);
}

void AddRights(Subjects& subjects, LSA_HANDLE account) {
    const std::string name = Recorder::The().NameOf(account);
    if (name.empty()) return subjects.Refuse(ERROR_INVALID_HANDLE);
    subjects.Add(Kind::Rights, name);
}

}  // namespace

void CreateKey(Subjects& subjects, HKEY key, LPCSTR subkey, DWORD, LPSTR, DWORD, REGSAM desired,
               const LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) {
    KeyPath path;
    const DWORD error = FindKey(key, subkey, desired, path);
    if (error == ERROR_INVALID_HANDLE && IsOpen(key))
        return subjects.Add(Kind::Outside, "registry of another machine", subkey == nullptr ? "" : subkey);
    // An existing key that may not be opened is not created either: the call says why.
    if (error != 0 && error != ERROR_ACCESS_DENIED) return subjects.Refuse(error);
    std::vector<std::string> created;
    for (; error == 0 && path.missing > 0; --path.missing) {
        created.push_back(path.name);
        path.name.resize(path.name.rfind('\\'));
    }
    for (auto name = created.rbegin(); name != created.rend(); ++name) subjects.Add(Kind::Key, *name);
}

void DeleteKeyEx(Subjects& subjects, HKEY key, LPCSTR subkey, REGSAM view, DWORD) {
    KeyPath path;
    const DWORD error = FindKey(key, subkey, view, path);
    if (error == ERROR_INVALID_HANDLE && IsOpen(key))
        return subjects.Add(Kind::Outside, "registry of another machine", subkey == nullptr ? "" : subkey);
    if (error != 0) return subjects.Refuse(error);
    if (path.missing == 0) subjects.Add(Kind::Key, path.name, "", State());
}
void DeleteKey(Subjects& subjects, HKEY key, LPCSTR subkey) { DeleteKeyEx(subjects, key, subkey, 0, 0); }

void SetValue(Subjects& subjects, HKEY key, LPCSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    const State intended =
        Writer().Number(type).Text({reinterpret_cast<const char*>(data), data == nullptr ? 0 : size}).Bytes();
    AddKeyPart(subjects, Kind::Value, key, name, &intended);
}
void DeleteValue(Subjects& subjects, HKEY key, LPCSTR name) {
    const State gone;
    AddKeyPart(subjects, Kind::Value, key, name, &gone);
}
void SetKeySecurity(Subjects& subjects, HKEY key, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR) {
    AddKeyPart(subjects, Kind::KeySecurity, key, nullptr, nullptr);
}
void SetSecurity(Subjects& subjects, HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION, PSID, PSID, PACL, PACL) {
    if (type == SE_REGISTRY_KEY || type == SE_REGISTRY_WOW64_32KEY)
        return AddKeyPart(subjects, Kind::KeySecurity, static_cast<HKEY>(handle), nullptr, nullptr);
    subjects.Add(Kind::Outside, "security of an open object");
}

void CreateService(Subjects& subjects, SC_HANDLE, LPCSTR name, LPCSTR, DWORD, DWORD, DWORD, DWORD, LPCSTR, LPCSTR,
                   LPDWORD, LPCSTR, LPCSTR, LPCSTR) {
    if (name != nullptr && *name != '\0') subjects.Add(Kind::Service, name);
}
void ChangeService(Subjects& subjects, SC_HANDLE service, DWORD, DWORD, DWORD, LPCSTR, LPCSTR, LPDWORD, LPCSTR, LPCSTR,
                   LPCSTR password, LPCSTR) {
    AddService(subjects, Kind::Service, service);
    if (password != nullptr && subjects.Error() == 0)
        subjects.Add(Kind::Outside, "password of the service " + ServiceName(service));
}
void ChangeService2(Subjects& subjects, SC_HANDLE service, DWORD level, LPVOID) {
    if (level == SERVICE_CONFIG_DESCRIPTION) return AddService(subjects, Kind::Service, service);
    subjects.Add(Kind::Outside, "further settings of the service " + ServiceName(service));
}
void DeleteService(Subjects& subjects, SC_HANDLE service) { AddService(subjects, Kind::Service, service); }
void StartService(Subjects& subjects, SC_HANDLE service, DWORD, LPCSTR*) {
    AddService(subjects, Kind::ServiceState, service);
}
void ControlService(Subjects& subjects, SC_HANDLE service, DWORD control, LPSERVICE_STATUS) {
    if (control == SERVICE_CONTROL_STOP) AddService(subjects, Kind::ServiceState, service);
}

void CreateDirectory(Subjects& subjects, LPCSTR path, LPSECURITY_ATTRIBUTES) {
    AddPath(subjects, Kind::Directory, path);
}
void RemoveDirectory(Subjects& subjects, LPCSTR path) {
    const State gone;
    AddPath(subjects, Kind::Directory, path, &gone);
}
void SetAttributes(Subjects& subjects, LPCSTR path, DWORD) { AddPath(subjects, Kind::Attributes, path); }
void SetFileSecurity(Subjects& subjects, LPCSTR path, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR) {
    AddPath(subjects, Kind::FileSecurity, path);
}

void WriteProfileString(Subjects& subjects, LPCSTR section, LPCSTR key, LPCSTR, LPCSTR file) {
    if (section == nullptr || file == nullptr) return;  // a flush of the cache, or nothing at all
    const std::string path = names::ProfilePath(file);
    if (key == nullptr) return subjects.Add(Kind::ProfileEntry, path, section);
    subjects.Add(Kind::ProfileEntry, path, std::string(section) + '\0' + key, NamesPassword(key));
}
void WriteProfileSection(Subjects& subjects, LPCSTR section, LPCSTR text, LPCSTR file) {
    WriteProfileString(subjects, section, nullptr, text, file);
}

// The record begins with the name at every level.
void AddUser(Subjects& subjects, LPCWSTR server, DWORD, LPBYTE buffer, LPDWORD) {
    if (buffer == nullptr) return;
    subjects.Add(Kind::Account, OnServer(server, reinterpret_cast<const USER_INFO_0*>(buffer)->usri0_name));
}
void DeleteUser(Subjects& subjects, LPCWSTR server, LPCWSTR user) {
    subjects.Add(Kind::Account, OnServer(server, user), "", State());
}
void Members(Subjects& subjects, LPCWSTR server, LPCWSTR group, DWORD level, LPBYTE buffer, DWORD count) {
    if (buffer == nullptr) return;
    if (level != 0) return subjects.Add(Kind::Outside, "members of " + OnServer(server, group));
    const auto* const members = reinterpret_cast<const LOCALGROUP_MEMBERS_INFO_0*>(buffer);
    for (DWORD i = 0; i < count; ++i)
        subjects.Add(Kind::Member, OnServer(server, group), names::SidText(members[i].lgrmi0_sid));
}
void CreateAccount(Subjects& subjects, LSA_HANDLE policy, PSID account, ACCESS_MASK, PLSA_HANDLE) {
    const std::string server = Recorder::The().NameOf(policy);
    if (server.empty()) return subjects.Refuse(ERROR_INVALID_HANDLE);
    const std::string sid = names::SidText(account);

    if (!sid.empty()) subjects.Add(Kind::Rights, server.substr(0, server.size() - 1) + "\\" + sid);
}
void SetSystemAccess(Subjects& subjects, LSA_HANDLE account, ULONG) { AddRights(subjects, account); }
void AddPrivileges(Subjects& subjects, LSA_HANDLE account, PPRIVILEGE_SET) { AddRights(subjects, account); }
void RemovePrivileges(Subjects& subjects, LSA_HANDLE account, BOOLEAN, PPRIVILEGE_SET) { AddRights(subjects, account); }

void AddShare(Subjects& subjects, LMSTR server, DWORD, LPBYTE buffer, LPDWORD) {
    if (buffer == nullptr) return;
    subjects.Add(Kind::Share, OnServer(server, reinterpret_cast<const SHARE_INFO_0*>(buffer)->shi0_netname));
}
void SetShare(Subjects& subjects, LMSTR server, LMSTR share, DWORD, LPBYTE, LPDWORD) {
    subjects.Add(Kind::Share, OnServer(server, share));
}
void DeleteShare(Subjects& subjects, LMSTR server, LMSTR share, DWORD) {
    subjects.Add(Kind::Share, OnServer(server, share), "", State());
}

void SetEnvironment(Subjects& subjects, LPCSTR name, LPCSTR value) {
    if (name == nullptr || *name == '\0') return;
    subjects.Add(Kind::Environment, name, "", value == nullptr ? State() : Writer().Text(value).Bytes());
}
void StartProgram(Subjects& subjects, LPCSTR program, LPSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES,
                  BOOL, DWORD, LPVOID, LPCSTR, LPSTARTUPINFOA, LPPROCESS_INFORMATION) {
    const char* const what = program != nullptr ? program : commandLine;
    if (what != nullptr) subjects.Add(Kind::Outside, what);
}

void LearnServiceName(SC_HANDLE service, LPCSTR name) { Recorder::The().Learn(service, name == nullptr ? "" : name); }
void LearnServer(LSA_HANDLE policy, PLSA_UNICODE_STRING server) {
    std::string name;
    if (server != nullptr && server->Buffer != nullptr) {
        std::vector<WCHAR> wide(server->Buffer, server->Buffer + server->Length / sizeof(WCHAR));
        wide.push_back(0);
        name = names::Narrow(wide.data());
    }
    Recorder::The().Learn(policy, name + "\n");  // never empty: this machine's policy is known, too
}
void LearnSid(LSA_HANDLE policy, PSID sid, LSA_HANDLE account) {
    const std::string server = Recorder::The().NameOf(policy);
    if (!server.empty())
        Recorder::The().Learn(account, server.substr(0, server.size() - 1) + "\\" + names::SidText(sid));
}

}  // namespace changes::subjects

namespace changing {

namespace door {

std::atomic<bool> recording{false};

BOOL DeleteFileKeeping(LPCSTR name) {
    try {
        const std::string path = changes::names::FullPath(name);
        const DWORD attributes = path.empty() ? INVALID_FILE_ATTRIBUTES : GetFileAttributesA(path.c_str());
        // What is not there, a directory or a read-only file is not deleted: Windows says why.
        if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            return ::DeleteFileA(name);
        if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) return FailWith(ERROR_ACCESS_DENIED);
        std::string kept;
        if (const DWORD error = changes::Recorder::The().NextKept(path, kept)) return FailWith(error);
        changes::Subjects subjects;
        subjects.Add(changes::Kind::File, path, kept, changes::State());
        return Recorded<Reports::LastError, BOOL>(subjects, [&] { return ::MoveFileA(path.c_str(), kept.c_str()); });
    } catch (const std::bad_alloc&) {
        return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    }
}

}  // namespace door

bool Announce(const char* what) {
    if (!door::recording.load(std::memory_order_relaxed)) return true;
    try {
        changes::Subjects subjects;
        subjects.Add(changes::Kind::Outside, what);
        return door::Recorded<door::Reports::LastError, BOOL>(subjects, [] { return TRUE; }) != 0;
    } catch (const std::bad_alloc&) {
        return FailWith(ERROR_NOT_ENOUGH_MEMORY) != 0;
    }
}

}  // namespace changing
