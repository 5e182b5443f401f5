// HSTOOL.DLL, in one form per definition.
#include <cstring>

#include "platform/product_libraries.h"
#include "tests/product_libs/exported.h"

namespace {

[[maybe_unused]] int Answer(char* buffer, DWORD size, const char* text) {
    std::strncpy(buffer, text, size);
    return 1;
}

}  // namespace

#if defined(TOOL_ALL)
EXPORTED int WINAPI HstGetBrandNameStringA(char* buffer, DWORD size) { return Answer(buffer, size, "SOFTWARE\\V"); }
EXPORTED int WINAPI HstGetRegRootStringA(char* buffer, DWORD size) { return Answer(buffer, size, "SOFTWARE\\V\\P\\"); }
EXPORTED int WINAPI HstGetRegBaseStringA(char* buffer, DWORD size) { return Answer(buffer, size, "SOFTWARE\\V\\B"); }
#elif defined(TOOL_ROOT)
EXPORTED int WINAPI HstGetRegRootStringA(char* buffer, DWORD size) { return Answer(buffer, size, "SOFTWARE\\V\\P"); }
#elif defined(TOOL_FULL)
// Fills the buffer to its last byte and leaves no terminator.
EXPORTED int WINAPI HstGetRegRootStringA(char* buffer, DWORD size) {
    std::memset(buffer, 'x', size);
    std::memcpy(buffer, "SOFTWARE\\", 9);
    return 1;
}
#elif defined(TOOL_EMPTY)
EXPORTED int WINAPI HstGetRegRootStringA(char*, DWORD) { return 0; }
#elif defined(TOOL_ACCOUNT)
// Writes down what it was asked for, and refuses the user "refused" with an answer whose low 16 bits are 0.
EXPORTED DWORD WINAPI HstSetUserAccountA(char* computer, product::UserAccount* account) {
    RegistryKey key;
    RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Receive(),
                    nullptr);
    const auto note = [&](const char* name, const char* text) {
        RegSetValueExA(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), DWORD(std::strlen(text) + 1));
    };
    note("computer", computer);
    note("domain", account->domain);
    note("name", account->userName);
    note("password", account->password);
    return std::strcmp(account->userName, "refused") == 0 ? 0x10000 : 1;
}
#endif
