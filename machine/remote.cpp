#include "instalib/remote.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/text.h"
#include "foundation/wide_text.h"
#include "foundation/wipe.h"
#include "instalib/string.h"
#include "platform/handles.h"

// What a session and its copies hold together.
struct CKVRemote::Connection {
    unsigned sessions = 1;
    bool open = true;
    RegistryKey root;
};

namespace {

constexpr DWORD kPreferredBytes = 16384;
constexpr int kLongestShareName = 12;

template <std::size_t N>
void Store(char (&field)[N], const char* text) {
    std::memset(field, 0, N);
    std::strncpy(field, OrEmpty(text), N - 1);
}

// The fields are the caller's to write; what stands behind their ends is not.
template <std::size_t N>
const char* Text(char (&field)[N]) {
    field[N - 1] = '\0';
    return field;
}

bool GetLocalName(char (&name)[16]) {
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) != 0;
}

// Cut to whole characters.
CString ShareName(const WCHAR* name) {
    constexpr DWORD kFlags = WC_COMPOSITECHECK | WC_SEPCHARS;
    char text[4 * (NNLEN + 1)] = "";
    int size = WideCharToMultiByte(CP_ACP, kFlags, name, -1, text, sizeof text, nullptr, nullptr);
    // UTF-8 refuses the flags, not the text.
    if (size == 0 && GetLastError() == ERROR_INVALID_FLAGS)
        size = WideCharToMultiByte(CP_ACP, 0, name, -1, text, sizeof text, nullptr, nullptr);
    if (size == 0) return CString();
    int length = 0;
    while (text[length] != '\0') {
        const int step = IsDBCSLeadByte(BYTE(text[length])) && text[length + 1] != '\0' ? 2 : 1;
        if (length + step > kLongestShareName) break;
        length += step;
    }
    return CString(text, length);
}

void AddDrives(const SHARE_INFO_2* shares, DWORD count, CComboBox& comboBox) {
    for (DWORD i = 0; i < count; ++i) {
        if (shares[i].shi2_netname == nullptr || shares[i].shi2_type != STYPE_SPECIAL) continue;
        const CString name = ShareName(shares[i].shi2_netname);
        if (!name.IsEmpty() && name.CompareNoCase("ADMIN$") != 0) comboBox.AddString(name);
    }
}

}  // namespace

CKVRemote::CKVRemote(const char* machine, const char* user, const char* password)
    : m_bRemote(machine != nullptr && !IsLocalMachine(machine)),
      m_dwShareCount(0),
      m_pShares(nullptr),
      m_pConnection(nullptr) {
    Store(m_szMachineName, machine);
    if (machine == nullptr) GetLocalMachineName();
    Store(m_szUserName, user);
    Store(m_szPassword, password);
}

CKVRemote::CKVRemote(const CKVRemote& other) : m_pConnection(nullptr) { *this = other; }

CKVRemote& CKVRemote::operator=(const CKVRemote& other) {
    if (this == &other) return *this;
    if (m_pConnection != other.m_pConnection) {
        if (m_pConnection != nullptr && m_pConnection->sessions == 1) Disconnect();
        Drop();
        m_pConnection = other.m_pConnection;
        if (m_pConnection != nullptr) ++m_pConnection->sessions;
    }
    std::memcpy(m_szMachineName, other.m_szMachineName, sizeof m_szMachineName);
    std::memcpy(m_szUserName, other.m_szUserName, sizeof m_szUserName);
    std::memcpy(m_szPassword, other.m_szPassword, sizeof m_szPassword);
    m_bRemote = other.m_bRemote;
    m_dwShareCount = other.m_dwShareCount;
    m_pShares = other.m_pShares;
    return *this;
}

CKVRemote::~CKVRemote() {
    Disconnect();
    Drop();
    WipeMemory(m_szPassword, sizeof m_szPassword);
}

