// The registry's functions as setup code relies on them, on both targets.
#include "tests/support/fresh_machine.h"
#include "tests/support/sddl.h"

namespace {

constexpr const char* kTestKey = "SOFTWARE\\InstalibTest";

class Registry : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        m_key = Create(HKEY_LOCAL_MACHINE, kTestKey);
    }
    void TearDown() override {
        m_key.Reset();
        DeleteKeyTree(kTestKey);
        FreshMachine::TearDown();
    }

    static RegistryKey Create(HKEY root, const std::string& path, REGSAM rights = KEY_ALL_ACCESS) {
        RegistryKey key;
        EXPECT_EQ(RegCreateKeyExA(root, path.c_str(), 0, nullptr, 0, rights, nullptr, key.Receive(), nullptr), 0)
            << path;
        return key;
    }
    static RegistryKey Open(HKEY root, const std::string& path, REGSAM rights = KEY_READ) {
        RegistryKey key;
        EXPECT_EQ(RegOpenKeyExA(root, path.c_str(), 0, rights, key.Receive()), 0) << path;
        return key;
    }
    static LONG OpenResult(HKEY root, const std::string& path, REGSAM rights = KEY_READ) {
        RegistryKey key;
        return RegOpenKeyExA(root, path.c_str(), 0, rights, key.Receive());
    }
    static LONG CreateResult(HKEY root, const std::string& path, DWORD* disposition = nullptr) {
        RegistryKey key;
        return RegCreateKeyExA(root, path.c_str(), 0, nullptr, 0, KEY_READ, nullptr, key.Receive(), disposition);
    }
    // What RegEnumKeyExA or RegEnumValueA tells, in its order.
    static std::vector<std::string> Names(HKEY key, auto enumerate) {
        std::vector<std::string> names;
        char name[256] = "";
        for (DWORD index = 0, size = sizeof name;
             enumerate(key, index, name, &size, nullptr, nullptr, nullptr, nullptr) == 0; size = sizeof name, ++index) {
            names.emplace_back(name, size);
        }
        return names;
    }
    static std::vector<std::string> Subkeys(HKEY key) { return Names(key, &RegEnumKeyExA); }
    static std::vector<std::string> ValueNames(HKEY key) { return Names(key, &RegEnumValueA); }
    LONG Set(const char* name, const TestBytes& data, DWORD type = REG_BINARY) {
        return RegSetValueExA(m_key.Get(), name, 0, type, data.data(), DWORD(data.size()));
    }

    RegistryKey m_key;
};

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(Registry, NamesKeepTheirCaseAndCreateSaysWhetherItMadeThePath) {
    Create(m_key.Get(), "MixedCase");
    EXPECT_EQ(OpenResult(m_key.Get(), "mIXEDcASE"), 0);
    DWORD disposition = 0;
    EXPECT_EQ(CreateResult(m_key.Get(), "MIXEDCASE", &disposition), 0);
    EXPECT_EQ(disposition, DWORD(REG_OPENED_EXISTING_KEY));
    EXPECT_THAT(Subkeys(m_key.Get()), ElementsAre("MixedCase"));
    Set("Value", {1});
    Set("vALUE", {2});
    EXPECT_THAT(ValueNames(m_key.Get()), ElementsAre("Value"));
    EXPECT_EQ(GetRaw(kTestKey, "VALUE")->data, TestBytes{2});
    EXPECT_EQ(CreateResult(m_key.Get(), "A\\B\\C", &disposition), 0);
    EXPECT_EQ(disposition, DWORD(REG_CREATED_NEW_KEY));
    EXPECT_EQ(OpenResult(m_key.Get(), "A\\B"), 0);
    EXPECT_EQ(OpenResult(m_key.Get(), "A\\B\\"), 0) << "a backslash at the end counts for nothing";
}

TEST_F(Registry, SubkeysComeSortedByTheirUpperCaseForm) {
    for (const char* name : {"b", "C", "a", "B1", "1"}) Create(m_key.Get(), name);
    EXPECT_THAT(Subkeys(m_key.Get()), ElementsAre("1", "a", "b", "B1", "C"));
    SKIP_UNDER_WINE("RegEnumKeyExA puts an underscore before the letters");
    for (const char* name : {"_", "Z"}) Create(m_key.Get(), name);
    EXPECT_THAT(Subkeys(m_key.Get()), ElementsAre("1", "a", "b", "B1", "C", "Z", "_"));
}

TEST_F(Registry, ValuesComeInOrderOfCreation) {
    SKIP_UNDER_WINE("RegEnumValueA sorts values by name");
    for (const char* name : {"b", "C", "a"}) Set(name, {1});
    Set("b", {2});  // a value set again keeps its place
    EXPECT_THAT(ValueNames(m_key.Get()), ElementsAre("b", "C", "a"));
    RegDeleteValueA(m_key.Get(), "b");
    Set("b", {3});  // a new one goes to the end
    EXPECT_THAT(ValueNames(m_key.Get()), ElementsAre("C", "a", "b"));
}

