// .reg text in and out, as whole processes.
#include <fstream>
#include <iterator>

#include "bench/machine.h"
#include "bench/peers.h"
#include "bench/subjects.h"
#include "platform/embedded/control/registry.h"

namespace bench {

namespace control = embedded::control;

int ImportChild(const std::vector<std::string>& arguments) {
    std::ifstream file(arguments.at(1), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::string problem;
    return control::ImportRegistry(arguments.at(0), bytes, &problem) ? 0 : 1;
}

int ExportChild(const std::vector<std::string>& arguments) {
    std::string bytes, problem;
    const std::string key = std::string("HKEY_LOCAL_MACHINE\\") + kBranch;
    if (!control::ExportRegistry(arguments.at(0), key, control::RegistryTextVersion::Version5, &bytes, &problem))
        return 1;
    std::ofstream(arguments.at(1), std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
    return 0;
}

namespace {

constexpr std::size_t kKeys = 10000, kValues = 5;

#ifdef INSTALIB_BENCH_HIVEX
// The same branch as the peer's tool reads it.
void WritePeersText(const fs::path& file) {
    std::ofstream text(file);
    text << "Windows Registry Editor Version 5.00\n\n[\\Bench]\n\n";
    for (std::size_t key = 0; key < kKeys; ++key) {
        if (key % 100 == 0) text << "[\\Bench\\Group" << key / 100 << "]\n\n";
        text << "[\\Bench\\" << KeyName(key, Shape::Grouped) << "]\n";
        for (std::size_t value = 0; value < kValues; ++value)
            text << "\"Value" << value << "\"=\"" << kValueText << "\"\n";
        text << '\n';
    }
}

double FreshCopies(const fs::path& from, const fs::path& to, const std::function<void()>& work) {
    fs::remove_all(to);
    fs::copy(from, to, fs::copy_options::recursive);
    return Spent(1, work);
}
#endif

}  // namespace

void ExchangeRows(Runner& runner) {
    const std::string imports = ".reg import, 10,000 keys", exports = ".reg export, 10,000 keys";
    if (!runner.Wants(imports) && !runner.Wants(exports)) return;
#ifdef INSTALIB_BENCH_HIVEX
    if (!fs::exists("/usr/bin/hivexregedit")) {
        runner.Missing(imports, "hivexregedit (libwin-hivex-perl) is not installed");
        runner.Missing(exports, "hivexregedit (libwin-hivex-perl) is not installed");
        return;
    }
    BenchMachine empty("EMPTY"), full("FULL");
    full.Fill(kBranch, kKeys, kValues);
    const fs::path ourText = Scratch() / "ours.reg", theirText = Scratch() / "theirs.reg";
    RunChild({"export", full.Folder(), ourText});
    WritePeersText(theirText);
    const fs::path machine = Scratch() / "IMPORT", emptyHive = Scratch() / "empty.hive", hive = Scratch() / "full.hive";
    MakeEmptyHive(emptyHive);
    const auto merge = [&] { Run({"hivexregedit", "--merge", hive, theirText}); };
    runner.Compare(
        imports, "hivexregedit --merge", 0.06,
        [&] { return FreshCopies(empty.Folder(), machine, [&] {
                  RunChild({"import", machine, ourText});
              }); },
        [&] { return FreshCopies(emptyHive, hive, merge); }, 5);
    if (!fs::exists(hive)) FreshCopies(emptyHive, hive, merge);
    const std::string exported = Scratch() / "exported.reg";
    std::string text;
    runner.Compare(
        exports, "hivexregedit --export", 0.06,
        [&] { return Spent(1, [&] {
                  RunChild({"export", full.Folder(), exported});
              }); },
        [&] { return Spent(1, [&] {
                  Run({"hivexregedit", "--export", hive, "\\Bench"}, &(text = {}));
              }); }, 5);
#else
    runner.Missing(imports, "hivex (libhivex-dev) is not installed");
    runner.Missing(exports, "hivex (libhivex-dev) is not installed");
#endif
}

}  // namespace bench
