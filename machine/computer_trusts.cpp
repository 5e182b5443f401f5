// The domains that a machine trusts, shown in a list.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "changes/changing.h"
#include "instalib/computer.h"
#include "machine/machine_facts.h"
#include "platform/handles.h"

namespace {

constexpr DWORD kMostNames = 64;
constexpr SIZE_T kTableBytes = 512;
constexpr ULONG kPreferredBytes = 32000;
constexpr int kShownBytes = 256;  // of one name, with the terminator

// Statuses of the local security authority (ntstatus.h).
constexpr NTSTATUS kSuccess = 0;
constexpr NTSTATUS kMoreEntries = 0x00000105;
constexpr NTSTATUS kNoMoreEntries = NTSTATUS(0x8000001A);
static_assert(kTableBytes >= kMostNames * sizeof(WCHAR*));

// The list of the process, filled and emptied by one call.
DWORD g_count = 0;
WCHAR** g_names = nullptr;

bool SetStatus(NTSTATUS status) {
    if (status != kSuccess) SetLastError(LsaNtStatusToWinError(status));
    return status == kSuccess;
}

// Names beyond the table are dropped.
bool AddName(const LSA_UNICODE_STRING& name) {
    if (g_count == kMostNames) return true;
    auto* const copy = static_cast<WCHAR*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, name.Length + sizeof(WCHAR)));
    if (copy == nullptr) return FailWith(ERROR_NOT_ENOUGH_MEMORY);
    if (name.Length != 0) std::memcpy(copy, name.Buffer, name.Length);
    g_names[g_count++] = copy;
    return true;
}

bool OpenPolicy(const WCHAR* machine, PolicyHandle& policy) {
    LSA_UNICODE_STRING name = {};
    std::size_t length = 0;
    while (machine != nullptr && machine[length] != 0) ++length;
    name.Buffer = const_cast<WCHAR*>(machine);
    name.Length = USHORT(std::min<std::size_t>(length * sizeof(WCHAR), 0xFFFC));
    name.MaximumLength = USHORT(name.Length + sizeof(WCHAR));
    LSA_OBJECT_ATTRIBUTES attributes = {};
    attributes.Length = sizeof attributes;
    policy.Reset();
    return SetStatus(changing::LsaOpenPolicy(length == 0 ? nullptr : &name, &attributes, POLICY_VIEW_LOCAL_INFORMATION,
                                             policy.Receive()));
}

template <class Information>
const Information* QueryPolicy(const PolicyHandle& policy, POLICY_INFORMATION_CLASS kind, LsaBuffer& owner) {
    if (!SetStatus(LsaQueryInformationPolicy(policy.Get(), kind, owner.Receive()))) return nullptr;
    return static_cast<const Information*>(owner.Get());
}

bool AddTrustedDomains(const PolicyHandle& policy) {
    LSA_ENUMERATION_HANDLE context = 0;
    for (;;) {
        const LSA_ENUMERATION_HANDLE before = context;
        LsaBuffer buffer;
        ULONG count = 0;
        const NTSTATUS status =
            LsaEnumerateTrustedDomains(policy.Get(), &context, buffer.Receive(), kPreferredBytes, &count);
        if (status != kSuccess && status != kMoreEntries && status != kNoMoreEntries) {
            return SetStatus(status);
        }
        const auto* const domains = static_cast<const LSA_TRUST_INFORMATION*>(buffer.Get());
        for (ULONG i = 0; domains != nullptr && i < count; ++i) {
            if (!AddName(domains[i].Name)) return false;
        }
        // A machine that answers nothing and never says that this is all must not be asked for ever.
        const bool stands = count == 0 && context == before;
        if (status == kNoMoreEntries || stands) return true;
    }
}

// The primary domain of a member: its name, and the domains that its controller trusts. A workgroup has none.
bool AddPrimaryDomain(const WCHAR* machine, PolicyHandle& policy) {
    LsaBuffer buffer;
    const auto* const primary = QueryPolicy<POLICY_PRIMARY_DOMAIN_INFO>(policy, PolicyPrimaryDomainInformation, buffer);
    if (primary == nullptr) return false;
    if (primary->Sid == nullptr) return true;
    const DWORD place = g_count;
    if (!AddName(primary->Name)) return false;
    BYTE* controller = nullptr;
    // The copy in the list is terminated, which the policy's own need not be.
    const DWORD status = NetGetDCName(machine, g_names[place], &controller);
    const NetBuffer owner(controller);
    if (status != NERR_Success) return FailWith(status);
    return OpenPolicy(reinterpret_cast<const WCHAR*>(controller), policy) && AddTrustedDomains(policy);
}

bool BuildTrustList(const WCHAR* machine) {
    PolicyHandle policy;
    if (!OpenPolicy(machine, policy)) return false;
    LsaBuffer buffer;
    const auto* const account = QueryPolicy<POLICY_ACCOUNT_DOMAIN_INFO>(policy, PolicyAccountDomainInformation, buffer);
    if (account == nullptr || !AddName(account->DomainName)) return false;
    DWORD type = 0;
    if (!GetServerType(machine, type)) return false;
    const bool isController = (type & (SV_TYPE_DOMAIN_CTRL | SV_TYPE_DOMAIN_BAKCTRL)) != 0;
    return isController ? AddTrustedDomains(policy) : AddPrimaryDomain(machine, policy);
}

void ReportFailure(const char* operation, DWORD code) {
    std::fprintf(stderr, "%s error! (rc=%lu)\n", operation, static_cast<unsigned long>(code));
    LoadedLibrary messages;
    DWORD source = FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    if (code >= 2100 && code <= 2999) {  // the network's own errors
        messages.Reset(LoadLibraryExA("netmsg.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE));
        if (messages) source |= FORMAT_MESSAGE_FROM_HMODULE;
    }
    char text[1024] = "";
    const DWORD length = FormatMessageA(source, messages.Get(), code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), text,
                                        sizeof text, nullptr);
    DWORD written = 0;
    if (length != 0) WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, length, &written, nullptr);
}

void ShowName(const WCHAR* name, CComboBox& comboBox) {
    char text[2 * kShownBytes] = "";
    int length = 0;
    while (length < kShownBytes - 1 && name[length] != 0) ++length;
    WideCharToMultiByte(CP_ACP, 0, name, length, text, sizeof text - 1, nullptr, nullptr);
    text[kShownBytes - 1] = '\0';
    comboBox.AddString(text);
}

}  // namespace

int CComputer::DisplayTrustedDomains(const WCHAR* machine, CComboBox* comboBox) {
    g_count = 0;
    HeapBuffer table(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, kTableBytes));
    if (!table) {
        std::printf("HeapAlloc error!\n");
        return ERROR_INVALID_DATA;
    }
    g_names = static_cast<WCHAR**>(table.Get());
    const WCHAR* const asked = machine != nullptr && machine[0] == 0 ? nullptr : machine;
    if (BuildTrustList(asked)) {
        for (DWORD i = 0; comboBox != nullptr && i < g_count; ++i) ShowName(g_names[i], *comboBox);
    } else {
        ReportFailure("BuildTrustList", GetLastError());
    }
    while (g_count > 0) HeapBuffer(g_names[--g_count]).Reset();
    g_names = nullptr;
    return 0;
}