TEST_F(Registry, DeletingAtIndexZeroVisitsEverySubkey) {
    for (int i = 0; i < 50; ++i) Create(m_key.Get(), 'K' + std::to_string(i));
    char name[16] = "";
    int deleted = 0;
    for (DWORD size = sizeof name; RegEnumKeyExA(m_key.Get(), 0, name, &size, nullptr, nullptr, nullptr, nullptr) == 0;
         size = sizeof name, ++deleted) {
        ASSERT_EQ(RegDeleteKeyA(m_key.Get(), name), 0);
    }
    EXPECT_EQ(deleted, 50);
    EXPECT_THAT(Subkeys(m_key.Get()), IsEmpty());
}

struct StoredData {
    const char* what;
    DWORD type;
    TestBytes data;
};
class RegistryData : public Registry, public testing::WithParamInterface<StoredData> {};

TEST_P(RegistryData, TypeAndBytesComeBackExactly) {
    ASSERT_EQ(Set("V", GetParam().data, GetParam().type), 0);
    const std::optional<Raw> raw = GetRaw(kTestKey, "V");
    ASSERT_TRUE(raw);
    EXPECT_EQ(raw->type, GetParam().type);
    EXPECT_EQ(raw->data, GetParam().data);
}

INSTANTIATE_TEST_SUITE_P(
    Types, RegistryData,
    testing::Values(StoredData{"Text", REG_SZ, {'a', 'b', 0}}, StoredData{"EmptyText", REG_SZ, {0}},
                    StoredData{"TextOfNothing", REG_SZ, {}}, StoredData{"TextWithZeroInside", REG_SZ, {'a', 0, 'b', 0}},
                    StoredData{"ExpandText", REG_EXPAND_SZ, {'%', 'T', '%', 0}},
                    StoredData{"List", REG_MULTI_SZ, {'a', 0, 'b', 0, 0}},
                    StoredData{"Number", REG_DWORD, {1, 2, 3, 4}}, StoredData{"ShortNumber", REG_DWORD, {1, 2}},
                    StoredData{"Binary", REG_BINARY, {0, 255, 0}}, StoredData{"EmptyBinary", REG_BINARY, {}},
                    StoredData{"None", REG_NONE, {7}}, StoredData{"LongNumber", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}},
                    StoredData{"TypeOfOurOwn", 4711, {'x'}}),
    kCaseName);

