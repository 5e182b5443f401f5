// A plan: what a setup did on a copy of the machine, change by change, and what of it the same setup may do here.
#ifndef INSTALIB_CHANGES_PLAN_H
#define INSTALIB_CHANGES_PLAN_H

#include <vector>

#include "changes/record_file.h"

namespace changes {

// What differed between two rehearsals of one setup differs by nature - times, new identifiers - and is not compared.
struct Varies {
    bool name = false;
    bool part = false;
    bool before = false;
    bool after = false;
};

class Plan {
  public:
    Plan() = default;
    // `again` is the record of a second rehearsal; null: nothing differs by nature.
    Plan(Record record, const Record* again);
    // The two are records of the same setup: the same changes of the same kinds, in one order.
    static bool AreAlike(const Record& record, const Record& again);
    static Varies Compare(const Step& step, const Step& again);

    // Before a change: whether it is the plan's next one, on an object that is as the plan saw it.
    bool Admits(const Change& change) const;
    // After it: whether it had the planned result; the next change is then the next one.
    bool HadResult(const Change& change);
    bool IsAtEnd() const { return m_next == m_record.changes.size(); }
    // The change that comes next; null at the end.
    const Change* Next() const { return IsAtEnd() ? nullptr : &m_record.changes[m_next]; }

  private:
    bool AdmitsStep(const Step& step, const Step& planned, const Varies& varies) const;

    Record m_record;
    std::vector<std::vector<Varies>> m_varies;
    std::size_t m_next = 0;
};

}  // namespace changes

#endif
