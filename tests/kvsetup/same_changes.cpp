// same_changes PLAN RECORD: whether the record of a run under Wine, as data, has the changes of a plan in their order,
// what the plan marks as different by nature and what Wine lacks aside. Exit code 1 and the first difference if not.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

std::vector<Json> Changes(const char* file) {
    std::ifstream stream(file);
    const Json data = Json::parse(stream);
    std::vector<Json> changes;
    for (const Json& stage : data.at("stages")) {
        for (const Json& change : stage.at("changes")) {
            // Wine has no shares.
            if (change.at("kind") == "share") continue;
            changes.push_back(change);
            changes.back()["stage"] = stage.at("stage");
        }
    }
    return changes;
}

// Names of keys and files are the same in any case.
std::string Folded(const Json& text) {
    std::string folded = text.is_string() ? text.get<std::string>() : text.dump();
    std::transform(folded.begin(), folded.end(), folded.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return folded;
}

bool AreSame(const Json& planned, const Json& done) {
    const auto same = [&](const char* field) {
        const Json varies = planned.value("varies", Json::array());
        return std::find(varies.begin(), varies.end(), field) != varies.end() || planned.at(field) == done.at(field);
    };
    const auto sameName = [&](const char* field) { return Folded(planned.at(field)) == Folded(done.at(field)); };
    if (planned.at("stage") != done.at("stage") || planned.at("kind") != done.at("kind") || !sameName("name") ||
        !sameName("part") || planned.value("error", 0u) != done.value("error", 0u))
        return false;
    // Under Wine keys have other owners and entries.
    if (planned.at("kind") == "key security") return !done.at("after").is_null();
    return same("before") && same("after");
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const std::vector<Json> planned = Changes(arguments[1]), done = Changes(arguments[2]);
    const auto [plan, record] = std::mismatch(planned.begin(), planned.end(), done.begin(), done.end(), AreSame);
    if (plan != planned.end() || record != done.end() || planned.empty()) {
        std::cout << "a plan from a capture is not what was done, at change " << plan - planned.begin()
                  << "\n  planned " << (plan == planned.end() ? "nothing" : plan->dump()) << "\n  done    "
                  << (record == done.end() ? "nothing" : record->dump()) << '\n';
        return 1;
    }
    std::cout << "a plan from a capture: " << planned.size() << " changes, all as they were done under Wine\n";
}
