#ifndef INSTALIB_REGISTRY_ACCOUNT_REQUEST_H
#define INSTALIB_REGISTRY_ACCOUNT_REQUEST_H

#include "instalib/settings.h"
#include "platform/product_libraries.h"

namespace registry {

// The system account of the settings as the tool library takes it, each text cut to 63 characters. A name with a domain
// before a backslash brings its own. The record holds a password, which does not outlive it.
struct AccountRequest {
    explicit AccountRequest(CSettings& settings);
    AccountRequest(const AccountRequest&) = delete;
    AccountRequest& operator=(const AccountRequest&) = delete;
    ~AccountRequest();

    product::UserAccount account{};
    char server[64] = "";
};

}  // namespace registry

#endif
