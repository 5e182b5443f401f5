// Machines to measure on.
#ifndef INSTALIB_BENCH_MACHINE_H
#define INSTALIB_BENCH_MACHINE_H

#include <memory>

#include "bench/runner.h"
#include "platform/embedded/control/machine.h"
#include "platform/embedded/store/store.h"
#include "platform/handles.h"

namespace bench {

inline constexpr char kBranch[] = "SOFTWARE\\Bench";  // below HKEY_LOCAL_MACHINE
inline constexpr char kValueText[] = "text of a usual length";

// How the keys of a branch are named: all below it, or in groups of a hundred.
enum class Shape { Flat, Grouped };
std::string KeyName(std::size_t index, Shape shape);

// A fresh machine of the scratch folder, which this process runs on from now on.
class BenchMachine {
  public:
    explicit BenchMachine(const std::string& name);
    ~BenchMachine() { fs::remove_all(m_folder); }
    BenchMachine(const BenchMachine&) = delete;
    BenchMachine& operator=(const BenchMachine&) = delete;

    const fs::path& Folder() const { return m_folder; }
    embedded::Store& Store() const { return *m_store; }
    // Fills a key below HKEY_LOCAL_MACHINE with `keys` keys of `values` values each.
    void Fill(const std::string& branch, std::size_t keys, std::size_t values, Shape shape = Shape::Grouped);
    // A file of the drive C:, on the host.
    fs::path File(const std::string& name) const { return m_folder / "drives" / "C" / name; }

  private:
    fs::path m_folder;
    std::shared_ptr<embedded::Store> m_store;
};

}  // namespace bench

#endif
