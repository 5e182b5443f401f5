#include "kvsetup/report_command.h"

#include <iostream>
#include <map>

#include "kvsetup/host.h"
#include "kvsetup/plan_file.h"
#include "kvsetup/record_json.h"
#include "kvsetup/report_page.h"

namespace {

Report OfPlan(const std::string& file) {
    const Json plan = plans::Read(file);
    Report report;
    report.title = "Plan: " + plan.at("what").get<std::string>();
    report.subtitle = "for the machine " + plan.at("machine").get<std::string>();
    report.stages = plan.at("stages");
    const Json& options = plan.at("options");
    report.facts = {{"Setup", plan.at("setup")},
                    {"Medium", options.at("source")},
                    {"Answers", options.at("answers")},
                    {"Stages", report.stages.size()},
                    {"Changes", CountChanges(report.stages)}};
    return report;
}

// The differences of each product by the stage that had set them.
Report OfVerification(const Json& data) {
    Report report;
    report.title = "Verification";
    report.subtitle = "what is no longer as the setups have set it";
    report.before = "As it was set";
    report.after = "As it is now";
    report.stages = Json::array();
    report.facts = {{"Differences", data.at("differences")}};
    for (const Json& product : data.at("products")) {
        report.facts[product.at("product").get<std::string>()] =
            product.at("differences").empty() ? "as it was installed"
                                              : std::to_string(product["differences"].size()) + " differences";
        std::map<std::string, Json> stages;
        for (const Json& difference : product.at("differences"))
            stages[difference.at("stage").get<std::string>()].push_back(difference);
        for (const auto& [stage, changes] : stages) report.stages.push_back({{"stage", stage}, {"changes", changes}});
    }
    return report;
}

Report OfRecord(const std::string& file) {
    std::string problem;
    const std::string path = host::MachinePath(file, false, &problem);
    CSetupRecord record;
    if (path.empty() || !record.Read(path.c_str())) {
        const std::string reason = path.empty() ? problem : host::ErrorText(host::LastError());
        throw Failure{kBadInput, file + " is no plan, no verification and no record of this machine: " + reason};
    }
    const char* const states[] = {"none", "interrupted", "completed", "taken back"};
    Report report;
    report.title = std::string("Record: ") + static_cast<const char*>(record.GetMark(0));
    report.subtitle = file;
    report.stages = DescribeStages(record);
    report.facts = {{"State", states[record.GetState()]},
                    {"Stages", report.stages.size()},
                    {"Changes", CountChanges(report.stages)}};
    return report;
}

Report Open(const std::string& file) {
    std::string bytes;
    const bool isRead = host::ReadFile(file, bytes);
    const Json data = isRead ? Json::parse(bytes, nullptr, false) : Json();
    if (!data.is_object()) return OfRecord(file);
    try {
        if (data.contains("kvsetupPlan")) return OfPlan(file);
        if (data.contains("products") && data.contains("differences")) return OfVerification(data);
    } catch (const Json::exception&) {
        throw Failure{kBadInput, file + " is incomplete"};
    }
    throw Failure{kBadInput, file + " is neither a plan nor a verification"};
}

int ReportCommand(const Options& options) {
    Report report;
    std::string page;
    try {
        report = Open(options.file);
        page = MakePage(report);
    } catch (const Json::exception&) {
        throw Failure{kBadInput, options.file + " is incomplete"};
    }
    if (!options.page.empty() && !host::WriteFile(options.page, page))
        throw Failure{kFailed, options.page + " cannot be written"};
    if (options.json) {
        console::PrintJson({{"title", report.title}, {"facts", report.facts}, {"stages", report.stages}});
    } else if (options.page.empty()) {
        PrintStages(report.stages);
    } else {
        std::cout << "The page is " << options.page << '\n';
    }
    return kDone;
}

}  // namespace

void AddReportCommand(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    CLI::App* const report =
        app.add_subcommand("report", "a plan, a verification (verify --json) or a record as text, data or a page");
    report->add_option("file", options.file, "its file; a record's is C:\\KVSETUP.N.REC")->required();
    report->add_option("--html", options.page, "file to write the page to");
    report->add_flag("--json", options.json, "print data as JSON");
    report->callback([&run] { run = ReportCommand; });
}
