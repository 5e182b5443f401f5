// NetShare*.
#include <algorithm>

#include "platform/embedded/accounts/authority.h"
#include "platform/embedded/core/gate.h"
#include "platform/embedded/core/record_block.h"
#include "platform/embedded/network/shares.h"
#include "platform/embedded/security/access.h"
#include "platform/embedded/security/descriptor.h"

using namespace embedded;
using namespace embedded::network;
using control::CallKind;

namespace {

// Numbers of the fields that a caller may have wrong (lmshare.h, SHARE_*_PARMNUM).
constexpr DWORD kNameField = 1;
constexpr DWORD kTypeField = 3;
constexpr DWORD kPathField = 8;

DWORD Wrong(LPDWORD place, DWORD field, DWORD error = ERROR_INVALID_PARAMETER) {
    if (place != nullptr) *place = field;
    return error;
}

// The machine, and whether the caller may do what only administrators may.
DWORD Prepare(LMCSTR server, bool forAdministrators, std::shared_ptr<Machine>& machine) {
    machine = world::Find(server);
    if (machine == nullptr) return ERROR_BAD_NETPATH;
    return forAdministrators && !IsAdministrator() ? ERROR_ACCESS_DENIED : 0;
}

bool IsShareName(std::string_view name) {
    return name.find_first_of("\"/\\[]:|<>+=;,*?") == name.npos &&
           std::none_of(name.begin(), name.end(), [](char character) { return BYTE(character) < 0x20; });
}

// The records of levels 2 and 502 begin alike.
Share Take(const SHARE_INFO_2& info) {
    Share share{NarrowOf(info.shi2_netname),
                info.shi2_type,
                NarrowOf(info.shi2_remark),
                info.shi2_permissions,
                info.shi2_max_uses,
                NarrowOf(info.shi2_path),
                false};
    const bool isRoot = share.path.size() == 3;
    if (!isRoot && share.path.ends_with('\\')) share.path.pop_back();
    return share;
}

// Nothing when the caller's descriptor is none.
std::optional<Bytes> TakeDescriptor(PSECURITY_DESCRIPTOR descriptor) {
    if (descriptor == nullptr) return Bytes();
    const auto parts = security::Read(descriptor);
    return parts ? std::optional(security::Write(*parts)) : std::nullopt;
}

DWORD CheckNew(Machine& machine, const Share& share, LPDWORD wrong) {
    if (share.name.empty() || share.name.size() > NNLEN) return Wrong(wrong, kNameField);
    if (!IsShareName(share.name)) return Wrong(wrong, kNameField, ERROR_INVALID_NAME);
    if ((share.type & ~(STYPE_SPECIAL | STYPE_TEMPORARY)) != STYPE_DISKTREE) return Wrong(wrong, kTypeField);
    if (FindShare(machine, share.name)) return NERR_DuplicateShare;
    return IsDirectoryOf(machine, share.path) ? 0 : Wrong(wrong, kPathField, NERR_UnknownDevDir);
}

void Put(RecordBlock<SHARE_INFO_0>& block, Machine&, const Share& share) {
    block.Add({});
    block.Text(&SHARE_INFO_0::shi0_netname, share.name);
}

void Put(RecordBlock<SHARE_INFO_1>& block, Machine&, const Share& share) {
    block.Add({nullptr, share.type, nullptr});
    block.Text(&SHARE_INFO_1::shi1_netname, share.name);
    block.Text(&SHARE_INFO_1::shi1_remark, share.remark);
}

void Put(RecordBlock<SHARE_INFO_2>& block, Machine&, const Share& share) {
    block.Add({nullptr, share.type, nullptr, share.permissions, share.maxUses, 0, nullptr, nullptr});
    block.Text(&SHARE_INFO_2::shi2_netname, share.name);
    block.Text(&SHARE_INFO_2::shi2_remark, share.remark);
    block.Text(&SHARE_INFO_2::shi2_path, share.path);
}

void Put(RecordBlock<SHARE_INFO_502>& block, Machine& machine, const Share& share) {
    block.Add({nullptr, share.type, nullptr, share.permissions, share.maxUses, 0, nullptr, nullptr, 0, nullptr});
    block.Text(&SHARE_INFO_502::shi502_netname, share.name);
    block.Text(&SHARE_INFO_502::shi502_remark, share.remark);
    block.Text(&SHARE_INFO_502::shi502_path, share.path);
    const Bytes own = ShareDescriptor(machine, share);
    block.Raw(&SHARE_INFO_502::shi502_security_descriptor,
              own.empty() ? access::Default(access::ObjectType::Share) : own);
}

template <class Record>
DWORD Tell(Machine& machine, const Share& share, LPBYTE* buffer) {
    RecordBlock<Record> block;
    Put(block, machine, share);
    return block.HandOut(buffer);
}

template <class Record>
DWORD List(Machine& machine, LPBYTE* buffer, const Range<DWORD>& range) {
    return Enumerate<Record>(AllShares(machine), buffer, range,
                             [&](auto& block, const Share& share) { Put(block, machine, share); });
}

constexpr bool IsLevel(DWORD level) { return level <= 2 || level == 502; }
// Who is no administrator learns names and remarks only.
constexpr bool IsForAdministrators(DWORD level) { return level >= 2; }

DWORD SetDescriptor(Machine& machine, const Share& share, PSECURITY_DESCRIPTOR descriptor) {
    const auto bytes = TakeDescriptor(descriptor);
    if (!bytes) return ERROR_INVALID_SECURITY_DESCR;
    return SetShareDescriptor(machine, share, *bytes) ? NERR_Success : ERROR_ACCESS_DENIED;
}

// The remark and the number of users are what can change of a share.
DWORD SetFields(Machine& machine, Share share, const SHARE_INFO_2& info) {
    if (info.shi2_remark != nullptr) share.remark = NarrowOf(info.shi2_remark);
    share.maxUses = info.shi2_max_uses;
    return SaveShare(machine, share) ? NERR_Success : ERROR_ACCESS_DENIED;
}

}  // namespace

