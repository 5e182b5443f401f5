#include <cstring>

#include "changes/changing.h"
#include "foundation/wide_text.h"
#include "system/security_object.h"

namespace {

constexpr DWORD kPermissions = 4;           // as share-level security knew it: create
constexpr DWORD kUnlimitedUses = MAXDWORD;  // SHI_USES_UNLIMITED
constexpr DWORD kShareDescriptorLevel = 1501;

WCHAR* CopyText(const WCHAR* text) {
    const std::size_t bytes = (TextLength(text) + 1) * sizeof(WCHAR);
    void* const copy = FrameworkAllocate(bytes);
    std::memcpy(copy, text, bytes);
    return static_cast<WCHAR*>(copy);
}

void SetText(WCHAR*& field, const WCHAR* text) {
    WCHAR* const copy = CopyText(text);
    FrameworkFree(field);
    field = copy;
}

WCHAR* Machine(const WCHAR* server, int useServer) { return useServer ? const_cast<WCHAR*>(server) : nullptr; }

// The server reports the share.
NET_API_STATUS AskForShare(WCHAR* machine, WCHAR* name) {
    NetBuffer information;
    return NetShareGetInfo(machine, name, 502, reinterpret_cast<BYTE**>(information.Receive()));
}

}  // namespace

CShareSecurity::CShareSecurity() = default;

CShareSecurity::~CShareSecurity() {
    FrameworkFree(m_share.shi502_netname);
    FrameworkFree(m_share.shi502_remark);
    FrameworkFree(m_share.shi502_path);
}

int CShareSecurity::SetShareSecurity(WCHAR* machine) {
    SHARE_INFO_1501 security{};
    security.shi1501_security_descriptor = m_private.Get();
    const NET_API_STATUS status = changing::NetShareSetInfo(machine, m_share.shi502_netname, kShareDescriptorLevel,
                                                            reinterpret_cast<BYTE*>(&security), nullptr);
    return status == NERR_Success ? 1 : Fail(status);
}

int CShareSecurity::CreateShare(const WCHAR* name, const WCHAR* path, const WCHAR* remark, const WCHAR* server,
                                int useServer) {
    SetText(m_share.shi502_netname, name);
    SetText(m_share.shi502_remark, remark);
    SetText(m_share.shi502_path, path);
    m_share.shi502_type = STYPE_DISKTREE;
    m_share.shi502_permissions = kPermissions;
    m_share.shi502_max_uses = kUnlimitedUses;
    m_share.shi502_current_uses = 0;
    WCHAR* const machine = Machine(server, useServer);

    AskForShare(machine, m_share.shi502_netname);
    changing::NetShareDel(machine, m_share.shi502_netname, 0);
    if (!RefreshSecurity()) return 0;
    // The level 502 record begins as the level 2 one does.
    const NET_API_STATUS added = changing::NetShareAdd(machine, 2, reinterpret_cast<BYTE*>(&m_share), nullptr);
    // What decides is that the share is there; one that kept the system's own list gets this one by ApplyToShare.
    if (added == NERR_Success) SetShareSecurity(machine);
    const NET_API_STATUS status = AskForShare(machine, m_share.shi502_netname);
    if (status == NERR_Success) return 1;
    return Fail(added != NERR_Success ? added : status);
}

int CShareSecurity::ApplyToShare(const WCHAR* server, int useServer) {
    if (m_share.shi502_netname == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    return SetShareSecurity(Machine(server, useServer));
}
