// What the machine's store promises to the processes that share it: nothing reported is lost, nothing torn is read, and
// no step gets slower with the number of keys than it must.
#include "platform/embedded/store/store.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <thread>

#include "platform/embedded/control/machine.h"
#include "platform/handles.h"
#include "tests/support/fresh_machine.h"

namespace fs = std::filesystem;
namespace control = embedded::control;

namespace {

constexpr const char* kKey = "SOFTWARE\\InstalibTest";

// Runs `body` in a child process; its exit code is the body's answer.
template <class Body>
pid_t Start(Body body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    return child;
}
int Wait(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class StoreTest : public FreshMachine {
  protected:
    fs::path File() const { return MachineFolder() / "registry" / "store"; }

    // Lets go of the store, so that the next use reads its files again.
    void Reopen() {
        ASSERT_TRUE(control::NewMachine(World(), "OTHER" + std::to_string(++m_others)));
        ASSERT_TRUE(control::UseMachine(World() / ("OTHER" + std::to_string(m_others))));
        ASSERT_TRUE(control::UseMachine(MachineFolder()));
    }
    static LONG SetNumberResult(DWORD number, const std::string& name) {
        RegistryKey key;
        const LONG error =
            RegCreateKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Receive(), nullptr);
        if (error != 0) return error;
        return RegSetValueExA(key.Get(), name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4);
    }

  private:
    int m_others = 0;
};

TEST_F(StoreTest, EveryProcessSeesAFinishedCallAtOnce) {
    SetNumber(HKEY_LOCAL_MACHINE, kKey, "Turn", 0);
    const pid_t child = Start([] {
        for (DWORD turn = 1; turn < 200; turn += 2) {
            while (GetNumber(HKEY_LOCAL_MACHINE, kKey, "Turn") != turn - 1) usleep(10);
            if (SetNumberResult(turn, "Turn") != 0) return 1;
        }
        return 0;
    });
    for (DWORD turn = 2; turn <= 200; turn += 2) {
        while (GetNumber(HKEY_LOCAL_MACHINE, kKey, "Turn") != turn - 1) usleep(10);
        ASSERT_EQ(SetNumberResult(turn, "Turn"), 0);
    }
    EXPECT_EQ(Wait(child), 0);
}

TEST_F(StoreTest, WritersOfSeveralProcessesLoseNothing) {
    std::vector<pid_t> children;
    for (int writer = 0; writer < 4; ++writer) {
        children.push_back(Start([writer] {
            for (DWORD i = 0; i < 300; ++i) {
                if (SetNumberResult(i, 'V' + std::to_string(writer) + "_" + std::to_string(i)) != 0) return 1;
            }
            return 0;
        }));
    }
    for (const pid_t child : children) EXPECT_EQ(Wait(child), 0);
    for (int writer = 0; writer < 4; ++writer) {
        for (DWORD i = 0; i < 300; ++i) {
            ASSERT_EQ(
                GetNumber(HKEY_LOCAL_MACHINE, kKey, ('V' + std::to_string(writer) + "_" + std::to_string(i)).c_str()),
                i);
        }
    }
}

// Killed at some moment of its writing, again and again: every value whose call had returned is there, and a value is
// either whole or missing.
TEST_F(StoreTest, NothingReportedIsLostWhenAProcessIsKilled) {
    MakeKey(HKEY_LOCAL_MACHINE, kKey);
    for (int round = 0; round < 40; ++round) {
        int pipes[2];
        ASSERT_EQ(pipe(pipes), 0);
        const std::string prefix = 'R' + std::to_string(round) + "_";
        const pid_t child = Start([&] {
            const std::string data(3000, 'x');
            for (DWORD i = 0;; ++i) {
                SetText(HKEY_LOCAL_MACHINE, kKey, (prefix + std::to_string(i)).c_str(), data);
                if (write(pipes[1], &i, sizeof i) != sizeof i) return 1;
            }
        });
        close(pipes[1]);
        usleep(useconds_t(500 + round * 100));
        kill(child, SIGKILL);
        Wait(child);
        DWORD reported = 0, last = 0;
        for (DWORD i = 0; read(pipes[0], &i, sizeof i) == sizeof i; ++reported) last = i;
        close(pipes[0]);
        for (DWORD i = 0; i < reported; ++i) {
            ASSERT_EQ(GetText(HKEY_LOCAL_MACHINE, kKey, (prefix + std::to_string(i)).c_str()).size(), 3000u);
        }
        EXPECT_EQ(last, reported == 0 ? 0 : reported - 1);
        const std::string next = GetText(HKEY_LOCAL_MACHINE, kKey, (prefix + std::to_string(reported)).c_str());
        EXPECT_TRUE(next == "<none>" || next.size() == 3000u);
        if (round % 8 == 7) Reopen();
    }
}

TEST_F(StoreTest, TornEndIsDroppedAndWritingGoesOn) {
    SetNumber(HKEY_LOCAL_MACHINE, kKey, "Kept", 1);
    const std::uintmax_t whole = fs::file_size(File());
    SetText(HKEY_LOCAL_MACHINE, kKey, "Torn", std::string(200, 'x'));
    const std::uintmax_t full = fs::file_size(File());
    for (const std::uintmax_t size : {full - 1, whole + 30, whole + 1}) {
        ASSERT_TRUE(control::NewMachine(World(), "AWAY" + std::to_string(size)));
        ASSERT_TRUE(control::UseMachine(World() / ("AWAY" + std::to_string(size))));
        fs::resize_file(File(), size);
        ASSERT_TRUE(control::UseMachine(MachineFolder()));
        EXPECT_EQ(GetNumber(HKEY_LOCAL_MACHINE, kKey, "Kept"), 1);
        EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kKey, "Torn"), "<none>");
        SetText(HKEY_LOCAL_MACHINE, kKey, "Torn", std::string(200, 'x'));
        Reopen();
        EXPECT_EQ(GetText(HKEY_LOCAL_MACHINE, kKey, "Torn").size(), 200u);
    }
}