NET_API_STATUS NetShareAdd(LMSTR server, DWORD level, LPBYTE buffer, LPDWORD wrongParameter) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetShareAdd")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = Prepare(server, true, machine)) return error;
    if (level != 2 && level != 502) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr) return Wrong(wrongParameter, 0);
    const Share share = Take(*reinterpret_cast<const SHARE_INFO_2*>(buffer));
    const Store::Lock lock(machine->Storage());
    if (const DWORD error = CheckNew(*machine, share, wrongParameter)) return error;
    const auto descriptor =
        TakeDescriptor(level == 2 ? nullptr : reinterpret_cast<SHARE_INFO_502*>(buffer)->shi502_security_descriptor);
    if (!descriptor) return ERROR_INVALID_SECURITY_DESCR;
    const bool added = SetShareDescriptor(*machine, share, *descriptor) && SaveShare(*machine, share);
    return added ? NERR_Success : ERROR_ACCESS_DENIED;
}

NET_API_STATUS NetShareGetInfo(LMSTR server, LMSTR name, DWORD level, LPBYTE* buffer) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetShareGetInfo")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = Prepare(server, IsForAdministrators(level), machine)) return error;
    if (!IsLevel(level)) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr) return ERROR_INVALID_PARAMETER;
    *buffer = nullptr;
    const auto share = FindShare(*machine, NarrowOf(name));
    if (!share) return NERR_NetNameNotFound;
    switch (level) {
        case 0:
            return Tell<SHARE_INFO_0>(*machine, *share, buffer);
        case 1:
            return Tell<SHARE_INFO_1>(*machine, *share, buffer);
        case 2:
            return Tell<SHARE_INFO_2>(*machine, *share, buffer);
        default:
            return Tell<SHARE_INFO_502>(*machine, *share, buffer);
    }
}

NET_API_STATUS NetShareSetInfo(LMSTR server, LMSTR name, DWORD level, LPBYTE buffer, LPDWORD wrongParameter) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetShareSetInfo")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = Prepare(server, true, machine)) return error;
    if (level != 2 && level != 502 && level != 1501) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr) return Wrong(wrongParameter, 0);
    const Store::Lock lock(machine->Storage());
    const auto share = FindShare(*machine, NarrowOf(name));
    if (!share) return NERR_NetNameNotFound;
    if (share->administrative) return ERROR_ACCESS_DENIED;
    if (level == 1501) {
        return SetDescriptor(*machine, *share, reinterpret_cast<SHARE_INFO_1501*>(buffer)->shi1501_security_descriptor);
    }
    auto* const descriptor =
        level == 2 ? nullptr : reinterpret_cast<SHARE_INFO_502*>(buffer)->shi502_security_descriptor;
    if (const DWORD error = descriptor == nullptr ? 0 : SetDescriptor(*machine, *share, descriptor)) return error;
    return SetFields(*machine, *share, *reinterpret_cast<const SHARE_INFO_2*>(buffer));
}

NET_API_STATUS NetShareDel(LMSTR server, LMSTR name, DWORD) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetShareDel")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = Prepare(server, true, machine)) return error;
    const Store::Lock lock(machine->Storage());
    const auto share = FindShare(*machine, NarrowOf(name));
    if (!share) return NERR_NetNameNotFound;
    if (share->administrative) return ERROR_ACCESS_DENIED;
    return DeleteShare(*machine, *share) ? NERR_Success : ERROR_ACCESS_DENIED;
}

NET_API_STATUS NetShareEnum(LMSTR server, DWORD level, LPBYTE* buffer, DWORD preferredBytes, LPDWORD read,
                            LPDWORD total, LPDWORD resume) {
    if (const DWORD error = gate::Enter(CallKind::Network, "NetShareEnum")) return error;
    std::shared_ptr<Machine> machine;
    if (const DWORD error = Prepare(server, IsForAdministrators(level), machine)) return error;
    if (!IsLevel(level)) return ERROR_INVALID_LEVEL;
    if (buffer == nullptr || read == nullptr || total == nullptr) return ERROR_INVALID_PARAMETER;
    const Range<DWORD> range{preferredBytes, read, total, resume};
    switch (level) {
        case 0:
            return List<SHARE_INFO_0>(*machine, buffer, range);
        case 1:
            return List<SHARE_INFO_1>(*machine, buffer, range);
        case 2:
            return List<SHARE_INFO_2>(*machine, buffer, range);
        default:
            return List<SHARE_INFO_502>(*machine, buffer, range);
    }
}
