// Accounts whose texts cannot be converted, a service's dependents and kept start types that cannot be read: nothing is
// made of a text or a value that is not known.
#include "instalib/service.h"
#include "instalib/system_account.h"
#include "platform/embedded/control/services.h"
#include "platform/embedded/control/system.h"
#include "tests/support/fresh_machine.h"

namespace control = embedded::control;

namespace {

using Conversions = FreshMachine;

TEST_F(Conversions, NoTextStandsForOneThatCannotBeConverted) {
    int refused = 0;
    for (unsigned n = 1; n < 200; ++n) {
        CSystemAccount account("TESTPC", "TESTPC", "Svc", "Secret.1");
        control::FailCall(control::CallKind::System, n, ERROR_NO_UNICODE_TRANSLATION);
        const int created = account.Create();
        const DWORD error = GetLastError();
        const std::string call = control::FaultedCall();
        control::ClearFault();
        if (call.empty()) break;
        if (call != "MultiByteToWideChar" && call != "WideCharToMultiByte") continue;
        ++refused;
        EXPECT_EQ(created, 0) << call << " " << n;
        EXPECT_EQ(error, DWORD(ERROR_NO_UNICODE_TRANSLATION));
        if (account.Exists()) {
            EXPECT_EQ(CSystemAccount("TESTPC", "TESTPC", "Svc", "").ValidPassword(), 0) << "no password";
        }
        account.Delete();
    }
    EXPECT_GE(refused, 4) << "name and password, each measured and converted";
}

TEST_F(Conversions, Utf8AsTheCodePageRefusesTheFlagAndNotTheText) {
    ASSERT_TRUE(control::SetCodePage(65001));
    WCHAR wide[8];
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, "x", -1, wide, 8), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_FLAGS));
    CSystemAccount account("TESTPC", "TESTPC", "J\xC3\xB6rg", "Schl\xC3\xBCssel.1");
    ASSERT_EQ(account.Create(), 1) << GetLastError();
    EXPECT_EQ(CSystemAccount("TESTPC", "TESTPC", "J\xC3\xB6rg", "").ValidPassword(), 0);
    EXPECT_EQ(account.ValidPassword(), 1);
}

TEST_F(Conversions, KeptStartTypeThatCannotBeReadIsNoMissingOne) {
    constexpr char kKept[] = "SOFTWARE\\InstalibTest";
    const auto restore = [&] { return CService::RestoreServiceStatus(kKept, "LanmanServer", nullptr); };
    EXPECT_EQ(restore(), 1) << "no key";
    MakeKey(HKEY_LOCAL_MACHINE, kKept);
    EXPECT_EQ(restore(), 1) << "no value";
    for (const unsigned call : {1u, 2u}) {
        control::FailCall(control::CallKind::Registry, call, ERROR_ACCESS_DENIED);
        EXPECT_EQ(restore(), 0) << control::FaultedCall();
        EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    }
    control::ClearFault();
    SetText(HKEY_LOCAL_MACHINE, kKept, "LanmanServer", "abc");
    EXPECT_EQ(restore(), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_DATA));
}

TEST_F(Conversions, DependentsThatCannotBeReadAreAFailure) {
    EXPECT_EQ(CService::StartDependentServices(nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(CService::StartDependentServices("Nobody", 0), 1) << GetLastError();
    for (unsigned n = 1; n < 10'000; ++n) {
        control::ExemptCall("RegCloseKey");  // a close that fails has still closed
        control::FailCall(control::CallKind::Registry, n, ERROR_ACCESS_DENIED);
        const int result = CService::StartDependentServices("Nobody", 0);
        const std::string call = control::FaultedCall();
        control::ClearFault();
        ASSERT_EQ(result, call.empty() ? 1 : 0) << call << " " << n;
        if (call.empty()) return;
    }
    FAIL() << "the walk never ended";
}

TEST_F(Conversions, AHintWithoutEndWaitsAnHourAtMost) {
    control::UseManualClock(true);
    ASSERT_NE(CService::InstallService("Slow", "Slow", "C:\\S.EXE", 0x10, 3, "", nullptr, nullptr, nullptr), 0);
    control::ServiceScript script;
    script.start.steps = {{1, 0xFFFFFFFF, 0xFFFFFFFF}};
    script.start.hangs = true;
    control::ScriptService("Slow", script);
    EXPECT_EQ(CService::StartServiceA("Slow", 1), 1) << "still starting";
    EXPECT_EQ(control::SleptMilliseconds(), 3'600'000u);
}

}  // namespace
