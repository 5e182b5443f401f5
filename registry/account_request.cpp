#include "registry/account_request.h"

#include <cstring>

namespace registry {
namespace {

template <std::size_t size>
void Fill(char (&field)[size], const char* text) {
    std::strncpy(field, text, size - 1);
    field[size - 1] = '\0';
}

}  // namespace

AccountRequest::AccountRequest(CSettings& settings) {
    CString domain = settings.SystemAccountDomain();
    CString name = settings.SystemAccountName();
    const int backslash = name.Find('\\', 1);
    if (backslash > 0) {
        domain = name.Left(backslash);
        name = name.Mid(backslash + 1);
    }
    Fill(account.domain, domain);
    Fill(account.userName, name);
    Fill(account.password, settings.SystemAccountPassword());
    Fill(server, settings.SystemAccountServer());
}

// Byte by byte through a volatile pointer, since nobody reads them any more.
AccountRequest::~AccountRequest() {
    volatile char* byte = account.password;
    for (std::size_t i = 0; i < sizeof account.password; ++i) byte[i] = '\0';
}

}  // namespace registry
