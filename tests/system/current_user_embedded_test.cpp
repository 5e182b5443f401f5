// Users, groups and failing calls that only the embedded machine can show.
#include <string>

#include "instalib/current_user.h"
#include "platform/embedded/control/accounts.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/control/security.h"
#include "tests/support/faults.h"

namespace control = embedded::control;

namespace {

class UserOfAMachine : public FreshMachine {
  protected:
    static void AddUser(const std::string& name) {
        std::u16string wide(name.begin(), name.end());
        std::u16string password = u"Secret1!";
        USER_INFO_1 user{};
        user.usri1_name = reinterpret_cast<LPWSTR>(wide.data());
        user.usri1_password = reinterpret_cast<LPWSTR>(password.data());
        user.usri1_priv = USER_PRIV_USER;
        user.usri1_flags = UF_SCRIPT;
        ASSERT_EQ(NetUserAdd(nullptr, 1, reinterpret_cast<LPBYTE>(&user), nullptr), 0u);
    }
    static bool Impersonates() {
        KernelHandle token;
        return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()) != 0;
    }
};

TEST_F(UserOfAMachine, StandardUserIsNoAdministrator) {
    AddUser("clerk");
    ASSERT_TRUE(control::SetCurrentUser("clerk"));
    EXPECT_TRUE(FailsWith(0u, CCurrentUser::IsAdministrator()));  // the check was made; it denied
    EXPECT_FALSE(Impersonates());
    EXPECT_STREQ(CCurrentUser().GetUser(), "clerk");
}

TEST_F(UserOfAMachine, GroupThatOnlyDeniesMakesNoAdministrator) {
    EXPECT_EQ(CCurrentUser::IsAdministrator(), 1);
    ASSERT_TRUE(control::SetTokenGroup("S-1-5-32-544", control::GroupUse::DenyOnly));
    EXPECT_EQ(CCurrentUser::IsAdministrator(), 0);
}

TEST_F(UserOfAMachine, FailingCallAnswersNoRevertsAndLeavesNothingOpen) {
    const auto check = [](int result, DWORD error, const std::string& call) {
        if (call.empty()) {
            EXPECT_EQ(result, 1);
            return;
        }
        EXPECT_TRUE(call == "RevertToSelf" || !Impersonates());
        RevertToSelf();
        // A call that gives back has done its work when it reports the failure, and the mapping cannot fail.
        if (result == 1) {
            EXPECT_THAT(call,
                        testing::AnyOf("RevertToSelf", "FreeSid", "DestroyPrivateObjectSecurity", "MapGenericMask"));
        } else {
            EXPECT_EQ(error, DWORD(ERROR_NOT_SUPPORTED));
        }
    };
    for (const bool persistent : {false, true}) {
        ForEachFault(control::CallKind::Security, ERROR_NOT_SUPPORTED, &CCurrentUser::IsAdministrator, check,
                     persistent);
    }
}

TEST_F(UserOfAMachine, NamesThatCannotBeHadStayEmpty) {
    control::FailCall(control::CallKind::Any, 1, ERROR_ACCESS_DENIED, true);
    CCurrentUser user;
    control::ClearFault();
    EXPECT_STREQ(user.GetUser(), "");
    EXPECT_STREQ(user.GetDomain(), "");
}

}  // namespace
