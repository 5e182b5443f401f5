#include <cstring>

#include "platform/embedded/api/registry.h"
#include "platform/embedded/registry/key_handles.h"
#include "platform/embedded/security/access.h"

using namespace embedded;
using namespace embedded::registry;

namespace {

std::string_view NameOf(LPCSTR name) { return name == nullptr ? std::string_view() : name; }

// Stores type, size and, when there is room, the data; a buffer that is too small stays as it is.
LSTATUS AnswerValue(const StoredValue& value, LPDWORD type, LPBYTE data, LPDWORD size) {
    Answer(type, value.type);
    if (size == nullptr) return ERROR_SUCCESS;
    const DWORD room = *size;
    *size = DWORD(value.data.size());
    if (data == nullptr) return ERROR_SUCCESS;
    if (value.data.size() > room) return ERROR_MORE_DATA;
    if (!value.data.empty()) std::memcpy(data, value.data.data(), value.data.size());
    return ERROR_SUCCESS;
}

}  // namespace

LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    return ReadKey("RegQueryValueExA", key, KEY_QUERY_VALUE, [&](const StoreKey& open) -> LSTATUS {
        if (reserved != nullptr || (data != nullptr && size == nullptr)) return ERROR_INVALID_PARAMETER;
        const StoredValue* const value = open.Value(NameOf(name));
        return value == nullptr ? ERROR_FILE_NOT_FOUND : AnswerValue(*value, type, data, size);
    });
}

LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    return ChangeKey("RegSetValueExA", key, KEY_SET_VALUE, [&](const StoreKey& open, StoreChange& change) -> LSTATUS {
        if (reserved != 0 || NameOf(name).size() > kLongestValueName) return ERROR_INVALID_PARAMETER;
        if (data == nullptr && size != 0) return ERROR_NOACCESS;
        change.SetValue(open.id, {}, NameOf(name), type, {data, size});
        return ERROR_SUCCESS;
    });
}

LSTATUS RegDeleteValueA(HKEY key, LPCSTR name) {
    return ChangeKey("RegDeleteValueA", key, KEY_SET_VALUE, [&](const StoreKey& open, StoreChange& change) -> LSTATUS {
        if (open.Value(NameOf(name)) == nullptr) return ERROR_FILE_NOT_FOUND;
        change.EraseValue(open.id, {}, NameOf(name));
        return ERROR_SUCCESS;
    });
}

LSTATUS RegEnumValueA(HKEY key, DWORD index, LPSTR name, LPDWORD nameSize, LPDWORD reserved, LPDWORD type, LPBYTE data,
                      LPDWORD size) {
    return ReadKey("RegEnumValueA", key, KEY_QUERY_VALUE, [&](const StoreKey& open) -> LSTATUS {
        const bool incomplete = name == nullptr || nameSize == nullptr || (data != nullptr && size == nullptr);
        if (incomplete || reserved != nullptr) return ERROR_INVALID_PARAMETER;
        const StoredValue* const value = open.ValueAt(index);
        if (value == nullptr) return ERROR_NO_MORE_ITEMS;
        if (value->name.size() >= *nameSize) return ERROR_MORE_DATA;
        std::memcpy(name, value->name.c_str(), value->name.size() + 1);
        *nameSize = DWORD(value->name.size());
        return AnswerValue(*value, type, data, size);
    });
}

LSTATUS RegGetKeySecurity(HKEY key, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor, LPDWORD size) {
    return ReadKey("RegGetKeySecurity", key, access::RightsToRead(what), [&](const StoreKey& open) -> LSTATUS {
        if (size == nullptr) return ERROR_INVALID_PARAMETER;
        const Bytes parts = access::Extract(access::ObjectType::Key, DescriptorOf(open), what);
        const DWORD room = *size;
        *size = DWORD(parts.size());
        if (room < parts.size()) return ERROR_INSUFFICIENT_BUFFER;
        if (descriptor == nullptr) return ERROR_NOACCESS;
        std::memcpy(descriptor, parts.data(), parts.size());
        return ERROR_SUCCESS;
    });
}

LSTATUS RegSetKeySecurity(HKEY key, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor) {
    return ChangeKey("RegSetKeySecurity", key, access::RightsToWrite(what),
                     [&](const StoreKey& open, StoreChange& change) -> LSTATUS {
                         if (descriptor == nullptr) return ERROR_INVALID_PARAMETER;
                         Bytes changed;
                         const DWORD error =
                             access::Modify(access::ObjectType::Key, DescriptorOf(open), what, descriptor, &changed);
                         if (error != 0) return LSTATUS(error);
                         change.SetSecurity(open.id, {}, changed);
                         return ERROR_SUCCESS;
                     });
}
