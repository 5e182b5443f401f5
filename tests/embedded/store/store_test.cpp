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
#include "platform/embedded/store/journal.h"
#include "platform/embedded/store/salvage.h"
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

constexpr std::size_t kHeader = 4096;

std::string Contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// In the file's place; who has it open keeps the old one.
void Replace(const fs::path& path, const std::string& bytes) {
    fs::remove(path);
    std::ofstream(path, std::ios::binary) << bytes;
}

class StoreTest : public FreshMachine {
  protected:
    fs::path File() const { return MachineFolder() / "registry" / "store"; }

    // Lets go of the store, so that the next use reads its files again.
    void LetGo() {
        control::NewMachine(World(), "OTHER");
        ASSERT_TRUE(control::UseMachine(World() / "OTHER"));
    }
    void Reopen() {
        LetGo();
        ASSERT_TRUE(control::UseMachine(MachineFolder()));
    }
    // Puts other bytes in the file's place while nobody has it open.
    void Exchange(const std::string& bytes) {
        LetGo();
        Replace(File(), bytes);
        ASSERT_TRUE(control::UseMachine(MachineFolder()));
    }
    // "V1_23"
    static std::string Numbered(char letter, int writer, DWORD i) {
        return letter + std::to_string(writer) + '_' + std::to_string(i);
    }
    static LONG SetNumberResult(DWORD number, const std::string& name) {
        RegistryKey key;
        const LONG error =
            RegCreateKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Receive(), nullptr);
        if (error != 0) return error;
        return RegSetValueExA(key.Get(), name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4);
    }
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
                if (SetNumberResult(i, Numbered('V', writer, i)) != 0) return 1;
            }
            return 0;
        }));
    }
    for (const pid_t child : children) EXPECT_EQ(Wait(child), 0);
    for (int writer = 0; writer < 4; ++writer) {
        for (DWORD i = 0; i < 300; ++i) ASSERT_EQ(GetNumber(kKey, Numbered('V', writer, i).c_str()), i);
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

// As a writer leaves it that is killed before it published its frame: the header still tells the state before.
TEST_F(StoreTest, TornEndIsDroppedAndWritingGoesOn) {
    SetNumber(HKEY_LOCAL_MACHINE, kKey, "Kept", 1);
    const std::string before = Contents(File());
    SetText(HKEY_LOCAL_MACHINE, kKey, "Torn", std::string(200, 'x'));
    const std::string after = Contents(File());
    for (std::size_t size = before.size(); size <= after.size(); ++size) {
        Exchange(before.substr(0, kHeader) + after.substr(kHeader, size - kHeader));
        ASSERT_EQ(GetNumber(HKEY_LOCAL_MACHINE, kKey, "Kept"), 1);
        ASSERT_EQ(GetText(HKEY_LOCAL_MACHINE, kKey, "Torn").size(), size == after.size() ? 200u : strlen("<none>"));
    }
    for (const std::string& tail : {std::string(5000, '\0'), std::string(300, 'x')}) {
        Exchange(before + tail);  // a power cut kept the length and not the bytes
        ASSERT_EQ(SetNumberResult(2, "Behind"), 0);
        Reopen();
        EXPECT_EQ(GetNumber(HKEY_LOCAL_MACHINE, kKey, "Kept"), 1);
        EXPECT_EQ(GetNumber(HKEY_LOCAL_MACHINE, kKey, "Behind"), 2);
    }
}

// What is written under one lock is there as a whole or, when the process dies in between, not at all.
TEST_F(StoreTest, AStepThatDiesHalfWayHasChangedNothing) {
    const std::shared_ptr<embedded::Store> store = embedded::Store::Open(MachineFolder() / "registry");
    Wait(Start([&] {
        const embedded::Store::Lock lock(*store);
        store->WriteNumber("META\\Step", "First", 1);
        store->WriteNumber("META\\Step", "Second", 2);
        return kill(getpid(), SIGKILL);
    }));
    EXPECT_FALSE(store->KeyExists("META\\Step"));
    {
        const embedded::Store::Lock lock(*store);
        store->WriteNumber("META\\Step", "First", 1);
        EXPECT_EQ(store->ReadNumber("META\\Step", "First"), 1u);
    }
    Reopen();
    EXPECT_EQ(embedded::Store::Open(MachineFolder() / "registry")->ReadNumber("META\\Step", "First"), 1u);
}

// A store of five frames: A, B and C are made, C is removed by its identifier, D is made.
class DamagedStoreTest : public StoreTest {
  protected:
    void SetUp() override {
        StoreTest::SetUp();
        const auto store = embedded::Store::Make(Folder());
        const char* const names[] = {"A", "B", "C", nullptr, "D"};
        for (const char* const name : names) {
            m_starts.push_back(fs::file_size(Small()));
            if (name == nullptr)
                store->DeleteTree("C");
            else
                store->WriteText(name, "Value", "1");
        }
        m_bytes = Contents(Small());
    }
    fs::path Folder() const { return World() / "SMALL" / "registry"; }
    fs::path Small() const { return Folder() / "store"; }

    // "ABD" for all of it; empty when it is refused.
    std::string Open() {
        try {
            const auto store = embedded::Store::Open(Folder());
            std::string found;
            for (const std::string& name : store->Subkeys("")) found += name + store->ReadText(name, "Value").substr(1);
            return found;
        } catch (const embedded::DamagedStore& damage) {
            EXPECT_THAT(damage.what(), testing::HasSubstr(Small().string()));
            return "";
        }
    }
    // Puts spoilt bytes there, and expects that they are refused and left alone; or, where `mayDoNoHarm`, complete.
    void ExpectRefused(const std::string& bytes, bool mayDoNoHarm, const std::string& what) {
        Replace(Small(), bytes);
        const std::string found = Open();
        if (mayDoNoHarm && found == "ABD") return;
        EXPECT_EQ(found, "") << what;
        EXPECT_TRUE(Contents(Small()) == bytes) << what << " was changed";
        std::vector<std::string> lines;
        EXPECT_FALSE(embedded::CheckStore(Folder(), &lines)) << what << ": " << lines[0];
    }
    // What is there after a repair of these bytes.
    std::string Repaired(const std::string& bytes) {
        Replace(Small(), bytes);
        fs::remove(Small().string() + ".damaged");
        std::vector<std::string> lines;
        EXPECT_TRUE(embedded::RepairStore(Folder(), &lines));
        EXPECT_TRUE(Contents(Small().string() + ".damaged") == bytes);
        return Open();
    }
    std::string Flipped(std::size_t at, int bit) const {
        std::string bytes = m_bytes;
        bytes[at] = char(bytes[at] ^ (1 << bit));
        return bytes;
    }
    std::string With(std::size_t at, const char* added) const { return std::string(m_bytes).insert(at, added); }
    std::string Without(std::size_t at) const { return std::string(m_bytes).erase(at, 1); }

    std::string m_bytes;
    std::vector<std::uintmax_t> m_starts;  // of the frames
};

TEST_F(DamagedStoreTest, IsRefusedAndLeftAloneWhereverItIsSpoilt) {
    ASSERT_EQ(Open(), "ABD");
    // Every byte, but for the parts of the header page that are not in use.
    const auto isUsed = [](std::size_t at) { return at % (kHeader / 2) < 64 || at >= kHeader; };
    for (std::size_t at = 0; at < m_bytes.size() && !HasFailure(); at += isUsed(at) ? 1 : 61) {
        const std::string where = " at byte " + std::to_string(at);
        ExpectRefused(m_bytes.substr(0, at), false, "cut" + where);
        // The part of the header that is not in use can do no harm; nor can marks of a writer that there is not.
        const bool every = at < 64 || at >= kHeader;
        for (int bit = every ? 0 : int(at % 8); bit < 8; bit += every ? 1 : 8)
            ExpectRefused(Flipped(at, bit), at < kHeader, "flipped" + where);
        ExpectRefused(With(at, "\xA5"), false, "put in" + where);
        ExpectRefused(Without(at), false, "taken out" + where);
        std::string zeros = m_bytes;
        std::fill(zeros.begin() + std::ptrdiff_t(at), zeros.end(), '\0');
        ExpectRefused(zeros, zeros == m_bytes, "zeros" + where);
    }
    fs::remove(Small());
    EXPECT_EQ(Open(), "");
    EXPECT_FALSE(fs::exists(Small())) << "made anew";
    ExpectRefused(std::string(8192, '\x5A'), false, "rubbish");
}

TEST_F(DamagedStoreTest, RepairKeepsEveryWholeFrame) {
    const char* const without[] = {"BD", "AD", "ABD", "ABCD", "AB"};
    for (std::size_t frame = 0; frame < std::size(without); ++frame) {
        const std::size_t end = frame + 1 < m_starts.size() ? m_starts[frame + 1] : m_bytes.size();
        for (std::size_t at = m_starts[frame]; at < end; ++at) {
            SCOPED_TRACE(at);
            ASSERT_EQ(Repaired(Flipped(at, int(at % 8))), without[frame]);
            ASSERT_EQ(Repaired(Without(at)), without[frame]);
            if (at == m_starts[frame]) continue;
            ASSERT_EQ(Repaired(With(at, "\xA5")), without[frame]);
        }
        ASSERT_EQ(Repaired(With(m_starts[frame], "\xA5\xA5")), "ABD") << "between two frames";
    }
    ASSERT_EQ(Repaired(m_bytes.substr(0, m_bytes.size() - 1)), "AB");
    ASSERT_EQ(Repaired(Flipped(9, 0)), "ABD") << "the header stands there twice";
    std::vector<std::string> lines;
    EXPECT_TRUE(embedded::RepairStore(Folder(), &lines));
    EXPECT_THAT(lines, testing::ElementsAre(testing::HasSubstr("is sound")));
    Replace(Small(), m_bytes.substr(0, 100));
    EXPECT_FALSE(embedded::RepairStore(Folder(), &lines));
    EXPECT_EQ(fs::file_size(Small()), 100u);
}

// On a machine whose registry is damaged every call fails with an error; it is not made anew, and nothing is changed.
class DamagedMachineTest : public StoreTest {
  protected:
    void ExpectEveryCallFails() {
        char text[MAX_PATH] = "";
        DWORD size = sizeof text, number = 0;
        void* pointer = nullptr;
        RegistryKey key;
        EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, key.Receive()), ERROR_BADDB);
        EXPECT_EQ(SetNumberResult(1, "New"), ERROR_BADDB);
        EXPECT_NE(NetUserGetInfo(nullptr, nullptr, 0, reinterpret_cast<LPBYTE*>(&pointer)), 0u);
        LSA_OBJECT_ATTRIBUTES attributes{};
        EXPECT_NE(LsaOpenPolicy(nullptr, &attributes, POLICY_VIEW_LOCAL_INFORMATION, &pointer), 0);
        const struct {
            const char* what;
            std::function<bool()> call;
        } calls[] = {
            {"GetComputerNameA", [&] { return GetComputerNameA(text, &size); }},
            {"GetUserNameA", [&] { return GetUserNameA(text, &size); }},
            {"GetEnvironmentVariableA", [&] { return GetEnvironmentVariableA("Path", text, size); }},
            {"GetModuleFileNameA", [&] { return GetModuleFileNameA(nullptr, text, size); }},
            {"LoadLibraryA", [&] { return LoadLibraryA("shfolder.dll") != nullptr; }},
            {"GetFileAttributesA", [&] { return GetFileAttributesA("C:\\SETUP") != INVALID_FILE_ATTRIBUTES; }},
            {"CreateDirectoryA", [&] { return CreateDirectoryA("C:\\NEW", nullptr); }},
            {"WritePrivateProfileStringA", [&] { return WritePrivateProfileStringA("a", "b", "c", "C:\\A.INI"); }},
            {"OpenSCManagerA", [&] { return OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT) != nullptr; }},
            {"OpenProcessToken", [&] { return OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &pointer); }},
            {"GetDriveTypeA", [&] { return GetDriveTypeA("C:\\") == DRIVE_FIXED; }},
            {"GetFileVersionInfoSizeA", [&] { return GetFileVersionInfoSizeA("C:\\A.DLL", &number); }},
        };
        for (const auto& [what, call] : calls) {
            size = sizeof text;
            SetLastError(0);
            EXPECT_FALSE(call()) << what;
            EXPECT_EQ(GetLastError(), DWORD(ERROR_BADDB)) << what;
        }
        EXPECT_NE(FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, ERROR_BADDB, 0, text, sizeof text, nullptr), 0u);
        GetCommandLineA();
        EXPECT_FALSE(control::MountDrive('X', World()));
        EXPECT_THAT(control::MachineProblem(), testing::HasSubstr(MachineFolder().string() + "/registry"));
    }
};