DWORD CKVRemote::Connect(const char* share, int testOnly) {
    if (IsConnect()) return 0;
    Drop();
    std::unique_ptr<Connection> connection(new (std::nothrow) Connection);
    if (connection == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    const char* const machine = Text(m_szMachineName);
    const char* const user = Text(m_szUserName);
    CString remoteName, logonName = user;
    if (*OrEmpty(share) == '\0')
        remoteName.Format("\\\\%s", machine);
    else
        remoteName.Format("\\\\%s\\%s", machine, share);
    if (FirstBackslash(user) == nullptr) logonName.Format("%s\\%s", machine, user);

    char comment[] = "Korvault Remote Install Login";
    NETRESOURCEA resource{};
    resource.dwScope = RESOURCE_GLOBALNET;
    resource.dwType = RESOURCETYPE_DISK;
    resource.dwUsage = RESOURCEUSAGE_CONNECTABLE;
    resource.lpRemoteName = remoteName.GetBuffer(remoteName.GetLength());
    resource.lpComment = comment;
    const DWORD error = WNetAddConnection2A(&resource, Text(m_szPassword), logonName, 0);
    if (error == NO_ERROR && !testOnly) {
        m_pConnection = connection.release();
        return error;
    }
    if (error == NO_ERROR) WNetCancelConnection2A(remoteName, 0, TRUE);
    return error;
}

void CKVRemote::Disconnect() {
    if (!IsConnect()) return;
    m_pConnection->open = false;
    m_pConnection->root.Reset();
    if (m_bRemote) {
        CString name;
        name.Format("\\\\%s\\ipc$", Text(m_szMachineName));
        WNetCancelConnection2A(name, 0, TRUE);
    }
    Drop();
}

// Gives up this object's part in the connection.
void CKVRemote::Drop() {
    if (m_pConnection != nullptr && --m_pConnection->sessions == 0) delete m_pConnection;
    m_pConnection = nullptr;
}

int CKVRemote::IsConnect() { return m_pConnection != nullptr && m_pConnection->open; }
int CKVRemote::IsRemoteMachine() { return m_bRemote; }

int CKVRemote::IsLocalMachine(const char* machine) {
    char local[16] = "";
    return machine == nullptr || (GetLocalName(local) && _stricmp(machine, local) == 0);
}

char* CKVRemote::MachineName() { return m_szMachineName; }
char* CKVRemote::UserName() { return m_szUserName; }
char* CKVRemote::Password() { return m_szPassword; }
DWORD CKVRemote::GetShareCount() { return m_dwShareCount; }
_SHARE_INFO_1* CKVRemote::GetAllSahres() { return m_pShares; }

int CKVRemote::EnumerateShares(CComboBox* comboBox) {
    if (comboBox == nullptr || comboBox->m_hWnd == nullptr) return 0;
    m_dwShareCount = 0;
    WideText machine(Text(m_szMachineName));
    if (!machine.Fits()) return 0;  // it would name this machine
    BYTE* buffer = nullptr;
    DWORD read = 0, total = 0;
    const DWORD status = NetShareEnum(machine.Get(), 2, &buffer, kPreferredBytes, &read, &total, nullptr);
    const NetBuffer owner(buffer);
    if (status != NERR_Success) return FailWith(status);
    m_dwShareCount = read;
    if (read == 0 || buffer == nullptr) return 0;
    AddDrives(reinterpret_cast<const SHARE_INFO_2*>(buffer), read, *comboBox);
    return 1;
}

HKEY CKVRemote::GetMachineRegKey() {
    if (!m_bRemote || !IsConnect()) return HKEY_LOCAL_MACHINE;
    RegistryKey& root = m_pConnection->root;
    if (root) return root.Get();
    CString name;
    name.Format("\\\\%s", Text(m_szMachineName));
    const LSTATUS status = RegConnectRegistryA(name, HKEY_LOCAL_MACHINE, root.Receive());
    if (status == ERROR_SUCCESS) return root.Get();
    root.Reset();
    SetLastError(DWORD(status));
    return nullptr;
}

void CKVRemote::GetLocalMachineName() {
    char name[16] = "";
    if (GetLocalName(name)) std::memcpy(m_szMachineName, name, sizeof name);
}
