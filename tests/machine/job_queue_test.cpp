#include "instalib/job_queue.h"

#include <string>

#include "instalib/registry.h"
#include "tests/support/fresh_machine.h"

namespace {

class JobQueueTest : public FreshMachine {
  protected:
    void SetUp() override {
        FreshMachine::SetUp();
        CHalvRegistry(1, nullptr);
        Answer("0");
    }
    static void InstallCore(const char* home) {
        ASSERT_NE(CHalvRegistry::SetKorvaultHomeDir(home), 0);
        PlaceLibrary("KVCORE.DLL", "C:\\TEST\\home\\");
    }
    static void Answer(const char* status) {
        SetEnvironmentVariableA("TEST_CORE_STATUS", status);
        SetEnvironmentVariableA("TEST_CORE_CALL", "none");
    }
    static std::string Call() {
        char text[512] = "";
        GetEnvironmentVariableA("TEST_CORE_CALL", text, sizeof text);
        return text;
    }
};

TEST_F(JobQueueTest, WithoutHomeDirectoryLibraryOrEntryPointNothingIsFoundOrTouched) {
    WriteBytes("C:\\00000001.QSD\\x", "x");  // what a path without its home would name
    EXPECT_STREQ(CJobQueue::GetPath(), "");
    EXPECT_EQ(CJobQueue::QueueExists(), 0);
    EXPECT_EQ(CJobQueue::DeleteQueue(), 0);
    EXPECT_EQ(CJobQueue().Exists(), 0);
    DWORD number = 0;
    for (int step = 0; step < 3; ++step) {  // neither home directory, library nor entry point; then one after the other
        EXPECT_EQ(CJobQueue::CreateQueue("x"), 0);
        EXPECT_EQ(CJobQueue::GetQueueJobStatus(1, 2), 2u);
        EXPECT_EQ(CJobQueue::GetDefaultQueue(nullptr, nullptr, &number), 0);
        if (step == 0) {
            ASSERT_NE(CHalvRegistry::SetKorvaultHomeDir("C:\\TEST\\home"), 0);
        }
        if (step == 1) PlaceLibrary("VERNONE.DLL", "C:\\TEST\\home\\KVCORE.DLL");
    }
    EXPECT_TRUE(FileExists("C:\\00000001.QSD\\x"));
    DeleteFileA("C:\\00000001.QSD\\x");
    RemoveDirectoryA("C:\\00000001.QSD");
}

TEST_F(JobQueueTest, StorageIsADirectoryOfTheHomeDirectory) {
    InstallCore("C:\\TEST\\home\\");
    EXPECT_STREQ(CJobQueue::GetPath(), "C:\\TEST\\home\\00000001.QSD");
    WriteBytes("C:\\TEST\\home\\00000001.QSD", "a plain file");
    EXPECT_EQ(CJobQueue::QueueExists(), 0);
    DeleteFileA("C:\\TEST\\home\\00000001.QSD");
    WriteBytes("C:\\TEST\\home\\00000001.QSD\\sub\\job", "x");
    const CJobQueue queue;
    EXPECT_NE(CJobQueue::DeleteQueue(), 0);
    EXPECT_EQ(CJobQueue::QueueExists(), 0);
    EXPECT_EQ(queue.Exists(), 1) << "the flag is of the construction";
    EXPECT_TRUE(FileExists("C:\\TEST\\home\\KVCORE.DLL"));
}

TEST_F(JobQueueTest, QueueThatExistsCountsAsCreated) {
    for (const char* home : {"C:\\TEST\\home", "C:\\TEST\\home\\"}) {  // with and without its final backslash
        InstallCore(home);
        for (const auto& [status, created] : {std::pair{"0", 1}, {"0xFFFFFFFF", 1}, {"1", 0}, {"5", 0}}) {
            Answer(status);
            EXPECT_EQ(CJobQueue::CreateQueue("some text"), created) << status;
            EXPECT_EQ(Call(), "create null AQ_HALV 0 some text");
        }
    }
}

TEST_F(JobQueueTest, ArgumentsAreForwardedUnchangedAndTheStatusDecides) {
    InstallCore("C:\\TEST\\home");
    auto* const items = reinterpret_cast<tagQJOBITEM*>(this);
    DWORD number = 0;
    char text[] = "m";
    for (const auto& [status, result] : {std::pair{"0", 1}, {"123", 0}}) {
        Answer(status);
        EXPECT_EQ(CJobQueue::GetQueueJobs("q", 1, items, 2, &number, nullptr), result);
        EXPECT_EQ(Call(), "list q 1 set 2 null");
        EXPECT_EQ(CJobQueue::AddQueueJob("q", "j", 0xFFFF, "t", 3, &number), result);
        EXPECT_EQ(Call(), "add q j 65535 t 3");
        EXPECT_EQ(CJobQueue::DeleteQueueJob("q", 4, 5), result);
        EXPECT_EQ(Call(), "delete q 4 5");
        EXPECT_EQ(CJobQueue::GetDefaultQueue(text, nullptr, &number), result);
        EXPECT_EQ(Call(), "default m null");
        EXPECT_EQ(number, 7u);
    }
    EXPECT_EQ(CJobQueue::GetQueueJobStatus(8, 9), 123u);
    EXPECT_EQ(Call(), "map 8 9");
}

}  // namespace
