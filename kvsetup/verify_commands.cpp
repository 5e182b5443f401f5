#include "kvsetup/verify_commands.h"

#include <iostream>
#include <map>

#include "kvsetup/host.h"
#include "kvsetup/interruption.h"
#include "kvsetup/record_json.h"
#include "kvsetup/recorded_run.h"
#include "kvsetup/setup_run.h"

namespace {

// The records of the products that are installed, each product's with the oldest first.
std::map<std::string, std::vector<std::string>> FinishedSetups() {
    std::map<std::string, std::vector<std::string>> products;
    for (const records::Found& found : records::All()) {
        if (found.state == CSetupRecord::None)
            throw Failure{kBadInput, "the record " + found.file + " cannot be used: " + host::ErrorText(found.error)};
        if (found.state == CSetupRecord::Running)
            throw Failure{kNothingToDo, "a setup was interrupted (" + found.what + "); see kvsetup recover"};
        if (found.state == CSetupRecord::Committed) products[records::ProductOf(found.what)].push_back(found.file);
    }
    if (products.empty()) throw Failure{kNothingToDo, "no setup is on record on this machine"};
    return products;
}

// As set before, as it is now.
Json DescribeDifferences(const CSetupRecord& verified) {
    Json differences = Json::array();
    tagSETUP_CHANGE change;
    for (int i = 0; verified.GetLeft(i, change); ++i) {
        const DWORD error = change.dwError == CSetupRecord::ChangedSince ? 0 : change.dwError;
        change.dwError = error;
        Json difference = DescribeChange(change);
        difference["stage"] = static_cast<const char*>(change.sStage);
        difference["difference"] = error != 0                 ? "cannot be looked at"
                                   : change.sBefore.IsEmpty() ? "added"
                                   : change.sAfter.IsEmpty()  ? "removed"
                                                              : "changed";
        differences.push_back(difference);
    }
    return differences;
}

void Verify(CSetupRecord& verified, const std::vector<std::string>& files) {
    std::vector<const char*> names;
    for (const std::string& file : files) names.push_back(file.c_str());
    if (!verified.Verify(names.data(), static_cast<int>(names.size())))
        throw Failure{kFailed, "the machine cannot be compared: " + host::ErrorText(host::LastError())};
}

std::string DifferenceLine(const Json& difference) {
    if (difference.contains("error"))
        return "? " + difference["kind"].get<std::string>() + ' ' + difference["name"].get<std::string>() + ": " +
               host::ErrorText(difference["error"].get<DWORD>());
    return ChangeLine(difference);
}

int VerifyCommand(const Options& options) {
    Json report{{"products", Json::array()}, {"differences", 0}};
    std::size_t count = 0;
    for (const auto& [product, files] : FinishedSetups()) {
        CSetupRecord verified;
        Verify(verified, files);
        const Json differences = DescribeDifferences(verified);
        count += differences.size();
        report["products"].push_back({{"product", product}, {"records", files}, {"differences", differences}});
        if (options.json) continue;
        std::cout << product << ": "
                  << (differences.empty() ? "as it was installed" : std::to_string(differences.size()) + " differences")
                  << '\n';
        for (const Json& difference : differences) std::cout << "  " << DifferenceLine(difference) << '\n';
    }
    report["differences"] = count;
    if (options.json) console::PrintJson(report);
    return count == 0 ? kDone : kDiffers;
}

// One difference of `verified`. False when it failed for a reason that may go away.
bool RepairOne(CSetupRecord& repair, const CSetupRecord& verified, int index, bool removeAdded, Json& difference) {
    // What somebody has added is not the setup's; it stays and is named.
    if (difference["difference"] == "added" && !removeAdded) {
        difference["repaired"] = false;
        return true;
    }
    difference["repaired"] = repair.Repair(verified, index) != 0;
    if (difference["repaired"] == true) return true;
    const DWORD error = host::LastError();
    const bool isFinal = error == CSetupRecord::NeverTakenBack;
    difference["reason"] = isFinal ? "nothing gives this back" : host::ErrorText(error);
    return isFinal;
}

void Tell(const Json& differences) {
    for (const Json& difference : differences) {
        std::cout << (difference["repaired"] == true ? "repaired  " : "left      ") << DifferenceLine(difference);
        if (difference.contains("reason")) std::cout << " (" << difference["reason"].get<std::string>() << ')';
        std::cout << std::endl;
    }
}

// Sets a product right, on a record of its own: all of it, or nothing when a step fails or somebody asks for the end.
Json Repair(const std::string& product, const std::vector<std::string>& files, const Options& options, bool& whole) {
    CSetupRecord verified, repair;
    Verify(verified, files);
    Json differences = DescribeDifferences(verified);
    if (differences.empty()) return differences;
    const std::string file = records::NewFile();
    if (file.empty()) throw Failure{kFailed, "there are too many records on this machine; see kvsetup undo"};
    if (!repair.Begin(file.c_str()) || !repair.Mark(("repair " + product).c_str()) || !repair.Mark("Repair"))
        throw Failure{kFailed, "the record " + file + " cannot be begun: " + host::ErrorText(host::LastError())};
    bool goesOn = true;
    for (std::size_t i = 0; i < differences.size() && goesOn; ++i) {
        goesOn = !interruption::Requested() &&
                 RepairOne(repair, verified, static_cast<int>(i), options.removeAdded, differences[i]);
    }
    if (!(goesOn ? repair.Commit() : repair.Rollback()))
        throw Failure{kFailed, "the repair could not be brought to an end; see kvsetup recover"};
    for (Json& difference : differences) {
        if (!goesOn) difference["repaired"] = false;
        whole = whole && (difference["repaired"] == true || difference["difference"] == "added");
    }
    if (!goesOn || repair.Count() == 0) records::Forget(file);
    if (!options.json) Tell(differences);
    if (interruption::Requested()) throw Failure{kCancelled, "cancelled; nothing of " + product + " was repaired"};
    return differences;
}

int RepairCommand(const Options& options) {
    const host::SetupLock lock(options.wait);
    RequireHeld(lock);
    RequireAdministrator();
    records::TakeBackUnfinished(options.json);
    interruption::Note();
    Json report{{"products", Json::array()}};
    bool whole = true, changed = false;
    std::size_t count = 0;
    for (const auto& [product, files] : FinishedSetups()) {
        const Json done = Repair(product, files, options, whole);
        count += done.size();
        for (const Json& difference : done) changed = changed || difference["repaired"] == true;
        report["products"].push_back({{"product", product}, {"differences", done}});
    }
    report["succeeded"] = whole;
    report["changed"] = changed;
    if (options.json) console::PrintJson(report);
    if (count == 0) throw Failure{kNothingToDo, "everything is as it was installed"};
    if (!whole)
        throw Failure{kFailed,
                      "not everything could be repaired; what is left is named above, and a step that failed takes the "
                      "others back"};
    if (!options.json) std::cout << "Everything is as it was installed.\n";
    return kDone;
}

}  // namespace

void AddVerifyCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    CLI::App* const verify = app.add_subcommand("verify", "what is no longer as the setups have set it");
    verify->add_flag("--json", options.json, "print data as JSON");
    verify->callback([&run] { run = VerifyCommand; });
    CLI::App* const repair = app.add_subcommand("repair", "set that right, on record; what was added stays");
    repair->add_flag("--remove-added", options.removeAdded, "remove what was added to the product's own keys, too");
    repair->add_flag("--json", options.json, "print data as JSON");
    repair->callback([&run] { run = RepairCommand; });
}
