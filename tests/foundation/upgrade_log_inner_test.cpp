#include "foundation/upgrade_log.h"

#include <string>

#include "tests/support/fresh_machine.h"

namespace {

class UpgradeLogTest : public FreshMachine {
  protected:
    static constexpr const char* kFile = "C:\\TEST\\Upgrade_Instalib.log";
    void SetUp() override {
        FreshMachine::SetUp();
        Trace("C:\\TEST");
    }
    void TearDown() override {
        Trace(nullptr);
        FreshMachine::TearDown();
    }
    static void Trace(const char* directory) { SetEnvironmentVariableA("UPGRADE_INSTALIB", directory); }
};

TEST_F(UpgradeLogTest, AppendsPlainLinesInOrderAndCutsALongOne) {
    WriteUpgradeLog("first %d", 1);
    WriteUpgradeLog("second %s", "50%");
    WriteUpgradeLog("%s", std::string(3000, 'x').c_str());
    EXPECT_EQ(ReadBytes(kFile), "first 1\r\nsecond 50%\r\n" + std::string(1021, 'x') + "\r\n");
}

TEST_F(UpgradeLogTest, NothingIsWrittenUnlessTheVariableNamesADirectory) {
    for (const char* directory : {static_cast<const char*>(nullptr), "", "C:\\TEST\\missing"}) {
        Trace(directory);
        SetLastError(4711);
        WriteUpgradeLog("lost");
        EXPECT_EQ(GetLastError(), 4711u);
    }
    EXPECT_FALSE(FileExists(kFile));
    EXPECT_FALSE(FileExists("C:\\Upgrade_Instalib.log"));
    EXPECT_FALSE(FileExists("C:\\TEST\\missing"));
}

TEST_F(UpgradeLogTest, LongValueOfTheVariableIsUsedWhole) {
#ifdef _WIN32
    constexpr std::size_t kLength = 230;  // Windows opens no longer path in this form
#else
    constexpr std::size_t kLength = 600;
#endif
    std::string directory = "C:\\TEST";
    while (directory.size() < kLength) directory += "\\.";
    Trace(directory.c_str());
    WriteUpgradeLog("x");
    Trace("C:\\TEST");
    WriteUpgradeLog("y");
    EXPECT_EQ(ReadBytes(kFile), "x\r\ny\r\n");
}

TEST_F(UpgradeLogTest, LineIsLostWhileAnotherHoldsTheFileOpen) {
    WriteBytes(kFile, "");
    {
        const FileHandle other(CreateFileA(kFile, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(other);
        WriteUpgradeLog("lost");
    }
    WriteUpgradeLog("kept");
    EXPECT_EQ(ReadBytes(kFile), "kept\r\n");
}

}  // namespace