// What is written under one lock is there as a whole or, when the process dies in between, not at all.
TEST_F(StoreTest, AStepThatDiesHalfWayHasChangedNothing) {
    const std::shared_ptr<embedded::Store> store = embedded::Store::Open(MachineFolder() / "registry");
    const pid_t child = fork();
    if (child == 0) {
        const embedded::Store::Lock lock(*store);
        store->WriteNumber("META\\Step", "First", 1);
        store->WriteNumber("META\\Step", "Second", 2);
        kill(getpid(), SIGKILL);
    }
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(store->KeyExists("META\\Step"));
    {
        const embedded::Store::Lock lock(*store);
        store->WriteNumber("META\\Step", "First", 1);
        EXPECT_EQ(store->ReadNumber("META\\Step", "First"), 1u);
    }
    Reopen();
    EXPECT_EQ(embedded::Store::Open(MachineFolder() / "registry")->ReadNumber("META\\Step", "First"), 1u);
}

struct Damage {
    const char* what;
    void (*spoil)(const fs::path& file);
};
class DamagedStoreTest : public StoreTest, public testing::WithParamInterface<Damage> {};

void Overwrite(const fs::path& path, std::streamoff position, const std::string& bytes) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(position);
    file.write(bytes.data(), std::streamsize(bytes.size()));
}

