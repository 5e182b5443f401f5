// Single changes, each visible to every process when its call returns, and look-ups by path.
#include "bench/machine.h"
#include "bench/peers.h"
#include "bench/subjects.h"

namespace bench {
namespace {

constexpr int kChanges = 20000;

double Microseconds(int count, const std::function<void()>& work) { return 1e6 * Spent(count, work); }

void ChangeRows(Runner& runner) {
    if (!runner.Wants("us, value set") && !runner.Wants("us, key created") && !runner.Wants("us, leaf deleted")) return;
    BenchMachine machine("VALUES");
    machine.Fill(kBranch, 1000, 1);
    RegistryKey key;
    RegCreateKeyExA(HKEY_LOCAL_MACHINE, kBranch, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Receive(), nullptr);
    runner.Measure("us, value set", "us", 1.8, [&] {
        return Microseconds(kChanges, [&] {
            for (int i = 0; i < kChanges; ++i) {
                RegSetValueExA(key.Get(), "Value", 0, REG_SZ, reinterpret_cast<const BYTE*>(kValueText),
                               sizeof kValueText);
            }
        });
    });
    const auto create = [&] {
        for (int i = 0; i < kChanges; ++i) {
            RegistryKey made;
            RegCreateKeyExA(key.Get(), KeyName(std::size_t(i), Shape::Flat).c_str(), 0, nullptr, 0, KEY_READ, nullptr,
                            made.Receive(), nullptr);
        }
    };
    const auto remove = [&] {
        for (int i = 0; i < kChanges; ++i) RegDeleteKeyA(key.Get(), KeyName(std::size_t(i), Shape::Flat).c_str());
    };
    runner.Measure("us, key created", "us", 1.5, [&] {
        const double spent = Microseconds(kChanges, create);
        remove();
        return spent;
    });
    runner.Measure("us, leaf deleted", "us", 0.8, [&] {
        create();
        return Microseconds(kChanges, remove);
    });
#ifdef INSTALIB_BENCH_LMDB
    Lmdb database(Scratch() / "values.lmdb", false);
    database.Fill(1000, 1);
    runner.Measure("us, value set in LMDB", "us", 0, [&] {
        return Microseconds(2000, [&] {
            for (int i = 0; i < 2000; ++i) database.Put("Value", kValueText);
        });
    });
#endif
}

#ifdef INSTALIB_BENCH_SQLITE
class SqliteLookUp {
  public:
    explicit SqliteLookUp(const Sqlite& database) {
        sqlite3_prepare_v2(database.Get(), "select data from vals where path=? and name=?", -1, &m_statement, nullptr);
    }
    ~SqliteLookUp() { sqlite3_finalize(m_statement); }
    SqliteLookUp(const SqliteLookUp&) = delete;
    SqliteLookUp& operator=(const SqliteLookUp&) = delete;
    void Find(const std::string& path) {
        sqlite3_bind_text(m_statement, 1, path.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_text(m_statement, 2, "Value2", -1, SQLITE_STATIC);
        Expect(sqlite3_step(m_statement) == SQLITE_ROW, "SQLite finds nothing");
        sqlite3_reset(m_statement);
    }

  private:
    sqlite3_stmt* m_statement = nullptr;
};
#endif

void LookUpRows(Runner& runner, std::size_t keys, const char* size, double goal) {
    const std::string subject = std::string("look a value up by path, ") + size;
    if (!runner.Wants(subject)) return;
#ifdef INSTALIB_BENCH_SQLITE
    constexpr int kLookUps = 20000;
    BenchMachine machine(std::string("LOOK") + size);
    machine.Fill(kBranch, keys, 5);
    Sqlite database(Scratch() / (std::string("look") + size + ".sqlite"));
    database.Fill(kBranch, keys, 5);
    SqliteLookUp lookUp(database);
    // Steps of a prime visit the keys in an order that no cache foresees.
    const auto path = [&](int i) {
        return std::string(kBranch) + '\\' + KeyName(std::size_t(i) * 7919 % keys, Shape::Grouped);
    };
    runner.Compare(
        subject, "SQLite, prepared select", goal,
        [&] {
            return Spent(kLookUps, [&] {
                for (int i = 0; i < kLookUps; ++i) {
                    RegistryKey key;
                    BYTE data[64];
                    DWORD length = sizeof data;
                    RegOpenKeyExA(HKEY_LOCAL_MACHINE, path(i).c_str(), 0, KEY_READ, key.Receive());
                    Expect(RegQueryValueExA(key.Get(), "Value2", nullptr, nullptr, data, &length) == 0, "no value");
                }
            });
        },
        [&] {
            return Spent(kLookUps, [&] {
                for (int i = 0; i < kLookUps; ++i) lookUp.Find(path(i));
            });
        });
#else
    runner.Missing(subject, "SQLite (libsqlite3-dev) is not installed");
    static_cast<void>(keys + std::size_t(goal));
#endif
}

}  // namespace

void ValueRows(Runner& runner) {
    ChangeRows(runner);
    LookUpRows(runner, 10000, "10k", 0.20);
    LookUpRows(runner, 100000, "100k", 0.30);
}

}  // namespace bench
