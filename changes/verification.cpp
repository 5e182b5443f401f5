#include "changes/verification.h"

#include <map>
#include <set>

#include "changes/bytes.h"
#include "changes/registry_objects.h"

namespace changes {
namespace {

std::string Lower(std::string text) {
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? char(c + 32) : c;
    return text;
}

bool IsCompared(const Step& step) {
    constexpr Kind kNever[] = {Kind::ServiceState, Kind::File, Kind::Environment, Kind::Outside};
    for (const Kind kind : kNever) {
        if (step.object.kind == kind) return false;
    }
    return !step.object.secret && !step.unreadable && step.afterKnown;
}

class Verification {
  public:
    void Take(const Record& record) {
        for (const Change& change : record.changes) {
            if (change.undone) continue;
            for (const Step& step : change.steps) {
                if (IsCompared(step)) Take(record, change, step);
            }
        }
    }

    std::vector<Difference> Differences() {
        for (const Difference& wanted : m_wanted) {
            if (wanted.expected.empty()) continue;
            Look(wanted);
            if (wanted.object.kind == Kind::Key && m_made.contains(Lower(wanted.object.name))) LookForMore(wanted);
        }
        return std::move(m_found);
    }

  private:
    void Take(const Record& record, const Change& change, const Step& step) {
        Object object = step.object;
        object.name = Lower(object.name);
        object.part = Lower(object.part);
        const auto [place, isNew] = m_places.try_emplace(object, m_wanted.size());
        if (isNew) m_wanted.push_back({step.object, {}, {}, 0, {}});
        Difference& wanted = m_wanted[place->second];
        wanted.expected = step.after;
        // What a setup makes has what its place hands on; rights and values given to it later are objects of their own.
        if (step.object.kind == Kind::Key && !step.after.empty()) wanted.expected = Writer().Text("").Number(0).Bytes();
        wanted.stage = change.stage == 0 || change.stage > record.marks.size() ? "" : record.marks[change.stage - 1];
        if (step.object.kind == Kind::Key && step.before.empty() && !step.after.empty()) m_made.insert(object.name);
    }

    void Look(const Difference& wanted) {
        const KindRow& row = RowOf(wanted.object.kind);
        Difference found = wanted;
        found.error = row.read(wanted.object, found.now);
        if (found.error != 0 || !row.matches(found.now, wanted.expected)) m_found.push_back(std::move(found));
    }

    bool IsKnown(Kind kind, const std::string& name, const std::string& part) const {
        const auto place = m_places.find({kind, Lower(name), Lower(part), false});
        return place != m_places.end() && !m_wanted[place->second].expected.empty();
    }

    void LookForMore(const Difference& key) {
        std::vector<std::string> subkeys, values;
        if (ContentsOf(key.object.name, subkeys, values) != 0) return;  // Look has told
        for (const std::string& subkey : subkeys) {
            if (!IsKnown(Kind::Key, subkey, "")) Added(key, {Kind::Key, subkey, "", false});
        }
        for (const std::string& value : values) {
            if (!IsKnown(Kind::Value, key.object.name, value)) Added(key, {Kind::Value, key.object.name, value, false});
        }
    }

    void Added(const Difference& key, const Object& object) {
        Difference found{object, {}, {}, 0, key.stage};
        found.error = RowOf(object.kind).read(object, found.now);
        m_found.push_back(std::move(found));
    }

    std::map<Object, std::size_t> m_places;  // by names in lower case
    std::vector<Difference> m_wanted;
    std::set<std::string> m_made;  // keys of the setup's own
    std::vector<Difference> m_found;
};

}  // namespace

std::vector<Difference> Verify(const std::vector<Record>& records) {
    Verification verification;
    for (const Record& record : records) verification.Take(record);
    return verification.Differences();
}

}  // namespace changes
