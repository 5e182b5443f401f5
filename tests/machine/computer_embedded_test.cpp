// What needs a second machine, a domain or a fault.
#include <string>
#include <vector>

#include "instalib/computer.h"
#include "platform/embedded/control/accounts.h"
#include "tests/support/faults.h"

namespace control = embedded::control;

namespace {

class ListedLines : public CComboBox {
  public:
    int AddString(const char* text) override {
        lines.emplace_back(text);
        return int(lines.size()) - 1;
    }
    std::vector<std::string> lines;
};

using Names = std::vector<std::string>;

class ComputerOfWorldTest : public FreshMachine {
  protected:
    static Names TrustedDomains(const WCHAR* machine) {
        ListedLines list;
        EXPECT_EQ(CComputer().DisplayTrustedDomains(machine, &list), 0);
        return list.lines;
    }
};

TEST_F(ComputerOfWorldTest, RemoteMachineIsAskedForItsOwnFacts) {
    AddMachine("OTHER");
    ASSERT_TRUE(control::AddDomain("SALES", "OTHER"));
    const CComputer computer("OTHER");
    EXPECT_STREQ(computer.Name(), "OTHER");
    EXPECT_STREQ(computer.Domain(), "SALES");
    EXPECT_EQ(computer.IsLocal(), 0);
    EXPECT_NE(computer.PrimaryDomainController(), 0);
    EXPECT_EQ(computer.BackupDomainController(), 0);
    EXPECT_NE(computer.DomainController(), 0);
    EXPECT_NE(computer.Server(), 0);
    EXPECT_EQ(CComputer().Server(), 0);
}

TEST_F(ComputerOfWorldTest, ListHoldsTheMachineItsDomainAndWhatThatTrustsAndKeeps64Names) {
    EXPECT_EQ(TrustedDomains(nullptr), Names{"TESTPC"});
    EXPECT_EQ(TrustedDomains(u""), Names{"TESTPC"});
    AddMachine("DC");
    AddMachine("FAR");
    ASSERT_TRUE(control::AddDomain("SALES", "DC"));
    ASSERT_TRUE(control::AddDomain("ABROAD", "FAR"));
    ASSERT_TRUE(control::AddTrust("DC", "ABROAD"));
    ASSERT_TRUE(control::JoinDomain("TESTPC", "SALES"));
    EXPECT_EQ(TrustedDomains(nullptr), (Names{"TESTPC", "SALES", "ABROAD"}));
    EXPECT_EQ(TrustedDomains(u"DC"), (Names{"SALES", "ABROAD"}));
    for (int i = 0; i < 80; ++i) ASSERT_TRUE(control::AddTrust("DC", std::string("TRUST") + std::to_string(i)));
    const Names names = TrustedDomains(u"DC");
    ASSERT_EQ(names.size(), 64u);
    EXPECT_EQ(names.front(), "SALES");
    EXPECT_EQ(names.back(), "TRUST61");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(TrustedDomains(u"NOSUCHPC").empty());
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("BuildTrustList error! (rc="), 0u);
}

TEST_F(ComputerOfWorldTest, EveryFailedCallLeavesNothingOpenAndOnlyMissingMemoryIsAnError) {
    AddMachine("DC");
    ASSERT_TRUE(control::AddDomain("SALES", "DC"));
    ASSERT_TRUE(control::AddTrust("DC", "ABROAD"));
    ASSERT_TRUE(control::JoinDomain("TESTPC", "SALES"));
    CComputer computer;
    std::string output;
    const auto run = [&] {
        ListedLines list;
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        const int result = computer.DisplayTrustedDomains(nullptr, &list);
        output = testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        return result;
    };
    ForEachFault(control::CallKind::Any, ERROR_ACCESS_DENIED, run,
                 [&](int result, DWORD, const auto&) { EXPECT_EQ(result, output == "HeapAlloc error!\n" ? 13 : 0); });
}

}  // namespace