TEST_F(DamagedMachineTest, EveryCallFailsFromTheStart) {
    const std::string cut = Contents(File()).substr(0, fs::file_size(File()) - 1);
    for (const bool missing : {false, true}) {
        LetGo();
        if (missing)
            fs::remove_all(File().parent_path());
        else
            Replace(File(), cut);
        ASSERT_TRUE(control::UseMachine(MachineFolder()));
        ExpectEveryCallFails();
        EXPECT_EQ(fs::exists(File()), !missing);
        EXPECT_TRUE(missing || Contents(File()) == cut);
    }
}

TEST_F(DamagedMachineTest, EveryCallFailsWhenItHappensMeanwhile) {
    for (const std::uintmax_t size : {fs::file_size(File()) - 1, std::uintmax_t(100), std::uintmax_t(0)}) {
        SCOPED_TRACE(size);
        const std::string whole = Contents(File());
        fs::resize_file(File(), size);
        ExpectEveryCallFails();
        EXPECT_EQ(fs::file_size(File()), size);
        Exchange(whole);
        EXPECT_EQ(SetNumberResult(1, "New"), 0);
    }
}

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
                if (SetNumberResult(DWORD(i), Numbered('N', writer, DWORD(i))) != 0) return 1;
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
        for (DWORD i = 0; i < 200; ++i) ASSERT_EQ(GetNumber(kKey, Numbered('N', 1, i).c_str()), i);
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

