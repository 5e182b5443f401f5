// Branches of 10,000 keys with 5 values, copied and removed.
#include <optional>

#include "bench/machine.h"
#include "bench/peers.h"
#include "bench/subjects.h"
#include "instalib/registry.h"

namespace bench {
namespace {

constexpr std::size_t kKeys = 10000, kValues = 5;
constexpr char kCopy[] = "SOFTWARE\\Copy";

void CopyKey(HKEY from, HKEY to) {
    char name[256];
    BYTE data[256];
    for (DWORD index = 0;; ++index) {
        DWORD nameSize = sizeof name, size = sizeof data, type = 0;
        if (RegEnumValueA(from, index, name, &nameSize, nullptr, &type, data, &size) != 0) break;
        RegSetValueExA(to, name, 0, type, data, size);
    }
    for (DWORD index = 0;; ++index) {
        DWORD nameSize = sizeof name;
        if (RegEnumKeyExA(from, index, name, &nameSize, nullptr, nullptr, nullptr, nullptr) != 0) break;
        RegistryKey source, target;
        RegOpenKeyExA(from, name, 0, KEY_READ, source.Receive());
        RegCreateKeyExA(to, name, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, target.Receive(), nullptr);
        CopyKey(source.Get(), target.Get());
    }
}

void CopyBranch() {
    RegistryKey source, target;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, kBranch, 0, KEY_READ, source.Receive());
    RegCreateKeyExA(HKEY_LOCAL_MACHINE, kCopy, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, target.Receive(), nullptr);
    CopyKey(source.Get(), target.Get());
}

void RemoveCopy(BenchMachine& machine) { machine.Store().DeleteTree("HKLM\\" + std::string(kCopy)); }

double CopyCost(BenchMachine& machine, bool inOneStep) {
    const double spent = Spent(1, [&] {
        std::optional<embedded::Store::Lock> step;
        if (inOneStep) step.emplace(machine.Store());
        CopyBranch();
    });
    RemoveCopy(machine);
    return spent;
}

double RemovalCost() {
    CopyBranch();
    return Spent(1, [] { Expect(CHalvRegistry::DeleteSubKeys(HKEY_LOCAL_MACHINE, kCopy) == 1, "nothing removed"); });
}

void CopyRows(Runner& runner) {
    const std::string calls = "copy 10,000 keys by plain calls", step = "copy 10,000 keys in one step";
    if (!runner.Wants(calls) && !runner.Wants(step)) return;
#ifdef INSTALIB_BENCH_SQLITE
    BenchMachine machine("COPY");
    machine.Fill(kBranch, kKeys, kValues);
    Sqlite database(Scratch() / "copy.sqlite");
    database.Fill(kBranch, kKeys, kValues);
    const auto peer = [&] {
        const double spent = Spent(1, [&] {
            database.Execute(
                "begin; insert into keys select replace(path,'\\Bench\\','\\Copy\\') from keys;"
                "insert into vals select replace(path,'\\Bench\\','\\Copy\\'), name, type, data from vals; commit");
        });
        database.Execute(
            "delete from keys where path like 'SOFTWARE\\Copy\\%'; delete from vals where path like "
            "'SOFTWARE\\Copy\\%'");
        return spent;
    };
    const std::string name = "SQLite insert-select, one transaction";
    runner.Compare(
        calls, name, 0.8, [&] { return CopyCost(machine, false); }, peer, 5);
    runner.Compare(
        step, name, 0.4, [&] { return CopyCost(machine, true); }, peer, 5);
#else
    runner.Missing(calls, "SQLite (libsqlite3-dev) is not installed");
    runner.Missing(step, "SQLite (libsqlite3-dev) is not installed");
#endif
}

#ifdef INSTALIB_BENCH_HIVEX
// A hive with the branch, in memory: what hivex takes to remove it and to write the file.
double HivexRemovalCost(const std::string& file) {
    MakeEmptyHive(file);
    hive_h* const hive = hivex_open(file.c_str(), HIVEX_OPEN_WRITE);
    Expect(hive != nullptr, "hivex opens no hive");
    const hive_node_h branch = hivex_node_add_child(hive, hivex_root(hive), "Copy");
    std::string data;
    for (const char character : std::string(kValueText)) data.append({character, '\0'});
    hive_node_h group = 0;
    for (std::size_t key = 0; key < kKeys; ++key) {
        if (key % 100 == 0) group = hivex_node_add_child(hive, branch, ("Group" + std::to_string(key / 100)).c_str());
        const hive_node_h node = hivex_node_add_child(hive, group, ("Key" + std::to_string(key)).c_str());
        std::string names[kValues];
        hive_set_value values[kValues];
        for (std::size_t i = 0; i < kValues; ++i) {
            names[i] = "Value" + std::to_string(i);
            values[i] = {names[i].data(), hive_t_REG_SZ, data.size(), data.data()};
        }
        Expect(hivex_node_set_values(hive, node, kValues, values, 0) == 0, "hivex sets nothing");
    }
    const double spent = Spent(1, [&] {
        Expect(hivex_node_delete_child(hive, branch) == 0, "hivex removes nothing");
        Expect(hivex_commit(hive, nullptr, 0) == 0, "hivex writes nothing");
    });
    hivex_close(hive);
    return spent;
}
#endif

void RemovalRow(Runner& runner) {
    const std::string subject = "remove 10,000 keys (DeleteSubKeys)";
    if (!runner.Wants(subject)) return;
#ifdef INSTALIB_BENCH_HIVEX
    BenchMachine machine("REMOVE");
    machine.Fill(kBranch, kKeys, kValues);
    const std::string file = Scratch() / "remove.hive";
    runner.Compare(
        subject, "hivex, delete and commit", 0.9, RemovalCost, [&] { return HivexRemovalCost(file); }, 5);
#else
    runner.Missing(subject, "hivex (libhivex-dev) is not installed");
#endif
}

// Copying and removing ten times as many keys should cost ten times as much and little more.
void GrowthRow(Runner& runner, Shape shape, const char* name, double goal) {
    const std::string subject = std::string("100,000 against 10,000 keys, ") + name;
    if (!runner.Wants(subject)) return;
    const auto cost = [](BenchMachine& machine) {
        embedded::control::UseMachine(machine.Folder());
        return Spent(1, CopyBranch) + RemovalCost();
    };
    BenchMachine large(std::string("LARGE") + name);
    large.Fill(kBranch, 10 * kKeys, 1, shape);
    BenchMachine small(std::string("SMALL") + name);
    small.Fill(kBranch, kKeys, 1, shape);
    runner.Compare(
        subject, "itself", goal, [&] { return cost(large); }, [&] { return cost(small); }, 3);
}

}  // namespace

void TreeRows(Runner& runner) {
    CopyRows(runner);
    RemovalRow(runner);
    GrowthRow(runner, Shape::Grouped, "grouped", 12);
    GrowthRow(runner, Shape::Flat, "flat", 15);
}

}  // namespace bench
