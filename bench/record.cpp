// What a record of many changes costs, and taking them back.
#include "bench/machine.h"
#include "bench/peers.h"
#include "bench/subjects.h"
#include "instalib/registry.h"
#include "instalib/setup_record.h"

namespace bench {
namespace {

constexpr DWORD kChanges = 10000;
constexpr char kFile[] = "C:\\BENCH.REC";

void Change() {
    Expect(CHalvRegistry::AddKorvaultKey("Bench") == 1, "no key");
    for (DWORD i = 0; i < kChanges; ++i) {
        const std::string name = 'V' + std::to_string(i);
        BYTE data[4] = {BYTE(i)};
        Expect(CHalvRegistry::SetKorvaultKeyValue("Bench", name.c_str(), REG_DWORD, data, 4) == 1, "no value");
    }
}

double Plainly() {
    const BenchMachine machine("RECORD");
    const CHalvRegistry roots;
    return Spent(1, Change);
}

double OnRecord() {
    const BenchMachine machine("RECORD");
    const CHalvRegistry roots;
    CSetupRecord record;
    Expect(record.Begin(kFile) == 1 && record.Mark("Stage") == 1, "no record");
    return Spent(1, [&] {
        Change();
        Expect(record.Commit() == 1, "not completed");
    });
}

double Undo() {
    const BenchMachine machine("RECORD");
    const CHalvRegistry roots;
    CSetupRecord record;
    Expect(record.Begin(kFile) == 1 && record.Mark("Stage") == 1, "no record");
    Change();
    return 1000 * Spent(1, [&] { Expect(record.Rollback() == 1, "not taken back"); });
}

}  // namespace

void RecordRows(Runner& runner) {
    const std::string cost = "10,000 changes on record", undo = "10,000 changes taken back";
    if (runner.Wants(cost)) runner.Compare(cost, "without a record", 0, OnRecord, Plainly, 5);
    if (runner.Wants(undo)) runner.Measure(undo, "ms", 0, Undo, 5);
}

}  // namespace bench
