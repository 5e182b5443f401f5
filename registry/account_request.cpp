#include "registry/account_request.h"

#include <cstring>

#include "foundation/text.h"

namespace registry {
namespace {

template <std::size_t size>
bool Fill(char (&field)[size], const char* text) {
    std::strncpy(field, text, size - 1);
    field[size - 1] = '\0';
    return std::strlen(text) < size;
}

}  // namespace

AccountRequest::AccountRequest(CSettings& settings) {
    CString domain = settings.SystemAccountDomain();
    CString name = settings.SystemAccountName();
    // A backslash at the very start belongs to the name.
    const char* const text = name;
    const char* const separator = *text == '\0' ? nullptr : FirstBackslash(*text == '\\' ? text + 1 : text);
    if (separator != nullptr) {
        const int index = int(separator - text);
        domain = name.Left(index);
        name = name.Mid(index + 1);
    }
    m_fits = Fill(account.domain, domain) && Fill(account.userName, name) &&
             Fill(account.password, settings.SystemAccountPassword()) && Fill(server, settings.SystemAccountServer());
}

// Byte by byte through a volatile pointer, since nobody reads them any more.
AccountRequest::~AccountRequest() {
    volatile char* byte = account.password;
    for (std::size_t i = 0; i < sizeof account.password; ++i) byte[i] = '\0';
}

}  // namespace registry
