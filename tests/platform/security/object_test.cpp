// The security of keys and files, read back entry by entry.
#include <vector>

#include "tests/support/fresh_machine.h"
#include "tests/support/sddl.h"

namespace {

constexpr char kKey[] = "SOFTWARE\\InstalibTest";

RegistryKey OpenTestKey(const char* path = kKey) {
    RegistryKey key;
    EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Receive(), nullptr),
              0);
    return key;
}

std::string ListOf(HKEY key) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetSecurityInfo(key, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr, &descriptor);
    if (error != 0) return "<error " + std::to_string(error) + ">";
    const LocalBuffer owner(descriptor);
    return SddlOf(list);
}

DWORD SetList(HKEY key, const char* list, SECURITY_INFORMATION information) {
    const Sddl source(list);
    return SetSecurityInfo(key, SE_REGISTRY_KEY, information, nullptr, nullptr, source.Dacl(), nullptr);
}

constexpr SECURITY_INFORMATION kProtected = DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
constexpr char kFamilyList[] = "(A;OICI;KR;;;WD)(A;OICI;KA;;;BO)(A;OICI;KA;;;BA)";
const std::string kFamilyText = std::string("D:") + kFamilyList;

using SecurityObjects = FreshMachine;

TEST_F(SecurityObjects, ProtectedListOfAKeyReplacesTheOldOne) {
    const RegistryKey key = OpenTestKey();
    ASSERT_EQ(SetList(key.Get(), kFamilyText.c_str(), kProtected), DWORD(ERROR_SUCCESS));
    EXPECT_EQ(ListOf(key.Get()), kFamilyList);
    ASSERT_EQ(SetList(key.Get(), "D:(A;;KA;;;BA)", kProtected), DWORD(ERROR_SUCCESS));
    EXPECT_EQ(ListOf(key.Get()), "(A;;KA;;;BA)");
}

TEST_F(SecurityObjects, KeysBelowInheritTheList) {
    SKIP_UNDER_WINE("SetSecurityInfo does not pass entries on to subkeys");
    const RegistryKey key = OpenTestKey();
    const RegistryKey old = OpenTestKey("SOFTWARE\\InstalibTest\\Old"),
                      own = OpenTestKey("SOFTWARE\\InstalibTest\\Own"),
                      closed = OpenTestKey("SOFTWARE\\InstalibTest\\Closed");
    ASSERT_EQ(SetList(own.Get(), "D:(A;;KR;;;AU)", DACL_SECURITY_INFORMATION), DWORD(ERROR_SUCCESS));
    ASSERT_EQ(SetList(closed.Get(), "D:(A;;KA;;;BA)", kProtected), DWORD(ERROR_SUCCESS));
    ASSERT_EQ(SetList(key.Get(), "D:(A;CI;KR;;;WD)(A;CI;KA;;;BA)", kProtected), DWORD(ERROR_SUCCESS));
    const std::string inherited = "(A;CIID;KR;;;WD)(A;CIID;KA;;;BA)";
    EXPECT_EQ(ListOf(old.Get()), inherited);
    EXPECT_EQ(ListOf(own.Get()), "(A;;KR;;;AU)" + inherited) << "its own entries come first";
    EXPECT_EQ(ListOf(closed.Get()), "(A;;KA;;;BA)") << "a protected list inherits nothing";
    EXPECT_EQ(ListOf(OpenTestKey("SOFTWARE\\InstalibTest\\New").Get()), inherited);
}

TEST_F(SecurityObjects, DeniedAccessKeepsAKeyShut) {
    {
        const RegistryKey key = OpenTestKey();
        ASSERT_EQ(SetList(key.Get(), "D:(D;;0x2;;;WD)(A;;KA;;;BA)", kProtected), DWORD(ERROR_SUCCESS));
    }
    RegistryKey key;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_WRITE, key.Receive()), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ | WRITE_DAC, key.Receive()), 0);
    EXPECT_EQ(SetList(key.Get(), "D:(A;;KA;;;BA)", kProtected), DWORD(ERROR_SUCCESS));
}

TEST_F(SecurityObjects, HandlesNeedTheRightForWhatTheyReadAndWrite) {
    OpenTestKey();
    RegistryKey key;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_QUERY_VALUE, key.Receive()), 0);
    EXPECT_EQ(ListOf(key.Get()), "<error 5>");
    EXPECT_EQ(SetList(key.Get(), "D:(A;;KA;;;BA)", kProtected), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(ListOf(nullptr), "<error 6>");
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_EQ(GetSecurityInfo(OpenTestKey().Get(), SE_REGISTRY_KEY, SACL_SECURITY_INFORMATION, nullptr, nullptr,
                              nullptr, &list, &descriptor),
              DWORD(ERROR_ACCESS_DENIED));
}

