#include "registry/account_request.h"

#include <cstring>

namespace registry {
namespace {

template <std::size_t size>
bool Fill(char (&field)[size], const char* text) {
    std::strncpy(field, text, size - 1);
    field[size - 1] = '\0';
    return std::strlen(text) < size;
}

// The first backslash behind the first character, -1 without one. The second byte of a character is none.
int FindBackslash(const char* text) {
    for (int i = 0; text[i] != '\0'; ++i) {
        if (IsDBCSLeadByte(BYTE(text[i])) && text[i + 1] != '\0') {
            ++i;
        } else if (i > 0 && text[i] == '\\') {
            return i;
        }
    }
    return -1;
}

}  // namespace

AccountRequest::AccountRequest(CSettings& settings) {
    CString domain = settings.SystemAccountDomain();
    CString name = settings.SystemAccountName();
    const int backslash = FindBackslash(name);
    if (backslash > 0) {
        domain = name.Left(backslash);
        name = name.Mid(backslash + 1);
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