TEST_P(DamagedStoreTest, IsRefusedWithAReason) {
    const fs::path folder = World() / "DAMAGED" / "registry";
    fs::create_directories(folder);
    // A fresh machine is one frame, and a spoilt last frame counts as torn: a second one stands behind it.
    SetNumber(HKEY_LOCAL_MACHINE, kKey, "Behind", 1);
    fs::copy_file(File(), folder / "store");
    GetParam().spoil(folder / "store");
    try {
        embedded::Store::Open(folder);
        ADD_FAILURE() << "opened";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("the registry's file"));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Ways, DamagedStoreTest,
    testing::Values(Damage{"Rubbish", [](const fs::path& file) { Overwrite(file, 0, std::string(8192, '\x5A')); }},
                    Damage{"Empty", [](const fs::path& file) { fs::resize_file(file, 0); }},
                    Damage{"HeaderFlipped", [](const fs::path& file) { Overwrite(file, 9, "\x77"); }},
                    Damage{"MiddleFlipped", [](const fs::path& file) { Overwrite(file, 4096 + 40, "\xFF\xFE\xFD"); }}),
    [](const auto& test) { return test.param.what; });

// Two processes write enough for several folds while a third only reads, from a handle that it opened before.
TEST_F(StoreTest, FoldingDisturbsNobody) {
    MakeKey(HKEY_LOCAL_MACHINE, kKey);
    RegistryKey early;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ, early.Receive()), 0);
    std::vector<pid_t> writers;
    for (int writer = 0; writer < 2; ++writer) {
        writers.push_back(Start([writer] {
            const std::string data(60000, char('a' + writer));
            for (int i = 0; i < 200; ++i) {
                SetText(HKEY_LOCAL_MACHINE, kKey, ("Big" + std::to_string(writer)).c_str(), data);
                if (SetNumberResult(DWORD(i), 'N' + std::to_string(writer) + "_" + std::to_string(i)) != 0) return 1;
            }
            return 0;
        }));
    }
    for (int seen = 0; seen < 199;) {
        DWORD number = 0, size = sizeof number;
        const std::string name = "N0_" + std::to_string(seen);
        if (RegQueryValueExA(early.Get(), name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size) == 0)
            ++seen;
    }
    for (const pid_t writer : writers) EXPECT_EQ(Wait(writer), 0);
    EXPECT_LT(fs::file_size(File()), 20u * 1024 * 1024) << "24 megabytes were written: nothing was folded";
    for (int reopened = 0; reopened < 2; ++reopened) {
        for (DWORD i = 0; i < 200; ++i) {
            ASSERT_EQ(GetNumber(HKEY_LOCAL_MACHINE, kKey, ("N1_" + std::to_string(i)).c_str()), i);
        }
        early.Reset();
        Reopen();
    }
}

TEST_F(StoreTest, LockKeepsOtherProcessesAndThreadsOut) {
    const std::shared_ptr<embedded::Store> store = embedded::Store::Open(MachineFolder() / "registry");
    const auto add = [&store] {
        for (int i = 0; i < 200; ++i) {
            const embedded::Store::Lock outer(*store);
            const embedded::Store::Lock inner(*store);
            store->WriteNumber("META\\Count", "N", store->ReadNumber("META\\Count", "N") + 1);
        }
    };
    const pid_t first = Start([&] { return add(), 0; });
    const pid_t second = Start([&] { return add(), 0; });
    std::thread thread(add);
    add();
    thread.join();
    EXPECT_EQ(Wait(first), 0);
    EXPECT_EQ(Wait(second), 0);
    EXPECT_EQ(store->ReadNumber("META\\Count", "N"), 800u);
}

// --- Scaling: the time of one step at a size against that at a sixteenth of it ---

double SecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Growth {
    const char* what;
    // Prepares `count` entries below the key, and then takes `steps` steps of which the time counts.
    void (*prepare)(embedded::Store& store, int count);
    void (*step)(HKEY key, int index);
};

void MakeKeys(embedded::Store& store, int count) {
    const embedded::Store::Lock lock(store);
    for (int i = 0; i < count; ++i) store.CreateKey("HKLM\\SOFTWARE\\InstalibTest\\K" + std::to_string(i));
}
void MakeValues(embedded::Store& store, int count) {
    const embedded::Store::Lock lock(store);
    for (int i = 0; i < count; ++i) store.WriteNumber("HKLM\\SOFTWARE\\InstalibTest", 'V' + std::to_string(i), 1);
}

