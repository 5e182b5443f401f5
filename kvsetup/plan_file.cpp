#include "kvsetup/plan_file.h"

#include <cstdint>
#include <filesystem>
#include <map>

#include "instalib/computer.h"
#include "kvsetup/host.h"

namespace fs = std::filesystem;

namespace plans {
namespace {

constexpr int kVersion = 1;

// FNV-1a of 64 bits: it tells edits and mix-ups, not forgers.
std::string Digest(const std::string& bytes) {
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const char byte : bytes) sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    std::string text;
    for (int shift = 60; shift >= 0; shift -= 4) text += "0123456789abcdef"[(sum >> shift) & 15];
    return text;
}

std::string HostOf(const std::string& path) { return host::IsMachinePath(path) ? host::HostPath(path) : path; }

std::string Absolute(const std::string& path) {
    if (path.empty() || host::IsMachinePath(path)) return path;
    std::error_code error;
    return fs::absolute(path, error).lexically_normal().string();
}

std::string Checksum(Json plan) {
    plan.erase("checksum");
    return Digest(plan.dump());
}

[[noreturn]] void Refuse(const std::string& file, const std::string& why) {
    throw Failure{kBadInput, "the plan " + file + ' ' + why};
}

bool FromHex(const std::string& text, std::string& bytes) {
    const auto digit = [](char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1; };
    if (text.size() % 2 != 0) return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = digit(text[i]), low = digit(text[i + 1]);
        if (high < 0 || low < 0) return false;
        bytes += static_cast<char>(high * 16 + low);
    }
    return true;
}

}  // namespace

Json DescribeOptions(const Options& options) {
    return {{"source", Absolute(options.source)},
            {"answers", Absolute(options.answers)},
            {"type", options.type ? Json(*options.type) : Json()},
            {"express", options.express},
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
        files[entry.path().filename().string()] = Digest(bytes);
    }
    if (files.empty()) throw Failure{kBadInput, options.source + " holds no files of a medium"};
    return files;
}

Json AnswersDigest(const Options& options) {
    if (options.answers.empty()) return {};
    std::string bytes;
    if (!host::ReadFile(HostOf(options.answers), bytes))
        throw Failure{kBadInput, "the answers " + options.answers + " cannot be read"};
    return Digest(bytes);
}

std::string ThisMachine() { return CComputer().Name(); }

std::string ToHex(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4];
        text += "0123456789abcdef"[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

void Write(const std::string& file, Json plan) {
    std::error_code error;
    std::string there;
    if (fs::exists(file, error) && (!host::ReadFile(file, there) || there.find("\"kvsetupPlan\"") == there.npos))
        throw Failure{kBadInput, file + " exists and is no plan; give another file with --out"};
    Json whole{{"kvsetupPlan", kVersion}};
    whole.update(plan);
    whole["checksum"] = Checksum(whole);
    if (!host::WriteFile(file, whole.dump(1) + '\n')) throw Failure{kFailed, "the plan " + file + " cannot be written"};
}

Json Read(const std::string& file) {
    std::string bytes;
    if (!host::ReadFile(file, bytes)) Refuse(file, "cannot be read");
    const Json plan = Json::parse(bytes, nullptr, false);
    if (!plan.is_object() || !plan.contains("kvsetupPlan")) Refuse(file, "is no plan of kvsetup");
    if (plan["kvsetupPlan"] != kVersion) Refuse(file, "is one of another version of kvsetup");
    if (!plan.contains("checksum") || plan["checksum"] != Checksum(plan)) Refuse(file, "was changed or cut");
    return plan;
}

std::vector<std::pair<std::string, std::string>> Records(const Json& plan) {
    std::vector<std::pair<std::string, std::string>> records;
    for (const Json& pair : plan.at("records")) {
        std::pair<std::string, std::string> bytes;
        if (!FromHex(pair.at(0).get<std::string>(), bytes.first) ||
            !FromHex(pair.at(1).get<std::string>(), bytes.second))
            throw Failure{kBadInput, "the plan's records cannot be read"};
        records.push_back(std::move(bytes));
    }
    return records;
}

}  // namespace plans
