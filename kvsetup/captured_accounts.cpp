#include "kvsetup/captured_accounts.h"

#include "instalib/windows_types.h"
#ifdef INSTALIB_KVSETUP_EMBEDDED
#include "platform/embedded/api/accounts.h"
#include "platform/embedded/api/network.h"
#include "platform/embedded/api/security.h"
#include "platform/embedded/api/system.h"
#else
#include <lmaccess.h>
#include <lmapibuf.h>
#include <lmerr.h>
#include <lmwksta.h>
#include <ntsecapi.h>
#endif

#include <cstring>
#include <memory>

#include "kvsetup/host.h"

namespace capture {
namespace {

struct FreeNetBuffer {
    void operator()(void* buffer) const { NetApiBufferFree(buffer); }
};
template <class Record>
using NetRecords = std::unique_ptr<Record, FreeNetBuffer>;

struct FreeLsaBuffer {
    void operator()(void* buffer) const { LsaFreeMemory(buffer); }
};
template <class Record>
using LsaRecords = std::unique_ptr<Record, FreeLsaBuffer>;

struct ClosePolicy {
    using pointer = LSA_HANDLE;
    void operator()(LSA_HANDLE policy) const { LsaClose(policy); }
};
using Policy = std::unique_ptr<LSA_HANDLE, ClosePolicy>;

std::string Utf8(const WCHAR* text, int length) {
    std::string utf8(static_cast<std::size_t>(length) * 3, '\0');
    const int size = length == 0 ? 0
                                 : WideCharToMultiByte(CP_UTF8, 0, text, length, utf8.data(),
                                                       static_cast<int>(utf8.size()), nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(size));
    return console::Printable(utf8);
}

std::string Utf8(const WCHAR* text) {
    int length = 0;
    while (text != nullptr && text[length] != 0) ++length;
    return Utf8(text, length);
}

std::string Utf8(const LSA_UNICODE_STRING& text) { return Utf8(text.Buffer, text.Length / 2); }

std::string SidText(PSID sid) {
    if (sid == nullptr || !IsValidSid(sid)) return "";
    unsigned long long authority = 0;
    for (const BYTE byte : GetSidIdentifierAuthority(sid)->Value) authority = authority << 8 | byte;
    std::string text = "S-1-" + std::to_string(authority);
    for (DWORD i = 0; i < *GetSidSubAuthorityCount(sid); ++i) text += '-' + std::to_string(*GetSidSubAuthority(sid, i));
    return text;
}

// Windows looks names up in its code page. Empty when nobody bears the name.
std::vector<BYTE> SidOf(const WCHAR* wideName) {
    char name[1024] = "", domain[256] = "";
    if (WideCharToMultiByte(CP_ACP, 0, wideName, -1, name, sizeof name, nullptr, nullptr) == 0) return {};
    std::vector<BYTE> sid(SECURITY_MAX_SID_SIZE);
    DWORD size = static_cast<DWORD>(sid.size()), domainSize = sizeof domain;
    SID_NAME_USE use = SidTypeUnknown;
    if (!LookupAccountNameA(nullptr, name, sid.data(), &size, domain, &domainSize, &use)) return {};
    return sid;
}

Json RightsOf(LSA_HANDLE policy, std::vector<BYTE>& sid) {
    Json names = Json::array();
    PLSA_UNICODE_STRING rights = nullptr;
    ULONG count = 0;
    if (policy == nullptr || LsaEnumerateAccountRights(policy, sid.data(), &rights, &count) != 0) return names;
    const LsaRecords<LSA_UNICODE_STRING> owner(rights);
    for (ULONG i = 0; i < count; ++i) names.push_back(Utf8(rights[i]));
    return names;
}

// All records of an enumeration, one call after the other, each handed to `take`. 0, or the call's error.
template <class Record, class Call, class Take>
DWORD ForEach(Call call, Take take) {
    for (DWORD status = ERROR_MORE_DATA; status == ERROR_MORE_DATA;) {
        LPBYTE buffer = nullptr;
        DWORD count = 0, total = 0;
        status = call(&buffer, &count, &total);
        const NetRecords<Record> records(reinterpret_cast<Record*>(buffer));
        if ((status != 0 && status != ERROR_MORE_DATA) || (status == ERROR_MORE_DATA && count == 0)) return status;
        for (DWORD i = 0; records != nullptr && i < count; ++i) take(records.get()[i]);
    }
    return 0;
}

Json Users(LSA_HANDLE policy, Json& problems) {
    Json users = Json::array();
    DWORD resume = 0;
    const DWORD status = ForEach<USER_INFO_2>(
        [&](LPBYTE* buffer, DWORD* count, DWORD* total) {
            return NetUserEnum(nullptr, 2, FILTER_NORMAL_ACCOUNT, buffer, MAX_PREFERRED_LENGTH, count, total, &resume);
        },
        [&](const USER_INFO_2& info) {
            std::vector<BYTE> sid = SidOf(info.usri2_name);
            const std::string name = Utf8(info.usri2_name);
            if (sid.empty()) return problems.push_back("user " + name + ": " + host::ErrorText(GetLastError()));
            users.push_back({{"name", name},
                             {"rid", *GetSidSubAuthority(sid.data(), *GetSidSubAuthorityCount(sid.data()) - 1u)},
                             {"fullName", Utf8(info.usri2_full_name)},
                             {"comment", Utf8(info.usri2_comment)},
                             {"homeDirectory", Utf8(info.usri2_home_dir)},
                             {"flags", info.usri2_flags},
                             {"rights", RightsOf(policy, sid)}});
        });
    if (status == 0) return users;
    problems.push_back("users: " + host::ErrorText(status));
    return {};
}

Json Members(const WCHAR* group, Json& problems) {
    Json members = Json::array();
    DWORD_PTR resume = 0;
    const DWORD status = ForEach<LOCALGROUP_MEMBERS_INFO_0>(
        [&](LPBYTE* buffer, DWORD* count, DWORD* total) {
            return NetLocalGroupGetMembers(nullptr, group, 0, buffer, MAX_PREFERRED_LENGTH, count, total, &resume);
        },
        [&](const LOCALGROUP_MEMBERS_INFO_0& member) { members.push_back(SidText(member.lgrmi0_sid)); });
    if (status != 0) problems.push_back("members of " + Utf8(group) + ": " + host::ErrorText(status));
    return members;
}

Json Groups(LSA_HANDLE policy, Json& problems) {
    Json groups = Json::array();
    DWORD_PTR resume = 0;
    DWORD status = ForEach<LOCALGROUP_INFO_1>(
        [&](LPBYTE* buffer, DWORD* count, DWORD* total) {
            return NetLocalGroupEnum(nullptr, 1, buffer, MAX_PREFERRED_LENGTH, count, total, &resume);
        },
        [&](const LOCALGROUP_INFO_1& info) {
            std::vector<BYTE> sid = SidOf(info.lgrpi1_name);
            const std::string name = Utf8(info.lgrpi1_name);
            if (sid.empty()) return problems.push_back("group " + name + ": " + host::ErrorText(GetLastError()));
            groups.push_back({{"name", name},
                              {"sid", SidText(sid.data())},
                              {"comment", Utf8(info.lgrpi1_comment)},
                              {"members", Members(info.lgrpi1_name, problems)},
                              {"rights", RightsOf(policy, sid)}});
        });
    // Every Windows has its built-in groups: a list without them is none.
    if (status == 0 && groups.empty()) status = ERROR_CALL_NOT_IMPLEMENTED;
    if (status == 0) return groups;
    problems.push_back("groups: " + host::ErrorText(status));
    return {};
}

Policy OpenPolicy() {
    LSA_OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof attributes;
    LSA_HANDLE policy = nullptr;
    LsaOpenPolicy(nullptr, &attributes, POLICY_VIEW_LOCAL_INFORMATION | POLICY_LOOKUP_NAMES, &policy);
    return Policy(policy);
}

std::string MachineSid(LSA_HANDLE policy) {
    void* buffer = nullptr;
    if (policy == nullptr || LsaQueryInformationPolicy(policy, PolicyAccountDomainInformation, &buffer) != 0) return "";
    const LsaRecords<POLICY_ACCOUNT_DOMAIN_INFO> info(static_cast<POLICY_ACCOUNT_DOMAIN_INFO*>(buffer));
    return SidText(info->DomainSid);
}

std::string LanGroup() {
    LPBYTE buffer = nullptr;
    if (NetWkstaGetInfo(nullptr, 100, &buffer) != 0) return "";
    const NetRecords<WKSTA_INFO_100> info(reinterpret_cast<WKSTA_INFO_100*>(buffer));
    return Utf8(info->wki100_langroup);
}

}  // namespace

Json CaptureAccounts(Json& problems) {
    const Policy policy = OpenPolicy();
    char user[257] = "";
    DWORD size = sizeof user;
    if (!GetUserNameA(user, &size)) user[0] = '\0';
    return {{"sid", MachineSid(policy.get())},
            {"currentUser", console::Printable(user)},
            {"lanGroup", LanGroup()},
            {"users", Users(policy.get(), problems)},
            {"groups", Groups(policy.get(), problems)}};
}

}  // namespace capture
