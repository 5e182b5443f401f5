// The benchmarks' runner: each row measures a subject beside its peer, in turns, and is held to a goal.
#ifndef INSTALIB_BENCH_RUNNER_H
#define INSTALIB_BENCH_RUNNER_H

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

namespace fs = std::filesystem;

// What one repetition of either side costs, in any unit that both share: processor seconds as a rule.
using Side = std::function<double()>;

struct Row {
    std::string subject = {};
    std::string peer = {};
    std::string unit = {};  // of the figure: "x" for a ratio
    double figure = 0;
    double noise = 0;  // half of the middle half's width over the repetitions
    double goal = 0;
    bool isFloor = false;      // the figure has to reach the goal instead of staying below
    double ours = 0;           // medians
    double theirs = 0;         // 0 without a peer
    std::string missing = {};  // why the row could not be measured; the rest says nothing then

    // Missed by more than the noise.
    bool IsMissed() const;
};

class Runner {
  public:
    // Rows whose subject does not contain `only` are left out.
    Runner(std::string only, bool quick) : m_only(std::move(only)), m_quick(quick) {}

    // Whether a row is asked for: preparing one can take long.
    bool Wants(const std::string& subject) const { return subject.find(m_only) != subject.npos; }
    // Ours divided by theirs, at most the goal.
    void Compare(const std::string& subject, const std::string& peer, double goal, const Side& ours, const Side& theirs,
                 unsigned repetitions = 9);
    // How often ours gets done what theirs does in the same time; at least the goal.
    void CompareThroughput(const std::string& subject, const std::string& peer, double goal, const Side& ours,
                           const Side& theirs, unsigned repetitions = 9);
    // A figure of its own. A goal of 0: for the record only.
    void Measure(const std::string& subject, const std::string& unit, double goal, const Side& ours,
                 unsigned repetitions = 9);
    void Missing(const std::string& subject, const std::string& why);

    const std::vector<Row>& Rows() const { return m_rows; }

  private:
    void Add(Row row, const Side& ours, const Side& theirs, unsigned repetitions);

    std::string m_only;
    bool m_quick;
    std::vector<Row> m_rows;
};

// Processor seconds of this process and of its children that have ended.
double ProcessorSeconds();
// Those of one run of `work`, divided by `units`.
double Spent(double units, const std::function<void()>& work);

// Runs a program to its end; its output is thrown away, or handed out. Throws when it fails.
void Run(const std::vector<std::string>& command, std::string* output = nullptr);
// This program again in another process: `--child NAME ARGUMENT...`.
void RunChild(std::vector<std::string> arguments, std::string* output = nullptr);
fs::path ProgramFolder();
// A folder that goes with the process.
const fs::path& Scratch();

// A row's part in a process of its own, by name.
using Child = int (*)(const std::vector<std::string>& arguments);
struct ChildEntry {
    const char* name;
    Child run;
};

}  // namespace bench

#endif
