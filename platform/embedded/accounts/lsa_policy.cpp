// The policy object: opening, information, trusted domains.
#include "platform/embedded/accounts/authority.h"
#include "platform/embedded/accounts/domain.h"
#include "platform/embedded/accounts/ids.h"
#include "platform/embedded/accounts/lsa_handles.h"
#include "platform/embedded/accounts/store.h"
#include "platform/embedded/core/record_block.h"

using namespace embedded;
using control::CallKind;
using network::RecordBlock;

namespace {

// What anybody may ask for; everything else is an administrator's.
constexpr DWORD kForEveryone = POLICY_VIEW_LOCAL_INFORMATION | POLICY_LOOKUP_NAMES | READ_CONTROL;
constexpr DWORD kPolicyGenericRead =
    STANDARD_RIGHTS_READ | POLICY_VIEW_AUDIT_INFORMATION | POLICY_GET_PRIVATE_INFORMATION;
constexpr DWORD kPolicyGenericExecute = STANDARD_RIGHTS_EXECUTE | POLICY_VIEW_LOCAL_INFORMATION | POLICY_LOOKUP_NAMES;

constexpr struct {
    NTSTATUS status;
    DWORD error;
} kErrors[] = {
    {STATUS_SUCCESS, ERROR_SUCCESS},
    {STATUS_MORE_ENTRIES, ERROR_MORE_DATA},
    {STATUS_NO_MORE_ENTRIES, ERROR_NO_MORE_ITEMS},
    {STATUS_INVALID_HANDLE, ERROR_INVALID_HANDLE},
    {STATUS_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
    {STATUS_NO_MEMORY, ERROR_NOT_ENOUGH_MEMORY},
    {STATUS_ACCESS_DENIED, ERROR_ACCESS_DENIED},
    {STATUS_OBJECT_NAME_NOT_FOUND, ERROR_FILE_NOT_FOUND},
    {STATUS_OBJECT_NAME_COLLISION, ERROR_ALREADY_EXISTS},
    {STATUS_NO_SUCH_PRIVILEGE, ERROR_NO_SUCH_PRIVILEGE},
    {STATUS_INVALID_SID, ERROR_INVALID_SID},
    {STATUS_INSUFFICIENT_RESOURCES, ERROR_NO_SYSTEM_RESOURCES},
    {STATUS_BAD_NETWORK_PATH, ERROR_BAD_NETPATH},
    {RPC_NT_SERVER_UNAVAILABLE, RPC_S_SERVER_UNAVAILABLE},
};

// Statuses of this shape carry a Windows error in their low half and come back as it (FACILITY_NTWIN32).
constexpr DWORD kCarriesError = 0xC0070000;

std::string SystemName(const LSA_UNICODE_STRING* system) {
    if (system == nullptr || system->Buffer == nullptr) return {};
    return text::Narrow({system->Buffer, system->Length / sizeof(WCHAR)});
}

NTSTATUS HandOut(void* block, PVOID* buffer) {
    *buffer = block;
    return block == nullptr ? STATUS_INSUFFICIENT_RESOURCES : STATUS_SUCCESS;
}

NTSTATUS AccountDomain(Machine& machine, PVOID* buffer) {
    const auto authority = domain::Authority(world::Find(machine.Name().c_str()));
    RecordBlock<POLICY_ACCOUNT_DOMAIN_INFO> block;
    block.Add({});
    block.Text(&POLICY_ACCOUNT_DOMAIN_INFO::DomainName, domain::AccountDomainName(machine));
    block.Raw(&POLICY_ACCOUNT_DOMAIN_INFO::DomainSid,
              accounts::MachineSid(authority == nullptr ? machine : *authority));
    return HandOut(block.HandOut(ResourceKind::LsaMemory), buffer);
}

NTSTATUS PrimaryDomain(Machine& machine, PVOID* buffer) {
    RecordBlock<POLICY_PRIMARY_DOMAIN_INFO> block;
    block.Add({});
    block.Text(&POLICY_PRIMARY_DOMAIN_INFO::Name, domain::LanGroup(machine));
    if (const auto controller = domain::Controller(domain::Name(machine))) {
        block.Raw(&POLICY_PRIMARY_DOMAIN_INFO::Sid, accounts::MachineSid(*controller));
    }
    return HandOut(block.HandOut(ResourceKind::LsaMemory), buffer);
}

}  // namespace

namespace embedded::lsa {

DWORD Granted(DWORD desired, DWORD all) {
    const bool everything = (desired & (GENERIC_ALL | MAXIMUM_ALLOWED)) != 0;
    return everything ? all : desired & ~(GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE);
}

NTSTATUS Enter(const char* name) {
    const DWORD error = gate::Enter(CallKind::Account, name);
    if (error == 0) return STATUS_SUCCESS;
    for (const auto& row : kErrors) {
        if (row.error == error) return row.status;
    }
    return NTSTATUS(kCarriesError | (error & 0xFFFF));
}

}  // namespace embedded::lsa

ULONG LsaNtStatusToWinError(NTSTATUS status) {
    for (const auto& row : kErrors) {
        if (row.status == status) return row.error;
    }
    const auto bits = DWORD(status);
    return (bits & 0xFFFF0000u) == kCarriesError ? bits & 0xFFFFu : ERROR_MR_MID_NOT_FOUND;
}

NTSTATUS LsaOpenPolicy(PLSA_UNICODE_STRING system, PLSA_OBJECT_ATTRIBUTES attributes, ACCESS_MASK desired,
                       PLSA_HANDLE policy) {
    if (const NTSTATUS status = lsa::Enter("LsaOpenPolicy")) return status;
    if (attributes == nullptr || policy == nullptr) return STATUS_INVALID_PARAMETER;
    auto machine = world::Find(SystemName(system).c_str());
    if (machine == nullptr) return RPC_NT_SERVER_UNAVAILABLE;
    const bool all = network::IsAdministrator();
    DWORD granted = lsa::Granted(desired, all ? POLICY_ALL_ACCESS : kForEveryone);
    if ((desired & GENERIC_READ) != 0) granted |= kPolicyGenericRead;
    if ((desired & GENERIC_EXECUTE) != 0) granted |= kPolicyGenericExecute;
    if ((desired & GENERIC_WRITE) != 0) granted |= POLICY_ALL_ACCESS;
    if (!all && ((granted & ~kForEveryone) != 0 || (desired & GENERIC_ALL) != 0)) return STATUS_ACCESS_DENIED;
    *policy = handles::Add(std::make_shared<lsa::PolicyObject>(std::move(machine), granted));
    return STATUS_SUCCESS;
}

NTSTATUS LsaClose(LSA_HANDLE handle) {
    if (!handles::Close(handle, ResourceKind::Policy)) return STATUS_INVALID_HANDLE;
    return lsa::Enter("LsaClose");
}

NTSTATUS LsaFreeMemory(PVOID buffer) {
    if (buffer != nullptr && !buffers::Free(ResourceKind::LsaMemory, buffer)) return STATUS_INVALID_PARAMETER;
    return lsa::Enter("LsaFreeMemory");
}

NTSTATUS LsaQueryInformationPolicy(LSA_HANDLE policy, POLICY_INFORMATION_CLASS kind, PVOID* buffer) {
    if (const NTSTATUS status = lsa::Enter("LsaQueryInformationPolicy")) return status;
    std::shared_ptr<lsa::PolicyObject> object;
    if (const NTSTATUS status = lsa::ObjectFor(policy, POLICY_VIEW_LOCAL_INFORMATION, object)) return status;
    if (kind == PolicyAccountDomainInformation) return AccountDomain(*object->machine, buffer);
    if (kind == PolicyPrimaryDomainInformation) return PrimaryDomain(*object->machine, buffer);
    return STATUS_INVALID_PARAMETER;
}

NTSTATUS LsaEnumerateTrustedDomains(LSA_HANDLE policy, PLSA_ENUMERATION_HANDLE context, PVOID* buffer,
                                    ULONG preferredBytes, PULONG count) {
    if (const NTSTATUS status = lsa::Enter("LsaEnumerateTrustedDomains")) return status;
    std::shared_ptr<lsa::PolicyObject> object;
    if (const NTSTATUS status = lsa::ObjectFor(policy, POLICY_VIEW_LOCAL_INFORMATION, object)) return status;
    *buffer = nullptr;
    *count = 0;
    const auto trusts = domain::TrustsOf(*object->machine);
    RecordBlock<LSA_TRUST_INFORMATION> block;
    for (std::size_t i = *context; i < trusts.size(); ++i) {
        block.Add({});
        block.Text(&LSA_TRUST_INFORMATION::Name, trusts[i]);
        if (const auto controller = domain::Controller(trusts[i])) {
            block.Raw(&LSA_TRUST_INFORMATION::Sid, accounts::MachineSid(*controller));
        }
        if (block.Overflows(preferredBytes)) break;
    }
    if (block.Count() == 0) return STATUS_NO_MORE_ENTRIES;
    const NTSTATUS status = HandOut(block.HandOut(ResourceKind::LsaMemory), buffer);
    if (status != STATUS_SUCCESS) return status;
    *count = ULONG(block.Count());
    *context += *count;
    return *context < trusts.size() ? STATUS_MORE_ENTRIES : STATUS_SUCCESS;
}
