#include "changes/plan.h"

namespace changes {
namespace {

bool SameOutcome(const Step& step, const Step& planned) {
    if (step.object.secret || step.unreadable) return true;
    return step.afterKnown == planned.afterKnown && RowOf(step.object.kind).matches(step.after, planned.after);
}

}  // namespace

bool Plan::AreAlike(const Record& record, const Record& again) {
    if (record.marks != again.marks || record.changes.size() != again.changes.size()) return false;
    for (std::size_t i = 0; i < record.changes.size(); ++i) {
        const Change &one = record.changes[i], &other = again.changes[i];
        if (one.steps.size() != other.steps.size() || one.stage != other.stage) return false;
        for (std::size_t k = 0; k < one.steps.size(); ++k) {
            if (one.steps[k].object.kind != other.steps[k].object.kind) return false;
        }
    }
    return true;
}

Varies Plan::Compare(const Step& step, const Step& again) {
    return {!EqualNoCase(step.object.name, again.object.name), !EqualNoCase(step.object.part, again.object.part),
            step.before != again.before, step.after != again.after || step.intended != again.intended};
}

Plan::Plan(Record record, const Record* again) : m_record(std::move(record)) {
    for (std::size_t i = 0; i < m_record.changes.size(); ++i) {
        const std::vector<Step>& steps = m_record.changes[i].steps;
        std::vector<Varies>& varies = m_varies.emplace_back(steps.size());
        for (std::size_t k = 0; again != nullptr && k < steps.size(); ++k)
            varies[k] = Compare(steps[k], again->changes[i].steps[k]);
    }
}

bool Plan::AdmitsStep(const Step& step, const Step& planned, const Varies& varies) const {
    const Object &object = step.object, &other = planned.object;
    if (object.kind != other.kind) return false;
    if (!varies.name && !EqualNoCase(object.name, other.name)) return false;
    // Where a deleted file is kept is the record's own business.
    if (object.kind != Kind::File && !varies.part && !EqualNoCase(object.part, other.part)) return false;
    if (!varies.before && !RowOf(object.kind).matches(step.before, planned.before)) return false;
    if (step.hasIntended != planned.hasIntended) return false;
    return varies.after || !step.hasIntended || RowOf(object.kind).matches(step.intended, planned.intended);
}

bool Plan::Admits(const Change& change) const {
    if (IsAtEnd()) return false;
    const std::vector<Step>& planned = m_record.changes[m_next].steps;
    if (change.steps.size() != planned.size()) return false;
    for (std::size_t i = 0; i < planned.size(); ++i) {
        if (!AdmitsStep(change.steps[i], planned[i], m_varies[m_next][i])) return false;
    }
    return true;
}

bool Plan::HadResult(const Change& change) {
    const Change& planned = m_record.changes[m_next];
    for (std::size_t i = 0; i < planned.steps.size(); ++i) {
        if (!m_varies[m_next][i].after && !SameOutcome(change.steps[i], planned.steps[i])) return false;
    }
    if ((change.error == 0) != (planned.error == 0)) return false;
    ++m_next;
    return true;
}

}  // namespace changes
