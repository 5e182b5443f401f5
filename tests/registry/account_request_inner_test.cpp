// The tool library's account record after its use: its storage is looked at when the record has gone.
#include "registry/account_request.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string_view>

namespace {

TEST(AccountRequest, PasswordDoesNotOutliveTheRecord) {
    CSettings settings;
    settings.SystemAccountPassword("secret");
    alignas(registry::AccountRequest) char storage[sizeof(registry::AccountRequest)] = {};
    auto* const request = new (storage) registry::AccountRequest(settings);
    const auto holdsPassword = [&] {
        constexpr std::string_view kPassword = "secret";
        return std::search(std::begin(storage), std::end(storage), kPassword.begin(), kPassword.end()) !=
               std::end(storage);
    };
    EXPECT_TRUE(holdsPassword());
    request->~AccountRequest();
    EXPECT_FALSE(holdsPassword());
}

}  // namespace
