// The exported operation on access lists of files: the resulting list entry by entry, and what happens to a failing
// call.
#include "instalib/file_security.h"

#include "tests/support/fresh_machine.h"
#include "tests/support/sddl.h"

#ifndef _WIN32
#include <map>
#include <set>

#include "platform/embedded/control/system.h"
namespace control = embedded::control;
#endif

namespace {

constexpr DWORD kRead = 0x1200A9;

class FileSecurity : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        WriteBytes(File(), "x");
    }
    static std::string File() { return Folder() + "\\FILE.TXT"; }
    static void Set(const std::string& path, const char* sddl) {
        const Sddl descriptor(sddl);
        ASSERT_NE(descriptor.Get(), nullptr) << sddl;
        // A self-relative descriptor is taken as it stands, with the state of inheritance only when it is asked for.
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        DWORD revision = 0;
        ASSERT_TRUE(GetSecurityDescriptorControl(descriptor.Get(), &control, &revision));
        if (control & SE_DACL_AUTO_INHERITED) {
            constexpr SECURITY_DESCRIPTOR_CONTROL kRequired = SE_DACL_AUTO_INHERIT_REQ;
            static_cast<SECURITY_DESCRIPTOR_RELATIVE*>(descriptor.Get())->Control |= kRequired;
        }
        ASSERT_TRUE(SetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.Get())) << GetLastError();
    }
    static std::string Get(const std::string& path) {
        DWORD size = 0;
        GetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
        std::vector<BYTE> bytes(size);
        if (!GetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, bytes.data(), size, &size)) return "<error>";
        return SddlOf(bytes.data(), DACL_SECURITY_INFORMATION);
    }
    // Whether the process's token has the security privilege switched on.
    static bool HasSecurityPrivilege() {
        KernelHandle token, copy;
        PRIVILEGE_SET set{1, PRIVILEGE_SET_ALL_NECESSARY, {}};
        BOOL result = FALSE;
        EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY | TOKEN_DUPLICATE, token.Receive()));
        EXPECT_TRUE(DuplicateToken(token.Get(), SecurityImpersonation, copy.Receive()));
        EXPECT_TRUE(LookupPrivilegeValueA(nullptr, SE_SECURITY_NAME, &set.Privilege[0].Luid));
        EXPECT_TRUE(PrivilegeCheck(copy.Get(), &set, &result));
        return result != FALSE;
    }
    struct Outcome {
        int result;
        DWORD error;
        std::string output;
    };
    static Outcome Adjust(const char* path, const char* account, DWORD mask = kRead) {
        testing::internal::CaptureStdout();
        SetLastError(0xdeadbeef);
        Outcome outcome{};
        outcome.result = AdjustAccessRights(nullptr, nullptr, nullptr, path, account, mask);
        outcome.error = GetLastError();
        outcome.output = testing::internal::GetCapturedStdout();
        return outcome;
    }
};

TEST_F(FileSecurity, AccountHasOneEntryBetweenExplicitAndInheritedOnes) {
    SKIP_UNDER_WINE("the access list of a file is made up from the host's permission bits");
    const struct {
        const char* rule;
        const char* before;
        const char* after;
    } cases[] = {
        {"deny and allow entries become one", "D:(D;;FW;;;BA)(A;;FR;;;BA)(A;;FA;;;SY)",
         "D:(A;;FA;;;SY)(A;;0x1200a9;;;BA)"},
        {"others keep their order, denials included", "D:(D;;FW;;;BG)(A;;FA;;;SY)(D;;FR;;;BU)",
         "D:(D;;FW;;;BG)(A;;FA;;;SY)(D;;FR;;;BU)(A;;0x1200a9;;;BA)"},
        {"it comes before inherited ones", "D:AI(A;ID;FR;;;WD)(A;ID;FA;;;SY)",
         "D:AI(A;;0x1200a9;;;BA)(A;ID;FR;;;WD)(A;ID;FA;;;SY)"},
        {"its inherited entries go too", "D:AI(A;;FA;;;SY)(A;ID;FA;;;BA)(D;ID;FW;;;BA)(A;ID;FR;;;WD)",
         "D:AI(A;;FA;;;SY)(A;;0x1200a9;;;BA)(A;ID;FR;;;WD)"},
        {"what follows the first inherited entry stays behind it", "D:AI(A;ID;FR;;;WD)(A;;FA;;;SY)(A;;FR;;;BA)",
         "D:AI(A;;0x1200a9;;;BA)(A;ID;FR;;;WD)(A;;FA;;;SY)"},
        {"a protected list stays protected", "D:P(A;;FA;;;SY)", "D:P(A;;FA;;;SY)(A;;0x1200a9;;;BA)"},
        {"one that is both becomes auto-inherited", "D:PAI(A;;FA;;;SY)", "D:AI(A;;FA;;;SY)(A;;0x1200a9;;;BA)"},
        {"an empty list holds it alone", "D:", "D:(A;;0x1200a9;;;BA)"},
        {"a missing list counts as empty", "D:NO_ACCESS_CONTROL", "D:(A;;0x1200a9;;;BA)"},
    };
    const std::string folder = Folder() + "\\SUB";
    MakeFolder(folder);
    for (const auto& one : cases) {
        for (const std::string& path : {File(), folder}) {
            SCOPED_TRACE(one.rule + (" on " + path));
            Set(path, one.before);
            const Outcome outcome = Adjust(path.c_str(), "Administrators");
            EXPECT_EQ(outcome.result, 1) << outcome.error;
            EXPECT_EQ(outcome.output, "");
            EXPECT_EQ(Get(path), one.after);
            EXPECT_FALSE(HasSecurityPrivilege());
        }
    }
}

