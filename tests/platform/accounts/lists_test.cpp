// The lists of users and local groups, which come in pieces when the caller wants small ones.
#include <algorithm>

#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace {

NET_API_STATUS Users(LPBYTE* buffer, DWORD bytes, DWORD* read, DWORD* total, DWORD_PTR* resume) {
    DWORD position = static_cast<DWORD>(*resume);
    const NET_API_STATUS status = NetUserEnum(nullptr, 0, FILTER_NORMAL_ACCOUNT, buffer, bytes, read, total, &position);
    *resume = position;
    return status;
}

NET_API_STATUS Groups(LPBYTE* buffer, DWORD bytes, DWORD* read, DWORD* total, DWORD_PTR* resume) {
    return NetLocalGroupEnum(nullptr, 0, buffer, bytes, read, total, resume);
}

struct List {
    const char* name;
    decltype(&Users) call;
    std::vector<std::string> expected;
};

class AccountLists : public FreshMachine, public testing::WithParamInterface<List> {};

TEST_P(AccountLists, AreWholeInPiecesAndAtOnce) {
    SKIP_UNDER_WINE("users and groups are not listed");
    std::vector<std::string> whole;
    for (const DWORD bytes : {MAX_PREFERRED_LENGTH, DWORD(40), DWORD(0)}) {
        std::vector<std::string> names;
        DWORD_PTR resume = 0;
        for (NET_API_STATUS status = ERROR_MORE_DATA; status == ERROR_MORE_DATA;) {
            NetBuffer buffer;
            DWORD read = 0, total = 0;
            status = GetParam().call(reinterpret_cast<LPBYTE*>(buffer.Receive()), bytes, &read, &total, &resume);
            ASSERT_TRUE(status == 0 || (status == ERROR_MORE_DATA && read > 0)) << status;
            EXPECT_GE(total, read);
            // Level 0 of both is a name.
            for (DWORD i = 0; i < read; ++i) {
                std::string& name = names.emplace_back();
                for (LPCWSTR c = static_cast<USER_INFO_0*>(buffer.Get())[i].usri0_name; *c != 0; ++c)
                    name += static_cast<char>(*c);
            }
        }
        if (whole.empty()) whole = names;
        EXPECT_EQ(names, whole) << bytes;
    }
    for (const std::string& name : GetParam().expected)
        EXPECT_EQ(std::count(whole.begin(), whole.end(), name), 1) << name;
}

INSTANTIATE_TEST_SUITE_P(All, AccountLists,
                         testing::Values(List{"Users", Users, {"Administrator", "Guest"}},
                                         List{"Groups", Groups, {"Administrators", "Backup Operators", "Users"}}),
                         kCaseName);

}  // namespace