// The name that RegEnumKeyExA or RegEnumValueA tells of an index.
std::string NameAt(HKEY key, int index, auto enumerate) {
    char name[32] = "";
    DWORD size = sizeof name;
    EXPECT_EQ(enumerate(key, DWORD(index), name, &size, nullptr, nullptr, nullptr, nullptr), 0);
    return name;
}
void DeleteFirstKey(HKEY key, int) { ASSERT_EQ(RegDeleteKeyA(key, NameAt(key, 0, &RegEnumKeyExA).c_str()), 0); }
void DeleteFirstValue(HKEY key, int) { ASSERT_EQ(RegDeleteValueA(key, NameAt(key, 0, &RegEnumValueA).c_str()), 0); }
void CreateKey(HKEY key, int index) {
    RegistryKey made;
    const std::string name = "New" + std::to_string(index);
    ASSERT_EQ(RegCreateKeyExA(key, name.c_str(), 0, nullptr, 0, KEY_READ, nullptr, made.Receive(), nullptr), 0);
}
void QueryInfo(HKEY key, int) {
    DWORD count = 0, longest = 0;
    ASSERT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &count, &longest, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr),
              0);
}

const Growth kGrowths[] = {
    {"DeleteKeyAtIndexZero", MakeKeys, DeleteFirstKey},
    {"EnumerateKeysByIndex", MakeKeys, [](HKEY key, int index) { NameAt(key, index, &RegEnumKeyExA); }},
    {"DeleteValueAtIndexZero", MakeValues, DeleteFirstValue},
    {"CreateKey", MakeKeys, CreateKey},
    {"QueryInfo", MakeKeys, QueryInfo},
};
INSTANTIATE_TEST_SUITE_P(Steps, StoreScaling, testing::ValuesIn(kGrowths), kCaseName);

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
