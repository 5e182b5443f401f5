// The full name of an open key.
#include <cstddef>
#include <cstring>

#include "platform/embedded/api/accounts.h"
#include "platform/embedded/core/text.h"
#include "platform/embedded/registry/key_handles.h"
#include "platform/key_names.h"

using namespace embedded;

namespace {

constexpr NTSTATUS kBufferTooSmall = NTSTATUS(0xC0000023);
constexpr NTSTATUS kInvalidClass = NTSTATUS(0xC0000003);

// "HKLM\SOFTWARE" of the store is "\REGISTRY\MACHINE\SOFTWARE".
std::string KernelName(const std::string& path) {
    if (path.starts_with("HKLM")) return "\\REGISTRY\\MACHINE" + path.substr(4);
    if (path.starts_with("HKU")) return "\\REGISTRY\\USER" + path.substr(3);
    return {};
}

}  // namespace

NTSTATUS NtQueryKey(HANDLE key, int informationClass, PVOID buffer, ULONG size, PULONG needed) {
    if (gate::Enter(control::CallKind::Registry, "NtQueryKey") != 0) return STATUS_INSUFFICIENT_RESOURCES;
    if (informationClass != kKeyNameInformation) return kInvalidClass;
    const auto open = handles::Find<registry::OpenKey>(key);
    if (!open || open->store != world::Local()->Storage().shared_from_this()) return STATUS_INVALID_HANDLE;
    std::string name;
    {
        const StoreTree::Reading reading(open->store->Tree());
        const StoreKey* const found = reading->Find(open->key);
        if (found != nullptr) name = KernelName(found->Path());
    }
    if (name.empty()) return STATUS_INVALID_HANDLE;
    const std::u16string wide = text::Widen(name);
    const ULONG bytes = ULONG(wide.size() * sizeof(WCHAR));
    *needed = ULONG(offsetof(KeyName, text)) + bytes;
    if (size < *needed) return kBufferTooSmall;
    std::memcpy(buffer, &bytes, sizeof bytes);
    std::memcpy(static_cast<BYTE*>(buffer) + offsetof(KeyName, text), wide.data(), bytes);
    return STATUS_SUCCESS;
}
