#include "kvsetup/plan_file.h"

#include <filesystem>
#include <map>

#include "instalib/computer.h"
#include "kvsetup/checked_file.h"
#include "kvsetup/host.h"

namespace fs = std::filesystem;

namespace plans {
namespace {

constexpr checked_file::Kind kPlan{"kvsetupPlan", "plan", 2};

std::string HostOf(const std::string& path) { return host::IsMachinePath(path) ? host::HostPath(path) : path; }

std::string Absolute(const std::string& path) {
    if (path.empty() || host::IsMachinePath(path)) return path;
    std::error_code error;
    return fs::absolute(path, error).lexically_normal().string();
}

}  // namespace

Json DescribeOptions(const Options& options) {
    return {{"source", Absolute(options.source)},
            {"answers", Absolute(options.answers)},
            {"type", options.type ? Json(*options.type) : Json()},
            {"express", options.express},
            {"set", options.set},
            {"path", options.path},
            {"alertPath", options.alertPath},
            {"components", options.components},
            {"account", options.account},
            {"product", options.product},
            {"uninstaller", options.uninstaller},
            {"acceptLoss", options.acceptLoss},
            {"discard", options.discard}};
}

void TakeOptions(const Json& plan, Options& options) {
    const Json& kept = plan.at("options");
    if (options.source.empty()) options.source = kept.at("source").get<std::string>();
    if (options.answers.empty()) options.answers = kept.at("answers").get<std::string>();
    if (!kept.at("type").is_null()) options.type = kept.at("type").get<int>();
    options.express = kept.at("express").get<bool>();
    options.set = kept.at("set").get<std::vector<std::string>>();
    options.path = kept.at("path").get<std::string>();
    options.alertPath = kept.at("alertPath").get<std::string>();
    options.components = kept.at("components").get<std::string>();
    options.account = kept.at("account").get<std::string>();
    options.product = kept.at("product").get<std::string>();
    options.uninstaller = kept.at("uninstaller").get<std::string>();
    options.acceptLoss = kept.at("acceptLoss").get<bool>();
    options.discard = kept.at("discard").get<bool>();
}

Json MediumDigest(const Options& options) {
    if (options.source.empty()) return {};
    std::map<std::string, std::string> files;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(HostOf(options.source), error)) {
        if (!entry.is_regular_file(error)) continue;
        std::string bytes;
        if (!host::ReadFile(entry.path().string(), bytes))
            throw Failure{kBadInput, entry.path().string() + " of the medium cannot be read"};
        files[entry.path().filename().string()] = checked_file::Digest(bytes);
    }
    if (files.empty()) throw Failure{kBadInput, options.source + " holds no files of a medium"};
    return files;
}

Json AnswersDigest(const Options& options) {
    if (options.answers.empty()) return {};
    std::string bytes;
    if (!host::ReadFile(HostOf(options.answers), bytes))
        throw Failure{kBadInput, "the answers " + options.answers + " cannot be read"};
    return checked_file::Digest(bytes);
}

std::string ThisMachine() { return CComputer().Name(); }

void Write(const std::string& file, const Json& plan) { checked_file::Write(file, kPlan, plan); }

Json Read(const std::string& file) { return checked_file::Read(file, kPlan); }

std::vector<std::pair<std::string, std::string>> Records(const Json& plan) {
    std::vector<std::pair<std::string, std::string>> records;
    for (const Json& pair : plan.at("records")) {
        std::pair<std::string, std::string> bytes;
        if (!checked_file::FromHex(pair.at(0).get<std::string>(), bytes.first) ||
            !checked_file::FromHex(pair.at(1).get<std::string>(), bytes.second))
            throw Failure{kBadInput, "the plan's records cannot be read"};
        records.push_back(std::move(bytes));
    }
    return records;
}

}  // namespace plans
