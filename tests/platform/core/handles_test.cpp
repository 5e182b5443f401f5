
#include "tests/support/fresh_machine.h"

namespace {

// A kind of handle that only remembers what was closed, and spoils the last error as a real closing call may.
struct RecordedTraits {
    using Value = int*;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value value) noexcept {
        ++*value;
        SetLastError(0xbad);
    }
};
using Recorded = UniqueHandle<RecordedTraits>;

// Every way of letting go of a handle: what it does to an owner of the old one, given a second handle to take.
struct WayOut {
    const char* name;
    void (*run)(Recorded& owner, int* second);
    bool takesSecond;
};

class HandleOwner : public testing::TestWithParam<WayOut> {};

TEST_P(HandleOwner, ClosesTheOldHandleOnceAndKeepsTheLastError) {
    int closedFirst = 0, closedSecond = 0;
    {
        Recorded owner(&closedFirst);
        SetLastError(0x1234);
        GetParam().run(owner, &closedSecond);
        EXPECT_EQ(GetLastError(), 0x1234u);
        EXPECT_EQ(closedFirst, 1);
        EXPECT_EQ(closedSecond, 0);
        EXPECT_EQ(owner.Get(), GetParam().takesSecond ? &closedSecond : nullptr);
    }
    EXPECT_EQ(GetLastError(), 0x1234u);
    EXPECT_EQ(closedFirst, 1);
    EXPECT_EQ(closedSecond, GetParam().takesSecond ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    WaysOut, HandleOwner,
    testing::Values(WayOut{"Destructor", [](Recorded& owner, int*) { Recorded(std::move(owner)); }, false},
                    WayOut{"Reset", [](Recorded& owner, int*) { owner.Reset(); }, false},
                    WayOut{"ResetToAnother", [](Recorded& owner, int* second) { owner.Reset(second); }, true},
                    WayOut{"MoveAssignment", [](Recorded& owner, int* second) { owner = Recorded(second); }, true},
                    WayOut{"Receive", [](Recorded& owner, int* second) { *owner.Receive() = second; }, true}),
    kCaseName);

TEST(HandleOwnerKeeps, WhatIsReleasedOrGivenAgain) {
    int closed = 0;
    {
        Recorded owner(&closed);
        Recorded& same = owner;
        owner = std::move(same);
        owner.Reset(&closed);
        EXPECT_EQ(closed, 0);
        EXPECT_EQ(owner.Release(), &closed);
        EXPECT_FALSE(owner);
    }
    EXPECT_EQ(closed, 0);
}

class RealHandles : public FreshMachine {};

TEST_F(RealHandles, PredefinedRootsStayOpen) {
    { RegistryKey root(HKEY_LOCAL_MACHINE); }
    EXPECT_TRUE(KeyExists("SOFTWARE"));
}

TEST_F(RealHandles, OwnerClosesTheFile) {
    const std::string path = Folder() + "\\A.TXT";
    const auto open = [&] {
        return FileHandle(
            CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    };
    FileHandle file = open();
    ASSERT_TRUE(file);
    EXPECT_FALSE(open()) << "opened without sharing";
    file.Reset();
    EXPECT_TRUE(open());
}

}  // namespace
