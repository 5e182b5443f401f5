#include "kvsetup/record_json.h"

#include <iostream>

namespace {

Json TextOrNull(const CString& text) {
    return text.IsEmpty() ? Json() : Json(console::Printable(static_cast<const char*>(text)));
}

std::string Shown(const Json& state) { return state.is_null() ? "nothing" : state.get<std::string>(); }

// Whether it is worth a line: it changed something, or somebody else was asked to.
bool IsShown(const tagSETUP_CHANGE& change) {
    const std::string before = static_cast<const char*>(change.sBefore),
                      after = static_cast<const char*>(change.sAfter);
    return before != after || std::string(change.sKind) == "outside" || change.sBefore == "(hidden)";
}

}  // namespace

Json DescribeChange(const tagSETUP_CHANGE& change, int variation) {
    Json data{{"kind", static_cast<const char*>(change.sKind)},
              {"name", console::Printable(static_cast<const char*>(change.sName))},
              {"part", TextOrNull(change.sPart)},
              {"before", TextOrNull(change.sBefore)},
              {"after", TextOrNull(change.sAfter)}};
    if (change.dwError != 0) data["error"] = change.dwError;
    Json varies = Json::array();
    if ((variation & CSetupRecord::Named) != 0) varies.push_back("name");
    if ((variation & CSetupRecord::Before) != 0) varies.push_back("before");
    if ((variation & CSetupRecord::After) != 0) varies.push_back("after");
    if (!varies.empty()) data["varies"] = varies;
    return data;
}

Json DescribeStages(const CSetupRecord& record, const CSetupRecord* again) {
    Json stages = Json::array();
    for (int i = 1; i < record.MarkCount(); ++i)
        stages.push_back({{"stage", static_cast<const char*>(record.GetMark(i))}, {"changes", Json::array()}});
    tagSETUP_CHANGE change;
    for (int i = 0; record.Get(i, change); ++i) {
        if (!IsShown(change)) continue;
        for (Json& stage : stages) {
            if (stage["stage"] != static_cast<const char*>(change.sStage)) continue;
            stage["changes"].push_back(DescribeChange(change, again == nullptr ? 0 : record.Compare(*again, i)));
            break;
        }
    }
    return stages;
}

std::string ChangeLine(const Json& change) {
    const bool added = change["before"].is_null(), gone = change["after"].is_null();
    std::string line = added ? "+ " : gone ? "- " : "~ ";
    line += change["kind"].get<std::string>() + " " + change["name"].get<std::string>();
    if (!change["part"].is_null()) line += ", " + change["part"].get<std::string>();
    if (change["kind"] == "outside") line += " (what it changes is its own)";
    if (!added && !gone) {
        line += ": " + Shown(change["before"]) + " -> " + Shown(change["after"]);
    } else {
        const std::string state = Shown(change[added ? "after" : "before"]);
        if (state != "present" && state != "nothing") line += ": " + state;
    }
    return line + (change.contains("varies") ? " (differs by nature)" : "");
}

void PrintStages(const Json& stages) {
    for (const Json& stage : stages) {
        std::cout << stage["stage"].get<std::string>() << '\n';
        for (const Json& change : stage["changes"]) std::cout << "  " << ChangeLine(change) << '\n';
    }
}

std::size_t CountChanges(const Json& stages) {
    std::size_t count = 0;
    for (const Json& stage : stages) count += stage["changes"].size();
    return count;
}