TEST_F(Registry, SmallBufferGivesMoreDataAndTheSize) {
    Set("V", {'a', 'b', 'c', 0}, REG_SZ);
    BYTE data[5] = {9, 9, 9, 9, 9};
    DWORD type = 99, size = 3;
    EXPECT_EQ(RegQueryValueExA(m_key.Get(), "V", nullptr, &type, data, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(type, DWORD(REG_SZ));
    EXPECT_EQ(data[0], 9) << "nothing is written";
    size = 4;
    EXPECT_EQ(RegQueryValueExA(m_key.Get(), "V", nullptr, nullptr, data, &size), 0);
    EXPECT_EQ(data[4], 9) << "nothing is written behind the data";
    size = 1;
    EXPECT_EQ(RegQueryValueExA(m_key.Get(), "V", nullptr, nullptr, nullptr, &size), 0) << "only the size was asked for";
    EXPECT_EQ(size, 4u);
}

TEST_F(Registry, SmallNameBufferGivesMoreDataAndLeavesTheSize) {
    Create(m_key.Get(), "Subkey");
    Set("Value", {1});
    char name[7] = "??????";
    DWORD size = 6;
    EXPECT_EQ(RegEnumKeyExA(m_key.Get(), 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
    EXPECT_EQ(size, 6u);
    size = 7;
    EXPECT_EQ(RegEnumKeyExA(m_key.Get(), 0, name, &size, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(size, 6u) << "answered without the terminator";
    size = 5;
    EXPECT_EQ(RegEnumValueA(m_key.Get(), 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
    size = 7;
    EXPECT_EQ(RegEnumKeyExA(m_key.Get(), 1, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_NO_MORE_ITEMS);
}

TEST_F(Registry, DefaultValueHasNoNameAndTextKeepsItsMissingTerminator) {
    Set(nullptr, {'x', 0}, REG_SZ);
    EXPECT_EQ(GetText(kTestKey, ""), "x");
    EXPECT_THAT(ValueNames(m_key.Get()), ElementsAre(""));
    EXPECT_EQ(RegDeleteValueA(m_key.Get(), ""), 0);
    EXPECT_EQ(GetText(kTestKey, nullptr), "<none>");
    // What follows in memory is no terminator: Windows would take one for the text's own.
    const BYTE text[] = {'a', 'b', 'c', 'X'};
    ASSERT_EQ(RegSetValueExA(m_key.Get(), "V", 0, REG_SZ, text, 3), 0);
    EXPECT_EQ(GetRaw(kTestKey, "V")->data, (TestBytes{'a', 'b', 'c'}));
}

TEST_F(Registry, LimitsOfNames) {
    const std::string longest(255, 'k');
    EXPECT_EQ(RegCloseKey(Create(m_key.Get(), longest).Release()), 0);
    EXPECT_EQ(OpenResult(m_key.Get(), longest), 0);
    EXPECT_EQ(OpenResult(m_key.Get(), longest + "k"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyA(m_key.Get(), longest.c_str()), 0);
    EXPECT_EQ(Set(std::string(16383, 'v').c_str(), {1}), 0);
    EXPECT_EQ(Set(std::string(16384, 'v').c_str(), {1}), ERROR_INVALID_PARAMETER);
    SKIP_UNDER_WINE("RegCreateKeyExA takes key names of more than 255 characters");
    EXPECT_EQ(CreateResult(m_key.Get(), std::string(256, 'k')), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, HandlesAreCheckedAndNeverCrash) {
    DWORD size = 0;
    for (HKEY bad : {HKEY(nullptr), reinterpret_cast<HKEY>(ULONG_PTR(0x1234567))}) {
        EXPECT_EQ(OpenResult(bad, "SOFTWARE"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegQueryValueExA(bad, "V", nullptr, nullptr, nullptr, &size), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegSetValueExA(bad, "V", 0, REG_BINARY, nullptr, 0), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegDeleteKeyA(bad, "V"), ERROR_INVALID_HANDLE);
        EXPECT_EQ(RegCloseKey(bad), ERROR_INVALID_HANDLE);
    }
    const HKEY closed = Open(m_key.Get(), "").Release();
    EXPECT_EQ(RegCloseKey(closed), 0);
    EXPECT_EQ(RegCloseKey(closed), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), 0);
    EXPECT_EQ(OpenResult(HKEY_LOCAL_MACHINE, "SOFTWARE"), 0) << "a root stays open";
}

TEST_F(Registry, RightsOfTheHandleAreEnforcedAndSubkeysNeedTheKeysOwn) {
    // The rights that a handle was opened with are what it may be used for.
    Set("V", {1});
    const RegistryKey reader = Open(m_key.Get(), "", KEY_READ);
    EXPECT_EQ(RegSetValueExA(reader.Get(), "V", 0, REG_BINARY, nullptr, 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueA(reader.Get(), "V"), ERROR_ACCESS_DENIED);
    const RegistryKey writer = Open(m_key.Get(), "", KEY_SET_VALUE);
    DWORD size = 0;
    char name[8] = "";
    DWORD nameSize = sizeof name;
    EXPECT_EQ(RegQueryValueExA(writer.Get(), "V", nullptr, nullptr, nullptr, &size), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegEnumValueA(writer.Get(), 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegEnumKeyExA(writer.Get(), 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegGetKeySecurity(writer.Get(), DACL_SECURITY_INFORMATION, nullptr, &size), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegSetValueExA(writer.Get(), "V", 0, REG_BINARY, nullptr, 0), 0);
    Create(reader.Get(), "Sub");
    EXPECT_EQ(RegDeleteKeyA(reader.Get(), "Sub"), 0);
}

TEST_F(Registry, PathsThatLeadNowhereAndKeysThatAreNotDeleted) {
    HKEY result = reinterpret_cast<HKEY>(ULONG_PTR(0x55));
    EXPECT_EQ(RegOpenKeyExA(m_key.Get(), "Missing", 0, KEY_READ, &result), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(OpenResult(HKEY_LOCAL_MACHINE, "\\SOFTWARE"), ERROR_BAD_PATHNAME);
    EXPECT_EQ(RegDeleteKeyA(m_key.Get(), "Missing"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteValueA(m_key.Get(), "Missing"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyA(m_key.Get(), nullptr), ERROR_INVALID_PARAMETER);
    Create(m_key.Get(), "A\\B");
    EXPECT_EQ(RegDeleteKeyA(m_key.Get(), "A"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyA(m_key.Get(), "A\\B"), 0);
    EXPECT_EQ(RegDeleteKeyA(m_key.Get(), "A"), 0);
}

TEST_F(Registry, OpenHandleOfADeletedKeySaysSoEvenWhenTheNameIsBack) {
    const RegistryKey open = Create(m_key.Get(), "Gone");
    ASSERT_EQ(RegDeleteKeyA(m_key.Get(), "Gone"), 0);
    Create(m_key.Get(), "Gone");
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(open.Get(), "V", nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    EXPECT_EQ(RegSetValueExA(open.Get(), "V", 0, REG_BINARY, nullptr, 0), ERROR_KEY_DELETED);
    EXPECT_EQ(CreateResult(open.Get(), "X"), ERROR_KEY_DELETED);
}

TEST_F(Registry, QueryInfoCountsAndMeasures) {
    Create(m_key.Get(), "Sub");
    Create(m_key.Get(), "Longer");
    Set("Name", {1, 2, 3});
    Set("N", {1, 2, 3, 4, 5});
    DWORD subkeys = 0, longestSubkey = 0, values = 0, longestName = 0, longestData = 0, security = 0;
    EXPECT_EQ(RegQueryInfoKeyA(m_key.Get(), nullptr, nullptr, nullptr, &subkeys, &longestSubkey, nullptr, &values,
                               &longestName, &longestData, &security, nullptr),
              0);
    EXPECT_THAT((std::vector<DWORD>{subkeys, longestSubkey, values, longestName, longestData}),
                ElementsAre(2, 6, 2, 4, 5));
}

TEST_F(Registry, ViewOf32BitProgramsHasItsOwnSoftwareKey) {
    Create(HKEY_LOCAL_MACHINE, std::string(kTestKey) + "\\Only32", KEY_ALL_ACCESS | KEY_WOW64_32KEY);
    EXPECT_EQ(OpenResult(m_key.Get(), "Only32"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenResult(HKEY_LOCAL_MACHINE, "SOFTWARE\\Wow6432Node\\InstalibTest\\Only32"), 0);
    EXPECT_EQ(OpenResult(HKEY_LOCAL_MACHINE, std::string(kTestKey) + "\\Only32", KEY_READ | KEY_WOW64_64KEY),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\InstalibTest\\Only32", KEY_WOW64_32KEY, 0), 0);
    EXPECT_EQ(RegDeleteKeyExA(HKEY_LOCAL_MACHINE, kTestKey, KEY_WOW64_32KEY, 0), 0);
}

TEST_F(Registry, ClassesAndUserAreViewsOfTheOtherRoots) {
    Create(HKEY_CLASSES_ROOT, "InstalibTestClass");
    EXPECT_EQ(OpenResult(HKEY_LOCAL_MACHINE, "SOFTWARE\\Classes\\InstalibTestClass"), 0);
    EXPECT_EQ(RegDeleteKeyA(HKEY_CLASSES_ROOT, "InstalibTestClass"), 0);
    MakeKey(HKEY_CURRENT_USER, "Software\\InstalibTest");
    bool found = false;
    for (const std::string& user : Subkeys(HKEY_USERS)) {
        found = found || OpenResult(HKEY_USERS, user + "\\Software\\InstalibTest") == 0;
    }
    EXPECT_TRUE(found);
    DeleteKeyTree(HKEY_CURRENT_USER, "Software\\InstalibTest");
}

TEST_F(Registry, ConnectTakesTheLocalMachineAndRefusesUnknownOnes) {
    RegistryKey root;
    EXPECT_EQ(RegConnectRegistryA("\\\\NOSUCHHOST", HKEY_LOCAL_MACHINE, root.Receive()), ERROR_BAD_NETPATH);
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(RegConnectRegistryA(name, HKEY_LOCAL_MACHINE, root.Receive()), 0);
        EXPECT_EQ(OpenResult(root.Get(), kTestKey), 0);
    }
}

DWORD EntriesOf(HKEY key) {
    DWORD size = 0;
    EXPECT_EQ(RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, nullptr, &size), ERROR_INSUFFICIENT_BUFFER);
    TestBytes descriptor(size);
    EXPECT_EQ(RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data(), &size), 0);
    PACL list = nullptr;
    BOOL present = FALSE, defaulted = FALSE;
    EXPECT_TRUE(GetSecurityDescriptorDacl(descriptor.data(), &present, &list, &defaulted));
    return list == nullptr ? 0 : list->AceCount;
}

TEST_F(Registry, SecurityIsStoredAndGoesDownToNewKeys) {
    const Sddl descriptor("D:(A;CI;0xF003F;;;WD)");
    ASSERT_EQ(RegSetKeySecurity(m_key.Get(), DACL_SECURITY_INFORMATION, descriptor.Get()), 0);
    EXPECT_EQ(EntriesOf(m_key.Get()), 1u);
    const DWORD inherited = EntriesOf(Create(m_key.Get(), "Below").Get());
    EXPECT_TRUE(inherited == 1 || inherited == 2) << "the entry, by itself or beside the one that only goes down";
}

}  // namespace