TEST_F(FileSecurity, UnknownAccountAndMissingFileSayWhyAndLeaveThePrivilegeOn) {
    const Outcome nobody = Adjust(File().c_str(), "InstalibNobody");
    EXPECT_EQ(nobody.result, 0);
    EXPECT_EQ(nobody.error, DWORD(ERROR_NONE_MAPPED));
    EXPECT_EQ(nobody.output, "LookupAccountName() failed. Error 1332\n");
    EXPECT_TRUE(HasSecurityPrivilege());
    const Outcome missing = Adjust((Folder() + "\\MISSING").c_str(), "Administrators");
    EXPECT_EQ(missing.result, 0);
    EXPECT_EQ(missing.output, "GetFileSecurity() failed. Error 2\n");
    EXPECT_EQ(Adjust(nullptr, "Administrators").result, 0);
}

#ifndef _WIN32

TEST_F(FileSecurity, SystemWithoutTheControlFunctionLosesTheInheritanceState) {
    control::HideEntryPoint("advapi32.dll", "SetSecurityDescriptorControl");
    Set(File(), "D:P(A;;FA;;;SY)");
    EXPECT_EQ(Adjust(File().c_str(), "Administrators").result, 1);
    EXPECT_EQ(Get(File()), "D:(A;;FA;;;SY)(A;;0x1200a9;;;BA)");
}

// Every call fails once: its message and error, the list as it was, the privilege still on.
TEST_F(FileSecurity, EveryFailingCallPrintsItsMessage) {
    const std::map<std::string, std::string> messages = {
        {"LookupAccountNameA", "LookupAccountName() failed. Error 13\n"},
        {"HeapAlloc", "HeapAlloc() failed. Error 8\n"},
        {"GetFileSecurityA", "GetFileSecurity() failed. Error 13\n"},
        {"InitializeSecurityDescriptor", "InitializeSecurityDescriptor() failed.Error 13\n"},
        {"GetSecurityDescriptorDacl", "GetSecurityDescriptorDacl() failed. Error 13\n"},
        {"GetAclInformation", "GetAclInformation() failed. Error 13\n"},
        {"InitializeAcl", "InitializeAcl() failed. Error 13\n"},
        {"GetAce", "GetAce() failed. Error 13\n"},
        {"AddAce", "AddAce() failed. Error 13\n"},
        {"AddAccessAllowedAce", "AddAccessAllowedAce() failed. Error 13\n"},
        {"SetSecurityDescriptorDacl", "SetSecurityDescriptorDacl() failed. Error 13\n"},
        {"GetSecurityDescriptorControl", "GetSecurityDescriptorControl() failed.Error 13\n"},
        {"SetSecurityDescriptorControl", "SetSecurityDescriptorControl() failed.Error 13\n"},
        {"SetFileSecurityA", "SetFileSecurity() failed. Error 13\n"},
    };
    // The privilege is a matter of the caller's rights, a system may lack the control function, and closing cannot
    // fail.
    for (const char* name : {"OpenProcessToken", "LookupPrivilegeValueA", "AdjustTokenPrivileges", "LoadLibraryA",
                             "GetProcAddress", "FreeLibrary", "CloseHandle", "HeapFree"}) {
        control::ExemptCall(name);
    }
    constexpr char kBefore[] = "D:AI(A;;FA;;;SY)(A;;FR;;;BA)(A;ID;FR;;;WD)";
    std::set<std::string> seen;
    for (unsigned n = 1; n < 200; ++n) {
        Set(File(), kBefore);
        control::FailCall(control::CallKind::Any, n, ERROR_INVALID_DATA);
        const Outcome outcome = Adjust(File().c_str(), "Administrators");
        const std::string call = control::FaultedCall();
        control::FailCall(control::CallKind::Any, 100000, 1);  // disarms and keeps the exemptions
        SCOPED_TRACE(call);
        if (call.empty()) {
            EXPECT_EQ(outcome.result, 1);
            EXPECT_EQ(seen.size(), messages.size()) << "some call was not made";
            return;
        }
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.error, call == "HeapAlloc" ? 8u : DWORD(ERROR_INVALID_DATA)) << "it promises no error itself";
        ASSERT_TRUE(messages.contains(call));
        EXPECT_EQ(outcome.output, messages.at(call));
        EXPECT_EQ(Get(File()), kBefore);
        EXPECT_TRUE(HasSecurityPrivilege());
        EXPECT_EQ(control::OpenCount(control::ResourceKind::HeapMemory), 0u);
        EXPECT_EQ(control::OpenCount(control::ResourceKind::Module), 0u);
        seen.insert(call);
    }
    FAIL() << "the operation never ran to its end";
}

#endif

}  // namespace
