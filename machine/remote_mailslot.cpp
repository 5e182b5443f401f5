#include "instalib/remote_mailslot.h"

#include <atomic>
#include <cstring>

#include "foundation/text.h"
#include "platform/handles.h"
#include "setupfiles/program_folder.h"

namespace {

constexpr int kLongestMessage = 260;
constexpr int kCutMessage = 259;

struct Component {
    const char* library;
    WORD code;
};

constexpr Component kComponents[] = {
    {"COMPGUI01.DLL", 24}, {"COMPGUI02.DLL", 105},  {"COMPGUI03.DLL", 105}, {"COMPGUI04.DLL", 35},
    {"COMPGUI05.DLL", 61}, {"COMPGUI06.DLL", 33},   {"COMPGUI07.DLL", 34},  {"COMPGUI08.DLL", 46},
    {"COMPGUI09.DLL", 65}, {"COMPGUI10.DLL", 27},   {"COMPGUI11.DLL", 84},  {"COMPGUI12.DLL", 52},
    {"COMPGUI13.DLL", 96}, {"COMPGUI14.DLL", 1027}, {"COMPGUI15.DLL", 62},  {"COMPGUI16.DLL", 40},
    {"COMPGUI17.DLL", 58}, {"COMPGUI18.DLL", 81},   {"COMPGUI19.DLL", 41},  {"COMPGUI20.DLL", 38},
    {"COMPGUI21.DLL", 37}, {"COMPGUI22.DLL", 60},   {"COMPGUI23.DLL", 59},  {"COMPGUI24.DLL", 99},
};
static_assert(sizeof kComponents / sizeof *kComponents == 24);

std::atomic<WORD> g_componentCode{0};

WORD ComponentCode() {
    if (const WORD known = g_componentCode; known != 0) return known;
    char library[257] = "";
    GetPrivateProfileStringA("ProductInfo", "GUIDLL", "", library, 256, ProgramFolder() + "SETUP.INF");
    for (const Component& component : kComponents) {
        if (_stricmp(library, component.library) != 0) continue;
        g_componentCode = component.code;
        break;
    }
    return g_componentCode;
}

bool IsLocal(const char* receiver) {
    char local[MAX_PATH] = "";
    DWORD size = sizeof local;
    return receiver == nullptr || !GetComputerNameA(local, &size) || _stricmp(receiver, local) == 0;
}

using SenderName = char[16];

bool ReadConfiguredName(SenderName& name) {
    char value[262] = "";
    GetPrivateProfileStringA("Install", "HostName", "", value, 261, ProgramFolder() + "Setup.icf");
    const char* first = value;
    while (*first == ' ' || *first == '\t') ++first;
    std::size_t length = std::strlen(first);
    while (length > 0 && (first[length - 1] == ' ' || first[length - 1] == '\t')) --length;
    if (length == 0 || length >= sizeof name) return false;
    std::memcpy(name, first, length);
    return true;
}

void FindSender(bool isLocal, SenderName& name) {
    if (!isLocal && ReadConfiguredName(name)) return;
    DWORD size = sizeof name;
    if (!GetComputerNameA(name, &size)) name[0] = '\0';
}

// Sends what `format` makes of the sender's name and the arguments.
template <class... Arguments>
int Send(const char* receiver, const char* format, Arguments... arguments) {
    const bool isLocal = IsLocal(receiver);
    SenderName sender = {};
    FindSender(isLocal, sender);
    CString message, path;
    message.Format(format, sender, arguments...);
    const int length = message.GetLength() > kLongestMessage ? kCutMessage : message.GetLength();
    path.Format("\\\\%s\\mailslot\\Zephranite_Setup_Status", isLocal ? "." : receiver);
    const FileHandle slot(
        CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return slot ? WriteFile(slot.Get(), static_cast<const char*>(message), DWORD(length), &written, nullptr) : 0;
}

}  // namespace

CRemoteMailslot::CRemoteMailslot(const char* receiver) : m_sReceiver(receiver) {}
CRemoteMailslot::CRemoteMailslot(const CRemoteMailslot& other) = default;
CRemoteMailslot& CRemoteMailslot::operator=(const CRemoteMailslot& other) = default;
CRemoteMailslot::~CRemoteMailslot() = default;

int CRemoteMailslot::SendStatus(DWORD status1, DWORD status2) { return SendStatus(m_sReceiver, status1, status2); }
int CRemoteMailslot::SendStatus(DWORD status1, DWORD status2, const char* text) {
    return SendStatus(m_sReceiver, status1, status2, text);
}

int CRemoteMailslot::SendStatus(const char* receiver, DWORD status1, DWORD status2) {
    return Send(receiver, "%s\\%d\\%d\\%ld", int(status1), int(status2), long(ComponentCode()));
}

int CRemoteMailslot::SendStatus(const char* receiver, DWORD status1, DWORD status2, const char* text) {
    return Send(receiver, "%s\\%d\\%d\\%s\\%ld", int(status1), int(status2), OrEmpty(text), long(ComponentCode()));
}

int CRemoteMailslot::SendStatus(const char* receiver, DWORD status1, DWORD status2, const char* text1,
                                const char* text2) {
    return Send(receiver, "%s\\%d\\%d\\%s\\%s", int(status1), int(status2), OrEmpty(text1), OrEmpty(text2));
}

int CRemoteMailslot::SendStatus(const char* receiver, DWORD status1, DWORD status2, const char* text1, const char*,
                                DWORD number1, DWORD number2) {
    return Send(receiver, "%s\\%d\\%d\\%s\\%s\\%d\\%d", int(status1), int(status2), OrEmpty(text1), "Reserved String",
                int(number1), int(number2));
}