TEST_F(SecurityObjects, KeysAreFoundByName) {
    OpenTestKey();
    std::string name = "MACHINE\\SOFTWARE\\InstalibTest";
    const Sddl source("D:(A;;KA;;;BA)");
    ASSERT_EQ(SetNamedSecurityInfoA(name.data(), SE_REGISTRY_KEY, kProtected, nullptr, nullptr, source.Dacl(), nullptr),
              DWORD(ERROR_SUCCESS));
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PACL list = nullptr;
    ASSERT_EQ(GetNamedSecurityInfoA(name.data(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                    nullptr, &descriptor),
              DWORD(ERROR_SUCCESS));
    const LocalBuffer owner(descriptor);
    EXPECT_EQ(SddlOf(list), "(A;;KA;;;BA)");
}

std::string FileList(const std::string& path) {
    DWORD size = 0;
    SetLastError(0);
    EXPECT_TRUE(FailsWith(ERROR_INSUFFICIENT_BUFFER,
                          GetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size)));
    std::vector<BYTE> bytes(size);
    EXPECT_TRUE(GetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, bytes.data(), size, &size));
    return SddlOf(bytes.data(), DACL_SECURITY_INFORMATION);
}

BOOL SetFileList(const std::string& path, const char* text) {
    return SetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, Sddl(text).Get());
}

TEST_F(SecurityObjects, FileWithoutNameHasNoSecurity) {
    DWORD size = 0;
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND,
                          GetFileSecurityA("C:\\TEST\\NONE", DACL_SECURITY_INFORMATION, nullptr, 0, &size)));
    EXPECT_TRUE(FailsWith(ERROR_PATH_NOT_FOUND,
                          GetFileSecurityA("C:\\TEST\\NONE\\NONE", DACL_SECURITY_INFORMATION, nullptr, 0, &size)));
    EXPECT_TRUE(FailsWith(ERROR_FILE_NOT_FOUND, SetFileList("C:\\TEST\\NONE", "D:(A;;FA;;;BA)")));
}

TEST_F(SecurityObjects, FileSecurityIsSizedAndRead) { EXPECT_THAT(FileList("C:\\TEST"), testing::StartsWith("D:")); }

TEST_F(SecurityObjects, FileListIsKeptAsItWasSetAndNotPassedOn) {
    SKIP_UNDER_WINE("file lists shrink to mode bits");
    WriteBytes("C:\\TEST\\F", "x");
    ASSERT_TRUE(SetFileList("C:\\TEST\\F", "D:P(A;;GA;;;BA)(A;;0x1301bf;;;BO)"));
    EXPECT_EQ(FileList("C:\\TEST\\F"), "D:P(A;;FA;;;BA)(A;;0x1301bf;;;BO)") << "generic bits are mapped";
    ASSERT_TRUE(SetFileList("C:\\TEST\\F", "D:AI(A;;FA;;;BA)"));
    EXPECT_EQ(FileList("C:\\TEST\\F"), "D:(A;;FA;;;BA)") << "inherited automatically needs the request, too";
    ASSERT_TRUE(SetFileList("C:\\TEST\\F", "D:ARAI(A;;FA;;;BA)"));
    EXPECT_EQ(FileList("C:\\TEST\\F"), "D:AI(A;;FA;;;BA)");
    MakeFolder("C:\\TEST\\D");
    WriteBytes("C:\\TEST\\D\\F", "x");
    const std::string before = FileList("C:\\TEST\\D\\F");
    ASSERT_TRUE(SetFileList("C:\\TEST\\D", "D:P(A;OICI;FA;;;BA)(A;;FR;;;WD)"));
    EXPECT_EQ(FileList("C:\\TEST\\D\\F"), before);
    WriteBytes("C:\\TEST\\D\\NEW", "x");
    EXPECT_EQ(FileList("C:\\TEST\\D\\NEW"), "D:AI(A;ID;FA;;;BA)");
}

TEST_F(SecurityObjects, WhoMayNotReadTheListIsTurnedAway) {
    SKIP_UNDER_WINE("file lists shrink to mode bits");
    WriteBytes("C:\\TEST\\F", "x");
    ASSERT_TRUE(SetFileSecurityA("C:\\TEST\\F", OWNER_SECURITY_INFORMATION, Sddl("O:BA").Get()));
    ASSERT_TRUE(SetFileList("C:\\TEST\\F", "D:P(A;;RC;;;OW)"));  // owners may read the list, not change it
    DWORD size = 0;
    EXPECT_EQ(FileList("C:\\TEST\\F"), "D:P(A;;RC;;;OW)");
    EXPECT_TRUE(FailsWith(ERROR_ACCESS_DENIED, SetFileList("C:\\TEST\\F", "D:(A;;FA;;;BA)")));
    EXPECT_TRUE(FailsWith(ERROR_PRIVILEGE_NOT_HELD,
                          GetFileSecurityA("C:\\TEST\\F", SACL_SECURITY_INFORMATION, nullptr, 0, &size)));
}

}  // namespace
