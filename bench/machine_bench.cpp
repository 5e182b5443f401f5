// How long the registry's calls of the embedded machine take in a key with few and with many entries.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/embedded/control/machine.h"
#include "platform/embedded/store/store.h"
#include "platform/handles.h"

namespace fs = std::filesystem;
namespace control = embedded::control;

namespace {

constexpr const char* kKey = "SOFTWARE\\Bench";
constexpr const char* kStoreKey = "HKLM\\SOFTWARE\\Bench";

// A machine of its own with `count` subkeys, each with one value.
class BenchMachine {
  public:
    explicit BenchMachine(std::int64_t count) {
        control::NewMachine(m_world, "BENCH");
        control::UseMachine(m_world / "BENCH");
        m_store = embedded::Store::Open(m_world / "BENCH" / "registry");
        const embedded::Store::Lock lock(*m_store);
        m_store->CreateKey(kStoreKey);
        for (std::int64_t i = 0; i < count; ++i) m_store->WriteText(Path(i), "Value", "text of a usual length");
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, KEY_ALL_ACCESS, m_key.Receive());
    }
    ~BenchMachine() { fs::remove_all(m_world); }
    BenchMachine(const BenchMachine&) = delete;
    BenchMachine& operator=(const BenchMachine&) = delete;

    static std::string Name(std::int64_t i) { return "Key" + std::to_string(i); }
    static std::string Path(std::int64_t i) { return std::string(kStoreKey) + '\\' + Name(i); }
    HKEY Key() const { return m_key.Get(); }
    embedded::Store& Store() const { return *m_store; }

  private:
    fs::path m_world = fs::temp_directory_path() / ("instalib-bench-" + std::to_string(getpid()));
    std::shared_ptr<embedded::Store> m_store;
    RegistryKey m_key;
};

void CreateKey(benchmark::State& state) {
    const BenchMachine machine(state.range(0));
    std::int64_t next = state.range(0);
    for (auto step : state) {
        RegistryKey key;
        RegCreateKeyExA(machine.Key(), BenchMachine::Name(next++).c_str(), 0, nullptr, 0, KEY_READ, nullptr,
                        key.Receive(), nullptr);
    }
}

void OpenAndReadValue(benchmark::State& state) {
    const BenchMachine machine(state.range(0));
    std::int64_t next = 0;
    for (auto step : state) {
        RegistryKey key;
        BYTE data[64];
        DWORD size = sizeof data;
        RegOpenKeyExA(machine.Key(), BenchMachine::Name(next++ % state.range(0)).c_str(), 0, KEY_READ, key.Receive());
        RegQueryValueExA(key.Get(), "Value", nullptr, nullptr, data, &size);
        benchmark::DoNotOptimize(data);
    }
}

void SetValue(benchmark::State& state) {
    const BenchMachine machine(state.range(0));
    for (auto step : state) {
        RegSetValueExA(machine.Key(), "Value", 0, REG_SZ, reinterpret_cast<const BYTE*>("a text"), 7);
    }
}

void EnumerateByIndex(benchmark::State& state) {
    const BenchMachine machine(state.range(0));
    DWORD index = 0;
    for (auto step : state) {
        char name[64];
        DWORD size = sizeof name;
        RegEnumKeyExA(machine.Key(), index, name, &size, nullptr, nullptr, nullptr, nullptr);
        index = (index + 1) % DWORD(state.range(0));
    }
}

void DeleteAtIndexZero(benchmark::State& state) {
    const BenchMachine machine(state.range(0));
    std::int64_t next = state.range(0);
    for (auto step : state) {
        char name[64];
        DWORD size = sizeof name;
        RegEnumKeyExA(machine.Key(), 0, name, &size, nullptr, nullptr, nullptr, nullptr);
        RegDeleteKeyA(machine.Key(), name);
        machine.Store().CreateKey(BenchMachine::Path(next++));  // the size stays
    }
}

void OpenStore(benchmark::State& state) {
    BenchMachine machine(state.range(0));
    const fs::path folder = control::MachineFolder() / "registry";
    const fs::path copy = folder.parent_path().parent_path() / "copy";
    for (auto step : state) {
        state.PauseTiming();
        fs::remove_all(copy);
        fs::copy(folder, copy);
        state.ResumeTiming();
        benchmark::DoNotOptimize(embedded::Store::Open(copy));
    }
}

BENCHMARK(CreateKey)->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(OpenAndReadValue)->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(SetValue)->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(EnumerateByIndex)->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(DeleteAtIndexZero)->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(OpenStore)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
