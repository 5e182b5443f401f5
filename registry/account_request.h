#ifndef INSTALIB_REGISTRY_ACCOUNT_REQUEST_H
#define INSTALIB_REGISTRY_ACCOUNT_REQUEST_H

#include "instalib/settings.h"
#include "platform/product_libraries.h"

namespace registry {

// The system account of the settings as the tool library takes it. A name with a domain before a backslash brings its
// own. The record holds a password, which does not outlive it.
struct AccountRequest {
    explicit AccountRequest(CSettings& settings);
    AccountRequest(const AccountRequest&) = delete;
    AccountRequest& operator=(const AccountRequest&) = delete;
    ~AccountRequest();

    // False when a text is longer than the 63 bytes that its field holds: such a record names another account.
    bool Fits() const { return m_fits; }

    product::UserAccount account{};
    char server[64] = "";

  private:
    bool m_fits = true;
};

}  // namespace registry

#endif
