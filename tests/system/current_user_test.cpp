#include "instalib/current_user.h"

#include <string>

#include "tests/support/fresh_machine.h"

namespace {

class CurrentUser : public FreshMachine {};

TEST_F(CurrentUser, NamesAreThoseOfTheSystem) {
    char name[256] = "";
    DWORD size = sizeof name;
    ASSERT_TRUE(GetUserNameA(name, &size));
    CCurrentUser user;
    EXPECT_STREQ(user.GetUser(), name);
    EXPECT_STREQ(user.GetDomain(), ComputerName().c_str());  // a local account
    CCurrentUser copy(user);
    EXPECT_STREQ(copy.GetUser(), user.GetUser());
    EXPECT_STREQ(copy.GetDomain(), user.GetDomain());
}

TEST_F(CurrentUser, LengthsCountTheTerminatorForTheUserOnly) {
    char name[48] = "";
    DWORD size = sizeof name;
    ASSERT_NE(CCurrentUser::GetUser(name, &size), 0);
    EXPECT_EQ(size, std::string(name).size() + 1);
    size = sizeof name;
    ASSERT_NE(CCurrentUser::GetDomain(name, &size), 0);
    EXPECT_EQ(size, std::string(name).size());
}

TEST_F(CurrentUser, NameThatDoesNotFitFailsWithTheSizeNeeded) {
    char name[] = "canary";
    DWORD size = 1;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, CCurrentUser::GetUser(name, &size)));
    size = 1;
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER, CCurrentUser::GetDomain(name, &size)));
    EXPECT_EQ(size, ComputerName().size() + 1);
    EXPECT_STREQ(name + 1, "anary");
}

TEST_F(CurrentUser, NothingToWriteIntoIsRefused) {
    DWORD size = 48;
    char name[48];
    EXPECT_EQ(CCurrentUser::GetUser(nullptr, &size), 0);
    EXPECT_EQ(CCurrentUser::GetDomain(nullptr, &size), 0);
    EXPECT_EQ(CCurrentUser::GetUser(name, nullptr), 0);
    EXPECT_EQ(CCurrentUser::GetDomain(name, nullptr), 0);
}

TEST_F(CurrentUser, AdministratorIsOneAndTheThreadRevertsToTheProcess) {
    EXPECT_EQ(CCurrentUser::IsAdministrator(), 1);
    HANDLE token = nullptr;
    EXPECT_TRUE(FailsWith(ERROR_NO_TOKEN, OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token)));
}

}  // namespace
