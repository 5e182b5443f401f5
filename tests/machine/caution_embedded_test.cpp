// What the machine's operations do when a step before the last one fails: the home share on any language, the queue of
// an older generation, names beyond ASCII, directories that cannot be listed.
#include "instalib/computer.h"
#include "instalib/job_queue.h"
#include "instalib/registry.h"
#include "instalib/scrambling.h"
#include "platform/embedded/control/accounts.h"
#include "platform/embedded/control/system.h"
#include "platform/handles.h"
#include "tests/support/fresh_machine.h"
#include "tests/support/sddl.h"

namespace control = embedded::control;

namespace {

class Caution : public FreshMachine {
  protected:
    // "PATH LIST" of the home share, "<none>" without one.
    static std::string Share() {
        const CHalvRegistry registry(1, nullptr);
        const std::string name = std::string(CHalvRegistry::GetZephraniteProdName()) + "$";
        std::u16string wide(name.begin(), name.end());
        NetBuffer buffer;
        if (NetShareGetInfo(nullptr, wide.data(), 502, reinterpret_cast<BYTE**>(buffer.Receive())) != 0)
            return "<none>";
        const auto& share = *static_cast<const SHARE_INFO_502*>(buffer.Get());
        const std::u16string path = share.shi502_path;
        return std::string(path.begin(), path.end()) + " " +
               SddlOf(share.shi502_security_descriptor, DACL_SECURITY_INFORMATION);
    }
};

TEST_F(Caution, HomeShareIsFinishedInEveryLanguage) {
    MakeFolder("C:\\HOME");
    ASSERT_TRUE(control::SetBuiltinNames("", "de"));
    EXPECT_EQ(CComputer::CreateKorvaultHomeShare("C:\\HOME", "", ""), 1) << GetLastError();
    EXPECT_EQ(Share(), "C:\\HOME D:(A;;FA;;;BA)(A;;0x1301bf;;;BO)");
}

TEST_F(Caution, OldHomeShareStaysUntilTheNewOneCanBeMadeAndIsNeverTakenForIt) {
    MakeFolder("C:\\OLD");
    MakeFolder("C:\\NEW");
    ASSERT_EQ(CComputer::CreateKorvaultHomeShare("C:\\OLD", "", ""), 1);
    const std::string old = Share();
    int before = 0, refused = 0;
    for (const control::CallKind kind : {control::CallKind::Security, control::CallKind::Network}) {
        for (unsigned n = 1; n < 1000; ++n) {
            const bool persists = kind == control::CallKind::Network;
            control::FailCall(kind, n, ERROR_ACCESS_DENIED, persists);
            const int result = CComputer::CreateKorvaultHomeShare("C:\\NEW", "", "");
            const std::string call = control::FaultedCall();
            control::ClearFault();
            if (call.empty()) break;
            if (Share() == old) {
                EXPECT_EQ(result, 0) << call << " " << n;
                ++(persists ? refused : before);
            }
            CComputer::DeleteKorvaultHomeShare();
            ASSERT_EQ(CComputer::CreateKorvaultHomeShare("C:\\OLD", "", ""), 1);
        }
    }
    EXPECT_GT(before, 0) << "no descriptor, no deletion";
    EXPECT_GT(refused, 0) << "a share that would not go";
}

TEST_F(Caution, QueueOfAnOlderGenerationIsNotDeletedInTheCurrentOnesPlace) {
    WriteBytes("C:\\OLD\\00000001.QSD\\job", "x");
    SetText(HKEY_LOCAL_MACHINE, std::string(CHalvRegistry::m_sOldKorvaultBaseKey) + "\\Path", "HOME", "C:\\OLD");
    ASSERT_NE(CHalvRegistry::SetKorvaultHomeDir("C:\\NEW"), 0);
    control::FailCall(control::CallKind::Registry, 1, ERROR_ACCESS_DENIED, true);
    EXPECT_EQ(CJobQueue::DeleteQueue(), 0);
    for (unsigned n = 1; n < 20; ++n) {
        control::FailCall(control::CallKind::Registry, n, ERROR_ACCESS_DENIED);
        CJobQueue::DeleteQueue();
        control::ClearFault();
        ASSERT_TRUE(FileExists("C:\\OLD\\00000001.QSD\\job")) << n;
    }
    DeleteKeyTree(HKEY_LOCAL_MACHINE, std::string(CHalvRegistry::m_sKorvaultBaseKey));
    EXPECT_NE(CJobQueue::DeleteQueue(), 0);
    EXPECT_FALSE(FileExists("C:\\OLD\\00000001.QSD\\job"));
}

TEST_F(Caution, DirectoryThatCannotBeListedIsNotEmpty) {
    MakeFolder("C:\\TEST\\a");
    EXPECT_EQ(CComputer::PathEmpty("C:\\TEST\\a", nullptr), 1);
    for (unsigned n = 1;; ++n) {
        control::ExemptCall("FindClose");
        control::FailCall(control::CallKind::File, n, ERROR_ACCESS_DENIED);
        const int empty = CComputer::PathEmpty("C:\\TEST\\a", nullptr);
        const DWORD error = GetLastError();
        const std::string call = control::FaultedCall();
        control::ClearFault();
        if (call.empty()) {
            ASSERT_GT(n, 1u);
            return;
        }
        EXPECT_EQ(empty, 0) << call;
        EXPECT_EQ(error, DWORD(ERROR_ACCESS_DENIED));
    }
}

TEST_F(Caution, ComputerNamesHaveNoCaseInAnyAlphabet) {
    AddMachine(
        "\xC3\x9C"
        "BER");
    ASSERT_TRUE(control::UseMachine(World() / "\xC3\x9C"
                                              "BER"));
    ASSERT_TRUE(control::SetCodePage(65001));
    EXPECT_EQ(CComputer::IsLocalMachine("\xC3\xBC"
                                        "ber"),
              1)
        << CComputer().Name();
}

TEST_F(Caution, ScramblingTakesNoNullTextsAndKeepsTheLibrarysStatus) {
    DWORD length = 8;
    char text[64] = "";
    BYTE bytes[64] = {};
    EXPECT_EQ(KSET_ZKBEncrypt_NUMSTR(nullptr, 4, text, &length), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(KSET_ZKBDecrypt_NUMSTR("0a", 2, nullptr, &length), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(KSET_ZKBDecrypt_NUMSTR("0a", 2, bytes, nullptr), DWORD(ERROR_INVALID_PARAMETER));
}

}  // namespace