class StoreScaling : public StoreTest, public testing::WithParamInterface<Growth> {};

TEST_P(StoreScaling, StepsStayCheapInALargeKey) {
    constexpr int kSteps = 1500, kSmall = 2000, kLarge = 16 * kSmall;
    const std::shared_ptr<embedded::Store> store = embedded::Store::Open(MachineFolder() / "registry");
    const auto measure = [&](int count) {
        store->DeleteTree("HKLM\\SOFTWARE\\InstalibTest");
        store->CreateKey("HKLM\\SOFTWARE\\InstalibTest");
        GetParam().prepare(*store, count);
        RegistryKey key;
        EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_ALL_ACCESS, key.Receive()), 0);
        return SecondsOf([&] {
            for (int i = 0; i < kSteps; ++i) GetParam().step(key.Get(), i);
        });
    };
    double best = 1e9;
    for (int attempt = 0; attempt < 3 && best > 3; ++attempt) {
        const double small = measure(kSmall);
        best = std::min(best, measure(kLarge) / small);
    }
    EXPECT_LT(best, 6) << "a step that looks at every entry would be 16 times as long";
}

INSTANTIATE_TEST_SUITE_P(
    Steps, StoreScaling,
    testing::Values(Growth{"DeleteKeyAtIndexZero", MakeKeys,
                           [](HKEY key, int) {
                               char name[32] = "";
                               DWORD size = sizeof name;
                               ASSERT_EQ(RegEnumKeyExA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr), 0);
                               ASSERT_EQ(RegDeleteKeyA(key, name), 0);
                           }},
                    Growth{"EnumerateKeysByIndex", MakeKeys,
                           [](HKEY key, int index) {
                               char name[32] = "";
                               DWORD size = sizeof name;
                               ASSERT_EQ(
                                   RegEnumKeyExA(key, DWORD(index), name, &size, nullptr, nullptr, nullptr, nullptr),
                                   0);
                           }},
                    Growth{"DeleteValueAtIndexZero", MakeValues,
                           [](HKEY key, int) {
                               char name[32] = "";
                               DWORD size = sizeof name;
                               ASSERT_EQ(RegEnumValueA(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr), 0);
                               ASSERT_EQ(RegDeleteValueA(key, name), 0);
                           }},
                    Growth{"CreateKey", MakeKeys,
                           [](HKEY key, int index) {
                               RegistryKey made;
                               ASSERT_EQ(RegCreateKeyExA(key, ("New" + std::to_string(index)).c_str(), 0, nullptr, 0,
                                                         KEY_READ, nullptr, made.Receive(), nullptr),
                                         0);
                           }},
                    Growth{"QueryInfo", MakeKeys,
                           [](HKEY key, int) {
                               DWORD count = 0, longest = 0;
                               ASSERT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &count, &longest, nullptr,
                                                          nullptr, nullptr, nullptr, nullptr, nullptr),
                                         0);
                           }}),
    [](const auto& test) { return test.param.what; });

TEST_F(StoreTest, DeletingATreeIsLinear) {
    const std::shared_ptr<embedded::Store> store = embedded::Store::Open(MachineFolder() / "registry");
    double best = 1e9;
    for (int attempt = 0; attempt < 3 && best > 20; ++attempt) {
        MakeKeys(*store, 4000);
        const double small = SecondsOf([&] { store->DeleteTree("HKLM\\SOFTWARE\\InstalibTest"); });
        MakeKeys(*store, 64000);
        best = std::min(best, SecondsOf([&] { store->DeleteTree("HKLM\\SOFTWARE\\InstalibTest"); }) / small);
    }
    EXPECT_LT(best, 60) << "16 times the keys";
}

}  // namespace
