// The hidden home share: its record, its access list entry by entry, and what stays when a step fails.
#include "instalib/computer.h"
#include "instalib/registry.h"
#include "platform/embedded/control/accounts.h"
#include "tests/support/faults.h"
#include "tests/support/sddl.h"

namespace control = embedded::control;

namespace {

class HomeShare : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        MakeFolder("C:\\HOME");
        MakeFolder("C:\\OTHER");
        const CHalvRegistry registry(1, nullptr);
        const std::string name = std::string(CHalvRegistry::GetZephraniteProdName()) + "$";
        m_name.assign(name.begin(), name.end());
    }
    NetBuffer Info() {
        NetBuffer buffer;
        NetShareGetInfo(nullptr, m_name.data(), 502, reinterpret_cast<BYTE**>(buffer.Receive()));
        return buffer;
    }
    std::string Path() {
        const NetBuffer info = Info();
        if (!info) return "<none>";
        std::string path;
        for (const WCHAR* at = static_cast<SHARE_INFO_502*>(info.Get())->shi502_path; *at != 0; ++at) path += char(*at);
        return path;
    }
    std::string Entries() {
        const NetBuffer info = Info();
        if (!info) return "<none>";
        return SddlOf(static_cast<SHARE_INFO_502*>(info.Get())->shi502_security_descriptor, DACL_SECURITY_INFORMATION);
    }
    static int Create(const char* path, const char* account = "Guests") {
        SetLastError(0xdeadbeef);
        return CComputer::CreateKorvaultHomeShare(path, "", account);
    }
    static int CallsOfAdd(const char* path, const char* account = "Guests") {
        control::StartCounting();
        EXPECT_NE(Create(path, account), 0) << GetLastError();
        for (const auto& [name, count] : control::StopCounting()) {
            if (name == "NetShareAdd") return int(count);
        }
        return 0;
    }

    std::u16string m_name;
};

constexpr char kGiven[] = "D:(A;;FA;;;BG)(A;;FA;;;BA)(A;;0x1301bf;;;BO)";
constexpr char kDefault[] = "D:(A;;;;;WD)";

TEST_F(HomeShare, AccountAdministratorsAndOperatorsHaveTheirEntriesInThisOrder) {
    ASSERT_EQ(Create("C:\\HOME\\"), 1) << GetLastError();
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(Path(), "C:\\HOME");
    EXPECT_EQ(Entries(), kGiven);
    const NetBuffer info = Info();
    const auto& share = *static_cast<SHARE_INFO_502*>(info.Get());
    EXPECT_EQ(std::u16string(share.shi502_remark), u"Zephranite System Directory");
    EXPECT_EQ(share.shi502_type, DWORD(STYPE_DISKTREE));
    EXPECT_EQ(share.shi502_permissions, 4u);
    EXPECT_EQ(share.shi502_max_uses, 0xFFFFFFFFu);
}

TEST_F(HomeShare, WithoutAccountOnlyTheGroupsHaveEntries) {
    for (const char* none : {"", static_cast<const char*>(nullptr)}) {
        ASSERT_EQ(Create("C:\\HOME", none), 1) << GetLastError();
        EXPECT_EQ(Entries(), "D:(A;;FA;;;BA)(A;;0x1301bf;;;BO)");
        EXPECT_EQ(CComputer::DeleteKorvaultHomeShare(), 0);
    }
    EXPECT_EQ(CComputer::DeleteKorvaultHomeShare(), 2310);
}

TEST_F(HomeShare, SamePathIsLeftAloneAndAnotherRecreates) {
    EXPECT_EQ(CallsOfAdd("C:\\HOME"), 1);
    EXPECT_EQ(CallsOfAdd("c:\\Home\\", ""), 0);
    EXPECT_EQ(Entries(), kGiven) << "the rights stay too";
    EXPECT_EQ(CallsOfAdd("C:\\OTHER", ""), 1);
    EXPECT_EQ(Path(), "C:\\OTHER");
    EXPECT_EQ(Entries(), "D:(A;;FA;;;BA)(A;;0x1301bf;;;BO)");
}

TEST_F(HomeShare, UnusablePathsChangeNothingAndAnUnknownAccountLeavesTheDefaultList) {
    ASSERT_EQ(Create("C:\\HOME"), 1);
    const std::string fits = "C:\\" + std::string(252, 'x'), longer = fits + "x";
    EXPECT_TRUE(FailsWith(ERROR_FILENAME_EXCED_RANGE, Create(longer.c_str())));
    EXPECT_EQ(Create(nullptr), 0);
    EXPECT_EQ(Create(""), 0);
    EXPECT_EQ(Path(), "C:\\HOME");
    EXPECT_TRUE(FailsWith(NERR_UnknownDevDir, Create((fits + "\\").c_str()))) << "a directory that is missing";
    EXPECT_EQ(Path(), "<none>");
    EXPECT_TRUE(FailsWith(ERROR_NONE_MAPPED, Create("C:\\HOME", "InstalibNobody")));
    EXPECT_EQ(Path(), "C:\\HOME");
    EXPECT_EQ(Entries(), kDefault);
}

TEST_F(HomeShare, AccountIsLookedUpOnItsOwnSystem) {
    AddMachine("SERVER");
    USER_INFO_1 user{};
    WCHAR name[] = u"Remote", password[] = u"Secret.1";
    user.usri1_name = name;
    user.usri1_password = password;
    user.usri1_priv = USER_PRIV_USER;
    user.usri1_flags = UF_SCRIPT | UF_NORMAL_ACCOUNT;
    ASSERT_EQ(NetUserAdd(u"\\\\SERVER", 1, reinterpret_cast<BYTE*>(&user), nullptr), 0u);
    EXPECT_EQ(CComputer::CreateKorvaultHomeShare("C:\\HOME", nullptr, "Remote"), 0);
    CComputer::DeleteKorvaultHomeShare();
    EXPECT_NE(CComputer::CreateKorvaultHomeShare("C:\\HOME", "\\\\SERVER", "Remote"), 0) << GetLastError();
    EXPECT_THAT(Entries(), testing::StartsWith("D:(A;;FA;;;S-1-5-21-"));
}

TEST_F(HomeShare, FailingLastStepIsSuccessWithItsError) {
    control::FailCall(control::CallKind::Network, 11, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Create("C:\\HOME"), 1);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(control::FaultedCall(), "NetShareSetInfo");
    EXPECT_EQ(Entries(), kDefault);
}

// A failing call leaves no share, the default list or the full one, and the result says whether all steps were taken.
TEST_F(HomeShare, EveryFailingCallIsToldAndLeavesNothingOpen) {
    const auto run = [] { return Create("C:\\HOME"); };
    ForEachFault(control::CallKind::Security, ERROR_INVALID_DATA, run, [&](int result, DWORD error, const auto& call) {
        EXPECT_EQ(Entries() == kGiven, result != 0);
        EXPECT_EQ(error == 0, result != 0);
        EXPECT_TRUE(!call.empty() || result == 1);
        CComputer::DeleteKorvaultHomeShare();
    });
}

}  // namespace
